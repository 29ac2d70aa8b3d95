#include "Store/ModelContext.h"

#include "Store/Database.h"
#include "Store/IdentityMap.h"
#include "Store/RecordReader.h"
#include "Store/RecordWriter.h"
#include "Util/Logging.h"

#include <QSet>

#include <algorithm>

using namespace Store;

ModelContext::ModelContext(
    std::unique_ptr<Database> database, std::optional<QString> readOnlyReason)
    : m_database(std::move(database)),
      m_readOnlyReason(std::move(readOnlyReason)),
      m_identities(std::make_unique<IdentityMap>())
{
}

ModelContext::~ModelContext() = default;

QString ModelContext::path() const
{
    return m_database->path();
}

std::optional<qint64> ModelContext::foreignChangeCount()
{
    try {
        return m_database->queryInteger("PRAGMA data_version");
    } catch (const StoreError&) {
        return std::nullopt;
    }
}

void ModelContext::insert(const WorkspacePtr& workspace)
{
    if (!workspace)
        return;
    m_removed.remove(workspace->id());
    if (!m_inserted.contains(workspace))
        m_inserted.append(workspace);
    m_identities->add(workspace);
    // Everything reachable from a new workspace is new too, also records that were
    // made clean elsewhere.
    workspace->markChanged();
    for (const auto& app : workspace->apps())
        app->markChanged();
}

void ModelContext::remove(const WorkspacePtr& workspace)
{
    if (!workspace)
        return;
    m_identities->forget(workspace->id());
    const bool neverSaved = m_inserted.removeAll(workspace) > 0;
    if (!neverSaved)
        m_removed.insert(workspace->id(), workspace);
}

void ModelContext::remove(const AppLayoutPtr& layout)
{
    if (!layout)
        return;
    if (const auto app = layout->app())
        app->removeLayout(layout);
    m_removedLayouts.append(layout);
}

bool ModelContext::hasChanges() const
{
    if (!m_inserted.isEmpty() || !m_removed.isEmpty() || !m_removedLayouts.isEmpty())
        return true;
    const auto workspaces = m_identities->workspaces();
    return std::any_of(workspaces.cbegin(), workspaces.cend(),
        [](const WorkspacePtr& workspace) { return hasUnsavedChanges(*workspace); });
}

SaveResult ModelContext::save()
{
    if (!hasChanges())
        return std::nullopt;
    if (m_readOnlyReason)
        return m_readOnlyReason;
    try {
        writeChanges();
    } catch (const StoreError& error) {
        // The transaction was rolled back; the records keep their changes for a later save.
        qCInfo(lcStore) << "Save failed:" << error.message();
        return error.message();
    }
    return std::nullopt;
}

void ModelContext::writeChanges()
{
    Transaction transaction(*m_database, Transaction::Kind::Write);
    RecordWriter writer(*m_database);
    for (const auto& layout : std::as_const(m_removedLayouts))
        writer.deleteLayout(layout->id());
    for (auto it = m_removed.cbegin(); it != m_removed.cend(); ++it)
        writer.deleteWorkspace(it.key());
    // New workspaces first, so that they take their places in insertion order.
    for (const auto& workspace : std::as_const(m_inserted))
        writer.write(workspace);
    for (const auto& workspace : m_identities->workspaces()) {
        if (!m_inserted.contains(workspace))
            writer.write(workspace);
    }
    writer.deleteDroppedRecords();
    transaction.commit();

    for (const auto& workspace : writer.written())
        markSaved(*workspace);
    clearPending();
}

void ModelContext::clearPending()
{
    m_inserted.clear();
    m_removed.clear();
    m_removedLayouts.clear();
}

FetchResult<QList<WorkspacePtr>> ModelContext::fetchWorkspaces()
{
    return fetch(WorkspaceFilter::all());
}

FetchResult<QList<WorkspacePtr>> ModelContext::fetchWorkspaces(const QString& named)
{
    return fetch(WorkspaceFilter::byName(named));
}

FetchResult<WorkspacePtr> ModelContext::fetchWorkspace(const QUuid& id)
{
    auto found = fetch(WorkspaceFilter::byId(id));
    return {found.value.value(0), found.error};
}

FetchResult<QList<WorkspacePtr>> ModelContext::fetch(const WorkspaceFilter& filter)
{
    StoredRecords stored;
    try {
        stored = readWorkspaces(*m_database, filter);
    } catch (const StoreError& error) {
        qCInfo(lcStore) << "Fetch failed:" << error.message();
        return {{}, error.message()};
    }

    QList<WorkspacePtr> workspaces;
    workspaces.reserve(stored.workspaces.size() + m_inserted.size());
    QSet<QUuid> present;
    for (const WorkspaceRow& row : std::as_const(stored.workspaces)) {
        present.insert(row.id);
        if (!m_removed.contains(row.id))
            workspaces.append(m_identities->materialize(row));
    }
    for (const auto& workspace : std::as_const(m_inserted)) {
        if (!present.contains(workspace->id()) && filter.matches(*workspace))
            workspaces.append(workspace);
    }
    if (filter.kind == WorkspaceFilter::Kind::All)
        m_identities->forgetAllBut(present);
    return {workspaces, std::nullopt};
}

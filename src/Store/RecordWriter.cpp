#include "Store/RecordWriter.h"

#include "Store/Database.h"
#include "Store/IdentityMap.h"
#include "Store/RecordReader.h"

#include <algorithm>

namespace Store {
namespace {

// A new workspace goes after every stored one; a stored one keeps its place.
constexpr const char* upsertWorkspace
    = "INSERT INTO workspace (id, position, name, updated_at, shortcut, notes) "
      "VALUES (?1, (SELECT COALESCE(MAX(position) + 1, 0) FROM workspace), ?2, ?3, ?4, ?5) "
      "ON CONFLICT (id) DO UPDATE SET name = excluded.name, updated_at = excluded.updated_at, "
      "shortcut = excluded.shortcut, notes = excluded.notes";

constexpr const char* upsertApp
    = "INSERT INTO app_info (id, workspace_id, position, name, bundle_identifier, is_running, "
      "path) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) "
      "ON CONFLICT (id) DO UPDATE SET workspace_id = excluded.workspace_id, "
      "position = excluded.position, name = excluded.name, "
      "bundle_identifier = excluded.bundle_identifier, is_running = excluded.is_running, "
      "path = excluded.path";

constexpr const char* upsertLayout
    = "INSERT INTO app_layout (id, app_id, position, screen_width, screen_height, position_x, "
      "position_y, width, height) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9) "
      "ON CONFLICT (id) DO UPDATE SET app_id = excluded.app_id, position = excluded.position";

constexpr const char* appsOfWorkspace
    = "SELECT id FROM app_info WHERE workspace_id = ?1 ORDER BY position, rowid";
constexpr const char* layoutsOfApp
    = "SELECT id FROM app_layout WHERE app_id = ?1 ORDER BY position, rowid";
constexpr const char* deleteWorkspaceById = "DELETE FROM workspace WHERE id = ?1";
constexpr const char* deleteLayoutById = "DELETE FROM app_layout WHERE id = ?1";
constexpr const char* deleteDroppedApp = "DELETE FROM app_info WHERE id = ?1 AND workspace_id = ?2";
constexpr const char* deleteDroppedLayout = "DELETE FROM app_layout WHERE id = ?1 AND app_id = ?2";

// The list as the file holds it now.
QList<QUuid> storedList(Database& database, const char* sql, const QUuid& owner)
{
    QList<QUuid> ids;
    Statement statement = database.prepare(sql);
    statement.bind(1, owner);
    while (statement.next())
        ids.append(statement.uuid(0));
    return ids;
}

template <typename Record>
bool contains(const QList<std::shared_ptr<Record>>& records, const QUuid& id)
{
    return std::any_of(
        records.cbegin(), records.cend(), [&](const auto& record) { return record->id() == id; });
}

void deleteById(Database& database, const char* sql, const QUuid& id)
{
    database.cached(sql).bind(1, id).run();
}

} // namespace

RecordWriter::RecordWriter(Database& database) : m_database(database)
{
}

void RecordWriter::deleteWorkspace(const QUuid& id)
{
    // Its apps and their layouts follow through ON DELETE CASCADE.
    deleteById(m_database, deleteWorkspaceById, id);
}

void RecordWriter::deleteLayout(const QUuid& id)
{
    deleteById(m_database, deleteLayoutById, id);
}

void RecordWriter::write(const WorkspacePtr& workspace)
{
    if (!hasUnsavedChanges(*workspace))
        return;
    if (workspace->hasChanges()) {
        writeWorkspaceRow(*workspace);
        writeApps(*workspace);
    } else {
        // Only apps' layout lists can have changed.
        for (const auto& app : workspace->apps()) {
            if (app->hasChanges())
                writeLayouts(*app);
        }
    }
    m_written.append(workspace);
}

void RecordWriter::writeWorkspaceRow(const Workspace& workspace)
{
    Statement& statement = m_database.cached(upsertWorkspace);
    statement.bind(1, workspace.id()).bind(2, workspace.name());
    if (const auto time = storedTime(workspace.updatedAt()))
        statement.bind(3, *time);
    else
        statement.bindNull(3);
    statement.bind(4, workspace.shortcut()).bind(5, workspace.notes()).run();
}

void RecordWriter::writeApps(const Workspace& workspace)
{
    const QList<QUuid> stored = storedList(m_database, appsOfWorkspace, workspace.id());
    const auto& apps = workspace.apps();
    for (qsizetype position = 0; position < apps.size(); ++position) {
        const AppInfo& app = *apps.at(position);
        const bool moved = stored.value(position) != app.id();
        if (moved)
            writeAppRow(app, workspace.id(), position);
        if (moved || app.hasChanges())
            writeLayouts(app);
    }
    for (const QUuid& id : stored) {
        if (!contains(apps, id))
            m_droppedApps.append({id, workspace.id()});
    }
}

void RecordWriter::writeAppRow(const AppInfo& app, const QUuid& workspaceId, qint64 position)
{
    m_database.cached(upsertApp)
        .bind(1, app.id())
        .bind(2, workspaceId)
        .bind(3, position)
        .bind(4, app.name())
        .bind(5, app.bundleIdentifier())
        .bind(6, app.isRunning())
        .bind(7, app.path())
        .run();
}

void RecordWriter::writeLayouts(const AppInfo& app)
{
    const QList<QUuid> stored = storedList(m_database, layoutsOfApp, app.id());
    const auto& layouts = app.layouts();
    for (qsizetype position = 0; position < layouts.size(); ++position) {
        if (stored.value(position) != layouts.at(position)->id())
            writeLayoutRow(*layouts.at(position), app.id(), position);
    }
    for (const QUuid& id : stored) {
        if (!contains(layouts, id))
            m_droppedLayouts.append({id, app.id()});
    }
}

void RecordWriter::writeLayoutRow(const AppLayout& layout, const QUuid& appId, qint64 position)
{
    m_database.cached(upsertLayout)
        .bind(1, layout.id())
        .bind(2, appId)
        .bind(3, position)
        .bind(4, layout.screenWidth())
        .bind(5, layout.screenHeight())
        .bind(6, layout.positionX())
        .bind(7, layout.positionY())
        .bind(8, layout.width())
        .bind(9, layout.height())
        .run();
}

void RecordWriter::deleteDroppedRecords()
{
    for (const Dropped& layout : std::as_const(m_droppedLayouts))
        m_database.cached(deleteDroppedLayout).bind(1, layout.id).bind(2, layout.owner).run();
    for (const Dropped& app : std::as_const(m_droppedApps))
        m_database.cached(deleteDroppedApp).bind(1, app.id).bind(2, app.owner).run();
}

} // namespace Store

#include "Store/IdentityMap.h"

#include "Store/RecordReader.h"

namespace Store {
namespace {

template <typename Row, typename Materialize>
auto materializeAll(const QList<Row>& rows, Materialize&& materialize)
{
    QList<decltype(materialize(rows.first()))> objects;
    objects.reserve(rows.size());
    for (const Row& row : rows)
        objects.append(materialize(row));
    return objects;
}

template <typename Map> void removeExpired(Map& map)
{
    map.removeIf([](const auto& entry) { return entry.value().expired(); });
}

} // namespace

WorkspacePtr IdentityMap::materialize(const WorkspaceRow& row)
{
    rememberSavedLists(row);
    if (WorkspacePtr known = m_workspaces.value(row.id)) {
        if (!known->hasChanges())
            refresh(*known, row);
        return known;
    }
    const auto apps
        = materializeAll(row.apps, [this](const AppRow& app) { return materialize(app); });
    auto workspace = std::make_shared<Workspace>(row.id, row.name, row.updatedAt, row.notes, apps);
    workspace->setShortcut(row.shortcut);
    workspace->markSaved();
    m_workspaces.insert(row.id, workspace);
    return workspace;
}

AppInfoPtr IdentityMap::materialize(const AppRow& row)
{
    if (AppInfoPtr known = m_apps.value(row.id).lock()) {
        if (!known->hasChanges())
            refresh(*known, row);
        return known;
    }
    const auto layouts = materializeAll(
        row.layouts, [this](const LayoutRow& layout) { return materialize(layout); });
    auto app
        = AppInfo::create(row.id, row.name, row.bundleIdentifier, row.isRunning, row.path, layouts);
    app->markSaved();
    for (const auto& layout : layouts)
        layout->markSaved();
    m_apps.insert(row.id, app);
    return app;
}

AppLayoutPtr IdentityMap::materialize(const LayoutRow& row)
{
    if (AppLayoutPtr known = m_layouts.value(row.id).lock())
        return known;
    auto layout = std::make_shared<AppLayout>(row.id, row.screenWidth, row.screenHeight,
        row.positionX, row.positionY, row.width, row.height);
    m_layouts.insert(row.id, layout);
    return layout;
}

// Only objects without unsaved changes are refreshed, so the setters below only ever
// replace saved values by newer saved values.
void IdentityMap::refresh(Workspace& workspace, const WorkspaceRow& row)
{
    if (workspace.name() != row.name)
        workspace.setName(row.name);
    if (workspace.updatedAt() != row.updatedAt)
        workspace.setUpdatedAt(row.updatedAt);
    if (workspace.shortcut() != row.shortcut)
        workspace.setShortcut(row.shortcut);
    if (workspace.notes() != row.notes)
        workspace.setNotes(row.notes);
    const auto apps
        = materializeAll(row.apps, [this](const AppRow& app) { return materialize(app); });
    if (apps != workspace.apps())
        workspace.setApps(apps);
    workspace.markSaved();
}

void IdentityMap::refresh(AppInfo& app, const AppRow& row)
{
    // An app's own fields never change after it is made; only its list of layouts does.
    const auto layouts = materializeAll(
        row.layouts, [this](const LayoutRow& layout) { return materialize(layout); });
    if (layouts == app.layouts())
        return;
    app.setLayouts(layouts);
    app.markSaved();
    for (const auto& layout : layouts)
        layout->markSaved();
}

void IdentityMap::rememberSavedLists(const WorkspaceRow& row)
{
    QList<QUuid> apps;
    apps.reserve(row.apps.size());
    for (const AppRow& app : row.apps) {
        apps.append(app.id);
        QList<QUuid> layouts;
        layouts.reserve(app.layouts.size());
        for (const LayoutRow& layout : app.layouts)
            layouts.append(layout.id);
        m_savedLayouts.insert(app.id, layouts);
    }
    m_savedApps.insert(row.id, apps);
}

void IdentityMap::add(const WorkspacePtr& workspace)
{
    m_workspaces.insert(workspace->id(), workspace);
}

void IdentityMap::forget(const QUuid& workspaceId)
{
    m_workspaces.remove(workspaceId);
    for (const QUuid& app : m_savedApps.take(workspaceId))
        m_savedLayouts.remove(app);
}

void IdentityMap::forgetAllBut(const QSet<QUuid>& present)
{
    QList<QUuid> gone;
    for (auto it = m_workspaces.cbegin(); it != m_workspaces.cend(); ++it) {
        if (!present.contains(it.key()) && !it.value()->hasChanges())
            gone.append(it.key());
    }
    for (const QUuid& id : gone)
        forget(id);
    pruneExpired();
}

void IdentityMap::pruneExpired()
{
    removeExpired(m_apps);
    removeExpired(m_layouts);
}

void IdentityMap::recordSaved(const WorkspacePtr& workspace)
{
    add(workspace);
    QList<QUuid> apps;
    for (const auto& app : workspace->apps()) {
        apps.append(app->id());
        m_apps.insert(app->id(), app);
        QList<QUuid> layouts;
        for (const auto& layout : app->layouts()) {
            layouts.append(layout->id());
            m_layouts.insert(layout->id(), layout);
            layout->markSaved();
        }
        m_savedLayouts.insert(app->id(), layouts);
        app->markSaved();
    }
    m_savedApps.insert(workspace->id(), apps);
    workspace->markSaved();
}

} // namespace Store

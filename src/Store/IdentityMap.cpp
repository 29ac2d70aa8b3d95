#include "Store/IdentityMap.h"

#include "Store/RecordReader.h"

#include <algorithm>

namespace Store {
namespace {

template <typename Record>
std::shared_ptr<Record> findById(const QList<std::shared_ptr<Record>>& records, const QUuid& id)
{
    const auto found = std::find_if(
        records.cbegin(), records.cend(), [&](const auto& record) { return record->id() == id; });
    return found == records.cend() ? nullptr : *found;
}

// Layouts never change after they are made, so a known one is reused as it is.
QList<AppLayoutPtr> layoutsFor(const AppRow& row, const QList<AppLayoutPtr>& known)
{
    QList<AppLayoutPtr> layouts;
    layouts.reserve(row.layouts.size());
    for (const LayoutRow& layout : row.layouts) {
        AppLayoutPtr object = findById(known, layout.id);
        if (!object)
            object = std::make_shared<AppLayout>(layout.id, layout.screenWidth, layout.screenHeight,
                layout.positionX, layout.positionY, layout.width, layout.height);
        layouts.append(object);
    }
    return layouts;
}

} // namespace

WorkspacePtr IdentityMap::materialize(const WorkspaceRow& row)
{
    if (WorkspacePtr known = m_workspaces.value(row.id)) {
        if (!known->hasChanges())
            refresh(*known, row);
        return known;
    }
    QList<AppInfoPtr> apps;
    apps.reserve(row.apps.size());
    for (const AppRow& app : row.apps)
        apps.append(materialize(app, nullptr));
    auto workspace = std::make_shared<Workspace>(row.id, row.name, row.updatedAt, row.notes, apps);
    workspace->setShortcut(row.shortcut);
    markSaved(*workspace);
    m_workspaces.insert(row.id, workspace);
    return workspace;
}

AppInfoPtr IdentityMap::materialize(const AppRow& row, const AppInfoPtr& known)
{
    if (known) {
        if (!known->hasChanges())
            refresh(*known, row);
        return known;
    }
    auto app = AppInfo::create(
        row.id, row.name, row.bundleIdentifier, row.isRunning, row.path, layoutsFor(row, {}));
    markSaved(*app);
    return app;
}

// Only records without unsaved changes are refreshed, so the setters below only ever
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
    QList<AppInfoPtr> apps;
    apps.reserve(row.apps.size());
    for (const AppRow& app : row.apps)
        apps.append(materialize(app, findById(workspace.apps(), app.id)));
    if (apps != workspace.apps())
        workspace.setApps(apps);
    workspace.markSaved();
}

void IdentityMap::refresh(AppInfo& app, const AppRow& row)
{
    // An app's own fields never change after it is made; only its list of layouts does.
    const auto layouts = layoutsFor(row, app.layouts());
    if (layouts == app.layouts())
        return;
    app.setLayouts(layouts);
    markSaved(app);
}

void IdentityMap::add(const WorkspacePtr& workspace)
{
    m_workspaces.insert(workspace->id(), workspace);
}

void IdentityMap::forget(const QUuid& workspaceId)
{
    m_workspaces.remove(workspaceId);
}

void IdentityMap::forgetAllBut(const QSet<QUuid>& present)
{
    m_workspaces.removeIf([&](const auto& entry) {
        return !present.contains(entry.key()) && !entry.value()->hasChanges();
    });
}

bool hasUnsavedChanges(const Workspace& workspace)
{
    return workspace.hasChanges()
        || std::any_of(workspace.apps().cbegin(), workspace.apps().cend(),
            [](const AppInfoPtr& app) { return app->hasChanges(); });
}

void markSaved(AppInfo& app)
{
    for (const auto& layout : app.layouts())
        layout->markSaved();
    app.markSaved();
}

void markSaved(Workspace& workspace)
{
    for (const auto& app : workspace.apps())
        markSaved(*app);
    workspace.markSaved();
}

} // namespace Store

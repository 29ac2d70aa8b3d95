#pragma once

#include "Models/Workspace.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QUuid>

#include <memory>

namespace Store {

struct AppRow;
struct LayoutRow;
struct WorkspaceRow;

// The records one context has handed out, one object per id, and what it last knew to be
// saved of their lists (which apps a workspace had, which layouts an app had), so that a
// save writes only the rows that differ.
//
// Workspaces are held strongly: unsaved changes must survive until the next save even when
// no screen holds the workspace. Apps and layouts are reachable through their workspace and
// are only remembered weakly.
class IdentityMap {
public:
    // The object for a stored workspace: the known one (refreshed from the row unless it
    // has unsaved changes of its own), or a new one.
    WorkspacePtr materialize(const WorkspaceRow& row);

    WorkspacePtr workspace(const QUuid& id) const { return m_workspaces.value(id); }
    QList<WorkspacePtr> workspaces() const { return m_workspaces.values(); }
    void add(const WorkspacePtr& workspace);
    void forget(const QUuid& workspaceId);
    // Forgets workspaces without unsaved changes that are not among `present`: another
    // context deleted them.
    void forgetAllBut(const QSet<QUuid>& present);

    // What the file holds, as far as this context knows.
    QList<QUuid> savedApps(const QUuid& workspaceId) const
    {
        return m_savedApps.value(workspaceId);
    }
    QList<QUuid> savedLayouts(const QUuid& appId) const { return m_savedLayouts.value(appId); }
    // Records that the workspace, its apps and their layouts are now saved as they are.
    void recordSaved(const WorkspacePtr& workspace);

private:
    AppInfoPtr materialize(const AppRow& row);
    AppLayoutPtr materialize(const LayoutRow& row);
    void refresh(Workspace& workspace, const WorkspaceRow& row);
    void refresh(AppInfo& app, const AppRow& row);
    void rememberSavedLists(const WorkspaceRow& row);
    void pruneExpired();

    QHash<QUuid, WorkspacePtr> m_workspaces;
    QHash<QUuid, std::weak_ptr<AppInfo>> m_apps;
    QHash<QUuid, std::weak_ptr<AppLayout>> m_layouts;
    QHash<QUuid, QList<QUuid>> m_savedApps; // workspace -> its apps
    QHash<QUuid, QList<QUuid>> m_savedLayouts; // app -> its layouts
};

} // namespace Store

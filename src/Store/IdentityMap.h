#pragma once

#include "Models/Workspace.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QUuid>

namespace Store {

struct AppRow;
struct LayoutRow;
struct WorkspaceRow;

// The workspaces one context has handed out, one object per id. They are held strongly:
// unsaved changes must survive until the next save even when no screen holds the
// workspace. Apps and layouts keep their identity through their workspace: a fetch reuses
// the app and layout objects the workspace already holds.
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

private:
    AppInfoPtr materialize(const AppRow& row, const AppInfoPtr& known);
    void refresh(Workspace& workspace, const WorkspaceRow& row);
    void refresh(AppInfo& app, const AppRow& row);

    QHash<QUuid, WorkspacePtr> m_workspaces;
};

// The workspace or one of its apps changed since it was last saved or loaded.
bool hasUnsavedChanges(const Workspace& workspace);
// Marks the record and everything it owns as saved.
void markSaved(AppInfo& app);
void markSaved(Workspace& workspace);

} // namespace Store

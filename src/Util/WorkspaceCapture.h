#pragma once

#include "Models/Workspace.h"
#include "Store/StoreResult.h"

#include <QDateTime>
#include <QList>
#include <QString>

class CacheManager;
class RunningApps;

// The two ways a workspace is made from the windows on screen, shared by the create flow,
// the workspace screens and the command line.
namespace WorkspaceCapture {

// A new workspace named `name` (as typed) of those `apps` that run now, each with the
// frames of its windows, stored through `manager`. No notes, no shortcut. The workspace
// comes back also when it could not be saved, with the reason.
StoreResult<WorkspacePtr> createWorkspace(const QString& name, const QList<AppInfoPtr>& apps,
    const RunningApps& runningApps, CacheManager& manager,
    const QDateTime& now = QDateTime::currentDateTime());

// Refreshes a stored workspace: with `overrideCurrent` its apps become fresh records of
// those of its apps that run now; then the store adds missing frames and saves.
SaveResult updateWorkspace(const WorkspacePtr& workspace, bool overrideCurrent,
    const RunningApps& runningApps, CacheManager& manager);

} // namespace WorkspaceCapture

#include "Util/WorkspaceCapture.h"

#include "Util/CacheManager.h"
#include "Util/RunningApps.h"

#include <QUuid>

namespace WorkspaceCapture {

StoreResult<WorkspacePtr> createWorkspace(const QString& name, const QList<AppInfoPtr>& apps,
    const RunningApps& runningApps, CacheManager& manager, const QDateTime& now)
{
    const QList<AppInfoPtr> updated = runningApps.getUpdatedLayouts(apps);
    auto workspace
        = std::make_shared<Workspace>(QUuid::createUuid(), name, now, std::nullopt, updated);
    return manager.createWorkspace(workspace);
}

SaveResult updateWorkspace(const WorkspacePtr& workspace, bool overrideCurrent,
    const RunningApps& runningApps, CacheManager& manager)
{
    if (overrideCurrent)
        workspace->setApps(runningApps.getFromWorkspace(*workspace));
    return manager.updateWorkspace(workspace);
}

} // namespace WorkspaceCapture

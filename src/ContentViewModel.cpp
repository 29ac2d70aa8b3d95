#include "ContentViewModel.h"

#include "Util/Services.h"
#include "Util/WindowManager.h"

ContentViewModel::ContentViewModel(
    ModelContext& context, const Services& services, QObject* parent)
    : QObject(parent),
      m_services(services),
      m_cacheManager(context, services.windowManager()),
      m_workspaceViewModel(m_cacheManager, services),
      m_workspaceObjects(this),
      m_settingsViewModel(m_cacheManager),
      m_storeWatcher(context),
      m_updaterManager(UpdaterManager::makeBuiltInService())
{
    m_cacheManager.addSaveObserver([this] { reloadWorkspaces(); });
    connect(&m_storeWatcher, &StoreWatcher::changedElsewhere, this, [this] {
        reloadWorkspaces();
        m_workspaceViewModel.reloadWorkspaces();
    });
    reloadWorkspaces();
}

void ContentViewModel::contentShown()
{
    m_services.windowManager().checkAccessibilityTrust();
    checkForUpdatesSilently();
}

void ContentViewModel::reloadWorkspaces()
{
    const QList<WorkspacePtr> workspaces = m_cacheManager.fetchAllWorkspaces();
    QList<WorkspaceObject*> objects;
    for (const WorkspacePtr& workspace : workspaces)
        objects.append(m_workspaceObjects.objectFor(workspace));
    m_workspaceObjects.keepOnly(workspaces);
    for (WorkspaceObject* object : objects)
        object->refresh();
    m_settingsViewModel.setWorkspaces(objects);
}

void ContentViewModel::checkForUpdatesSilently()
{
    m_updaterManager.checkForUpdates(true);
}

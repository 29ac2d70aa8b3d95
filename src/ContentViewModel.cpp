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
      m_workspaces("workspace", SIGNAL(changed())),
      m_storeWatcher(context)
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
    m_workspaces.setObjects(m_workspaceObjects.objectsFor(workspaces));
    m_workspaceObjects.keepOnly(workspaces);
    for (WorkspaceObject* object : m_workspaceObjects.objects())
        object->refresh();
}

// The update checker's silent check joins here once Vantor checks for updates.
void ContentViewModel::checkForUpdatesSilently()
{
}

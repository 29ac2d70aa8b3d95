#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"

#include "Extensions/AppInfo+Ext.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Util/CacheManager.h"
#include "Util/Services.h"
#include "Util/WorkspaceCapture.h"

WorkspaceViewModel::WorkspaceViewModel(
    CacheManager& manager, const Services& services, QObject* parent)
    : QObject(parent), m_manager(manager), m_services(services), m_objects(this),
      m_workspaceList("workspace", SIGNAL(changed()))
{
}

void WorkspaceViewModel::setShowModal(bool showModal)
{
    if (m_showModal == showModal)
        return;
    m_showModal = showModal;
    setCreateViewModel(
        showModal ? new CreateWorkspaceViewModel(m_manager, m_services, this) : nullptr);
    Q_EMIT showModalChanged();
}

// The screens may still hold the closing flow while this runs: it goes once they are done.
void WorkspaceViewModel::setCreateViewModel(CreateWorkspaceViewModel* model)
{
    if (m_createViewModel)
        m_createViewModel->deleteLater();
    m_createViewModel = model;
    Q_EMIT createViewModelChanged();
}

// The records may have changed in place even when the list holds the same ones, so every
// re-read is announced.
void WorkspaceViewModel::setWorkspaces(const QList<WorkspacePtr>& workspaces)
{
    m_workspaces = workspaces;
    m_workspaceList.setObjects(m_objects.objectsFor(m_workspaces));
    releaseUnusedObjects();
    for (WorkspaceObject* object : m_objects.objects())
        object->refresh();
    Q_EMIT workspacesChanged();
}

void WorkspaceViewModel::editWorkspace(const WorkspacePtr& workspace)
{
    setSelectedWorkspace(workspace, !m_selectedWorkspace);
}

void WorkspaceViewModel::updateWorkspace(const WorkspacePtr& workspace, bool overrideCurrent)
{
    if (!workspace)
        return;
    WorkspaceCapture::updateWorkspace(
        workspace, overrideCurrent, m_services.runningApps(), m_manager);
    reloadWorkspaces();
}

void WorkspaceViewModel::editWorkspace(WorkspaceObject* workspace)
{
    if (const WorkspacePtr record = recordOf(workspace))
        editWorkspace(record);
}

void WorkspaceViewModel::updateWorkspace(WorkspaceObject* workspace, bool overrideCurrent)
{
    updateWorkspace(recordOf(workspace), overrideCurrent);
}

void WorkspaceViewModel::deleteWorkspace()
{
    if (!m_selectedWorkspace)
        return;
    m_manager.deleteWorkspace(m_selectedWorkspace->name());
    reloadWorkspaces();
    setSelectedWorkspace(nullptr, true);
}

void WorkspaceViewModel::resetSelectedWorkspace()
{
    setSelectedWorkspace(nullptr, true);
}

void WorkspaceViewModel::reloadWorkspaces()
{
    setWorkspaces(m_manager.fetchAllWorkspaces());
    // Deleted elsewhere (the command line, another window) while it was open here.
    if (m_selectedWorkspace && !m_workspaces.contains(m_selectedWorkspace))
        setSelectedWorkspace(nullptr, true);
}

void WorkspaceViewModel::openWorkspace(WorkspaceObject* workspace) const
{
    if (const WorkspacePtr record = recordOf(workspace))
        openApps(record->apps(), m_services.windowManager());
}

bool WorkspaceViewModel::hasLayoutForCurrentScreen(WorkspaceObject* workspace) const
{
    const WorkspacePtr record = recordOf(workspace);
    return record
        && record->hasValueForCurrentScreenSize(m_services.windowManager().mainScreenSize());
}

void WorkspaceViewModel::setSelectedWorkspace(const WorkspacePtr& workspace, bool animated)
{
    if (m_selectedWorkspace == workspace)
        return;
    m_selectedWorkspace = workspace;
    m_selectedWorkspaceObject = m_objects.objectFor(workspace);
    releaseUnusedObjects();
    setAnimateSelection(animated);
    Q_EMIT selectedWorkspaceChanged();
}

void WorkspaceViewModel::setAnimateSelection(bool animated)
{
    if (m_animateSelection == animated)
        return;
    m_animateSelection = animated;
    Q_EMIT animateSelectionChanged();
}

WorkspacePtr WorkspaceViewModel::recordOf(const WorkspaceObject* workspace) const
{
    return workspace ? workspace->record() : nullptr;
}

void WorkspaceViewModel::releaseUnusedObjects()
{
    QList<WorkspacePtr> kept = m_workspaces;
    if (m_selectedWorkspace)
        kept.append(m_selectedWorkspace);
    m_objects.keepOnly(kept);
}

#pragma once

#include "Models/Workspace.h"
#include "Tabs/Components/ObjectListModel.h"
#include "Tabs/Components/RecordObjects.h"
#include "Tabs/Components/WorkspaceObject.h"

#include <QList>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class CacheManager;
class CreateWorkspaceViewModel;
class Services;

Q_MOC_INCLUDE("Tabs/CreateWorkspace/CreateWorkspaceViewModel.h")

// The state behind the workspace list and detail: the stored workspaces, the one open in
// the detail, and selecting, updating and deleting it. Changes go through the CacheManager,
// and the whole list is read again after each.
class WorkspaceViewModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by Vantor, not in QML")
    // Whether the create sheet is open; the screens set it.
    Q_PROPERTY(bool showModal READ showModal WRITE setShowModal NOTIFY showModalChanged)
    // The create flow of the open sheet: made afresh, on this model's store, each time the
    // sheet opens, and dropped when it closes; null while it is closed.
    Q_PROPERTY(CreateWorkspaceViewModel* createViewModel READ createViewModel NOTIFY
            createViewModelChanged)
    // WorkspaceObjects ("workspace"), in store order; notified after every re-read.
    Q_PROPERTY(ObjectListModel* workspaces READ workspaceList NOTIFY workspacesChanged)
    Q_PROPERTY(WorkspaceObject* selectedWorkspace READ selectedWorkspaceObject NOTIFY
            selectedWorkspaceChanged)
    // Whether the screens should animate the latest selection change; it is set before
    // selectedWorkspaceChanged is emitted.
    Q_PROPERTY(bool animateSelection READ animateSelection NOTIFY animateSelectionChanged)

public:
    WorkspaceViewModel(CacheManager& manager, const Services& services, QObject* parent = nullptr);

    CacheManager& manager() const { return m_manager; }

    bool showModal() const { return m_showModal; }
    void setShowModal(bool showModal);
    CreateWorkspaceViewModel* createViewModel() const { return m_createViewModel; }

    const QList<WorkspacePtr>& workspaces() const { return m_workspaces; }
    void setWorkspaces(const QList<WorkspacePtr>& workspaces);
    QList<QObject*> workspaceObjects() const { return m_workspaceList.objects(); }
    ObjectListModel* workspaceList() { return &m_workspaceList; }

    WorkspacePtr selectedWorkspace() const { return m_selectedWorkspace; }
    WorkspaceObject* selectedWorkspaceObject() const { return m_selectedWorkspaceObject; }
    bool animateSelection() const { return m_animateSelection; }

    // Selects the workspace: animated when none was selected, at once when one was.
    void editWorkspace(const WorkspacePtr& workspace);
    // Re-captures the workspace's windows (with `overrideCurrent`, its apps become the
    // running ones of them), saves, and reads the list again.
    void updateWorkspace(const WorkspacePtr& workspace, bool overrideCurrent);

    Q_INVOKABLE void editWorkspace(WorkspaceObject* workspace);
    Q_INVOKABLE void updateWorkspace(WorkspaceObject* workspace, bool overrideCurrent);
    // Deletes the selected workspace (by its name), reads the list again and clears the
    // selection, animated. Without a selection nothing happens.
    Q_INVOKABLE void deleteWorkspace();
    Q_INVOKABLE void resetSelectedWorkspace();

    // Sets the list to every stored workspace; a selected one no longer stored is
    // deselected.
    Q_INVOKABLE void reloadWorkspaces();
    // Launches or places the workspace's apps, as activating it does.
    Q_INVOKABLE void openWorkspace(WorkspaceObject* workspace) const;
    // Whether every app of the workspace has a frame for the current screen.
    Q_INVOKABLE bool hasLayoutForCurrentScreen(WorkspaceObject* workspace) const;

Q_SIGNALS:
    void showModalChanged();
    void createViewModelChanged();
    void workspacesChanged();
    void selectedWorkspaceChanged();
    void animateSelectionChanged();

private:
    void setSelectedWorkspace(const WorkspacePtr& workspace, bool animated);
    void setAnimateSelection(bool animated);
    WorkspacePtr recordOf(const WorkspaceObject* workspace) const;
    void releaseUnusedObjects();
    void setCreateViewModel(CreateWorkspaceViewModel* model);

    CacheManager& m_manager;
    const Services& m_services;
    bool m_showModal = false;
    CreateWorkspaceViewModel* m_createViewModel = nullptr; // a child while the sheet is open
    QList<WorkspacePtr> m_workspaces;
    WorkspacePtr m_selectedWorkspace;
    WorkspaceObject* m_selectedWorkspaceObject = nullptr;
    bool m_animateSelection = false;
    RecordObjects<Workspace, WorkspaceObject> m_objects;
    ObjectListModel m_workspaceList;
};

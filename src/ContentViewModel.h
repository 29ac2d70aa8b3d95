#pragma once

#include "Tabs/Components/RecordObjects.h"
#include "Tabs/Components/WorkspaceObject.h"
#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"
#include "Store/StoreWatcher.h"
#include "Tabs/Settings/SettingsViewModel.h"
#include "Util/CacheManager.h"
#include "Util/UpdaterManager.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

class ModelContext;
class Services;

// What the main window's content holds while it is shown: the CacheManager on the
// window's store context and the two tabs' view models made on it, which follow changes
// that the command line or another context saves. Made anew for every showing of the
// window, each with its own UpdaterManager for the Settings tab's update card.
class ContentViewModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the main window")
    Q_PROPERTY(WorkspaceViewModel* workspaceViewModel READ workspaceViewModel CONSTANT)
    Q_PROPERTY(SettingsViewModel* settingsViewModel READ settingsViewModel CONSTANT)
    Q_PROPERTY(UpdaterManager* updaterManager READ updaterManager CONSTANT)

public:
    ContentViewModel(ModelContext& context, const Services& services, QObject* parent = nullptr);

    CacheManager& cacheManager() { return m_cacheManager; }
    WorkspaceViewModel* workspaceViewModel() { return &m_workspaceViewModel; }
    SettingsViewModel* settingsViewModel() { return &m_settingsViewModel; }
    UpdaterManager* updaterManager() { return &m_updaterManager; }

    // What the content does each time it is shown: checks that Vantor may control windows
    // (telling the user how otherwise), then looks for a newer version in the background.
    void contentShown();

private:
    void reloadWorkspaces();
    void checkForUpdatesSilently();

    const Services& m_services;
    CacheManager m_cacheManager;
    WorkspaceViewModel m_workspaceViewModel;
    RecordObjects<Workspace, WorkspaceObject> m_workspaceObjects;
    SettingsViewModel m_settingsViewModel;
    StoreWatcher m_storeWatcher;
    UpdaterManager m_updaterManager;
};

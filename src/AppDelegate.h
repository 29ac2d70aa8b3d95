#pragma once

#include <KeyboardShortcuts/NotificationCenter.h>

#include <QObject>
#include <QUuid>

#include <memory>

class MainWindow;
class ModelContainer;
class ModelContext;
class QAction;
class QMenu;
class QSystemTrayIcon;
class Services;
class Workspace;

// The tray app's delegate: starts Vantor in the tray, keeps the tray menu, binds one global
// shortcut per workspace and activates workspaces by id.
class AppDelegate final : public QObject {
    Q_OBJECT

public:
    AppDelegate(Services& services, MainWindow& mainWindow, QObject* parent = nullptr);
    ~AppDelegate() override;

    // Opens the store, puts the icon in the tray, builds its menu, shows the main window,
    // binds the workspaces' shortcuts and follows shortcut changes. When the shell's own
    // connection to the store cannot be opened, tells the user and ends Vantor (status 1).
    void applicationDidFinishLaunching();

    // Rebuilds the tray menu from the stored workspaces.
    void setupMenus();
    void reloadMenus();
    // Shows the main window and brings Vantor to the front.
    void openSettings();
    // Opens the workspace's apps and puts their windows back; nothing for an unknown id.
    void activateWorkspace(const QUuid& id);

    QSystemTrayIcon* statusItem() const { return m_statusItem.get(); }
    ModelContext* modelContext() const { return m_modelContext.get(); }

    // The notification that tells the delegate that shortcuts changed.
    static QString didUpdateShortcuts();

private:
    void registerShortcutsFromWorkspaces();
    void activateWorkspaceFromMenu(QAction* item);
    void statusBarButtonClicked();
    void addWorkspaceItem(QMenu& menu, const Workspace& workspace);

    Services& m_services;
    MainWindow& m_mainWindow;
    ModelContainer* m_modelContainer = nullptr;
    std::unique_ptr<ModelContext> m_modelContext;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    std::unique_ptr<QMenu> m_menu;
    KeyboardShortcuts::ObserverToken m_shortcutsObserver;
};

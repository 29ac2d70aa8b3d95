#pragma once

#include "Models/Workspace.h"
#include "Tabs/Components/ObjectListModel.h"
#include "Tabs/Components/WorkspaceObject.h"

#include <KeyboardShortcuts/NotificationCenter.h>

#include <QObject>
#include <QtQml/qqmlregistration.h>

class CacheManager;

// The state behind the Settings tab: which workspaces have a global shortcut (one editor
// line each) and which can get one (the add line's picker), and removing, saving and
// resetting shortcuts. A workspace has a shortcut when one is stored under its shortcut
// name, whatever its own marker says; the lists follow every stored change (also the
// defaults handed out at start-up, and changes another process makes). Every change made
// here ends with updateShortcutCounter(), which posts "didUpdateShortcuts".
class SettingsViewModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the main window")
    // WorkspaceObjects ("workspace") with a stored shortcut, in store order.
    Q_PROPERTY(ObjectListModel* shortcutLines READ shortcutLines CONSTANT)
    // WorkspaceObjects ("workspace") without one, in store order.
    Q_PROPERTY(ObjectListModel* workspacesWithoutShortcut READ workspacesWithoutShortcut CONSTANT)
    Q_PROPERTY(int shortcutUpdateCounter READ shortcutUpdateCounter NOTIFY shortcutUpdateCounterChanged)

public:
    explicit SettingsViewModel(CacheManager& manager, QObject* parent = nullptr);
    ~SettingsViewModel() override;

    ObjectListModel* shortcutLines() { return &m_lines; }
    ObjectListModel* workspacesWithoutShortcut() { return &m_withoutShortcut; }
    int shortcutUpdateCounter() const { return m_counter; }

    // The stored workspaces, in store order, with the objects the screens show for them.
    void setWorkspaces(const QList<WorkspaceObject*>& workspaces);

    // "workspaceShortcut_" + the workspace's id in upper case: the recorder's name.
    Q_INVOKABLE QString shortcutName(WorkspaceObject* workspace) const;
    // Marks the workspace's shortcut removed and deletes the stored one.
    Q_INVOKABLE void removeShortcut(WorkspaceObject* workspace);
    // Whether the add line is done: a shortcut was recorded for the chosen workspace.
    Q_INVOKABLE bool save(WorkspaceObject* workspace);
    // Gives every workspace its default shortcut again, replacing the ones it has.
    Q_INVOKABLE void resetToDefaults();

    // Posted after every change of the workspaces' shortcuts; the tray menu follows it.
    static QString didUpdateShortcuts() { return QStringLiteral("didUpdateShortcuts"); }

Q_SIGNALS:
    void shortcutUpdateCounterChanged();

private:
    void updateShortcutCounter();
    void recompute();

    CacheManager& m_manager;
    QList<WorkspaceObject*> m_workspaces;
    ObjectListModel m_lines;
    ObjectListModel m_withoutShortcut;
    int m_counter = 0;
    KeyboardShortcuts::ObserverToken m_shortcutChanges;
};

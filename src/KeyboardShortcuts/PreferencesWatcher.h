#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QVariantMap>

#include "KeyboardShortcuts/NotificationCenter.h"

namespace KeyboardShortcuts {

// Tells the shortcut library of shortcuts that another process changed in the preferences
// file: each name whose entry differs from what was last seen gets the shortcut change
// notification, as if it had been set here. Shared by everyone who shows stored shortcuts
// while they may change; it lives as long as the application.
class PreferencesWatcher : public QObject {
    Q_OBJECT

public:
    static PreferencesWatcher& shared();
    ~PreferencesWatcher() override;

private:
    explicit PreferencesWatcher(QObject* parent);
    void watch();
    void takeSnapshot();
    void compare();

    QFileSystemWatcher m_watcher;
    QVariantMap m_snapshot;
    ObserverToken m_observer;
};

} // namespace KeyboardShortcuts

#include "KeyboardShortcuts/PreferencesWatcher.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/Preferences.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSet>

namespace KeyboardShortcuts {
namespace {

QVariantMap shortcutEntries()
{
    QVariantMap entries = Preferences::standard().dictionaryRepresentation();
    for (auto it = entries.begin(); it != entries.end();) {
        if (it.key().startsWith(preferencesKeyPrefix))
            ++it;
        else
            it = entries.erase(it);
    }
    return entries;
}

} // namespace

PreferencesWatcher& PreferencesWatcher::shared()
{
    static auto* watcher = new PreferencesWatcher(QCoreApplication::instance());
    return *watcher;
}

PreferencesWatcher::PreferencesWatcher(QObject* parent) : QObject(parent)
{
    // Changes made here are announced already; they only move the snapshot on.
    m_observer = NotificationCenter::defaultCenter().addObserver(
        shortcutByNameDidChange, [this](const Notification&) { takeSnapshot(); }, this);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &PreferencesWatcher::compare);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &PreferencesWatcher::compare);
    watch();
    takeSnapshot();
}

PreferencesWatcher::~PreferencesWatcher()
{
    NotificationCenter::defaultCenter().removeObserver(m_observer);
}

// The file is replaced on every save, so its folder is watched; and the file itself for
// writes in place. A folder that does not exist yet is found through its parent.
void PreferencesWatcher::watch()
{
    const QFileInfo file(Preferences::standard().filePath());
    QStringList paths{file.absolutePath(), QFileInfo(file.absolutePath()).absolutePath()};
    if (file.exists())
        paths.append(file.absoluteFilePath());
    for (const QString& path : std::as_const(paths)) {
        if (QFileInfo::exists(path) && !m_watcher.files().contains(path)
            && !m_watcher.directories().contains(path))
            m_watcher.addPath(path);
    }
}

void PreferencesWatcher::takeSnapshot()
{
    m_snapshot = shortcutEntries();
}

void PreferencesWatcher::compare()
{
    watch();
    const QVariantMap previous = std::exchange(m_snapshot, shortcutEntries());
    const QVariantMap& current = m_snapshot;
    QSet<QString> keys(previous.keyBegin(), previous.keyEnd());
    keys.unite(QSet<QString>(current.keyBegin(), current.keyEnd()));
    for (const QString& key : std::as_const(keys)) {
        if (previous.value(key) == current.value(key))
            continue;
        const Name name(key.mid(preferencesKeyPrefix.size()));
        NotificationCenter::defaultCenter().post(
            shortcutByNameDidChange, {{QStringLiteral("name"), QVariant::fromValue(name)}});
    }
}

} // namespace KeyboardShortcuts

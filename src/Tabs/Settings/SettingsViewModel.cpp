#include "Tabs/Settings/SettingsViewModel.h"

#include "Util/CacheManager.h"
#include "Util/DefaultKeyboardShortcuts.h"

#include <KeyboardShortcuts/KeyboardShortcuts.h>

#include <limits>

namespace {

bool hasStoredShortcut(const WorkspaceObject* workspace)
{
    return KeyboardShortcuts::getShortcut(workspaceShortcutName(workspace->record()->id())).has_value();
}

} // namespace

SettingsViewModel::SettingsViewModel(CacheManager& manager, QObject* parent)
    : QObject(parent), m_manager(manager), m_lines("workspace", SIGNAL(changed())),
      m_withoutShortcut("workspace", SIGNAL(changed()))
{
    m_shortcutChanges = KeyboardShortcuts::NotificationCenter::defaultCenter().addObserver(
        KeyboardShortcuts::shortcutByNameDidChange, [this](const auto&) { recompute(); }, this);
}

SettingsViewModel::~SettingsViewModel()
{
    KeyboardShortcuts::NotificationCenter::defaultCenter().removeObserver(m_shortcutChanges);
}

void SettingsViewModel::setWorkspaces(const QList<WorkspaceObject*>& workspaces)
{
    m_workspaces = workspaces;
    recompute();
}

QString SettingsViewModel::shortcutName(WorkspaceObject* workspace) const
{
    return workspace ? workspaceShortcutName(workspace->record()->id()).rawValue() : QString();
}

void SettingsViewModel::removeShortcut(WorkspaceObject* workspace)
{
    if (!workspace)
        return;
    m_manager.removeWorkspaceShortcut(workspace->record());
    KeyboardShortcuts::reset(workspaceShortcutName(workspace->record()->id()));
    updateShortcutCounter();
}

bool SettingsViewModel::save(WorkspaceObject* workspace)
{
    if (!workspace || !hasStoredShortcut(workspace))
        return false;
    updateShortcutCounter();
    return true;
}

void SettingsViewModel::resetToDefaults()
{
    QList<WorkspacePtr> records;
    for (const WorkspaceObject* workspace : m_workspaces)
        records.append(workspace->record());
    DefaultKeyboardShortcuts::setDefaultShortcuts(records, true);
    updateShortcutCounter();
}

void SettingsViewModel::updateShortcutCounter()
{
    if (m_counter == std::numeric_limits<int>::max())
        qFatal("The shortcut update counter overflowed");
    ++m_counter;
    recompute();
    Q_EMIT shortcutUpdateCounterChanged();
    KeyboardShortcuts::NotificationCenter::defaultCenter().post(didUpdateShortcuts());
}

void SettingsViewModel::recompute()
{
    QList<QObject*> withShortcut;
    QList<QObject*> without;
    for (WorkspaceObject* workspace : m_workspaces)
        (hasStoredShortcut(workspace) ? withShortcut : without).append(workspace);
    m_lines.setObjects(withShortcut);
    m_withoutShortcut.setObjects(without);
}

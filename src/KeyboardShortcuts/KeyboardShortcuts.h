#pragma once

#include "KeyboardShortcuts/EventStream.h"
#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QLatin1String>
#include <QList>
#include <QSet>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>

// Named global keyboard shortcuts: the key combination of each name is kept in the user's
// preferences, registered as a system-wide hot key while it is in use, and dispatched to the
// handlers of every name that holds it. Main thread only.
namespace KeyboardShortcuts {

// Posted after every change of a name's stored entry; user info {"name": the Name}.
inline constexpr QLatin1String shortcutByNameDidChange("KeyboardShortcuts_shortcutByNameDidChange");
// Posted by the recorder when recording starts and ends; user info {"isActive": bool}.
inline constexpr QLatin1String recorderActiveStatusDidChange(
    "KeyboardShortcuts_recorderActiveStatusDidChange");

using Action = std::function<void()>;

std::optional<Shortcut> getShortcut(const Name& name);
// A shortcut is stored and registered; none stores false for a name with a default (so the
// default does not come back) and removes the entry of a name without one.
void setShortcut(const std::optional<Shortcut>& shortcut, const Name& name);

// Each name back to its default, in order.
void reset(const QList<Name>& names);
template <typename... Names>
requires(std::same_as<Names, Name>&&...) void reset(const Names&... names)
{
    reset(QList<Name>{names...});
}
void resetAll();
// Every name with an entry in the preferences, without its default.
QSet<Name> allNames();

// When the name's shortcut is also another bound name's, one console line says which names
// share it (all their handlers run when it is pressed).
void onKeyDown(const Name& name, Action action);
void onKeyUp(const Name& name, Action action);
// A stream of the name's key events. Its handlers are added on the next turn of the main
// event loop, and removed on the turn after it ends; the name's shortcut stays registered.
std::unique_ptr<EventStream> events(const Name& name);
std::unique_ptr<EventStream> events(EventType type, const Name& name);

// Register or unregister the stored shortcuts of the names, leaving the entries as they are.
void enable(const QList<Name>& names);
void disable(const QList<Name>& names);
template <typename... Names>
requires(std::same_as<Names, Name>&&...) void enable(const Names&... names)
{
    enable(QList<Name>{names...});
}
template <typename... Names>
requires(std::same_as<Names, Name>&&...) void disable(const Names&... names)
{
    disable(QList<Name>{names...});
}

void removeAllHandlers();
// Unregisters every registered shortcut; stored entries and handlers stay. For shutting down,
// and for tests that start afresh.
void unregisterAll();

// While false no hot key is registered with the system; the registrations are kept.
bool isEnabled();
void setEnabled(bool enabled);
// While true no handler runs (set by the recorder so recording does not fire shortcuts).
bool isPaused();
void setPaused(bool paused);
// While paused, a pressed hot key goes to this receiver instead (none: nowhere). The recorder
// takes combinations this way that the X server hands to a hot-key grab rather than to its
// window, when the window could not hold the keyboard.
using PausedKeyReceiver = std::function<void(const Shortcut& shortcut)>;
void setPausedKeyReceiver(PausedKeyReceiver receiver);
// Whether any menu of the application is open; set by the menu tracking.
bool isMenuOpen();
void setMenuOpen(bool open);

// One-time set-up (menu tracking); every Name constructor calls it.
void initialize();

// The shortcuts currently handed to the hot-key layer.
QSet<Shortcut> registeredShortcuts();
// Whether the name has a stored shortcut that the system took as a hot key: false when it
// has none, or the registration was refused.
bool isHotKeyRegistered(const Name& name);

// Called by the hot-key layer with the pressed shortcut: every handler of every name whose
// stored shortcut (read afresh) is the pressed one.
void handleOnKeyDown(const Shortcut& shortcut);
void handleOnKeyUp(const Shortcut& shortcut);

} // namespace KeyboardShortcuts

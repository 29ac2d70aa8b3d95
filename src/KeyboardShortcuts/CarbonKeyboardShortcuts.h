#pragma once

#include "KeyboardShortcuts/HotKeyService.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QList>
#include <QMap>

#include <functional>
#include <memory>

namespace KeyboardShortcuts {

// The one layer that talks to the system's hot-key service (on X11: key grabs on the root
// window). It registers shortcuts as global hot keys, takes their events, and calls the
// callbacks given with each. While a menu of the application is open the grabs cannot fire,
// so it takes the application's own key events instead; while shortcuts are disabled it
// releases every grab and keeps the registrations.
class CarbonKeyboardShortcuts {
public:
    using Callback = std::function<void(const Shortcut& shortcut)>;

    // 'VNHK', sent with every hot-key identifier and checked on every hot-key event.
    static constexpr quint32 hotKeySignature = 0x564E484B;

    // Every registration takes a new identifier, also one that fails. A shortcut without
    // Control, Option or Command is refused (reported once), unless its key is F1 to F20: the
    // whole desktop would lose that key.
    static void register_(const Shortcut& shortcut, Callback onKeyDown, Callback onKeyUp);
    // Whether the service took a registration of the shortcut. It stays true while
    // shortcuts are disabled or a menu is open, as the registration is kept meanwhile.
    static bool isRegistered(const Shortcut& shortcut);
    // Removes every registration of the shortcut.
    static void unregister(const Shortcut& shortcut);
    // Moves to the delivery state that isEnabled and isMenuOpen call for.
    static void updateEventHandler();

    // The shortcuts the system reserves for itself.
    static QList<Shortcut> system();
    // Whether the system reserves the shortcut: it is one of system(), or another client of
    // the desktop holds it (found by trying it, without keeping it).
    static bool isReservedBySystem(const Shortcut& shortcut);

    // The entry of the service's events.
    static OSStatus carbonKeyboardShortcutsEventHandler(const KeyboardEvent* event);
    static OSStatus handleHotKeyEvent(const KeyboardEvent& event);
    static OSStatus handleRawKeyEvent(const KeyboardEvent& event);
    // A registration the service took first and refused later, as if refused at once.
    static OSStatus handleRefusedHotKey(const KeyboardEvent& event);

    // The registrations by identifier, and whether the event handler is installed.
    static QMap<quint32, Shortcut> hotKeys();
    static bool hasEventHandler();

    // The service in use, created on first use. Replacing it (a fake in tests, or a
    // backend chosen at start-up) forgets every registration and the event handler.
    static HotKeyService& service();
    static std::unique_ptr<HotKeyService> setService(std::unique_ptr<HotKeyService> service);

private:
    static void softRegisterAll();
    static void softUnregisterAll();
    static void startKeyEventMonitor();
    static void stopKeyEventMonitor();
    static void printRegistrationError(const Shortcut& shortcut, OSStatus status);
    static void printMissingModifier(const Shortcut& shortcut);
};

} // namespace KeyboardShortcuts

#pragma once

#include "KeyboardShortcuts/ModifierFlags.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QString>

#include <optional>

class QAction;
class QKeyEvent;

namespace KeyboardShortcuts {

// A key press as the recorder weighs it: the key's place, the modifiers that count (Caps Lock,
// Num Lock, the keypad and Function left out) and the shortcut it makes, if any.
struct RecorderKeyPress {
    std::optional<int> keyCode;
    ModifierFlags modifiers;
    std::optional<Shortcut> shortcut;

    // None for the press of a modifier key itself: it only changes the modifiers.
    static std::optional<RecorderKeyPress> fromEvent(const QKeyEvent& event);
};

// What the recorder does with a key press, checked in this order.
struct RecorderVerdict {
    enum Step {
        endAndPassOn, // Tab: recording ends, focus moves on
        end, // Escape
        clear, // Delete, Forward Delete, Backspace
        beep, // no modifier that makes a hot key, or no shortcut at all
        usedByMenuItem,
        disallowed,
        usedBySystem,
        accept,
    };
    Step step = beep;
    // usedByMenuItem: the item's title.
    QString menuItemTitle;
};

// The facts the disallowed rule depends on.
struct SandboxFacts {
    bool sandboxed = false;
    int osMajorVersion = 0;
    int osMinorVersion = 0;

    // This process: sandboxed when APP_SANDBOX_CONTAINER_ID is set; Linux has no such
    // versions, so nothing is ever disallowed here.
    static SandboxFacts current();
};

// A sandboxed app on the two system versions that do not deliver hot keys with Option as the
// only modifier (Shift aside) may not use such a shortcut.
bool isDisallowed(const Shortcut& shortcut, const SandboxFacts& facts);

// The first item of the application's menus (its top-level QMenus, with their submenus) that
// has the shortcut.
QAction* menuItemWithShortcut(const Shortcut& shortcut);

RecorderVerdict weigh(const RecorderKeyPress& press);

} // namespace KeyboardShortcuts

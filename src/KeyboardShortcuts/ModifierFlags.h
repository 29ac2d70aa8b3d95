#pragma once

#include <QFlags>
#include <QString>
#include <Qt>

namespace KeyboardShortcuts {

// Modifier flags of a key event, with the bit values of the window-system encoding that
// Vantor's shortcuts use everywhere (device-independent flags).
enum class ModifierFlag : quint32 {
    capsLock = 0x10000,
    shift = 0x20000,
    control = 0x40000,
    option = 0x80000,
    command = 0x100000,
    numericPad = 0x200000,
    help = 0x400000,
    function = 0x800000,
};
Q_DECLARE_FLAGS(ModifierFlags, ModifierFlag)
Q_DECLARE_OPERATORS_FOR_FLAGS(ModifierFlags)

// The modifier bits of the hot-key encoding (the form stored in `Shortcut::carbonModifiers`).
namespace CarbonModifier {
inline constexpr int cmdKey = 0x100;
inline constexpr int shiftKey = 0x200;
inline constexpr int alphaLock = 0x400;
inline constexpr int optionKey = 0x800;
inline constexpr int controlKey = 0x1000;
inline constexpr int numLock = 0x10000;
inline constexpr int function = 0x20000;
} // namespace CarbonModifier

// Control, Option, Shift, Command and Function to their hot-key bits; every other flag is
// dropped.
int carbonModifiers(ModifierFlags flags);
// The reverse: the five hot-key bits back to flags; every other bit is dropped.
ModifierFlags modifierFlags(int carbonModifiers);

// Qt's modifiers on X11: Control is Ctrl, Option is Alt, Command is Super (Meta).
// Function has no Qt modifier.
Qt::KeyboardModifiers toQtModifiers(ModifierFlags flags);
ModifierFlags fromQtModifiers(Qt::KeyboardModifiers modifiers);

// The symbols of the present modifiers, always in the order ⌃ ⌥ ⇧ ⌘ 🌐︎, no separators.
QString presentableDescription(ModifierFlags flags);

} // namespace KeyboardShortcuts

#include "KeyboardShortcuts/RecorderInput.h"

#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "KeyboardShortcuts/KeyCodeTable.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>

namespace KeyboardShortcuts {
namespace {

bool isModifierKey(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
        return true;
    default:
        return false;
    }
}

constexpr ModifierFlags ignoredModifiers
    = ModifierFlags(ModifierFlag::capsLock) | ModifierFlag::numericPad | ModifierFlag::function;

// A key that shows as neither a symbol nor a character cannot be told apart in the field.
bool isPresentable(const Shortcut& shortcut)
{
    return specialKey(shortcut.key()) || shortcut.keyToCharacter();
}

bool isWithoutModifiers(const RecorderKeyPress& press, Key key)
{
    return press.keyCode == key.rawValue && press.modifiers == ModifierFlags();
}

bool needsBeep(const RecorderKeyPress& press)
{
    if (!press.shortcut || !isPresentable(*press.shortcut))
        return true;
    const ModifierFlags withoutShift = press.modifiers & ~ModifierFlags(ModifierFlag::shift);
    return withoutShift == ModifierFlags() && !isFunctionKey(press.shortcut->key());
}

} // namespace

std::optional<RecorderKeyPress> RecorderKeyPress::fromEvent(const QKeyEvent& event)
{
    if (isModifierKey(event.key()))
        return std::nullopt;
    RecorderKeyPress press;
    press.keyCode = KeyCodeTable::carbonKeyCodeOfXKeycode(static_cast<int>(event.nativeScanCode()));
    press.modifiers = fromQtModifiers(event.modifiers()) & ~ignoredModifiers;
    if (press.keyCode && event.key() != 0 && event.key() != Qt::Key_unknown)
        press.shortcut = Shortcut::fromEvent(event);
    return press;
}

SandboxFacts SandboxFacts::current()
{
    return {qEnvironmentVariableIsSet("APP_SANDBOX_CONTAINER_ID"), 0, 0};
}

bool isDisallowed(const Shortcut& shortcut, const SandboxFacts& facts)
{
    if (!facts.sandboxed || facts.osMajorVersion != 15 || facts.osMinorVersion > 1)
        return false;
    constexpr ModifierFlags considered = ModifierFlags(ModifierFlag::capsLock)
        | ModifierFlag::control | ModifierFlag::option | ModifierFlag::command
        | ModifierFlag::function;
    return (shortcut.modifiers() & considered) == ModifierFlags(ModifierFlag::option);
}

QAction* menuItemWithShortcut(const Shortcut& shortcut)
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* menu = qobject_cast<QMenu*>(widget)) {
            if (QAction* item = shortcut.menuItemWithMatchingShortcut(menu))
                return item;
        }
    }
    return nullptr;
}

RecorderVerdict weigh(const RecorderKeyPress& press)
{
    if (isWithoutModifiers(press, Key::tab))
        return {RecorderVerdict::endAndPassOn, {}};
    if (isWithoutModifiers(press, Key::escape))
        return {RecorderVerdict::end, {}};
    if (isWithoutModifiers(press, Key::delete_) || isWithoutModifiers(press, Key::deleteForward))
        return {RecorderVerdict::clear, {}};
    if (needsBeep(press))
        return {RecorderVerdict::beep, {}};
    const Shortcut shortcut = *press.shortcut;
    if (const QAction* item = menuItemWithShortcut(shortcut))
        return {RecorderVerdict::usedByMenuItem, item->text()};
    if (isDisallowed(shortcut, SandboxFacts::current()))
        return {RecorderVerdict::disallowed, {}};
    if (CarbonKeyboardShortcuts::isReservedBySystem(shortcut))
        return {RecorderVerdict::usedBySystem, {}};
    return {RecorderVerdict::accept, {}};
}

} // namespace KeyboardShortcuts

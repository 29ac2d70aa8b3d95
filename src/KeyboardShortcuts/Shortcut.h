#pragma once

#include "KeyboardShortcuts/Key.h"
#include "KeyboardShortcuts/ModifierFlags.h"

#include <QByteArray>
#include <QKeySequence>
#include <QMetaType>
#include <QString>

#include <optional>

class QAction;
class QDebug;
class QKeyEvent;
class QMenu;

namespace KeyboardShortcuts {

// A key combination: the virtual key code of the non-modifier key and the modifiers in the
// hot-key encoding (CarbonModifier bits). Stored as the JSON text
// {"carbonKeyCode":18,"carbonModifiers":2560}.
struct Shortcut {
    int carbonKeyCode = 0;
    int carbonModifiers = 0;

    constexpr Shortcut() = default;
    constexpr explicit Shortcut(int carbonKeyCode, int carbonModifiers = 0)
        : carbonKeyCode(carbonKeyCode), carbonModifiers(carbonModifiers)
    {
    }
    explicit Shortcut(Key key, ModifierFlags modifiers = {});

    // A shortcut from a key event, as the window system describes one: only a key-down (10)
    // or key-up (11) event gives one; the Function flag never becomes part of it.
    static constexpr int keyDownEventType = 10;
    static constexpr int keyUpEventType = 11;
    static std::optional<Shortcut> fromEvent(int eventType, int keyCode, ModifierFlags flags);
    // The same for a Qt key event on X11 (its native scan code is the X keycode).
    static std::optional<Shortcut> fromEvent(const QKeyEvent& event);

    Key key() const { return Key(carbonKeyCode); }
    ModifierFlags modifiers() const { return modifierFlags(carbonModifiers); }

    QByteArray toJson() const;
    // Fails on anything but a JSON object with two integer members "carbonKeyCode" and
    // "carbonModifiers".
    static std::optional<Shortcut> fromJson(QStringView json);

    // Presentation (Utilities.cpp): the base character of the key in the first Latin
    // layout of the keyboard, none for special keys.
    std::optional<QString> keyToCharacter() const;
    // Modifier symbols then the key: ⌥⇧1, ⌘A, ⌃⎋, ⌘F5; "�" stands for a key without a
    // character.
    QString presentableDescription() const;
    QString description() const { return presentableDescription(); }
    // For console lines: the presentable description, except that a key without a symbol or
    // character is named by its code ("⌘ key code 99999").
    QString readableDescription() const;
    // The key equivalent of a menu item: the special key's, else the key's character.
    std::optional<QString> nsMenuItemKeyEquivalent() const;
    // The key sequence that Qt's actions and Qt Quick's Shortcut take; none without a key.
    std::optional<QKeySequence> toKeySequence() const;

    // Menus (MenuItem+Shortcut.cpp): the first item of the menu, depth first, whose
    // shortcut is this one.
    QAction* menuItemWithMatchingShortcut(const QMenu* menu) const;

    friend constexpr bool operator==(const Shortcut&, const Shortcut&) = default;
};

size_t qHash(const Shortcut& shortcut, size_t seed = 0);
QDebug operator<<(QDebug debug, const Shortcut& shortcut);

enum class EventType { keyDown, keyUp };

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::Shortcut)
Q_DECLARE_METATYPE(KeyboardShortcuts::EventType)

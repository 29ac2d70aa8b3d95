#pragma once

#include "KeyboardShortcuts/ModifierFlags.h"
#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QString>

#include <optional>

class QAction;

// Shortcuts on Qt's menu items (QAction). An item keeps its key equivalent as the menu shows
// it in the Qt shortcut of the action, and also as the properties "keyEquivalent",
// "keyEquivalentModifierMask" and "allowsAutomaticKeyEquivalentLocalization", so that an item
// can carry modifiers without a key (a keypad key has no key equivalent).
namespace KeyboardShortcuts {

struct MenuItemKeyEquivalent {
    QString keyEquivalent;
    ModifierFlags modifierMask;
    bool allowsAutomaticKeyEquivalentLocalization = true;
};

// Shows the name's shortcut on the item and follows its changes; a later call replaces the
// observation. With no name, or a name without a shortcut, the item shows none.
void setShortcutFor(QAction* item, const std::optional<Name>& name);
// Shows a fixed shortcut, without following anything; none clears the item.
void setShortcut(QAction* item, const std::optional<Shortcut>& shortcut);

MenuItemKeyEquivalent keyEquivalent(const QAction* item);

} // namespace KeyboardShortcuts

#include "KeyboardShortcuts/MenuItem+Shortcut.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/NotificationCenter.h"

#include <QAction>
#include <QMenu>

namespace KeyboardShortcuts {
namespace {

const char* const keyEquivalentProperty = "keyEquivalent";
const char* const modifierMaskProperty = "keyEquivalentModifierMask";
const char* const localizationProperty = "allowsAutomaticKeyEquivalentLocalization";
const char* const observerProperty = "_keyboardShortcutsObserver";

void apply(QAction* item, const MenuItemKeyEquivalent& value, const QKeySequence& sequence)
{
    item->setProperty(keyEquivalentProperty, value.keyEquivalent);
    item->setProperty(modifierMaskProperty, static_cast<uint>(value.modifierMask.toInt()));
    item->setProperty(localizationProperty, value.allowsAutomaticKeyEquivalentLocalization);
    item->setShortcut(sequence);
}

void clear(QAction* item)
{
    apply(item, MenuItemKeyEquivalent{}, QKeySequence());
}

void show(QAction* item, const Shortcut& shortcut)
{
    const QString key = shortcut.nsMenuItemKeyEquivalent().value_or(QString());
    const QKeySequence sequence
        = key.isEmpty() ? QKeySequence() : shortcut.toKeySequence().value_or(QKeySequence());
    apply(item, {key, shortcut.modifiers(), false}, sequence);
}

void stopObserving(QAction* item)
{
    const QVariant token = item->property(observerProperty);
    if (token.isValid())
        NotificationCenter::defaultCenter().removeObserver({token.value<quint64>()});
    item->setProperty(observerProperty, QVariant());
}

// The menu key equivalent of a Qt key: the symbol of a special key, else the key's character
// (Qt names letter keys by their upper-case form; the key itself gives the lower-case one).
QString menuKeyEquivalentOf(QKeyCombination combination)
{
    const Qt::KeyboardModifiers keypad = combination.keyboardModifiers() & Qt::KeypadModifier;
    for (auto it = keyToSpecialKeyMapping().cbegin(); it != keyToSpecialKeyMapping().cend(); ++it) {
        const QKeyCombination special = qtKeyCombination(it.value());
        if (special.key() == combination.key() && special.keyboardModifiers() == keypad)
            return menuKeyEquivalent(it.value()).value_or(QString());
    }
    const auto key = static_cast<char32_t>(combination.key());
    if (key < 0x20 || key > 0x10FFFF)
        return {};
    const char32_t lower = QChar::toLower(key);
    return QString::fromUcs4(&lower, 1);
}

bool matches(const QAction* item, const Shortcut& shortcut, const QString& wanted)
{
    const QKeySequence sequence = item->shortcut();
    if (sequence.isEmpty())
        return false;
    const QKeyCombination combination = sequence[0];
    QString key = menuKeyEquivalentOf(combination);
    ModifierFlags mask = fromQtModifiers(combination.keyboardModifiers());
    if (shortcut.modifiers().testFlag(ModifierFlag::shift) && key.toLower() != key) {
        key = key.toLower();
        mask |= ModifierFlag::shift;
    }
    return mask == shortcut.modifiers() && key == wanted;
}

QAction* findMatching(const QMenu* menu, const Shortcut& shortcut, const QString& wanted)
{
    for (QAction* item : menu->actions()) {
        if (matches(item, shortcut, wanted))
            return item;
        if (const QMenu* submenu = item->menu()) {
            if (QAction* found = findMatching(submenu, shortcut, wanted))
                return found;
        }
    }
    return nullptr;
}

} // namespace

void setShortcutFor(QAction* item, const std::optional<Name>& name)
{
    stopObserving(item);
    if (!name) {
        clear(item);
        return;
    }
    const auto refresh = [item, name = *name] {
        if (const auto shortcut = getShortcut(name))
            show(item, *shortcut);
        else
            clear(item);
    };
    refresh();
    const ObserverToken token = NotificationCenter::defaultCenter().addObserver(
        shortcutByNameDidChange,
        [refresh, name = *name](const Notification& notification) {
            if (notification.userInfo.value(QStringLiteral("name")).value<Name>() == name)
                refresh();
        },
        item);
    item->setProperty(observerProperty, QVariant::fromValue(token.id));
}

void setShortcut(QAction* item, const std::optional<Shortcut>& shortcut)
{
    if (shortcut)
        show(item, *shortcut);
    else
        clear(item);
}

MenuItemKeyEquivalent keyEquivalent(const QAction* item)
{
    const QVariant localization = item->property(localizationProperty);
    return {item->property(keyEquivalentProperty).toString(),
        ModifierFlags::fromInt(item->property(modifierMaskProperty).toUInt()),
        !localization.isValid() || localization.toBool()};
}

QAction* Shortcut::menuItemWithMatchingShortcut(const QMenu* menu) const
{
    const auto wanted = nsMenuItemKeyEquivalent();
    if (!menu || !wanted || wanted->isEmpty())
        return nullptr;
    return findMatching(menu, *this, *wanted);
}

} // namespace KeyboardShortcuts

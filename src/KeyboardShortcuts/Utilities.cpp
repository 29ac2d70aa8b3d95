// How a shortcut is shown: its description, its menu key equivalent and its Qt key sequence.
#include "KeyboardShortcuts/Shortcut.h"

#include "KeyboardShortcuts/KeyboardLayout.h"

namespace KeyboardShortcuts {
namespace {

constexpr QChar replacementCharacter(0xFFFD);

// The simple upper-case form of a one-character text: a character without one (sharp s)
// stays as it is.
char32_t upperCodePoint(const QString& character)
{
    const QList<uint> codePoints = character.toUcs4();
    return codePoints.size() == 1 ? QChar::toUpper(char32_t(codePoints.first())) : 0;
}

QString capitalized(const QString& character)
{
    const char32_t upper = upperCodePoint(character);
    return upper ? QString::fromUcs4(&upper, 1) : character;
}

} // namespace

std::optional<QString> Shortcut::keyToCharacter() const
{
    if (specialKey(key()) || carbonKeyCode < 0 || carbonKeyCode > 0xFFFF)
        return std::nullopt;
    return KeyboardLayout::current().baseCharacter(carbonKeyCode);
}

QString Shortcut::presentableDescription() const
{
    const QString modifierSymbols = KeyboardShortcuts::presentableDescription(modifiers());
    if (const auto special = specialKey(key()))
        return modifierSymbols + KeyboardShortcuts::presentableDescription(*special);
    const auto character = keyToCharacter();
    return modifierSymbols + (character ? capitalized(*character) : QString(replacementCharacter));
}

QString Shortcut::readableDescription() const
{
    if (specialKey(key()) || keyToCharacter())
        return presentableDescription();
    const QString modifierSymbols = KeyboardShortcuts::presentableDescription(modifiers());
    return modifierSymbols + (modifierSymbols.isEmpty() ? QString() : QStringLiteral(" "))
        + QStringLiteral("key code ") + QString::number(carbonKeyCode);
}

std::optional<QString> Shortcut::nsMenuItemKeyEquivalent() const
{
    if (const auto special = specialKey(key()))
        return menuKeyEquivalent(*special);
    return keyToCharacter();
}

std::optional<QKeySequence> Shortcut::toKeySequence() const
{
    const Qt::KeyboardModifiers qtModifiers = toQtModifiers(modifiers());
    if (const auto special = specialKey(key())) {
        const QKeyCombination combination = qtKeyCombination(*special);
        return QKeySequence(
            QKeyCombination(combination.keyboardModifiers() | qtModifiers, combination.key()));
    }
    const auto character = keyToCharacter();
    // Qt names a character key by the upper-case form of the character.
    const auto qtKey = character ? static_cast<int>(upperCodePoint(*character)) : 0;
    if (!qtKey)
        return std::nullopt;
    return QKeySequence(QKeyCombination(qtModifiers, static_cast<Qt::Key>(qtKey)));
}

} // namespace KeyboardShortcuts

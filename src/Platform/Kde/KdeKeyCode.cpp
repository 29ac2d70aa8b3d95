#include "Platform/Kde/KdeKeyCode.h"

#include "Platform/Portal/ShortcutTrigger.h"

#include <QHash>
#include <QStringList>

#include <xkbcommon/xkbcommon.h>

namespace Platform::Kde {
namespace {

constexpr int keypad = Qt::KeypadModifier;

// Keys whose key symbol is no printable character; keypad keys carry Qt's keypad flag.
const QHash<QString, int>& namedKeys()
{
    static const QHash<QString, int> keys = [] {
        const std::pair<const char*, int> named[] = {
            {"Return", Qt::Key_Return},
            {"Tab", Qt::Key_Tab},
            {"BackSpace", Qt::Key_Backspace},
            {"Escape", Qt::Key_Escape},
            {"Delete", Qt::Key_Delete},
            {"Insert", Qt::Key_Insert},
            {"Home", Qt::Key_Home},
            {"End", Qt::Key_End},
            {"Page_Up", Qt::Key_PageUp},
            {"Page_Down", Qt::Key_PageDown},
            {"Left", Qt::Key_Left},
            {"Right", Qt::Key_Right},
            {"Up", Qt::Key_Up},
            {"Down", Qt::Key_Down},
            {"Num_Lock", Qt::Key_NumLock},
            {"KP_Decimal", keypad | Qt::Key_Period},
            {"KP_Multiply", keypad | Qt::Key_Asterisk},
            {"KP_Add", keypad | Qt::Key_Plus},
            {"KP_Divide", keypad | Qt::Key_Slash},
            {"KP_Enter", keypad | Qt::Key_Enter},
            {"KP_Subtract", keypad | Qt::Key_Minus},
            {"KP_Equal", keypad | Qt::Key_Equal},
            {"XF86AudioRaiseVolume", Qt::Key_VolumeUp},
            {"XF86AudioLowerVolume", Qt::Key_VolumeDown},
            {"XF86AudioMute", Qt::Key_VolumeMute},
        };
        QHash<QString, int> table;
        for (const auto& [name, key] : named)
            table.insert(QString::fromLatin1(name), key);
        for (int n = 0; n < 10; ++n)
            table.insert(QStringLiteral("KP_%1").arg(n), keypad | (Qt::Key_0 + n));
        for (int n = 1; n <= 20; ++n)
            table.insert(QStringLiteral("F%1").arg(n), Qt::Key_F1 + n - 1);
        return table;
    }();
    return keys;
}

// Qt's code of a printable key is its character, letters in upper case; xkb's symbol of it is
// the same character.
std::optional<int> qtKeyOfSymbol(const QString& name)
{
    const auto named = namedKeys().constFind(name);
    if (named != namedKeys().constEnd())
        return *named;
    const xkb_keysym_t symbol
        = xkb_keysym_from_name(name.toUtf8().constData(), XKB_KEYSYM_NO_FLAGS);
    if (symbol < 0x20 || symbol > 0x7e)
        return std::nullopt;
    return int(QChar(char16_t(symbol)).toUpper().unicode());
}

int qtModifier(const QString& name)
{
    if (name == QLatin1String("SHIFT"))
        return Qt::SHIFT;
    if (name == QLatin1String("CTRL"))
        return Qt::CTRL;
    if (name == QLatin1String("ALT"))
        return Qt::ALT;
    if (name == QLatin1String("LOGO"))
        return Qt::META;
    return 0;
}

} // namespace

std::optional<int> kdeKeyCode(quint32 keyCode, quint32 modifiers)
{
    // The portal's trigger already holds what KDE makes of the combination.
    const auto trigger = Portal::preferredTrigger(keyCode, modifiers);
    if (!trigger)
        return std::nullopt;
    QStringList parts = trigger->split(QLatin1Char('+'));
    const auto key = qtKeyOfSymbol(parts.takeLast());
    if (!key)
        return std::nullopt;
    int code = *key;
    for (const QString& modifier : parts)
        code |= qtModifier(modifier);
    return code;
}

} // namespace Platform::Kde

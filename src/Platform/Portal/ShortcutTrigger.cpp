#include "Platform/Portal/ShortcutTrigger.h"

#include "KeyboardShortcuts/Key.h"
#include "KeyboardShortcuts/ModifierFlags.h"

#include <QHash>

namespace Platform::Portal {
namespace {

using KeyboardShortcuts::Key;
namespace CarbonModifier = KeyboardShortcuts::CarbonModifier;

// Letters and digits are named by themselves; every other key by its symbol's name.
const QHash<int, QString>& keySymbolNames()
{
    static const QHash<int, QString> names = [] {
        const std::pair<Key, const char*> named[] = {
            {Key::equal, "equal"},
            {Key::minus, "minus"},
            {Key::rightBracket, "bracketright"},
            {Key::leftBracket, "bracketleft"},
            {Key::quote, "apostrophe"},
            {Key::semicolon, "semicolon"},
            {Key::backslash, "backslash"},
            {Key::comma, "comma"},
            {Key::slash, "slash"},
            {Key::period, "period"},
            {Key::backtick, "grave"},
            {Key::return_, "Return"},
            {Key::tab, "Tab"},
            {Key::space, "space"},
            {Key::delete_, "BackSpace"},
            {Key::escape, "Escape"},
            {Key::deleteForward, "Delete"},
            {Key::help, "Insert"},
            {Key::home, "Home"},
            {Key::end, "End"},
            {Key::pageUp, "Page_Up"},
            {Key::pageDown, "Page_Down"},
            {Key::leftArrow, "Left"},
            {Key::rightArrow, "Right"},
            {Key::upArrow, "Up"},
            {Key::downArrow, "Down"},
            {Key::keypadDecimal, "KP_Decimal"},
            {Key::keypadMultiply, "KP_Multiply"},
            {Key::keypadPlus, "KP_Add"},
            {Key::keypadClear, "Num_Lock"},
            {Key::keypadDivide, "KP_Divide"},
            {Key::keypadEnter, "KP_Enter"},
            {Key::keypadMinus, "KP_Subtract"},
            {Key::keypadEquals, "KP_Equal"},
            {Key::keypad0, "KP_0"},
            {Key::keypad1, "KP_1"},
            {Key::keypad2, "KP_2"},
            {Key::keypad3, "KP_3"},
            {Key::keypad4, "KP_4"},
            {Key::keypad5, "KP_5"},
            {Key::keypad6, "KP_6"},
            {Key::keypad7, "KP_7"},
            {Key::keypad8, "KP_8"},
            {Key::keypad9, "KP_9"},
            {Key::volumeUp, "XF86AudioRaiseVolume"},
            {Key::volumeDown, "XF86AudioLowerVolume"},
            {Key::mute, "XF86AudioMute"},
            {Key::f1, "F1"},
            {Key::f2, "F2"},
            {Key::f3, "F3"},
            {Key::f4, "F4"},
            {Key::f5, "F5"},
            {Key::f6, "F6"},
            {Key::f7, "F7"},
            {Key::f8, "F8"},
            {Key::f9, "F9"},
            {Key::f10, "F10"},
            {Key::f11, "F11"},
            {Key::f12, "F12"},
            {Key::f13, "F13"},
            {Key::f14, "F14"},
            {Key::f15, "F15"},
            {Key::f16, "F16"},
            {Key::f17, "F17"},
            {Key::f18, "F18"},
            {Key::f19, "F19"},
            {Key::f20, "F20"},
            {Key::a, "a"},
            {Key::b, "b"},
            {Key::c, "c"},
            {Key::d, "d"},
            {Key::e, "e"},
            {Key::f, "f"},
            {Key::g, "g"},
            {Key::h, "h"},
            {Key::i, "i"},
            {Key::j, "j"},
            {Key::k, "k"},
            {Key::l, "l"},
            {Key::m, "m"},
            {Key::n, "n"},
            {Key::o, "o"},
            {Key::p, "p"},
            {Key::q, "q"},
            {Key::r, "r"},
            {Key::s, "s"},
            {Key::t, "t"},
            {Key::u, "u"},
            {Key::v, "v"},
            {Key::w, "w"},
            {Key::x, "x"},
            {Key::y, "y"},
            {Key::z, "z"},
            {Key::zero, "0"},
            {Key::one, "1"},
            {Key::two, "2"},
            {Key::three, "3"},
            {Key::four, "4"},
            {Key::five, "5"},
            {Key::six, "6"},
            {Key::seven, "7"},
            {Key::eight, "8"},
            {Key::nine, "9"},
        };
        QHash<int, QString> table;
        for (const auto& [key, name] : named)
            table.insert(key.rawValue, QString::fromLatin1(name));
        return table;
    }();
    return names;
}

// What Shift makes of a key on a US keyboard, for keys that type another symbol with it.
const QHash<int, QString>& shiftedSymbolNames()
{
    static const QHash<int, QString> names = [] {
        const std::pair<Key, const char*> named[] = {{Key::one, "exclam"}, {Key::two, "at"},
            {Key::three, "numbersign"}, {Key::four, "dollar"}, {Key::five, "percent"},
            {Key::six, "asciicircum"}, {Key::seven, "ampersand"}, {Key::eight, "asterisk"},
            {Key::nine, "parenleft"}, {Key::zero, "parenright"}, {Key::minus, "underscore"},
            {Key::equal, "plus"}, {Key::leftBracket, "braceleft"},
            {Key::rightBracket, "braceright"}, {Key::backslash, "bar"}, {Key::semicolon, "colon"},
            {Key::quote, "quotedbl"}, {Key::comma, "less"}, {Key::period, "greater"},
            {Key::slash, "question"}, {Key::backtick, "asciitilde"}};
        QHash<int, QString> table;
        for (const auto& [key, name] : named)
            table.insert(key.rawValue, QString::fromLatin1(name));
        return table;
    }();
    return names;
}

} // namespace

std::optional<QString> preferredTrigger(quint32 keyCode, quint32 modifiers)
{
    const auto name = keySymbolNames().constFind(int(keyCode));
    if (name == keySymbolNames().constEnd())
        return std::nullopt;
    // KDE matches a key that Shift turns into another symbol by that symbol, without Shift:
    // Shift+Alt+1 arrives as Alt+!, as KDE's own settings record it.
    const auto shifted = shiftedSymbolNames().constFind(int(keyCode));
    const bool shiftTypesSymbol
        = (modifiers & CarbonModifier::shiftKey) && shifted != shiftedSymbolNames().constEnd();
    QString trigger;
    if ((modifiers & CarbonModifier::shiftKey) && !shiftTypesSymbol)
        trigger += QLatin1String("SHIFT+");
    if (modifiers & CarbonModifier::controlKey)
        trigger += QLatin1String("CTRL+");
    if (modifiers & CarbonModifier::optionKey)
        trigger += QLatin1String("ALT+");
    if (modifiers & CarbonModifier::cmdKey)
        trigger += QLatin1String("LOGO+");
    return trigger + (shiftTypesSymbol ? *shifted : *name);
}

} // namespace Platform::Portal

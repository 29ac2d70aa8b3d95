#include "KeyboardShortcuts/Key.h"

#include "KeyboardShortcuts/Localization.h"

#include <array>

namespace KeyboardShortcuts {
namespace {

constexpr QChar enclosingKeycap(0x20E3);

struct SpecialKeyInfo {
    SpecialKey specialKey;
    Key key;
    Qt::Key qtKey;
    bool onKeypad = false;
};

const std::array<SpecialKeyInfo, 53>& specialKeys()
{
    static const std::array<SpecialKeyInfo, 53> table{{
        {SpecialKey::return_, Key::return_, Qt::Key_Return},
        {SpecialKey::delete_, Key::delete_, Qt::Key_Backspace},
        {SpecialKey::deleteForward, Key::deleteForward, Qt::Key_Delete},
        {SpecialKey::end, Key::end, Qt::Key_End},
        {SpecialKey::escape, Key::escape, Qt::Key_Escape},
        {SpecialKey::help, Key::help, Qt::Key_Help},
        {SpecialKey::home, Key::home, Qt::Key_Home},
        {SpecialKey::space, Key::space, Qt::Key_Space},
        {SpecialKey::tab, Key::tab, Qt::Key_Tab},
        {SpecialKey::pageUp, Key::pageUp, Qt::Key_PageUp},
        {SpecialKey::pageDown, Key::pageDown, Qt::Key_PageDown},
        {SpecialKey::upArrow, Key::upArrow, Qt::Key_Up},
        {SpecialKey::rightArrow, Key::rightArrow, Qt::Key_Right},
        {SpecialKey::downArrow, Key::downArrow, Qt::Key_Down},
        {SpecialKey::leftArrow, Key::leftArrow, Qt::Key_Left},
        {SpecialKey::f1, Key::f1, Qt::Key_F1},
        {SpecialKey::f2, Key::f2, Qt::Key_F2},
        {SpecialKey::f3, Key::f3, Qt::Key_F3},
        {SpecialKey::f4, Key::f4, Qt::Key_F4},
        {SpecialKey::f5, Key::f5, Qt::Key_F5},
        {SpecialKey::f6, Key::f6, Qt::Key_F6},
        {SpecialKey::f7, Key::f7, Qt::Key_F7},
        {SpecialKey::f8, Key::f8, Qt::Key_F8},
        {SpecialKey::f9, Key::f9, Qt::Key_F9},
        {SpecialKey::f10, Key::f10, Qt::Key_F10},
        {SpecialKey::f11, Key::f11, Qt::Key_F11},
        {SpecialKey::f12, Key::f12, Qt::Key_F12},
        {SpecialKey::f13, Key::f13, Qt::Key_F13},
        {SpecialKey::f14, Key::f14, Qt::Key_F14},
        {SpecialKey::f15, Key::f15, Qt::Key_F15},
        {SpecialKey::f16, Key::f16, Qt::Key_F16},
        {SpecialKey::f17, Key::f17, Qt::Key_F17},
        {SpecialKey::f18, Key::f18, Qt::Key_F18},
        {SpecialKey::f19, Key::f19, Qt::Key_F19},
        {SpecialKey::f20, Key::f20, Qt::Key_F20},
        {SpecialKey::keypad0, Key::keypad0, Qt::Key_0, true},
        {SpecialKey::keypad1, Key::keypad1, Qt::Key_1, true},
        {SpecialKey::keypad2, Key::keypad2, Qt::Key_2, true},
        {SpecialKey::keypad3, Key::keypad3, Qt::Key_3, true},
        {SpecialKey::keypad4, Key::keypad4, Qt::Key_4, true},
        {SpecialKey::keypad5, Key::keypad5, Qt::Key_5, true},
        {SpecialKey::keypad6, Key::keypad6, Qt::Key_6, true},
        {SpecialKey::keypad7, Key::keypad7, Qt::Key_7, true},
        {SpecialKey::keypad8, Key::keypad8, Qt::Key_8, true},
        {SpecialKey::keypad9, Key::keypad9, Qt::Key_9, true},
        {SpecialKey::keypadClear, Key::keypadClear, Qt::Key_Clear, true},
        {SpecialKey::keypadDecimal, Key::keypadDecimal, Qt::Key_Period, true},
        {SpecialKey::keypadDivide, Key::keypadDivide, Qt::Key_Slash, true},
        {SpecialKey::keypadEnter, Key::keypadEnter, Qt::Key_Enter, true},
        {SpecialKey::keypadEquals, Key::keypadEquals, Qt::Key_Equal, true},
        {SpecialKey::keypadMinus, Key::keypadMinus, Qt::Key_Minus, true},
        {SpecialKey::keypadMultiply, Key::keypadMultiply, Qt::Key_Asterisk, true},
        {SpecialKey::keypadPlus, Key::keypadPlus, Qt::Key_Plus, true},
    }};
    return table;
}

const SpecialKeyInfo& info(SpecialKey key)
{
    // The table lists the cases in their declared order.
    return specialKeys()[static_cast<size_t>(key)];
}

int functionKeyNumber(SpecialKey key)
{
    return static_cast<int>(key) - static_cast<int>(SpecialKey::f1) + 1;
}

bool isFunctionKey(SpecialKey key)
{
    return key >= SpecialKey::f1 && key <= SpecialKey::f20;
}

bool isKeypadKey(SpecialKey key)
{
    return key >= SpecialKey::keypad0;
}

QString keycap(QChar face)
{
    return QString(face) + enclosingKeycap;
}

QString keypadDescription(SpecialKey key)
{
    if (key <= SpecialKey::keypad9)
        return keycap(
            QChar(u'0' + (static_cast<int>(key) - static_cast<int>(SpecialKey::keypad0))));
    switch (key) {
    case SpecialKey::keypadClear:
        return keycap(QChar(0x2612));
    case SpecialKey::keypadDecimal:
        return keycap(u'.');
    case SpecialKey::keypadDivide:
        return keycap(u'/');
    case SpecialKey::keypadEnter:
        return keycap(QChar(0x21A9));
    case SpecialKey::keypadEquals:
        return keycap(u'=');
    case SpecialKey::keypadMinus:
        return keycap(u'-');
    case SpecialKey::keypadMultiply:
        return keycap(u'*');
    default:
        return keycap(u'+');
    }
}

QString symbol(SpecialKey key)
{
    switch (key) {
    case SpecialKey::return_:
        return QStringLiteral("\u21A9");
    case SpecialKey::delete_:
        return QStringLiteral("\u232B");
    case SpecialKey::deleteForward:
        return QStringLiteral("\u2326");
    case SpecialKey::end:
        return QStringLiteral("\u2198");
    case SpecialKey::escape:
        return QStringLiteral("\u238B");
    case SpecialKey::help:
        return QStringLiteral("?\u20DD");
    case SpecialKey::home:
        return QStringLiteral("\u2196");
    case SpecialKey::space:
        return QStringLiteral(" ");
    case SpecialKey::tab:
        return QStringLiteral("\u21E5");
    case SpecialKey::pageUp:
        return QStringLiteral("\u21DE");
    case SpecialKey::pageDown:
        return QStringLiteral("\u21DF");
    case SpecialKey::upArrow:
        return QStringLiteral("\u2191");
    case SpecialKey::rightArrow:
        return QStringLiteral("\u2192");
    case SpecialKey::downArrow:
        return QStringLiteral("\u2193");
    case SpecialKey::leftArrow:
        return QStringLiteral("\u2190");
    default:
        return {};
    }
}

} // namespace

bool isFunctionKey(Key key)
{
    const auto special = specialKey(key);
    return special && isFunctionKey(*special);
}

const QHash<Key, SpecialKey>& keyToSpecialKeyMapping()
{
    static const QHash<Key, SpecialKey> mapping = [] {
        QHash<Key, SpecialKey> result;
        for (const SpecialKeyInfo& entry : specialKeys())
            result.insert(entry.key, entry.specialKey);
        return result;
    }();
    return mapping;
}

std::optional<SpecialKey> specialKey(Key key)
{
    const auto& mapping = keyToSpecialKeyMapping();
    const auto it = mapping.constFind(key);
    if (it == mapping.cend())
        return std::nullopt;
    return *it;
}

QString presentableDescription(SpecialKey key)
{
    if (key == SpecialKey::space)
        return localized("space_key");
    if (isFunctionKey(key))
        return QStringLiteral("F%1").arg(functionKeyNumber(key));
    if (isKeypadKey(key))
        return keypadDescription(key);
    return symbol(key);
}

std::optional<QString> menuKeyEquivalent(SpecialKey key)
{
    if (isKeypadKey(key))
        return std::nullopt;
    if (isFunctionKey(key))
        return QString(QChar(0xF704 + functionKeyNumber(key) - 1));
    return symbol(key);
}

QKeyCombination qtKeyCombination(SpecialKey key)
{
    const SpecialKeyInfo& entry = info(key);
    return QKeyCombination(entry.onKeypad ? Qt::KeypadModifier : Qt::NoModifier, entry.qtKey);
}

} // namespace KeyboardShortcuts

#include "KeyboardShortcuts/ModifierFlags.h"

#include <array>
#include <utility>

namespace KeyboardShortcuts {
namespace {

constexpr std::array<std::pair<ModifierFlag, int>, 5> flagToCarbon{{
    {ModifierFlag::control, CarbonModifier::controlKey},
    {ModifierFlag::option, CarbonModifier::optionKey},
    {ModifierFlag::shift, CarbonModifier::shiftKey},
    {ModifierFlag::command, CarbonModifier::cmdKey},
    {ModifierFlag::function, CarbonModifier::function},
}};

constexpr std::array<std::pair<ModifierFlag, Qt::KeyboardModifier>, 5> flagToQt{{
    {ModifierFlag::control, Qt::ControlModifier},
    {ModifierFlag::option, Qt::AltModifier},
    {ModifierFlag::shift, Qt::ShiftModifier},
    {ModifierFlag::command, Qt::MetaModifier},
    {ModifierFlag::numericPad, Qt::KeypadModifier},
}};

} // namespace

int carbonModifiers(ModifierFlags flags)
{
    int result = 0;
    for (const auto& [flag, carbon] : flagToCarbon) {
        if (flags.testFlag(flag))
            result |= carbon;
    }
    return result;
}

ModifierFlags modifierFlags(int carbonModifiers)
{
    ModifierFlags result;
    for (const auto& [flag, carbon] : flagToCarbon) {
        if (carbonModifiers & carbon)
            result |= flag;
    }
    return result;
}

Qt::KeyboardModifiers toQtModifiers(ModifierFlags flags)
{
    Qt::KeyboardModifiers result;
    for (const auto& [flag, qt] : flagToQt) {
        if (flags.testFlag(flag))
            result |= qt;
    }
    return result;
}

ModifierFlags fromQtModifiers(Qt::KeyboardModifiers modifiers)
{
    ModifierFlags result;
    for (const auto& [flag, qt] : flagToQt) {
        if (modifiers.testFlag(qt))
            result |= flag;
    }
    return result;
}

QString presentableDescription(ModifierFlags flags)
{
    QString result;
    if (flags.testFlag(ModifierFlag::control))
        result += QStringLiteral("\u2303");
    if (flags.testFlag(ModifierFlag::option))
        result += QStringLiteral("\u2325");
    if (flags.testFlag(ModifierFlag::shift))
        result += QStringLiteral("\u21E7");
    if (flags.testFlag(ModifierFlag::command))
        result += QStringLiteral("\u2318");
    if (flags.testFlag(ModifierFlag::function))
        result += QStringLiteral("\U0001F310\uFE0E");
    return result;
}

} // namespace KeyboardShortcuts

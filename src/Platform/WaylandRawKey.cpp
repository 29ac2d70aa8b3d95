#include "Platform/WaylandRawKey.h"

#include "KeyboardShortcuts/KeyCodeTable.h"
#include "KeyboardShortcuts/ModifierFlags.h"

#include <utility>

namespace Platform {

std::optional<KeyboardShortcuts::RawKey> waylandRawKey(
    quint32 nativeScanCode, quint32 nativeModifiers)
{
    using namespace KeyboardShortcuts;
    const auto keyCode = KeyCodeTable::carbonKeyCodeOfXKeycode(int(nativeScanCode));
    if (!keyCode)
        return std::nullopt;
    // xkb's real modifiers: Shift, Lock, Control, Mod1 (Alt), Mod2 (Num Lock), Mod4 (Super).
    constexpr std::pair<quint32, int> modifierBits[] = {
        {1u << 0, CarbonModifier::shiftKey},
        {1u << 1, CarbonModifier::alphaLock},
        {1u << 2, CarbonModifier::controlKey},
        {1u << 3, CarbonModifier::optionKey},
        {1u << 4, CarbonModifier::numLock},
        {1u << 6, CarbonModifier::cmdKey},
    };
    quint32 modifiers = 0;
    for (const auto& [mask, modifier] : modifierBits) {
        if (nativeModifiers & mask)
            modifiers |= quint32(modifier);
    }
    return RawKey{quint32(*keyCode), modifiers};
}

} // namespace Platform

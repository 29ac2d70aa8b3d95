#pragma once

#include "KeyboardShortcuts/HotKeyService.h"

#include <optional>

namespace Platform {

// The virtual key code and hot-key modifiers of a key event of Qt's Wayland platform, whose
// native scan code is the X key code and whose native modifiers are xkb's modifier mask.
std::optional<KeyboardShortcuts::RawKey> waylandRawKey(
    quint32 nativeScanCode, quint32 nativeModifiers);

} // namespace Platform

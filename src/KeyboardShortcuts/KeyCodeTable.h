#pragma once

#include <optional>

namespace KeyboardShortcuts::KeyCodeTable {

// Virtual key codes name places on a US-ANSI keyboard; Linux names the same places with
// evdev codes (X keycode = evdev code + 8). Grabbing by place rather than by symbol keeps a
// shortcut working whatever layout comes first.
std::optional<int> evdevCode(int carbonKeyCode);
std::optional<int> carbonKeyCode(int evdevCode);

inline constexpr int xKeycodeOffset = 8;

inline std::optional<int> xKeycode(int carbonKeyCode)
{
    const auto evdev = evdevCode(carbonKeyCode);
    return evdev ? std::optional<int>(*evdev + xKeycodeOffset) : std::nullopt;
}

inline std::optional<int> carbonKeyCodeOfXKeycode(int xKeycode)
{
    return carbonKeyCode(xKeycode - xKeycodeOffset);
}

} // namespace KeyboardShortcuts::KeyCodeTable

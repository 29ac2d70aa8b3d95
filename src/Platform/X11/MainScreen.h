#pragma once

#include "Platform/Geometry.h"

#include <QList>

#include <optional>

namespace Platform::X11 {

class Connection;

struct Monitor {
    Frame area; // in root coordinates, panels included
    bool isPrimary = false;
};

// The monitor holding the largest part of the focused window's frame; without a focused
// window on any monitor, the primary one; without that, nothing (the whole root counts).
std::optional<Monitor> chooseMainMonitor(
    const QList<Monitor>& monitors, const std::optional<Frame>& focusedFrame);

// The full size of the screen the user works on: the RandR monitor chosen as above, or
// the root window when the server has no monitors to tell of.
ScreenSize mainScreenSize(const Connection& connection);

} // namespace Platform::X11

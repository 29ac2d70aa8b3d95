#pragma once

#include <QList>

#include <chrono>
#include <cstdint>

namespace Platform::X11 {

class Connection;
class EventHub;

// A window to bring out of the maximized or fullscreen state, and its client size now.
struct StateToLeave {
    std::uint32_t window = 0;
    bool maximized = false;
    bool fullscreen = false;
    int width = 0;
    int height = 0;
};

// Asks the window manager to take the windows out of the maximized and fullscreen states
// (most window managers ignore moves of such windows) and waits, boundedly, until each
// window has left its maximized size. _NET_WM_STATE alone does not tell: openbox announces
// the new state before it restores the old frame.
// Events read meanwhile are passed on to `events`.
void leaveMaximizedAndFullscreen(const Connection& connection, EventHub& events,
    const QList<StateToLeave>& windows, std::chrono::milliseconds timeout);

} // namespace Platform::X11

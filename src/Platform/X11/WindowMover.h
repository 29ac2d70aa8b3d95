#pragma once

#include "Platform/Geometry.h"

#include <QList>

#include <cstdint>

namespace Platform::X11 {

class Connection;
class PositionRecheck;
class StateExit;

struct WindowTarget {
    std::uint32_t window = 0;
    Frame frame;
};

// Moves windows so that their visible frame becomes a target frame: for each window the
// position first, then the size, as two requests to the window manager. Everything is
// computed from one batch of reads and sent at once; a maximized or fullscreen window is
// first taken out of that state and placed when the window manager has restored it. A window
// whose position the window manager kept by its old size gets both requests again.
class WindowMover {
public:
    WindowMover(const Connection& connection, StateExit& stateExit, PositionRecheck& recheck)
        : m_connection(connection), m_stateExit(stateExit), m_recheck(recheck)
    {
    }

    void place(const QList<WindowTarget>& targets);
    void place(const QList<std::uint32_t>& windows, const Frame& target);

private:
    const Connection& m_connection;
    StateExit& m_stateExit;
    PositionRecheck& m_recheck;
};

} // namespace Platform::X11

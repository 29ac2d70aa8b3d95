#pragma once

#include "Platform/X11/FrameMath.h"

#include <array>
#include <cstdint>

namespace Platform::X11 {

class Connection;

// Sends an EWMH request about `window` to the window manager (a client message to the
// root window, as a pager would).
void sendToWindowManager(const Connection& connection, std::uint32_t window,
    std::uint32_t messageType, const std::array<std::uint32_t, 5>& data);

// Asks the window manager to move the window's frame to the request's position, then to
// give the client the request's size: two _NET_MOVERESIZE_WINDOW messages, in that order.
void requestMoveResize(const Connection& connection, std::uint32_t window, const MoveResize& request);

} // namespace Platform::X11

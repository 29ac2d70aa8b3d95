#pragma once

#include <array>
#include <cstdint>

namespace Platform::X11 {

class Connection;

// Sends an EWMH request about `window` to the window manager (a client message to the
// root window, as a pager would).
void sendToWindowManager(const Connection& connection, std::uint32_t window,
    std::uint32_t messageType, const std::array<std::uint32_t, 5>& data);

} // namespace Platform::X11

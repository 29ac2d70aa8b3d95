#include "Platform/X11/ClientMessage.h"

#include "Platform/X11/Connection.h"

#include <xcb/xcb.h>

namespace Platform::X11 {

void sendToWindowManager(const Connection& connection, std::uint32_t window,
    std::uint32_t messageType, const std::array<std::uint32_t, 5>& data)
{
    // xcb_send_event copies exactly 32 bytes.
    static_assert(sizeof(xcb_client_message_event_t) == 32);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = messageType;
    for (std::size_t i = 0; i < data.size(); ++i)
        event.data.data32[i] = data[i];
    xcb_send_event(connection.get(), 0, connection.root(),
        XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
        reinterpret_cast<const char*>(&event));
}

} // namespace Platform::X11

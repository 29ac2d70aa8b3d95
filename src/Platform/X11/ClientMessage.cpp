#include "Platform/X11/ClientMessage.h"

#include "Platform/X11/Connection.h"

#include <xcb/xcb.h>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t northWestGravity = 1;
constexpr std::uint32_t withX = 1U << 8;
constexpr std::uint32_t withY = 1U << 9;
constexpr std::uint32_t withWidth = 1U << 10;
constexpr std::uint32_t withHeight = 1U << 11;
constexpr std::uint32_t fromPager = 2U << 12;

std::uint32_t onWire(int value)
{
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
}

} // namespace

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

void requestMoveResize(const Connection& connection, std::uint32_t window, const MoveResize& request)
{
    const std::uint32_t type = connection.atom(Atom::NetMoveResizeWindow);
    sendToWindowManager(connection, window, type,
        {northWestGravity | withX | withY | fromPager, onWire(request.frameX),
            onWire(request.frameY), 0, 0});
    sendToWindowManager(connection, window, type,
        {northWestGravity | withWidth | withHeight | fromPager, 0, 0, onWire(request.clientWidth),
            onWire(request.clientHeight)});
}

} // namespace Platform::X11

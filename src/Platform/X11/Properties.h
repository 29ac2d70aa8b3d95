#pragma once

#include "Platform/X11/Atoms.h"
#include "Platform/X11/PendingReply.h"
#include "Platform/X11/Reply.h"

#include <QList>
#include <QStringList>

#include <cstdint>
#include <optional>

struct xcb_get_property_reply_t;

namespace Platform::X11 {

class Connection;

// A property read that was sent and whose reply has not been taken yet.
class PropertyRequest {
public:
    PropertyRequest() = default;
    PropertyRequest(const Connection& connection, std::uint32_t window, Atom name,
        std::uint32_t maxValues = 32);
    // For the atoms predefined by the core protocol (WM_CLASS, WM_TRANSIENT_FOR...).
    PropertyRequest(const Connection& connection, std::uint32_t window, std::uint32_t atom,
        std::uint32_t maxValues);

    // The property, or null when it is absent or the window is gone.
    Reply<xcb_get_property_reply_t> take();

private:
    PendingReply m_pending;
};

// The 32-bit values of a property of format 32 (CARDINAL, WINDOW, ATOM...).
QList<std::uint32_t> values32(const xcb_get_property_reply_t* reply);
std::optional<std::uint32_t> firstValue32(const xcb_get_property_reply_t* reply);
// The NUL-separated texts of a STRING or UTF8_STRING property.
QStringList texts(const xcb_get_property_reply_t* reply);

// Left, right, top, bottom, as in _NET_FRAME_EXTENTS and _GTK_FRAME_EXTENTS.
struct Extents {
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
};
Extents extentsOf(const xcb_get_property_reply_t* reply);

} // namespace Platform::X11

#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/FrameMath.h"
#include "Platform/X11/PendingReply.h"
#include "Platform/X11/Properties.h"

#include <cstdint>
#include <optional>

namespace Platform::X11 {

class Connection;

// The visible frame of one client window in root coordinates: the client's size, its
// origin translated to the root, widened by the window manager's decorations and narrowed
// by client-side shadows. The requests go out on construction.
class FrameQuery {
public:
    FrameQuery(const Connection& connection, std::uint32_t window);

    // Null when the window has gone.
    std::optional<Frame> take();

private:
    PendingReply m_geometry;
    PendingReply m_origin;
    PropertyRequest m_decorations;
    PropertyRequest m_shadows;
};

} // namespace Platform::X11

#include "Platform/X11/FrameQuery.h"

#include "Platform/X11/Connection.h"

#include <xcb/xcb.h>

namespace Platform::X11 {

FrameQuery::FrameQuery(const Connection& connection, std::uint32_t window)
    : m_geometry(connection.get(), xcb_get_geometry(connection.get(), window).sequence),
      m_origin(connection.get(),
          xcb_translate_coordinates(connection.get(), window, connection.root(), 0, 0).sequence),
      m_decorations(connection, window, Atom::NetFrameExtents, 4),
      m_shadows(connection, window, Atom::GtkFrameExtents, 4)
{
}

std::optional<Frame> FrameQuery::take()
{
    const auto geometry = takeReply(m_geometry, xcb_get_geometry_reply);
    const auto origin = takeReply(m_origin, xcb_translate_coordinates_reply);
    const auto decorations = m_decorations.take();
    const auto shadows = m_shadows.take();
    if (!geometry || !origin || !origin->same_screen)
        return std::nullopt;
    const Rect client{origin->dst_x, origin->dst_y, geometry->width, geometry->height};
    return visibleFrame(
        client, visibleExtents(extentsOf(decorations.get()), extentsOf(shadows.get())));
}

} // namespace Platform::X11

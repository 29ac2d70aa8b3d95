#include "Platform/X11/MainScreen.h"

#include "Platform/X11/Connection.h"
#include "Platform/X11/FrameQuery.h"
#include "Platform/X11/PendingReply.h"
#include "Platform/X11/Properties.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>

namespace Platform::X11 {
namespace {

double overlap(const Frame& a, const Frame& b)
{
    const double width = std::min(a.x + a.width, b.x + b.width) - std::max(a.x, b.x);
    const double height = std::min(a.y + a.height, b.y + b.height) - std::max(a.y, b.y);
    return width > 0 && height > 0 ? width * height : 0;
}

QList<Monitor> monitorsFrom(PendingReply& request)
{
    QList<Monitor> monitors;
    const auto reply = takeReply(request, xcb_randr_get_monitors_reply);
    if (!reply)
        return monitors;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
        const Frame area{static_cast<double>(it.data->x), static_cast<double>(it.data->y),
            static_cast<double>(it.data->width), static_cast<double>(it.data->height)};
        monitors.append({area, it.data->primary != 0});
    }
    return monitors;
}

} // namespace

std::optional<Monitor> chooseMainMonitor(
    const QList<Monitor>& monitors, const std::optional<Frame>& focusedFrame)
{
    const Monitor* best = nullptr;
    double bestOverlap = 0;
    for (const Monitor& monitor : monitors) {
        const double area = focusedFrame ? overlap(monitor.area, *focusedFrame) : 0;
        if (area > bestOverlap) {
            best = &monitor;
            bestOverlap = area;
        }
    }
    if (best)
        return *best;
    for (const Monitor& monitor : monitors) {
        if (monitor.isPrimary)
            return monitor;
    }
    return std::nullopt;
}

ScreenSize mainScreenSize(const Connection& connection)
{
    const Frame root{0, 0, static_cast<double>(connection.rootWidth()),
        static_cast<double>(connection.rootHeight())};
    PropertyRequest activeRequest(connection, connection.root(), Atom::NetActiveWindow, 1);
    PendingReply monitorsRequest;
    if (connection.hasRandrMonitors())
        monitorsRequest = PendingReply(connection.get(),
            xcb_randr_get_monitors(connection.get(), connection.root(), 1).sequence);
    const std::uint32_t active = firstValue32(activeRequest.take().get()).value_or(XCB_WINDOW_NONE);
    const QList<Monitor> monitors = monitorsFrom(monitorsRequest);

    // One monitor covering the root gives the same answer wherever the focus is.
    const bool singleScreen
        = monitors.isEmpty() || (monitors.size() == 1 && monitors.first().area == root);
    std::optional<Frame> focused;
    if (!singleScreen && active != XCB_WINDOW_NONE)
        focused = FrameQuery(connection, active).take();
    const std::optional<Monitor> chosen = chooseMainMonitor(monitors, focused);
    const Frame area = chosen ? chosen->area : root;
    return {area.width, area.height};
}

} // namespace Platform::X11

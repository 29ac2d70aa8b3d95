#include "Platform/X11/WindowStates.h"

#include "Platform/X11/ClientMessage.h"
#include "Platform/X11/Connection.h"
#include "Platform/X11/EventHub.h"
#include "Platform/X11/PendingReply.h"
#include "Util/Logging.h"

#include <xcb/xcb.h>

#include <QElapsedTimer>
#include <QHash>

#include <poll.h>
#include <vector>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t removeState = 0;
constexpr std::uint32_t fromPager = 2;

struct Size {
    int width = 0;
    int height = 0;
};

void requestNormalState(const Connection& connection, const StateToLeave& state)
{
    const std::uint32_t type = connection.atom(Atom::NetWmState);
    if (state.maximized)
        sendToWindowManager(connection, state.window, type,
            {removeState, connection.atom(Atom::NetWmStateMaximizedVert),
                connection.atom(Atom::NetWmStateMaximizedHorz), fromPager, 0});
    if (state.fullscreen)
        sendToWindowManager(connection, state.window, type,
            {removeState, connection.atom(Atom::NetWmStateFullscreen), 0, fromPager, 0});
}

// Forgets a window once it was resized away from its maximized size, or went away.
void takeEvent(const xcb_generic_event_t& event, QHash<std::uint32_t, Size>& waiting)
{
    switch (event.response_type & 0x7F) {
    case XCB_CONFIGURE_NOTIFY: {
        const auto& notify = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const auto it = waiting.constFind(notify.window);
        if (it != waiting.constEnd() && (notify.width != it->width || notify.height != it->height))
            waiting.remove(notify.window);
        break;
    }
    case XCB_DESTROY_NOTIFY:
        waiting.remove(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
        break;
    case XCB_UNMAP_NOTIFY:
        waiting.remove(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window);
        break;
    default:
        break;
    }
}

void waitForRestoredSizes(const Connection& connection, EventHub& events,
    QHash<std::uint32_t, Size>& waiting, std::chrono::milliseconds timeout)
{
    QElapsedTimer timer;
    timer.start();
    while (!waiting.isEmpty() && connection.isAlive()) {
        if (Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection.get())}) {
            takeEvent(*event, waiting);
            events.defer(std::move(event));
            continue;
        }
        const qint64 left = timeout.count() - timer.elapsed();
        if (left <= 0) {
            qCDebug(lcWindows) << waiting.size() << "windows kept their maximized size";
            return;
        }
        pollfd descriptor{xcb_get_file_descriptor(connection.get()), POLLIN, 0};
        ::poll(&descriptor, 1, static_cast<int>(left));
    }
}

} // namespace

void leaveMaximizedAndFullscreen(const Connection& connection, EventHub& events,
    const QList<StateToLeave>& windows, std::chrono::milliseconds timeout)
{
    if (windows.isEmpty())
        return;
    QHash<std::uint32_t, Size> waiting;
    for (const StateToLeave& state : windows)
        waiting.insert(state.window, {state.width, state.height});
    for (const StateToLeave& state : windows)
        events.select(state.window, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    for (const StateToLeave& state : windows)
        requestNormalState(connection, state);
    connection.flush();
    QElapsedTimer timer;
    timer.start();
    waitForRestoredSizes(connection, events, waiting, timeout);
    qCDebug(lcWindows) << "Left the maximized or fullscreen state of" << windows.size()
                       << "windows in" << timer.elapsed() << "ms";
    for (const StateToLeave& state : windows)
        events.deselect(state.window, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

} // namespace Platform::X11

#include "Platform/X11/WindowMover.h"

#include "Platform/X11/ClientMessage.h"
#include "Platform/X11/Connection.h"
#include "Platform/X11/FrameMath.h"
#include "Platform/X11/PendingReply.h"
#include "Platform/X11/PositionRecheck.h"
#include "Platform/X11/Properties.h"
#include "Platform/X11/WindowStates.h"
#include "Util/Logging.h"

#include <QSize>

#include <xcb/xcb.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace Platform::X11 {
namespace {

using namespace std::chrono_literals;

constexpr auto stateChangeTimeout = 500ms;

struct Decorations {
    Extents frame;
    Extents shadows;
};

class DecorationRequest {
public:
    DecorationRequest(const Connection& connection, std::uint32_t window)
        : m_frame(connection, window, Atom::NetFrameExtents, 4),
          m_shadows(connection, window, Atom::GtkFrameExtents, 4)
    {
    }
    Decorations take()
    {
        return {extentsOf(m_frame.take().get()), extentsOf(m_shadows.take().get())};
    }

private:
    PropertyRequest m_frame;
    PropertyRequest m_shadows;
};

struct StateRequest {
    StateRequest(const Connection& connection, std::uint32_t window)
        : decorations(connection, window),
          states(connection, window, Atom::NetWmState),
          geometry(connection.get(), xcb_get_geometry(connection.get(), window).sequence)
    {
    }
    DecorationRequest decorations;
    PropertyRequest states;
    PendingReply geometry;
};

// What has to be left before the window can be moved; nothing when it can be moved now.
std::optional<StateToLeave> stateToLeave(const Connection& connection, std::uint32_t window,
    StateRequest& request, const Reply<xcb_get_geometry_reply_t>& geometry)
{
    const QList<std::uint32_t> states = values32(request.states.take().get());
    StateToLeave state;
    state.window = window;
    state.maximized = states.contains(connection.atom(Atom::NetWmStateMaximizedVert))
        || states.contains(connection.atom(Atom::NetWmStateMaximizedHorz));
    state.fullscreen = states.contains(connection.atom(Atom::NetWmStateFullscreen));
    if (!geometry || !(state.maximized || state.fullscreen))
        return std::nullopt;
    state.width = geometry->width;
    state.height = geometry->height;
    return state;
}

std::uint32_t onWire(int value)
{
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
}

// Without a window manager that takes move requests, the window is configured itself; a
// window manager that reparents it still places its frame by the ICCCM rules.
// Errors of windows that went away are discarded with the requests.
void configureDirectly(const Connection& connection, std::uint32_t window,
    const MoveResize& request, std::vector<PendingReply>& checks)
{
    const std::uint32_t position[] = {onWire(request.frameX), onWire(request.frameY)};
    checks.emplace_back(connection.get(),
        xcb_configure_window_checked(
            connection.get(), window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, position)
            .sequence);
    const std::uint32_t size[] = {onWire(request.clientWidth), onWire(request.clientHeight)};
    checks.emplace_back(connection.get(),
        xcb_configure_window_checked(
            connection.get(), window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size)
            .sequence);
}

struct Preparation {
    std::vector<Decorations> decorations;
    std::vector<QSize> clientSizes; // empty for a window that has gone
    QList<StateToLeave> toLeave;
    bool windowManagerMoves = false;
};

// Reads every window's decorations and state, and what the window manager supports, in one
// round trip.
Preparation prepare(const Connection& connection, const QList<std::uint32_t>& windows)
{
    PropertyRequest supportedRequest(connection, connection.root(), Atom::NetSupported, 1024);
    std::vector<StateRequest> requests;
    requests.reserve(static_cast<std::size_t>(windows.size()));
    for (std::uint32_t window : windows)
        requests.emplace_back(connection, window);
    const QList<std::uint32_t> supported = values32(supportedRequest.take().get());

    Preparation preparation;
    preparation.windowManagerMoves = supported.contains(connection.atom(Atom::NetMoveResizeWindow));
    for (qsizetype i = 0; i < windows.size(); ++i) {
        StateRequest& request = requests[static_cast<std::size_t>(i)];
        preparation.decorations.push_back(request.decorations.take());
        const auto geometry = takeReply(request.geometry, xcb_get_geometry_reply);
        preparation.clientSizes.push_back(
            geometry ? QSize(geometry->width, geometry->height) : QSize());
        if (const auto state = stateToLeave(connection, windows[i], request, geometry))
            preparation.toLeave.append(*state);
    }
    return preparation;
}

std::optional<StateToLeave> stateOf(const QList<StateToLeave>& toLeave, std::uint32_t window)
{
    const auto found = std::find_if(toLeave.cbegin(), toLeave.cend(),
        [window](const StateToLeave& state) { return state.window == window; });
    return found == toLeave.cend() ? std::nullopt : std::optional<StateToLeave>(*found);
}

} // namespace

void WindowMover::place(const QList<std::uint32_t>& windows, const Frame& target)
{
    QList<WindowTarget> targets;
    targets.reserve(windows.size());
    for (const std::uint32_t window : windows)
        targets.append({window, target});
    place(targets);
}

void WindowMover::place(const QList<WindowTarget>& targets)
{
    if (targets.isEmpty())
        return;
    QList<std::uint32_t> windows;
    windows.reserve(targets.size());
    for (const WindowTarget& target : targets)
        windows.append(target.window);
    const Preparation preparation = prepare(m_connection, windows);
    qCDebug(lcWindows) << "Placing" << windows.size() << "windows"
                       << (preparation.windowManagerMoves ? "through the window manager"
                                                          : "directly");
    std::vector<PendingReply> checks;
    for (qsizetype i = 0; i < targets.size(); ++i) {
        const WindowTarget& target = targets[i];
        if (const auto leaving = stateOf(preparation.toLeave, target.window)) {
            // Its decorations change with the state: they are read anew when it is placed.
            m_stateExit.leave(
                {*leaving}, stateChangeTimeout, [this, target](std::uint32_t) { place({target}); });
            continue;
        }
        const Decorations& around = preparation.decorations[static_cast<std::size_t>(i)];
        const MoveResize request = moveResizeFor(target.frame, around.frame, around.shadows);
        if (preparation.windowManagerMoves) {
            const QSize sizeBefore = preparation.clientSizes[static_cast<std::size_t>(i)];
            const QSize sizeAfter(request.clientWidth, request.clientHeight);
            if (sizeBefore.isValid() && sizeBefore != sizeAfter)
                m_recheck.follow(target.window, request, around.frame, sizeBefore);
            requestMoveResize(m_connection, target.window, request);
        } else
            configureDirectly(m_connection, target.window, request, checks);
    }
    m_connection.flush();
}

} // namespace Platform::X11

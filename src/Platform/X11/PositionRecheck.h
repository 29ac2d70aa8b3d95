#pragma once

#include "Platform/X11/FrameMath.h"
#include "Platform/X11/Properties.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSize>

#include <chrono>
#include <cstdint>
#include <functional>

#include <xcb/xcb.h>

namespace Platform::X11 {

class Connection;
class EventHub;

// Some window managers (icewm) keep a window inside the screen by the size it has when its
// position request arrives; when the size request that follows makes it smaller, the
// clamped position stays. The recheck follows windows whose size a placement changes: once
// the new size has arrived, a window whose frame stands off the requested position is sent
// both requests once more, position first. Event-driven; a window whose size never changes
// is let go after a bound.
class PositionRecheck {
public:
    PositionRecheck(const Connection& connection, EventHub& events);
    ~PositionRecheck();
    PositionRecheck(const PositionRecheck&) = delete;
    PositionRecheck& operator=(const PositionRecheck&) = delete;

    // Call before the requests go out, so that no answer to them is missed. `sizeBefore`:
    // the client's size before the placement.
    void follow(std::uint32_t window, const MoveResize& request, const Extents& decorations,
        QSize sizeBefore);

    bool isBusy() const { return !m_followed.isEmpty(); }
    // Runs once the last followed window is let go; replaces an earlier call.
    void whenIdle(std::function<void()> idle) { m_idle = std::move(idle); }

    static constexpr std::chrono::milliseconds bound{500};

private:
    struct Followed {
        MoveResize request;
        Extents decorations;
        QSize sizeBefore;
        QSize sizeAfter; // as the window manager announced it; empty until then
        quint64 generation = 0;
    };
    enum class Gone { No, Yes };

    void handle(const xcb_generic_event_t& event);
    void checkResized();
    bool standsOff(const Followed& followed, std::uint32_t window, const QRect& client) const;
    void stop(std::uint32_t window, Gone gone = Gone::No);

    const Connection& m_connection;
    EventHub& m_events;
    QObject m_context;
    QHash<std::uint32_t, Followed> m_followed;
    QList<std::uint32_t> m_resized; // whose new size arrived, checked together
    int m_subscription = 0;
    quint64 m_nextGeneration = 1;
    std::function<void()> m_idle;
};

} // namespace Platform::X11

#pragma once

#include "Platform/Geometry.h"

#include <QHash>
#include <QList>
#include <QObject>

#include <chrono>
#include <cstdint>

#include <xcb/xcb.h>

namespace Platform::X11 {

class Connection;
class EventHub;
class WindowMover;

// Many apps restore their own last position right after their window appears, undoing a
// placement that came first. The holder watches freshly placed windows for a while: once a
// window has reached its target, a later move or resize away from it that the user is not
// making (no pointer button down) is undone, once.
class FrameHolder {
public:
    FrameHolder(const Connection& connection, EventHub& events, WindowMover& mover);
    ~FrameHolder();
    FrameHolder(const FrameHolder&) = delete;
    FrameHolder& operator=(const FrameHolder&) = delete;

    // Call before the placement requests are sent, so that no answer to them is missed.
    void hold(const QList<std::uint32_t>& windows, const Frame& target,
        std::chrono::milliseconds duration);

private:
    struct Held {
        Frame target;
        int widthStep = 1; // the window's resize increments: a size is reached within one step
        int heightStep = 1;
        bool arrived = false;
        bool putBack = false;
        quint64 generation = 0;
    };

    void handle(const xcb_generic_event_t& event);
    void check(std::uint32_t window);
    bool isOnTarget(const Held& held, const Frame& frame) const;
    bool userIsDragging() const;
    void release(std::uint32_t window, quint64 generation);

    const Connection& m_connection;
    EventHub& m_events;
    WindowMover& m_mover;
    QObject m_context;
    QHash<std::uint32_t, Held> m_held;
    int m_subscription = 0;
    quint64 m_nextGeneration = 1;
};

} // namespace Platform::X11

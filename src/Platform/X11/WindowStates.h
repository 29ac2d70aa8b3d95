#pragma once

#include "Platform/X11/EventHub.h"

#include <QHash>
#include <QList>
#include <QObject>

#include <chrono>
#include <cstdint>
#include <functional>

namespace Platform::X11 {

class Connection;

// A window to bring out of the maximized or fullscreen state, and its client size now.
struct StateToLeave {
    std::uint32_t window = 0;
    bool maximized = false;
    bool fullscreen = false;
    int width = 0;
    int height = 0;
};

// Takes windows out of the maximized and fullscreen states (most window managers ignore
// moves of such windows) and tells when each has left its maximized size: _NET_WM_STATE
// alone does not tell, since openbox announces the new state before it restores the old
// frame. Event-driven; a window that keeps its size is let go after a bound.
class StateExit {
public:
    using Left = std::function<void(std::uint32_t window)>;

    StateExit(const Connection& connection, EventHub& events);
    ~StateExit();
    StateExit(const StateExit&) = delete;
    StateExit& operator=(const StateExit&) = delete;

    // `left` runs once per window, from the event loop, when it has been resized or `bound`
    // has passed; not for a window that went away meanwhile.
    void leave(const QList<StateToLeave>& windows, std::chrono::milliseconds bound, Left left);
    bool isBusy() const { return !m_waiting.isEmpty(); }
    // Runs once the last waiting window has left; replaces an earlier call.
    void whenIdle(std::function<void()> idle) { m_idle = std::move(idle); }

private:
    struct Waiting {
        int width = 0;
        int height = 0;
        Left left;
        quint64 generation = 0;
    };
    void handle(const xcb_generic_event_t& event);
    void finish(std::uint32_t window, quint64 generation, bool stillThere);

    const Connection& m_connection;
    EventHub& m_events;
    QObject m_context;
    QHash<std::uint32_t, Waiting> m_waiting;
    int m_subscription = 0;
    quint64 m_nextGeneration = 1;
    std::function<void()> m_idle;
};

} // namespace Platform::X11

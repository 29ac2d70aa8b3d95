#pragma once

#include "Platform/Geometry.h"

#include <QList>

#include <cstdint>

namespace Platform::X11 {

class Connection;
class EventHub;

// Moves windows so that their visible frame becomes a target frame: for each window the
// position first, then the size, as two requests to the window manager. Everything is
// computed from one batch of reads and sent at once.
class WindowMover {
public:
    WindowMover(const Connection& connection, EventHub& events)
        : m_connection(connection), m_events(events)
    {
    }

    void place(const QList<std::uint32_t>& windows, const Frame& target) const;

private:
    const Connection& m_connection;
    EventHub& m_events;
};

} // namespace Platform::X11

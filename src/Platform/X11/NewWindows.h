#pragma once

#include "Platform/WindowSystem.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>

#include <cstdint>
#include <map>

#include <xcb/xcb.h>

namespace Platform::X11 {

class Connection;
class EventHub;

// Follows the window manager's client list and reports each window it takes on, once the
// window is mapped and has its frame (_NET_FRAME_EXTENTS, or a short while for window
// managers that set none). It listens only while someone watches.
class NewWindows {
public:
    NewWindows(const Connection& connection, EventHub& events);
    ~NewWindows();
    NewWindows(const NewWindows&) = delete;
    NewWindows& operator=(const NewWindows&) = delete;

    std::unique_ptr<WindowWatch> watch(WindowSystem::WindowShown shown);

private:
    class Watch;
    void unwatch(int token);
    void start();
    void stop();
    void handle(const xcb_generic_event_t& event);
    void readClientList();
    void recheck(std::uint32_t window);
    void checkWaiting(const QList<std::uint32_t>& windows);
    void report(const QList<std::uint32_t>& windows);
    void drop(std::uint32_t window);

    const Connection& m_connection;
    EventHub& m_events;
    QObject m_context;
    std::map<int, WindowSystem::WindowShown> m_watchers;
    int m_nextToken = 1;
    int m_subscription = 0;
    QSet<std::uint32_t> m_known;
    // Taken on, not yet mapped and framed; the value says whether the unframed grace is on.
    QHash<std::uint32_t, bool> m_waiting;
};

} // namespace Platform::X11

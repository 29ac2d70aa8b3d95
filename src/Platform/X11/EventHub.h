#pragma once

#include "Platform/X11/Reply.h"

#include <QHash>
#include <QObject>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

class QSocketNotifier;
#include <xcb/xcb.h>

namespace Platform::X11 {

class Connection;

// The events of Vantor's own X connection, read when the socket has some (never polled) and
// handed to every subscriber. A window's events are selected only while someone asks for
// them, so an idle Vantor hears nothing.
class EventHub {
public:
    using Handler = std::function<void(const xcb_generic_event_t& event)>;

    explicit EventHub(const Connection& connection);
    ~EventHub();
    EventHub(const EventHub&) = delete;
    EventHub& operator=(const EventHub&) = delete;

    int subscribe(Handler handler);
    void unsubscribe(int token);

    // Counted per event bit: a window's mask is the union of what is selected on it.
    void select(std::uint32_t window, std::uint32_t mask);
    void deselect(std::uint32_t window, std::uint32_t mask);
    // Forgets a window that is gone, with whatever was selected on it.
    void forget(std::uint32_t window);

    // Soon, from the event loop: hands out events that replies already took off the socket.
    void dispatchSoon();

private:
    using BitCounts = std::array<int, 25>;
    void applyMask(std::uint32_t window, const BitCounts& counts);
    void dispatch();
    void deliver(const xcb_generic_event_t& event);

    const Connection& m_connection;
    QObject m_context;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::map<int, Handler> m_handlers;
    int m_nextToken = 1;
    QHash<std::uint32_t, BitCounts> m_selected;
    bool m_dispatching = false;
    bool m_dispatchPosted = false;
};

} // namespace Platform::X11

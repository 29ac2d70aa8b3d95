#include "Platform/X11/EventHub.h"

#include "Platform/X11/Connection.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSocketNotifier>

#include <xcb/xcb.h>

#include <algorithm>

namespace Platform::X11 {
namespace {

constexpr qint64 maxBusyMs = 4;

} // namespace

EventHub::EventHub(const Connection& connection) : m_connection(connection)
{
}

EventHub::~EventHub() = default;

int EventHub::subscribe(Handler handler)
{
    if (!m_notifier && QCoreApplication::instance()) {
        m_notifier = std::make_unique<QSocketNotifier>(
            xcb_get_file_descriptor(m_connection.get()), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, &m_context,
            [this] { dispatch(); });
    }
    const int token = m_nextToken++;
    m_handlers.emplace(token, std::move(handler));
    return token;
}

void EventHub::unsubscribe(int token)
{
    m_handlers.erase(token);
}

void EventHub::select(std::uint32_t window, std::uint32_t mask)
{
    BitCounts& counts = m_selected[window];
    for (std::size_t bit = 0; bit < counts.size(); ++bit) {
        if (mask & (1U << bit))
            ++counts[bit];
    }
    applyMask(window, counts);
}

void EventHub::deselect(std::uint32_t window, std::uint32_t mask)
{
    const auto found = m_selected.find(window);
    if (found == m_selected.end())
        return;
    BitCounts& counts = *found;
    for (std::size_t bit = 0; bit < counts.size(); ++bit) {
        if ((mask & (1U << bit)) && counts[bit] > 0)
            --counts[bit];
    }
    applyMask(window, counts);
    if (std::all_of(counts.cbegin(), counts.cend(), [](int count) { return count == 0; }))
        m_selected.erase(found);
}

void EventHub::forget(std::uint32_t window)
{
    m_selected.remove(window);
}

void EventHub::applyMask(std::uint32_t window, const BitCounts& counts)
{
    std::uint32_t mask = 0;
    for (std::size_t bit = 0; bit < counts.size(); ++bit) {
        if (counts[bit] > 0)
            mask |= 1U << bit;
    }
    // A window that has gone answers with an error, which is dropped unread.
    xcb_discard_reply(m_connection.get(),
        xcb_change_window_attributes_checked(m_connection.get(), window, XCB_CW_EVENT_MASK, &mask)
            .sequence);
    m_connection.flush();
}

void EventHub::dispatchSoon()
{
    if (m_dispatchPosted || m_handlers.empty() || !QCoreApplication::instance())
        return;
    m_dispatchPosted = true;
    QMetaObject::invokeMethod(
        &m_context,
        [this] {
            m_dispatchPosted = false;
            dispatch();
        },
        Qt::QueuedConnection);
}

void EventHub::dispatch()
{
    // A handler that asks the server something may pull more events off the socket; the
    // outer loop takes them.
    if (m_dispatching)
        return;
    m_dispatching = true;
    QElapsedTimer busy;
    busy.start();
    while (m_connection.isAlive()) {
        const Reply<xcb_generic_event_t> event(xcb_poll_for_event(m_connection.get()));
        if (!event)
            break;
        deliver(*event);
        // Many windows answering at once: the rest waits for the next turn of the event
        // loop, so that nothing else waits long.
        if (busy.elapsed() >= maxBusyMs) {
            m_dispatching = false;
            dispatchSoon();
            return;
        }
    }
    if (!m_connection.isAlive() && m_notifier)
        m_notifier->setEnabled(false);
    m_dispatching = false;
}


void EventHub::deliver(const xcb_generic_event_t& event)
{
    if (event.response_type == 0)
        return; // an error of a request nobody checks
    // Handlers may come and go while an event is handed out.
    std::vector<int> tokens;
    tokens.reserve(m_handlers.size());
    for (const auto& [token, handler] : m_handlers)
        tokens.push_back(token);
    for (const int token : tokens) {
        const auto found = m_handlers.find(token);
        if (found != m_handlers.end()) {
            const Handler handler = found->second;
            handler(event);
        }
    }
}

} // namespace Platform::X11

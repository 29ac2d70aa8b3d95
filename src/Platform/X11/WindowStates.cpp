#include "Platform/X11/WindowStates.h"

#include "Platform/X11/ClientMessage.h"
#include "Platform/X11/Connection.h"
#include "Util/Logging.h"

#include <QTimer>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t removeState = 0;
constexpr std::uint32_t fromPager = 2;
constexpr std::uint32_t watchedEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY;

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

} // namespace

StateExit::StateExit(const Connection& connection, EventHub& events)
    : m_connection(connection), m_events(events)
{
}

StateExit::~StateExit()
{
    for (auto it = m_waiting.cbegin(); it != m_waiting.cend(); ++it)
        m_events.deselect(it.key(), watchedEvents);
    if (m_subscription)
        m_events.unsubscribe(m_subscription);
}

void StateExit::leave(const QList<StateToLeave>& windows, std::chrono::milliseconds bound, Left left)
{
    if (windows.isEmpty())
        return;
    if (!m_subscription)
        m_subscription
            = m_events.subscribe([this](const xcb_generic_event_t& event) { handle(event); });
    const quint64 generation = m_nextGeneration++;
    for (const StateToLeave& state : windows) {
        if (!m_waiting.contains(state.window))
            m_events.select(state.window, watchedEvents);
        m_waiting.insert(state.window, {state.width, state.height, left, generation});
        requestNormalState(m_connection, state);
        QTimer::singleShot(bound, &m_context, [this, window = state.window, generation] {
            qCDebug(lcWindows) << "Window" << window << "kept its maximized size";
            finish(window, generation, true);
        });
    }
    m_connection.flush();
}

void StateExit::handle(const xcb_generic_event_t& event)
{
    switch (event.response_type & 0x7F) {
    case XCB_CONFIGURE_NOTIFY: {
        const auto& notify = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const auto found = m_waiting.constFind(notify.window);
        if (found != m_waiting.cend()
            && (notify.width != found->width || notify.height != found->height))
            finish(notify.window, found->generation, true);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto window = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        if (const auto found = m_waiting.constFind(window); found != m_waiting.cend())
            finish(window, found->generation, false); // nothing left to place
        break;
    }
    default:
        break;
    }
}

void StateExit::finish(std::uint32_t window, quint64 generation, bool stillThere)
{
    const auto found = m_waiting.find(window);
    if (found == m_waiting.end() || found->generation != generation)
        return;
    const Left left = std::move(found->left);
    m_waiting.erase(found);
    m_events.deselect(window, watchedEvents);
    if (stillThere)
        left(window);
    if (m_waiting.isEmpty() && m_idle)
        std::exchange(m_idle, {})();
}

} // namespace Platform::X11

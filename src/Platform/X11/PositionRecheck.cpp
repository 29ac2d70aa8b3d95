#include "Platform/X11/PositionRecheck.h"

#include "Platform/X11/ClientMessage.h"
#include "Platform/X11/Connection.h"
#include "Platform/X11/EventHub.h"
#include "Platform/X11/PendingReply.h"
#include "Util/Logging.h"

#include <QRect>
#include <QTimer>

#include <vector>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t followedEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY;

// The client's size and its origin in root coordinates; the requests go out on construction.
class ClientQuery {
public:
    ClientQuery(const Connection& connection, std::uint32_t window)
        : m_geometry(connection.get(), xcb_get_geometry(connection.get(), window).sequence),
          m_origin(connection.get(),
              xcb_translate_coordinates(connection.get(), window, connection.root(), 0, 0).sequence)
    {
    }

    // Null when the window has gone.
    QRect take()
    {
        const auto geometry = takeReply(m_geometry, xcb_get_geometry_reply);
        const auto origin = takeReply(m_origin, xcb_translate_coordinates_reply);
        if (!geometry || !origin || !origin->same_screen)
            return {};
        return {origin->dst_x, origin->dst_y, geometry->width, geometry->height};
    }

private:
    PendingReply m_geometry;
    PendingReply m_origin;
};

} // namespace

PositionRecheck::PositionRecheck(const Connection& connection, EventHub& events)
    : m_connection(connection), m_events(events)
{
}

PositionRecheck::~PositionRecheck()
{
    for (auto it = m_followed.cbegin(); it != m_followed.cend(); ++it)
        m_events.deselect(it.key(), followedEvents);
    if (m_subscription)
        m_events.unsubscribe(m_subscription);
}

void PositionRecheck::follow(
    std::uint32_t window, const MoveResize& request, const Extents& decorations, QSize sizeBefore)
{
    if (!m_subscription)
        m_subscription
            = m_events.subscribe([this](const xcb_generic_event_t& event) { handle(event); });
    if (!m_followed.contains(window))
        m_events.select(window, followedEvents);
    m_resized.removeOne(window);
    const quint64 generation = m_nextGeneration++;
    m_followed.insert(window, {request, decorations, sizeBefore, {}, generation});
    QTimer::singleShot(bound, &m_context, [this, window, generation] {
        const auto found = m_followed.constFind(window);
        if (found != m_followed.cend() && found->generation == generation)
            stop(window);
    });
}

void PositionRecheck::handle(const xcb_generic_event_t& event)
{
    switch (event.response_type & 0x7F) {
    case XCB_CONFIGURE_NOTIFY: {
        const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const auto found = m_followed.find(configure.window);
        const QSize size(configure.width, configure.height);
        if (found == m_followed.end() || found->sizeAfter.isValid() || size == found->sizeBefore)
            return;
        found->sizeAfter = size;
        // Windows come in bursts: one read for all that arrived meanwhile.
        if (m_resized.isEmpty())
            QTimer::singleShot(0, &m_context, [this] { checkResized(); });
        m_resized.append(configure.window);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto window = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        if (m_followed.contains(window))
            stop(window, Gone::Yes);
        break;
    }
    default:
        break;
    }
}

void PositionRecheck::checkResized()
{
    const QList<std::uint32_t> windows = std::exchange(m_resized, {});
    std::vector<ClientQuery> queries;
    queries.reserve(static_cast<std::size_t>(windows.size()));
    for (const std::uint32_t window : windows)
        queries.emplace_back(m_connection, window);
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const QRect client = queries[static_cast<std::size_t>(i)].take();
        const auto found = m_followed.constFind(windows[i]);
        if (found != m_followed.cend() && standsOff(*found, windows[i], client))
            requestMoveResize(m_connection, windows[i], found->request);
    }
    m_connection.flush();
    for (const std::uint32_t window : windows) {
        if (m_followed.contains(window))
            stop(window);
    }
}

bool PositionRecheck::standsOff(
    const Followed& followed, std::uint32_t window, const QRect& client) const
{
    // A size other than the announced one: somebody else has configured it since.
    if (client.isNull() || client.size() != followed.sizeAfter)
        return false;
    const int frameX = client.x() - followed.decorations.left;
    const int frameY = client.y() - followed.decorations.top;
    if (frameX == followed.request.frameX && frameY == followed.request.frameY)
        return false;
    qCDebug(lcWindows) << "Window" << window << "was kept at" << frameX << frameY
                       << "by its old size; asking for its position again";
    return true;
}

void PositionRecheck::stop(std::uint32_t window, Gone gone)
{
    m_followed.remove(window);
    m_resized.removeOne(window);
    if (gone == Gone::Yes)
        m_events.forget(window);
    else
        m_events.deselect(window, followedEvents);
    if (!m_followed.isEmpty())
        return;
    if (m_subscription) {
        m_events.unsubscribe(m_subscription);
        m_subscription = 0;
    }
    if (m_idle)
        std::exchange(m_idle, {})();
}

} // namespace Platform::X11

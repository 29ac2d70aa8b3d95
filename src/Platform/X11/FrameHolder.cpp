#include "Platform/X11/FrameHolder.h"

#include "Platform/X11/Connection.h"
#include "Platform/X11/EventHub.h"
#include "Platform/X11/FrameQuery.h"
#include "Platform/X11/WindowMover.h"
#include "Util/Logging.h"

#include <QTimer>

#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <cmath>
#include <vector>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t heldEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
constexpr std::uint16_t anyButton = XCB_KEY_BUT_MASK_BUTTON_1 | XCB_KEY_BUT_MASK_BUTTON_2
    | XCB_KEY_BUT_MASK_BUTTON_3;

struct HoldStart {
    HoldStart(const Connection& c, std::uint32_t window)
        : hints(c.get(), xcb_icccm_get_wm_normal_hints(c.get(), window).sequence),
          frame(c, window)
    {
    }
    PendingReply hints;
    FrameQuery frame;
};

} // namespace

FrameHolder::FrameHolder(const Connection& connection, EventHub& events, WindowMover& mover)
    : m_connection(connection), m_events(events), m_mover(mover)
{
}

FrameHolder::~FrameHolder()
{
    for (auto it = m_held.cbegin(); it != m_held.cend(); ++it)
        m_events.deselect(it.key(), heldEvents);
    if (m_subscription)
        m_events.unsubscribe(m_subscription);
}

void FrameHolder::hold(
    const QList<std::uint32_t>& windows, const Frame& target, std::chrono::milliseconds duration)
{
    if (windows.isEmpty() || duration.count() <= 0)
        return;
    if (!m_subscription)
        m_subscription
            = m_events.subscribe([this](const xcb_generic_event_t& event) { handle(event); });
    std::vector<HoldStart> starts;
    starts.reserve(static_cast<std::size_t>(windows.size()));
    for (const std::uint32_t window : windows) {
        m_events.select(window, heldEvents);
        starts.emplace_back(m_connection, window);
    }
    const quint64 generation = m_nextGeneration++;
    for (qsizetype i = 0; i < windows.size(); ++i) {
        HoldStart& start = starts[static_cast<std::size_t>(i)];
        xcb_size_hints_t hints{};
        const bool hasHints = xcb_icccm_get_wm_normal_hints_reply(m_connection.get(),
            xcb_get_property_cookie_t{start.hints.release()}, &hints, nullptr);
        const std::optional<Frame> frame = start.frame.take();
        const std::uint32_t window = windows[i];
        if (!frame) {
            m_events.deselect(window, heldEvents);
            continue;
        }
        if (m_held.contains(window))
            m_events.deselect(window, heldEvents); // counted once per held window
        Held held;
        held.target = target;
        held.generation = generation;
        if (hasHints && (hints.flags & XCB_ICCCM_SIZE_HINT_P_RESIZE_INC)) {
            held.widthStep = std::max(1, hints.width_inc);
            held.heightStep = std::max(1, hints.height_inc);
        }
        held.arrived = isOnTarget(held, *frame);
        m_held.insert(window, held);
        QTimer::singleShot(duration, &m_context,
            [this, window, generation] { release(window, generation); });
    }
}

void FrameHolder::handle(const xcb_generic_event_t& event)
{
    switch (event.response_type & 0x7F) {
    case XCB_CONFIGURE_NOTIFY: {
        const auto window = reinterpret_cast<const xcb_configure_notify_event_t&>(event).window;
        if (m_held.contains(window))
            check(window);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto window = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        if (m_held.remove(window) > 0)
            m_events.forget(window);
        break;
    }
    default:
        break;
    }
}

void FrameHolder::check(std::uint32_t window)
{
    Held& held = m_held[window];
    const std::optional<Frame> frame = FrameQuery(m_connection, window).take();
    if (!frame)
        return;
    if (isOnTarget(held, *frame)) {
        held.arrived = true;
        return;
    }
    if (!held.arrived || held.putBack)
        return;
    if (userIsDragging()) {
        qCDebug(lcWindows) << "Window" << window << "is moved by the user; no longer held";
        release(window, held.generation);
        return;
    }
    held.putBack = true;
    qCDebug(lcWindows) << "Window" << window << "left its place for" << frame->x << frame->y
                       << frame->width << frame->height << "; putting it back";
    m_mover.place({window}, held.target);
}

bool FrameHolder::isOnTarget(const Held& held, const Frame& frame) const
{
    const Frame& target = held.target;
    return std::abs(frame.x - target.x) < 1 && std::abs(frame.y - target.y) < 1
        && std::abs(frame.width - target.width) < held.widthStep
        && std::abs(frame.height - target.height) < held.heightStep;
}

bool FrameHolder::userIsDragging() const
{
    xcb_connection_t* c = m_connection.get();
    const Reply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, m_connection.root()), nullptr));
    return pointer && (pointer->mask & anyButton);
}

void FrameHolder::release(std::uint32_t window, quint64 generation)
{
    const auto found = m_held.constFind(window);
    if (found == m_held.cend() || found->generation != generation)
        return;
    m_held.erase(found);
    m_events.deselect(window, heldEvents);
    if (m_held.isEmpty() && m_subscription) {
        m_events.unsubscribe(m_subscription);
        m_subscription = 0;
    }
}

} // namespace Platform::X11

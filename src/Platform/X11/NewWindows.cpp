#include "Platform/X11/NewWindows.h"

#include "Platform/X11/Connection.h"
#include "Platform/X11/EventHub.h"
#include "Platform/X11/PendingReply.h"
#include "Platform/X11/ProcessIds.h"
#include "Platform/X11/Properties.h"
#include "Platform/X11/WindowReader.h"
#include "Util/Logging.h"

#include <QTimer>

#include <xcb/xcb.h>

#include <vector>

namespace Platform::X11 {
namespace {

constexpr std::uint32_t maxClients = 1U << 16;
// A window manager may list a window while its frame is still unmapped: the window is then
// mapped but not viewable, and its own MapNotify has passed. Only a VisibilityNotify tells
// when the frame shows it.
constexpr std::uint32_t windowEvents = XCB_EVENT_MASK_PROPERTY_CHANGE
    | XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_VISIBILITY_CHANGE;
// Window managers without _NET_FRAME_EXTENTS have framed a mapped window by then.
constexpr int unframedGraceMs = 100;

struct Readiness {
    bool viewable = false;
    bool framed = false;
};

struct ReadinessRequest {
    ReadinessRequest(const Connection& c, std::uint32_t window)
        : attributes(c.get(), xcb_get_window_attributes(c.get(), window).sequence),
          extents(c, window, Atom::NetFrameExtents, 4)
    {
    }
    std::optional<Readiness> take()
    {
        const auto reply = takeReply(attributes, xcb_get_window_attributes_reply);
        const bool framed = extents.take() != nullptr;
        if (!reply)
            return std::nullopt;
        return Readiness{reply->map_state == XCB_MAP_STATE_VIEWABLE, framed};
    }
    PendingReply attributes;
    PropertyRequest extents;
};

} // namespace

class NewWindows::Watch final : public WindowWatch {
public:
    Watch(NewWindows& owner, int token) : m_owner(owner), m_token(token) { }
    ~Watch() override { m_owner.unwatch(m_token); }

private:
    NewWindows& m_owner;
    int m_token;
};

NewWindows::NewWindows(const Connection& connection, EventHub& events)
    : m_connection(connection), m_events(events)
{
}

NewWindows::~NewWindows()
{
    if (m_subscription)
        stop();
}

std::unique_ptr<WindowWatch> NewWindows::watch(WindowSystem::WindowShown shown)
{
    const int token = m_nextToken++;
    m_watchers.emplace(token, std::move(shown));
    if (m_watchers.size() == 1)
        start();
    return std::make_unique<Watch>(*this, token);
}

void NewWindows::unwatch(int token)
{
    m_watchers.erase(token);
    if (m_watchers.empty() && m_subscription)
        stop();
}

void NewWindows::start()
{
    m_subscription = m_events.subscribe([this](const xcb_generic_event_t& event) { handle(event); });
    // Selected before the list is read, so that no change falls in between.
    m_events.select(m_connection.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
    PropertyRequest request(m_connection, m_connection.root(), Atom::NetClientList, maxClients);
    const QList<std::uint32_t> clients = values32(request.take().get());
    m_known = QSet<std::uint32_t>(clients.cbegin(), clients.cend());
    m_events.dispatchSoon();
}

void NewWindows::stop()
{
    m_events.deselect(m_connection.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
    for (auto it = m_waiting.cbegin(); it != m_waiting.cend(); ++it)
        m_events.deselect(it.key(), windowEvents);
    m_waiting.clear();
    m_known.clear();
    m_events.unsubscribe(m_subscription);
    m_subscription = 0;
}

void NewWindows::handle(const xcb_generic_event_t& event)
{
    switch (event.response_type & 0x7F) {
    case XCB_PROPERTY_NOTIFY: {
        const auto& notify = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (notify.window == m_connection.root()) {
            if (notify.atom == m_connection.atom(Atom::NetClientList))
                readClientList();
        } else if (notify.atom == m_connection.atom(Atom::NetFrameExtents)
            || notify.atom == m_connection.atom(Atom::NetWmWindowType)) {
            recheck(notify.window);
        }
        break;
    }
    case XCB_MAP_NOTIFY:
        recheck(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
        break;
    case XCB_VISIBILITY_NOTIFY:
        recheck(reinterpret_cast<const xcb_visibility_notify_event_t&>(event).window);
        break;
    case XCB_DESTROY_NOTIFY:
        drop(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
        break;
    default:
        break;
    }
}

void NewWindows::recheck(std::uint32_t window)
{
    if (m_waiting.contains(window))
        checkWaiting({window});
}

void NewWindows::readClientList()
{
    PropertyRequest request(m_connection, m_connection.root(), Atom::NetClientList, maxClients);
    const QList<std::uint32_t> clients = values32(request.take().get());
    QList<std::uint32_t> added;
    for (const std::uint32_t window : clients) {
        if (!m_known.contains(window))
            added.append(window);
    }
    m_known = QSet<std::uint32_t>(clients.cbegin(), clients.cend());
    for (auto it = m_waiting.begin(); it != m_waiting.end();) {
        if (m_known.contains(it.key())) {
            ++it;
            continue;
        }
        m_events.deselect(it.key(), windowEvents);
        it = m_waiting.erase(it);
    }
    if (added.isEmpty())
        return;
    for (const std::uint32_t window : added) {
        m_waiting.insert(window, false);
        m_events.select(window, windowEvents);
    }
    checkWaiting(added);
}

void NewWindows::checkWaiting(const QList<std::uint32_t>& windows)
{
    std::vector<ReadinessRequest> requests;
    requests.reserve(static_cast<std::size_t>(windows.size()));
    for (const std::uint32_t window : windows)
        requests.emplace_back(m_connection, window);
    QList<std::uint32_t> ready;
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const std::uint32_t window = windows[i];
        const auto readiness = requests[static_cast<std::size_t>(i)].take();
        if (!readiness) {
            drop(window);
        } else if (readiness->viewable && readiness->framed) {
            ready.append(window);
        } else if (readiness->viewable && !m_waiting.value(window)) {
            m_waiting[window] = true;
            QTimer::singleShot(unframedGraceMs, &m_context, [this, window] {
                if (m_waiting.contains(window))
                    report({window});
            });
        }
    }
    if (!ready.isEmpty())
        report(ready);
}

void NewWindows::report(const QList<std::uint32_t>& windows)
{
    for (const std::uint32_t window : windows) {
        m_waiting.remove(window);
        m_events.deselect(window, windowEvents);
    }
    const QList<WindowInfo> infos = WindowReader(m_connection).read(windows, std::nullopt);
    for (const WindowInfo& info : infos) {
        qCDebug(lcWindows) << "New window" << info.id << "of process" << info.pid << "type"
                           << info.typeName << "class" << info.wmClass;
        // A watcher may end its own or another watch while the window is handed out.
        std::vector<int> tokens;
        for (const auto& [token, shown] : m_watchers)
            tokens.push_back(token);
        for (const int token : tokens) {
            const auto found = m_watchers.find(token);
            if (found != m_watchers.end()) {
                const WindowSystem::WindowShown shown = found->second;
                shown(info);
            }
        }
    }
}

void NewWindows::drop(std::uint32_t window)
{
    if (m_waiting.remove(window) > 0)
        m_events.deselect(window, windowEvents);
    m_events.forget(window);
}

} // namespace Platform::X11

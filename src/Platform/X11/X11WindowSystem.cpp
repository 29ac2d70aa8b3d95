#include "Platform/X11/X11WindowSystem.h"

#include "Platform/Processes.h"
#include "Platform/X11/Connection.h"
#include "Platform/X11/EventHub.h"
#include "Platform/X11/FrameHolder.h"
#include "Platform/X11/MainScreen.h"
#include "Platform/X11/NewWindows.h"
#include "Platform/X11/ProcessIds.h"
#include "Platform/X11/PositionRecheck.h"
#include "Platform/X11/Properties.h"
#include "Platform/X11/WindowMover.h"
#include "Platform/X11/WindowReader.h"
#include "Platform/X11/WindowStates.h"

#include <QEventLoop>
#include <QHash>

#include <algorithm>
#include <limits>

namespace Platform {
namespace X11 {
namespace {

constexpr std::uint32_t maxClients = 1U << 16;

QList<std::uint32_t> toX11(const QList<WindowId>& windows)
{
    QList<std::uint32_t> result;
    result.reserve(windows.size());
    for (WindowId window : windows) {
        if (window != 0 && window <= std::numeric_limits<std::uint32_t>::max())
            result.append(static_cast<std::uint32_t>(window));
    }
    return result;
}

} // namespace

// Without a display nothing ever comes on screen.
class NoWatch final : public WindowWatch { };

X11WindowSystem::X11WindowSystem() : m_connection(Connection::open())
{
    if (!m_connection)
        return;
    m_events = std::make_unique<EventHub>(*m_connection);
    m_stateExit = std::make_unique<StateExit>(*m_connection, *m_events);
    m_recheck = std::make_unique<PositionRecheck>(*m_connection, *m_events);
    m_mover = std::make_unique<WindowMover>(*m_connection, *m_stateExit, *m_recheck);
    m_newWindows = std::make_unique<NewWindows>(*m_connection, *m_events);
    m_frameHolder = std::make_unique<FrameHolder>(*m_connection, *m_events, *m_mover);
}

X11WindowSystem::~X11WindowSystem() = default;

const Connection* X11WindowSystem::liveConnection()
{
    if (!m_connection || !m_connection->isAlive())
        return nullptr;
    // Replies to this call may take events off the socket; they are handed out after it.
    m_events->dispatchSoon();
    return m_connection.get();
}

bool X11WindowSystem::canControlWindows()
{
    const std::lock_guard lock(m_mutex);
    const Connection* connection = liveConnection();
    if (!connection)
        return false;
    PropertyRequest check(*connection, connection->root(), Atom::NetSupportingWmCheck, 1);
    return firstValue32(check.take().get()).value_or(0) != 0;
}

ScreenSize X11WindowSystem::mainScreenSize()
{
    const std::lock_guard lock(m_mutex);
    const Connection* connection = liveConnection();
    return connection ? X11::mainScreenSize(*connection) : ScreenSize{};
}

std::optional<QList<WindowInfo>> X11WindowSystem::managedWindows()
{
    const std::lock_guard lock(m_mutex);
    const Connection* connection = liveConnection();
    if (!connection)
        return std::nullopt;
    PropertyRequest stackingRequest(
        *connection, connection->root(), Atom::NetClientListStacking, maxClients);
    PropertyRequest desktopRequest(*connection, connection->root(), Atom::NetCurrentDesktop, 1);
    QList<std::uint32_t> frontToBack = values32(stackingRequest.take().get());
    std::reverse(frontToBack.begin(), frontToBack.end());
    const std::optional<std::uint32_t> currentDesktop = firstValue32(desktopRequest.take().get());
    return WindowReader(*connection).read(frontToBack, currentDesktop);
}

QList<std::optional<QList<WindowId>>> X11WindowSystem::windowsOfProcesses(
    const QList<ProcessId>& pids, int limit)
{
    const std::lock_guard lock(m_mutex);
    QList<std::optional<QList<WindowId>>> result(pids.size());
    const Connection* connection = liveConnection();
    if (!connection || pids.isEmpty())
        return result;
    const auto clientList
        = PropertyRequest(*connection, connection->root(), Atom::NetClientList, maxClients).take();
    if (!clientList)
        return result;
    const QList<std::uint32_t> clients = values32(clientList.get());
    const QList<ProcessId> owners = ProcessIdQuery(*connection, clients).take();
    QHash<ProcessId, QList<WindowId>> windowsByOwner;
    for (qsizetype i = 0; i < clients.size(); ++i)
        windowsByOwner[owners[i]].append(clients[i]);
    for (qsizetype i = 0; i < pids.size(); ++i) {
        if (processExists(pids[i]))
            result[i] = windowsByOwner.value(pids[i]).mid(0, limit);
    }
    return result;
}

void X11WindowSystem::placeWindows(const QList<Placement>& placements)
{
    const std::lock_guard lock(m_mutex);
    const Connection* connection = liveConnection();
    if (!connection)
        return;
    QList<WindowTarget> targets;
    for (const Placement& placement : placements) {
        for (const std::uint32_t window : toX11(placement.windows))
            targets.append({window, placement.frame});
    }
    m_mover->place(targets);
}

void X11WindowSystem::finishPlacements()
{
    // A window let out of the maximized state is placed then, and may be rechecked after:
    // each going idle is a moment to look at both again.
    const auto busy = [this] {
        return m_stateExit && (m_stateExit->isBusy() || m_recheck->isBusy());
    };
    if (!busy())
        return;
    QEventLoop loop;
    std::function<void()> quitWhenIdle = [&] {
        if (!busy()) {
            loop.quit();
            return;
        }
        m_stateExit->whenIdle(quitWhenIdle);
        m_recheck->whenIdle(quitWhenIdle);
    };
    quitWhenIdle();
    loop.exec();
    m_stateExit->whenIdle({});
    m_recheck->whenIdle({});
}

std::unique_ptr<WindowWatch> X11WindowSystem::watchNewWindows(WindowShown shown)
{
    const std::lock_guard lock(m_mutex);
    if (!liveConnection())
        return std::make_unique<NoWatch>();
    return m_newWindows->watch(std::move(shown));
}

void X11WindowSystem::holdFrames(
    const QList<WindowId>& windows, const Frame& target, std::chrono::milliseconds duration)
{
    const std::lock_guard lock(m_mutex);
    if (!liveConnection())
        return;
    m_frameHolder->hold(toX11(windows), target, duration);
}

} // namespace X11

} // namespace Platform

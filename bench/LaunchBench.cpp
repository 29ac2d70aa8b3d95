// Launching closed apps. launch_to_mapped_ms: xlogo started plainly, as its desktop entry
// would start it, until its window is on screen; what any launcher pays.
// launch_to_placed_floor_ms: the same, and as soon as the window is on screen a minimal
// client sends the two requests Vantor sends (position, then size), until the window reads
// back on its frame: the floor of a launch that places. launch_to_placed_ms:
// an activation of a one-app workspace whose xlogo is closed, through Vantor's own services in
// this process (Services + WindowManager::openApps, its event loop running), until the window
// reads back on the stored frame. activate_10_closed_apps_ms: the same for ten closed apps
// launched together, until the last of them stands on its frame. Frames are read through the
// bench's own X connection, and only again when the X server reports a change.
#include "BenchSupport.h"
#include "Benchmarks.h"

#include "ConsoleCapture.h"
#include "DesktopFacts.h"
#include "TestDesktop.h"
#include "Util/Services.h"

#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QSocketNotifier>
#include <QTimer>
#include <QUuid>

#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace Bench {
namespace {

using namespace std::chrono_literals;

constexpr int kRuns = 7;
constexpr int kParallelRuns = 3;
constexpr int kParallelApps = 10;
constexpr std::chrono::milliseconds kTimeout = 20s;
// Where xlogo opens by itself; every stored frame is elsewhere.
const QString kOwnPlace = QStringLiteral("200x150+40+60");

void fail(const char* what)
{
    std::fprintf(stderr, "vantor-bench launch: %s\n", what);
}

// Each run launches apps of WM_CLASS instances of their own, so that a window of an earlier
// run that is still going away is never taken for a new one.
QByteArray instanceName(int number)
{
    return QByteArrayLiteral("bench-launch-") + QByteArray::number(number);
}

QStringList xlogoArguments(const QByteArray& instance)
{
    return {QStringLiteral("-name"), QString::fromLatin1(instance), QStringLiteral("-geometry"),
        kOwnPlace};
}

bool writeEntry(const QByteArray& instance)
{
    QFile file(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/")
        + QString::fromLatin1(instance) + QStringLiteral(".desktop"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    file.write("[Desktop Entry]\nType=Application\nName=" + instance + "\nExec=xlogo "
        + xlogoArguments(instance).join(u' ').toLatin1() + "\nStartupWMClass=" + instance + '\n');
    return true;
}

// The bench's view of the launched windows: which managed, viewable client carries each
// WM_CLASS instance, and their frames. It hears of every change that matters (frames mapped
// and configured on the root, the client list, the clients' own configure and property events)
// and checks a condition again only then, while Qt's event loop keeps running for Vantor.
class LaunchWatcher {
public:
    explicit LaunchWatcher(const QByteArray& display) : m_connection(display.constData())
    {
        if (!m_connection.isConnected())
            return;
        m_clientList = m_connection.atom("_NET_CLIENT_LIST");
        const std::uint32_t mask
            = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(
            m_connection.get(), m_connection.root(), XCB_CW_EVENT_MASK, &mask);
        m_connection.roundTrip();
    }

    bool isConnected() const { return m_connection.isConnected(); }

    // The viewable managed client of each instance that has one.
    QHash<QByteArray, xcb_window_t> clients(const QList<QByteArray>& instances)
    {
        xcb_connection_t* c = m_connection.get();
        const Reply<xcb_get_property_reply_t> list(xcb_get_property_reply(c,
            xcb_get_property(c, 0, m_connection.root(), m_clientList, XCB_ATOM_WINDOW, 0, 4096),
            nullptr));
        QList<xcb_window_t> windows;
        if (list && list->format == 32) {
            const auto* values
                = static_cast<const xcb_window_t*>(xcb_get_property_value(list.get()));
            windows = QList<xcb_window_t>(
                values, values + xcb_get_property_value_length(list.get()) / 4);
        }
        // WM_CLASS never changes; only windows not seen before are asked. Windows that left
        // the list are forgotten: the X server hands their ids to later clients again.
        for (auto it = m_instanceOf.begin(); it != m_instanceOf.end();)
            it = windows.contains(it.key()) ? std::next(it) : m_instanceOf.erase(it);
        std::vector<std::pair<xcb_window_t, xcb_get_property_cookie_t>> classes;
        for (const xcb_window_t window : std::as_const(windows)) {
            if (!m_instanceOf.contains(window))
                classes.emplace_back(window,
                    xcb_get_property(c, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64));
        }
        for (const auto& [window, cookie] : classes) {
            const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, nullptr));
            QByteArray instance;
            if (reply)
                instance = QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                    xcb_get_property_value_length(reply.get()))
                               .split('\0')
                               .value(0);
            m_instanceOf.insert(window, instance);
            // Hear of the client's own moves, resizes and frame extents from now on.
            const std::uint32_t mask
                = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
            xcb_change_window_attributes(c, window, XCB_CW_EVENT_MASK, &mask);
        }
        std::vector<std::pair<xcb_window_t, xcb_get_window_attributes_cookie_t>> candidates;
        for (const xcb_window_t window : std::as_const(windows)) {
            if (instances.contains(m_instanceOf.value(window)))
                candidates.emplace_back(window, xcb_get_window_attributes(c, window));
        }
        QHash<QByteArray, xcb_window_t> found;
        for (const auto& [window, cookie] : candidates) {
            const Reply<xcb_get_window_attributes_reply_t> attributes(
                xcb_get_window_attributes_reply(c, cookie, nullptr));
            if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
                found.insert(m_instanceOf.value(window), window);
        }
        return found;
    }

    // Sends what a pager sends to put the client's visible frame on `target`: the frame's
    // position, then the client's size, as two _NET_MOVERESIZE_WINDOW messages.
    void placeLikeVantor(xcb_window_t window, const QRect& target)
    {
        const QMargins extents = m_connection.frameExtents({window}).value(0);
        sendLikeVantor(
            m_connection, window, target.topLeft(), target.marginsRemoved(extents).size());
        xcb_flush(m_connection.get());
    }

    bool allOnFrames(const QList<QByteArray>& instances, const QList<QRect>& targets)
    {
        const QHash<QByteArray, xcb_window_t> found = clients(instances);
        if (found.size() != instances.size())
            return false;
        QList<xcb_window_t> windows;
        for (const QByteArray& instance : instances)
            windows.append(found.value(instance));
        return m_connection.outerFrames(windows) == targets;
    }

    // Runs Qt's event loop until the condition holds (true) or the timeout passes (false);
    // the condition is checked at first and after each batch of X events.
    bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
    {
        if (condition())
            return true;
        xcb_connection_t* c = m_connection.get();
        QEventLoop loop;
        bool met = false;
        const auto check = [&] {
            // Replies read during a check may bring events with them; those wake no notifier.
            bool changed = drain(xcb_poll_for_event);
            while (changed && !met) {
                met = condition();
                changed = drain(xcb_poll_for_queued_event);
            }
            if (met || xcb_connection_has_error(c))
                loop.quit();
        };
        QSocketNotifier notifier(xcb_get_file_descriptor(c), QSocketNotifier::Read);
        QObject::connect(&notifier, &QSocketNotifier::activated, &loop, check);
        QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
        QTimer::singleShot(0, &loop, check);
        loop.exec();
        return met;
    }

private:
    bool drain(xcb_generic_event_t* (*next)(xcb_connection_t*)) const
    {
        bool any = false;
        while (xcb_generic_event_t* event = next(m_connection.get())) {
            std::free(event);
            any = true;
        }
        return any;
    }

    XConnection m_connection;
    xcb_atom_t m_clientList = XCB_ATOM_NONE;
    QHash<xcb_window_t, QByteArray> m_instanceOf;
};

class LaunchBench {
public:
    explicit LaunchBench(TestDesktop& desktop)
        : m_desktop(desktop), m_watcher(desktop.display()) { }

    void run()
    {
        if (!m_watcher.isConnected())
            return fail("no X connection of its own");
        // Every entry is there before Vantor first reads the applications folder.
        for (int number = 0; number < 3 * kRuns + kParallelRuns * kParallelApps; ++number) {
            if (!writeEntry(instanceName(number)))
                return fail("cannot write the desktop entries");
        }
        measureMapped();
        measurePlacedFloor();
        m_services = std::make_unique<Services>();
        measurePlaced();
        measureParallel();
    }

private:
    QByteArray nextInstance() { return instanceName(m_nextInstance++); }

    // Ends the processes of the instances' windows and waits until their windows are gone.
    void closeApps(const QList<QByteArray>& instances)
    {
        const auto found = m_watcher.clients(instances);
        for (const xcb_window_t window : found)
            TestApps::stop(m_desktop.probe().pidOf(window));
    }

    // Starts xlogo plainly, waits for its window, runs `then` on it (false: give up), and
    // ends it again; the milliseconds from the start until `then` was done, 0 on failure.
    double startPlainly(const QByteArray& instance,
        const std::function<bool(xcb_window_t window)>& then = {})
    {
        QProcess xlogo;
        dieWithParent(xlogo);
        const auto started = std::chrono::steady_clock::now();
        xlogo.start(QStringLiteral("xlogo"), xlogoArguments(instance));
        if (!m_watcher.waitUntil(
                [&] { return m_watcher.clients({instance}).size() == 1; }, kTimeout)) {
            fail("xlogo did not show its window");
            return 0;
        }
        const bool done = !then || then(m_watcher.clients({instance}).value(instance));
        const double elapsed = msSince(started);
        xlogo.terminate();
        xlogo.waitForFinished(5000);
        if (!m_watcher.waitUntil(
                [&] { return m_watcher.clients({instance}).isEmpty(); }, kTimeout)) {
            fail("xlogo's window did not go");
            return 0;
        }
        return done ? elapsed : 0;
    }

    void measureMapped()
    {
        std::vector<double> times;
        for (int run = 0; run < kRuns; ++run) {
            const double elapsed = startPlainly(nextInstance());
            if (elapsed <= 0)
                return;
            times.push_back(elapsed);
        }
        report(QStringLiteral("launch_to_mapped_ms"), median(times), QStringLiteral("ms"));
    }

    void measurePlacedFloor()
    {
        std::vector<double> times;
        for (int run = 0; run < kRuns; ++run) {
            const QByteArray instance = nextInstance();
            const QRect frame = frameOfRun(run);
            const double elapsed = startPlainly(instance, [&](xcb_window_t window) {
                m_watcher.placeLikeVantor(window, frame);
                return m_watcher.waitUntil(
                    [&] { return m_watcher.allOnFrames({instance}, {frame}); }, kTimeout);
            });
            if (elapsed <= 0)
                return fail("xlogo did not reach its frame");
            times.push_back(elapsed);
        }
        m_placedFloorMs = median(times);
        report(QStringLiteral("launch_to_placed_floor_ms"), m_placedFloorMs, QStringLiteral("ms"));
    }

    static QRect frameOfRun(int run)
    {
        return run % 2 ? QRect(700, 300, 500, 400) : QRect(900, 420, 460, 380);
    }

    AppInfoPtr closedApp(const QByteArray& instance, const QRect& frame) const
    {
        const ScreenSize screen = m_services->windowManager().mainScreenSize();
        return AppInfo::create(QUuid::createUuid(), QString::fromLatin1(instance),
            QString::fromLatin1(instance), false, {},
            {std::make_shared<AppLayout>(QUuid::createUuid(), screen.width, screen.height,
                frame.x(), frame.y(), frame.width(), frame.height())});
    }

    // From openApps until every app's window stands on its frame; 0 when it did not.
    double activate(const QList<QByteArray>& instances, const QList<QRect>& frames)
    {
        QList<AppInfoPtr> apps;
        for (int i = 0; i < instances.size(); ++i)
            apps.append(closedApp(instances.at(i), frames.at(i)));
        const ConsoleCapture quiet; // "App launched successfully ..." is no figure
        const auto started = std::chrono::steady_clock::now();
        const ActivationPtr activation = m_services->windowManager().openApps(apps);
        if (!m_watcher.waitUntil(
                [&] { return m_watcher.allOnFrames(instances, frames); }, kTimeout)) {
            closeApps(instances);
            return 0;
        }
        const double elapsed = msSince(started);
        // The activation's own end (the launch watch letting go) is no part of the figure.
        if (!activation->isFinished()) {
            QEventLoop loop;
            QObject::connect(activation.get(), &Activation::finished, &loop, &QEventLoop::quit);
            QTimer::singleShot(kTimeout, &loop, &QEventLoop::quit);
            loop.exec();
        }
        closeApps(instances);
        return elapsed;
    }

    void measurePlaced()
    {
        std::vector<double> times;
        for (int run = 0; run < kRuns; ++run) {
            const double elapsed = activate({nextInstance()}, {frameOfRun(run)});
            if (elapsed <= 0)
                return fail("the launched xlogo did not reach its frame");
            times.push_back(elapsed);
        }
        const double placed = median(times);
        report(QStringLiteral("launch_to_placed_ms"), placed, QStringLiteral("ms"));
        // What Vantor adds to a launch that places: GIO's start, the wait for the window, the
        // matching and the reads before the requests.
        if (m_placedFloorMs > 0)
            report(QStringLiteral("launch_placement_over_floor_ms"), placed - m_placedFloorMs,
                QStringLiteral("ms"));
    }

    void measureParallel()
    {
        std::vector<double> times;
        for (int run = 0; run < kParallelRuns; ++run) {
            QList<QByteArray> instances;
            QList<QRect> frames;
            for (int i = 0; i < kParallelApps; ++i) {
                instances.append(nextInstance());
                frames.append(QRect(20 + (i % 5) * 380, 80 + (i / 5) * 480, 360, 400));
            }
            const double elapsed = activate(instances, frames);
            if (elapsed <= 0)
                return fail("the ten launched apps did not all reach their frames");
            times.push_back(elapsed);
        }
        report(QStringLiteral("activate_10_closed_apps_ms"), median(times), QStringLiteral("ms"));
    }

    TestDesktop& m_desktop;
    LaunchWatcher m_watcher;
    std::unique_ptr<Services> m_services;
    int m_nextInstance = 0;
    double m_placedFloorMs = 0;
};

} // namespace

Group launchBenchmarks()
{
    return {"launch", [](TestDesktop& desktop) { LaunchBench(desktop).run(); }};
}

} // namespace Bench

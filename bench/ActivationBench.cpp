// Activating a workspace of 100 running apps of one window each, until every window stands on
// its frame: activate_100_apps_settled_ms, through Vantor's WindowManager::openApps in this
// process. activate_100_apps_floor_ms: the same windows placed by a minimal client that
// already knows them and sends the two requests Vantor sends per window (position, then
// size), flushed once; measured in the same run, alternating with Vantor, so that both see the
// same window manager in the same state. Both wait for the windows' ConfigureNotify events and
// confirm with one read of the frames; the X server is left alone in between.
// activate_100_apps_request_ms: Vantor's own part, until its last request is sent.
// VANTOR_BENCH_WM=openbox|fluxbox|icewm picks the window manager.
#include "BenchSupport.h"
#include "Benchmarks.h"

#include "ConsoleCapture.h"
#include "TestDesktop.h"
#include "Util/WindowManager.h"

#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QSocketNotifier>
#include <QTimer>
#include <QUuid>

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

namespace Bench {
namespace {

using namespace std::chrono_literals;

constexpr int kApps = 100;
constexpr int kColumns = 10;
constexpr int kRuns = 9;
constexpr std::chrono::milliseconds kTimeout = 10s;

void fail(const char* what)
{
    std::fprintf(stderr, "vantor-bench activation: %s\n", what);
}

QByteArray classOf(int app)
{
    return QByteArrayLiteral("vantor-activate-") + QByteArray::number(app);
}

QString bundleIdentifierOf(int app)
{
    return QStringLiteral("org.example.Activate%1").arg(app);
}

bool writeEntries()
{
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
    for (int app = 0; app < kApps; ++app) {
        QFile file(folder + bundleIdentifierOf(app) + QStringLiteral(".desktop"));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
        file.write("[Desktop Entry]\nType=Application\nExec=true\nName=Activate "
            + QByteArray::number(app) + "\nStartupWMClass=" + classOf(app) + '\n');
    }
    return true;
}

// Every app on a cell of a 10 by 10 grid; the two layouts differ in position and size, so
// that each activation moves and resizes every window.
QRect frameOf(int app, int layout)
{
    const int column = app % kColumns;
    const int row = app / kColumns;
    return layout == 0 ? QRect(10 + column * 190, 10 + row * 100, 170, 85)
                       : QRect(20 + column * 190, 15 + row * 100, 160, 80);
}

struct Extents {
    int left = 0, right = 0, top = 0, bottom = 0;
};

// The bench's own view of the apps' windows: their decorations, requests sent the way
// Vantor sends them, and waiting until they stand on their frames.
class SettleWatch {
public:
    explicit SettleWatch(const QByteArray& display) : m_connection(display.constData()) { }

    bool isConnected() const { return m_connection.isConnected(); }

    // Hears of every configure of the windows from now on.
    void watch(const QList<xcb_window_t>& windows)
    {
        m_windows = windows;
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        for (int i = 0; i < windows.size(); ++i) {
            xcb_change_window_attributes(m_connection.get(), windows[i], XCB_CW_EVENT_MASK, &mask);
            m_indexOf.insert(windows[i], i);
        }
        m_extents = readExtents();
        settleEvents();
    }

    // The floor: both requests of every window, sent at once.
    void placeLikeVantor(const QList<QRect>& targets) const
    {
        const xcb_atom_t moveResize = m_connection.atom("_NET_MOVERESIZE_WINDOW");
        constexpr std::uint32_t northWest = 1, x = 1U << 8, y = 1U << 9, width = 1U << 10,
                                height = 1U << 11, fromPager = 2U << 12;
        for (int i = 0; i < m_windows.size(); ++i) {
            const QSize client = clientSize(i, targets[i]);
            send(m_windows[i], moveResize,
                {northWest | x | y | fromPager, onWire(targets[i].x()), onWire(targets[i].y()), 0,
                    0});
            send(m_windows[i], moveResize,
                {northWest | width | height | fromPager, 0, 0, onWire(client.width()),
                    onWire(client.height())});
        }
        xcb_flush(m_connection.get());
    }

    // Waits, running Qt's event loop, until every window was configured to its target size
    // and one read then finds every frame on its target.
    bool waitUntilOn(const QList<QRect>& targets)
    {
        std::vector<bool> sized(static_cast<std::size_t>(m_windows.size()), false);
        QEventLoop loop;
        bool settled = false;
        const auto check = [&] {
            bool configured = false;
            while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection.get())) {
                configured |= takeConfigure(event, targets, sized);
                std::free(event);
            }
            if (configured && std::all_of(sized.begin(), sized.end(), [](bool s) { return s; }))
                settled = m_connection.outerFrames(m_windows) == targets;
            if (settled || xcb_connection_has_error(m_connection.get()))
                loop.quit();
        };
        QSocketNotifier notifier(xcb_get_file_descriptor(m_connection.get()), QSocketNotifier::Read);
        QObject::connect(&notifier, &QSocketNotifier::activated, &loop, check);
        QTimer::singleShot(kTimeout, &loop, &QEventLoop::quit);
        QTimer::singleShot(0, &loop, check);
        loop.exec();
        return settled;
    }

    // Lets late events of the last placement arrive and drops them.
    void settleEvents() const
    {
        m_connection.roundTrip();
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection.get()))
            std::free(event);
    }

private:
    static std::uint32_t onWire(int value) { return static_cast<std::uint32_t>(value); }

    QSize clientSize(int i, const QRect& target) const
    {
        const Extents& e = m_extents[static_cast<std::size_t>(i)];
        return {target.width() - e.left - e.right, target.height() - e.top - e.bottom};
    }

    bool takeConfigure(
        const xcb_generic_event_t* event, const QList<QRect>& targets, std::vector<bool>& sized)
    {
        if ((event->response_type & 0x7f) != XCB_CONFIGURE_NOTIFY)
            return false;
        const auto* configure = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
        const auto found = m_indexOf.constFind(configure->window);
        if (found == m_indexOf.cend())
            return false;
        const int i = *found;
        sized[static_cast<std::size_t>(i)]
            = QSize(configure->width, configure->height) == clientSize(i, targets[i]);
        return true;
    }

    void send(xcb_window_t window, xcb_atom_t type, const std::array<std::uint32_t, 5>& data) const
    {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = type;
        std::copy(data.begin(), data.end(), message.data.data32);
        xcb_send_event(m_connection.get(), 0, m_connection.root(),
            XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
            reinterpret_cast<const char*>(&message));
    }

    std::vector<Extents> readExtents() const
    {
        xcb_connection_t* c = m_connection.get();
        const xcb_atom_t atom = m_connection.atom("_NET_FRAME_EXTENTS");
        std::vector<xcb_get_property_cookie_t> cookies;
        for (const xcb_window_t window : m_windows)
            cookies.push_back(xcb_get_property(c, 0, window, atom, XCB_ATOM_CARDINAL, 0, 4));
        std::vector<Extents> extents;
        for (const xcb_get_property_cookie_t cookie : cookies) {
            const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, nullptr));
            Extents e;
            if (reply && reply->format == 32 && xcb_get_property_value_length(reply.get()) == 16) {
                const auto* v = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
                e = {int(v[0]), int(v[1]), int(v[2]), int(v[3])};
            }
            extents.push_back(e);
        }
        return extents;
    }

    XConnection m_connection;
    QList<xcb_window_t> m_windows;
    QHash<xcb_window_t, int> m_indexOf;
    std::vector<Extents> m_extents;
};

class ActivationBench {
public:
    explicit ActivationBench(TestDesktop& desktop) : m_desktop(desktop), m_watch(desktop.display())
    {
    }

    void run()
    {
        if (!m_watch.isConnected() || !m_windowSystem->canControlWindows())
            return fail("no window manager to measure");
        if (!writeEntries())
            return fail("cannot write the desktop entries");
        QList<xcb_window_t> windows;
        for (int app = 0; app < kApps; ++app) {
            const xcb_window_t window = startApp(app);
            if (!window)
                return fail("an app did not show its window");
            windows.append(window);
        }
        m_watch.watch(windows);
        measure();
    }

private:
    xcb_window_t startApp(int app)
    {
        const pid_t pid = m_owners.start(m_desktop.display(), [app](const XConnection& connection) {
            xcb_map_window(connection.get(),
                connection.createWindow(frameOf(app, 1).translated(5, 5), classOf(app),
                    classOf(app).toUpper()));
        });
        if (pid <= 0 || !m_desktop.waitForWindows(pid, 1))
            return 0;
        return m_desktop.probe().clientWindowsOf(pid).value(0);
    }

    QList<AppInfoPtr> workspaceApps(int layout) const
    {
        const ScreenSize screen = m_manager.mainScreenSize();
        QList<AppInfoPtr> apps;
        for (int app = 0; app < kApps; ++app) {
            const QRect frame = frameOf(app, layout);
            apps.append(AppInfo::create(QUuid::createUuid(), QStringLiteral("Activate %1").arg(app),
                bundleIdentifierOf(app), true, {},
                {std::make_shared<AppLayout>(QUuid::createUuid(), screen.width, screen.height,
                    frame.x(), frame.y(), frame.width(), frame.height())}));
        }
        return apps;
    }

    static QList<QRect> targetsOf(int layout)
    {
        QList<QRect> targets;
        for (int app = 0; app < kApps; ++app)
            targets.append(frameOf(app, layout));
        return targets;
    }

    double activateWithVantor(const QList<AppInfoPtr>& apps, const QList<QRect>& targets)
    {
        const ConsoleCapture quiet;
        const auto started = std::chrono::steady_clock::now();
        const ActivationPtr activation = m_manager.openApps(apps);
        m_requestTimes.push_back(msSince(started));
        if (!m_watch.waitUntilOn(targets))
            return 0;
        const double elapsed = msSince(started);
        // Vantor may still be reading its own events of this placement; they are done before
        // the next one starts.
        m_windowSystem->finishPlacements();
        return elapsed;
    }

    double placeAtFloor(const QList<QRect>& targets)
    {
        const auto started = std::chrono::steady_clock::now();
        m_watch.placeLikeVantor(targets);
        if (!m_watch.waitUntilOn(targets))
            return 0;
        return msSince(started);
    }

    // Runs alternate between Vantor and the floor; each starts from the other layout.
    void measure()
    {
        const std::array<QList<AppInfoPtr>, 2> apps{workspaceApps(0), workspaceApps(1)};
        const std::array<QList<QRect>, 2> targets{targetsOf(0), targetsOf(1)};
        std::vector<double> vantor;
        std::vector<double> floor;
        for (int run = 0; run < 2 * kRuns; ++run) {
            const int layout = run % 2;
            const bool byVantor = (run / 2) % 2 == 0;
            m_watch.settleEvents();
            const double elapsed = byVantor ? activateWithVantor(apps[layout], targets[layout])
                                            : placeAtFloor(targets[layout]);
            if (elapsed <= 0)
                return fail(byVantor ? "Vantor did not put every window on its frame"
                                     : "the floor client did not put every window on its frame");
            (byVantor ? vantor : floor).push_back(elapsed);
        }
        const double settled = median(vantor);
        const double floorMs = median(floor);
        report(QStringLiteral("activate_100_apps_settled_ms"), settled, QStringLiteral("ms"));
        report(QStringLiteral("activate_100_apps_floor_ms"), floorMs, QStringLiteral("ms"));
        report(QStringLiteral("activate_100_apps_ratio"), settled / floorMs, QStringLiteral("x"));
        report(QStringLiteral("activate_100_apps_request_ms"), median(m_requestTimes),
            QStringLiteral("ms"));
    }

    TestDesktop& m_desktop;
    SettleWatch m_watch;
    WindowOwners m_owners;
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();
    std::unique_ptr<Platform::Applications> m_applications
        = Platform::createApplications(*m_windowSystem);
    WindowManager m_manager{*m_windowSystem, *m_applications};
    std::vector<double> m_requestTimes; // Vantor's own part: until every request is sent
};

} // namespace

Group activationBenchmarks()
{
    return {"activation", [](TestDesktop& desktop) { ActivationBench(desktop).run(); }};
}

} // namespace Bench

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

#include <QFile>
#include <QUuid>

#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

namespace Bench {
namespace {

constexpr int kApps = 100;
constexpr int kColumns = 10;
constexpr int kRuns = 9;

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
                connection.createWindow(
                    frameOf(app, 1).translated(5, 5), classOf(app), classOf(app).toUpper()));
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

// Window capture and placement with 10, 50 and 100 windows of one process (this one), made
// here with plain xcb so that no app start-up is measured. Placement time runs until every
// frame stands at its target (configure events, then one read); the same placement by an
// xdotool loop gives the ratio.
#include "BenchSupport.h"
#include "Benchmarks.h"

#include "TestDesktop.h"
#include "Util/WindowManager.h"

#include <QElapsedTimer>
#include <QProcess>

#include <xcb/xcb.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

namespace Bench {
namespace {

constexpr int captureRuns = 30;
constexpr int placementRuns = 15;
constexpr std::chrono::milliseconds settleTimeout(3000);

// Plain top-level windows of this process, and an independent read of their frames.
class BenchWindows {
public:
    bool isConnected() const { return m_connection.isConnected(); }

    void addUpTo(int count)
    {
        while (m_windows.size() < count) {
            const int i = static_cast<int>(m_windows.size());
            const xcb_window_t window = m_connection.createWindow(
                QRect(10 * i, 5 * i, 200, 150), "vantor-bench", "VantorBench");
            xcb_map_window(m_connection.get(), window);
            m_windows.append(window);
        }
        xcb_flush(m_connection.get());
    }

    const QList<xcb_window_t>& ids() const { return m_windows; }

private:
    XConnection m_connection;
    QList<xcb_window_t> m_windows;
};

class WindowBench {
public:
    explicit WindowBench(TestDesktop& desktop) : m_desktop(desktop)
    {
        m_self.processIdentifier = static_cast<Platform::ProcessId>(::getpid());
    }

    void run()
    {
        if (!m_windows.isConnected() || !m_windowSystem->canControlWindows()) {
            std::fprintf(stderr, "vantor-bench: windows: no window manager to measure\n");
            return;
        }
        for (int count : {10, 50, 100}) {
            m_windows.addUpTo(count);
            if (!m_desktop.waitForWindows(::getpid(), count)) {
                std::fprintf(stderr, "vantor-bench: windows: %d windows were not managed\n", count);
                return;
            }
            m_settle.watch(m_windows.ids());
            // Placement first: afterwards the window manager is idle, and capture measures
            // Vantor rather than openbox decorating the new windows.
            const double placement = measurePlacement(count);
            measureCapture(count);
            const double xdotool = measureXdotool(count);
            if (placement > 0 && xdotool > 0)
                report(QStringLiteral("place_%1_windows_xdotool_ratio").arg(count),
                    xdotool / placement, QStringLiteral("x"));
        }
    }

private:
    void measureCapture(int count)
    {
        std::vector<double> times;
        for (int run = 0; run < captureRuns; ++run) {
            QElapsedTimer timer;
            timer.start();
            const QList<AppLayoutPtr> layouts = m_manager.getAppLayout(m_self);
            times.push_back(elapsedMs(timer));
            if (layouts.size() != count) {
                std::fprintf(stderr, "vantor-bench: captured %lld of %d windows\n",
                    static_cast<long long>(layouts.size()), count);
                return;
            }
        }
        report(QStringLiteral("capture_%1_windows_ms").arg(count), median(times),
            QStringLiteral("ms"));
    }

    Frame nextTarget()
    {
        ++m_placements;
        return m_placements % 2 ? Frame{300, 200, 640, 480} : Frame{700, 350, 500, 400};
    }

    // Until every frame reads back at its target; the window manager's work included. The
    // request figure is Vantor's own part: reading the windows, sending, and the server
    // having taken every request.
    double measurePlacement(int count)
    {
        std::vector<double> times;
        std::vector<double> requests;
        for (int run = 0; run < placementRuns; ++run) {
            const Frame target = nextTarget();
            const QList<QRect> targets(count,
                QRect(int(target.x), int(target.y), int(target.width), int(target.height)));
            m_settle.settleEvents();
            QElapsedTimer timer;
            timer.start();
            m_manager.setWindowPosition(m_self.processIdentifier, target.position(), target.size());
            requests.push_back(elapsedMs(timer));
            const bool settled = m_settle.waitUntilOn(targets, settleTimeout);
            m_windowSystem->finishPlacements();
            if (!settled) {
                std::fprintf(stderr, "vantor-bench: %d windows did not reach their frame\n", count);
                return 0;
            }
            times.push_back(elapsedMs(timer));
        }
        const double result = median(times);
        report(QStringLiteral("place_%1_windows_ms").arg(count), result, QStringLiteral("ms"));
        report(QStringLiteral("place_%1_windows_request_ms").arg(count), median(requests),
            QStringLiteral("ms"));
        return result;
    }

    // The same frame for every window, one xdotool run per window, each waiting for its size.
    double measureXdotool(int count)
    {
        const Frame target = nextTarget();
        QElapsedTimer timer;
        timer.start();
        for (xcb_window_t window : m_windows.ids()) {
            const QString id = QString::number(window);
            QProcess xdotool;
            xdotool.start(QStringLiteral("xdotool"),
                {QStringLiteral("windowmove"), id, QString::number(target.x),
                    QString::number(target.y), QStringLiteral("windowsize"),
                    QStringLiteral("--sync"), id, QString::number(target.width),
                    QString::number(target.height)});
            if (!xdotool.waitForFinished(5000)) {
                xdotool.kill();
                xdotool.waitForFinished();
                std::fprintf(stderr, "vantor-bench: xdotool did not finish\n");
                return 0;
            }
        }
        const double elapsed = elapsedMs(timer);
        report(QStringLiteral("place_%1_windows_xdotool_ms").arg(count), elapsed,
            QStringLiteral("ms"));
        return elapsed;
    }

    TestDesktop& m_desktop;
    BenchWindows m_windows;
    SettleWatch m_settle{m_desktop.display()};
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();
    std::unique_ptr<Platform::Applications> m_applications
        = Platform::createApplications(*m_windowSystem);
    WindowManager m_manager{*m_windowSystem, *m_applications};
    Platform::RunningApplication m_self;
    int m_placements = 0;
};

} // namespace

Group windowBenchmarks()
{
    return {"windows", [](TestDesktop& desktop) { WindowBench(desktop).run(); }};
}

} // namespace Bench

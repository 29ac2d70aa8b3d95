// Window capture and placement with 10, 50 and 100 windows of one process (this one), made
// here with plain xcb so that no app start-up is measured. Placement time runs until every
// frame reads back at its target; the same placement by an xdotool loop gives the ratio.
#include "Benchmarks.h"

#include "TestDesktop.h"
#include "Util/WindowManager.h"

#include <QElapsedTimer>
#include <QProcess>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Bench {
namespace {

constexpr int captureRuns = 30;
constexpr int placementRuns = 15;
constexpr qint64 settleTimeoutMs = 3000;

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

struct Disconnect {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// Plain top-level windows of this process, and an independent read of their frames.
class BenchWindows {
public:
    BenchWindows() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(c())).data->root;
        m_extentsAtom = internAtom("_NET_FRAME_EXTENTS");
    }

    bool isConnected() const { return !xcb_connection_has_error(c()); }
    int count() const { return static_cast<int>(m_windows.size()); }

    void addUpTo(int count)
    {
        while (static_cast<int>(m_windows.size()) < count) {
            const xcb_window_t window = xcb_generate_id(c());
            const auto i = static_cast<std::int16_t>(m_windows.size());
            xcb_create_window(c(), XCB_COPY_FROM_PARENT, window, m_root,
                static_cast<std::int16_t>(10 * i), static_cast<std::int16_t>(5 * i), 200, 150, 0,
                XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
            static const char wmClass[] = "vantor-bench\0VantorBench";
            xcb_change_property(c(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
                XCB_ATOM_STRING, 8, sizeof(wmClass), wmClass);
            xcb_map_window(c(), window);
            m_windows.push_back(window);
        }
        xcb_flush(c());
    }

    // Visible frames (client plus decorations) in root coordinates, read in one batch.
    std::vector<Frame> frames() const
    {
        std::vector<xcb_get_geometry_cookie_t> geometry;
        std::vector<xcb_translate_coordinates_cookie_t> origin;
        std::vector<xcb_get_property_cookie_t> extents;
        for (xcb_window_t window : m_windows) {
            geometry.push_back(xcb_get_geometry(c(), window));
            origin.push_back(xcb_translate_coordinates(c(), window, m_root, 0, 0));
            extents.push_back(
                xcb_get_property(c(), 0, window, m_extentsAtom, XCB_ATOM_CARDINAL, 0, 4));
        }
        std::vector<Frame> frames;
        for (std::size_t i = 0; i < m_windows.size(); ++i) {
            const Reply<xcb_get_geometry_reply_t> g(
                xcb_get_geometry_reply(c(), geometry[i], nullptr));
            const Reply<xcb_translate_coordinates_reply_t> o(
                xcb_translate_coordinates_reply(c(), origin[i], nullptr));
            const Reply<xcb_get_property_reply_t> e(
                xcb_get_property_reply(c(), extents[i], nullptr));
            std::uint32_t x[4] = {};
            if (e && xcb_get_property_value_length(e.get()) == 16)
                std::memcpy(x, xcb_get_property_value(e.get()), sizeof(x));
            if (!g || !o)
                return {};
            frames.push_back({static_cast<double>(o->dst_x - static_cast<int>(x[0])),
                static_cast<double>(o->dst_y - static_cast<int>(x[2])),
                static_cast<double>(g->width + x[0] + x[1]),
                static_cast<double>(g->height + x[2] + x[3])});
        }
        return frames;
    }

    bool allAt(const Frame& target) const
    {
        const std::vector<Frame> current = frames();
        return !current.empty() && std::all_of(current.begin(), current.end(), [&](const Frame& f) {
            return f == target;
        });
    }

    const std::vector<xcb_window_t>& ids() const { return m_windows; }

private:
    xcb_connection_t* c() const { return m_connection.get(); }
    xcb_atom_t internAtom(const char* name) const
    {
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c(),
            xcb_intern_atom(c(), 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_window_t m_root = 0;
    xcb_atom_t m_extentsAtom = 0;
    std::vector<xcb_window_t> m_windows;
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
            times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
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
            QElapsedTimer timer;
            timer.start();
            m_manager.setWindowPosition(m_self.processIdentifier, target.position(), target.size());
            requests.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
            while (!m_windows.allAt(target)) {
                if (timer.elapsed() > settleTimeoutMs) {
                    std::fprintf(
                        stderr, "vantor-bench: %d windows did not reach their frame\n", count);
                    return 0;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
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
        const double elapsed = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        report(QStringLiteral("place_%1_windows_xdotool_ms").arg(count), elapsed,
            QStringLiteral("ms"));
        return elapsed;
    }

    TestDesktop& m_desktop;
    BenchWindows m_windows;
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

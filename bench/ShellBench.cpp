// The tray app and the command line as whole processes: the real `vantor` executable on the
// bench's private desktop, with a tray host (trayer) and ten apps of three windows each.
// Frames are read through a connection of the bench's own, never through Vantor's code.
#include "Benchmarks.h"

#include "TestDesktop.h"
#include "VantorProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRect>
#include <QThread>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Bench {
namespace {

using namespace std::chrono_literals;
using WindowId = std::uint32_t;

constexpr int kApps = 10;
constexpr int kWindowsPerApp = 3;
constexpr int kRuns = 5;
// The idle figure is counted over this many seconds (named in the figure).
constexpr int kIdleSeconds = 30;

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

xcb_atom_t internAtom(xcb_connection_t* connection, const char* name)
{
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// The bench's own look at the X server: outer frames of many windows in one round trip,
// Vantor's icon inside the tray host, and moving windows away.
class FrameReader {
public:
    explicit FrameReader(const QByteArray& display)
    {
        m_connection = xcb_connect(display.constData(), nullptr);
        if (xcb_connection_has_error(m_connection))
            return;
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_frameExtents = internAtom(m_connection, "_NET_FRAME_EXTENTS");
    }
    ~FrameReader() { xcb_disconnect(m_connection); }
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    // The frame as the user sees it: client origin and size, widened by _NET_FRAME_EXTENTS.
    QList<QRect> outerFrames(const QList<WindowId>& windows) const
    {
        std::vector<xcb_translate_coordinates_cookie_t> origins;
        std::vector<xcb_get_geometry_cookie_t> sizes;
        std::vector<xcb_get_property_cookie_t> extents;
        for (const WindowId window : windows) {
            origins.push_back(xcb_translate_coordinates(m_connection, window, m_root, 0, 0));
            sizes.push_back(xcb_get_geometry(m_connection, window));
            extents.push_back(
                xcb_get_property(m_connection, 0, window, m_frameExtents, XCB_ATOM_CARDINAL, 0, 4));
        }
        QList<QRect> frames;
        for (size_t i = 0; i < origins.size(); ++i) {
            Reply<xcb_translate_coordinates_reply_t> origin(
                xcb_translate_coordinates_reply(m_connection, origins[i], nullptr));
            Reply<xcb_get_geometry_reply_t> size(
                xcb_get_geometry_reply(m_connection, sizes[i], nullptr));
            Reply<xcb_get_property_reply_t> extent(
                xcb_get_property_reply(m_connection, extents[i], nullptr));
            if (!origin || !size) {
                frames.append(QRect());
                continue;
            }
            std::uint32_t e[4] = {0, 0, 0, 0};
            if (extent && xcb_get_property_value_length(extent.get()) == 16)
                std::memcpy(e, xcb_get_property_value(extent.get()), sizeof(e));
            const int left = static_cast<int>(e[0]);
            const int right = static_cast<int>(e[1]);
            const int top = static_cast<int>(e[2]);
            const int bottom = static_cast<int>(e[3]);
            frames.append(QRect(origin->dst_x - left, origin->dst_y - top,
                size->width + left + right, size->height + top + bottom));
        }
        return frames;
    }

    // Asks the window manager to put the window elsewhere (a ConfigureRequest of the bench's
    // own, as any app or pager may send).
    void moveAway(WindowId window, const QRect& to) const
    {
        const std::uint32_t values[]
            = {static_cast<std::uint32_t>(to.x()), static_cast<std::uint32_t>(to.y()),
                static_cast<std::uint32_t>(to.width()), static_cast<std::uint32_t>(to.height())};
        xcb_configure_window(m_connection, window,
            XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH
                | XCB_CONFIG_WINDOW_HEIGHT,
            values);
        xcb_flush(m_connection);
    }

    // The keycode that carries `keysym` in the server's keyboard mapping; 0 when none does.
    std::uint8_t keycodeOf(xcb_keysym_t keysym) const
    {
        const xcb_setup_t* setup = xcb_get_setup(m_connection);
        const int count = setup->max_keycode - setup->min_keycode + 1;
        Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(m_connection,
            xcb_get_keyboard_mapping(
                m_connection, setup->min_keycode, static_cast<std::uint8_t>(count)),
            nullptr));
        if (!mapping)
            return 0;
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
        const int perKeycode = mapping->keysyms_per_keycode;
        for (int i = 0; i < count; ++i) {
            if (keysyms[i * perKeycode] == keysym)
                return static_cast<std::uint8_t>(setup->min_keycode + i);
        }
        return 0;
    }

    // Releases the keys through XTEST, as `xdotool keyup` does, and returns once the server
    // has taken the first release (a round trip after the request).
    void releaseKeys(const QList<std::uint8_t>& keycodes) const
    {
        bool first = true;
        for (const std::uint8_t keycode : keycodes) {
            xcb_test_fake_input(
                m_connection, XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
            if (first) {
                std::free(xcb_get_input_focus_reply(
                    m_connection, xcb_get_input_focus(m_connection), nullptr));
                first = false;
            }
        }
        xcb_flush(m_connection);
    }

    // The viewable windows of WM_CLASS instance "vantor" inside the tray host's window.
    QList<WindowId> trayIcons(WindowId trayHost) const
    {
        QList<WindowId> icons;
        forEachDescendant(trayHost, 0, [&](WindowId window) {
            if (wmClass(window).value(0) != "vantor")
                return;
            Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
                m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
            if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
                icons.append(window);
        });
        return icons;
    }

    // WM_CLASS: instance and class.
    QList<QByteArray> wmClass(WindowId window) const
    {
        Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection,
            xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
            nullptr));
        if (!reply)
            return {};
        return QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
            xcb_get_property_value_length(reply.get()))
            .split('\0');
    }

private:
    void forEachDescendant(
        WindowId window, int depth, const std::function<void(WindowId)>& visit) const
    {
        Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        if (!tree)
            return;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            visit(children[i]);
            if (depth < 4)
                forEachDescendant(children[i], depth + 1, visit);
        }
    }

    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = 0;
    xcb_atom_t m_frameExtents = XCB_ATOM_NONE;
};

// An app of three windows: a child process of the bench with an X connection of its own and
// three top-level windows of WM_CLASS `className`. It lives until it is killed or the bench
// ends.
pid_t spawnApp(const QByteArray& display, const QByteArray& className, const QRect& geometry)
{
    const QByteArray instance = className.toLower();
    const QByteArray classProperty = instance + '\0' + className + '\0';
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    // The child: plain xcb calls only, and _exit.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    xcb_connection_t* connection = xcb_connect(display.constData(), nullptr);
    if (xcb_connection_has_error(connection))
        ::_exit(1);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_atom_t normalHints = XCB_ATOM_WM_NORMAL_HINTS;
    for (int i = 0; i < kWindowsPerApp; ++i) {
        const xcb_window_t window = xcb_generate_id(connection);
        const std::uint32_t background[] = {screen->white_pixel};
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root,
            static_cast<std::int16_t>(geometry.x() + 30 * i),
            static_cast<std::int16_t>(geometry.y() + 30 * i),
            static_cast<std::uint16_t>(geometry.width()),
            static_cast<std::uint16_t>(geometry.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
            screen->root_visual, XCB_CW_BACK_PIXEL, background);
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS,
            XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(classProperty.size()),
            classProperty.constData());
        const QByteArray title = className + ' ' + QByteArray::number(i + 1);
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME,
            XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(title.size()), title.constData());
        // WM_NORMAL_HINTS: user-specified position and size, so the window opens there.
        std::uint32_t hints[18] = {};
        hints[0] = 1 | 2; // USPosition | USSize
        hints[1] = static_cast<std::uint32_t>(geometry.x() + 30 * i);
        hints[2] = static_cast<std::uint32_t>(geometry.y() + 30 * i);
        hints[3] = static_cast<std::uint32_t>(geometry.width());
        hints[4] = static_cast<std::uint32_t>(geometry.height());
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, normalHints,
            XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
        xcb_map_window(connection, window);
    }
    xcb_flush(connection);
    while (xcb_generic_event_t* event = xcb_wait_for_event(connection))
        std::free(event);
    ::_exit(0);
}

void endApp(pid_t pid)
{
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
}

double median(std::vector<double> values)
{
    if (values.empty())
        return -1;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double msSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

bool pollUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout,
    std::chrono::microseconds interval = 1ms)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QThread::usleep(static_cast<unsigned long>(interval.count()));
    }
    return true;
}

// A number from /proc/PID/status ("VmRSS:", "voluntary_ctxt_switches:"), summed over every
// thread when `allThreads`.
qint64 statusField(qint64 pid, const QByteArray& name, bool allThreads = false)
{
    QStringList files;
    if (allThreads) {
        for (const QString& task : QDir(QStringLiteral("/proc/%1/task").arg(pid))
                                       .entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            files.append(QStringLiteral("/proc/%1/task/%2/status").arg(pid).arg(task));
    } else {
        files.append(QStringLiteral("/proc/%1/status").arg(pid));
    }
    qint64 total = 0;
    for (const QString& path : std::as_const(files)) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (line.startsWith(name + ':'))
                total += line.mid(name.size() + 1).trimmed().split(' ').value(0).toLongLong();
        }
    }
    return total;
}

qint64 contextSwitches(qint64 pid)
{
    return statusField(pid, "voluntary_ctxt_switches", true)
        + statusField(pid, "nonvoluntary_ctxt_switches", true);
}

void xdotool(const QStringList& arguments)
{
    TestDesktop::run(QStringLiteral("xdotool"), arguments);
}

void fail(const char* what, const QByteArray& details = {})
{
    std::fprintf(stderr, "vantor-bench shell: %s\n%s\n", what, details.constData());
}

struct BenchApp {
    pid_t pid = 0;
    QList<WindowId> windows;
    QRect target; // the frame Vantor stored for the app on this screen
};

class ShellBench {
public:
    explicit ShellBench(TestDesktop& desktop) : m_desktop(desktop), m_reader(desktop.display()) { }

    ~ShellBench()
    {
        m_vantor.kill();
        for (const BenchApp& app : std::as_const(m_apps))
            endApp(app.pid);
    }

    void run()
    {
        if (!prepare())
            return;
        measureStartup();
        if (!m_vantor.isRunning())
            return fail("the tray app is not running", m_vantor.describe());
        measureIdle();
        measureHotkey();
        measureCommandLine();
        if (!m_vantor.terminate() || !m_vantor.exitedWith(0))
            fail("the tray app did not quit cleanly on SIGTERM", m_vantor.describe());
    }

private:
    bool prepare()
    {
        m_desktop.startProcess(QStringLiteral("trayer"),
            {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("pixel"),
                QStringLiteral("--width"), QStringLiteral("200"), QStringLiteral("--height"),
                QStringLiteral("24"), QStringLiteral("--SetDockType"), QStringLiteral("true"),
                QStringLiteral("--transparent"), QStringLiteral("false")});
        if (!pollUntil(
                [this] { return m_desktop.probe().selectionHasOwner("_NET_SYSTEM_TRAY_S0"); }, 10s,
                10ms)
            || !pollUntil([this] { return (m_trayHost = trayHostWindow()) != 0; }, 10s, 10ms)) {
            fail("no tray host");
            return false;
        }

        const QString applications
            = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
        for (int i = 0; i < kApps; ++i) {
            const QByteArray className = "BenchApp" + QByteArray::number(i);
            QFile entry(applications + QStringLiteral("bench-app-%1.desktop").arg(i));
            if (!entry.open(QIODevice::WriteOnly))
                return false;
            entry.write("[Desktop Entry]\nType=Application\nName=Bench App " + QByteArray::number(i)
                + "\nExec=xlogo\nStartupWMClass=" + className + "\n");
            entry.close();
            const QRect geometry(20 + (i % 5) * 380, 60 + (i / 5) * 480, 300, 360);
            BenchApp app;
            app.pid = spawnApp(m_desktop.display(), className, geometry);
            m_apps.append(app);
        }
        for (BenchApp& app : m_apps) {
            if (!m_desktop.waitForWindows(app.pid, kWindowsPerApp)) {
                fail("an app of three windows did not show up");
                return false;
            }
            const auto windows = m_desktop.probe().clientWindowsOf(app.pid);
            app.windows = QList<WindowId>(windows.cbegin(), windows.cend());
        }

        const VantorRun captured = VantorProcess::run({QStringLiteral("capture"), kWorkspace});
        if (!captured.exitedWith(0)) {
            fail("vantor capture failed", captured.describe());
            return false;
        }
        return readTargets();
    }

    // Whether the process has its icon in the tray (the X server names the icon's owner).
    bool hasTrayIcon(qint64 pid) const
    {
        const QList<WindowId> icons = m_reader.trayIcons(m_trayHost);
        return std::any_of(icons.cbegin(), icons.cend(),
            [&](WindowId icon) { return m_desktop.probe().pidOf(icon) == pid; });
    }

    // The tray host's window: the managed window of WM_CLASS class "trayer".
    WindowId trayHostWindow() const
    {
        for (const WindowId window : m_desktop.probe().clientWindows()) {
            if (m_reader.wmClass(window).value(1) == "trayer")
                return window;
        }
        return 0;
    }

    // Each app's frame for this screen as Vantor stored it (its first layout of this size).
    bool readTargets()
    {
        const VantorRun shown
            = VantorProcess::run({QStringLiteral("show"), kWorkspace, QStringLiteral("--json")});
        const QJsonArray apps = QJsonDocument::fromJson(shown.standardOutput)
                                    .object()
                                    .value(QLatin1String("apps"))
                                    .toArray();
        if (apps.size() != kApps) {
            fail("the workspace does not hold the ten apps", shown.describe());
            return false;
        }
        for (const QJsonValue& value : apps) {
            const QJsonObject app = value.toObject();
            const int index
                = app.value(QLatin1String("bundleIdentifier")).toString().section(u'-', -1).toInt();
            for (const QJsonValue& layout : app.value(QLatin1String("layouts")).toArray()) {
                const QJsonObject frame = layout.toObject();
                if (frame.value(QLatin1String("screenWidth")).toInt() != 1920
                    || frame.value(QLatin1String("screenHeight")).toInt() != 1080)
                    continue;
                m_apps[index].target = QRect(frame.value(QLatin1String("positionX")).toInt(),
                    frame.value(QLatin1String("positionY")).toInt(),
                    frame.value(QLatin1String("width")).toInt(),
                    frame.value(QLatin1String("height")).toInt());
                break;
            }
        }
        return true;
    }

    // startup_to_tray_icon_ms: from starting the process to Vantor's icon window being
    // viewable inside the tray host. The last start stays for the other figures.
    void measureStartup()
    {
        std::vector<double> times;
        for (int run = 0; run < 3; ++run) {
            if (run > 0 && !m_vantor.terminate())
                return fail("the tray app did not quit on SIGTERM", m_vantor.describe());
            // The previous run's icon must be gone, or it would be taken for the new one.
            if (!pollUntil([this] { return m_reader.trayIcons(m_trayHost).isEmpty(); }, 10s))
                return fail("the previous tray icon stayed");
            if (!m_vantor.start())
                return fail("the tray app did not start");
            if (!pollUntil([this] { return hasTrayIcon(m_vantor.pid()); }, 30s))
                return fail("no tray icon", m_vantor.describe());
            times.push_back(msSince(m_vantor.startedAt()));
        }
        report(QStringLiteral("startup_to_tray_icon_ms"), median(times), QStringLiteral("ms"));
        if (!m_vantor.waitForLines(QStringLiteral("✅ Registered shortcut for ") + kWorkspace
                + QStringLiteral(" at slot 0")))
            fail("the workspace's shortcut was not registered", m_vantor.describe());
    }

    // idle_rss_mb: resident memory 2 s after the main window was closed; then
    // idle_wakeups_Ns: context switches (voluntary and involuntary, every thread) over N s
    // in the tray with nothing happening.
    void measureIdle()
    {
        const auto mainWindowListed = [] {
            return TestDesktop::run(QStringLiteral("wmctrl"), {QStringLiteral("-l")})
                .contains(" Vantor\n");
        };
        if (!pollUntil(mainWindowListed, 20s, 20ms))
            fail("the main window did not open");
        TestDesktop::run(
            QStringLiteral("wmctrl"), {QStringLiteral("-c"), QStringLiteral("Vantor")});
        if (!pollUntil([&] { return !mainWindowListed(); }, 10s, 20ms))
            fail("the main window did not close");
        QThread::sleep(2);
        const qint64 pid = m_vantor.pid();
        report(QStringLiteral("idle_rss_mb"), statusField(pid, "VmRSS") / 1024.0,
            QStringLiteral("MB"));
        const qint64 before = contextSwitches(pid);
        QThread::sleep(kIdleSeconds);
        report(QStringLiteral("idle_wakeups_%1s").arg(kIdleSeconds),
            static_cast<double>(contextSwitches(pid) - before), QStringLiteral("wakeups"));
    }

    QList<WindowId> allWindows() const
    {
        QList<WindowId> windows;
        for (const BenchApp& app : m_apps)
            windows += app.windows;
        return windows;
    }

    QList<QRect> targetsOfAllWindows() const
    {
        QList<QRect> targets;
        for (const BenchApp& app : m_apps)
            for (int i = 0; i < app.windows.size(); ++i)
                targets.append(app.target);
        return targets;
    }

    bool scatter()
    {
        const QList<WindowId> windows = allWindows();
        const QList<QRect> targets = targetsOfAllWindows();
        for (int i = 0; i < windows.size(); ++i)
            m_reader.moveAway(
                windows[i], QRect(400 + (i * 37) % 900, 300 + (i * 23) % 400, 240, 200));
        return pollUntil(
            [&] {
                const QList<QRect> frames = m_reader.outerFrames(windows);
                for (int i = 0; i < frames.size(); ++i) {
                    if (frames[i] == targets[i])
                        return false;
                }
                return true;
            },
            10s, 5ms);
    }

    bool allAtTargets() const
    {
        return m_reader.outerFrames(allWindows()) == targetsOfAllWindows();
    }

    // hotkey_to_last_placement_ms: the workspace's hotkey (Shift+Alt+1) is pressed with
    // `xdotool keydown shift+alt+1` and released through XTEST from the bench's own connection
    // (what `xdotool keyup` does; done here so that the clock starts exactly when the X server
    // has taken the release of the 1 key, on which Vantor acts, not when a helper process has
    // exited). The clock stops when the last of the 30 windows reads back, through the bench's
    // own X connection, at its app's stored frame. It covers the release event's way to Vantor,
    // the store fetch, finding the apps' windows, the move requests and the window manager
    // carrying them out.
    void measureHotkey()
    {
        const std::uint8_t one = m_reader.keycodeOf(0x31); // XK_1
        const std::uint8_t alt = m_reader.keycodeOf(0xffe9); // XK_Alt_L
        const std::uint8_t shift = m_reader.keycodeOf(0xffe1); // XK_Shift_L
        if (!one || !alt || !shift)
            return fail("no keycodes for Shift, Alt and 1");
        std::vector<double> times;
        for (int run = 0; run < kRuns; ++run) {
            if (!scatter())
                return fail("the windows could not be moved away");
            xdotool({QStringLiteral("keydown"), QStringLiteral("shift+alt+1")});
            m_reader.releaseKeys({one, alt, shift});
            const auto released = std::chrono::steady_clock::now();
            if (!pollUntil([this] { return allAtTargets(); }, 20s, 200us))
                return fail("the hotkey did not put every window back", m_vantor.describe());
            times.push_back(msSince(released));
        }
        report(QStringLiteral("hotkey_to_last_placement_ms"), median(times), QStringLiteral("ms"));
    }

    // cli_activate_10_apps_ms: `vantor activate` of the workspace of ten running apps, from
    // starting the process to its exit.
    void measureCommandLine()
    {
        std::vector<double> times;
        for (int run = 0; run < kRuns; ++run) {
            if (!scatter())
                return fail("the windows could not be moved away");
            const VantorRun activated
                = VantorProcess::run({QStringLiteral("activate"), kWorkspace});
            if (!activated.exitedWith(0))
                return fail("vantor activate failed", activated.describe());
            times.push_back(static_cast<double>(activated.duration.count()));
            if (!pollUntil([this] { return allAtTargets(); }, 20s))
                return fail("vantor activate did not put every window back");
        }
        report(QStringLiteral("cli_activate_10_apps_ms"), median(times), QStringLiteral("ms"));
    }

    const QString kWorkspace = QStringLiteral("Bench");
    TestDesktop& m_desktop;
    FrameReader m_reader;
    WindowId m_trayHost = 0;
    QList<BenchApp> m_apps;
    VantorProcess m_vantor;
};

} // namespace

Group shellBenchmarks()
{
    return {"shell", [](TestDesktop& desktop) {
                // The executable built next to this bench (the release one in build/release).
                qputenv("VANTOR_EXECUTABLE", VANTOR_EXECUTABLE);
                ShellBench(desktop).run();
            }};
}

} // namespace Bench

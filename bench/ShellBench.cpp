// The tray app and the command line as whole processes: the real `vantor` executable on the
// bench's private desktop, with a tray host (trayer) and ten apps of three windows each.
// Frames are read through a connection of the bench's own, never through Vantor's code.
#include "Benchmarks.h"

#include "BenchApps.h"
#include "Store/ModelContainer.h"
#include "TestDesktop.h"
#include "VantorProcess.h"
#include "XInput.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRect>
#include <QSaveFile>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace Bench {
namespace {

using namespace std::chrono_literals;

constexpr int kApps = 10;
constexpr int kRuns = 5;
// The idle figure is counted over this many seconds (named in the figure).
constexpr int kIdleSeconds = 30;
// The light scheme's `background`, which the bench asks of Vantor.
constexpr std::uint32_t kLightBackground = 0xf6f6f7;
// The light scheme's `hover`, behind the chosen tab.
constexpr std::uint32_t kLightChosenTab = 0xe4e4e9;

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

// Private_Dirty of /proc/PID/smaps_rollup: the memory that is the process's own.
qint64 privateDirtyKb(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/smaps_rollup").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith("Private_Dirty:"))
            return line.mid(14).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
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

class ShellBench {
public:
    explicit ShellBench(TestDesktop& desktop)
        : m_desktop(desktop), m_reader(desktop.display()), m_settle(desktop.display())
    {
    }

    ~ShellBench() { m_vantor.kill(); }

    void run()
    {
        if (!prepare())
            return;
        measureStartup();
        if (!m_vantor.isRunning())
            return fail("the tray app is not running", m_vantor.describe());
        measureIdle();
        measureMainWindow();
        measureHotkey();
        measureCommandLine();
        measureWorkspaceTab();
        measureSettingsTab();
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
            app.pid = startThreeWindowApp(m_owners, m_desktop.display(), className, geometry);
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
        m_settle.watch(allWindows());

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
        const QList<QRect> targets
            = storedFrames(shown.standardOutput, kApps, QSize(1920, 1080));
        if (targets.isEmpty()) {
            fail("the workspace does not hold the ten apps", shown.describe());
            return false;
        }
        for (int index = 0; index < kApps; ++index)
            m_apps[index].target = targets[index];
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
        report(QStringLiteral("idle_private_mb"), privateDirtyKb(pid) / 1024.0, QStringLiteral("MB"));
        const qint64 before = contextSwitches(pid);
        QThread::sleep(kIdleSeconds);
        report(QStringLiteral("idle_wakeups_%1s").arg(kIdleSeconds),
            static_cast<double>(contextSwitches(pid) - before), QStringLiteral("wakeups"));
    }

    // Vantor's main window: its managed window of WM_CLASS instance "vantor"; 0 when none.
    WindowId mainWindow() const
    {
        for (const WindowId window : m_desktop.probe().clientWindows()) {
            if (m_reader.wmClass(window).value(0) == "vantor")
                return window;
        }
        return 0;
    }

    // Whether the main window is on screen with its content drawn: the middle of the empty
    // Workspaces tab shows the light scheme's background.
    bool mainWindowDrawn() const
    {
        const WindowId window = mainWindow();
        return window != 0 && m_reader.pixelAt(window, 400, 300) == kLightBackground;
    }

    void closeMainWindow()
    {
        TestDesktop::run(QStringLiteral("wmctrl"), {QStringLiteral("-c"), QStringLiteral("Vantor")});
        if (!pollUntil([this] { return mainWindow() == 0; }, 10s, 5ms))
            fail("the main window did not close");
    }

    // main_window_open_ms: from a second `vantor` (how the user opens the window of the
    // Vantor in the tray) to the window's first frame on screen, the window closed before.
    // The forwarding process's own run is main_window_request_ms. Then, with the window
    // open: main_window_rss_mb and its private (dirty) part, and the wake-ups over 30 s
    // with the pointer still.
    // The times from a second `vantor` to the main window's first frame (the window closed
    // before each) and of the forwarding process's own run; false when one did not open.
    bool timeOpenings(std::vector<double>& opens, std::vector<double>& requests)
    {
        for (int run = 0; run < 3; ++run) {
            if (mainWindow() != 0)
                closeMainWindow();
            QThread::msleep(500);
            const auto start = std::chrono::steady_clock::now();
            const VantorRun second = VantorProcess::run({});
            requests.push_back(msSince(start));
            if (!second.exitedWith(0)) {
                fail("a second vantor did not hand over", second.describe());
                return false;
            }
            // Read a pixel every millisecond: the first frame has no event of its own.
            if (!pollUntil([this] { return mainWindowDrawn(); }, 20s, 1ms)) {
                fail("the main window did not show its content", m_vantor.describe());
                return false;
            }
            opens.push_back(msSince(start));
        }
        return true;
    }

    void measureMainWindow()
    {
        std::vector<double> opens;
        std::vector<double> requests;
        if (!timeOpenings(opens, requests))
            return;
        report(QStringLiteral("main_window_open_ms"), median(opens), QStringLiteral("ms"));
        report(QStringLiteral("main_window_request_ms"), median(requests), QStringLiteral("ms"));
        QThread::sleep(2);
        const qint64 pid = m_vantor.pid();
        report(QStringLiteral("main_window_rss_mb"), statusField(pid, "VmRSS") / 1024.0,
            QStringLiteral("MB"));
        report(QStringLiteral("main_window_private_mb"), privateDirtyKb(pid) / 1024.0,
            QStringLiteral("MB"));
        const qint64 before = contextSwitches(pid);
        QThread::sleep(kIdleSeconds);
        report(QStringLiteral("open_window_wakeups_%1s").arg(kIdleSeconds),
            static_cast<double>(contextSwitches(pid) - before), QStringLiteral("wakeups"));
        closeMainWindow();
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
    // exited). The clock stops when the last of the 30 windows stands at its app's stored frame
    // (their configure events, then one read through the bench's own X connection). It covers
    // the release event's way to Vantor, the store fetch, finding the apps' windows, the move
    // requests and the window manager carrying them out. hotkey_placement_floor_ms: the same
    // windows from the same scattered places, put back by a minimal client that sends Vantor's
    // requests; hotkey_over_floor_ms: what Vantor adds to it.
    // workspace_tab_open_500_ms: the window opened on the Workspaces tab with 500 stored
    // workspaces, until its first frame.
    void measureWorkspaceTab()
    {
        const auto container = ModelContainer::open(
            qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Vantor.sqlite"));
        if (!container)
            return fail("the store did not open");
        for (int i = 0; i < 500; ++i) {
            container->mainContext().insert(std::make_shared<Workspace>(QUuid::createUuid(),
                QStringLiteral("Workspace %1").arg(i), QDateTime::currentDateTime(), std::nullopt,
                QList<AppInfoPtr>()));
        }
        if (container->mainContext().save())
            return fail("500 workspaces could not be stored");
        std::vector<double> opens;
        std::vector<double> requests;
        if (!timeOpenings(opens, requests))
            return;
        report(QStringLiteral("workspace_tab_open_500_ms"), median(opens), QStringLiteral("ms"));
        closeMainWindow();
    }

    // settings_tab_open_50_ms: with 50 workspaces that have a shortcut, a click on the
    // Settings tab until the frame that shows it (its tab drawn as the chosen one).
    void measureSettingsTab()
    {
        if (!giveShortcutsToFirstWorkspaces(50))
            return fail("the shortcuts could not be written to the preferences file");
        FakeInput input;
        std::vector<double> switches;
        for (int run = 0; run < 3; ++run) {
            std::vector<double> opens;
            std::vector<double> requests;
            if (!timeOpenings(opens, requests))
                return;
            const WindowId window = mainWindow();
            const QRect frame = m_reader.outerFrames({window}).value(0);
            const auto start = std::chrono::steady_clock::now();
            // The Settings tab fills the right half of the tab bar; the client's top-left lies
            // inside the frame by the decorations, which the window's pixels are read without.
            input.click(QPointF(frame.right() - 100, frame.bottom() - 500 + 10));
            if (!pollUntil([&] { return m_reader.pixelAt(window, 700, 10) == kLightChosenTab; }, 10s, 1ms))
                return fail("the Settings tab did not show", m_vantor.describe());
            switches.push_back(msSince(start));
        }
        report(QStringLiteral("settings_tab_open_50_ms"), median(switches), QStringLiteral("ms"));
        closeMainWindow();
    }

    // Writes shortcuts for the first `count` stored workspaces into Vantor's preferences
    // file, as another process would: Control-Option and Control-Option-Shift with a letter.
    bool giveShortcutsToFirstWorkspaces(int count) const
    {
        const auto container = ModelContainer::open(
            qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Vantor.sqlite"));
        if (!container)
            return false;
        const QString path = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Vantor/preferences.json");
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        QJsonObject preferences = QJsonDocument::fromJson(file.readAll()).object();
        file.close();
        const QList<WorkspacePtr> workspaces = container->mainContext().fetchWorkspaces().value;
        for (int i = 0; i < count && i < workspaces.size(); ++i) {
            const int modifiers = 0x1000 | 0x800 | (i >= 25 ? 0x200 : 0); // Control, Option, Shift
            const QJsonObject shortcut{{QStringLiteral("carbonKeyCode"), i % 25}, {QStringLiteral("carbonModifiers"), modifiers}};
            preferences.insert(QStringLiteral("KeyboardShortcuts_workspaceShortcut_")
                    + workspaces.at(i)->id().toString(QUuid::WithoutBraces).toUpper(),
                QString::fromUtf8(QJsonDocument(shortcut).toJson(QJsonDocument::Compact)));
        }
        QSaveFile out(path);
        return out.open(QIODevice::WriteOnly) && out.write(QJsonDocument(preferences).toJson()) > 0
            && out.commit();
    }

    void measureHotkey()
    {
        const std::uint8_t one = m_reader.keycodeOf(0x31); // XK_1
        const std::uint8_t alt = m_reader.keycodeOf(0xffe9); // XK_Alt_L
        const std::uint8_t shift = m_reader.keycodeOf(0xffe1); // XK_Shift_L
        if (!one || !alt || !shift)
            return fail("no keycodes for Shift, Alt and 1");
        std::vector<double> times;
        std::vector<double> floor;
        for (int run = 0; run < kRuns; ++run) {
            if (!scatter())
                return fail("the windows could not be moved away");
            xdotool({QStringLiteral("keydown"), QStringLiteral("shift+alt+1")});
            m_settle.settleEvents();
            m_reader.releaseKeys({one, alt, shift});
            const auto released = std::chrono::steady_clock::now();
            if (!m_settle.waitUntilOn(targetsOfAllWindows(), 20s))
                return fail("the hotkey did not put every window back", m_vantor.describe());
            times.push_back(msSince(released));
            if (!scatter())
                return fail("the windows could not be moved away");
            m_settle.settleEvents();
            const auto sent = std::chrono::steady_clock::now();
            m_settle.placeLikeVantor(targetsOfAllWindows());
            if (!m_settle.waitUntilOn(targetsOfAllWindows(), 20s))
                return fail("the floor client did not put every window back");
            floor.push_back(msSince(sent));
        }
        const double hotkey = median(times);
        report(QStringLiteral("hotkey_to_last_placement_ms"), hotkey, QStringLiteral("ms"));
        report(QStringLiteral("hotkey_placement_floor_ms"), median(floor), QStringLiteral("ms"));
        report(QStringLiteral("hotkey_over_floor_ms"), hotkey - median(floor), QStringLiteral("ms"));
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
    SettleWatch m_settle;
    WindowId m_trayHost = 0;
    WindowOwners m_owners;
    QList<BenchApp> m_apps;
    VantorProcess m_vantor;
};

} // namespace

Group shellBenchmarks()
{
    return {"shell", [](TestDesktop& desktop) {
                // The executable built next to this bench (the release one in build/release).
                qputenv("VANTOR_EXECUTABLE", VANTOR_EXECUTABLE);
                qputenv("VANTOR_COLOR_SCHEME", "light");
                ShellBench(desktop).run();
            }};
}

} // namespace Bench

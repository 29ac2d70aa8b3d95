// The sway backend on a private headless sway (with XWayland): many windows placed through
// SwayWindowSystem against swaymsg run once per window, and a workspace hot key of the real
// tray app until its windows stand on their frames. Frames are read back from sway's own tree
// through a connection of the bench's own, never through Vantor's code.
//
// sway sends no event when a floating window moves or takes another size, so "placed" is
// read from get_tree, and only in a measurement's confirming step. After a placement whose
// answers the bench sees (SwayWindowSystem's, or swaymsg's), one read right after them shows
// the new frames (sway answers a command once its tree holds the result); another read
// follows after 1 ms while it does not. After a hot key, whose commands the tray app sends
// and sway answers to it alone, the tree is read from the key's release on every 2 ms, so
// that figure is known to about 2 ms. Each read of the tree (about 100 windows) costs sway
// and the bench a few milliseconds, counted in both sides of the placement comparison.
//
// A window that was placed a moment before may still draw at its previous size, and sway
// then gives a floating window that size back; so every placement, measured or not, starts
// from windows that stood still for 300 ms.
#include "Benchmarks.h"

#include "BenchSupport.h"
#include "Platform/Sway/SwayWindowSystem.h"
#include "SwayDesktop.h"
#include "VantorProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QSet>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace Bench {
namespace {

using namespace std::chrono_literals;
using Platform::WindowId;

constexpr int kPlacedWindows = 100;
constexpr int kPlaceRounds = 9;
constexpr int kHotkeyApps = 10;
constexpr int kHotkeyRounds = 9;
// Evdev code of the 1 key: the first workspace's hot key is Shift+Alt+1.
constexpr int kKeyOne = 2;
// How long a read that did not show every frame yet waits before the next one: after sway
// has answered the placement (the frames are expected at once), and while the tray app is
// acting on a hot key (no answers to wait for: the tree is read from the key's release on).
constexpr std::chrono::microseconds kReread = 1ms;
constexpr std::chrono::microseconds kHotkeyReread = 2ms;

void fail(const char* what, const QByteArray& details = {})
{
    std::fprintf(stderr, "vantor-bench sway: %s\n%s\n", what, details.constData());
}

// One window in sway's tree.
struct SwayWindow {
    WindowId id = 0; // con_id
    qint64 pid = 0;
    QRect frame; // outer frame, title bar included
    bool decorated = false; // its title bar has arrived
};

void collectWindows(const QJsonObject& node, QList<SwayWindow>* windows)
{
    const QString type = node.value(QLatin1String("type")).toString();
    const qint64 pid = node.value(QLatin1String("pid")).toInteger();
    if ((type == QLatin1String("con") || type == QLatin1String("floating_con")) && pid > 0) {
        windows->append({static_cast<WindowId>(node.value(QLatin1String("id")).toInteger()), pid,
            SwayDesktop::frameOfNode(node),
            node.value(QLatin1String("border")).toString() == QLatin1String("normal")});
    }
    for (const char* children : {"nodes", "floating_nodes"}) {
        for (const QJsonValue& child : node.value(QLatin1String(children)).toArray())
            collectWindows(child.toObject(), windows);
    }
}

// The app windows in the tree now, by PID (the bench's apps have one window each).
QHash<qint64, SwayWindow> windowsByPid(const SwayDesktop& desktop)
{
    QList<SwayWindow> windows;
    collectWindows(desktop.tree(), &windows);
    QHash<qint64, SwayWindow> byPid;
    for (const SwayWindow& window : std::as_const(windows))
        byPid.insert(window.pid, window);
    return byPid;
}

// Whether every window stands on its target (by con_id) in one read of the tree; the ones
// that do not are described in `misplaced`, when given.
bool allOn(const SwayDesktop& desktop, const QHash<WindowId, QRect>& targets,
    QByteArray* misplaced = nullptr)
{
    QList<SwayWindow> windows;
    collectWindows(desktop.tree(), &windows);
    qsizetype matching = 0;
    for (const SwayWindow& window : std::as_const(windows)) {
        const auto target = targets.constFind(window.id);
        if (target == targets.cend())
            continue;
        if (*target == window.frame) {
            ++matching;
        } else if (misplaced) {
            const QRect& f = window.frame;
            misplaced->append(QStringLiteral("window %1 at %2,%3 %4x%5, not %6,%7 %8x%9\n")
                                  .arg(window.id)
                                  .arg(f.x())
                                  .arg(f.y())
                                  .arg(f.width())
                                  .arg(f.height())
                                  .arg(target->x())
                                  .arg(target->y())
                                  .arg(target->width())
                                  .arg(target->height())
                                  .toUtf8());
        } else {
            return false;
        }
    }
    return matching == targets.size();
}

// Reads the tree now, and again after short waits until every window stands on its target.
bool confirmOn(const SwayDesktop& desktop, const QHash<WindowId, QRect>& targets,
    std::chrono::milliseconds timeout = 10s, std::chrono::microseconds reread = kReread)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!allOn(desktop, targets)) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QThread::usleep(reread.count());
    }
    return true;
}

// The sway command that floats a window onto a frame, as a shell user writes it: the
// position again after the size, since sway keeps a floating window's centre as it resizes.
QString placementCommand(WindowId window, const QRect& frame)
{
    const QString position
        = QStringLiteral("move absolute position %1 %2").arg(frame.x()).arg(frame.y());
    return QStringLiteral("[con_id=%1] floating enable, %2, resize set %3 %4, %2")
        .arg(window)
        .arg(position)
        .arg(frame.width())
        .arg(frame.height());
}

// Places every window with one request of commands, and resends it until the tree shows
// them all and still does 300 ms later (a window that has just mapped or was placed just
// before may still answer an earlier configure); for the set-up only.
bool placeAll(const SwayDesktop& desktop, const QHash<WindowId, QRect>& targets,
    QByteArray* misplaced = nullptr)
{
    for (int attempt = 0; attempt < 5; ++attempt) {
        QStringList commands;
        for (auto it = targets.cbegin(); it != targets.cend(); ++it)
            commands.append(placementCommand(it.key(), it.value()));
        if (!desktop.command(commands.join(QStringLiteral("; "))))
            return false;
        // A late buffer of the size a window had before may still undo a placement.
        if (pollUntil([&] { return allOn(desktop, targets); }, 1s, 20ms)) {
            QThread::msleep(300);
            if (allOn(desktop, targets))
                return true;
        }
    }
    if (misplaced)
        allOn(desktop, targets, misplaced);
    return false;
}

// Starts the apps all at once and waits, by sway's window events, for a window of each, then
// for their title bars. The PIDs in the order of `arguments`; empty when one did not come.
QList<qint64> startApps(SwayDesktop& desktop, const QString& program,
    const QList<QStringList>& arguments, std::chrono::milliseconds timeout)
{
    const auto events = desktop.subscribe({QStringLiteral("window")});
    if (!events)
        return {};
    QList<qint64> pids;
    for (const QStringList& appArguments : arguments)
        pids.append(desktop.startProcess(program, appArguments)->processId());
    QSet<qint64> waiting(pids.cbegin(), pids.cend());
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!waiting.isEmpty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const auto event = events->nextEvent(std::max(left, 0ms));
        if (!event)
            return {};
        if (event->kind == QLatin1String("window")
            && event->body.value(QLatin1String("change")).toString() == QLatin1String("new"))
            waiting.remove(event->body.value(QLatin1String("container"))
                               .toObject()
                               .value(QLatin1String("pid"))
                               .toInteger());
    }
    const bool decorated = pollUntil(
        [&] {
            const QHash<qint64, SwayWindow> windows = windowsByPid(desktop);
            return std::all_of(pids.cbegin(), pids.cend(),
                [&](qint64 pid) { return windows.value(pid).decorated; });
        },
        timeout, 20ms);
    return decorated ? pids : QList<qint64>{};
}

class SwayBench {
public:
    explicit SwayBench(SwayDesktop& desktop) : m_desktop(desktop) { }

    ~SwayBench()
    {
        m_vantor.kill();
        if (!m_home.isEmpty())
            QDir(m_home).removeRecursively();
    }

    void run()
    {
        measurePlacement();
        measureHotkey();
    }

private:
    // Window i's frame of a round's variant: 100 frames on a 10 by 10 grid, each of its own
    // size, all on the 1280 by 720 screen; every variant moves and sizes every window anew.
    static QRect gridFrame(int i, int variant)
    {
        return {(i % 10) * 112 + variant * 3, (i / 10) * 60 + variant * 2,
            140 + (i * 3) % 40 + variant, 110 + (i * 7) % 30 + variant};
    }

    // sway_place_100_windows_settled_ms: SwayWindowSystem::placeWindows with one placement
    // per window of 100 floating, settled xlogo windows (each to a new frame), then
    // finishPlacements() (every command answered), until one read of sway's tree shows every
    // frame (re-read after 1 ms while it does not). sway_swaymsg_loop_100_windows_ms: the
    // same placement by one `swaymsg` process per window, one after the other as a shell
    // loop runs them, confirmed the same way. Rounds alternate between the two; the figures
    // are medians, sway_place_speedup is the ratio of the medians (loop / Vantor).
    void measurePlacement()
    {
        QList<QStringList> arguments;
        for (int i = 0; i < kPlacedWindows; ++i)
            arguments.append(QStringList{});
        const QList<qint64> pids = startApps(m_desktop, QStringLiteral("xlogo"), arguments, 60s);
        if (pids.isEmpty())
            return fail("the 100 xlogo windows did not show up");
        QList<WindowId> ids;
        const QHash<qint64, SwayWindow> windows = windowsByPid(m_desktop);
        for (const qint64 pid : pids)
            ids.append(windows.value(pid).id);
        const auto targetsOf = [&](int variant) {
            QHash<WindowId, QRect> targets;
            for (int i = 0; i < ids.size(); ++i)
                targets.insert(ids[i], gridFrame(i, variant));
            return targets;
        };
        if (!placeAll(m_desktop, targetsOf(0)))
            return fail("the 100 windows could not be given their start frames");

        Platform::Sway::SwayWindowSystem windowSystem(m_desktop.ipcSocket());
        const QProcessEnvironment environment = m_desktop.environment();
        std::vector<double> vantor;
        std::vector<double> loop;
        int variant = 0;
        // The previous placement has had time to draw, and still holds.
        const auto settled = [&] {
            QThread::msleep(300);
            return allOn(m_desktop, targetsOf(variant));
        };
        for (int round = 0; round < kPlaceRounds; ++round) {
            if (!settled())
                return fail("the windows did not stay on their frames");
            ++variant;
            const QHash<WindowId, QRect> targets = targetsOf(variant);
            QList<Platform::WindowSystem::Placement> placements;
            for (int i = 0; i < ids.size(); ++i) {
                const QRect frame = gridFrame(i, variant);
                placements.append({{ids[i]},
                    Frame{double(frame.x()), double(frame.y()), double(frame.width()),
                        double(frame.height())}});
            }
            const auto start = std::chrono::steady_clock::now();
            windowSystem.placeWindows(placements);
            windowSystem.finishPlacements();
            if (!confirmOn(m_desktop, targets))
                return fail("SwayWindowSystem did not place every window");
            vantor.push_back(msSince(start));

            if (!settled())
                return fail("the windows did not stay on their frames");
            ++variant;
            const QHash<WindowId, QRect> loopTargets = targetsOf(variant);
            QStringList commands;
            for (int i = 0; i < ids.size(); ++i)
                commands.append(placementCommand(ids[i], gridFrame(i, variant)));
            QProcess swaymsg;
            swaymsg.setProcessEnvironment(environment);
            const auto loopStart = std::chrono::steady_clock::now();
            for (const QString& command : std::as_const(commands)) {
                swaymsg.start(QStringLiteral("swaymsg"), {command});
                if (!swaymsg.waitForFinished(5000) || swaymsg.exitCode() != 0)
                    return fail("swaymsg failed", swaymsg.readAll());
            }
            if (!confirmOn(m_desktop, loopTargets))
                return fail("the swaymsg loop did not place every window");
            loop.push_back(msSince(loopStart));
        }
        const double ours = median(vantor);
        const double theirs = median(loop);
        report(QStringLiteral("sway_place_100_windows_settled_ms"), ours, QStringLiteral("ms"));
        report(QStringLiteral("sway_swaymsg_loop_100_windows_ms"), theirs, QStringLiteral("ms"));
        report(QStringLiteral("sway_place_speedup"), theirs / ours, QStringLiteral("x"));
        for (const qint64 pid : pids)
            m_desktop.stopApp(pid);
    }

    // A home of the bench's own for the tray app and the command line, with a desktop entry
    // per app: each xlogo has its own instance name (-name), which its entry's StartupWMClass
    // names, so that the ten are ten apps of one window each.
    bool prepareHome()
    {
        m_home = QDir::tempPath()
            + QStringLiteral("/vantor-bench-sway-%1").arg(QCoreApplication::applicationPid());
        QDir(m_home).removeRecursively();
        const QString applications = m_home + QStringLiteral("/data/applications/");
        if (!QDir().mkpath(applications) || !QDir().mkpath(m_home + QStringLiteral("/config"))
            || !QDir().mkpath(m_home + QStringLiteral("/cache")))
            return false;
        m_environment = m_desktop.environment();
        m_environment.insert(QStringLiteral("HOME"), m_home);
        m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/config"));
        m_environment.insert(QStringLiteral("XDG_DATA_HOME"), m_home + QStringLiteral("/data"));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_home + QStringLiteral("/cache"));
        for (int i = 0; i < kHotkeyApps; ++i) {
            QFile entry(applications + QStringLiteral("bench-logo-%1.desktop").arg(i));
            const QByteArray instance = "benchlogo" + QByteArray::number(i);
            if (!entry.open(QIODevice::WriteOnly)
                || entry.write("[Desktop Entry]\nType=Application\nName=Bench Logo "
                       + QByteArray::number(i) + "\nExec=xlogo -name " + instance
                       + "\nStartupWMClass=" + instance + "\n")
                    < 0)
                return false;
        }
        return true;
    }

    // Each app's frame for this screen as Vantor stored it, by the app's index.
    std::optional<QList<QRect>> storedFrames()
    {
        const VantorRun shown = VantorProcess::run(
            {QStringLiteral("show"), kWorkspace, QStringLiteral("--json")}, 30s, m_environment);
        const QList<QRect> frames
            = Bench::storedFrames(shown.standardOutput, kHotkeyApps, QSize(1280, 720));
        if (frames.isEmpty()) {
            fail("the workspace does not hold the ten apps", shown.describe());
            return std::nullopt;
        }
        if (frames.contains(QRect())) {
            fail("an app has no frame for 1280x720", shown.describe());
            return std::nullopt;
        }
        return frames;
    }

    // sway_hotkey_to_placed_ms: the tray app holds a workspace of ten xlogo apps (one
    // floating window each, captured where they stood); the windows are scattered with sway
    // commands, Shift+Alt+1 is pressed and released through a virtual keyboard (wtype), and
    // the clock runs from wtype's exit (the release sent) until the read of sway's tree that
    // shows all ten windows at their stored frames (read every 2 ms). The median of the rounds.
    void measureHotkey()
    {
        if (!prepareHome())
            return fail("no home for the tray app");
        QList<QStringList> arguments;
        for (int i = 0; i < kHotkeyApps; ++i)
            arguments.append({QStringLiteral("-name"), QStringLiteral("benchlogo%1").arg(i)});
        const QList<qint64> pids = startApps(m_desktop, QStringLiteral("xlogo"), arguments, 20s);
        if (pids.isEmpty())
            return fail("the ten xlogo windows did not show up");
        const QHash<qint64, SwayWindow> windows = windowsByPid(m_desktop);
        QList<WindowId> ids;
        QHash<WindowId, QRect> homes;
        for (int i = 0; i < kHotkeyApps; ++i) {
            const SwayWindow window = windows.value(pids[i]);
            ids.append(window.id);
            homes.insert(window.id, QRect((i % 5) * 256, (i / 5) * 360, 240, 340));
        }
        if (QByteArray misplaced; !placeAll(m_desktop, homes, &misplaced))
            return fail("the ten windows could not be given their frames", misplaced);

        QStringList capture{QStringLiteral("capture"), kWorkspace};
        for (int i = 0; i < kHotkeyApps; ++i)
            capture.append(QStringLiteral("bench-logo-%1").arg(i));
        const VantorRun captured = VantorProcess::run(capture, 30s, m_environment);
        if (!captured.exitedWith(0))
            return fail("vantor capture failed", captured.describe());
        const auto stored = storedFrames();
        if (!stored)
            return;
        QHash<WindowId, QRect> targets;
        for (int i = 0; i < kHotkeyApps; ++i)
            targets.insert(ids[i], stored->at(i));

        if (!m_vantor.start({}, m_environment))
            return fail("the tray app did not start");
        if (!m_vantor.waitForLines(QStringLiteral("✅ Registered shortcut for ") + kWorkspace
                    + QStringLiteral(" at slot 0"),
                1, 30s))
            return fail("the workspace's hot key was not registered", m_vantor.describe());

        std::vector<double> times;
        for (int round = 0; round < kHotkeyRounds; ++round) {
            QHash<WindowId, QRect> scattered;
            for (int i = 0; i < kHotkeyApps; ++i)
                scattered.insert(ids[i],
                    QRect(300 + (i * 67 + round * 13) % 600, 150 + (i * 41 + round * 7) % 300,
                        200 + round * 3, 150 + round * 2));
            // The windows have drawn at their stored frames first.
            QThread::msleep(300);
            if (QByteArray misplaced; !placeAll(m_desktop, scattered, &misplaced))
                return fail("the windows could not be scattered", misplaced);
            if (!m_desktop.pressPhysicalKey(kKeyOne, Qt::ShiftModifier | Qt::AltModifier))
                return fail("wtype failed");
            const auto released = std::chrono::steady_clock::now();
            if (!confirmOn(m_desktop, targets, 20s, kHotkeyReread))
                return fail("the hot key did not put every window back", m_vantor.describe());
            times.push_back(msSince(released));
        }
        report(QStringLiteral("sway_hotkey_to_placed_ms"), median(times), QStringLiteral("ms"));
        if (!m_vantor.terminate() || !m_vantor.exitedWith(0))
            fail("the tray app did not quit cleanly on SIGTERM", m_vantor.describe());
    }

    const QString kWorkspace = QStringLiteral("Bench");
    SwayDesktop& m_desktop;
    QString m_home;
    QProcessEnvironment m_environment;
    VantorProcess m_vantor;
};

} // namespace

Group swayBenchmarks()
{
    return {"sway", [](TestDesktop&) {
                // A desktop of its own; without sway there is nothing to measure here.
                SwayDesktop desktop(SwayDesktop::Options{
                    {QStringLiteral("for_window [class=\"XLogo\"] floating enable")}});
                if (!desktop.isReady()) {
                    std::fprintf(stderr, "vantor-bench sway: skipped, no sway desktop: %s\n",
                        qPrintable(desktop.errorString()));
                    return;
                }
                qputenv("VANTOR_EXECUTABLE", VANTOR_EXECUTABLE);
                SwayBench(desktop).run();
            }};
}

} // namespace Bench

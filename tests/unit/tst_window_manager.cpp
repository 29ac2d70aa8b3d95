#include "Platform/Processes.h"
#include "Platform/X11/FrameMath.h"
#include "Platform/X11/MainScreen.h"
#include "Platform/X11/X11WindowSystem.h"
#include "Util/WindowManager.h"

#include "ConsoleCapture.h"
#include "FakeDesktop.h"
#include "TestMain.h"

#include <QSet>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using Platform::WindowInfo;
using Platform::WindowKind;
using namespace Platform::X11;
using Platform::processExists;

namespace {

constexpr Platform::ProcessId editorPid = 4242;

Platform::RunningApplication editor()
{
    Platform::RunningApplication application;
    application.processIdentifier = editorPid;
    application.bundleIdentifier = QStringLiteral("org.example.Editor");
    application.localizedName = QStringLiteral("Editor");
    return application;
}

QList<Frame> framesOf(const QList<AppLayoutPtr>& layouts)
{
    QList<Frame> frames;
    for (const AppLayoutPtr& layout : layouts)
        frames.append(layout->frame());
    return frames;
}

// Answers a different screen on every question, to show when the screen is read.
class ChangingScreen final : public Platform::WindowSystem {
public:
    explicit ChangingScreen(FakeWindowSystem& windows) : m_windows(windows) { }
    int screenReads = 0;

    bool canControlWindows() override { return true; }
    ScreenSize mainScreenSize() override
    {
        ++screenReads;
        return {1000.0 + screenReads, 700};
    }
    std::optional<QList<WindowInfo>> managedWindows() override
    {
        return m_windows.managedWindows();
    }
    QList<std::optional<QList<Platform::WindowId>>> windowsOfProcesses(
        const QList<Platform::ProcessId>& pids, int) override
    {
        return QList<std::optional<QList<Platform::WindowId>>>(pids.size());
    }
    void placeWindows(const QList<Placement>&) override { }
    void finishPlacements() override { }
    std::unique_ptr<Platform::WindowWatch> watchNewWindows(WindowShown) override { return nullptr; }
    void holdFrames(
        const QList<Platform::WindowId>&, const Frame&, std::chrono::milliseconds) override
    {
    }

private:
    FakeWindowSystem& m_windows;
};

pid_t exitedChild(bool reap)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    if (reap)
        ::waitpid(child, nullptr, 0);
    else
        ::waitid(P_PID, static_cast<id_t>(child), nullptr, WEXITED | WNOWAIT);
    return child;
}

} // namespace

class WindowManagerTest : public QObject {
    Q_OBJECT

private:
    FakeWindowSystem m_windows;
    FakeApplications m_applications;

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_windows = FakeWindowSystem();
    }

    void capturesEveryOnScreenNormalWindowFrontToBack()
    {
        m_windows.addWindow(editorPid, {10, 20, 800, 600});
        m_windows.addWindow(editorPid, {30, 40, 640, 480}).kind = WindowKind::Dialog;
        const WindowManager manager(m_windows, m_applications);

        const QList<AppLayoutPtr> layouts = manager.getAppLayout(editor());

        QCOMPARE(layouts.size(), 2);
        QCOMPARE(framesOf(layouts), (QList<Frame>{{10, 20, 800, 600}, {30, 40, 640, 480}}));
        for (const AppLayoutPtr& layout : layouts) {
            QCOMPARE(layout->screenSize(), (ScreenSize{1920, 1080}));
            QVERIFY(!layout->app());
            QVERIFY(!layout->id().isNull());
        }
        QVERIFY(layouts[0]->id() != layouts[1]->id());
    }

    void skipsWindowsOfOtherProcessesLayersAndStates()
    {
        m_windows.addWindow(editorPid + 1, {0, 0, 100, 100});
        m_windows.addWindow(editorPid, {0, 0, 100, 100}).isOnScreen = false; // minimised
        m_windows.addWindow(editorPid, {0, 0, 100, 100}).isNormalLayer = false; // kept above
        m_windows.addWindow(editorPid, {0, 0, 100, 100}).kind = WindowKind::Other; // a dock
        m_windows.addWindow(editorPid, {5, 6, 70, 80});
        const WindowManager manager(m_windows, m_applications);

        QCOMPARE(framesOf(manager.getAppLayout(editor())), (QList<Frame>{{5, 6, 70, 80}}));
    }

    void skipsEmptyFrames_data()
    {
        QTest::addColumn<Frame>("frame");
        QTest::newRow("no width") << Frame{10, 10, 0, 300};
        QTest::newRow("no height") << Frame{10, 10, 300, 0};
        QTest::newRow("negative width") << Frame{10, 10, -5, 300};
        QTest::newRow("nothing") << Frame{};
    }

    void skipsEmptyFrames()
    {
        QFETCH(Frame, frame);
        m_windows.addWindow(editorPid, frame);
        const WindowManager manager(m_windows, m_applications);
        QVERIFY(manager.getAppLayout(editor()).isEmpty());
    }

    void withoutMainScreenLayoutsCarryZeroSize()
    {
        m_windows.screen = {};
        m_windows.addWindow(editorPid, {1, 2, 3, 4});
        const WindowManager manager(m_windows, m_applications);

        const QList<AppLayoutPtr> layouts = manager.getAppLayout(editor());

        QCOMPARE(layouts.size(), 1);
        QCOMPARE(layouts[0]->screenWidth(), 0.0);
        QCOMPARE(layouts[0]->screenHeight(), 0.0);
    }

    void readsTheScreenForEveryWindowKept()
    {
        m_windows.addWindow(editorPid, {0, 0, 10, 10});
        m_windows.addWindow(editorPid, {0, 0, 0, 10});
        m_windows.addWindow(editorPid, {0, 0, 20, 20});
        ChangingScreen windowSystem(m_windows);
        const WindowManager manager(windowSystem, m_applications);

        const QList<AppLayoutPtr> layouts = manager.getAppLayout(editor());

        QCOMPARE(windowSystem.screenReads, 2);
        QCOMPARE(layouts[0]->screenWidth(), 1001.0);
        QCOMPARE(layouts[1]->screenWidth(), 1002.0);
    }

    void placesEveryWindowOnTheSameFrame()
    {
        for (int i = 0; i < 3; ++i)
            m_windows.addWindow(editorPid, {i * 10.0, 0, 100, 100});
        m_windows.addWindow(editorPid + 1, {0, 0, 100, 100});
        const WindowManager manager(m_windows, m_applications);
        ConsoleCapture console;

        manager.setWindowPosition(editorPid, {12.5, 34}, {640, 480});

        QCOMPARE(m_windows.placements.size(), 1);
        const PlacementRequest& request = m_windows.placements.first();
        QCOMPARE(request.windows, (QList<Platform::WindowId>{1, 2, 3}));
        QCOMPARE(request.position, QPointF(12.5, 34));
        QCOMPARE(request.size, QSizeF(640, 480));
        QVERIFY(console.lines().isEmpty());
    }

    void placesAtMostTheFirstHundredWindows()
    {
        for (int i = 0; i < 101; ++i)
            m_windows.addWindow(editorPid, {0, 0, 100, 100});
        const WindowManager manager(m_windows, m_applications);

        manager.setWindowPosition(editorPid, {0, 0}, {10, 10});

        const QList<Platform::WindowId> placed = m_windows.placements.value(0).windows;
        QCOMPARE(placed.size(), 100);
        QCOMPARE(placed.first(), Platform::WindowId{1});
        QCOMPARE(placed.last(), Platform::WindowId{100});
    }

    void unreadableWindowListIsReported()
    {
        m_windows.unreadableProcesses = {editorPid};
        const WindowManager manager(m_windows, m_applications);
        ConsoleCapture console;

        manager.setWindowPosition(editorPid, {0, 0}, {10, 10});

        QCOMPARE(
            console.lines(), QStringList{QStringLiteral("Could not retrieve windows for 4242.")});
        QVERIFY(m_windows.placements.isEmpty());
    }

    void processWithoutWindowsIsLeftSilently()
    {
        const WindowManager manager(m_windows, m_applications);
        ConsoleCapture console;

        manager.setWindowPosition(editorPid, {0, 0}, {10, 10});

        QVERIFY(console.lines().isEmpty());
        for (const PlacementRequest& request : std::as_const(m_windows.placements))
            QVERIFY(request.windows.isEmpty());
    }

    void withoutDisplayTheWindowSystemIsEmpty()
    {
        QVERIFY(qEnvironmentVariableIsEmpty("DISPLAY"));
        const auto windowSystem = Platform::createWindowSystem();
        QVERIFY(windowSystem);
        QVERIFY(!windowSystem->canControlWindows());
        QCOMPARE(windowSystem->mainScreenSize(), (ScreenSize{0, 0}));
        QVERIFY(!windowSystem->managedWindows());
        QVERIFY(!windowSystem->windowsOfProcess(::getpid(), 100));
        windowSystem->setWindowFrames({1, 2}, {0, 0}, {10, 10});

        const WindowManager manager(*windowSystem, m_applications);
        Platform::RunningApplication self = editor();
        self.processIdentifier = ::getpid();
        QVERIFY(manager.getAppLayout(self).isEmpty());
        ConsoleCapture console;
        manager.setWindowPosition(::getpid(), {0, 0}, {10, 10});
        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Could not retrieve windows for %1.").arg(::getpid())});
    }

    void processExistenceFollowsTheKernel()
    {
        QVERIFY(processExists(::getpid()));
        QVERIFY(processExists(1)); // not ours to signal, but it runs
        QVERIFY(!processExists(0));
        QVERIFY(!processExists(-1));
        QVERIFY(!processExists(exitedChild(true)));
        const pid_t zombie = exitedChild(false);
        QVERIFY(!processExists(zombie));
        ::waitpid(zombie, nullptr, 0);
    }

    void visibleFrameAddsDecorationsAndRemovesShadows()
    {
        const Extents openbox{1, 1, 20, 5};
        QCOMPARE(visibleFrame({101, 220, 200, 150}, visibleExtents(openbox, {})),
            (Frame{100, 200, 202, 175}));
        const Extents shadows{23, 23, 15, 31};
        QCOMPARE(visibleFrame({300, 300, 446, 346}, visibleExtents({}, shadows)),
            (Frame{323, 315, 400, 300}));
    }

    void moveResizeRestoresTheVisibleFrame_data()
    {
        QTest::addColumn<Extents>("decorations");
        QTest::addColumn<Extents>("shadows");
        QTest::newRow("server-side decorations") << Extents{1, 1, 20, 5} << Extents{};
        QTest::newRow("client-side decorations") << Extents{} << Extents{23, 23, 15, 31};
        QTest::newRow("undecorated") << Extents{} << Extents{};
    }

    void moveResizeRestoresTheVisibleFrame()
    {
        QFETCH(Extents, decorations);
        QFETCH(Extents, shadows);
        const Frame target{-40, 25, 640, 480};

        const MoveResize request = moveResizeFor(target, decorations, shadows);

        // The window manager puts its frame's outer corner on (frameX, frameY) and gives the
        // client the requested size; the client sits inside the decorations.
        const Rect client{request.frameX + decorations.left, request.frameY + decorations.top,
            request.clientWidth, request.clientHeight};
        QCOMPARE(visibleFrame(client, visibleExtents(decorations, shadows)), target);
    }

    void moveResizeRoundsAndKeepsAClient()
    {
        const MoveResize request = moveResizeFor({10.4, 20.6, 5, 3}, {1, 1, 20, 5}, {});
        QCOMPARE(request.frameX, 10);
        QCOMPARE(request.frameY, 21);
        QCOMPARE(request.clientWidth, 3);
        QCOMPARE(request.clientHeight, 1);
    }

    void mainMonitorHoldsMostOfTheFocusedWindow()
    {
        const QList<Monitor> monitors{{{0, 0, 1920, 1080}, true}, {{1920, 0, 2560, 1440}, false}};
        QCOMPARE(chooseMainMonitor(monitors, Frame{1800, 100, 400, 300})->area.width, 2560.0);
        QCOMPARE(chooseMainMonitor(monitors, Frame{1700, 100, 400, 300})->area.width, 1920.0);
        // Without a focused window, or with one off every monitor: the primary monitor.
        QCOMPARE(chooseMainMonitor(monitors, std::nullopt)->area.width, 1920.0);
        QCOMPARE(chooseMainMonitor(monitors, Frame{-900, -900, 100, 100})->area.width, 1920.0);
        // Without a primary monitor: none, and the whole root counts.
        QVERIFY(!chooseMainMonitor({{{0, 0, 800, 600}, false}}, std::nullopt));
        QVERIFY(!chooseMainMonitor({}, Frame{0, 0, 10, 10}));
    }
};

VANTOR_UNIT_TEST_MAIN(WindowManagerTest)
#include "tst_window_manager.moc"

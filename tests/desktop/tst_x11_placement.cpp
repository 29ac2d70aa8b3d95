#include "Util/WindowManager.h"

#include "ConsoleCapture.h"
#include "FakeDesktop.h"
#include "TestMain.h"
#include "WindowTruth.h"

#include <QWidget>

#include <memory>
#include <unistd.h>

using namespace WindowTruth;

namespace {

// Top-level widgets of the test process itself: one process with several windows.
class OwnWindows {
public:
    explicit OwnWindows(int count)
    {
        for (int i = 0; i < count; ++i) {
            auto widget = std::make_unique<QWidget>();
            widget->setGeometry(50 + 150 * i, 80 + 40 * i, 220 + 10 * i, 160 + 10 * i);
            widget->show();
            m_widgets.push_back(std::move(widget));
        }
    }
    Platform::WindowId id(int i) const { return m_widgets[static_cast<std::size_t>(i)]->winId(); }
    bool areManaged(const XProbe& probe) const
    {
        const QList<std::uint32_t> managed = probe.clientWindows();
        for (const auto& widget : m_widgets) {
            if (widget && !managed.contains(static_cast<std::uint32_t>(widget->winId())))
                return false;
        }
        return true;
    }
    void destroy(int i) { m_widgets[static_cast<std::size_t>(i)].reset(); }

private:
    std::vector<std::unique_ptr<QWidget>> m_widgets;
};

} // namespace

// Placement on a real desktop: windows are disturbed with xdotool and wmctrl, placed by
// Vantor, and their frames read back with xwininfo and xprop.
class X11PlacementTest : public QObject {
    Q_OBJECT

private:
    TestDesktop& m_desktop = *TestDesktop::instance();
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();
    FakeApplications m_applications;
    WindowManager m_manager{*m_windowSystem, m_applications};

    // The one layout captured for the process; an empty frame unless there is exactly one.
    Frame capturedFrame(qint64 pid) const
    {
        const QList<AppLayoutPtr> layouts = m_manager.getAppLayout(applicationWithPid(pid));
        return layouts.size() == 1 ? layouts[0]->frame() : Frame{};
    }

    void place(qint64 pid, const Frame& frame) const
    {
        m_manager.setWindowPosition(
            static_cast<Platform::ProcessId>(pid), frame.position(), frame.size());
    }

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void capturedFramesComeBackExactly_data()
    {
        QTest::addColumn<QString>("program");
        QTest::newRow("xclock") << "xclock";
        QTest::newRow("xeyes") << "xeyes";
        QTest::newRow("xlogo") << "xlogo";
    }

    void capturedFramesComeBackExactly()
    {
        QFETCH(QString, program);
        const qint64 pid = m_desktop.startApp(program, geometry(QStringLiteral("230x170+310+240")));
        QVERIFY(pid > 0);
        const Platform::WindowId window = onlyWindowOf(pid);
        const QList<AppLayoutPtr> captured = m_manager.getAppLayout(applicationWithPid(pid));
        QCOMPARE(captured.size(), 1);
        const Frame frame = captured[0]->frame();
        QCOMPARE(frameOf(window), frame);

        moveAway(window, 900, 600, 400, 300);
        QTRY_VERIFY(frameOf(window) != frame);
        place(pid, frame);

        QTRY_COMPARE(frameOf(window), frame);
        const QList<AppLayoutPtr> again = m_manager.getAppLayout(applicationWithPid(pid));
        QCOMPARE(again.size(), 1);
        QCOMPARE(again[0]->frame(), frame);
        m_desktop.stopApp(pid);
    }

    // A client-side-decorated window draws invisible shadows inside its client area and
    // says how wide they are; they belong neither to the captured nor to the placed frame.
    void clientSideShadowsAreLeftOutAndRestored()
    {
        const qint64 pid = m_desktop.startApp(
            QStringLiteral("xlogo"), geometry(QStringLiteral("300x250+200+150")));
        const Platform::WindowId window = onlyWindowOf(pid);
        run(QStringLiteral("xprop"),
            {QStringLiteral("-id"), hex(window), QStringLiteral("-f"),
                QStringLiteral("_GTK_FRAME_EXTENTS"), QStringLiteral("32c"), QStringLiteral("-set"),
                QStringLiteral("_GTK_FRAME_EXTENTS"), QStringLiteral("10, 12, 14, 16")});
        const Frame outer = frameOf(window);
        const Frame visible{outer.x + 10, outer.y + 14, outer.width - 22, outer.height - 30};
        QTRY_COMPARE(capturedFrame(pid), visible);

        moveAway(window, 800, 500, 200, 200);
        QTRY_VERIFY(frameOf(window) != outer);
        place(pid, visible);

        QTRY_COMPARE(frameOf(window), outer);
        QCOMPARE(capturedFrame(pid), visible);
        m_desktop.stopApp(pid);
    }

    void xtermKeepsItsPositionAndCellSize()
    {
        const qint64 pid
            = m_desktop.startApp(QStringLiteral("xterm"), geometry(QStringLiteral("80x24+20+30")));
        QVERIFY(pid > 0);
        const Platform::WindowId window = onlyWindowOf(pid);
        const QSize step = resizeIncrement(window);
        const Frame target{333, 222, 600, 400};

        place(pid, target);

        QTRY_COMPARE(frameOf(window).position(), target.position());
        const Frame placed = frameOf(window);
        QVERIFY2(std::abs(placed.width - target.width) < step.width(),
            qPrintable(QString::number(placed.width)));
        QVERIFY2(std::abs(placed.height - target.height) < step.height(),
            qPrintable(QString::number(placed.height)));
        m_desktop.stopApp(pid);
    }

    void everyWindowOfTheProcessLandsOnTheSameFrame()
    {
        OwnWindows windows(3);
        QTRY_VERIFY(windows.areManaged(m_desktop.probe()));
        const Frame target{420, 180, 500, 350};

        place(::getpid(), target);

        for (int i = 0; i < 3; ++i)
            QTRY_COMPARE(frameOf(windows.id(i)), target);
    }

    void maximizedWindowIsPlacedToo()
    {
        const qint64 pid = m_desktop.startApp(
            QStringLiteral("xclock"), geometry(QStringLiteral("150x150+60+60")));
        const Platform::WindowId window = onlyWindowOf(pid);
        wmctrl(window, QStringLiteral("add,maximized_vert,maximized_horz"));
        QTRY_COMPARE(frameOf(window).width, 1920.0);
        const Frame target{700, 300, 420, 310};

        place(pid, target);
        // Nothing waits for the window manager: the window is placed from the event loop
        // once it has left the maximized state.
        QVERIFY(frameOf(window) != target);

        QTRY_COMPARE(frameOf(window), target);
        QVERIFY(
            !xprop(window, QStringLiteral("_NET_WM_STATE")).contains(QLatin1String("MAXIMIZED")));
        m_desktop.stopApp(pid);
    }

    void fullscreenWindowIsPlacedToo()
    {
        const qint64 pid = m_desktop.startApp(
            QStringLiteral("xlogo"), geometry(QStringLiteral("150x150+60+60")));
        const Platform::WindowId window = onlyWindowOf(pid);
        wmctrl(window, QStringLiteral("add,fullscreen"));
        QTRY_COMPARE(frameOf(window).height, 1080.0);
        const Frame target{100, 500, 300, 200};

        place(pid, target);

        QTRY_COMPARE(frameOf(window), target);
        m_desktop.stopApp(pid);
    }

    void vanishedWindowLeavesTheOthersPlaced()
    {
        OwnWindows windows(3);
        QTRY_VERIFY(windows.areManaged(m_desktop.probe()));
        const auto listed = m_windowSystem->windowsOfProcess(::getpid(), 100);
        QVERIFY(listed && listed->size() == 3);
        const Platform::WindowId gone = windows.id(1);
        windows.destroy(1);
        QTRY_VERIFY(!m_desktop.probe().clientWindows().contains(static_cast<std::uint32_t>(gone)));
        const Frame target{250, 260, 330, 240};

        m_windowSystem->setWindowFrames(*listed, target.position(), target.size());

        QTRY_COMPARE(frameOf(windows.id(0)), target);
        QTRY_COMPARE(frameOf(windows.id(2)), target);
        QVERIFY(m_windowSystem->canControlWindows()); // the connection survived the errors
    }

    void listsTheProcessWindowsInClientListOrderUpToTheLimit()
    {
        OwnWindows windows(3);
        QTRY_VERIFY(windows.areManaged(m_desktop.probe()));
        QList<Platform::WindowId> expected;
        for (std::uint32_t window : m_desktop.probe().clientWindowsOf(::getpid()))
            expected.append(window);

        QCOMPARE(m_windowSystem->windowsOfProcess(::getpid(), 100), expected);
        QCOMPARE(m_windowSystem->windowsOfProcess(::getpid(), 2), expected.mid(0, 2));
    }

    // A window manager that does not take _NET_MOVERESIZE_WINDOW gets ConfigureWindow
    // requests, which it places by the ICCCM rules; openbox is made to say so.
    void withoutMoveResizeSupportWindowsAreConfigured()
    {
        const QString supported = run(
            QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTED")})
                                      .section(u'=', 1)
                                      .trimmed();
        QVERIFY(supported.contains(QLatin1String("_NET_MOVERESIZE_WINDOW")));
        const auto setSupported = [](const QString& atoms) {
            run(QStringLiteral("xprop"),
                {QStringLiteral("-root"), QStringLiteral("-f"), QStringLiteral("_NET_SUPPORTED"),
                    QStringLiteral("32a"), QStringLiteral("-set"), QStringLiteral("_NET_SUPPORTED"),
                    atoms});
        };
        QStringList reduced = supported.split(QStringLiteral(", "));
        reduced.removeAll(QStringLiteral("_NET_MOVERESIZE_WINDOW"));
        setSupported(reduced.join(u','));
        const qint64 pid = m_desktop.startApp(
            QStringLiteral("xlogo"), geometry(QStringLiteral("150x150+60+60")));
        const Frame target{480, 330, 260, 190};

        place(pid, target);

        QTRY_COMPARE(frameOf(onlyWindowOf(pid)), target);
        setSupported(supported.split(QStringLiteral(", ")).join(u','));
        m_desktop.stopApp(pid);
    }

    void exitedProcessIsReported()
    {
        const qint64 pid = m_desktop.startApp(QStringLiteral("xlogo"));
        QVERIFY(pid > 0);
        m_desktop.stopApp(pid);
        ConsoleCapture console;

        place(pid, {0, 0, 100, 100});

        QCOMPARE(console.lines(),
            QStringList{QStringLiteral("Could not retrieve windows for %1.").arg(pid)});
    }

    void processWithoutWindowsIsLeftSilently()
    {
        QProcess* sleeper = m_desktop.startProcess(QStringLiteral("sleep"), {QStringLiteral("30")});
        ConsoleCapture console;

        place(sleeper->processId(), {0, 0, 100, 100});

        QVERIFY(console.lines().isEmpty());
        QCOMPARE(m_windowSystem->windowsOfProcess(
                     static_cast<Platform::ProcessId>(sleeper->processId()), 100),
            QList<Platform::WindowId>{});
    }
};

VANTOR_DESKTOP_TEST_MAIN(X11PlacementTest)
#include "tst_x11_placement.moc"

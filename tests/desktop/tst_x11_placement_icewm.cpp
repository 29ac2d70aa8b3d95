#include "Util/WindowManager.h"

#include "FakeDesktop.h"
#include "TestMain.h"
#include "VantorProcess.h"
#include "WindowTruth.h"

using namespace WindowTruth;

// icewm keeps a window inside the screen by the size the window has when a position request
// arrives. A large window sent near the right edge with a small size therefore lands short
// of its position unless the position is asked for again once the new size is in place.
class X11PlacementIcewmTest : public QObject {
    Q_OBJECT

private:
    TestDesktop& m_desktop = *TestDesktop::instance();
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();
    FakeApplications m_applications;
    WindowManager m_manager{*m_windowSystem, m_applications};

    // A large xlogo that reaches far across the screen.
    qint64 startLargeWindow() const
    {
        return m_desktop.startApp(
            QStringLiteral("xlogo"), geometry(QStringLiteral("1000x600+100+100")));
    }

    static constexpr Frame nearTheRightEdge{1735, 200, 150, 120};

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    // What makes the case: the window manager itself clamps such a move, as it does for
    // xdotool's position and size requests.
    void theWindowManagerClampsByTheOldSize()
    {
        const qint64 pid = startLargeWindow();
        QVERIFY(pid > 0);
        const Platform::WindowId window = onlyWindowOf(pid);
        const QList<int> e = frameExtents(window);
        const QString id = hex(window);
        run(QStringLiteral("xdotool"),
            {QStringLiteral("windowmove"), id, QString::number(nearTheRightEdge.x + e[0]),
                QString::number(nearTheRightEdge.y + e[2]), QStringLiteral("windowsize"),
                QStringLiteral("--sync"), id, QString::number(nearTheRightEdge.width - e[0] - e[1]),
                QString::number(nearTheRightEdge.height - e[2] - e[3])});

        QTRY_COMPARE(frameOf(window).size(), nearTheRightEdge.size());
        QVERIFY2(frameOf(window).x < nearTheRightEdge.x - 100,
            qPrintable(QString::number(frameOf(window).x)));
        m_desktop.stopApp(pid);
    }

    void aLargeWindowSentNearTheEdgeLandsOnItsFrame()
    {
        const qint64 pid = startLargeWindow();
        QVERIFY(pid > 0);
        const Platform::WindowId window = onlyWindowOf(pid);

        m_manager.setWindowPosition(static_cast<Platform::ProcessId>(pid),
            nearTheRightEdge.position(), nearTheRightEdge.size());

        QTRY_COMPARE(frameOf(window), nearTheRightEdge);
        m_desktop.stopApp(pid);
    }

    // The command ends only once the window stands where it was sent.
    void placeFromTheCommandLineWaitsForTheSecondRequest()
    {
        const qint64 pid = startLargeWindow();
        QVERIFY(pid > 0);
        const Platform::WindowId window = onlyWindowOf(pid);

        const VantorRun placed = VantorProcess::run({QStringLiteral("place"), QString::number(pid),
            QString::number(nearTheRightEdge.x), QString::number(nearTheRightEdge.y),
            QString::number(nearTheRightEdge.width), QString::number(nearTheRightEdge.height)});

        QVERIFY2(placed.exitedWith(0), placed.describe());
        QTRY_COMPARE(frameOf(window), nearTheRightEdge);
        m_desktop.stopApp(pid);
    }

    // A frame that reaches beyond the screen is one the window manager may never grant: the
    // position is asked for once more, not again and again, and the command ends.
    void aFrameBeyondTheScreenEndsTheCommand()
    {
        const qint64 pid = startLargeWindow();
        QVERIFY(pid > 0);
        const Platform::WindowId window = onlyWindowOf(pid);
        const Frame beyond{1800, 200, 300, 200};

        const VantorRun placed = VantorProcess::run({QStringLiteral("place"), QString::number(pid),
            QString::number(beyond.x), QString::number(beyond.y), QString::number(beyond.width),
            QString::number(beyond.height)});

        QVERIFY2(placed.exitedWith(0), placed.describe());
        QTRY_COMPARE(frameOf(window).size(), beyond.size());
        QVERIFY2(frameOf(window).x > 920, qPrintable(QString::number(frameOf(window).x)));
        m_desktop.stopApp(pid);
    }
};

VANTOR_DESKTOP_TEST_MAIN_WITH(
    X11PlacementIcewmTest, (TestDesktop::Options{.windowManager = QStringLiteral("icewm")}))

#include "tst_x11_placement_icewm.moc"

#include "Util/WindowManager.h"

#include "FakeDesktop.h"
#include "TestMain.h"
#include "WindowTruth.h"

#include <QWidget>

#include <memory>
#include <unistd.h>

using namespace WindowTruth;

// Capture on a real desktop: openbox manages real apps, and what Vantor reads is compared
// with what xwininfo and xprop say.
class X11CaptureTest : public QObject {
    Q_OBJECT

private:
    TestDesktop& m_desktop = *TestDesktop::instance();
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();
    FakeApplications m_applications;
    WindowManager m_manager{*m_windowSystem, m_applications};

    QList<Platform::WindowId> windowsOf(qint64 pid) const
    {
        QList<Platform::WindowId> windows;
        for (std::uint32_t window :
            m_desktop.probe().clientWindowsOf(static_cast<std::int32_t>(pid)))
            windows.append(window);
        return windows;
    }

    qint64 startXlogo(const QString& where)
    {
        return m_desktop.startApp(QStringLiteral("xlogo"), geometry(where));
    }

    void verifyNotCaptured(qint64 pid)
    {
        QVERIFY(pid > 0);
        QVERIFY(m_manager.getAppLayout(applicationWithPid(pid)).isEmpty());
    }

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void capturesTheVisibleFramesOfRealApps_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("where");
        QTest::addColumn<Frame>("expected");
        // openbox puts the frame's outer corner on the requested position and adds its
        // decorations (1, 1, 20, 5) around the client.
        QTest::newRow("xlogo (no _NET_WM_PID)") << "xlogo"
                                                << "200x150+40+60" << Frame{40, 60, 202, 175};
        QTest::newRow("xclock") << "xclock"
                                << "180x170+500+300" << Frame{500, 300, 182, 195};
        QTest::newRow("xeyes (no _NET_WM_PID)") << "xeyes"
                                                << "150x100+900+200" << Frame{900, 200, 152, 125};
    }

    void capturesTheVisibleFramesOfRealApps()
    {
        QFETCH(QString, program);
        QFETCH(QString, where);
        QFETCH(Frame, expected);
        const qint64 pid = m_desktop.startApp(program, geometry(where));
        QVERIFY(pid > 0);

        const QList<AppLayoutPtr> layouts = m_manager.getAppLayout(applicationWithPid(pid));

        QCOMPARE(layouts.size(), 1);
        QCOMPARE(frameOf(onlyWindowOf(pid)), expected);
        QCOMPARE(layouts[0]->frame(), expected);
        QCOMPARE(layouts[0]->screenSize(), (ScreenSize{1920, 1080}));
        m_desktop.stopApp(pid);
    }

    void twoWindowsGiveTwoLayoutsFrontMostFirst()
    {
        QWidget first;
        QWidget second;
        first.setGeometry(100, 120, 300, 200);
        second.setGeometry(600, 400, 320, 240);
        first.show();
        second.show();
        QVERIFY(m_desktop.waitForWindows(::getpid(), 2));
        const Platform::WindowId firstId = first.winId();
        const Platform::WindowId secondId = second.winId();

        for (Platform::WindowId front : {firstId, secondId}) {
            const Platform::WindowId back = front == firstId ? secondId : firstId;
            run(QStringLiteral("xdotool"),
                {QStringLiteral("windowactivate"), QStringLiteral("--sync"), hex(front)});
            QTRY_COMPARE(activeWindow(), front);
            const QList<AppLayoutPtr> layouts
                = m_manager.getAppLayout(applicationWithPid(::getpid()));
            QCOMPARE(layouts.size(), 2);
            QCOMPARE(layouts[0]->frame(), frameOf(front));
            QCOMPARE(layouts[1]->frame(), frameOf(back));
            QCOMPARE(layouts[0]->screenSize(), layouts[1]->screenSize());
        }
    }

    void minimizedWindowIsNotCaptured()
    {
        const qint64 pid = startXlogo(QStringLiteral("200x150+100+100"));
        QCOMPARE(m_manager.getAppLayout(applicationWithPid(pid)).size(), 1);
        run(QStringLiteral("xdotool"),
            {QStringLiteral("windowminimize"), QStringLiteral("--sync"), hex(onlyWindowOf(pid))});
        QTRY_VERIFY(xprop(onlyWindowOf(pid), QStringLiteral("_NET_WM_STATE"))
                        .contains(QLatin1String("_NET_WM_STATE_HIDDEN")));
        verifyNotCaptured(pid);
        m_desktop.stopApp(pid);
    }

    void windowOnAnotherDesktopIsNotCaptured()
    {
        const qint64 pid = startXlogo(QStringLiteral("200x150+100+100"));
        run(QStringLiteral("xdotool"),
            {QStringLiteral("set_desktop_for_window"), hex(onlyWindowOf(pid)),
                QStringLiteral("1")});
        QTRY_COMPARE(xprop(onlyWindowOf(pid), QStringLiteral("_NET_WM_DESKTOP")),
            QStringLiteral("_NET_WM_DESKTOP(CARDINAL) = 1"));
        QVERIFY(mapState(onlyWindowOf(pid)) != QLatin1String("IsViewable"));
        verifyNotCaptured(pid);
        m_desktop.stopApp(pid);
    }

    void windowKeptAboveIsNotCaptured()
    {
        const qint64 pid = startXlogo(QStringLiteral("200x150+100+100"));
        wmctrl(onlyWindowOf(pid), QStringLiteral("add,above"));
        QTRY_VERIFY(xprop(onlyWindowOf(pid), QStringLiteral("_NET_WM_STATE"))
                        .contains(QLatin1String("_NET_WM_STATE_ABOVE")));
        verifyNotCaptured(pid);
        m_desktop.stopApp(pid);
    }

    void dockIsNotCaptured()
    {
        const qint64 pid = m_desktop.startApp(QStringLiteral("trayer"),
            {QStringLiteral("--edge"), QStringLiteral("bottom"), QStringLiteral("--SetDockType"),
                QStringLiteral("true"), QStringLiteral("--transparent"), QStringLiteral("false")});
        QVERIFY(pid > 0);
        QVERIFY(xprop(onlyWindowOf(pid), QStringLiteral("_NET_WM_WINDOW_TYPE"))
                    .contains(QLatin1String("_NET_WM_WINDOW_TYPE_DOCK")));
        QCOMPARE(mapState(onlyWindowOf(pid)), QStringLiteral("IsViewable"));
        verifyNotCaptured(pid);
        m_desktop.stopApp(pid);
    }

    void utilityWindowIsNotCapturedButADialogIs()
    {
        QWidget palette(nullptr, Qt::Tool);
        palette.setGeometry(100, 100, 200, 200);
        palette.show();
        QVERIFY(m_desktop.waitForWindows(::getpid(), 1));
        QVERIFY(xprop(palette.winId(), QStringLiteral("_NET_WM_WINDOW_TYPE"))
                    .contains(QLatin1String("_NET_WM_WINDOW_TYPE_UTILITY")));
        QVERIFY(m_manager.getAppLayout(applicationWithPid(::getpid())).isEmpty());

        QWidget dialog(nullptr, Qt::Dialog);
        dialog.setGeometry(400, 300, 250, 180);
        dialog.show();
        QVERIFY(m_desktop.waitForWindows(::getpid(), 2));
        const QList<AppLayoutPtr> layouts = m_manager.getAppLayout(applicationWithPid(::getpid()));
        QCOMPARE(layouts.size(), 1);
        QCOMPARE(layouts[0]->frame(), frameOf(dialog.winId()));
    }

    void listsEveryManagedWindowWithItsDesktopHints()
    {
        const qint64 pid = m_desktop.startApp(
            QStringLiteral("xclock"), geometry(QStringLiteral("100x100+10+10")));
        const Platform::WindowId window = onlyWindowOf(pid);
        wmctrl(window, QStringLiteral("add,skip_taskbar"));
        QTRY_VERIFY(xprop(window, QStringLiteral("_NET_WM_STATE"))
                        .contains(QLatin1String("_NET_WM_STATE_SKIP_TASKBAR")));

        Platform::WindowInfo found;
        const auto windows = m_windowSystem->managedWindows();
        QVERIFY(windows);
        for (const Platform::WindowInfo& info : *windows) {
            if (info.id == window)
                found = info;
        }
        QCOMPARE(found.pid, static_cast<Platform::ProcessId>(pid));
        QCOMPARE(found.wmClassInstance, QStringLiteral("xclock"));
        QCOMPARE(found.wmClass, QStringLiteral("XClock"));
        QCOMPARE(found.typeName, QStringLiteral("normal"));
        QVERIFY(found.skipsTaskbar);
        QVERIFY(found.isOnScreen);
        m_desktop.stopApp(pid);
    }
};

VANTOR_DESKTOP_TEST_MAIN(X11CaptureTest)
#include "tst_x11_capture.moc"

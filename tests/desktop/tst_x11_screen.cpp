#include "Platform/WindowSystem.h"

#include "TestMain.h"
#include "WindowTruth.h"

#include <memory>

using namespace WindowTruth;

namespace {

constexpr int rootWidth = 1600;
constexpr int rootHeight = 900;

void xrandr(const QStringList& arguments)
{
    TestDesktop::run(QStringLiteral("xrandr"), arguments);
}

// Replaces the monitors with a left one (holding the screen's output) and a right one.
void splitIntoTwoMonitors(bool leftIsPrimary)
{
    if (run(QStringLiteral("xrandr"), {QStringLiteral("--listmonitors")})
            .contains(QLatin1String(" right"))) {
        xrandr({QStringLiteral("--delmonitor"), QStringLiteral("right")});
        xrandr({QStringLiteral("--delmonitor"), QStringLiteral("left")});
    }
    xrandr({QStringLiteral("--setmonitor"),
        (leftIsPrimary ? QStringLiteral("*") : QString()) + QStringLiteral("left"),
        QStringLiteral("1000/260x900/230+0+0"), QStringLiteral("screen")});
    xrandr({QStringLiteral("--setmonitor"), QStringLiteral("right"),
        QStringLiteral("600/160x500/130+1000+0"), QStringLiteral("none")});
}

} // namespace

// The main screen: the monitor of the focused window, full size.
class X11ScreenTest : public QObject {
    Q_OBJECT

private:
    TestDesktop& m_desktop = *TestDesktop::instance();
    std::unique_ptr<Platform::WindowSystem> m_windowSystem = Platform::createWindowSystem();

    qint64 startFocused(const QString& where)
    {
        const qint64 pid
            = m_desktop.startApp(QStringLiteral("xlogo"), {QStringLiteral("-geometry"), where});
        const Platform::WindowId window
            = m_desktop.probe().clientWindowsOf(static_cast<std::int32_t>(pid)).value(0);
        run(QStringLiteral("xdotool"),
            {QStringLiteral("windowactivate"), QStringLiteral("--sync"), hex(window)});
        return pid;
    }

    // openbox leaves _NET_ACTIVE_WINDOW on the last window it focused, even once that is gone.
    void verifyNothingIsFocused()
    {
        QTRY_VERIFY(m_desktop.probe().clientWindows().isEmpty());
        const Platform::WindowId active = activeWindow();
        QVERIFY(active == 0
            || !run(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")})
                    .contains(hex(active) + QLatin1Char(' ')));
    }

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    // Runs first, before any test splits the screen.
    void oneMonitorIsTheWholeScreen()
    {
        const QString monitors = run(QStringLiteral("xrandr"), {QStringLiteral("--listmonitors")});
        QVERIFY2(monitors.contains(QStringLiteral("%1/").arg(rootWidth)), qPrintable(monitors));
        QCOMPARE(m_windowSystem->mainScreenSize(), (ScreenSize{rootWidth, rootHeight}));
    }

    void theFocusedWindowChoosesTheMonitor()
    {
        splitIntoTwoMonitors(true);
        const qint64 right = startFocused(QStringLiteral("200x200+1200+100"));
        QCOMPARE(m_windowSystem->mainScreenSize(), (ScreenSize{600, 500}));

        // Straddling both monitors: the one with the larger share wins.
        const qint64 straddling = startFocused(QStringLiteral("300x200+750+300"));
        QCOMPARE(m_windowSystem->mainScreenSize(), (ScreenSize{1000, 900}));
        m_desktop.stopApp(right);
        m_desktop.stopApp(straddling);
    }

    void withoutFocusThePrimaryMonitorCounts()
    {
        splitIntoTwoMonitors(true);
        verifyNothingIsFocused();
        QCOMPARE(m_windowSystem->mainScreenSize(), (ScreenSize{1000, 900}));
    }

    void withoutFocusOrPrimaryTheRootCounts()
    {
        splitIntoTwoMonitors(false);
        verifyNothingIsFocused();
        QCOMPARE(m_windowSystem->mainScreenSize(), (ScreenSize{rootWidth, rootHeight}));
    }
};

VANTOR_DESKTOP_TEST_MAIN_WITH(X11ScreenTest, (TestDesktop::Options{false, rootWidth, rootHeight}))
#include "tst_x11_screen.moc"

#include "SessionUser.h"
#include "TestMain.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>

#include <sys/stat.h>

// The KWin harness itself: KWin and its clients run as the session user, apps are found by
// PID and placed through KWin's scripts, the portal is there, keys reach KWin's global
// shortcuts, and nothing is left running when a desktop goes.
class KWinHarnessTest : public QObject {
    Q_OBJECT

private:
    static KWinDesktop& desktop() { return *KWinDesktop::instance(); }

    static bool isRunning(qint64 pid) { return QFile::exists(QStringLiteral("/proc/%1").arg(pid)); }

    static uid_t uidOf(qint64 pid)
    {
        struct stat info { };
        return ::stat(QFile::encodeName(QStringLiteral("/proc/%1").arg(pid)).constData(), &info)
                == 0
            ? info.st_uid
            : static_cast<uid_t>(-1);
    }

    static uid_t ownerOf(const QString& path)
    {
        struct stat info { };
        return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_uid
                                                                       : static_cast<uid_t>(-1);
    }

    static uint busOwnerUid(const QDBusConnection& bus, const QString& service)
    {
        return bus.interface()->serviceUid(service).value();
    }

    // The X client windows of a PID, by _NET_WM_PID; empty for a Wayland client.
    static QByteArray xWindowsOf(qint64 pid)
    {
        QProcess xdotool;
        xdotool.start(QStringLiteral("xdotool"),
            {QStringLiteral("search"), QStringLiteral("--pid"), QString::number(pid)});
        xdotool.waitForFinished(5000);
        return xdotool.readAllStandardOutput().trimmed();
    }

    static QString describe(const QRect& rect)
    {
        return QStringLiteral("%1,%2 %3x%4")
            .arg(rect.x())
            .arg(rect.y())
            .arg(rect.width())
            .arg(rect.height());
    }

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void theTestRunsOffscreenAndItsChildrenOnKWin()
    {
        QCOMPARE(qgetenv("QT_QPA_PLATFORM"), QByteArray("offscreen"));
        QCOMPARE(qgetenv("DISPLAY"), desktop().display());
        QCOMPARE(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), desktop().busAddress());
        const QFileInfo wayland(qEnvironmentVariable("XDG_RUNTIME_DIR") + QLatin1Char('/')
            + qEnvironmentVariable("WAYLAND_DISPLAY"));
        QVERIFY(wayland.isSymLink());
        QCOMPARE(wayland.symLinkTarget(), desktop().waylandSocket());

        const QProcessEnvironment children = desktop().environment();
        QVERIFY(!children.contains(QStringLiteral("QT_QPA_PLATFORM")));
        QCOMPARE(children.value(QStringLiteral("XDG_SESSION_TYPE")), QStringLiteral("wayland"));
        QCOMPARE(children.value(QStringLiteral("XDG_CURRENT_DESKTOP")), QStringLiteral("KDE"));
        QCOMPARE(children.value(QStringLiteral("XDG_RUNTIME_DIR")), desktop().runtimeDir());
        QCOMPARE(children.value(QStringLiteral("XDG_RUNTIME_DIR")) + QLatin1Char('/')
                + children.value(QStringLiteral("WAYLAND_DISPLAY")),
            desktop().waylandSocket());
        QCOMPARE(children.value(QStringLiteral("DISPLAY")).toLatin1(), desktop().display());
        QCOMPARE(
            children.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")), desktop().busAddress());

        const QProcessEnvironment user = desktop().sessionUserEnvironment();
        QCOMPARE(user.value(QStringLiteral("HOME")), desktop().sessionHome());
        QCOMPARE(ownerOf(desktop().sessionHome()), SessionUser::uid());
        QCOMPARE(ownerOf(user.value(QStringLiteral("XDG_CONFIG_HOME"))), SessionUser::uid());
        QCOMPARE(ownerOf(user.value(QStringLiteral("XDG_DATA_HOME"))), SessionUser::uid());
        QCOMPARE(ownerOf(desktop().runtimeDir()), SessionUser::uid());
        QCOMPARE(QFileInfo(desktop().runtimeDir()).permissions() & 0x0077, QFile::Permissions());
    }

    void kwinRunsAsTheSessionUserWithTheScreenAsked()
    {
        QVERIFY(desktop().kwinPid() > 0);
        QVERIFY(desktop().xwaylandPid() > 0);
        QCOMPARE(uidOf(desktop().kwinPid()), SessionUser::uid());
        QCOMPARE(uidOf(desktop().xwaylandPid()), SessionUser::uid());
        for (const QString& service :
            {QStringLiteral("org.kde.KWin"), QStringLiteral("org.kde.kglobalaccel")})
            QCOMPARE(busOwnerUid(desktop().bus(), service), uint(SessionUser::uid()));
        const auto area = desktop().evaluate(QStringLiteral(
            "report(workspace.clientArea(KWin.FullScreenArea, workspace.activeScreen,"
            " workspace.currentDesktop));"));
        QVERIFY(area);
        QCOMPARE(area->toObject()[QLatin1String("x")].toInt(), 0);
        QCOMPARE(area->toObject()[QLatin1String("y")].toInt(), 0);
        QCOMPARE(area->toObject()[QLatin1String("width")].toInt(), 1920);
        QCOMPARE(area->toObject()[QLatin1String("height")].toInt(), 1080);
        QCOMPARE(desktop().screenArea(), QRect(0, 0, 1920, 1080));
    }

    void aScriptErrorIsReportedAtOnce()
    {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("script failed.*")));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!desktop().evaluate(QStringLiteral("noSuchFunction();")));
        QVERIFY(timer.elapsed() < 2000);
        QCOMPARE(desktop().evaluate(QStringLiteral("report(6 * 7);")), QJsonValue(42));
    }

    void anXWaylandAppIsListedWithItsPidAndClass()
    {
        const qint64 pid = desktop().startApp(QStringLiteral("xterm"));
        QVERIFY(pid > 0);
        QCOMPARE(uidOf(pid), SessionUser::uid());
        const QList<KWinWindow> windows = desktop().windowsOf(pid);
        QCOMPARE(windows.size(), 1);
        QCOMPARE(windows.first().resourceClass, QStringLiteral("xterm"));
        QCOMPARE(windows.first().resourceName, QStringLiteral("xterm"));
        QVERIFY(windows.first().normalWindow);
        QVERIFY(!windows.first().minimized);
        QVERIFY(!windows.first().internalId.isEmpty());
        QVERIFY(!xWindowsOf(pid).isEmpty());
        // KWin keeps xterm's size to whole character cells (its WM_NORMAL_HINTS), so only a
        // frame of xterm's own size is exact.
        const QRect frame(QPoint(100, 80), windows.first().frame.size());
        QVERIFY(windows.first().frame != frame);
        QVERIFY(desktop().placeFrame(pid, frame));
        QCOMPARE(desktop().frameOf(pid).value_or(QRect()), frame);
        desktop().stopApp(pid);
        QVERIFY(!isRunning(pid));
        QTRY_VERIFY(desktop().windowsOf(pid).isEmpty());
    }

    void anXWaylandAppIsPlacedExactly()
    {
        const qint64 pid = desktop().startApp(qEnvironmentVariable("VANTOR_TEST_APP"),
            {QStringLiteral("--geometry"), QStringLiteral("300x200+50+50")});
        QVERIFY(pid > 0);
        QCOMPARE(desktop().windowsOf(pid).value(0).resourceClass, QStringLiteral("vantortestapp"));
        const QRect frame(640, 360, 700, 450);
        QVERIFY(desktop().frameOf(pid) != frame);
        QVERIFY(desktop().placeFrame(pid, frame));
        QCOMPARE(desktop().frameOf(pid).value_or(QRect()), frame);
        desktop().stopApp(pid);
    }

    void aWaylandAppIsListedAndPlacedExactly()
    {
        const qint64 pid = desktop().startApp(QStringLiteral("galculator"));
        QVERIFY(pid > 0);
        QCOMPARE(uidOf(pid), SessionUser::uid());
        const QList<KWinWindow> windows = desktop().windowsOf(pid);
        QCOMPARE(windows.size(), 1);
        QCOMPARE(windows.first().resourceClass, QStringLiteral("galculator"));
        QVERIFY(windows.first().normalWindow);
        // A Wayland client: XWayland has no window of it.
        QVERIFY(xWindowsOf(pid).isEmpty());
        const QRect frame(300, 200, 520, 460);
        QVERIFY2(desktop().frameOf(pid) != frame, qPrintable(describe(*desktop().frameOf(pid))));
        QVERIFY(desktop().placeFrame(pid, frame));
        QCOMPARE(desktop().frameOf(pid).value_or(QRect()), frame);
        desktop().stopApp(pid);
        QTRY_VERIFY(desktop().windowsOf(pid).isEmpty());
    }

    void thePortalOffersGlobalShortcuts()
    {
        const QDBusConnection bus = desktop().bus();
        QCOMPARE(busOwnerUid(bus, QStringLiteral("org.freedesktop.portal.Desktop")),
            uint(SessionUser::uid()));
        QCOMPARE(busOwnerUid(bus, QStringLiteral("org.freedesktop.impl.portal.desktop.kde")),
            uint(SessionUser::uid()));
        QDBusMessage get
            = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                QStringLiteral("/org/freedesktop/portal/desktop"),
                QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        get << QStringLiteral("org.freedesktop.portal.GlobalShortcuts")
            << QStringLiteral("version");
        const QDBusMessage version = bus.call(get);
        QCOMPARE(version.type(), QDBusMessage::ReplyMessage);
        QVERIFY(version.arguments().value(0).value<QDBusVariant>().variant().toUInt() >= 1);
    }

    void thePortalDeliversAGlobalShortcutOfTheSessionUser()
    {
        QProcess client;
        client.setProcessEnvironment(desktop().sessionUserEnvironment());
        client.start(QStringLiteral("setpriv"),
            SessionUser::command(QStringLiteral(VANTOR_PORTAL_SHORTCUT),
                {QStringLiteral("vantor-check"), QStringLiteral("CTRL+SHIFT+F8")}));
        QVERIFY(client.waitForStarted());
        const auto nextLine = [&client] {
            QDeadlineTimer deadline(5000);
            while (!client.canReadLine() && !deadline.hasExpired())
                client.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
            return QString::fromUtf8(client.readLine()).trimmed();
        };
        const QString bound = nextLine();
        QVERIFY2(bound.startsWith(QLatin1String("bound /org/freedesktop/portal/desktop/session/")),
            client.readAllStandardError().constData());
        // KWin takes Ctrl+Alt+F1..F12 for itself (virtual terminals): not those.
        QVERIFY(desktop().pressKeys({29, 42, 66}));
        QCOMPARE(nextLine(), QStringLiteral("activated vantor-check"));
        QCOMPARE(nextLine(), QStringLiteral("deactivated vantor-check"));
        client.closeWriteChannel();
        QVERIFY(client.waitForFinished(5000));
        QCOMPARE(client.exitCode(), 0);
    }

    void thePortalRefusesRoot()
    {
        // It cannot read a root process's /proc entry to learn which app calls: the clients of
        // the portal must be the session user's.
        QDBusMessage create
            = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                QStringLiteral("/org/freedesktop/portal/desktop"),
                QStringLiteral("org.freedesktop.portal.GlobalShortcuts"),
                QStringLiteral("CreateSession"));
        create << QVariantMap{{QStringLiteral("session_handle_token"), QStringLiteral("root")}};
        const QDBusMessage reply = desktop().bus().call(create);
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        QVERIFY2(reply.errorMessage().contains(QLatin1String("not allowed")),
            qPrintable(reply.errorMessage()));
    }

    void aPressedKeyRunsAScriptsGlobalShortcut()
    {
        const auto script = desktop().loadScript(
            QStringLiteral("registerShortcut(\"vantor-harness-check\", \"Vantor harness check\","
                           " \"Meta+Shift+F9\", function () { report(\"triggered\"); });"
                           "report(\"registered\");"));
        QVERIFY(script);
        QCOMPARE(
            script->nextReport(std::chrono::seconds(5)), QJsonValue(QStringLiteral("registered")));
        // Meta+F9 alone is not the shortcut: the first report can only come from the second
        // press.
        QVERIFY(desktop().pressKeys({125, 67}));
        QVERIFY(desktop().pressKeys({125, 42, 67}));
        QCOMPARE(
            script->nextReport(std::chrono::seconds(5)), QJsonValue(QStringLiteral("triggered")));
        QCOMPARE(script->pendingReports(), 0);
    }

    void aProgramOfTheSessionUserSeesTheDesktop()
    {
        const VantorRun run = desktop().runAsSessionUser(QStringLiteral("sh"),
            {QStringLiteral("-c"),
                QStringLiteral("id -u; echo \"$HOME\"; touch \"$HOME/written\" && echo home;"
                               " test -S \"$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY\" && echo wayland;"
                               " xprop -root _NET_SUPPORTING_WM_CHECK > /dev/null && echo x11;"
                               " dbus-send --session --print-reply --dest=org.kde.KWin /KWin"
                               " org.freedesktop.DBus.Peer.Ping > /dev/null && echo bus")});
        QVERIFY2(run.exitedWith(0), run.describe().constData());
        QCOMPARE(run.outLines(),
            QStringList({QString::number(SessionUser::uid()), desktop().sessionHome(),
                QStringLiteral("home"), QStringLiteral("wayland"), QStringLiteral("x11"),
                QStringLiteral("bus")}));
        QCOMPARE(ownerOf(desktop().sessionHome() + QStringLiteral("/written")), SessionUser::uid());

        const VantorRun vantor = VantorProcess::runAsNobody(
            {QStringLiteral("--help")}, desktop().sessionUserEnvironment());
        QVERIFY2(vantor.exitedWith(0), vantor.describe().constData());
    }

    void aDesktopEndsEverythingItStarted()
    {
        KWinDesktop& outer = desktop();
        QString runtimeDir;
        QList<qint64> pids;
        {
            KWinDesktop::Options options;
            options.width = 1280;
            options.height = 720;
            KWinDesktop inner(options);
            QVERIFY2(inner.isReady(), qPrintable(inner.errorString()));
            QCOMPARE(KWinDesktop::instance(), &inner);
            QCOMPARE(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), inner.busAddress());
            QCOMPARE(qgetenv("DISPLAY"), inner.display());
            QVERIFY(inner.display() != outer.display());
            QCOMPARE(inner.screenArea(), QRect(0, 0, 1280, 720));
            runtimeDir = inner.runtimeDir();
            const qint64 xterm = inner.startApp(QStringLiteral("xterm"));
            QVERIFY(xterm > 0);
            pids = {inner.kwinPid(), inner.xwaylandPid(), xterm};
            const QList<pid_t> session = ProcessTree::withEnvironment(
                SessionUser::uid(), "XDG_RUNTIME_DIR", QFile::encodeName(runtimeDir));
            // KWin, XWayland, the bus, the portal and its backend at least.
            QVERIFY2(session.size() >= 5, qPrintable(QString::number(session.size())));
            for (const pid_t pid : session)
                pids.append(pid);
            QVERIFY(!pids.contains(0));
        }
        for (const qint64 pid : std::as_const(pids))
            QVERIFY2(!isRunning(pid), qPrintable(QString::number(pid)));
        QVERIFY(!QFileInfo::exists(runtimeDir));
        // The outer desktop has its environment back and still works.
        QCOMPARE(KWinDesktop::instance(), &outer);
        QCOMPARE(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), outer.busAddress());
        QCOMPARE(qgetenv("DISPLAY"), outer.display());
        QCOMPARE(outer.screenArea(), QRect(0, 0, 1920, 1080));
    }

    void stopEndsKWinAndXWayland()
    {
        KWinDesktop::Options options;
        options.portal = false;
        KWinDesktop inner(options);
        QVERIFY2(inner.isReady(), qPrintable(inner.errorString()));
        QVERIFY(!inner.bus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.portal.Desktop")));
        const qint64 kwin = inner.kwinPid();
        const qint64 xwayland = inner.xwaylandPid();
        QVERIFY(kwin > 0 && xwayland > 0);
        inner.stop();
        QVERIFY(!inner.isReady());
        QVERIFY(!isRunning(kwin));
        QVERIFY(!isRunning(xwayland));
        QVERIFY(!QFileInfo::exists(inner.waylandSocket()));
        QTest::ignoreMessage(QtWarningMsg, "KWin is not running: no script runs");
        QVERIFY(!inner.evaluate(QStringLiteral("report(1);")));
    }
};

VANTOR_KWIN_TEST_MAIN(KWinHarnessTest)
#include "tst_kwin_harness.moc"

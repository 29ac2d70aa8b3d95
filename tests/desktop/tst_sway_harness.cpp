#include "TestMain.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>

#include <pwd.h>

// The sway harness itself: apps found by PID, windows placed through sway's commands, keys
// pressed as on a physical keyboard, and nothing left running when a desktop goes.
class SwayHarnessTest : public QObject {
    Q_OBJECT

private:
    static SwayDesktop& desktop() { return *SwayDesktop::instance(); }

    static bool isRunning(qint64 pid) { return QFile::exists(QStringLiteral("/proc/%1").arg(pid)); }

    static int uidOf(qint64 pid)
    {
        QFile status(QStringLiteral("/proc/%1/status").arg(pid));
        if (!status.open(QIODevice::ReadOnly))
            return -1;
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("Uid:"))
                return line.mid(4).simplified().split(' ').first().toInt();
        }
        return -1;
    }

    // Children of the test that run as sway's user, ended ones included: what sway started.
    static QSet<qint64> childrenOfSway()
    {
        QSet<qint64> found;
        const QByteArray self = QByteArray::number(QCoreApplication::applicationPid());
        const QByteArray nobody = QByteArray::number(::getpwnam("nobody")->pw_uid);
        for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
            QFile file(QStringLiteral("/proc/%1/status").arg(entry));
            if (!file.open(QIODevice::ReadOnly))
                continue;
            const QByteArray status = file.readAll();
            if (status.contains("\nPPid:\t" + self + '\n')
                && status.contains("\nUid:\t" + nobody + '\t'))
                found.insert(entry.toLongLong());
        }
        return found;
    }

    static std::optional<SwayIpc::Event> bindingRun(SwayIpc& events, const QString& command)
    {
        return events.waitForEvent(
            [&](const SwayIpc::Event& event) {
                return event.kind == QLatin1String("binding")
                    && event.body[QLatin1String("binding")][QLatin1String("command")].toString()
                    == command;
            },
            std::chrono::seconds(5));
    }

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void theTestRunsOffscreenAndItsChildrenOnSway()
    {
        QCOMPARE(qgetenv("QT_QPA_PLATFORM"), QByteArray("offscreen"));
        QCOMPARE(qEnvironmentVariable("SWAYSOCK"), desktop().ipcSocket());
        QCOMPARE(qgetenv("DISPLAY"), desktop().display());
        const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
        QVERIFY(runtimeDir.startsWith(QDir::tempPath() + QStringLiteral("/vantor-test-")));
        const QFileInfo wayland(
            runtimeDir + QLatin1Char('/') + qEnvironmentVariable("WAYLAND_DISPLAY"));
        QVERIFY(wayland.isSymLink());
        QVERIFY(wayland.symLinkTarget().startsWith(QStringLiteral("/tmp/vantor-sway-")));
        const QProcessEnvironment children = desktop().environment();
        QVERIFY(!children.contains(QStringLiteral("QT_QPA_PLATFORM")));
        QCOMPARE(children.value(QStringLiteral("XDG_SESSION_TYPE")), QStringLiteral("wayland"));
        QCOMPARE(children.value(QStringLiteral("WAYLAND_DISPLAY")),
            qEnvironmentVariable("WAYLAND_DISPLAY"));
    }

    void aWaylandAppIsFoundByPidWithAPlausibleFrame()
    {
        const qint64 pid = desktop().startApp(QStringLiteral("foot"));
        QVERIFY(pid > 0);
        const QList<QJsonObject> windows = desktop().windowsOf(pid);
        QCOMPARE(windows.size(), 1);
        QCOMPARE(windows.first()[QLatin1String("app_id")].toString(), QStringLiteral("foot"));
        const std::optional<QRect> frame = desktop().frameOf(pid);
        QVERIFY(frame);
        QVERIFY2(QRect(0, 0, 1280, 720).contains(*frame),
            qPrintable(QStringLiteral("%1,%2 %3x%4")
                           .arg(frame->x())
                           .arg(frame->y())
                           .arg(frame->width())
                           .arg(frame->height())));
        QVERIFY(frame->width() > 200 && frame->height() > 200);
        // The frame starts at the title bar, above the window's own area. foot asks for sway's
        // decorations as it maps, so its title bar can come a moment after the window.
        QTRY_VERIFY(desktop().frameOf(pid).value_or(QRect()).top()
            < desktop().windowsOf(pid).value(0)[QLatin1String("rect")][QLatin1String("y")].toInt());
        desktop().stopApp(pid);
        QVERIFY(desktop().windowsOf(pid).isEmpty());
        QVERIFY(!isRunning(pid));
    }

    void anXAppRunsAsRootOnXWayland()
    {
        const qint64 pid = desktop().startApp(QStringLiteral("xlogo"));
        QVERIFY(pid > 0);
        QCOMPARE(uidOf(pid), 0);
        const QList<QJsonObject> windows = desktop().windowsOf(pid);
        QCOMPARE(windows.size(), 1);
        QCOMPARE(
            windows.first()[QLatin1String("window_properties")][QLatin1String("class")].toString(),
            QStringLiteral("XLogo"));
        QVERIFY(desktop().frameOf(pid));
        desktop().stopApp(pid);
    }

    void aCommandPlacesTheOuterFrameExactly()
    {
        const qint64 pid = desktop().startApp(QStringLiteral("foot"));
        QVERIFY(pid > 0);
        // foot's start-up ends with sway's decorations: placed before, a late buffer of foot's
        // could still give the window its tiled size back.
        QTRY_VERIFY(desktop().windowsOf(pid).value(0)[QLatin1String("border")].toString()
            == QLatin1String("normal"));
        const QRect frame(100, 80, 600, 400);
        QVERIFY(desktop().placeFrame(pid, frame));
        QCOMPARE(desktop().frameOf(pid).value_or(QRect()), frame);
        QCOMPARE(desktop().windowsOf(pid).first()[QLatin1String("type")].toString(),
            QStringLiteral("floating_con"));
        QVERIFY(!desktop().command(QStringLiteral("[pid=%1] no-such-command").arg(pid)));
        desktop().stopApp(pid);
    }

    void aPhysicalKeyRunsItsBinding()
    {
        const auto bindings = desktop().subscribe({QStringLiteral("binding")});
        QVERIFY(bindings);
        QVERIFY(desktop().command(
            QStringLiteral("bindsym --no-repeat --to-code Shift+Mod1+1 nop harness-check")));
        QVERIFY(desktop().pressPhysicalKey(2, Qt::AltModifier));
        QVERIFY(desktop().pressPhysicalKey(2, Qt::ShiftModifier | Qt::AltModifier));
        // Alt+1 alone had no binding: the first one run is the one with Shift.
        const auto event = bindings->nextEvent(std::chrono::seconds(5));
        QVERIFY(event);
        const QJsonObject binding = event->body[QLatin1String("binding")].toObject();
        QCOMPARE(binding[QLatin1String("command")].toString(), QStringLiteral("nop harness-check"));
        QCOMPARE(binding[QLatin1String("input_code")].toInt(), 2 + 8);
        QCOMPARE(binding[QLatin1String("event_state_mask")].toArray(),
            QJsonArray({QStringLiteral("Shift"), QStringLiteral("Mod1")}));
    }

    void everyKeyOfTheTableReachesItsCode()
    {
        // Modifier and lock keys would change the state of sway's keyboard, not run bindings.
        const QList<int> skipped = {29, 42, 54, 56, 58, 69, 70, 84};
        const auto bindings = desktop().subscribe({QStringLiteral("binding")});
        QVERIFY(bindings);
        for (int code = 1; code <= 88; ++code) {
            if (skipped.contains(code))
                continue;
            const QString command = QStringLiteral("nop code-%1").arg(code);
            QVERIFY(desktop().command(
                QStringLiteral("bindcode Mod4+%1 %2").arg(code + 8).arg(command)));
            QVERIFY(desktop().pressPhysicalKey(code, Qt::MetaModifier));
            QVERIFY2(bindingRun(*bindings, command), qPrintable(command));
        }
    }

    void aDesktopEndsEverythingItStarted()
    {
        QList<qint64> pids;
        QString runtimeDir;
        const QSet<qint64> outerChildren = childrenOfSway();
        {
            SwayDesktop::Options options;
            options.width = 1920;
            options.height = 1080;
            options.extraConfig = {QStringLiteral("bindsym --to-code Mod1+F12 nop from-config")};
            SwayDesktop inner(options);
            QVERIFY2(inner.isReady(), qPrintable(inner.errorString()));
            QCOMPARE(SwayDesktop::instance(), &inner);
            QCOMPARE(qEnvironmentVariable("SWAYSOCK"), inner.ipcSocket());
            QCOMPARE(inner.tree()[QLatin1String("rect")][QLatin1String("width")].toInt(), 1920);
            const auto bindings = inner.subscribe({QStringLiteral("binding")});
            QVERIFY(bindings);
            QVERIFY(inner.pressPhysicalKey(88, Qt::AltModifier));
            QVERIFY(bindingRun(*bindings, QStringLiteral("nop from-config")));

            const qint64 foot = inner.startApp(QStringLiteral("foot"));
            const qint64 xlogo = inner.startApp(QStringLiteral("xlogo"));
            pids = {inner.swayPid(), inner.xwaylandPid(), foot, xlogo};
            QVERIFY2(!pids.contains(0), qPrintable(QString::number(pids.indexOf(0))));
            runtimeDir = QFileInfo(inner.ipcSocket()).path();
        }
        for (const qint64 pid : std::as_const(pids))
            QVERIFY2(!isRunning(pid), qPrintable(QString::number(pid)));
        QVERIFY(!QFileInfo::exists(runtimeDir));
        QVERIFY(outerChildren.contains(childrenOfSway()));
        // The outer desktop has its environment back and still works.
        QCOMPARE(SwayDesktop::instance(), &desktop());
        QCOMPARE(qEnvironmentVariable("SWAYSOCK"), desktop().ipcSocket());
        QVERIFY(desktop().command(QStringLiteral("nop still-there")));
    }

    void stopEndsSwayAndXWayland()
    {
        SwayDesktop inner;
        QVERIFY2(inner.isReady(), qPrintable(inner.errorString()));
        const qint64 sway = inner.swayPid();
        const qint64 xwayland = inner.xwaylandPid();
        QVERIFY(sway > 0 && xwayland > 0);
        inner.stop();
        QVERIFY(!inner.isReady());
        QVERIFY(!isRunning(sway));
        QVERIFY(!isRunning(xwayland));
        QVERIFY(!inner.command(QStringLiteral("nop")));
    }
};

VANTOR_SWAY_TEST_MAIN(SwayHarnessTest)
#include "tst_sway_harness.moc"

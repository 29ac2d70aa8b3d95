// Vantor on a headless sway with real apps: a Wayland terminal (foot) and an X11 app through
// XWayland (xlogo). Frames are read back from sway's own tree; keys are pressed as physical
// keys through a virtual keyboard (wtype).
#include "PreferencesFile.h"
#include "ScreenReader.h"
#include "SwayDesktop.h"
#include "TestMain.h"
#include "TrayHost.h"
#include "VantorProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

using namespace std::chrono_literals;

namespace {

const QString kRegistered = QStringLiteral("✅ Registered shortcut for ");
const QString kFootRunning = QStringLiteral("App is already running: Foot");
const QString kFootLaunched
    = QStringLiteral("App launched successfully with bundle identifier: foot");
const QString kGranted = QStringLiteral("Accessibility permissions are granted.");

// Evdev codes of the keys the tests press.
constexpr int kKeyOne = 2;
constexpr int kKeyThree = 4;

SwayDesktop& desktop()
{
    return *SwayDesktop::instance();
}

bool placeWithSway(qint64 pid, const QRect& frame)
{
    return desktop().command(
        QStringLiteral("[pid=%1] floating enable, move absolute position %2 %3, resize set %4 %5, "
                       "move absolute position %2 %3")
            .arg(pid)
            .arg(frame.x())
            .arg(frame.y())
            .arg(frame.width())
            .arg(frame.height()));
}

VantorRun vantor(const QStringList& arguments)
{
    return VantorProcess::run(arguments, 30s, desktop().environment());
}

QJsonObject shiftOption(int carbonKeyCode)
{
    return {{QStringLiteral("carbonKeyCode"), carbonKeyCode},
        {QStringLiteral("carbonModifiers"), 2560}}; // Shift (0x200) + Option (0x800)
}

// The shortcut stored for a workspace: the JSON text of its entry, parsed.
QJsonObject storedShortcut(const QString& workspaceId)
{
    const QJsonValue value = TestPreferences::read().value(
        QStringLiteral("KeyboardShortcuts_workspaceShortcut_") + workspaceId);
    return QJsonDocument::fromJson(value.toString().toUtf8()).object();
}

QString workspaceId(const QString& name)
{
    const VantorRun list = vantor({QStringLiteral("list"), QStringLiteral("--json")});
    for (const QJsonValue& value : QJsonDocument::fromJson(list.standardOutput).array()) {
        const QJsonObject workspace = value.toObject();
        if (workspace.value(QLatin1String("name")).toString() == name)
            return workspace.value(QLatin1String("id")).toString().toUpper();
    }
    return {};
}

// The PIDs of the processes that have a foot window now.
QList<qint64> footPids()
{
    QList<qint64> pids;
    std::function<void(const QJsonObject&)> walk = [&](const QJsonObject& node) {
        if (node.value(QLatin1String("app_id")).toString() == QLatin1String("foot"))
            pids.append(node.value(QLatin1String("pid")).toInteger());
        for (const char* key : {"nodes", "floating_nodes"})
            for (const QJsonValue& child : node.value(QLatin1String(key)).toArray())
                walk(child.toObject());
    };
    walk(desktop().tree());
    return pids;
}

} // namespace

class SwayEndToEndTest : public QObject {
    Q_OBJECT

private:
    qint64 m_foot = 0;
    qint64 m_logo = 0;
    // Where Work's apps stood when it was captured: side by side, as sway tiled them.
    QRect m_footHome;
    QRect m_logoHome;

    void scatter()
    {
        QVERIFY(placeWithSway(m_foot, QRect(400, 350, 300, 200)));
        QVERIFY(placeWithSway(m_logo, QRect(0, 0, 200, 150)));
        QCOMPARE(desktop().frameOf(m_foot), QRect(400, 350, 300, 200));
    }

private Q_SLOTS:
    void initTestCase()
    {
        // xlogo has no desktop entry of its own in Debian; foot has one.
        const QString entries
            = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications");
        QVERIFY(QDir().mkpath(entries));
        QFile entry(entries + QStringLiteral("/test-logo.desktop"));
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=Test Logo\nExec=xlogo\n"
                    "StartupWMClass=XLogo\n");
        entry.close();

        m_foot = desktop().startApp(QStringLiteral("foot"));
        m_logo = desktop().startApp(QStringLiteral("xlogo"));
        QVERIFY(m_foot > 0 && m_logo > 0);
        m_footHome = QRect(0, 0, 640, 720);
        m_logoHome = QRect(640, 0, 640, 720);
        QTRY_COMPARE(desktop().frameOf(m_foot), m_footHome);
        QTRY_COMPARE(desktop().frameOf(m_logo), m_logoHome);
        const VantorRun capture = vantor({QStringLiteral("capture"), QStringLiteral("Work"),
            QStringLiteral("foot"), QStringLiteral("test-logo")});
        QVERIFY2(capture.exitedWith(0), capture.describe());
        // Its default shortcut, Shift+Option+2, is bound in sway's own configuration.
        const VantorRun other = vantor(
            {QStringLiteral("capture"), QStringLiteral("Other"), QStringLiteral("test-logo")});
        QVERIFY2(other.exitedWith(0), other.describe());
    }

    void init() { failOnUnexpectedWarnings(); }

    void windowsAreListedFromSwaysTree()
    {
        const VantorRun windows = vantor({QStringLiteral("windows"), QStringLiteral("--json")});
        QVERIFY2(windows.exitedWith(0), windows.describe());
        QHash<qint64, QJsonObject> byPid;
        for (const QJsonValue& value : QJsonDocument::fromJson(windows.standardOutput).array())
            byPid.insert(
                value.toObject().value(QLatin1String("pid")).toInteger(), value.toObject());
        QCOMPARE(byPid.value(m_logo).value(QLatin1String("wmClass")).toString(),
            QStringLiteral("XLogo"));
        QCOMPARE(
            byPid.value(m_foot).value(QLatin1String("wmClass")).toString(), QStringLiteral("foot"));
        QCOMPARE(byPid.value(m_foot).value(QLatin1String("x")).toInt(), m_footHome.x());
        QCOMPARE(byPid.value(m_foot).value(QLatin1String("height")).toInt(), m_footHome.height());
    }

    void activationPutsBothAppsBackExactly()
    {
        scatter();
        const VantorRun activate = vantor({QStringLiteral("activate"), QStringLiteral("Work")});
        QVERIFY2(activate.exitedWith(0), activate.describe());
        QVERIFY(activate.outLines().contains(kFootRunning));
        QCOMPARE(desktop().frameOf(m_foot), m_footHome);
        QCOMPARE(desktop().frameOf(m_logo), m_logoHome);
    }

    void aClosedFootIsLaunchedOntoItsFrame()
    {
        desktop().stopApp(m_foot);
        QVERIFY(footPids().isEmpty());
        const VantorRun activate = vantor({QStringLiteral("activate"), QStringLiteral("Work")});
        QVERIFY2(activate.exitedWith(0), activate.describe());
        QVERIFY2(activate.outLines().contains(kFootLaunched), activate.describe());
        const QList<qint64> pids = footPids();
        QCOMPARE(pids.size(), 1);
        m_foot = pids.first();
        QCOMPARE(desktop().frameOf(m_foot), m_footHome);
    }

    void hotKeysOfTheTrayApp()
    {
        ScreenReader reader;
        QVERIFY(reader.start());
        QProcessEnvironment environment = desktop().environment();
        for (const QString& name : {QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                 QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON")})
            environment.insert(name, reader.environment().value(name));
        VantorProcess tray;
        QVERIFY(tray.start({}, environment));
        QVERIFY2(tray.waitForLines(kRegistered + QStringLiteral("Work at slot 0"), 1, 30s),
            tray.describe());
        // sway's configuration holds Shift+Alt+2 for itself.
        QVERIFY2(tray.waitForLines(QStringLiteral("Error registering hotkey ⌥⇧2: -9878")),
            tray.describe());

        scatter();
        QVERIFY(desktop().pressPhysicalKey(kKeyOne, Qt::ShiftModifier | Qt::AltModifier));
        QTRY_COMPARE(desktop().frameOf(m_foot), m_footHome);
        QTRY_COMPARE(desktop().frameOf(m_logo), m_logoHome);
        QCOMPARE(tray.countLines(kFootRunning), 1);

        // Another shortcut for Work, recorded on the Settings tab: its first recorder takes
        // the focus as a screen reader's user moves to it, then the keys are pressed.
        // Vantor's window is a Wayland window of its own. The keys go to the window that sway
        // gives the keyboard: Vantor's, as a click would.
        QTRY_VERIFY(!desktop().windowsOf(tray.pid()).isEmpty());
        QCOMPARE(desktop().windowsOf(tray.pid()).first().value(QLatin1String("shell")).toString(),
            QStringLiteral("xdg_shell"));
        QVERIFY(desktop().command(QStringLiteral("[pid=%1] focus").arg(tray.pid())));
        QVERIFY(reader.press(QStringLiteral("Settings"), QStringLiteral("page tab")));
        QTRY_VERIFY(
            reader.isShowing(QStringLiteral("push button"), QStringLiteral("Reset to default")));
        QVERIFY(reader.focus(QStringLiteral("text"), 0));
        QTRY_VERIFY(reader.isFocused(QStringLiteral("text"), 0));
        // wtype makes a new virtual keyboard for every run, and now and then sway hands the
        // window a key typed at once before the window has that keyboard (sway's own bindings
        // always get it): the key is typed again when the recorder has not stored it within a
        // second, and only then, so that no extra press acts on Work later.
        const QString work = workspaceId(QStringLiteral("Work"));
        const auto recorded = [&] { return storedShortcut(work) == shiftOption(20); };
        for (int attempt = 0; attempt < 5 && !recorded(); ++attempt) {
            QVERIFY(desktop().pressPhysicalKey(kKeyThree, Qt::ShiftModifier | Qt::AltModifier));
            TestDesktop::waitUntil(recorded, 1s);
        }
        QCOMPARE(storedShortcut(work), shiftOption(20));
        // sway no longer holds the old combination for Vantor.
        QVERIFY(!desktop().command(QStringLiteral("unbindcode --no-repeat Shift+Mod1+10")));
        QVERIFY(reader.press(QStringLiteral("Workspaces"), QStringLiteral("page tab")));

        // The old combination does nothing: sway delivers bindings in the order of the keys,
        // so once the new one has acted, the old one would have too.
        scatter();
        const int before = tray.countLines(kFootRunning);
        QVERIFY(desktop().pressPhysicalKey(kKeyOne, Qt::ShiftModifier | Qt::AltModifier));
        QVERIFY(desktop().pressPhysicalKey(kKeyThree, Qt::ShiftModifier | Qt::AltModifier));
        QVERIFY2(tray.waitForLines(kFootRunning, before + 1), tray.describe());
        QTRY_COMPARE(desktop().frameOf(m_foot), m_footHome);
        QCOMPARE(tray.countLines(kFootRunning), before + 1);

        QVERIFY(tray.terminate());
        QVERIFY2(tray.exitedWith(0), tray.describe());
        // Runtime bindings outlive their client: Vantor took its own back as it quit.
        QVERIFY(!desktop().command(QStringLiteral("unbindcode --no-repeat Shift+Mod1+12")));
        QVERIFY(!desktop().command(QStringLiteral("unbindcode --release Shift+Mod1+12")));
    }

    // The tray icon is a StatusNotifierItem, as swaybar and other hosts show them: its menu
    // lists the workspaces, and choosing one restores it.
    void trayIconIsAStatusNotifierItem()
    {
        ScreenReader buses; // for its private session bus
        QVERIFY(buses.start());
        QProcessEnvironment environment = desktop().environment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
            buses.environment().value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")));
        TrayHost host(environment);
        QVERIFY(host.start());

        VantorProcess tray;
        QVERIFY(tray.start({}, environment));
        const QByteArray registered = host.nextLine();
        QVERIFY2(registered.startsWith("item "), registered + host.errors() + tray.describe());
        const QString item = QString::fromUtf8(registered.mid(5));
        QCOMPARE(host.says({QStringLiteral("property"), item, QStringLiteral("Title")}),
            QStringList{QStringLiteral("Vantor")});
        QVERIFY2(tray.waitForLines(kRegistered + QStringLiteral("Work at slot 0"), 1, 30s),
            tray.describe());
        const QStringList menu = host.says({QStringLiteral("menu"), item});
        QCOMPARE(menu.first(), QStringLiteral("Open Workspace (disabled)"));
        QVERIFY2(menu.contains(QStringLiteral("Work")), qPrintable(menu.join(QLatin1Char('|'))));
        QCOMPARE(menu.mid(menu.size() - 3),
            (QStringList{
                QStringLiteral("Settings..."), QStringLiteral("-"), QStringLiteral("Quit")}));

        scatter();
        QCOMPARE(host.says({QStringLiteral("click"), item, QStringLiteral("Work")}), QStringList{});
        QTRY_COMPARE(desktop().frameOf(m_foot), m_footHome);
        QTRY_COMPARE(desktop().frameOf(m_logo), m_logoHome);

        QVERIFY(tray.terminate());
        QVERIFY2(tray.exitedWith(0), tray.describe());
    }

    void vantorEndsWithTheSession()
    {
        SwayDesktop second;
        QVERIFY2(second.isReady(), qPrintable(second.errorString()));
        VantorProcess tray;
        QProcessEnvironment environment = second.environment();
        // A home of its own, so that it is not the second instance of the tray above.
        const QString home = QDir::tempPath()
            + QStringLiteral("/vantor-sway-second-%1").arg(QCoreApplication::applicationPid());
        QDir(home).removeRecursively();
        QVERIFY(QDir().mkpath(home));
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            environment.insert(QString::fromLatin1(name), home);
        QVERIFY(tray.start({}, environment));
        QVERIFY2(tray.waitForLines(kGranted, 1, 30s), tray.describe());

        QElapsedTimer sinceSwayWent;
        second.stop();
        sinceSwayWent.start();
        QVERIFY2(tray.waitForFinished(5s), tray.describe());
        QVERIFY2(
            sinceSwayWent.elapsed() < 1000, qPrintable(QString::number(sinceSwayWent.elapsed())));
        QVERIFY2(!tray.describe().contains("crashed"), tray.describe());
        QDir(home).removeRecursively();
    }

    void aBackendAskedForThatIsNotThereEndsEveryCommand()
    {
        QProcessEnvironment environment = desktop().environment();
        environment.remove(QStringLiteral("DISPLAY"));
        environment.insert(QStringLiteral("VANTOR_BACKEND"), QStringLiteral("x11"));
        for (const QStringList& arguments :
            {QStringList{}, QStringList{QStringLiteral("windows")}}) {
            const VantorRun run = VantorProcess::run(arguments, 30s, environment);
            QVERIFY2(run.exitedWith(1), run.describe());
            QCOMPARE(run.errLines(),
                QStringList{QStringLiteral("vantor: VANTOR_BACKEND=x11, but there is no X display "
                                           "(DISPLAY is not set).")});
        }
    }
};

VANTOR_SWAY_TEST_MAIN_WITH(SwayEndToEndTest,
    (SwayDesktop::Options{{QStringLiteral("bindsym Shift+Mod1+2 nop configured")}}))
#include "tst_sway_e2e.moc"

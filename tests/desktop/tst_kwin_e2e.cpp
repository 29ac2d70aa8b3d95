// Vantor on a headless KWin with real apps: a Wayland app (galculator) and an X11 app through
// XWayland (xterm). Vantor runs as the session's user, as KWin and the portal require; frames
// are read back through scripts of the test's own.
#include "KWinDesktop.h"
#include "TestMain.h"
#include "TrayHost.h"
#include "VantorProcess.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace std::chrono_literals;

namespace {

const QString kRegistered = QStringLiteral("✅ Registered shortcut for ");
const QString kCalculatorRunning = QStringLiteral("App is already running: Galculator");

// Physical keys, as fake input presses them (Linux input event codes).
constexpr int leftShift = 42;
constexpr int leftAlt = 56;
constexpr int keyOne = 2;
constexpr int keyThree = 4;

KWinDesktop& desktop()
{
    return *KWinDesktop::instance();
}

VantorRun vantor(const QStringList& arguments)
{
    return desktop().runAsSessionUser(
        QString::fromLocal8Bit(qgetenv("VANTOR_EXECUTABLE")), arguments, 30s);
}

// Whether KWin still holds a script that Vantor's process loaded (it names them
// "vantor-PID-N", N counting up from 0).
bool hasScriptsOf(qint64 pid, int upTo)
{
    for (int n = 0; n < upTo; ++n) {
        QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.KWin"),
            QStringLiteral("/Scripting"), QStringLiteral("org.kde.kwin.Scripting"),
            QStringLiteral("isScriptLoaded"));
        call.setArguments({QStringLiteral("vantor-%1-%2").arg(pid).arg(n)});
        const QDBusMessage reply = desktop().bus().call(call);
        if (reply.arguments().value(0).toBool())
            return true;
    }
    return false;
}

// A desktop entry of the test app (an X11 client, so an XWayland window here) in the session
// user's applications, named after its WM_CLASS instance.
void writeTestAppEntry(const QString& instance, const QStringList& options)
{
    QStringList exec{qEnvironmentVariable("VANTOR_TEST_APP"), QStringLiteral("--class"),
        instance + QStringLiteral(",VantorTestApp")};
    exec += options;
    const QString folder = desktop().sessionHome() + QStringLiteral("/.local/share/applications");
    QDir().mkpath(folder);
    QFile entry(folder + QLatin1Char('/') + instance + QStringLiteral(".desktop"));
    QVERIFY(entry.open(QIODevice::WriteOnly | QIODevice::Truncate));
    entry.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n"
                               "StartupWMClass=%1\n")
                    .arg(instance, exec.join(QLatin1Char(' ')))
                    .toUtf8());
}

QStringList linesOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// The processes whose windows `vantor windows --json` listed.
QList<qint64> listedPids(const VantorRun& windows)
{
    QList<qint64> pids;
    for (const QJsonValue& value : QJsonDocument::fromJson(windows.standardOutput).array())
        pids.append(value.toObject().value(QLatin1String("pid")).toInteger());
    return pids;
}

// KDE's global shortcuts, as its settings see and change them. Keys are Qt key codes.
QDBusMessage globalAccel(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.kglobalaccel"),
        QStringLiteral("/kglobalaccel"), QStringLiteral("org.kde.KGlobalAccel"), method);
    call.setArguments(arguments);
    return desktop().bus().call(call);
}

// The portal files Vantor's shortcuts under the component "vantor".
QStringList vantorAction(const QString& shortcutId)
{
    return {QStringLiteral("vantor"), shortcutId, QStringLiteral("vantor"), shortcutId};
}

QList<int> kdeKeysOf(const QString& shortcutId)
{
    const QDBusMessage reply = globalAccel(QStringLiteral("shortcut"), {vantorAction(shortcutId)});
    return qdbus_cast<QList<int>>(reply.arguments().value(0));
}

// What KDE's shortcut settings do when the user gives a shortcut another key.
bool rebindInKde(const QString& shortcutId, int key)
{
    const QDBusMessage reply = globalAccel(QStringLiteral("setForeignShortcut"),
        {vantorAction(shortcutId), QVariant::fromValue(QList<int>{key})});
    return reply.type() == QDBusMessage::ReplyMessage;
}

} // namespace

class KWinEndToEndTest : public QObject {
    Q_OBJECT

    qint64 m_calculator = 0;
    qint64 m_terminal = 0;
    QRect m_calculatorHome;
    QRect m_terminalHome;

    // The tray app as the session's user, once it holds Work's hot key. Its window is not
    // shown (offscreen): hot keys and sessions do not need it.
    static void startTrayWithoutWindow(VantorProcess& tray)
    {
        QProcessEnvironment environment = desktop().sessionUserEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        QVERIFY(tray.startAsNobody({}, environment));
        QVERIFY2(tray.waitForLines(kRegistered + QStringLiteral("Work at slot 0"), 1, 30s),
            tray.describe());
    }

    void scatter()
    {
        QVERIFY(desktop().placeFrame(m_calculator, QRect(900, 500, 400, 450)));
        QVERIFY(desktop().placeFrame(m_terminal, QRect(QPoint(20, 600), m_terminalHome.size())));
        QVERIFY(desktop().frameOf(m_calculator) != m_calculatorHome);
        QVERIFY(desktop().frameOf(m_terminal) != m_terminalHome);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_calculator = desktop().startApp(QStringLiteral("galculator"));
        m_terminal = desktop().startApp(QStringLiteral("xterm"));
        QVERIFY(m_calculator > 0 && m_terminal > 0);
        QVERIFY(desktop().placeFrame(m_calculator, QRect(1200, 80, 360, 420)));
        // xterm keeps to whole character cells: its home is where KWin put it.
        m_calculatorHome = *desktop().frameOf(m_calculator);
        m_terminalHome = *desktop().frameOf(m_terminal);
        const VantorRun capture = vantor({QStringLiteral("capture"), QStringLiteral("Work"),
            QStringLiteral("galculator"), QStringLiteral("debian-xterm")});
        QVERIFY2(capture.exitedWith(0), capture.describe());
    }

    void init() { failOnUnexpectedWarnings(); }

    void windowsAreListedFromKWin()
    {
        const VantorRun windows = vantor({QStringLiteral("windows"), QStringLiteral("--json")});
        QVERIFY2(windows.exitedWith(0), windows.describe());
        const QList<qint64> pids = listedPids(windows);
        QVERIFY2(pids.contains(m_calculator) && pids.contains(m_terminal), windows.describe());
    }

    // KWin numbers a new script by the count of loaded ones: with the first of two scripts
    // unloaded, Vantor's next script gets the number the second one still holds.
    void aScriptNumberStillInUseDoesNotStopVantor()
    {
        auto first = desktop().loadScript(QStringLiteral("report(1);"));
        const auto second = desktop().loadScript(QStringLiteral("report(2);"));
        QVERIFY(first && second);
        first.reset();
        const VantorRun windows = vantor({QStringLiteral("windows"), QStringLiteral("--json")});
        QVERIFY2(windows.exitedWith(0), windows.describe());
        QVERIFY2(listedPids(windows).contains(m_calculator), windows.describe());
    }

    void activationPutsBothAppsBackExactly()
    {
        scatter();
        const VantorRun activate = vantor({QStringLiteral("activate"), QStringLiteral("Work")});
        QVERIFY2(activate.exitedWith(0), activate.describe());
        QCOMPARE(desktop().frameOf(m_calculator), m_calculatorHome);
        QCOMPARE(desktop().frameOf(m_terminal), m_terminalHome);
    }

    void aClosedAppIsLaunchedOntoItsFrame()
    {
        desktop().stopApp(m_calculator);
        QTRY_VERIFY(desktop().windowsOf(m_calculator).isEmpty());
        const VantorRun activate = vantor({QStringLiteral("activate"), QStringLiteral("Work")});
        QVERIFY2(activate.exitedWith(0), activate.describe());
        QList<KWinWindow> calculators;
        for (const KWinWindow& window : desktop().windows()) {
            if (window.resourceClass == QLatin1String("galculator"))
                calculators.append(window);
        }
        QCOMPARE(calculators.size(), 1);
        QCOMPARE(calculators.first().frame, m_calculatorHome);
        m_calculator = calculators.first().pid;
        // Every script Vantor loaded went with it.
        QVERIFY(!hasScriptsOf(activate.pid, 50));
    }

    // The app moves its own window a moment after it is placed; Vantor puts it back.
    void aLaunchedAppThatMovesItselfIsPutBack()
    {
        const QString instance = QStringLiteral("kwin-mover");
        const QString log = desktop().sessionHome() + QStringLiteral("/mover.log");
        writeTestAppEntry(instance,
            {QStringLiteral("--move-after"), QStringLiteral("300"), QStringLiteral("1300"),
                QStringLiteral("650"), QStringLiteral("--log"), log});
        const qint64 first = desktop().startApp(qEnvironmentVariable("VANTOR_TEST_APP"),
            {QStringLiteral("--class"), instance + QStringLiteral(",VantorTestApp")});
        QVERIFY(first > 0);
        const QRect home(400, 200, 500, 320);
        QVERIFY(desktop().placeFrame(first, home));
        const VantorRun capture
            = vantor({QStringLiteral("capture"), QStringLiteral("Mover"), instance});
        QVERIFY2(capture.exitedWith(0), capture.describe());
        desktop().stopApp(first);

        const VantorRun activate = vantor({QStringLiteral("activate"), QStringLiteral("Mover")});
        QVERIFY2(activate.exitedWith(0), activate.describe());
        // KWin carries out the app's move, and the held frame's answer to it, before the app
        // hears of either: the app's own record shows only that it moved.
        const QStringList events = linesOf(log);
        QVERIFY2(events.contains(QStringLiteral("moved-self main 1300 650")),
            qPrintable(events.join(QLatin1Char('\n'))));
        QList<KWinWindow> movers;
        for (const KWinWindow& window : desktop().windows()) {
            if (window.resourceName == instance)
                movers.append(window);
        }
        QCOMPARE(movers.size(), 1);
        QCOMPARE(movers.first().frame, home);
        desktop().stopApp(movers.first().pid);
    }

    // The tray app holds Work's shortcut through the desktop portal; KWin's fake input types it.
    // Its window is not shown: the keys go to KWin's global shortcuts whatever has the focus.
    void hotKeysOfTheTrayApp()
    {
        VantorProcess tray;
        startTrayWithoutWindow(tray);
        if (QTest::currentTestFailed())
            return;

        scatter();
        QVERIFY(desktop().pressKeys({leftShift, leftAlt, keyOne}));
        QVERIFY2(tray.waitForLines(kCalculatorRunning), tray.describe());
        QTRY_COMPARE(desktop().frameOf(m_calculator), m_calculatorHome);
        QTRY_COMPARE(desktop().frameOf(m_terminal), m_terminalHome);

        // The user gives Work's shortcut another key in KDE's settings: Alt+#, which Shift+Alt+3
        // types. KDE names Shift+Alt+1 by the symbol it types, too.
        const QString shortcutId = QStringLiteral("vantor-alt-exclam");
        QCOMPARE(kdeKeysOf(shortcutId).value(0), (Qt::ALT | Qt::Key_Exclam).toCombined());
        QVERIFY(rebindInKde(shortcutId, (Qt::ALT | Qt::Key_NumberSign).toCombined()));
        QTRY_COMPARE(kdeKeysOf(shortcutId).value(0), (Qt::ALT | Qt::Key_NumberSign).toCombined());

        scatter();
        const int before = tray.countLines(kCalculatorRunning);
        QVERIFY(desktop().pressKeys({leftShift, leftAlt, keyThree}));
        QVERIFY2(tray.waitForLines(kCalculatorRunning, before + 1), tray.describe());
        QTRY_COMPARE(desktop().frameOf(m_calculator), m_calculatorHome);

        // The old combination does nothing: KWin hands out the keys in the order they were
        // typed, so once the new one has acted again, the old one would have too.
        QVERIFY(desktop().pressKeys({leftShift, leftAlt, keyOne}));
        QVERIFY(desktop().pressKeys({leftShift, leftAlt, keyThree}));
        QVERIFY2(tray.waitForLines(kCalculatorRunning, before + 2), tray.describe());
        QCOMPARE(tray.countLines(kCalculatorRunning), before + 2);

        QVERIFY(tray.terminate());
        QVERIFY2(tray.exitedWith(0), tray.describe());
    }

    // Plasma's panel shows StatusNotifierItems: the tray icon registers with the desktop's
    // watcher, its menu lists the workspaces, and choosing one restores it. The tray app runs
    // as a Wayland client here, with its window.
    void trayIconIsAStatusNotifierItem()
    {
        TrayHost host(desktop().environment());
        QVERIFY(host.start());
        VantorProcess tray;
        QVERIFY(tray.startAsNobody({}, desktop().sessionUserEnvironment()));
        const QByteArray registered = host.nextLine();
        QVERIFY2(registered.startsWith("item "), registered + host.errors() + tray.describe());
        const QString item = QString::fromUtf8(registered.mid(5));
        QVERIFY2(tray.waitForLines(kRegistered + QStringLiteral("Work at slot 0"), 1, 30s),
            tray.describe());
        const QStringList menu = host.says({QStringLiteral("menu"), item});
        QVERIFY2(menu.contains(QStringLiteral("Work")), qPrintable(menu.join(QLatin1Char('|'))));

        scatter();
        QCOMPARE(host.says({QStringLiteral("click"), item, QStringLiteral("Work")}), QStringList{});
        QTRY_COMPARE(desktop().frameOf(m_calculator), m_calculatorHome);
        QTRY_COMPARE(desktop().frameOf(m_terminal), m_terminalHome);

        QVERIFY(tray.terminate());
        QVERIFY2(tray.exitedWith(0), tray.describe());
    }

    // Last: it ends the desktop's KWin. The tray app runs without a window here: with one, Qt's
    // Wayland platform ends the process by itself once the compositor's socket closes, while
    // this watches Vantor's own answer to KWin leaving the session bus.
    void vantorEndsWithTheSession()
    {
        VantorProcess tray;
        startTrayWithoutWindow(tray);
        if (QTest::currentTestFailed())
            return;
        QElapsedTimer sinceKWinWent;
        desktop().stop();
        sinceKWinWent.start();
        QVERIFY2(tray.waitForFinished(5s), tray.describe());
        QVERIFY2(
            sinceKWinWent.elapsed() < 1000, qPrintable(QString::number(sinceKWinWent.elapsed())));
        QVERIFY2(!tray.describe().contains("crashed"), tray.describe());
    }
};

VANTOR_KWIN_TEST_MAIN(KWinEndToEndTest)
#include "tst_kwin_e2e.moc"

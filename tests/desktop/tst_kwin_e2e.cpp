// Vantor on a headless KWin with real apps: a Wayland app (galculator) and an X11 app through
// XWayland (xterm). Vantor runs as the session's user, as KWin and the portal require; frames
// are read back through scripts of the test's own.
#include "KWinDesktop.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QDBusMessage>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

using namespace std::chrono_literals;

namespace {

const QString kRegistered = QStringLiteral("✅ Registered shortcut for ");

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

} // namespace

class KWinEndToEndTest : public QObject {
    Q_OBJECT

    qint64 m_calculator = 0;
    qint64 m_terminal = 0;
    QRect m_calculatorHome;
    QRect m_terminalHome;

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
        QList<qint64> pids;
        for (const QJsonValue& value : QJsonDocument::fromJson(windows.standardOutput).array())
            pids.append(value.toObject().value(QLatin1String("pid")).toInteger());
        QVERIFY2(pids.contains(m_calculator) && pids.contains(m_terminal), windows.describe());
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

    // Last: it ends the desktop's KWin. The tray app runs without a window here: with one, Qt's
    // Wayland platform ends the process by itself once the compositor's socket closes, while
    // this watches Vantor's own answer to KWin leaving the session bus.
    void vantorEndsWithTheSession()
    {
        QProcessEnvironment environment = desktop().sessionUserEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        VantorProcess tray;
        QVERIFY(tray.startAsNobody({}, environment));
        QVERIFY2(tray.waitForLines(kRegistered + QStringLiteral("Work at slot 0"), 1, 30s),
            tray.describe());
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

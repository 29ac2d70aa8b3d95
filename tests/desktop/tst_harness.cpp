#include "TestMain.h"

#include <QDir>
#include <QStandardPaths>

#include <csignal>

// The harness itself: a private home and display, apps waited for and ended by PID.
class HarnessTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void homeAndDisplayArePrivate()
    {
        const QString home = QDir::homePath();
        QVERIFY(home.startsWith(QDir::tempPath() + QStringLiteral("/vantor-test-")));
        QVERIFY(qEnvironmentVariable("XDG_DATA_HOME").startsWith(home.section(u'/', 0, -2)));
        QVERIFY(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                    .startsWith(home.section(u'/', 0, -2)));
        QCOMPARE(qgetenv("DISPLAY"), TestDesktop::instance()->display());
        QVERIFY(TestDesktop::instance()->probe().windowManagerIsReady());
    }

    void appsAreWaitedForAndEndedByPid()
    {
        TestDesktop& desktop = *TestDesktop::instance();
        const qint64 pid = desktop.startApp(QStringLiteral("xlogo"),
            {QStringLiteral("-geometry"), QStringLiteral("200x150+40+60")});
        QVERIFY(pid > 0);
        QCOMPARE(desktop.probe().clientWindowsOf(static_cast<std::int32_t>(pid)).size(), 1);
        desktop.stopApp(pid);
        QTRY_VERIFY(desktop.probe().clientWindowsOf(static_cast<std::int32_t>(pid)).isEmpty());
        QCOMPARE(::kill(static_cast<pid_t>(pid), 0), -1);
    }
};

VANTOR_DESKTOP_TEST_MAIN(HarnessTest)
#include "tst_harness.moc"

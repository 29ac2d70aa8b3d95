#include "FakeDesktop.h"
#include "TestMain.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <csignal>
#include <unistd.h>

#include <sys/stat.h>

using Platform::LaunchResult;
using Platform::RunningApplication;

namespace {

QString applicationsDir()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
}

QString writeFile(const QString& path, const QByteArray& contents, bool executable = false)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write %s", qPrintable(path));
    file.write(contents);
    file.close();
    if (executable)
        ::chmod(QFile::encodeName(path).constData(), 0755);
    return path;
}

QString writeEntry(const QString& id, const QString& body)
{
    return writeFile(applicationsDir() + id + QStringLiteral(".desktop"),
        (QStringLiteral("[Desktop Entry]\nType=Application\n") + body).toUtf8());
}

bool processHasGone(qint64 pid)
{
    // A zombie keeps its /proc entry until it is reaped.
    return !QFileInfo::exists(QStringLiteral("/proc/%1").arg(pid));
}

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Outcome {
    bool done = false;
    Platform::LaunchResult result;
    bool launched() const { return done && result.outcome == LaunchResult::Outcome::Launched; }
    bool failed() const { return done && result.outcome == LaunchResult::Outcome::Failed; }
};

// The PID a test program wrote as the first line of its report file; 0 until then.
Platform::ProcessId reportedPid(const QString& path)
{
    return contentsOf(path).split('\n').value(0).toInt();
}

Platform::WindowInfo window(Platform::ProcessId pid, Platform::WindowKind kind
    = Platform::WindowKind::Normal)
{
    Platform::WindowInfo info;
    info.pid = pid;
    info.kind = kind;
    info.isNormalLayer = true;
    info.isOnScreen = true;
    info.frame = {10, 10, 200, 100};
    return info;
}

} // namespace

// Launching desktop entries through GIO, for real, with programs that need no display; the
// windows that complete a launch are told by a fake window system.
class LaunchGioTest : public QObject {
    Q_OBJECT

    FakeWindowSystem m_windows;
    std::unique_ptr<Platform::Applications> m_apps;
    QTemporaryDir m_work;

    QString work(const QString& name) const { return m_work.filePath(name); }

    std::shared_ptr<Outcome> launch(
        const QString& id, std::chrono::milliseconds timeout = std::chrono::seconds(20))
    {
        auto outcome = std::make_shared<Outcome>();
        m_apps->launch(applicationsDir() + id + QStringLiteral(".desktop"), timeout,
            [outcome](const Platform::LaunchResult& result) {
                if (outcome->done)
                    qFatal("The completion ran twice");
                outcome->done = true;
                outcome->result = result;
            });
        return outcome;
    }

private Q_SLOTS:
    void initTestCase();
    void init()
    {
        failOnUnexpectedWarnings();
        m_windows = FakeWindowSystem();
        m_apps = Platform::createApplications(m_windows);
        for (const QString& report : QDir(m_work.path()).entryList({QStringLiteral("*.out")}))
            QFile::remove(work(report));
    }
    void cleanup() { m_apps.reset(); }

    void aLaunchCompletesWithTheFirstMainWindowOfItsProcess();
    void splashScreensAndDialogsDoNotCompleteALaunch();
    void aWindowOfAChildCompletesTheLaunch();
    void aWrapperThatLeavesItsAppBehindIsWaitedFor();
    void aWindowWithTheLaunchsStartupIdCompletesIt();
    void aWindowOfTheSameAppCompletesTheLaunch();
    void windowsOfOtherAppsAreIgnored();
    void aLaunchWithoutWindowTimesOut();
    void aProgramThatEndsWithoutWindowFails();
    void aProgramThatFailsIsReportedWithItsStatus();
    void aBrokenExecGivesTheSpawnError();
    void aFileThatIsNoEntryGivesAnError();
    void launchedAppsNeitherReadNorWriteVantorsStreams();
    void theApplicationPathIsFoundById();
    void argumentsPassUnchangedAndNoShellRunsThem();
    void startupNotificationOnlyForEntriesThatAskForIt();
    void openUsesTheDefaultHandlerOfTheFileType();
};

void LaunchGioTest::initTestCase()
{
    QVERIFY(m_work.isValid());
    qputenv("DESKTOP_STARTUP_ID", "inherited-from-the-parent");
    // Writes its PID, its launch environment, where its output goes and its arguments, one
    // per line, to the file named by its first argument; then lives on when asked to.
    writeFile(work(QStringLiteral("report.sh")),
        "#!/bin/sh\nout=\"$1\"; shift\n"
        "in=$(readlink /proc/$$/fd/0); o=$(readlink /proc/$$/fd/1); e=$(readlink /proc/$$/fd/2)\n"
        "{ printf '%s\\n' \"$$\" \"${DESKTOP_STARTUP_ID-unset}\" "
        "\"$GIO_LAUNCHED_DESKTOP_FILE_PID\" \"${VANTOR_LAUNCH_ID-unset}\" \"$in\" \"$o\" \"$e\" "
        "\"$@\"; } > \"$out.tmp\" && mv \"$out.tmp\" \"$out\"\n"
        "[ \"$1\" = stay ] && exec sleep 60\nexit 0\n",
        true);
    writeFile(work(QStringLiteral("broken.sh")), "#!/nonexistent/interpreter\n", true);

    writeEntry(QStringLiteral("org.example.Touch"),
        QStringLiteral("Name=Touch “it”; ü日本\nExec=touch %1\n")
            .arg(work(QStringLiteral("touched"))));
    writeEntry(QStringLiteral("org.example.Broken"),
        QStringLiteral("Name=Broken\nExec=%1\n").arg(work(QStringLiteral("broken.sh"))));
    writeEntry(QStringLiteral("org.example.False"), QStringLiteral("Name=False\nExec=false\n"));
    QDir().mkpath(work(QStringLiteral("quoted")));
    // Inside double quotes an entry escapes $ and ` with a backslash, itself doubled by
    // the key-file rules.
    writeEntry(QStringLiteral("org.example.Quoted"),
        QStringLiteral("Name=Quoted\nPath=%1\n"
                       "Exec=touch \"a;b \\\\$(touch pwned) \\\\`touch pwned2\\\\` 'q' ü日本\" "
                       "$(touch pwned3) ;touch pwned4\n")
            .arg(work(QStringLiteral("quoted"))));
    writeEntry(QStringLiteral("org.example.Notify"),
        QStringLiteral("Name=Notify\nStartupNotify=true\nStartupWMClass=NotifyClass\n"
                       "Exec=%1 %2 stay\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("notify.out"))));
    writeEntry(QStringLiteral("org.example.Quiet"),
        QStringLiteral("Name=Quiet\nExec=%1 %2 stay\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("quiet.out"))));
    writeEntry(QStringLiteral("org.example.Parent"),
        QStringLiteral("Name=Parent\nExec=sh -c \"%1 %2 stay & wait\"\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("parent.out"))));
    writeEntry(QStringLiteral("org.example.Wrapper"),
        QStringLiteral("Name=Wrapper\nExec=sh -c \"%1 %2 stay & exit 0\"\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("wrapper.out"))));
    writeEntry(QStringLiteral("vantor-test-viewer"),
        QStringLiteral("Name=Viewer\nMimeType=text/markdown;\nNoDisplay=true\nExec=%1 %2 %f\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("viewer.out"))));
    writeFile(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/mimeapps.list"),
        "[Default Applications]\ntext/markdown=vantor-test-viewer.desktop\n");
}

void LaunchGioTest::aLaunchCompletesWithTheFirstMainWindowOfItsProcess()
{
    const auto outcome = launch(QStringLiteral("org.example.Quiet"));
    QCOMPARE(m_windows.watchCount(), 1);
    QTRY_VERIFY(reportedPid(work(QStringLiteral("quiet.out"))) > 0);
    const Platform::ProcessId pid = reportedPid(work(QStringLiteral("quiet.out")));
    QCoreApplication::processEvents();
    QVERIFY(!outcome->done); // started, but no window yet
    m_windows.showWindow(window(pid));
    QVERIFY(outcome->launched());
    const auto& application = outcome->result.application;
    QVERIFY(application);
    QCOMPARE(application->processIdentifier, pid);
    QCOMPARE(application->bundleIdentifier, QStringLiteral("org.example.Quiet"));
    QCOMPARE(application->localizedName, QStringLiteral("Quiet"));
    QCOMPARE(application->bundlePath, applicationsDir() + QStringLiteral("org.example.Quiet.desktop"));
    QCOMPARE(m_windows.watchCount(), 0); // nothing is watched once no launch is pending
    ::kill(pid, SIGTERM);
}

void LaunchGioTest::splashScreensAndDialogsDoNotCompleteALaunch()
{
    const auto outcome = launch(QStringLiteral("org.example.Quiet"));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("quiet.out"))) > 0);
    const Platform::ProcessId pid = reportedPid(work(QStringLiteral("quiet.out")));
    m_windows.showWindow(window(pid, Platform::WindowKind::Other)); // a splash screen
    m_windows.showWindow(window(pid, Platform::WindowKind::Dialog));
    QVERIFY(!outcome->done);
    m_windows.showWindow(window(pid));
    QVERIFY(outcome->launched());
    ::kill(pid, SIGTERM);
}

void LaunchGioTest::aWindowOfAChildCompletesTheLaunch()
{
    const auto outcome = launch(QStringLiteral("org.example.Parent"));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("parent.out"))) > 0);
    const Platform::ProcessId child = reportedPid(work(QStringLiteral("parent.out")));
    m_windows.showWindow(window(child));
    QVERIFY(outcome->launched());
    QCOMPARE(outcome->result.application->processIdentifier, child);
    ::kill(child, SIGTERM);
}

void LaunchGioTest::aWrapperThatLeavesItsAppBehindIsWaitedFor()
{
    const auto outcome = launch(QStringLiteral("org.example.Wrapper"), std::chrono::seconds(30));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("wrapper.out"))) > 0);
    const Platform::ProcessId app = reportedPid(work(QStringLiteral("wrapper.out")));
    // The wrapper has ended; its app, no longer its child, still counts as this launch.
    QTest::qWait(2500);
    QVERIFY(!outcome->done);
    m_windows.showWindow(window(app));
    QVERIFY(outcome->launched());
    ::kill(app, SIGTERM);
}

void LaunchGioTest::aWindowWithTheLaunchsStartupIdCompletesIt()
{
    const auto outcome = launch(QStringLiteral("org.example.Notify"));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("notify.out"))) > 0);
    const QList<QByteArray> report = contentsOf(work(QStringLiteral("notify.out"))).split('\n');
    Platform::WindowInfo shown = window(0); // an owner the server does not know
    shown.startupId = QStringLiteral("vantor-some-other-launch");
    m_windows.showWindow(shown);
    QVERIFY(!outcome->done);
    shown.startupId = QString::fromUtf8(report.value(1));
    m_windows.showWindow(shown);
    QVERIFY(outcome->launched());
    ::kill(report.value(0).toInt(), SIGTERM);
}

void LaunchGioTest::aWindowOfTheSameAppCompletesTheLaunch()
{
    // A single-instance app hands the launch to its running process, which opens the window.
    const auto outcome = launch(QStringLiteral("org.example.Notify"));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("notify.out"))) > 0);
    Platform::WindowInfo shown = window(::getpid());
    shown.wmClassInstance = QStringLiteral("notify");
    shown.wmClass = QStringLiteral("NotifyClass");
    m_windows.showWindow(shown);
    QVERIFY(outcome->launched());
    QCOMPARE(outcome->result.application->processIdentifier, ::getpid());
    ::kill(reportedPid(work(QStringLiteral("notify.out"))), SIGTERM);
}

void LaunchGioTest::windowsOfOtherAppsAreIgnored()
{
    const auto outcome = launch(QStringLiteral("org.example.Quiet"), std::chrono::milliseconds(600));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("quiet.out"))) > 0);
    Platform::WindowInfo other = window(::getpid());
    other.wmClass = QStringLiteral("SomethingElse");
    m_windows.showWindow(other);
    QVERIFY(!outcome->done);
    QTRY_VERIFY(outcome->done);
    QCOMPARE(outcome->result.outcome, LaunchResult::Outcome::TimedOut);
    ::kill(reportedPid(work(QStringLiteral("quiet.out"))), SIGTERM);
}

void LaunchGioTest::aLaunchWithoutWindowTimesOut()
{
    QElapsedTimer timer;
    timer.start();
    const auto outcome = launch(QStringLiteral("org.example.Quiet"), std::chrono::milliseconds(400));
    QTRY_VERIFY(outcome->done);
    QVERIFY(timer.elapsed() >= 400);
    QCOMPARE(outcome->result.outcome, LaunchResult::Outcome::TimedOut);
    QCOMPARE(outcome->result.application, std::nullopt);
    QCOMPARE(m_windows.watchCount(), 0);
    // The app is left running: it may still open its window.
    const Platform::ProcessId pid = reportedPid(work(QStringLiteral("quiet.out")));
    QVERIFY(!processHasGone(pid));
    ::kill(pid, SIGTERM);
}

void LaunchGioTest::aProgramThatEndsWithoutWindowFails()
{
    const auto outcome = launch(QStringLiteral("org.example.Touch"));
    QTRY_VERIFY(outcome->done);
    QVERIFY(outcome->failed());
    QCOMPARE(outcome->result.error, QStringLiteral("“touch” ended without opening a window"));
    QVERIFY(QFileInfo::exists(work(QStringLiteral("touched"))));
}

void LaunchGioTest::aProgramThatFailsIsReportedWithItsStatus()
{
    QElapsedTimer timer;
    timer.start();
    const auto outcome = launch(QStringLiteral("org.example.False"));
    QTRY_VERIFY(outcome->done);
    QVERIFY(timer.elapsed() < 2000); // at once, not after a time limit
    QVERIFY(outcome->failed());
    QCOMPARE(outcome->result.error,
        QStringLiteral("“false” exited with status 1 before it opened a window"));
}

void LaunchGioTest::aBrokenExecGivesTheSpawnError()
{
    const auto outcome = launch(QStringLiteral("org.example.Broken"));
    QTRY_VERIFY(outcome->done);
    QVERIFY(outcome->failed());
    QCOMPARE(outcome->result.application, std::nullopt);
    QVERIFY2(outcome->result.error.startsWith(QStringLiteral("Failed to execute child process")),
        qPrintable(outcome->result.error));
    QVERIFY(outcome->result.error.contains(QStringLiteral("broken.sh")));
}

void LaunchGioTest::aFileThatIsNoEntryGivesAnError()
{
    auto outcome = std::make_shared<Outcome>();
    m_apps->launch(work(QStringLiteral("broken.sh")), std::chrono::seconds(5),
        [outcome](const Platform::LaunchResult& result) {
            outcome->done = true;
            outcome->result = result;
        });
    QVERIFY(!outcome->done);
    QTRY_VERIFY(outcome->done);
    QVERIFY(outcome->failed());
    QVERIFY(outcome->result.error.contains(QStringLiteral("broken.sh")));
}

void LaunchGioTest::launchedAppsNeitherReadNorWriteVantorsStreams()
{
    const auto outcome = launch(QStringLiteral("org.example.Quiet"));
    QTRY_VERIFY(reportedPid(work(QStringLiteral("quiet.out"))) > 0);
    const QList<QByteArray> report = contentsOf(work(QStringLiteral("quiet.out"))).split('\n');
    QCOMPARE(report.value(4), QByteArray("/dev/null"));
    // The user's journal where it runs, else nowhere.
    for (const QByteArray& output : {report.value(5), report.value(6)}) {
        QVERIFY2(output == "/dev/null" || output.startsWith("socket:"), output.constData());
    }
    ::kill(report.value(0).toInt(), SIGTERM);
}

void LaunchGioTest::theApplicationPathIsFoundById()
{
    QCOMPARE(m_apps->applicationPath(QStringLiteral("org.example.Touch")),
        applicationsDir() + QStringLiteral("org.example.Touch.desktop"));
    QCOMPARE(m_apps->applicationPath(QStringLiteral("debian-xterm")),
        QStringLiteral("/usr/share/applications/debian-xterm.desktop"));
    QCOMPARE(m_apps->applicationPath(QStringLiteral("org.example.Nothing")), std::nullopt);
    QCOMPARE(m_apps->applicationPath(QStringLiteral("org.example.touch")), std::nullopt);
    QCOMPARE(m_apps->applicationPath(QString()), std::nullopt);
}

void LaunchGioTest::argumentsPassUnchangedAndNoShellRunsThem()
{
    const auto outcome = launch(QStringLiteral("org.example.Quoted"));
    QTRY_VERIFY(outcome->done);
    const QStringList made = QDir(work(QStringLiteral("quoted"))).entryList(QDir::Files);
    QCOMPARE(made,
        (QStringList{QStringLiteral("$(touch"), QStringLiteral(";touch"),
            QStringLiteral("a;b $(touch pwned) `touch pwned2` 'q' ü日本"),
            QStringLiteral("pwned3)"), QStringLiteral("pwned4")}));
}

void LaunchGioTest::startupNotificationOnlyForEntriesThatAskForIt()
{
    launch(QStringLiteral("org.example.Notify"));
    launch(QStringLiteral("org.example.Quiet"));
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("notify.out"))));
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("quiet.out"))));
    const QList<QByteArray> notified = contentsOf(work(QStringLiteral("notify.out"))).split('\n');
    QVERIFY2(notified.value(1).startsWith("vantor-"), notified.value(1).constData());
    QVERIFY(notified.value(1).contains("org.example.Notify"));
    QCOMPARE(notified.value(2), notified.value(0));
    const QList<QByteArray> quietly = contentsOf(work(QStringLiteral("quiet.out"))).split('\n');
    QCOMPARE(quietly.value(1), QByteArray("unset"));
    // Every launch, with or without, carries an ID of its own to its children.
    QVERIFY(notified.value(3) != "unset" && quietly.value(3) != "unset");
    QVERIFY(notified.value(3) != quietly.value(3));
    ::kill(notified.value(0).toInt(), SIGTERM);
    ::kill(quietly.value(0).toInt(), SIGTERM);
}

void LaunchGioTest::openUsesTheDefaultHandlerOfTheFileType()
{
    const QString page = writeFile(work(QStringLiteral("page one; “x”.md")), "# Help\n");
    m_apps->open(QUrl::fromLocalFile(page));
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("viewer.out"))));
    QCOMPARE(contentsOf(work(QStringLiteral("viewer.out"))).split('\n').value(7), page.toUtf8());
}

VANTOR_UNIT_TEST_MAIN(LaunchGioTest)
#include "tst_launch_gio.moc"

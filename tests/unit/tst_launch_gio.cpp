#include "FakeDesktop.h"
#include "TestMain.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <sys/stat.h>

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
    std::optional<RunningApplication> application;
    std::optional<QString> error;
};

} // namespace

// Launching desktop entries through GIO, for real, with programs that need no display.
class LaunchGioTest : public QObject {
    Q_OBJECT

    FakeWindowSystem m_windows;
    std::unique_ptr<Platform::Applications> m_apps;
    QTemporaryDir m_work;

    QString work(const QString& name) const { return m_work.filePath(name); }

    std::shared_ptr<Outcome> launch(const QString& path)
    {
        auto outcome = std::make_shared<Outcome>();
        m_apps->launch(path,
            [outcome](std::optional<RunningApplication> application, std::optional<QString> error) {
                if (outcome->done)
                    qFatal("The completion ran twice");
                outcome->done = true;
                outcome->application = std::move(application);
                outcome->error = std::move(error);
            });
        return outcome;
    }

private Q_SLOTS:
    void initTestCase();
    void init()
    {
        failOnUnexpectedWarnings();
        m_apps = Platform::createApplications(m_windows);
    }

    void anEntryIsLaunchedAndItsProcessReported();
    void theChildIsReapedWhenItEnds();
    void aBrokenExecGivesTheSpawnError();
    void aFileThatIsNoEntryGivesAnError();
    void theApplicationPathIsFoundById();
    void argumentsPassUnchangedAndNoShellRunsThem();
    void startupNotificationOnlyForEntriesThatAskForIt();
    void openUsesTheDefaultHandlerOfTheFileType();
};

void LaunchGioTest::initTestCase()
{
    QVERIFY(m_work.isValid());
    qputenv("DESKTOP_STARTUP_ID", "inherited-from-the-parent");
    // Writes its arguments, its launch environment and its PID, one per line, to the file
    // named by its first argument.
    writeFile(work(QStringLiteral("report.sh")),
        "#!/bin/sh\nout=\"$1\"; shift\n"
        "{ printf '%s\\n' \"$$\" \"${DESKTOP_STARTUP_ID-unset}\" "
        "\"$GIO_LAUNCHED_DESKTOP_FILE_PID\" \"$@\"; } > \"$out.tmp\" && mv \"$out.tmp\" \"$out\"\n",
        true);
    writeFile(work(QStringLiteral("broken.sh")), "#!/nonexistent/interpreter\n", true);

    writeEntry(QStringLiteral("org.example.Touch"),
        QStringLiteral("Name=Touch “it”; ü日本\nExec=touch %1\n")
            .arg(work(QStringLiteral("touched"))));
    writeEntry(QStringLiteral("org.example.Broken"),
        QStringLiteral("Name=Broken\nExec=%1\n").arg(work(QStringLiteral("broken.sh"))));
    QDir().mkpath(work(QStringLiteral("quoted")));
    // Inside double quotes an entry escapes $ and ` with a backslash, itself doubled by
    // the key-file rules.
    writeEntry(QStringLiteral("org.example.Quoted"),
        QStringLiteral("Name=Quoted\nPath=%1\n"
                       "Exec=touch \"a;b \\\\$(touch pwned) \\\\`touch pwned2\\\\` 'q' ü日本\" "
                       "$(touch pwned3) ;touch pwned4\n")
            .arg(work(QStringLiteral("quoted"))));
    writeEntry(QStringLiteral("org.example.Notify"),
        QStringLiteral("Name=Notify\nStartupNotify=true\nExec=%1 %2\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("notify.out"))));
    writeEntry(QStringLiteral("org.example.Quiet"),
        QStringLiteral("Name=Quiet\nExec=%1 %2\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("quiet.out"))));
    writeEntry(QStringLiteral("vantor-test-viewer"),
        QStringLiteral("Name=Viewer\nMimeType=text/markdown;\nNoDisplay=true\nExec=%1 %2 %f\n")
            .arg(work(QStringLiteral("report.sh")), work(QStringLiteral("viewer.out"))));
    writeFile(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/mimeapps.list"),
        "[Default Applications]\ntext/markdown=vantor-test-viewer.desktop\n");
}

void LaunchGioTest::anEntryIsLaunchedAndItsProcessReported()
{
    const QString path = applicationsDir() + QStringLiteral("org.example.Touch.desktop");
    const auto outcome = launch(path);
    QVERIFY(!outcome->done); // the completion comes from the event loop
    QTRY_VERIFY(outcome->done);
    QCOMPARE(outcome->error, std::nullopt);
    QVERIFY(outcome->application);
    QVERIFY(outcome->application->processIdentifier > 0);
    QCOMPARE(outcome->application->bundleIdentifier, QStringLiteral("org.example.Touch"));
    QCOMPARE(outcome->application->localizedName, QStringLiteral("Touch “it”; ü日本"));
    QCOMPARE(outcome->application->bundlePath, path);
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("touched"))));
}

void LaunchGioTest::theChildIsReapedWhenItEnds()
{
    const auto outcome = launch(applicationsDir() + QStringLiteral("org.example.Touch.desktop"));
    QTRY_VERIFY(outcome->done);
    QVERIFY(outcome->application);
    const qint64 pid = outcome->application->processIdentifier;
    QTRY_VERIFY(processHasGone(pid));
}

void LaunchGioTest::aBrokenExecGivesTheSpawnError()
{
    const auto outcome = launch(applicationsDir() + QStringLiteral("org.example.Broken.desktop"));
    QTRY_VERIFY(outcome->done);
    QCOMPARE(outcome->application, std::nullopt);
    QVERIFY(outcome->error);
    QVERIFY2(outcome->error->startsWith(QStringLiteral("Failed to execute child process")),
        qPrintable(*outcome->error));
    QVERIFY(outcome->error->contains(QStringLiteral("broken.sh")));
}

void LaunchGioTest::aFileThatIsNoEntryGivesAnError()
{
    const auto outcome = launch(work(QStringLiteral("broken.sh")));
    QVERIFY(!outcome->done);
    QTRY_VERIFY(outcome->done);
    QCOMPARE(outcome->application, std::nullopt);
    QVERIFY(outcome->error && outcome->error->contains(QStringLiteral("broken.sh")));
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
    const auto outcome = launch(applicationsDir() + QStringLiteral("org.example.Quoted.desktop"));
    QTRY_VERIFY(outcome->done);
    QCOMPARE(outcome->error, std::nullopt);
    QTRY_VERIFY(processHasGone(outcome->application->processIdentifier));
    const QStringList made = QDir(work(QStringLiteral("quoted"))).entryList(QDir::Files);
    QCOMPARE(made,
        (QStringList{QStringLiteral("$(touch"), QStringLiteral(";touch"),
            QStringLiteral("a;b $(touch pwned) `touch pwned2` 'q' ü日本"),
            QStringLiteral("pwned3)"), QStringLiteral("pwned4")}));
}

void LaunchGioTest::startupNotificationOnlyForEntriesThatAskForIt()
{
    const auto notify = launch(applicationsDir() + QStringLiteral("org.example.Notify.desktop"));
    const auto quiet = launch(applicationsDir() + QStringLiteral("org.example.Quiet.desktop"));
    QTRY_VERIFY(notify->done && quiet->done);
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("notify.out"))));
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("quiet.out"))));
    const QList<QByteArray> notified = contentsOf(work(QStringLiteral("notify.out"))).split('\n');
    const QByteArray pid = QByteArray::number(notify->application->processIdentifier);
    QCOMPARE(notified.value(0), pid);
    QVERIFY2(notified.value(1).startsWith("vantor-"), notified.value(1).constData());
    QVERIFY(notified.value(1).contains("org.example.Notify"));
    QCOMPARE(notified.value(2), pid);
    const QList<QByteArray> quietly = contentsOf(work(QStringLiteral("quiet.out"))).split('\n');
    QCOMPARE(quietly.value(0), QByteArray::number(quiet->application->processIdentifier));
    QCOMPARE(quietly.value(1), QByteArray("unset"));
}

void LaunchGioTest::openUsesTheDefaultHandlerOfTheFileType()
{
    const QString page = writeFile(work(QStringLiteral("page one; “x”.md")), "# Help\n");
    m_apps->open(QUrl::fromLocalFile(page));
    QTRY_VERIFY(QFileInfo::exists(work(QStringLiteral("viewer.out"))));
    QCOMPARE(contentsOf(work(QStringLiteral("viewer.out"))).split('\n').value(3), page.toUtf8());
}

VANTOR_UNIT_TEST_MAIN(LaunchGioTest)
#include "tst_launch_gio.moc"

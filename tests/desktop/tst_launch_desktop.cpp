#include "ConsoleCapture.h"
#include "TestMain.h"
#include "Util/WindowManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRect>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>
#include <sys/stat.h>

namespace {

QString applicationsDir()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
}

void writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write %s", qPrintable(path));
    file.write(contents);
}

void writeEntry(const QString& id, const QString& body)
{
    writeFile(applicationsDir() + id + QStringLiteral(".desktop"),
        (QStringLiteral("[Desktop Entry]\nType=Application\n") + body).toUtf8());
}

QString hex(std::uint32_t window)
{
    return QStringLiteral("0x%1").arg(window, 0, 16);
}

const QString logoId = QStringLiteral("org.example.Logo");
const QString brokenId = QStringLiteral("org.example.Broken");
const QString weirdId = QStringLiteral("org.example.Wéird;$(x)");
const QString weirdTitle
    = QStringLiteral("a;b $(touch %1/pwned) `touch %1/pwned2` 'q' \"dq\" ü日本");

// The window's frame as the window manager draws it, read with xwininfo and xprop.
QRect outerFrame(std::uint32_t window)
{
    const QString info = QString::fromLatin1(
        TestDesktop::run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), hex(window)}));
    const auto number = [&info](const char* label) {
        const QRegularExpression pattern(QLatin1String(label) + QStringLiteral(":\\s+(-?\\d+)"));
        return pattern.match(info).captured(1).toInt();
    };
    const QList<QByteArray> extents = TestDesktop::run(QStringLiteral("xprop"),
        {QStringLiteral("-id"), hex(window), QStringLiteral("-notype"),
            QStringLiteral("_NET_FRAME_EXTENTS")})
                                          .split('=')
                                          .value(1)
                                          .split(',');
    if (extents.size() != 4)
        return {};
    const int left = extents.at(0).trimmed().toInt();
    const int right = extents.at(1).trimmed().toInt();
    const int top = extents.at(2).trimmed().toInt();
    const int bottom = extents.at(3).trimmed().toInt();
    return QRect(number("Absolute upper-left X") - left, number("Absolute upper-left Y") - top,
        number("Width") + left + right, number("Height") + top + bottom);
}

} // namespace

// Opening apps on the test desktop: real launches of test entries, real windows.
class LaunchDesktopTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_work;
    std::unique_ptr<Platform::WindowSystem> m_windowSystem;
    std::unique_ptr<Platform::Applications> m_applications;
    std::unique_ptr<WindowManager> m_manager;
    std::unique_ptr<ConsoleCapture> m_console;
    QList<std::uint32_t> m_before; // the windows before each test

    TestDesktop& desktop() const { return *TestDesktop::instance(); }
    XProbe& probe() const { return desktop().probe(); }

    AppInfoPtr record(const QString& bundleIdentifier) const
    {
        const ScreenSize screen = m_manager->mainScreenSize();
        return AppInfo::create(QUuid::createUuid(), QStringLiteral("Stored"), bundleIdentifier,
            true, {},
            {std::make_shared<AppLayout>(
                QUuid::createUuid(), screen.width, screen.height, 500, 400, 300, 200)});
    }

    // The processes whose windows appeared since `before`.
    QList<std::int32_t> newProcesses(const QList<std::uint32_t>& before) const
    {
        QList<std::int32_t> pids;
        for (const std::uint32_t window : probe().clientWindows()) {
            const std::int32_t pid = probe().pidOf(window);
            if (pid > 0 && !before.contains(window) && !pids.contains(pid))
                pids.append(pid);
        }
        return pids;
    }

    bool isListedAsRunning(std::int32_t pid) const
    {
        const auto running = m_applications->runningApplications();
        return std::any_of(running.cbegin(), running.cend(),
            [pid](const auto& app) { return app.processIdentifier == pid; });
    }

    // Ends the processes and waits until the window manager has dropped their windows.
    void endProcesses(const QList<std::int32_t>& pids)
    {
        QList<std::uint32_t> windows;
        for (const std::int32_t pid : pids) {
            windows += probe().clientWindowsOf(pid);
            ::kill(pid, SIGTERM);
        }
        QTRY_VERIFY(std::none_of(windows.cbegin(), windows.cend(),
            [this](std::uint32_t window) { return probe().clientWindows().contains(window); }));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_work.isValid());
        writeEntry(logoId,
            QStringLiteral("Name=Logo\nStartupWMClass=vantor-logo\n"
                           "Exec=xlogo -name vantor-logo -geometry 200x150+40+60\n"));
        const QString broken = m_work.filePath(QStringLiteral("broken.sh"));
        writeFile(broken, "#!/nonexistent/interpreter\n");
        ::chmod(QFile::encodeName(broken).constData(), 0755);
        writeEntry(brokenId, QStringLiteral("Name=Broken\nExec=%1\n").arg(broken));
        // Inside double quotes an entry escapes $, ` and " with a backslash, which the
        // key-file rules double.
        QString quoted = weirdTitle.arg(m_work.path());
        quoted.replace(QLatin1Char('$'), QStringLiteral("\\\\$"))
            .replace(QLatin1Char('`'), QStringLiteral("\\\\`"))
            .replace(QLatin1Char('"'), QStringLiteral("\\\\\""));
        writeEntry(weirdId,
            QStringLiteral("Name=We \"ird\"; $(x) ü日本\nStartupWMClass=vantor-weird\n"
                           "Exec=xlogo -name vantor-weird -title \"%1\"\n")
                .arg(quoted));
        m_windowSystem = Platform::createWindowSystem();
        m_applications = Platform::createApplications(*m_windowSystem);
        m_manager = std::make_unique<WindowManager>(*m_windowSystem, *m_applications);
    }

    void init()
    {
        failOnUnexpectedWarnings();
        m_console = std::make_unique<ConsoleCapture>();
        m_before = probe().clientWindows();
    }

    void cleanup()
    {
        m_console.reset();
        endProcesses(newProcesses(m_before));
    }

    void theWindowManagerIsTrusted()
    {
        QVERIFY(m_manager->checkAccessibilityTrust());
        QCOMPARE(m_console->lines(),
            QStringList{QStringLiteral("Accessibility permissions are granted.")});
    }

    void aMissingAppIsLaunchedAndItsWindowAppears()
    {
        m_manager->openApp(record(logoId));
        QCOMPARE(m_console->lines(), QStringList()); // the completion comes later
        QTRY_COMPARE(m_console->lines(),
            QStringList{QStringLiteral(
                "App launched successfully with bundle identifier: org.example.Logo")});
        QTRY_COMPARE(newProcesses(m_before).size(), 1);
        const std::int32_t pid = newProcesses(m_before).first();
        // The new app is the active one.
        const std::uint32_t window = probe().clientWindowsOf(pid).value(0);
        QTRY_VERIFY(TestDesktop::run(QStringLiteral("xprop"),
            {QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")})
                        .contains(hex(window).toLatin1()));

        // Running now: placed at once, not launched again.
        QTRY_VERIFY(isListedAsRunning(pid));
        m_console->clear();
        m_manager->openApp(record(logoId));
        QCOMPARE(m_console->lines(), QStringList{QStringLiteral("App is already running: Logo")});
        QTRY_COMPARE(outerFrame(window), QRect(500, 400, 300, 200));
        QCOMPARE(newProcesses(m_before).size(), 1);
    }

    void twoRecordsOfOneMissingAppLaunchTwoProcesses()
    {
        m_manager->openApps({record(logoId), record(logoId)});
        const QString launched
            = QStringLiteral("App launched successfully with bundle identifier: org.example.Logo");
        QTRY_COMPARE(m_console->lines(), (QStringList{launched, launched}));
        QTRY_COMPARE(newProcesses(m_before).size(), 2);
    }

    void aBrokenExecIsReportedAndNothingElseHappens()
    {
        m_manager->openApp(record(brokenId));
        QTRY_COMPARE(m_console->lines().size(), 1);
        const QString line = m_console->lines().first();
        QVERIFY2(line.startsWith(QStringLiteral(
                     "Failed to launch app with bundle identifier org.example.Broken: ")),
            qPrintable(line));
        QVERIFY(line.contains(QStringLiteral("broken.sh")));
        QCOMPARE(newProcesses(m_before), QList<std::int32_t>());
    }

    void anAppThatIsNotInstalledIsReported()
    {
        m_manager->openApp(record(QStringLiteral("org.example.NotInstalled")));
        QCOMPARE(m_console->lines(),
            QStringList{QStringLiteral("Failed to find app with bundle identifier: "
                                       "org.example.NotInstalled")});
    }

    void quotesAndShellSyntaxPassThroughUnchanged()
    {
        m_manager->openApp(record(weirdId));
        QTRY_COMPARE(m_console->lines(),
            QStringList{
                QStringLiteral("App launched successfully with bundle identifier: ") + weirdId});
        QTRY_COMPARE(newProcesses(m_before).size(), 1);
        const std::int32_t pid = newProcesses(m_before).first();
        QFile commandLine(QStringLiteral("/proc/%1/cmdline").arg(pid));
        QVERIFY(commandLine.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(commandLine.readAll()).split(QChar(0)),
            (QStringList{QStringLiteral("xlogo"), QStringLiteral("-name"),
                QStringLiteral("vantor-weird"), QStringLiteral("-title"),
                weirdTitle.arg(m_work.path()), QString()}));
        QVERIFY(!QFileInfo::exists(m_work.filePath(QStringLiteral("pwned"))));
        QVERIFY(!QFileInfo::exists(m_work.filePath(QStringLiteral("pwned2"))));

        QTRY_VERIFY(isListedAsRunning(pid));
        const auto running = m_applications->runningApplications();
        const auto app = std::find_if(running.cbegin(), running.cend(),
            [pid](const auto& a) { return a.processIdentifier == pid; });
        QVERIFY(app != running.cend());
        QCOMPARE(app->localizedName, QStringLiteral("We \"ird\"; $(x) ü日本"));
    }
};

VANTOR_DESKTOP_TEST_MAIN(LaunchDesktopTest)
#include "tst_launch_desktop.moc"

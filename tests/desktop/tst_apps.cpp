#include "TestMain.h"
#include "Util/RunningApps.h"
#include "Util/WindowManager.h"

#include <QFile>

using Platform::ActivationPolicy;
using Platform::RunningApplication;

namespace {

QString applicationsDir()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
}

void writeEntry(const QString& id, const QString& body)
{
    QFile file(applicationsDir() + id + QStringLiteral(".desktop"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write the entry %s", qPrintable(id));
    file.write((QStringLiteral("[Desktop Entry]\nType=Application\n") + body).toUtf8());
}

QStringList geometry(int x, int y)
{
    return {QStringLiteral("-geometry"), QStringLiteral("200x150+%1+%2").arg(x).arg(y)};
}

QString hex(std::uint32_t window)
{
    return QStringLiteral("0x%1").arg(window, 0, 16);
}

} // namespace

// Real apps on the test desktop, matched to test entries in the private data folder.
class AppsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Platform::WindowSystem> m_windowSystem;
    std::unique_ptr<Platform::Applications> m_applications;
    std::unique_ptr<WindowManager> m_manager;

    QList<qint64> m_started;

    TestDesktop& desktop() const { return *TestDesktop::instance(); }

    qint64 start(const QString& program, const QStringList& arguments = {})
    {
        const qint64 pid = desktop().startApp(program, arguments);
        m_started.append(pid);
        return pid;
    }

    std::optional<RunningApplication> running(qint64 pid) const
    {
        for (const RunningApplication& app : m_applications->runningApplications()) {
            if (app.processIdentifier == pid)
                return app;
        }
        return std::nullopt;
    }

    std::uint32_t onlyWindowOf(qint64 pid) const
    {
        const QList<std::uint32_t> windows
            = desktop().probe().clientWindowsOf(static_cast<std::int32_t>(pid));
        return windows.size() == 1 ? windows.first() : 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        writeEntry(QStringLiteral("org.example.Clock"),
            QStringLiteral("Name=Test Clock\nExec=xclock\nStartupWMClass=XClock\n"));
        writeEntry(QStringLiteral("org.example.Foo"), QStringLiteral("Name=Foo App\nExec=true\n"));
        writeEntry(QStringLiteral("vantor-test-eyes"),
            QStringLiteral("Name=Test Eyes\nExec=xeyes -geometry 100x100\n"));
        m_windowSystem = Platform::createWindowSystem();
        m_applications = Platform::createApplications(*m_windowSystem);
        m_manager = std::make_unique<WindowManager>(*m_windowSystem, *m_applications);
    }

    void init() { failOnUnexpectedWarnings(); }

    void cleanup()
    {
        for (const qint64 pid : std::as_const(m_started))
            desktop().stopApp(pid);
        m_started.clear();
    }

    void anAppStartedByHandIsMatchedByStartupWmClass()
    {
        const qint64 pid = start(QStringLiteral("xclock"), geometry(40, 60));
        QVERIFY(pid > 0);
        QTRY_VERIFY(running(pid)); // the window manager may list the window a little later
        const auto app = running(pid);
        QVERIFY(app);
        QCOMPARE(app->bundleIdentifier, QStringLiteral("org.example.Clock"));
        QCOMPARE(app->localizedName, QStringLiteral("Test Clock"));
        QCOMPARE(app->bundlePath, applicationsDir() + QStringLiteral("org.example.Clock.desktop"));
        QCOMPARE(app->activationPolicy, ActivationPolicy::Regular);
        QCOMPARE(app->windowCount, 1);
    }

    void aSystemEntryIsFoundToo()
    {
        const qint64 pid = start(QStringLiteral("xterm"));
        QVERIFY(pid > 0);
        QTRY_VERIFY(running(pid)); // the window manager may list the window a little later
        const auto app = running(pid);
        QVERIFY(app);
        QCOMPARE(app->bundleIdentifier, QStringLiteral("debian-xterm"));
        QCOMPARE(app->localizedName, QStringLiteral("XTerm"));
    }

    void aWindowNamingItsGtkApplicationIdIsMatchedByIt()
    {
        const qint64 pid = start(QStringLiteral("xlogo"), geometry(300, 60));
        QVERIFY(pid > 0);
        QTRY_VERIFY(running(pid)); // the window manager may list the window a little later
        QCOMPARE(running(pid)->bundleIdentifier, std::nullopt);
        QCOMPARE(running(pid)->localizedName, QStringLiteral("XLogo"));
        const std::uint32_t window = onlyWindowOf(pid);
        QVERIFY(window);
        TestDesktop::run(QStringLiteral("xprop"),
            {QStringLiteral("-id"), hex(window), QStringLiteral("-f"),
                QStringLiteral("_GTK_APPLICATION_ID"), QStringLiteral("8u"), QStringLiteral("-set"),
                QStringLiteral("_GTK_APPLICATION_ID"), QStringLiteral("org.example.Foo")});
        QTRY_COMPARE(running(pid)->bundleIdentifier, QStringLiteral("org.example.Foo"));
        QCOMPARE(running(pid)->localizedName, QStringLiteral("Foo App"));
    }

    void aProcessIsMatchedByItsCommandLine()
    {
        const qint64 pid = start(QStringLiteral("xeyes"), geometry(600, 60));
        QVERIFY(pid > 0);
        QTRY_VERIFY(running(pid)); // the window manager may list the window a little later
        QCOMPARE(running(pid)->bundleIdentifier, QStringLiteral("vantor-test-eyes"));
    }

    void anAppKeptOffTheTaskbarIsAnAccessory()
    {
        const qint64 pid = start(QStringLiteral("xclock"), geometry(40, 300));
        QVERIFY(pid > 0);
        QTRY_VERIFY(running(pid)); // the window manager may list the window a little later
        QCOMPARE(running(pid)->activationPolicy, ActivationPolicy::Regular);
        TestDesktop::run(QStringLiteral("wmctrl"),
            {QStringLiteral("-i"), QStringLiteral("-r"), hex(onlyWindowOf(pid)),
                QStringLiteral("-b"), QStringLiteral("add,skip_taskbar")});
        QTRY_COMPARE(running(pid)->activationPolicy, ActivationPolicy::Accessory);
        const RunningApps apps(*m_manager);
        QVERIFY(apps.get().isEmpty());
        const AppInfoPtr record = AppInfo::create(QUuid::createUuid(), QStringLiteral("Clock"),
            QStringLiteral("org.example.Clock"), true, {});
        QVERIFY(!apps.areAllAppsRunning({record}));
    }

    void getListsRunningAppsOldestFirstWithTheirWindows()
    {
        const qint64 clock = start(QStringLiteral("xclock"), geometry(40, 500));
        const qint64 logo = start(QStringLiteral("xlogo"), geometry(300, 500));
        QVERIFY(clock > 0 && logo > 0);
        QTRY_VERIFY(running(clock) && running(logo));
        // Bring the older app to the front: the order stays that of the processes.
        TestDesktop::run(QStringLiteral("wmctrl"),
            {QStringLiteral("-i"), QStringLiteral("-a"), hex(onlyWindowOf(clock))});
        const QList<AppInfoPtr> apps = RunningApps(*m_manager).get();
        QCOMPARE(apps.size(), 2);
        QCOMPARE(apps.at(0)->name(), QStringLiteral("Test Clock"));
        QCOMPARE(apps.at(0)->bundleIdentifier(), QStringLiteral("org.example.Clock"));
        QCOMPARE(apps.at(0)->layouts().size(), 1);
        QCOMPARE(apps.at(1)->name(), QStringLiteral("XLogo"));
        QCOMPARE(apps.at(1)->bundleIdentifier(), std::nullopt);
        QCOMPARE(apps.at(1)->path(), QString());
        QCOMPARE(apps.at(1)->layouts().size(), 1);
        const AppInfoPtr record = AppInfo::create(QUuid::createUuid(), QStringLiteral("Clock"),
            QStringLiteral("org.example.Clock"), true, {});
        QVERIFY(RunningApps(*m_manager).areAllAppsRunning({record}));
        cleanup();
        QTRY_VERIFY(RunningApps(*m_manager).get().isEmpty());
    }
};

VANTOR_DESKTOP_TEST_MAIN(AppsTest)
#include "tst_apps.moc"

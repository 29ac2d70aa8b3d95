#include "ConsoleCapture.h"
#include "Extensions/AppInfo+Ext.h"
#include "FakeDesktop.h"
#include "TestMain.h"
#include "Util/RunningApps.h"
#include "Util/WindowManager.h"

#include <QFileInfo>
#include <QSignalSpy>

using Platform::ActivationPolicy;
using Platform::RunningApplication;

namespace {

const QString editorId = QStringLiteral("org.example.Editor");
const QString editorPath = QStringLiteral("/usr/share/applications/org.example.Editor.desktop");

AppLayoutPtr layout(double screenWidth, double screenHeight, double x, double y)
{
    return std::make_shared<AppLayout>(
        QUuid::createUuid(), screenWidth, screenHeight, x, y, 640, 480);
}

AppInfoPtr record(
    const std::optional<QString>& bundleIdentifier, const QList<AppLayoutPtr>& layouts = {})
{
    return AppInfo::create(
        QUuid::createUuid(), QStringLiteral("Editor"), bundleIdentifier, true, editorPath, layouts);
}

Platform::LaunchResult launched(Platform::ProcessId pid)
{
    RunningApplication application;
    application.processIdentifier = pid;
    application.bundleIdentifier = editorId;
    application.localizedName = QStringLiteral("Editor");
    Platform::LaunchResult result;
    result.application = application;
    return result;
}

Platform::LaunchResult failed(const QString& error)
{
    Platform::LaunchResult result;
    result.outcome = Platform::LaunchResult::Outcome::Failed;
    result.error = error;
    return result;
}

Platform::LaunchResult timedOut()
{
    Platform::LaunchResult result;
    result.outcome = Platform::LaunchResult::Outcome::TimedOut;
    return result;
}

} // namespace

// Opening the apps of a workspace: placing running ones, launching missing ones, and the
// check that windows of other apps can be controlled.
class LaunchTest : public QObject {
    Q_OBJECT

    FakeWindowSystem m_windows;
    FakeApplications m_apps;
    std::unique_ptr<WindowManager> m_manager;
    std::unique_ptr<ConsoleCapture> m_console;

    QStringList lines() const { return m_console->lines(); }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_windows = FakeWindowSystem();
        m_apps = FakeApplications();
        m_manager = std::make_unique<WindowManager>(m_windows, m_apps);
        m_console = std::make_unique<ConsoleCapture>();
    }

    void cleanup() { m_console.reset(); }

    void aRecordWithoutBundleIdentifierDoesNothing()
    {
        m_apps.addRunning(5, std::nullopt, QStringLiteral("Editor"));
        m_windows.addWindow(5, {0, 0, 100, 100});
        m_apps.installed.insert(editorId, editorPath);
        m_manager->openApp(record(std::nullopt, {layout(1920, 1080, 1, 2)}));
        QCOMPARE(lines(), QStringList());
        QVERIFY(m_windows.placements.isEmpty());
        QVERIFY(m_apps.launches.isEmpty());
    }

    void aRunningAppIsPlacedAtOnce()
    {
        m_apps.addRunning(7, editorId, QStringLiteral("Editor"));
        m_windows.addWindow(7, {0, 0, 100, 100});
        m_windows.addWindow(7, {5, 5, 100, 100});
        m_apps.installed.insert(editorId, editorPath);
        m_manager->openApp(record(editorId,
            {layout(2560, 1440, 9, 9), layout(1920, 1080, 30, 40), layout(1920, 1080, 50, 60)}));
        QCOMPARE(lines(), QStringList{QStringLiteral("App is already running: Editor")});
        QCOMPARE(m_windows.placements.size(), 1);
        const PlacementRequest& placement = m_windows.placements.at(0);
        QCOMPARE(placement.windows, (QList<Platform::WindowId>{1, 2}));
        QCOMPARE(placement.position, QPointF(30, 40));
        QCOMPARE(placement.size, QSizeF(640, 480));
        QVERIFY(m_apps.launches.isEmpty());
    }

    void aRunningAppWithoutLayoutForThisScreenIsLeftAlone()
    {
        m_apps.addRunning(7, editorId, QStringLiteral("Editor"));
        m_windows.addWindow(7, {0, 0, 100, 100});
        m_manager->openApp(record(editorId, {layout(1920, 1079, 30, 40)}));
        QCOMPARE(lines(), QStringList{QStringLiteral("App is already running: Editor")});
        QVERIFY(m_windows.placements.isEmpty());
    }

    void aRunningAppWithoutNameIsReportedAsUnknown()
    {
        m_apps.addRunning(7, editorId, std::nullopt);
        m_manager->openApp(record(editorId));
        QCOMPARE(lines(), QStringList{QStringLiteral("App is already running: Unknown")});
    }

    void theFirstRunningAppWithTheIdentifierIsPlaced()
    {
        m_apps.addRunning(8, editorId, QStringLiteral("First"));
        m_apps.addRunning(9, editorId, QStringLiteral("Second"));
        m_windows.addWindow(9, {0, 0, 100, 100});
        m_windows.addWindow(8, {0, 0, 100, 100});
        m_manager->openApp(record(editorId, {layout(1920, 1080, 1, 1)}));
        QCOMPARE(lines(), QStringList{QStringLiteral("App is already running: First")});
        QCOMPARE(m_windows.placements.value(0).windows, QList<Platform::WindowId>{2});
    }

    void aRunningAppWhoseWindowsCannotBeReadIsReported()
    {
        m_apps.addRunning(77, editorId, QStringLiteral("Editor"));
        m_windows.unreadableProcesses.append(77);
        m_manager->openApp(record(editorId, {layout(1920, 1080, 1, 1)}));
        QCOMPARE(lines(),
            (QStringList{QStringLiteral("App is already running: Editor"),
                QStringLiteral("Could not retrieve windows for 77.")}));
    }

    void anAccessoryAppIsFoundButDoesNotCountAsRunning()
    {
        m_apps.addRunning(7, editorId, QStringLiteral("Editor"), ActivationPolicy::Accessory);
        m_windows.addWindow(7, {0, 0, 100, 100});
        m_apps.installed.insert(editorId, editorPath);
        const AppInfoPtr app = record(editorId, {layout(1920, 1080, 3, 4)});
        m_manager->openApp(app);
        QCOMPARE(lines(), QStringList{QStringLiteral("App is already running: Editor")});
        QCOMPARE(m_windows.placements.size(), 1);
        QVERIFY(m_apps.launches.isEmpty());
        QVERIFY(!RunningApps(*m_manager).areAllAppsRunning({app}));
    }

    void anAppThatIsNotInstalledIsReported()
    {
        m_manager->openApp(record(QStringLiteral("org.example.Gone")));
        QCOMPARE(lines(),
            QStringList{
                QStringLiteral("Failed to find app with bundle identifier: org.example.Gone")});
        QVERIFY(m_apps.launches.isEmpty());
    }

    void aMissingAppIsLaunchedAndPlacedInTheCompletion()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_manager->openApp(record(editorId, {layout(1920, 1080, 70, 80)}));
        QCOMPARE(m_apps.launches.size(), 1);
        QCOMPARE(m_apps.launches.at(0).path, editorPath);
        QCOMPARE(lines(), QStringList());

        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(launched(42));
        QCOMPARE(lines(),
            QStringList{QStringLiteral(
                "App launched successfully with bundle identifier: org.example.Editor")});
        QCOMPARE(m_windows.placements.size(), 1);
        QCOMPARE(m_windows.placements.at(0).windows, QList<Platform::WindowId>{1});
        QCOMPARE(m_windows.placements.at(0).position, QPointF(70, 80));
    }

    void aLaunchedAppIsHeldOnItsFrameForTheSettleTime()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_manager->setLaunchSettings({std::chrono::milliseconds(2500), std::chrono::milliseconds(700)});
        m_manager->openApp(record(editorId, {layout(1920, 1080, 70, 80)}));
        QCOMPARE(m_apps.launches.at(0).timeout, std::chrono::milliseconds(2500));
        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(launched(42));
        QCOMPARE(m_windows.holds.size(), 1);
        QCOMPARE(m_windows.holds.at(0).windows, QList<Platform::WindowId>{1});
        QCOMPARE(m_windows.holds.at(0).target, (Frame{70, 80, 640, 480}));
        QCOMPARE(m_windows.holds.at(0).duration, std::chrono::milliseconds(700));
    }

    void aSettleTimeOfZeroHoldsNothing()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_manager->setLaunchSettings({std::chrono::milliseconds(2500), std::chrono::milliseconds(0)});
        m_manager->openApp(record(editorId, {layout(1920, 1080, 70, 80)}));
        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(launched(42));
        QCOMPARE(m_windows.placements.size(), 1);
        QVERIFY(m_windows.holds.isEmpty());
    }

    void runningAppsAreNotHeld()
    {
        m_apps.addRunning(7, editorId, QStringLiteral("Editor"));
        m_windows.addWindow(7, {0, 0, 100, 100});
        m_manager->openApp(record(editorId, {layout(1920, 1080, 30, 40)}));
        QCOMPARE(m_windows.placements.size(), 1);
        QVERIFY(m_windows.holds.isEmpty());
    }

    void aLaunchWithoutLayoutIsOnlyReported()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_manager->openApp(record(editorId, {layout(800, 600, 70, 80)}));
        m_apps.launches.at(0).completion(launched(42));
        QCOMPARE(lines().size(), 1);
        QVERIFY(m_windows.placements.isEmpty());
    }

    void aLaunchThatTimesOutIsReportedAndNothingIsPlaced()
    {
        m_apps.installed.insert(editorId, editorPath);
        const ActivationPtr activation
            = m_manager->openApps({record(editorId, {layout(1920, 1080, 70, 80)})});
        QVERIFY(!activation->isFinished());
        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(timedOut());
        QCOMPARE(lines(),
            QStringList{QStringLiteral("Timed out waiting for a window of org.example.Editor")});
        QVERIFY(m_windows.placements.isEmpty());
        QVERIFY(activation->isFinished());
        QVERIFY(activation->hasFailures());
        QCOMPARE(activation->outcomes().at(0).state, AppOutcome::State::TimedOut);
    }

    void anActivationTellsEachAppsOutcome()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_apps.addRunning(3, QStringLiteral("org.example.Running"), QStringLiteral("Running"));
        m_windows.addWindow(3, {0, 0, 10, 10});
        const QList<AppInfoPtr> apps{record(QStringLiteral("org.example.Running"),
                                         {layout(1920, 1080, 1, 1)}),
            record(editorId, {layout(1920, 1080, 70, 80)}), record(std::nullopt)};
        const auto activation = std::make_shared<Activation>(apps);
        QSignalSpy finished(activation.get(), &Activation::finished);
        m_manager->openAppsFor(activation);
        QVERIFY(!activation->isFinished());
        QVERIFY(!activation->hasFailures());
        QCOMPARE(finished.count(), 0);
        QCOMPARE(activation->outcomes().at(0).state, AppOutcome::State::AlreadyRunning);
        QVERIFY(activation->outcomes().at(0).placed);
        QCOMPARE(activation->outcomes().at(1).state, AppOutcome::State::Pending);
        QCOMPARE(activation->outcomes().at(2).state, AppOutcome::State::Skipped);

        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(launched(42));
        QCOMPARE(finished.count(), 1);
        QVERIFY(activation->isFinished());
        QVERIFY(!activation->hasFailures());
        QCOMPARE(activation->outcomes().at(1).state, AppOutcome::State::Launched);
        QCOMPARE(activation->outcomes().at(1).pid, std::optional<Platform::ProcessId>(42));
        QVERIFY(activation->outcomes().at(1).placed);
    }

    void aLaterActivationWaitsForTheLaunchUnderWay()
    {
        m_apps.installed.insert(editorId, editorPath);
        const ActivationPtr first
            = m_manager->openApps({record(editorId, {layout(1920, 1080, 10, 10)})});
        const ActivationPtr second
            = m_manager->openApps({record(editorId, {layout(1920, 1080, 20, 20)})});
        QCOMPARE(m_apps.launches.size(), 1);
        QVERIFY(!second->isFinished());

        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(launched(42));
        QVERIFY(first->isFinished());
        QVERIFY(second->isFinished());
        QCOMPARE(second->outcomes().at(0).state, AppOutcome::State::AlreadyRunning);
        QCOMPARE(m_windows.placements.size(), 2);
        QCOMPARE(m_windows.placements.at(1).position, QPointF(20, 20));
        QCOMPARE(lines(),
            (QStringList{QStringLiteral(
                             "App launched successfully with bundle identifier: org.example.Editor"),
                QStringLiteral("App is already running: Editor")}));

        // Once the launch has completed, a new activation launches again if the app is gone.
        m_manager->openApps({record(editorId)});
        QCOMPARE(m_apps.launches.size(), 2);
    }

    void aLaterActivationSharesATimeOut()
    {
        m_apps.installed.insert(editorId, editorPath);
        const ActivationPtr first = m_manager->openApps({record(editorId)});
        const ActivationPtr second = m_manager->openApps({record(editorId)});
        m_apps.launches.at(0).completion(timedOut());
        QCOMPARE(second->outcomes().at(0).state, AppOutcome::State::TimedOut);
        QVERIFY(second->hasFailures());
    }

    void aFailedLaunchIsReportedWithTheError()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_manager->openApp(record(editorId, {layout(1920, 1080, 70, 80)}));
        m_apps.launches.at(0).completion(
            failed(QStringLiteral("Failed to execute child process “x”")));
        QCOMPARE(lines(),
            QStringList{
                QStringLiteral("Failed to launch app with bundle identifier org.example.Editor: "
                               "Failed to execute child process “x”")});
        QVERIFY(m_windows.placements.isEmpty());
    }

    void twoRecordsOfOneMissingAppLaunchItTwice()
    {
        m_apps.installed.insert(editorId, editorPath);
        openApps({record(editorId, {layout(1920, 1080, 10, 10)}),
                     record(editorId, {layout(1920, 1080, 20, 20)})},
            *m_manager);
        QCOMPARE(m_apps.launches.size(), 2);
        m_windows.addWindow(50, {0, 0, 10, 10});
        m_windows.addWindow(51, {0, 0, 10, 10});
        // Completions may come in any order; each places with its own record's layout.
        m_apps.launches.at(1).completion(launched(51));
        m_apps.launches.at(0).completion(launched(50));
        QCOMPARE(m_windows.placements.size(), 2);
        QCOMPARE(m_windows.placements.at(0).windows, QList<Platform::WindowId>{2});
        QCOMPARE(m_windows.placements.at(0).position, QPointF(20, 20));
        QCOMPARE(m_windows.placements.at(1).windows, QList<Platform::WindowId>{1});
        QCOMPARE(m_windows.placements.at(1).position, QPointF(10, 10));
    }

    void openAppsGoesInOrderWithoutWaiting()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_apps.addRunning(3, QStringLiteral("org.example.Running"), QStringLiteral("Running"));
        m_manager->openApps({record(QStringLiteral("org.example.Gone")), record(editorId),
            record(std::nullopt), record(QStringLiteral("org.example.Running"))});
        QCOMPARE(lines(),
            (QStringList{QStringLiteral("Failed to find app with bundle identifier: "
                                        "org.example.Gone"),
                QStringLiteral("App is already running: Running")}));
        QCOMPARE(m_apps.launches.size(), 1);
        m_manager->openApps({});
        QCOMPARE(lines().size(), 2);
    }

    void theCompletionOutlivesTheManager()
    {
        m_apps.installed.insert(editorId, editorPath);
        m_manager->openApp(record(editorId, {layout(1920, 1080, 70, 80)}));
        m_manager.reset();
        m_windows.addWindow(42, {0, 0, 10, 10});
        m_apps.launches.at(0).completion(launched(42));
        QCOMPARE(m_windows.placements.size(), 1);
    }

    void anActivationReadsTheDesktopOnceAndPlacesInOneBatch()
    {
        QList<AppInfoPtr> apps;
        for (int i = 0; i < 10; ++i) {
            const QString id = QStringLiteral("org.example.App%1").arg(i);
            m_apps.addRunning(100 + i, id, id);
            m_windows.addWindow(100 + i, {0, 0, 10, 10});
            apps.append(AppInfo::create(QUuid::createUuid(), id, id, true, QString(),
                {layout(1920, 1080, 10 * i, 20 * i)}));
        }
        m_apps.addRunning(200, QStringLiteral("org.example.Gone"), QStringLiteral("Gone"));
        m_windows.unreadableProcesses.append(200);
        apps.append(record(QStringLiteral("org.example.Gone"), {layout(1920, 1080, 1, 1)}));

        const ActivationPtr activation = m_manager->openApps(apps);

        QCOMPARE(m_apps.runningReads, 1);
        QCOMPARE(m_windows.windowListReads, 1);
        QCOMPARE(m_windows.placementBatches, 1);
        QCOMPARE(m_windows.placements.size(), 10);
        for (int i = 0; i < 10; ++i) {
            QCOMPARE(m_windows.placements.at(i).windows,
                QList<Platform::WindowId>{static_cast<Platform::WindowId>(i + 1)});
            QCOMPARE(m_windows.placements.at(i).position, QPointF(10 * i, 20 * i));
            QVERIFY(activation->outcomes().at(i).placed);
        }
        QVERIFY(!activation->outcomes().at(10).placed);
        QCOMPARE(lines().last(), QStringLiteral("Could not retrieve windows for 200."));
        QVERIFY(activation->isFinished());
    }

    void aTrustedDesktopIsReported()
    {
        QVERIFY(m_manager->checkAccessibilityTrust());
        QCOMPARE(lines(), QStringList{QStringLiteral("Accessibility permissions are granted.")});
        QVERIFY(m_apps.opened.isEmpty());
    }

    void anUntrustedDesktopOpensTheHelpPageEveryTime()
    {
        m_windows.controlsWindows = false;
        QVERIFY(!m_manager->checkAccessibilityTrust());
        QVERIFY(!m_manager->checkAccessibilityTrust());
        QCOMPARE(lines(),
            (QStringList{QStringLiteral("Accessibility permissions are not granted."),
                QStringLiteral("Accessibility permissions are not granted.")}));
        QCOMPARE(m_apps.opened.size(), 2);
        const QUrl page = m_apps.opened.at(0);
        QVERIFY(page.isLocalFile());
        QCOMPARE(QFileInfo(page.toLocalFile()).fileName(), QStringLiteral("window-control.md"));
        QFile file(page.toLocalFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("Wayland"));
    }
};

VANTOR_UNIT_TEST_MAIN(LaunchTest)
#include "tst_launch.moc"

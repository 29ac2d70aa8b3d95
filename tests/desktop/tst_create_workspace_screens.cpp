// The create-workspace sheet on a real main window over a real store: its three steps,
// their checks, the illustration of the launch step on a test clock, and saving.
#include "ContentViewModel.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"
#include "UIComponents/Theme.h"

#include "FakeScheduler.h"
#include "MainWindowOnFakes.h"
#include "SceneItems.h"
#include "TestMain.h"

#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>

#include <memory>

using namespace std::chrono_literals;

namespace {

const QString applicationsDir = QStringLiteral("/usr/share/applications/");

QString bundleOf(const QString& name)
{
    return QStringLiteral("org.example.") + name;
}

} // namespace

class CreateWorkspaceScreensTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<MainWindowOnFakes> m_fakes;
    std::shared_ptr<FakeScheduler> m_scheduler;

    QWindow* window() const { return m_fakes->mainWindow->window(); }
    QQuickItem* find(const QString& name) const
    {
        return SceneItems::visibleNamed(window(), name).value(0);
    }
    QStringList texts(const QString& name) const { return SceneItems::texts(window(), name); }
    void click(const QString& name) { SceneItems::click(window(), find(name)); }

    CreateWorkspaceViewModel* flow() const
    {
        return m_fakes->mainWindow->content()->workspaceViewModel()->createViewModel();
    }

    void runApp(Platform::ProcessId pid, const QString& name, Frame frame = {100, 100, 640, 480})
    {
        m_fakes->applications->addRunning(pid, bundleOf(name), name);
        m_fakes->applications->installed.insert(bundleOf(name), applicationsDir + bundleOf(name) + QStringLiteral(".desktop"));
        m_fakes->windows->addWindow(pid, frame);
    }

    void quitApp(Platform::ProcessId pid)
    {
        m_fakes->applications->running.removeIf(
            [pid](const Platform::RunningApplication& app) { return app.processIdentifier == pid; });
        m_fakes->windows->windows.removeIf(
            [pid](const Platform::WindowInfo& window) { return window.pid == pid; });
    }

    static QStringList storedNames() { return MainWindowOnFakes::storedNames(); }

    // Shows the main window and opens the sheet on step one, on the test's clock.
    void openSheet()
    {
        if (!m_fakes->mainWindow->isVisible())
            QVERIFY(m_fakes->show());
        QTRY_VERIFY(find(QStringLiteral("addWorkspaceButton")));
        click(QStringLiteral("addWorkspaceButton"));
        QTRY_VERIFY(find(QStringLiteral("setupStep")));
        QVERIFY(flow());
        flow()->setScheduler(m_scheduler);
        flow()->setBringToFront([] { });
    }

    void typeName(const QString& name)
    {
        QTRY_VERIFY(find(QStringLiteral("nameField"))->hasActiveFocus());
        for (const QChar character : name)
            QTest::keyClick(window(), character.toLatin1());
        QCOMPARE(flow()->name(), name);
    }

    QColor nameOutline() const
    {
        return QQmlProperty::read(find(QStringLiteral("nameFieldBackground")),
            QStringLiteral("border.color"))
            .value<QColor>();
    }

    QString imageName() const
    {
        return find(QStringLiteral("launchAppsStep"))->property("imageName").toString();
    }

    // From step one with a name typed to the launch step.
    void continueToLaunchStep()
    {
        click(QStringLiteral("continueButton"));
        QTRY_VERIFY(find(QStringLiteral("launchAppsStep")));
        QTRY_VERIFY(!find(QStringLiteral("setupStep")));
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_fakes = std::make_unique<MainWindowOnFakes>();
        m_scheduler = std::make_shared<FakeScheduler>();
        auto context = sharedModelContainer().makeContext();
        for (const WorkspacePtr& workspace : context->fetchWorkspaces().value)
            context->remove(workspace);
        QVERIFY(!context->save());
    }

    void cleanup() { m_fakes.reset(); }

    void stepOneListsTheRunningApps()
    {
        runApp(100, QStringLiteral("Editor"));
        runApp(101, QStringLiteral("Mail"));
        openSheet();
        QCOMPARE(texts(QStringLiteral("stepTitle")), QStringList{QStringLiteral("📂 Create a new workspace")});
        QCOMPARE(find(QStringLiteral("nameField"))->property("placeholderText").toString(),
            QStringLiteral("Workspace name"));
        QCOMPARE(flow()->apps().size(), 2);
        QTRY_COMPARE(SceneItems::visibleNamed(window(), QStringLiteral("removeApp")).size(), 2);
        QVERIFY(!find(QStringLiteral("noAppsText")));
        QCOMPARE(find(QStringLiteral("createWorkspaceSteps"))->size(), QSizeF(500, 500));
    }

    void anEmptyNameTurnsTheOutlineRedUntilSomethingIsTyped()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        QCOMPARE(nameOutline(), Theme().border());

        click(QStringLiteral("continueButton"));
        QTRY_COMPARE(nameOutline(), Theme().red());
        QVERIFY(find(QStringLiteral("setupStep")));
        QVERIFY(!find(QStringLiteral("launchAppsStep")));

        typeName(QStringLiteral("D"));
        QTRY_COMPARE(nameOutline(), Theme().border());
        QTest::keyClick(window(), Qt::Key_Backspace);
        QCOMPARE(flow()->name(), QString());
        QCOMPARE(nameOutline(), Theme().border());

        click(QStringLiteral("continueButton"));
        QTRY_COMPARE(nameOutline(), Theme().red());
    }

    void removingTheLastAppShowsTheEmptyText()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        QTRY_VERIFY(find(QStringLiteral("removeApp")));
        click(QStringLiteral("removeApp"));
        QTRY_COMPARE(texts(QStringLiteral("noAppsText")),
            QStringList{QStringLiteral(
                "You need to select at least one app to include in your workspace.")});
        QVERIFY(flow()->apps().isEmpty());

        // A name but no apps: no red outline, and the step stays.
        typeName(QStringLiteral("Solo"));
        click(QStringLiteral("continueButton"));
        QVERIFY(find(QStringLiteral("setupStep")));
        QCOMPARE(nameOutline(), Theme().border());
    }

    void cancelStoresNothingAndTheNextOpeningStartsAfresh()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        typeName(QStringLiteral("Scratch"));
        click(QStringLiteral("cancelButton"));
        QTRY_VERIFY(!find(QStringLiteral("createWorkspaceSteps")));
        QTRY_VERIFY(!flow());
        QVERIFY(storedNames().isEmpty());

        openSheet();
        QCOMPARE(flow()->name(), QString());
        QCOMPARE(find(QStringLiteral("nameField"))->property("text").toString(), QString());
        QCOMPARE(flow()->apps().size(), 1);
    }

    void theLaunchStepOpensWithoutAnErrorAndOffersOpenApps()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        typeName(QStringLiteral("Deep Work"));
        continueToLaunchStep();
        QCOMPARE(texts(QStringLiteral("stepTitle")), QStringList{QStringLiteral("👋 Time to wake up your apps!")});
        QVERIFY(!find(QStringLiteral("openAppsError")));
        QCOMPARE(find(QStringLiteral("continueButton"))->property("title").toString(),
            QStringLiteral("Open apps"));
    }

    void theIllustrationPlaysOnceAndEndsUnorganized()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        typeName(QStringLiteral("Deep Work"));
        QTest::keyClick(window(), Qt::Key_Return); // Return in the name field continues
        QTRY_VERIFY(find(QStringLiteral("launchAppsStep")));

        const QList<std::pair<std::chrono::milliseconds, QString>> timeline{
            {0ms, QStringLiteral("dashboardEmpty")},
            {1649ms, QStringLiteral("dashboardEmpty")},
            {1650ms, QStringLiteral("dashboardAnimation1")},
            {1799ms, QStringLiteral("dashboardAnimation1")},
            {1800ms, QStringLiteral("dashboardAnimation2")},
            {1950ms, QStringLiteral("dashboardAnimation3")},
            {2100ms, QStringLiteral("dashboardUnorganized")},
        };
        std::chrono::milliseconds now{0};
        for (const auto& [at, name] : timeline) {
            m_scheduler->advance(at - now);
            now = at;
            QCOMPARE(imageName(), name);
        }
        QCOMPARE(m_scheduler->pendingCount(), 0);
        m_scheduler->advance(10s);
        QCOMPARE(imageName(), QStringLiteral("dashboardUnorganized"));
        QCOMPARE(find(QStringLiteral("launchIllustration"))->property("source").toString(),
            QStringLiteral(":/illustrations/dashboardUnorganized-light.svg"));
    }

    void leavingTheLaunchStepMidwayStopsTheIllustration()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        typeName(QStringLiteral("Deep Work"));
        continueToLaunchStep();
        m_scheduler->advance(1700ms);
        QCOMPARE(imageName(), QStringLiteral("dashboardAnimation1"));
        click(QStringLiteral("backButton"));
        QTRY_VERIFY(find(QStringLiteral("setupStep")));
        QTRY_COMPARE(m_scheduler->pendingCount(), 0);
        QCOMPARE(find(QStringLiteral("nameField"))->property("text").toString(), QStringLiteral("Deep Work"));

        // Shown again, it starts over.
        continueToLaunchStep();
        QCOMPARE(imageName(), QStringLiteral("dashboardEmpty"));
    }

    void completeStoresTheChosenAppsWithTheirFramesThenAndCloses()
    {
        runApp(100, QStringLiteral("Editor"), {0, 0, 800, 600});
        runApp(101, QStringLiteral("Mail"), {50, 60, 700, 500});
        runApp(102, QStringLiteral("Terminal"));
        openSheet();
        typeName(QStringLiteral("Deep Work"));
        QTRY_COMPARE(SceneItems::visibleNamed(window(), QStringLiteral("removeApp")).size(), 3);
        SceneItems::click(window(), SceneItems::visibleNamed(window(), QStringLiteral("removeApp")).at(2));
        QTRY_COMPARE(flow()->apps().size(), 2);
        continueToLaunchStep();

        quitApp(101);
        click(QStringLiteral("continueButton")); // "Open apps"
        QCOMPARE(m_fakes->applications->launches.size(), 1);
        QCOMPARE(m_fakes->applications->launches.at(0).path,
            applicationsDir + bundleOf(QStringLiteral("Mail")) + QStringLiteral(".desktop"));
        runApp(101, QStringLiteral("Mail"), {50, 60, 700, 500});
        m_scheduler->advance(CreateWorkspaceViewModel::openAppsCheckDelay);
        QTRY_COMPARE(find(QStringLiteral("continueButton"))->property("title").toString(),
            QStringLiteral("Continue"));
        QVERIFY(!find(QStringLiteral("openAppsError")));

        click(QStringLiteral("continueButton"));
        QTRY_VERIFY(find(QStringLiteral("positionAppsStep")));
        QTRY_VERIFY(!find(QStringLiteral("launchAppsStep")));
        QCOMPARE(texts(QStringLiteral("stepTitle")), QStringList{QStringLiteral("Final Touch: Position Apps")});
        m_fakes->windows->windows[0].frame = {300, 200, 900, 700};
        click(QStringLiteral("completeButton"));
        QTRY_VERIFY(!find(QStringLiteral("createWorkspaceSteps")));

        QCOMPARE(storedNames(), QStringList{QStringLiteral("Deep Work")});
        const WorkspacePtr stored = sharedModelContainer().makeContext()->fetchWorkspaces().value.at(0);
        QCOMPARE(stored->apps().size(), 2);
        QCOMPARE(stored->apps().at(0)->name(), QStringLiteral("Editor"));
        QCOMPARE(stored->apps().at(1)->name(), QStringLiteral("Mail"));
        const AppLayoutPtr editorLayout = stored->apps().at(0)->layouts().value(0);
        QVERIFY(editorLayout);
        QCOMPARE(editorLayout->frame(), (Frame{300, 200, 900, 700}));
        QTRY_COMPARE(texts(QStringLiteral("workspaceName")), QStringList{QStringLiteral("Deep Work")});
    }

    void aFailedOpeningSaysSoAndKeepsTheStep()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        typeName(QStringLiteral("Deep Work"));
        continueToLaunchStep();
        quitApp(100);
        click(QStringLiteral("continueButton"));
        m_scheduler->advance(CreateWorkspaceViewModel::openAppsCheckDelay);
        QTRY_COMPARE(texts(QStringLiteral("openAppsError")),
            QStringList{QStringLiteral("Something went wrong when opening the apps. Please try again.")});
        QCOMPARE(find(QStringLiteral("continueButton"))->property("title").toString(),
            QStringLiteral("Open apps"));
        QVERIFY(find(QStringLiteral("launchAppsStep")));
    }

    void closingTheWindowWithTheSheetOpenStoresNothingAndLeavesNoWait()
    {
        runApp(100, QStringLiteral("Editor"));
        openSheet();
        typeName(QStringLiteral("Deep Work"));
        continueToLaunchStep();
        QCOMPARE(m_scheduler->pendingCount(), 1);
        QSignalSpy closed(m_fakes->mainWindow.get(), &MainWindow::closed);
        window()->close();
        QVERIFY(closed.count() == 1 || closed.wait());
        QTRY_VERIFY(!m_fakes->mainWindow->window());
        QCOMPARE(m_scheduler->pendingCount(), 0);
        QVERIFY(storedNames().isEmpty());
    }
};

VANTOR_DESKTOP_TEST_MAIN(CreateWorkspaceScreensTest)
#include "tst_create_workspace_screens.moc"

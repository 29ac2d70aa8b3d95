#include "Shell/QmlEngine.h"

#include "ConsoleCapture.h"
#include "CreateWorkspaceFixture.h"
#include "SignalSpies.h"
#include "TestMain.h"

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>

#include <unordered_set>

// The create flow's steps, validation and save. Choosing and opening apps: see
// tst_create_workspace_apps.
namespace {

using Counts = NotifySpies::Counts;
using Step = CreateWorkspaceStep;

} // namespace

class CreateWorkspaceViewModelTest : public QObject {
    Q_OBJECT

    std::unique_ptr<CreateWorkspaceFixture> f;
    int m_storeNumber = 0;

private Q_SLOTS:

    void init()
    {
        failOnUnexpectedWarnings();
        f = std::make_unique<CreateWorkspaceFixture>(
            QStringLiteral("create-%1.sqlite").arg(++m_storeNumber));
    }

    void cleanup() { f.reset(); }

    void stepsAreThreeInOrderEachWithItsScreen()
    {
        QCOMPARE(int(Step::setup), 0);
        QCOMPARE(int(Step::launchApps), 1);
        QCOMPARE(int(Step::positionApps), 2);
        const std::unordered_set<Step> steps{
            Step::setup, Step::launchApps, Step::positionApps, Step::launchApps};
        QCOMPARE(steps.size(), std::size_t(3));
        QVERIFY(Step(Step::launchApps) == Step::launchApps);
        QVERIFY(Step(Step::launchApps) != Step::setup);

        const QStringList names{QStringLiteral("SetupStep"), QStringLiteral("LaunchAppsStep"),
            QStringLiteral("PositionAppsStep")};
        for (const Step step : {Step::setup, Step::launchApps, Step::positionApps}) {
            const CreateWorkspaceStepContent content = step.getContent(f->model.get());
            QCOMPARE(content.componentName, names.at(int(step)));
            QCOMPARE(content.source,
                QUrl(QStringLiteral("qrc:/qt/qml/Vantor/Tabs/CreateWorkspace/Steps/") + content.componentName
                    + QStringLiteral(".qml")));
            QCOMPARE(content.viewModel, f->model.get());
        }
    }

    void startsWithAnEmptyDraftOnTheFirstStep()
    {
        QCOMPARE(f->model->name(), QString());
        QVERIFY(!f->model->isNameEmpty());
        QVERIFY(f->model->apps().isEmpty());
        QVERIFY(f->model->appObjects().isEmpty());
        QCOMPARE(f->model->isRunningApps(), std::nullopt);
        QVERIFY(!f->model->isRunningAppsValue().isValid());
        QCOMPARE(f->model->currentStep(), Step::setup);
        QCOMPARE(f->model->currentContent().componentName, QStringLiteral("SetupStep"));
        QVERIFY(!f->model->isBackAnimation());
        QCOMPARE(&f->model->manager(), f->manager.get());
    }

    void nextStepAdvancesUntilTheLastStep()
    {
        NotifySpies spies(*f->model);
        f->model->nextStep();
        QCOMPARE(f->model->currentStep(), Step::launchApps);
        f->model->nextStep();
        QCOMPARE(f->model->currentStep(), Step::positionApps);
        QCOMPARE(f->model->currentContent().componentName, QStringLiteral("PositionAppsStep"));
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("currentStep"), 2}, {QStringLiteral("currentContent"), 2}}));
    }

    void nextStepOnTheLastStepOnlyPrintsYeye()
    {
        f->moveTo(Step::positionApps);
        NotifySpies spies(*f->model);
        ConsoleCapture console;

        f->model->nextStep();

        QCOMPARE(f->model->currentStep(), Step::positionApps);
        QCOMPARE(console.lines(), QStringList{QStringLiteral("yeye")});
        QCOMPARE(spies.counts(), Counts{});
    }

    void previousStepGoesBackAndStopsAtSetup()
    {
        f->moveTo(Step::positionApps);
        NotifySpies spies(*f->model);
        ConsoleCapture console;

        f->model->previousStep();
        QCOMPARE(f->model->currentStep(), Step::launchApps);
        f->model->previousStep();
        QCOMPARE(f->model->currentStep(), Step::setup);
        f->model->previousStep();

        QCOMPARE(f->model->currentStep(), Step::setup);
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("currentStep"), 2}, {QStringLiteral("currentContent"), 2}}));
        QCOMPARE(console.lines(), QStringList{});
    }

    void continueWithAnEmptyNameFlagsItAndStays_data()
    {
        QTest::addColumn<int>("appCount");
        QTest::newRow("no apps") << 0;
        QTest::newRow("two apps") << 2;
    }

    void continueWithAnEmptyNameFlagsItAndStays()
    {
        QFETCH(int, appCount);
        QList<AppInfoPtr> apps;
        for (int i = 0; i < appCount; ++i)
            apps.append(f->chosen(QStringLiteral("App%1").arg(i)));
        f->model->setApps(apps);
        NotifySpies spies(*f->model);

        QVERIFY(!f->model->continueStep());

        QVERIFY(f->model->isNameEmpty());
        QCOMPARE(f->model->currentStep(), Step::setup);
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("isNameEmpty"), 1}}));
    }

    void continueWithANameButNoAppsClearsTheFlagAndStays()
    {
        QVERIFY(!f->model->continueStep());
        QVERIFY(f->model->isNameEmpty());
        f->model->setName(QStringLiteral("Work"));
        NotifySpies spies(*f->model);

        QVERIFY(!f->model->validateStep());

        QVERIFY(!f->model->isNameEmpty());
        QCOMPARE(f->model->currentStep(), Step::setup);
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("isNameEmpty"), 1}}));
    }

    void aNameOfBlanksCountsAsGiven()
    {
        f->model->setName(QStringLiteral("   "));
        f->model->setApps({f->chosen(QStringLiteral("Editor"))});

        QVERIFY(f->model->continueStep());

        QVERIFY(!f->model->isNameEmpty());
        QCOMPARE(f->model->currentStep(), Step::launchApps);
    }

    void continueOnLaunchAppsBeforeTheAppsRunFlagsItAndStays()
    {
        f->run(7, QStringLiteral("Editor"));
        f->model->setApps({f->chosen(QStringLiteral("Editor")), f->chosen(QStringLiteral("Mail"))});
        f->moveTo(Step::launchApps);
        NotifySpies spies(*f->model);

        QVERIFY(!f->model->continueStep());

        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(false));
        QCOMPARE(f->model->isRunningAppsValue(), QVariant(false));
        QCOMPARE(f->model->currentStep(), Step::launchApps);
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("isRunningApps"), 1}}));
    }

    void continueOnLaunchAppsWhenAllRunAdvances()
    {
        f->run(7, QStringLiteral("Editor"));
        f->run(8, QStringLiteral("Mail"));
        f->model->setApps({f->chosen(QStringLiteral("Editor")), f->chosen(QStringLiteral("Mail"))});
        f->moveTo(Step::launchApps);

        QVERIFY(f->model->continueStep());

        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(true));
        QCOMPARE(f->model->currentStep(), Step::positionApps);
    }

    void validationOnTheLastStepAllowsWithoutSideEffects()
    {
        f->moveTo(Step::positionApps);
        NotifySpies spies(*f->model);
        QVERIFY(f->model->validateStep());
        QCOMPARE(spies.counts(), Counts{});
    }

    void continueAndBackSetTheSlideDirection()
    {
        f->moveTo(Step::launchApps);
        NotifySpies spies(*f->model);
        QList<bool> backwardsWhenAnnounced; // the slide direction is known before the step
        connect(f->model.get(), &CreateWorkspaceViewModel::currentStepChanged, this,
            [&] { backwardsWhenAnnounced.append(f->model->isBackAnimation()); });

        f->model->goBack();
        QVERIFY(f->model->isBackAnimation());
        QCOMPARE(f->model->currentStep(), Step::setup);
        f->model->goBack(); // nothing before setup; the direction stays
        QVERIFY(f->model->isBackAnimation());
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("isBackAnimation"), 1}, {QStringLiteral("currentStep"), 1},
                {QStringLiteral("currentContent"), 1}}));

        QVERIFY(f->model->continueStep());
        QVERIFY(!f->model->isBackAnimation());
        QCOMPARE(f->model->currentStep(), Step::launchApps);
        QCOMPARE(backwardsWhenAnnounced, (QList<bool>{true, false}));
    }

    void theDraftSurvivesGoingBackAndForth()
    {
        const AppInfoPtr editor = f->chosen(QStringLiteral("Editor"));
        f->model->setName(QStringLiteral("Work"));
        f->model->setApps({editor});
        QVERIFY(f->model->continueStep());
        QVERIFY(!f->model->continueStep()); // nothing runs
        f->model->goBack();
        QVERIFY(f->model->continueStep());

        QCOMPARE(f->model->name(), QStringLiteral("Work"));
        QCOMPARE(f->model->apps(), QList<AppInfoPtr>{editor});
        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(false));
    }

    void completeSavesTheRunningAppsWithTheirFramesAndAsksToClose()
    {
        f->run(7, QStringLiteral("Editor"), {100, 50, 1024, 768});
        f->run(8, QStringLiteral("Mail"), {300, 200, 640, 480});
        f->model->setName(QStringLiteral("  Deep work "));
        f->model->setApps({f->chosen(QStringLiteral("Mail")), f->chosen(QStringLiteral("Editor")),
            f->chosen(QStringLiteral("Closed"))});
        f->moveTo(Step::positionApps);
        QSignalSpy dismissed(f->model.get(), &CreateWorkspaceViewModel::dismissRequested);
        const QDateTime before = QDateTime::currentDateTime();

        f->model->complete();

        QCOMPARE(dismissed.count(), 1);
        const QList<WorkspacePtr> stored = f->storedWorkspaces();
        QCOMPARE(stored.size(), 1);
        const WorkspacePtr workspace = stored.at(0);
        QCOMPARE(workspace->name(), QStringLiteral("  Deep work "));
        QVERIFY(!workspace->id().isNull());
        QVERIFY(workspace->updatedAt() >= before.addMSecs(-1));
        QVERIFY(workspace->updatedAt() <= QDateTime::currentDateTime());
        QCOMPARE(workspace->notes(), std::nullopt);
        QCOMPARE(workspace->shortcut(), std::nullopt);
        QCOMPARE(f->namesOf(workspace->apps()),
            (QStringList{QStringLiteral("Editor"), QStringLiteral("Mail")}));
        QCOMPARE(workspace->apps().at(0)->layouts().at(0)->frame(), (Frame{100, 50, 1024, 768}));
        QCOMPARE(workspace->apps().at(1)->layouts().at(0)->frame(), (Frame{300, 200, 640, 480}));
    }

    void screensBindAndCallItFromQml()
    {
        f->run(7, QStringLiteral("Editor"));
        QQmlEngine engine;
        prepareQmlEngine(engine);
        engine.rootContext()->setContextProperty(QStringLiteral("viewModel"), f->model.get());
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQml
            import Vantor
            QtObject {
                property bool onLaunchApps: viewModel.currentStep === CreateWorkspaceStep.LaunchApps
                property string screen: viewModel.currentContent.componentName
                property bool unchecked: viewModel.isRunningApps === undefined
                property bool failed: viewModel.isRunningApps === false
                property int appCount: viewModel.apps.count
                property string firstApp: viewModel.apps.count ? viewModel.apps.at(0).name : ""
                function continueWith(name) { viewModel.name = name; return viewModel.continueStep() }
                function removeFirst() { viewModel.removeApp(viewModel.apps.at(0)) }
            })",
            QUrl());
        std::unique_ptr<QObject> screen(component.create());
        QVERIFY2(screen, qPrintable(component.errorString()));
        QCOMPARE(screen->property("screen").toString(), QStringLiteral("SetupStep"));
        QVERIFY(screen->property("unchecked").toBool());

        f->model->loadRunningApps();
        QCOMPARE(screen->property("firstApp").toString(), QStringLiteral("Editor"));
        f->model->setApps(f->model->apps() + QList<AppInfoPtr>{f->chosen(QStringLiteral("Mail"))});
        QVariant advanced;
        QMetaObject::invokeMethod(screen.get(), "continueWith", Q_RETURN_ARG(QVariant, advanced),
            Q_ARG(QVariant, QStringLiteral("Work")));

        QVERIFY(advanced.toBool());
        QCOMPARE(f->model->name(), QStringLiteral("Work"));
        QVERIFY(screen->property("onLaunchApps").toBool());
        QCOMPARE(screen->property("screen").toString(), QStringLiteral("LaunchAppsStep"));
        QVERIFY(!f->model->continueStep());
        QVERIFY(screen->property("failed").toBool());
        QMetaObject::invokeMethod(screen.get(), "removeFirst");
        QCOMPARE(screen->property("appCount").toInt(), 1);
        QCOMPARE(f->namesOf(f->model->apps()), QStringList{QStringLiteral("Mail")});
    }
};

VANTOR_UNIT_TEST_MAIN(CreateWorkspaceViewModelTest)
#include "tst_create_workspace_view_model.moc"

#include "Store/Database.h"
#include "Store/ModelContainer.h"
#include "Shell/QmlEngine.h"
#include "Tabs/CreateWorkspace/CreateWorkspaceViewModel.h"
#include "Tabs/Workspace/WorkspaceView/WorkspaceViewModel.h"
#include "Util/CacheManager.h"
#include "Util/Services.h"

#include "ConsoleCapture.h"
#include "FakeDesktop.h"
#include "SignalSpies.h"
#include "StoreFile.h"
#include "TestMain.h"

#include <QDir>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QPointer>
#include <QQmlProperty>

namespace {

constexpr ScreenSize screen{1920, 1080};
using Counts = NotifySpies::Counts;

AppLayoutPtr layoutOn(ScreenSize size, Frame frame = {10, 20, 800, 600})
{
    return std::make_shared<AppLayout>(
        QUuid::createUuid(), size.width, size.height, frame.x, frame.y, frame.width, frame.height);
}

AppInfoPtr app(const QString& name, const QList<AppLayoutPtr>& layouts = {})
{
    return AppInfo::create(QUuid::createUuid(), name, QStringLiteral("org.example.") + name, false,
        QStringLiteral("/usr/share/applications/org.example.%1.desktop").arg(name), layouts);
}

WorkspacePtr workspace(const QString& name, const QList<AppInfoPtr>& apps = {})
{
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime(QDate(2024, 3, 5), QTime(9, 7)), std::nullopt, apps);
}

QStringList namesOf(const QList<WorkspacePtr>& workspaces)
{
    QStringList names;
    for (const WorkspacePtr& workspace : workspaces)
        names.append(workspace->name());
    return names;
}

QStringList appNamesOf(const WorkspacePtr& workspace)
{
    QStringList names;
    for (const AppInfoPtr& app : workspace->apps())
        names.append(app->name());
    return names;
}

} // namespace

class WorkspaceViewModelTest : public QObject {
    Q_OBJECT

    FakeWindowSystem* m_windows = nullptr;
    FakeApplications* m_applications = nullptr;
    std::unique_ptr<Services> m_services;
    QString m_path;
    std::unique_ptr<ModelContainer> m_container;
    std::unique_ptr<CacheManager> m_manager;
    std::unique_ptr<WorkspaceViewModel> m_model;
    int m_storeNumber = 0;

    // Stores workspaces through a context of its own, as another screen would.
    void store(const QList<WorkspacePtr>& workspaces)
    {
        auto context = m_container->makeContext();
        for (const WorkspacePtr& workspace : workspaces)
            context->insert(workspace);
        QVERIFY(!context->save());
    }

    // What the file holds, read through a fresh container.
    QList<WorkspacePtr> storedWorkspaces() const { return StoreFile::workspaces(m_path); }

    qint64 rows(const char* sql) const { return StoreFile::count(m_path, sql); }

    void runningEditor(ScreenSize size = screen)
    {
        m_windows->screen = size;
        m_applications->addRunning(
            42, QStringLiteral("org.example.Editor"), QStringLiteral("Editor"));
        m_windows->addWindow(42, {100, 50, 1024, 768});
    }

private Q_SLOTS:

    void init()
    {
        failOnUnexpectedWarnings();
        auto windows = std::make_unique<FakeWindowSystem>();
        auto applications = std::make_unique<FakeApplications>();
        m_windows = windows.get();
        m_applications = applications.get();
        m_services = std::make_unique<Services>(std::move(windows), std::move(applications));
        m_path = QDir::home().filePath(QStringLiteral("store-%1.sqlite").arg(++m_storeNumber));
        m_container = ModelContainer::open(m_path);
        QVERIFY(m_container);
        m_manager = std::make_unique<CacheManager>(
            m_container->mainContext(), m_services->windowManager());
        m_model = std::make_unique<WorkspaceViewModel>(*m_manager, *m_services);
    }

    void cleanup()
    {
        m_model.reset();
        m_manager.reset();
        m_container.reset();
        m_services.reset();
    }

    void startsEmptyWithNothingSelected()
    {
        store({workspace(QStringLiteral("Work"))});
        const WorkspaceViewModel model(*m_manager, *m_services);

        QVERIFY(!model.showModal());
        QVERIFY(model.workspaces().isEmpty());
        QVERIFY(model.workspaceObjects().isEmpty());
        QVERIFY(!model.selectedWorkspace());
        QVERIFY(!model.selectedWorkspaceObject());
        QVERIFY(!model.animateSelection());
        QCOMPARE(&model.manager(), m_manager.get());
    }

    void reloadReadsEveryWorkspaceInStoreOrder()
    {
        store({workspace(QStringLiteral("Work")), workspace(QStringLiteral("Play")),
            workspace(QStringLiteral("Focus"))});
        NotifySpies spies(*m_model);

        m_model->reloadWorkspaces();

        QCOMPARE(namesOf(m_model->workspaces()),
            (QStringList{QStringLiteral("Work"), QStringLiteral("Play"), QStringLiteral("Focus")}));
        QCOMPARE(m_model->workspaceObjects().size(), 3);
        QCOMPARE(qobject_cast<WorkspaceObject*>(m_model->workspaceObjects().at(1))->record(),
            m_model->workspaces().at(1));
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("workspaces"), 1}}));
    }

    void showModalNotifiesOnlyChanges()
    {
        NotifySpies spies(*m_model);
        m_model->setShowModal(true);
        m_model->setShowModal(true);
        QVERIFY(m_model->showModal());
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("showModal"), 1}, {QStringLiteral("createViewModel"), 1}}));
        m_model->setShowModal(false);
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("showModal"), 2}, {QStringLiteral("createViewModel"), 2}}));
    }

    void eachOpeningOfTheSheetHasAFreshCreateFlowOnTheSameStore()
    {
        QVERIFY(!m_model->createViewModel());
        m_model->setShowModal(true);
        QPointer<CreateWorkspaceViewModel> first = m_model->createViewModel();
        QVERIFY(first);
        QCOMPARE(&first->manager(), &m_model->manager());
        first->setName(QStringLiteral("Draft"));

        m_model->setShowModal(false);
        QVERIFY(!m_model->createViewModel());
        // Dropped once the screens let go of it.
        QVERIFY(first);
        QCoreApplication::sendPostedEvents(first, QEvent::DeferredDelete);
        QVERIFY(!first);

        m_model->setShowModal(true);
        QVERIFY(m_model->createViewModel());
        QCOMPARE(m_model->createViewModel()->name(), QString());
        QCOMPARE(m_model->createViewModel()->currentStep(), CreateWorkspaceStep::setup);
    }

    void firstSelectionIsAnimated()
    {
        const WorkspacePtr work = workspace(QStringLiteral("Work"));
        m_model->setWorkspaces({work});
        NotifySpies spies(*m_model);
        QList<bool> animatedWhenAnnounced;
        connect(m_model.get(), &WorkspaceViewModel::selectedWorkspaceChanged, this,
            [&] { animatedWhenAnnounced.append(m_model->animateSelection()); });

        m_model->editWorkspace(work);

        QCOMPARE(m_model->selectedWorkspace(), work);
        QCOMPARE(m_model->selectedWorkspaceObject()->record(), work);
        QCOMPARE(animatedWhenAnnounced, QList<bool>{true});
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("selectedWorkspace"), 1},
                {QStringLiteral("animateSelection"), 1}}));
    }

    void selectingAnotherWhileOneIsOpenReplacesItWithoutAnimation()
    {
        const WorkspacePtr work = workspace(QStringLiteral("Work"));
        const WorkspacePtr play = workspace(QStringLiteral("Play"));
        m_model->setWorkspaces({work, play});
        m_model->editWorkspace(work);
        NotifySpies spies(*m_model);
        QList<bool> animatedWhenAnnounced;
        connect(m_model.get(), &WorkspaceViewModel::selectedWorkspaceChanged, this,
            [&] { animatedWhenAnnounced.append(m_model->animateSelection()); });

        m_model->editWorkspace(play);

        QCOMPARE(m_model->selectedWorkspace(), play);
        QCOMPARE(animatedWhenAnnounced, QList<bool>{false});
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("selectedWorkspace"), 1},
                {QStringLiteral("animateSelection"), 1}}));
    }

    void resetClearsTheSelectionAnimated()
    {
        const WorkspacePtr work = workspace(QStringLiteral("Work"));
        const WorkspacePtr play = workspace(QStringLiteral("Play"));
        m_model->editWorkspace(work);
        m_model->editWorkspace(play); // now not animated
        NotifySpies spies(*m_model);
        QList<bool> animatedWhenAnnounced;
        connect(m_model.get(), &WorkspaceViewModel::selectedWorkspaceChanged, this,
            [&] { animatedWhenAnnounced.append(m_model->animateSelection()); });

        m_model->resetSelectedWorkspace();

        QVERIFY(!m_model->selectedWorkspace());
        QVERIFY(!m_model->selectedWorkspaceObject());
        QCOMPARE(animatedWhenAnnounced, QList<bool>{true});
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("selectedWorkspace"), 1},
                {QStringLiteral("animateSelection"), 1}}));
    }

    void deleteWithNothingSelectedChangesNothingAndLeavesTheStoreAlone()
    {
        store({workspace(QStringLiteral("Work"))});
        m_model->reloadWorkspaces();
        store({workspace(QStringLiteral("Later"))}); // unseen until the next re-read
        const qint64 before = rows("SELECT COUNT(*) FROM workspace");
        ConsoleCapture console;
        NotifySpies spies(*m_model);

        m_model->deleteWorkspace();

        QCOMPARE(spies.counts(), Counts{});
        QCOMPARE(namesOf(m_model->workspaces()), QStringList{QStringLiteral("Work")});
        QCOMPARE(console.lines(), QStringList{});
        QCOMPARE(rows("SELECT COUNT(*) FROM workspace"), before);
        QCOMPARE(namesOf(storedWorkspaces()),
            (QStringList{QStringLiteral("Work"), QStringLiteral("Later")}));
    }

    void deleteRemovesTheSelectedWorkspaceRereadsAndClearsAnimated()
    {
        store(
            {workspace(QStringLiteral("Work"), {app(QStringLiteral("Editor"), {layoutOn(screen)})}),
                workspace(QStringLiteral("Play"))});
        m_model->reloadWorkspaces();
        m_model->editWorkspace(m_model->workspaces().at(0));
        m_model->editWorkspace(m_model->workspaces().at(0)); // same one: nothing to announce
        NotifySpies spies(*m_model);
        QList<bool> animatedWhenAnnounced;
        connect(m_model.get(), &WorkspaceViewModel::selectedWorkspaceChanged, this,
            [&] { animatedWhenAnnounced.append(m_model->animateSelection()); });

        m_model->deleteWorkspace();

        QCOMPARE(namesOf(m_model->workspaces()), QStringList{QStringLiteral("Play")});
        QCOMPARE(namesOf(storedWorkspaces()), QStringList{QStringLiteral("Play")});
        QCOMPARE(rows("SELECT COUNT(*) FROM app_info"), 0);
        QCOMPARE(rows("SELECT COUNT(*) FROM app_layout"), 0);
        QVERIFY(!m_model->selectedWorkspace());
        QCOMPARE(animatedWhenAnnounced, QList<bool>{true});
        QCOMPARE(spies.counts(),
            (Counts{{QStringLiteral("workspaces"), 1}, {QStringLiteral("selectedWorkspace"), 1}}));
    }

    // Deletion goes by name: of two "Work" workspaces the store's first goes, whichever
    // one is selected.
    void deleteGoesByNameWhenTwoShareIt()
    {
        const WorkspacePtr first = workspace(QStringLiteral("Work"));
        const WorkspacePtr second = workspace(QStringLiteral("Work"));
        store({first, second});
        m_model->reloadWorkspaces();
        m_model->editWorkspace(m_model->workspaces().at(1));

        m_model->deleteWorkspace();

        const QList<WorkspacePtr> stored = storedWorkspaces();
        QCOMPARE(namesOf(stored), QStringList{QStringLiteral("Work")});
        QCOMPARE(stored.at(0)->id(), second->id());
        QCOMPARE(m_model->workspaces().size(), 1);
        QCOMPARE(m_model->workspaces().at(0)->id(), second->id());
    }

    void updateWithOverrideKeepsOnlyTheRunningAppsAsFreshRecords()
    {
        runningEditor();
        const AppInfoPtr editor = app(
            QStringLiteral("Editor"), {layoutOn({1280, 800}), layoutOn(screen, {1, 2, 300, 200})});
        const WorkspacePtr work = workspace(QStringLiteral("Work"),
            {app(QStringLiteral("Mail")), editor, app(QStringLiteral("Chat"))});
        store({work});
        m_model->reloadWorkspaces();
        const WorkspacePtr loaded = m_model->workspaces().at(0);
        const QDateTime updatedAt = loaded->updatedAt();
        m_model->editWorkspace(loaded);
        NotifySpies spies(*m_model);

        m_model->updateWorkspace(loaded, true);

        QCOMPARE(appNamesOf(loaded), QStringList{QStringLiteral("Editor")});
        const AppInfoPtr fresh = loaded->apps().at(0);
        QVERIFY(fresh->id() != editor->id());
        QVERIFY(fresh->isRunning());
        QCOMPARE(fresh->layouts().size(), 1);
        QCOMPARE(fresh->layouts().at(0)->frame(), (Frame{100, 50, 1024, 768}));
        QCOMPARE(fresh->layouts().at(0)->screenSize(), screen);
        QCOMPARE(loaded->updatedAt(), updatedAt);
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("workspaces"), 1}}));
        QCOMPARE(m_model->selectedWorkspace(), loaded);

        const QList<WorkspacePtr> stored = storedWorkspaces();
        QCOMPARE(stored.size(), 1);
        QCOMPARE(appNamesOf(stored.at(0)), QStringList{QStringLiteral("Editor")});
        QCOMPARE(stored.at(0)->apps().at(0)->id(), fresh->id());
        QCOMPARE(stored.at(0)->updatedAt(), updatedAt);
        QCOMPARE(rows("SELECT COUNT(*) FROM app_info"), 1);
        QCOMPARE(rows("SELECT COUNT(*) FROM app_layout"), 1);
    }

    void updateWithoutOverrideSavesWithoutAddingFramesWhenAllHaveOne()
    {
        runningEditor();
        const WorkspacePtr work = workspace(QStringLiteral("Work"),
            {app(QStringLiteral("Editor"), {layoutOn(screen)}),
                app(QStringLiteral("Mail"), {layoutOn(screen), layoutOn({800, 600})})});
        store({work});
        m_model->reloadWorkspaces();
        const WorkspacePtr loaded = m_model->workspaces().at(0);
        loaded->setNotes(QStringLiteral("changed here")); // proves the save
        NotifySpies spies(*m_model);

        m_model->updateWorkspace(loaded, false);

        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("workspaces"), 1}}));
        QCOMPARE(m_model->workspaces().at(0), loaded);
        const QList<WorkspacePtr> stored = storedWorkspaces();
        QCOMPARE(stored.at(0)->notes(), std::optional<QString>(QStringLiteral("changed here")));
        QCOMPARE(stored.at(0)->apps().at(0)->layouts().size(), 1);
        QCOMPARE(stored.at(0)->apps().at(1)->layouts().size(), 2);
        QCOMPARE(rows("SELECT COUNT(*) FROM app_layout"), 3);
    }

    void updateWithoutOverrideAddsAFrameWhenOneIsMissing()
    {
        runningEditor();
        store({workspace(
            QStringLiteral("Work"), {app(QStringLiteral("Editor"), {layoutOn({800, 600})})})});
        m_model->reloadWorkspaces();

        m_model->updateWorkspace(m_model->workspaces().at(0), false);

        const AppInfoPtr stored = storedWorkspaces().at(0)->apps().at(0);
        QCOMPARE(stored->layouts().size(), 2);
        QCOMPARE(stored->currentLayout(screen)->frame(), (Frame{100, 50, 1024, 768}));
    }

    void workspaceObjectsKeepTheirIdentityAndFollowUpdates()
    {
        runningEditor();
        store({workspace(QStringLiteral("Work"),
            {app(QStringLiteral("Editor"), {layoutOn(screen)}), app(QStringLiteral("Mail"))})});
        m_model->reloadWorkspaces();
        auto* object = qobject_cast<WorkspaceObject*>(m_model->workspaceObjects().at(0));
        QVERIFY(object);
        QCOMPARE(object->name(), QStringLiteral("Work"));
        QCOMPARE(object->updatedAtText(), QStringLiteral("5 Mar 2024, 09:07"));
        QCOMPARE(object->apps().size(), 2);
        m_model->editWorkspace(object);
        QCOMPARE(m_model->selectedWorkspaceObject(), object);
        QSignalSpy changed(object, &WorkspaceObject::changed);

        m_model->updateWorkspace(object, true);

        QCOMPARE(m_model->workspaceObjects().at(0), object);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(object->apps().size(), 1);
        QCOMPARE(qobject_cast<AppObject*>(object->apps().at(0))->name(), QStringLiteral("Editor"));
        QVERIFY(qobject_cast<AppObject*>(object->apps().at(0))->isRunning());
        QCOMPARE(object->screenSizes(), QStringList{QStringLiteral("1920 x 1080")});
    }

    void tellsWhetherEveryAppHasAFrameForThisScreen()
    {
        m_model->setWorkspaces({workspace(QStringLiteral("Ready"),
                                    {app(QStringLiteral("Editor"), {layoutOn(screen)})}),
            workspace(QStringLiteral("Missing"),
                {app(QStringLiteral("Editor"), {layoutOn(screen)}),
                    app(QStringLiteral("Mail"), {layoutOn({800, 600})})})});
        const auto objects = m_model->workspaceObjects();
        QVERIFY(m_model->hasLayoutForCurrentScreen(qobject_cast<WorkspaceObject*>(objects[0])));
        QVERIFY(!m_model->hasLayoutForCurrentScreen(qobject_cast<WorkspaceObject*>(objects[1])));
        QVERIFY(!m_model->hasLayoutForCurrentScreen(nullptr));
    }

    void openingAWorkspacePlacesRunningAppsAndLaunchesTheOthers()
    {
        runningEditor();
        m_applications->installed.insert(QStringLiteral("org.example.Mail"),
            QStringLiteral("/usr/share/applications/org.example.Mail.desktop"));
        m_model->setWorkspaces({workspace(QStringLiteral("Work"),
            {app(QStringLiteral("Editor"), {layoutOn(screen, {5, 6, 700, 500})}),
                app(QStringLiteral("Mail"))})});
        ConsoleCapture console;

        m_model->openWorkspace(qobject_cast<WorkspaceObject*>(m_model->workspaceObjects().at(0)));

        QCOMPARE(m_windows->placements.size(), 1);
        QCOMPARE(m_windows->placements.at(0).position, QPointF(5, 6));
        QCOMPARE(m_windows->placements.at(0).size, QSizeF(700, 500));
        QCOMPARE(m_applications->launches.size(), 1);
        QCOMPARE(m_applications->launches.at(0).path,
            QStringLiteral("/usr/share/applications/org.example.Mail.desktop"));
    }

    void screensBindAndCallItFromQml()
    {
        store({workspace(QStringLiteral("Work")), workspace(QStringLiteral("Play"))});
        m_model->reloadWorkspaces();
        QQmlEngine engine;
        prepareQmlEngine(engine);
        engine.rootContext()->setContextProperty(QStringLiteral("viewModel"), m_model.get());
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQml
            import Vantor
            QtObject {
                property int count: viewModel.workspaces.count
                property string selected: viewModel.selectedWorkspace
                    ? viewModel.selectedWorkspace.name : "none"
                property bool animate: viewModel.animateSelection
                function select(index) { viewModel.editWorkspace(viewModel.workspaces.at(index)) }
            })",
            QUrl());
        std::unique_ptr<QObject> screen(component.create());
        QVERIFY2(screen, qPrintable(component.errorString()));
        QCOMPARE(screen->property("count").toInt(), 2);
        QCOMPARE(screen->property("selected").toString(), QStringLiteral("none"));

        QMetaObject::invokeMethod(screen.get(), "select", Q_ARG(QVariant, 1));

        QCOMPARE(m_model->selectedWorkspace(), m_model->workspaces().at(1));
        QCOMPARE(screen->property("selected").toString(), QStringLiteral("Play"));
        QCOMPARE(screen->property("animate").toBool(), true);
        m_model->setShowModal(true);
        QQmlProperty(m_model.get(), QStringLiteral("showModal"), &engine).write(false);
        QVERIFY(!m_model->showModal());
    }
};

VANTOR_UNIT_TEST_MAIN(WorkspaceViewModelTest)
#include "tst_workspace_view_model.moc"

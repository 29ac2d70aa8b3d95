#include "ConsoleCapture.h"
#include "CreateWorkspaceFixture.h"
#include "SignalSpies.h"
#include "TestMain.h"

// The create flow's app list: choosing apps by hand, removing them, taking the running ones,
// and opening them with the check after the pause.
namespace {

using namespace std::chrono_literals;
using Counts = NotifySpies::Counts;
using Step = CreateWorkspaceStep;

} // namespace

class CreateWorkspaceAppsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<CreateWorkspaceFixture> f;
    int m_storeNumber = 0;

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        f = std::make_unique<CreateWorkspaceFixture>(
            QStringLiteral("apps-%1.sqlite").arg(++m_storeNumber));
    }

    void cleanup() { f.reset(); }

    void addsAChosenApplicationAtTheEnd()
    {
        const QString path
            = f->writeEntry(QStringLiteral("org.example.Notes.desktop"), QStringLiteral("Notes"));
        f->chooser->answers = {QUrl::fromLocalFile(path)};
        const AppInfoPtr first = f->chosen(QStringLiteral("Editor"));
        f->model->setApps({first});
        NotifySpies spies(*f->model);

        f->model->addManualApp();

        QCOMPARE(f->chooser->asked, 1);
        QCOMPARE(f->namesOf(f->model->apps()),
            (QStringList{QStringLiteral("Editor"), QStringLiteral("Notes")}));
        QCOMPARE(f->model->apps().first(), first);
        const AppInfoPtr added = f->model->apps().last();
        QVERIFY(!added->id().isNull());
        QCOMPARE(
            added->bundleIdentifier(), std::optional<QString>(QStringLiteral("org.example.Notes")));
        QVERIFY(!added->isRunning());
        QCOMPARE(added->path(), path);
        QVERIFY(added->layouts().isEmpty());
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("apps"), 1}}));
        QCOMPARE(qobject_cast<AppObject*>(f->model->appObjects().last())->name(),
            QStringLiteral("Notes"));
    }

    void anEntryInASubfolderIsKnownByItsDesktopFileId()
    {
        const QString path
            = f->writeEntry(QStringLiteral("kde/okular.desktop"), QStringLiteral("Okular"));
        f->chooser->answers = {QUrl::fromLocalFile(path)};

        f->model->addManualApp();

        QCOMPARE(f->model->apps().size(), 1);
        QCOMPARE(f->model->apps().at(0)->bundleIdentifier(),
            std::optional<QString>(QStringLiteral("kde-okular")));
        QCOMPARE(Platform::desktopFileId(QStringLiteral("/opt/elsewhere/org.example.Tool.desktop")),
            QStringLiteral("org.example.Tool"));
    }

    void aFileThatIsNoEntryIsAddedAsUnknown()
    {
        const QString path = f->writeFile(f->applicationsDir() + QStringLiteral("/broken.desktop"),
            "this is not a desktop entry\n");
        f->chooser->answers = {QUrl::fromLocalFile(path)};

        f->model->addManualApp();

        QCOMPARE(f->model->apps().size(), 1);
        QCOMPARE(f->model->apps().at(0)->name(), QStringLiteral("broken"));
        QCOMPARE(f->model->apps().at(0)->bundleIdentifier(),
            std::optional<QString>(QStringLiteral("Unknown")));
        QCOMPARE(f->model->apps().at(0)->path(), path);
    }

    void cancellingTheChooserChangesNothing()
    {
        f->model->setApps({f->chosen(QStringLiteral("Editor"))});
        NotifySpies spies(*f->model);
        f->chooser->answers = {std::nullopt};

        f->model->addManualApp();

        QCOMPARE(f->chooser->asked, 1);
        QCOMPARE(f->namesOf(f->model->apps()), QStringList{QStringLiteral("Editor")});
        QCOMPARE(spies.counts(), Counts{});
    }

    void theSameApplicationTwiceIsAddedOnce()
    {
        const QString path
            = f->writeEntry(QStringLiteral("org.example.Notes.desktop"), QStringLiteral("Notes"));
        f->chooser->answers = {QUrl::fromLocalFile(path), QUrl::fromLocalFile(path)};

        f->model->addManualApp();
        NotifySpies spies(*f->model);
        f->model->addManualApp();

        QCOMPARE(f->chooser->asked, 2);
        QCOMPARE(f->namesOf(f->model->apps()), QStringList{QStringLiteral("Notes")});
        QCOMPARE(spies.counts(), Counts{});
    }

    void anotherApplicationOfAnExistingDisplayNameIsRefused()
    {
        const QString first
            = f->writeEntry(QStringLiteral("org.example.Notes.desktop"), QStringLiteral("Notes"));
        const QString second
            = f->writeEntry(QStringLiteral("org.other.Jotter.desktop"), QStringLiteral("Notes"));
        f->chooser->answers = {QUrl::fromLocalFile(first), QUrl::fromLocalFile(second)};

        f->model->addManualApp();
        f->model->addManualApp();

        QCOMPARE(f->model->apps().size(), 1);
        QCOMPARE(f->model->apps().at(0)->path(), first);
    }

    void removeAppRemovesThatRecordAndKeepsTheOrder()
    {
        const AppInfoPtr editor = f->chosen(QStringLiteral("Editor"));
        const AppInfoPtr mail = f->chosen(QStringLiteral("Mail"));
        const AppInfoPtr chat = f->chosen(QStringLiteral("Chat"));
        f->model->setApps({editor, mail, chat});
        auto* mailObject = qobject_cast<AppObject*>(f->model->appObjects().at(1));
        NotifySpies spies(*f->model);

        f->model->removeApp(f->chosen(QStringLiteral("Mail"))); // equal name, other record
        QCOMPARE(spies.counts(), Counts{});
        f->model->removeApp(mailObject);

        QCOMPARE(f->model->apps(), (QList<AppInfoPtr>{editor, chat}));
        QCOMPARE(f->model->appObjects().size(), 2);
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("apps"), 1}}));
        f->model->removeApp(editor);
        f->model->removeApp(chat);
        QVERIFY(f->model->apps().isEmpty());
    }

    void loadingRunningAppsReplacesTheList()
    {
        f->run(7, QStringLiteral("Editor"), {1, 2, 300, 200});
        f->applications->addRunning(8, QStringLiteral("org.example.Tray"), QStringLiteral("Tray"),
            Platform::ActivationPolicy::Accessory);
        f->applications->addRunning(
            9, QStringLiteral("io.github.vantor.Vantor"), QStringLiteral("Vantor"));
        f->run(10, QStringLiteral("Mail"));
        f->model->setApps({f->chosen(QStringLiteral("Old"))});
        NotifySpies spies(*f->model);

        f->model->loadRunningApps();

        QCOMPARE(f->namesOf(f->model->apps()),
            (QStringList{QStringLiteral("Editor"), QStringLiteral("Mail")}));
        QVERIFY(f->model->apps().at(0)->isRunning());
        QCOMPARE(f->model->apps().at(0)->layouts().at(0)->frame(), (Frame{1, 2, 300, 200}));
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("apps"), 1}}));
    }

    void openAppsChecksAgainAfterTheirPauseWithVantorInFront()
    {
        f->run(7, QStringLiteral("Editor"));
        f->applications->installed.insert(
            QStringLiteral("org.example.Mail"), QStringLiteral("/apps/org.example.Mail.desktop"));
        f->model->setApps({f->chosen(QStringLiteral("Editor")), f->chosen(QStringLiteral("Mail"))});
        f->moveTo(Step::launchApps);
        connect(f->model.get(), &CreateWorkspaceViewModel::isRunningAppsChanged, this,
            [this] { f->events.append(QStringLiteral("checked")); });
        NotifySpies spies(*f->model);

        f->model->openApps();

        QCOMPARE(f->applications->launches.size(), 1);
        QCOMPARE(
            f->applications->launches.at(0).path, QStringLiteral("/apps/org.example.Mail.desktop"));
        f->scheduler->advance(899ms);
        QCOMPARE(f->events, QStringList{});
        QCOMPARE(f->model->isRunningApps(), std::nullopt);

        f->run(8, QStringLiteral("Mail"));
        f->scheduler->advance(1ms);

        QCOMPARE(f->events, (QStringList{QStringLiteral("front"), QStringLiteral("checked")}));
        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(true));
        QCOMPARE(f->model->currentStep(), Step::launchApps);
        QCOMPARE(spies.counts(), (Counts{{QStringLiteral("isRunningApps"), 1}}));
    }

    void openAppsReportsAppsThatDidNotStart()
    {
        f->model->setApps({f->chosen(QStringLiteral("Missing"))});
        ConsoleCapture console;

        f->model->openApps();
        f->scheduler->advance(900ms);

        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(false));
        QCOMPARE(console.lines(),
            QStringList{
                QStringLiteral("Failed to find app with bundle identifier: org.example.Missing")});
    }

    void everyPressWaitsOnItsOwnAndTheLastWriterWins()
    {
        f->model->setApps({f->chosen(QStringLiteral("Editor"))});
        f->model->openApps();
        f->scheduler->advance(500ms);
        f->model->openApps();
        QCOMPARE(f->scheduler->pendingCount(), 2);

        f->run(7, QStringLiteral("Editor"));
        f->scheduler->advance(400ms); // the first wait ends
        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(true));
        f->applications->running.clear(); // the app quits again
        f->scheduler->advance(499ms);
        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(true));
        f->scheduler->advance(1ms); // the second wait ends

        QCOMPARE(f->model->isRunningApps(), std::optional<bool>(false));
        QCOMPARE(f->events, (QStringList{QStringLiteral("front"), QStringLiteral("front")}));
    }

    void aClosedScreenStillBringsVantorToFront()
    {
        f->model->setApps({f->chosen(QStringLiteral("Editor"))});
        f->model->openApps();
        f->model.reset();

        f->scheduler->advance(900ms);

        QCOMPARE(f->events, QStringList{QStringLiteral("front")});
    }
};

VANTOR_UNIT_TEST_MAIN(CreateWorkspaceAppsTest)
#include "tst_create_workspace_apps.moc"

#include "Store/Database.h"
#include "Store/ModelContainer.h"

#include "StoreFile.h"
#include "TestMain.h"

#include <QDir>
#include <QStandardPaths>

namespace {

AppLayoutPtr layoutFor(double screenWidth, double screenHeight, double x = 10, double y = 20)
{
    return std::make_shared<AppLayout>(
        QUuid::createUuid(), screenWidth, screenHeight, x, y, 800, 600);
}

AppInfoPtr appNamed(const QString& name, int layoutCount = 3)
{
    QList<AppLayoutPtr> layouts;
    for (int i = 0; i < layoutCount; ++i)
        layouts.append(layoutFor(1920 + i, 1080, i, -i));
    return AppInfo::create(QUuid::createUuid(), name, QStringLiteral("org.example.") + name, true,
        QStringLiteral("/usr/share/applications/org.example.%1.desktop").arg(name), layouts);
}

WorkspacePtr workspaceNamed(const QString& name, int appCount = 5)
{
    QList<AppInfoPtr> apps;
    for (int i = 0; i < appCount; ++i)
        apps.append(appNamed(QStringLiteral("App%1").arg(i)));
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime::currentDateTime(), std::nullopt, apps);
}

QStringList namesOf(const QList<WorkspacePtr>& workspaces)
{
    QStringList names;
    for (const auto& workspace : workspaces)
        names.append(workspace->name());
    return names;
}

QList<QUuid> idsOf(const QList<AppInfoPtr>& apps)
{
    QList<QUuid> ids;
    for (const auto& app : apps)
        ids.append(app->id());
    return ids;
}

} // namespace

class StoreTest : public QObject {
    Q_OBJECT

    QString m_path;
    std::unique_ptr<ModelContainer> m_container;

    ModelContext& context() { return m_container->mainContext(); }

    std::unique_ptr<ModelContainer> reopen() const { return StoreFile::reopen(m_path); }

    qint64 count(const char* sql) const { return StoreFile::count(m_path, sql); }

    void saveOrFail()
    {
        const auto error = context().save();
        QVERIFY2(!error, qPrintable(error.value_or(QString())));
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        const QString tag = QString::fromUtf8(QTest::currentDataTag());
        m_path = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/%1-%2.sqlite")
                  .arg(QString::fromLatin1(QTest::currentTestFunction()))
                  .arg(qHash(tag));
        QString error;
        m_container = ModelContainer::open(m_path, &error);
        QVERIFY2(m_container, qPrintable(error));
    }

    void cleanup() { m_container.reset(); }

    void everyFieldReadsBackAfterReopening()
    {
        const QDateTime created = QDateTime::fromMSecsSinceEpoch(1709629620123);
        const auto layout = std::make_shared<AppLayout>(
            QUuid::createUuid(), 1512, 982.5, -1280.25, 0.1, 1e-9, 4096);
        const auto withoutBundle = AppInfo::create(QUuid::createUuid(), QStringLiteral("Script"),
            std::nullopt, false, QStringLiteral("/opt/x"));
        const auto app = AppInfo::create(QUuid::createUuid(), QStringLiteral("Editor"),
            QStringLiteral("org.example.Editor"), true,
            QStringLiteral("/usr/share/applications/e.desktop"), {layout});
        const auto workspace
            = std::make_shared<Workspace>(QUuid::createUuid(), QStringLiteral("Work"), created,
                QStringLiteral("my notes"), QList<AppInfoPtr>{app, withoutBundle});
        const auto bare = std::make_shared<Workspace>(QUuid::createUuid(), QStringLiteral("Bare"),
            created, std::nullopt, QList<AppInfoPtr>{});
        bare->setShortcut(QStringLiteral("none"));
        context().insert(workspace);
        context().insert(bare);
        saveOrFail();
        QVERIFY(!workspace->hasChanges());
        QVERIFY(!context().hasChanges());

        const auto other = reopen();
        const auto fetched = other->mainContext().fetchWorkspaces().value;
        QCOMPARE(fetched.size(), 2);
        const auto& work = fetched.at(0);
        QVERIFY(work != workspace);
        QCOMPARE(work->id(), workspace->id());
        QCOMPARE(work->name(), QStringLiteral("Work"));
        QCOMPARE(work->updatedAt(), created);
        QCOMPARE(work->shortcut(), std::nullopt);
        QCOMPARE(work->notes(), std::optional<QString>(QStringLiteral("my notes")));
        QCOMPARE(work->apps().size(), 2);
        const auto& editor = work->apps().at(0);
        QCOMPARE(editor->id(), app->id());
        QCOMPARE(editor->name(), QStringLiteral("Editor"));
        QCOMPARE(editor->bundleIdentifier(),
            std::optional<QString>(QStringLiteral("org.example.Editor")));
        QCOMPARE(editor->isRunning(), true);
        QCOMPARE(editor->path(), QStringLiteral("/usr/share/applications/e.desktop"));
        QCOMPARE(editor->layouts().size(), 1);
        const auto& frame = editor->layouts().at(0);
        QCOMPARE(frame->id(), layout->id());
        QCOMPARE(frame->screenSize(), (ScreenSize{1512, 982.5}));
        QCOMPARE(frame->frame(), (Frame{-1280.25, 0.1, 1e-9, 4096}));
        QCOMPARE(frame->app(), editor);
        const auto& script = work->apps().at(1);
        QCOMPARE(script->bundleIdentifier(), std::nullopt);
        QCOMPARE(script->isRunning(), false);
        QVERIFY(script->layouts().isEmpty());
        QCOMPARE(fetched.at(1)->shortcut(), std::optional<QString>(QStringLiteral("none")));
        QCOMPARE(fetched.at(1)->notes(), std::nullopt);
        QVERIFY(fetched.at(1)->apps().isEmpty());
        QVERIFY(!other->mainContext().hasChanges());
    }

    void aNewContainerReadsTheSameWorkspacesInTheSameOrder()
    {
        const QStringList names{QStringLiteral("Zeta"), QStringLiteral("alpha"),
            QStringLiteral("Mu"), QStringLiteral("Beta"), QStringLiteral("Zeta"),
            QStringLiteral("0")};
        QList<WorkspacePtr> inserted;
        for (const QString& name : names) {
            inserted.append(workspaceNamed(name));
            context().insert(inserted.last());
            if (name != QLatin1String("Mu")) // several workspaces in one save, too
                saveOrFail();
        }
        const auto other = reopen();
        const auto fetched = other->mainContext().fetchWorkspaces().value;
        QCOMPARE(namesOf(fetched), names);
        for (int i = 0; i < names.size(); ++i) {
            QCOMPARE(idsOf(fetched.at(i)->apps()), idsOf(inserted.at(i)->apps()));
            for (int a = 0; a < 5; ++a) {
                const auto& expected = inserted.at(i)->apps().at(a)->layouts();
                const auto& actual = fetched.at(i)->apps().at(a)->layouts();
                QCOMPARE(actual.size(), 3);
                for (int l = 0; l < 3; ++l)
                    QCOMPARE(actual.at(l)->id(), expected.at(l)->id());
            }
        }
    }

    void reorderedListsKeepTheirNewOrder()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        saveOrFail();
        auto apps = workspace->apps();
        std::reverse(apps.begin(), apps.end());
        workspace->setApps(apps);
        auto layouts = apps.first()->layouts();
        std::reverse(layouts.begin(), layouts.end());
        apps.first()->setLayouts(layouts);
        saveOrFail();

        const auto fetched = reopen()->mainContext().fetchWorkspace(workspace->id()).value;
        QVERIFY(fetched);
        QCOMPARE(idsOf(fetched->apps()), idsOf(apps));
        QCOMPARE(fetched->apps().first()->layouts().first()->id(), layouts.first()->id());
        QCOMPARE(fetched->apps().first()->layouts().last()->id(), layouts.last()->id());
    }

    void fetchingTheSameIdTwiceYieldsTheSameObject()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        saveOrFail();
        QCOMPARE(context().fetchWorkspace(workspace->id()).value, workspace);

        const auto other = m_container->makeContext();
        const auto first = other->fetchWorkspace(workspace->id()).value;
        QVERIFY(first);
        QVERIFY(first != workspace);
        QCOMPARE(other->fetchWorkspace(workspace->id()).value, first);
        QCOMPARE(other->fetchWorkspaces().value.value(0), first);
        QCOMPARE(other->fetchWorkspaces(QStringLiteral("Work")).value.value(0), first);
        const auto again = other->fetchWorkspaces().value.value(0);
        QCOMPARE(again->apps(), first->apps());
        QCOMPARE(again->apps().at(2)->layouts(), first->apps().at(2)->layouts());
        QVERIFY(!other->hasChanges());
    }

    void fetchingAnUnknownIdYieldsNothing()
    {
        context().insert(workspaceNamed(QStringLiteral("Work")));
        saveOrFail();
        const auto fetched = context().fetchWorkspace(QUuid::createUuid());
        QVERIFY(fetched.ok());
        QCOMPARE(fetched.value, nullptr);
    }

    void contextsSeeEachOthersSavedChangesOnly()
    {
        const auto shell = m_container->makeContext();
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        QCOMPARE(context().fetchWorkspaces().value, QList<WorkspacePtr>{workspace});
        QVERIFY(shell->fetchWorkspaces().value.isEmpty());
        saveOrFail();

        const auto seen = shell->fetchWorkspace(workspace->id()).value;
        QVERIFY(seen);
        workspace->setShortcut(QStringLiteral("none"));
        workspace->apps().at(0)->appendLayout(layoutFor(800, 600));
        QCOMPARE(shell->fetchWorkspace(workspace->id()).value->shortcut(), std::nullopt);
        QCOMPARE(seen->apps().at(0)->layouts().size(), 3);
        saveOrFail();

        // Saved changes reach the records the other context already handed out.
        QCOMPARE(shell->fetchWorkspace(workspace->id()).value, seen);
        QCOMPARE(seen->shortcut(), std::optional<QString>(QStringLiteral("none")));
        QCOMPARE(seen->apps().at(0)->layouts().size(), 4);
        QCOMPARE(seen->apps().at(0)->layouts().last()->screenSize(), (ScreenSize{800, 600}));
        QCOMPARE(seen->apps().at(0)->layouts().last()->app(), seen->apps().at(0));
        QVERIFY(!shell->hasChanges());
    }

    void unsavedChangesSurviveAFetch()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        saveOrFail();
        const auto shell = m_container->makeContext();
        const auto theirs = shell->fetchWorkspace(workspace->id()).value;
        theirs->setNotes(QStringLiteral("saved elsewhere"));
        QVERIFY(!shell->save());

        workspace->setNotes(QStringLiteral("mine, unsaved"));
        QCOMPARE(context().fetchWorkspace(workspace->id()).value, workspace);
        QCOMPARE(workspace->notes(), std::optional<QString>(QStringLiteral("mine, unsaved")));
        QVERIFY(context().hasChanges());
    }

    void removedWorkspacesLeaveFetchesAtOnceAndTheFileOnSave()
    {
        const auto kept = workspaceNamed(QStringLiteral("Kept"));
        const auto removed = workspaceNamed(QStringLiteral("Removed"));
        context().insert(kept);
        context().insert(removed);
        saveOrFail();
        const auto shell = m_container->makeContext();
        QCOMPARE(shell->fetchWorkspaces().value.size(), 2);

        context().remove(removed);
        QVERIFY(context().hasChanges());
        QCOMPARE(context().fetchWorkspaces().value, QList<WorkspacePtr>{kept});
        QCOMPARE(context().fetchWorkspace(removed->id()).value, nullptr);
        QCOMPARE(shell->fetchWorkspaces().value.size(), 2);
        saveOrFail();
        QCOMPARE(namesOf(shell->fetchWorkspaces().value), QStringList{QStringLiteral("Kept")});
        QCOMPARE(shell->fetchWorkspace(removed->id()).value, nullptr);
    }

    void deletingAWorkspaceLeavesNoRecordsOfIt()
    {
        const QList<WorkspacePtr> workspaces{workspaceNamed(QStringLiteral("A")),
            workspaceNamed(QStringLiteral("B")), workspaceNamed(QStringLiteral("C"))};
        for (const auto& workspace : workspaces)
            context().insert(workspace);
        saveOrFail();
        QCOMPARE(count("SELECT COUNT(*) FROM app_layout"), 45);

        context().remove(workspaces.at(1));
        saveOrFail();
        QCOMPARE(count("SELECT COUNT(*) FROM workspace"), 2);
        QCOMPARE(count("SELECT COUNT(*) FROM app_info"), 10);
        QCOMPARE(count("SELECT COUNT(*) FROM app_layout"), 30);
        QCOMPARE(count("SELECT COUNT(*) FROM app_layout WHERE app_id IS NULL "
                       "OR app_id NOT IN (SELECT id FROM app_info)"),
            0);

        context().remove(workspaces.at(0));
        context().remove(workspaces.at(2));
        saveOrFail();
        QCOMPARE(count("SELECT (SELECT COUNT(*) FROM workspace) + (SELECT COUNT(*) FROM app_info)"
                       " + (SELECT COUNT(*) FROM app_layout)"),
            0);
        QVERIFY(reopen()->mainContext().fetchWorkspaces().value.isEmpty());
    }

    void deletingALayoutOnlyDetachesItFromItsApp()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"), 1);
        context().insert(workspace);
        saveOrFail();
        const auto app = workspace->apps().first();
        const auto removed = app->layouts().at(1);
        context().remove(removed);
        QCOMPARE(removed->app(), nullptr);
        QCOMPARE(app->layouts().size(), 2);
        QVERIFY(!app->layouts().contains(removed));
        saveOrFail();

        QCOMPARE(count("SELECT COUNT(*) FROM app_layout"), 2);
        QCOMPARE(count("SELECT COUNT(*) FROM app_info"), 1);
        const auto fetched = reopen()->mainContext().fetchWorkspace(workspace->id()).value;
        QCOMPARE(fetched->apps().size(), 1);
        QCOMPARE(fetched->apps().first()->layouts().size(), 2);
        QCOMPARE(fetched->apps().first()->layouts().at(1)->id(), app->layouts().at(1)->id());
    }

    void replacedAppsAreDeletedWithTheirLayouts()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"), 3);
        context().insert(workspace);
        saveOrFail();
        const auto kept = workspace->apps().at(1);
        workspace->setApps({appNamed(QStringLiteral("New"), 2), kept});
        saveOrFail();

        QCOMPARE(count("SELECT COUNT(*) FROM app_info"), 2);
        QCOMPARE(count("SELECT COUNT(*) FROM app_layout"), 5);
        const auto fetched = reopen()->mainContext().fetchWorkspace(workspace->id()).value;
        QCOMPARE(idsOf(fetched->apps()), idsOf(workspace->apps()));
    }

    void anUnsavedWorkspaceRemovedAgainWritesNothing()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        context().remove(workspace);
        QVERIFY(!context().hasChanges());
        QVERIFY(context().fetchWorkspaces().value.isEmpty());
        saveOrFail();
        QCOMPARE(count("SELECT COUNT(*) FROM workspace"), 0);
    }

    void fetchingByNameIsExactAndCaseSensitive()
    {
        for (const char* name : {"Work", "work", "Work ", "Work", " Work"})
            context().insert(workspaceNamed(QString::fromUtf8(name), 1));
        saveOrFail();
        const auto shell = m_container->makeContext();
        const auto all = shell->fetchWorkspaces().value;
        const auto named = shell->fetchWorkspaces(QStringLiteral("Work")).value;
        QCOMPARE(named, (QList<WorkspacePtr>{all.at(0), all.at(3)}));
        QVERIFY(shell->fetchWorkspaces(QStringLiteral("WORK")).value.isEmpty());
    }

    void namesPassThroughUnchanged_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("quotes") << QStringLiteral("Bob's \"work\" `day`");
        QTest::newRow("statement") << QStringLiteral("x'); DROP TABLE workspace; --");
        QTest::newRow("shell") << QStringLiteral("$(rm -rf ~) ${HOME} `id` | & > /dev/null");
        QTest::newRow("cyrillic") << QStringLiteral("Рабочее место");
        QTest::newRow("cjk and emoji") << QStringLiteral("仕事 🚀 Ωμέγα");
        QTest::newRow("control") << QStringLiteral("line\nbreak\ttab \\ %s %n ?1 :name");
        QTest::newRow("empty") << QString();
        QTest::newRow("blanks") << QStringLiteral("  ");
    }

    void namesPassThroughUnchanged()
    {
        QFETCH(QString, name);
        const auto workspace = std::make_shared<Workspace>(QUuid::createUuid(), name,
            QDateTime::currentDateTime(), name,
            QList<AppInfoPtr>{AppInfo::create(QUuid::createUuid(), name, name, true, name)});
        context().insert(workspaceNamed(QStringLiteral("Other"), 1));
        context().insert(workspace);
        saveOrFail();

        const auto other = reopen();
        const auto fetched = other->mainContext().fetchWorkspaces(name).value;
        QCOMPARE(fetched.size(), 1);
        QCOMPARE(fetched.first()->name(), name);
        QCOMPARE(fetched.first()->notes(), std::optional<QString>(name));
        QCOMPARE(fetched.first()->apps().first()->name(), name);
        QCOMPARE(fetched.first()->apps().first()->bundleIdentifier(), std::optional<QString>(name));
        QCOMPARE(fetched.first()->apps().first()->path(), name);
        QCOMPARE(other->mainContext().fetchWorkspaces().value.size(), 2);
    }

    void aFailedSaveKeepsEveryChangeInMemory()
    {
        Store::Database::open(m_path)->execute(
            "CREATE TRIGGER refuse BEFORE INSERT ON app_layout "
            "BEGIN SELECT RAISE(ABORT, 'database or disk is full'); END");
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        const auto error = context().save();
        QCOMPARE(error, std::optional<QString>(QStringLiteral("database or disk is full")));
        QVERIFY(workspace->hasChanges());
        QVERIFY(context().hasChanges());
        QCOMPARE(context().fetchWorkspaces().value, QList<WorkspacePtr>{workspace});
        QVERIFY(m_container->makeContext()->fetchWorkspaces().value.isEmpty());
        // Nothing half-written: the workspace and app rows went back with the layouts.
        QCOMPARE(
            count("SELECT (SELECT COUNT(*) FROM workspace) + (SELECT COUNT(*) FROM app_info)"), 0);

        Store::Database::open(m_path)->execute("DROP TRIGGER refuse");
        saveOrFail();
        const auto fetched = m_container->makeContext()->fetchWorkspace(workspace->id()).value;
        QVERIFY(fetched);
        QCOMPARE(fetched->apps().size(), 5);
        QCOMPARE(fetched->apps().last()->layouts().size(), 3);
    }

    void aStoreThatCannotBeReadReportsWhy()
    {
        context().insert(workspaceNamed(QStringLiteral("Work")));
        saveOrFail();
        Store::Database::open(m_path)->execute("ALTER TABLE workspace RENAME TO hidden");
        const auto failed = context().fetchWorkspaces();
        QCOMPARE(failed.error, std::optional<QString>(QStringLiteral("no such table: workspace")));
        QVERIFY(failed.value.isEmpty());
        QVERIFY(!context().fetchWorkspace(QUuid::createUuid()).ok());
        Store::Database::open(m_path)->execute("ALTER TABLE hidden RENAME TO workspace");
        QCOMPARE(context().fetchWorkspaces().value.size(), 1);
    }

    void workspacesDeletedElsewhereAreForgotten()
    {
        const auto workspace = workspaceNamed(QStringLiteral("Work"));
        context().insert(workspace);
        saveOrFail();
        const auto shell = m_container->makeContext();
        const auto seen = shell->fetchWorkspace(workspace->id()).value;
        QVERIFY(seen);
        context().remove(workspace);
        saveOrFail();
        QVERIFY(shell->fetchWorkspaces().value.isEmpty());
        QCOMPARE(shell->fetchWorkspace(workspace->id()).value, nullptr);
        QVERIFY(!shell->hasChanges());
        QVERIFY(!shell->save());
        QCOMPARE(count("SELECT COUNT(*) FROM workspace"), 0);
    }
};

VANTOR_UNIT_TEST_MAIN(StoreTest)
#include "tst_store.moc"

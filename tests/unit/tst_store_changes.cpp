#include "Store/Database.h"
#include "Store/ModelContainer.h"

#include "TestMain.h"

#include <QStandardPaths>

namespace {

AppInfoPtr appWithLayouts(int index)
{
    QList<AppLayoutPtr> layouts;
    for (int i = 0; i < 3; ++i)
        layouts.append(
            std::make_shared<AppLayout>(QUuid::createUuid(), 1920, 1080 + i, i, i, 640, 480));
    return AppInfo::create(QUuid::createUuid(), QStringLiteral("App%1").arg(index),
        QStringLiteral("org.example.App%1").arg(index), true,
        QStringLiteral("/usr/share/applications/App%1.desktop").arg(index), layouts);
}

WorkspacePtr workspaceNamed(const QString& name)
{
    QList<AppInfoPtr> apps;
    for (int i = 0; i < 5; ++i)
        apps.append(appWithLayouts(i));
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime::currentDateTime(), std::nullopt, apps);
}

// Every row written from now on, as "table operation", counted by triggers in the file.
constexpr const char* auditTriggers = R"sql(
    CREATE TABLE audit (entry TEXT NOT NULL);
    CREATE TRIGGER workspace_insert AFTER INSERT ON workspace BEGIN INSERT INTO audit VALUES ('workspace insert'); END;
    CREATE TRIGGER workspace_update AFTER UPDATE ON workspace BEGIN INSERT INTO audit VALUES ('workspace update'); END;
    CREATE TRIGGER workspace_delete AFTER DELETE ON workspace BEGIN INSERT INTO audit VALUES ('workspace delete'); END;
    CREATE TRIGGER app_insert AFTER INSERT ON app_info BEGIN INSERT INTO audit VALUES ('app insert'); END;
    CREATE TRIGGER app_update AFTER UPDATE ON app_info BEGIN INSERT INTO audit VALUES ('app update'); END;
    CREATE TRIGGER app_delete AFTER DELETE ON app_info BEGIN INSERT INTO audit VALUES ('app delete'); END;
    CREATE TRIGGER layout_insert AFTER INSERT ON app_layout BEGIN INSERT INTO audit VALUES ('layout insert'); END;
    CREATE TRIGGER layout_update AFTER UPDATE ON app_layout BEGIN INSERT INTO audit VALUES ('layout update'); END;
    CREATE TRIGGER layout_delete AFTER DELETE ON app_layout BEGIN INSERT INTO audit VALUES ('layout delete'); END;
)sql";

} // namespace

// A save writes the records that changed and nothing else.
class StoreChangesTest : public QObject {
    Q_OBJECT

    QString m_path;
    std::unique_ptr<ModelContainer> m_container;
    QList<WorkspacePtr> m_workspaces;

    ModelContext& context() { return m_container->mainContext(); }

    // The rows written since the last call, e.g. {"workspace insert": 1, "app insert": 5}.
    QMap<QString, int> takeAudit() const
    {
        auto database = Store::Database::open(m_path);
        QMap<QString, int> entries;
        auto statement = database->prepare("SELECT entry, COUNT(*) FROM audit GROUP BY entry");
        while (statement.next())
            entries.insert(statement.text(0), int(statement.integer(1)));
        database->execute("DELETE FROM audit");
        return entries;
    }

    void saveOrFail()
    {
        const auto error = context().save();
        QVERIFY2(!error, qPrintable(error.value_or(QString())));
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_path = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/changes.sqlite");
        m_container = ModelContainer::open(m_path);
        QVERIFY(m_container);
        for (int i = 0; i < 1000; ++i) {
            m_workspaces.append(workspaceNamed(QStringLiteral("Workspace %1").arg(i)));
            context().insert(m_workspaces.last());
        }
        saveOrFail();
        Store::Database::open(m_path)->execute(auditTriggers);
    }

    void init() { failOnUnexpectedWarnings(); }

    void cleanupTestCase() { m_container.reset(); }

    void aSaveWithoutChangesWritesNothing()
    {
        QVERIFY(!context().hasChanges());
        saveOrFail();
        QCOMPARE(takeAudit(), (QMap<QString, int>{}));
    }

    void creatingOneWorkspaceWritesOnlyItsRecords()
    {
        context().insert(workspaceNamed(QStringLiteral("New")));
        saveOrFail();
        QCOMPARE(takeAudit(),
            (QMap<QString, int>{{QStringLiteral("workspace insert"), 1},
                {QStringLiteral("app insert"), 5}, {QStringLiteral("layout insert"), 15}}));
    }

    void changingAFieldWritesOnlyThatWorkspace()
    {
        m_workspaces.at(500)->setShortcut(QStringLiteral("none"));
        saveOrFail();
        QCOMPARE(takeAudit(), (QMap<QString, int>{{QStringLiteral("workspace update"), 1}}));
    }

    void appendingALayoutWritesOnlyThatLayout()
    {
        m_workspaces.at(7)->apps().at(3)->appendLayout(
            std::make_shared<AppLayout>(QUuid::createUuid(), 800, 600, 0, 0, 100, 100));
        saveOrFail();
        QCOMPARE(takeAudit(), (QMap<QString, int>{{QStringLiteral("layout insert"), 1}}));
    }

    void reorderingAppsWritesOnlyTheMovedApps()
    {
        auto apps = m_workspaces.at(9)->apps();
        std::reverse(apps.begin(), apps.end()); // the middle one stays in place
        m_workspaces.at(9)->setApps(apps);
        saveOrFail();
        QCOMPARE(takeAudit(),
            (QMap<QString, int>{
                {QStringLiteral("workspace update"), 1}, {QStringLiteral("app update"), 4}}));
    }

    void deletingAWorkspaceDeletesOnlyItsRecords()
    {
        context().remove(m_workspaces.at(3));
        saveOrFail();
        QCOMPARE(takeAudit(),
            (QMap<QString, int>{{QStringLiteral("workspace delete"), 1},
                {QStringLiteral("app delete"), 5}, {QStringLiteral("layout delete"), 15}}));
    }

    void aFetchWritesNothing()
    {
        const auto shell = m_container->makeContext();
        QCOMPARE(shell->fetchWorkspaces().value.size(), 1000);
        QVERIFY(!shell->hasChanges());
        QVERIFY(!shell->save());
        QCOMPARE(context().fetchWorkspaces().value.size(), 1000);
        QVERIFY(!context().hasChanges());
        QCOMPARE(takeAudit(), (QMap<QString, int>{}));
    }
};

VANTOR_UNIT_TEST_MAIN(StoreChangesTest)
#include "tst_store_changes.moc"

#include "Store/Database.h"
#include "Store/ModelContainer.h"
#include "Util/CacheManager.h"
#include "Util/WindowManager.h"

#include "ConsoleCapture.h"
#include "FakeDesktop.h"
#include "StoreFile.h"
#include "TestMain.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr Platform::ProcessId editorPid = 101;

AppLayoutPtr layoutFor(ScreenSize screen, double x = 10)
{
    return std::make_shared<AppLayout>(
        QUuid::createUuid(), screen.width, screen.height, x, 20, 800, 600);
}

AppInfoPtr app(const std::optional<QString>& bundleIdentifier, const QList<AppLayoutPtr>& layouts)
{
    return AppInfo::create(QUuid::createUuid(), bundleIdentifier.value_or(QStringLiteral("Tool")),
        bundleIdentifier, true, QStringLiteral("/usr/share/applications/x.desktop"), layouts);
}

WorkspacePtr workspace(const QString& name, const QList<AppInfoPtr>& apps = {})
{
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime::currentDateTime(), std::nullopt, apps);
}

const QString failure = QStringLiteral("database or disk is full");

// Files may grow only `bytes` beyond the largest file of the store; writing past that fails
// as on a full disk.
void limitFileSizes(const QString& path, qint64 bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    qint64 largest = 0;
    for (const char* suffix : {"", "-wal", "-shm"})
        largest = std::max(largest, QFileInfo(path + QLatin1String(suffix)).size());
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = rlim_t(largest + bytes);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

void liftFileSizeLimit()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

// Runs the check in a child process (it changes process limits); its failure text or empty.
QString inChildProcess(const std::function<QString()>& check)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return QStringLiteral("pipe failed");
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(fds[0]);
        const QByteArray failureText = check().toUtf8();
        (void)::write(fds[1], failureText.constData(), size_t(failureText.size()));
        ::_exit(0);
    }
    ::close(fds[1]);
    QByteArray failureText;
    char buffer[1024];
    ssize_t n = 0;
    while ((n = ::read(fds[0], buffer, sizeof buffer)) > 0)
        failureText.append(buffer, n);
    ::close(fds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return QStringLiteral("the child process ended with status %1").arg(status);
    return QString::fromUtf8(failureText);
}

} // namespace

class CacheManagerTest : public QObject {
    Q_OBJECT

    QString m_path;
    std::unique_ptr<ModelContainer> m_container;
    FakeWindowSystem m_windows;
    FakeApplications m_applications;
    std::unique_ptr<WindowManager> m_windowManager;
    std::unique_ptr<CacheManager> m_manager;
    std::unique_ptr<ConsoleCapture> m_console;

    CacheManager& manager() { return *m_manager; }
    QStringList lines() const { return m_console->lines(); }

    // What a later process finds in the file.
    QList<WorkspacePtr> reloaded() const { return StoreFile::workspaces(m_path); }

    void execute(const char* sql) const { Store::Database::open(m_path)->execute(sql); }
    qint64 count(const char* sql) const { return StoreFile::count(m_path, sql); }

    void refuse(const char* event)
    {
        execute(QByteArray("CREATE TRIGGER refuse ") + event
            + " BEGIN SELECT RAISE(ABORT, 'database or disk is full'); END");
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_path = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/%1.sqlite").arg(QString::fromLatin1(QTest::currentTestFunction()));
        m_container = ModelContainer::open(m_path);
        QVERIFY(m_container);
        m_windows = {};
        m_applications = {};
        m_windows.screen = {1920, 1080};
        m_windowManager = std::make_unique<WindowManager>(m_windows, m_applications);
        m_manager = std::make_unique<CacheManager>(m_container->mainContext(), *m_windowManager);
        m_console = std::make_unique<ConsoleCapture>();
    }

    void cleanup()
    {
        m_console.reset();
        m_manager.reset();
        m_container.reset();
    }

    void fetchesFollowStoreOrderAndExactNames()
    {
        QVERIFY(manager().fetchAllWorkspaces().isEmpty());
        QCOMPARE(manager().fetchWorkspace(QStringLiteral("Work")), nullptr);
        const auto first = manager().createWorkspace(workspace(QStringLiteral("Work"))).value;
        const auto other = manager().createWorkspace(workspace(QStringLiteral("Home"))).value;
        const auto second = manager().createWorkspace(workspace(QStringLiteral("Work"))).value;
        QCOMPARE(manager().fetchAllWorkspaces(), (QList<WorkspacePtr>{first, other, second}));
        QCOMPARE(manager().fetchWorkspace(QStringLiteral("Work")), first);
        QCOMPARE(manager().fetchWorkspace(QStringLiteral("work")), nullptr);
        QCOMPARE(lines(), QStringList{});
    }

    void createWorkspaceSavesItWithItsAppsAndLayouts()
    {
        const auto created = workspace(
            QStringLiteral("Work"), {app(QStringLiteral("org.a"), {layoutFor({1920, 1080})})});
        QCOMPARE(manager().createWorkspace(created).value, created);
        QVERIFY(!created->hasChanges());
        const auto found = reloaded();
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first()->id(), created->id());
        QCOMPARE(found.first()->apps().first()->layouts().size(), 1);
        QCOMPARE(lines(), QStringList{});
    }

    void aFailedCreationIsReportedAndKeptInMemory()
    {
        refuse("BEFORE INSERT ON workspace");
        const auto created = workspace(QStringLiteral("Bob's \"Work\""));
        QCOMPARE(manager().createWorkspace(created).value, created);
        QCOMPARE(lines(),
            QStringList{
                QStringLiteral("Failed to create workspace: Bob's \"Work\". Error: ") + failure});
        QCOMPARE(manager().fetchAllWorkspaces(), QList<WorkspacePtr>{created});
        QVERIFY(reloaded().isEmpty());
    }

    void updateWithEveryFrameCapturedAddsNothing()
    {
        const auto created = manager().createWorkspace(workspace(QStringLiteral("Work"),
            {app(QStringLiteral("org.a"), {layoutFor({1920, 1080})}),
                app(QStringLiteral("org.b"), {layoutFor({1920, 1080})})})).value;
        m_applications.addRunning(editorPid, QStringLiteral("org.a"), QStringLiteral("A"));
        m_windows.addWindow(editorPid, {0, 0, 500, 400});
        created->setNotes(QStringLiteral("edited"));
        manager().updateWorkspace(created);
        QCOMPARE(created->apps().at(0)->layouts().size(), 1);
        QCOMPARE(created->apps().at(1)->layouts().size(), 1);
        QCOMPARE(reloaded().first()->notes(), std::optional<QString>(QStringLiteral("edited")));
        QCOMPARE(lines(), QStringList{});
    }

    void updateCapturesRunningAppsAndReportsTheOthers()
    {
        const auto created = manager().createWorkspace(workspace(QStringLiteral("Work"),
            {app(QStringLiteral("org.a"), {layoutFor({1512, 982})}),
                app(QStringLiteral("org.b"), {})})).value;
        const QDateTime updatedAt = created->updatedAt();
        m_applications.addRunning(editorPid, QStringLiteral("org.a"), QStringLiteral("A"));
        m_windows.addWindow(editorPid, {30, 40, 700, 500});
        manager().updateWorkspace(created);

        QCOMPARE(lines(), QStringList{QStringLiteral("App not running: org.b")});
        const auto& layouts = created->apps().at(0)->layouts();
        QCOMPARE(layouts.size(), 2);
        QCOMPARE(layouts.at(1)->screenSize(), (ScreenSize{1920, 1080}));
        QCOMPARE(layouts.at(1)->frame(), (Frame{30, 40, 700, 500}));
        QVERIFY(created->apps().at(1)->layouts().isEmpty());
        QCOMPARE(created->updatedAt(), updatedAt);

        const auto stored = reloaded().first();
        QCOMPARE(stored->apps().at(0)->layouts().size(), 2);
        QCOMPARE(stored->apps().at(0)->currentLayout({1920, 1080})->id(), layouts.at(1)->id());
        QVERIFY(stored->apps().at(1)->layouts().isEmpty());
    }

    void updateAppendsASecondFrameForAnAppThatHadOne()
    {
        const auto earlier = layoutFor({1920, 1080}, 5);
        const auto created = manager().createWorkspace(workspace(QStringLiteral("Work"),
            {app(QStringLiteral("org.a"), {}), app(QStringLiteral("org.b"), {earlier})})).value;
        m_applications.addRunning(editorPid, QStringLiteral("org.b"), QStringLiteral("B"));
        m_windows.addWindow(editorPid, {300, 200, 640, 480});
        m_windows.addWindow(editorPid, {0, 0, 100, 100});
        manager().updateWorkspace(created);

        QCOMPARE(lines(), QStringList{QStringLiteral("App not running: org.a")});
        const auto b = created->apps().at(1);
        QCOMPARE(b->layouts().size(), 2); // only the first captured window is appended
        QCOMPARE(b->layouts().at(1)->frame(), (Frame{300, 200, 640, 480}));
        QCOMPARE(b->currentLayout({1920, 1080}), earlier);
        QCOMPARE(reloaded().first()->apps().at(1)->layouts().size(), 2);
    }

    void updateSkipsAppsWithoutIdentifierOrWindows()
    {
        const auto created = manager().createWorkspace(workspace(
            QStringLiteral("Work"), {app(std::nullopt, {}), app(QStringLiteral("org.a"), {})})).value;
        m_applications.addRunning(editorPid, QStringLiteral("org.a"), QStringLiteral("A"));
        manager().updateWorkspace(created);
        QCOMPARE(lines(), QStringList{});
        QVERIFY(created->apps().at(0)->layouts().isEmpty());
        QVERIFY(created->apps().at(1)->layouts().isEmpty());
    }

    void aFailedUpdateWithoutCaptureIsReported()
    {
        const auto complete = manager().createWorkspace(workspace(
            QStringLiteral("Complete"), {app(QStringLiteral("org.a"), {layoutFor({1920, 1080})})})).value;
        refuse("BEFORE UPDATE ON workspace");
        complete->setNotes(QStringLiteral("edited"));
        manager().updateWorkspace(complete);
        QCOMPARE(lines(),
            QStringList{QStringLiteral("Failed to update workspace: Complete. Error: ") + failure});
        QCOMPARE(complete->notes(), std::optional<QString>(QStringLiteral("edited")));
        QVERIFY(complete->hasChanges());
    }

    void aFailedUpdateAfterCaptureIsReported()
    {
        const auto missing = manager().createWorkspace(
            workspace(QStringLiteral("Missing"), {app(QStringLiteral("org.a"), {})})).value;
        m_applications.addRunning(editorPid, QStringLiteral("org.a"), QStringLiteral("A"));
        m_windows.addWindow(editorPid, {1, 2, 300, 400});
        refuse("BEFORE INSERT ON app_layout");
        manager().updateWorkspace(missing);
        QCOMPARE(lines(),
            QStringList{QStringLiteral("Failed to update workspace layouts: Missing. "
                                       "Error: ")
                + failure});
        QCOMPARE(missing->apps().first()->layouts().size(), 1); // kept in memory
        QVERIFY(missing->apps().first()->hasChanges());
        QVERIFY(reloaded().first()->apps().first()->layouts().isEmpty());
    }

    void removingTheShortcutStoresNone()
    {
        const auto created = manager().createWorkspace(workspace(QStringLiteral("Work"))).value;
        manager().removeWorkspaceShortcut(created);
        QCOMPARE(created->shortcut(), std::optional<QString>(QStringLiteral("none")));
        QCOMPARE(reloaded().first()->shortcut(), std::optional<QString>(QStringLiteral("none")));
        QCOMPARE(lines(), QStringList{});

        refuse("BEFORE UPDATE ON workspace");
        created->setShortcut(std::nullopt);
        manager().removeWorkspaceShortcut(created);
        QCOMPARE(lines(),
            QStringList{
                QStringLiteral("Failed to update workspace shortcut: Work. Error: ") + failure});
    }

    void deletingAMissingNameChangesNothing()
    {
        manager().createWorkspace(
            workspace(QStringLiteral("Work"), {app(QStringLiteral("org.a"), {layoutFor({1, 1})})}));
        manager().deleteWorkspace(QStringLiteral("Bob's"));
        QCOMPARE(lines(), QStringList{QStringLiteral("No workspace found with name 'Bob's'")});
        QCOMPARE(
            count("SELECT (SELECT COUNT(*) FROM workspace) * 100 + (SELECT COUNT(*) FROM app_info)"
                  " * 10 + (SELECT COUNT(*) FROM app_layout)"),
            111);
    }

    void deletingOneOfTwoSameNamesDeletesExactlyOne()
    {
        const auto first = manager().createWorkspace(
            workspace(QStringLiteral("Work"), {app(QStringLiteral("org.a"), {layoutFor({1, 1})})})).value;
        const auto second = manager().createWorkspace(
            workspace(QStringLiteral("Work"), {app(QStringLiteral("org.b"), {layoutFor({1, 1})})})).value;
        manager().deleteWorkspace(QStringLiteral("Work"));
        QCOMPARE(lines(), QStringList{});
        QCOMPARE(manager().fetchAllWorkspaces(), QList<WorkspacePtr>{second});
        const auto stored = reloaded();
        QCOMPARE(stored.size(), 1);
        QCOMPARE(stored.first()->id(), second->id());
        QCOMPARE(count("SELECT COUNT(*) FROM app_info"), 1);
        QCOMPARE(count("SELECT COUNT(*) FROM app_layout"), 1);
        Q_UNUSED(first);
    }

    void aFailedDeletionIsReported()
    {
        manager().createWorkspace(workspace(QStringLiteral("Work")));
        refuse("BEFORE DELETE ON workspace");
        manager().deleteWorkspace(QStringLiteral("Work"));
        QCOMPARE(lines(),
            QStringList{QStringLiteral("Failed to delete workspace: Work. Error: ") + failure});
        QCOMPARE(reloaded().size(), 1);
    }

    void aFullDiskIsReportedAndTheChangesKept()
    {
        const QString path = m_path + QStringLiteral(".full");
        const QString failed = inChildProcess([&]() -> QString {
            auto container = ModelContainer::open(path);
            CacheManager manager(container->mainContext(), *m_windowManager);
            ConsoleCapture console;
            manager.createWorkspace(workspace(QStringLiteral("Small")));
            const auto big = workspace(
                QStringLiteral("Big"), {app(QStringLiteral("org.a"), {layoutFor({1920, 1080})})});
            big->setNotes(QString(1 << 20, QLatin1Char('x')));
            limitFileSizes(path, 64 * 1024);
            const auto created = manager.createWorkspace(big);
            liftFileSizeLimit();
            if (created.ok() || created.value != big)
                return QStringLiteral("the result does not tell the failure");
            const QStringList lines = console.lines();
            if (lines != QStringList{QStringLiteral("Failed to create workspace: Big. Error: ")
                    + *created.error})
                return QStringLiteral("unexpected console lines: ") + lines.join(QLatin1Char('|'));
            if (manager.fetchAllWorkspaces().size() != 2 || !big->hasChanges())
                return QStringLiteral("the failed workspace was not kept in memory");
            if (ModelContainer::open(path)->mainContext().fetchWorkspaces().value.size() != 1)
                return QStringLiteral("the failed workspace reached the file");
            manager.updateWorkspace(big); // saves again, now with room
            const auto stored = ModelContainer::open(path)->mainContext().fetchWorkspaces().value;
            if (console.lines().size() != 1 || stored.size() != 2
                || stored.last()->notes() != big->notes())
                return QStringLiteral("the second save did not store the workspace");
            return {};
        });
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void fetchFailuresAreReportedAsEmptyResults()
    {
        manager().createWorkspace(workspace(QStringLiteral("Work")));
        execute("ALTER TABLE workspace RENAME TO hidden");
        QVERIFY(manager().fetchAllWorkspaces().isEmpty());
        QCOMPARE(manager().fetchWorkspace(QStringLiteral("Work")), nullptr);
        manager().deleteWorkspace(QStringLiteral("Work"));
        const QString why = QStringLiteral("no such table: workspace");
        QCOMPARE(lines(),
            (QStringList{QStringLiteral("Failed to fetch all Workspaces: ") + why,
                QStringLiteral("Failed to fetch Workspace: ") + why,
                QStringLiteral("Failed to fetch Workspace: ") + why,
                QStringLiteral("No workspace found with name 'Work'")}));
    }
};

VANTOR_UNIT_TEST_MAIN(CacheManagerTest)
#include "tst_cache_manager.moc"

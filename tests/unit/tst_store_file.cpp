#include "Store/Database.h"
#include "Store/ModelContainer.h"
#include "Store/Schema.h"

#include "TestMain.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStandardPaths>

#include <csignal>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct ChildOutcome {
    int status = 0;
    QByteArray output; // the child's stdout and stderr
    bool exitedCleanly() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }
};

// Runs `body` in a forked child that ends with it (exit status 0 when it returns).
pid_t startChild(const std::function<void()>& body, int* outputFd)
{
    int fds[2];
    if (::pipe(fds) != 0)
        qFatal("pipe failed");
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(fds[1], STDOUT_FILENO);
        ::dup2(fds[1], STDERR_FILENO);
        ::close(fds[0]);
        ::close(fds[1]);
        std::signal(SIGABRT, SIG_DFL); // no crash report from the test framework
        body();
        ::_exit(0);
    }
    ::close(fds[1]);
    *outputFd = fds[0];
    return child;
}

ChildOutcome finishChild(pid_t child, int outputFd)
{
    ChildOutcome outcome;
    char buffer[4096];
    ssize_t n = 0;
    while ((n = ::read(outputFd, buffer, sizeof buffer)) > 0)
        outcome.output.append(buffer, n);
    ::close(outputFd);
    ::waitpid(child, &outcome.status, 0);
    return outcome;
}

ChildOutcome runInChild(const std::function<void()>& body)
{
    int outputFd = -1;
    const pid_t child = startChild(body, &outputFd);
    return finishChild(child, outputFd);
}

QByteArray digestOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

int modeOf(const QString& path)
{
    struct stat status { };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return -1;
    return int(status.st_mode & 0777);
}

void writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(contents) != contents.size())
        qFatal("Cannot write %s", qPrintable(path));
}

// A database of the current schema in rollback-journal mode, with enough rows for
// several pages.
void writeOldStyleDatabase(const QString& path, int version)
{
    auto database = Store::Database::open(path);
    database->execute(
        "CREATE TABLE filler (value TEXT);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400)"
        " INSERT INTO filler SELECT printf('%0200d', i) FROM n;");
    database->execute(
        QByteArray("PRAGMA user_version = " + QByteArray::number(version)).constData());
}

WorkspacePtr workspaceNamed(const QString& name)
{
    const auto layout = std::make_shared<AppLayout>(QUuid::createUuid(), 1920, 1080, 1, 2, 3, 4);
    const auto app = AppInfo::create(QUuid::createUuid(), name, QStringLiteral("org.example.App"),
        true, QStringLiteral("/tmp/app.desktop"), {layout});
    return std::make_shared<Workspace>(QUuid::createUuid(), name, QDateTime::currentDateTime(),
        std::nullopt, QList<AppInfoPtr>{app});
}

} // namespace

class StoreFileTest : public QObject {
    Q_OBJECT

    QString m_dir;

    QString pathFor(const char* name) const
    {
        return m_dir + QLatin1Char('/') + QLatin1String(name);
    }

    // Opens the store at `path` in a child process, which must stop with `reason`; the file
    // must be left exactly as it was.
    void verifyStopsUntouched(const QString& path, const QString& reason)
    {
        const QByteArray before = digestOf(path);
        const QStringList filesBefore = QDir(m_dir).entryList(QDir::Files);
        const auto outcome = runInChild([&] { ModelContainer::openOrStop(path); });
        QVERIFY2(!outcome.exitedCleanly(), outcome.output.constData());
        const QString expected = QStringLiteral("Vantor cannot open its workspace store ") + path
            + QStringLiteral(": ") + reason;
        QVERIFY2(QString::fromUtf8(outcome.output).contains(expected), outcome.output.constData());
        QCOMPARE(digestOf(path), before);
        QCOMPARE(QDir(m_dir).entryList(QDir::Files), filesBefore);
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_dir = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/") + QString::fromLatin1(QTest::currentTestFunction());
        QVERIFY(QDir().mkpath(m_dir));
    }

    // First, so that the process-wide store of this test program is not open yet.
    void theSharedStoreStopsTheProcessOnACorruptFile()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeFile(path, QByteArray("not a database, just a note\n").repeated(200));
        const QByteArray before = digestOf(path);
        const auto outcome = runInChild([&] {
            qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir));
            sharedModelContainer();
        });
        QVERIFY2(!outcome.exitedCleanly(), outcome.output.constData());
        QVERIFY2(outcome.output.contains("Vantor cannot open its workspace store "
                     + QFile::encodeName(path) + ": file is not a database"),
            outcome.output.constData());
        QCOMPARE(digestOf(path), before);
        QCOMPARE(QDir(m_dir).entryList(QDir::Files), QStringList{QStringLiteral("Vantor.sqlite")});
    }

    void theSharedStoreIsAPrivateFileDirectlyInTheDataDirectory()
    {
        // A fresh account: not even the data directory exists yet.
        const QString dataHome = m_dir + QStringLiteral("/fresh/share");
        const QByteArray previousDataHome = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));
        const auto restore = qScopeGuard([&] { qputenv("XDG_DATA_HOME", previousDataHome); });
        ModelContainer& container = sharedModelContainer();
        QCOMPARE(&sharedModelContainer(), &container);
        const QString path = dataHome + QStringLiteral("/Vantor.sqlite");
        QCOMPARE(container.path(), path);

        ModelContext& main = container.mainContext();
        const auto shell = container.makeContext();
        QVERIFY(shell.get() != &main);
        main.insert(workspaceNamed(QStringLiteral("First")));
        QVERIFY(!main.save());
        QVERIFY(QFileInfo(path).isFile());
        QCOMPARE(QDir(dataHome).entryList(QDir::Files),
            (QStringList{QStringLiteral("Vantor.sqlite"), QStringLiteral("Vantor.sqlite-shm"),
                QStringLiteral("Vantor.sqlite-wal")}));
        for (const char* suffix : {"", "-wal", "-shm"})
            QCOMPARE(modeOf(path + QLatin1String(suffix)), 0600);
        QCOMPARE(shell->fetchWorkspaces().value.size(), 1);
        QCOMPARE(
            Store::Database::open(path)->queryText("PRAGMA journal_mode"), QStringLiteral("wal"));
    }

    void anExistingFileBecomesPrivate()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, 0);
        ::chmod(QFile::encodeName(path).constData(), 0644);
        QVERIFY(ModelContainer::open(path));
        QCOMPARE(modeOf(path), 0600);
    }

    void aCorruptFileStopsTheProcessAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeFile(path, QByteArray(8192, '\x5a'));
        verifyStopsUntouched(path, QStringLiteral("file is not a database"));
    }

    void aFileDamagedBehindItsHeaderStopsTheProcessAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.size() > 16384);
        file.seek(8192);
        file.write(QByteArray(4096, '\xff'));
        file.close();
        verifyStopsUntouched(path, QStringLiteral("database disk image is malformed"));
    }

    void anUnreadableFileStopsTheProcess()
    {
        // A directory where the file should be: unreadable as a database even for root.
        const QString path = pathFor("Vantor.sqlite");
        QVERIFY(QDir().mkpath(path));
        verifyStopsUntouched(path, QStringLiteral("unable to open database file"));
        QVERIFY(QFileInfo(path).isDir());
        QVERIFY(QDir(path).isEmpty());
    }

    void aFileOfANewerVersionStopsTheProcessAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, Store::Schema::currentVersion() + 1);
        verifyStopsUntouched(path,
            QStringLiteral("cannot migrate schema version %1")
                .arg(Store::Schema::currentVersion() + 1));
    }

    void anOlderFileIsUpgradedAndKeepsItsOtherData()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, 0);
        auto container = ModelContainer::open(path);
        QVERIFY(container);
        auto database = Store::Database::open(path);
        QCOMPARE(database->queryInteger("PRAGMA user_version"), Store::Schema::currentVersion());
        QCOMPARE(database->queryInteger("SELECT COUNT(*) FROM filler"), 400);
        container->mainContext().insert(workspaceNamed(QStringLiteral("Work")));
        QVERIFY(!container->mainContext().save());
        // Opening an up-to-date file again upgrades nothing.
        QVERIFY(ModelContainer::open(path));
        QCOMPARE(ModelContainer::open(path)->mainContext().fetchWorkspaces().value.size(), 1);
    }

    void twoProcessesWritingAtOnceLoseNothing()
    {
        const QString path = pathFor("Vantor.sqlite"); // not created yet: they race for that too
        constexpr int writers = 3;
        constexpr int workspacesEach = 40;
        int go[2];
        QVERIFY(::pipe(go) == 0);
        QList<std::pair<pid_t, int>> children;
        for (int writer = 0; writer < writers; ++writer) {
            int outputFd = -1;
            const pid_t child = startChild(
                [&, writer] {
                    ::close(go[1]);
                    char byte = 0;
                    (void)::read(go[0], &byte, 1); // all start when the pipe closes
                    QString openError;
                    auto container = ModelContainer::open(path, &openError);
                    if (!container) {
                        std::fprintf(stderr, "open failed: %s\n", qPrintable(openError));
                        ::_exit(2);
                    }
                    for (int i = 0; i < workspacesEach; ++i) {
                        container->mainContext().insert(
                            workspaceNamed(QStringLiteral("w%1-%2").arg(writer).arg(i)));
                        if (const auto error = container->mainContext().save()) {
                            std::fprintf(stderr, "save failed: %s\n", qPrintable(*error));
                            ::_exit(1);
                        }
                    }
                },
                &outputFd);
            children.append({child, outputFd});
        }
        ::close(go[0]);
        ::close(go[1]);
        for (const auto& [child, outputFd] : children) {
            const auto outcome = finishChild(child, outputFd);
            QVERIFY2(outcome.exitedCleanly(), outcome.output.constData());
        }

        const auto workspaces = ModelContainer::open(path)->mainContext().fetchWorkspaces().value;
        QCOMPARE(workspaces.size(), writers * workspacesEach);
        QList<int> nextOf(writers, 0);
        for (const auto& workspace : workspaces) {
            const QStringList parts = workspace->name().mid(1).split(QLatin1Char('-'));
            const int writer = parts.at(0).toInt();
            // Each writer's workspaces come back in the order it saved them.
            QCOMPARE(parts.at(1).toInt(), nextOf[writer]++);
            QCOMPARE(workspace->apps().size(), 1);
            QCOMPARE(workspace->apps().first()->layouts().size(), 1);
        }
    }
};

VANTOR_UNIT_TEST_MAIN(StoreFileTest)
#include "tst_store_file.moc"

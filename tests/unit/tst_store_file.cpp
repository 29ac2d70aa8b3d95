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

#include <QTemporaryDir>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <grp.h>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct ChildOutcome {
    int status = 0;
    QByteArray output; // the child's stdout and stderr
    bool exitedWith(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
    bool exitedCleanly() const { return exitedWith(0); }
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

// The user the read-only tests run as: the tests themselves run as root, whom file
// permissions do not stop.
const passwd* nobody()
{
    return ::geteuid() == 0 ? ::getpwnam("nobody") : nullptr;
}

// Runs `check` in a child process that has become the user nobody. Its result is the
// failure, empty when everything held; the child's output follows it.
QString checkAsNobody(const std::function<QString()>& check)
{
    const passwd* user = nobody();
    const auto outcome = runInChild([&] {
        if (::setgroups(0, nullptr) != 0 || ::setresgid(user->pw_gid, user->pw_gid, user->pw_gid) != 0
            || ::setresuid(user->pw_uid, user->pw_uid, user->pw_uid) != 0) {
            std::printf("cannot become nobody: %s", std::strerror(errno));
            ::_exit(3);
        }
        const QByteArray failure = check().toUtf8();
        std::fwrite(failure.constData(), 1, size_t(failure.size()), stdout);
        std::fflush(stdout);
        ::_exit(failure.isEmpty() ? 0 : 1);
    });
    if (outcome.exitedCleanly())
        return {};
    return QStringLiteral("status %1: %2").arg(outcome.status).arg(QString::fromUtf8(outcome.output));
}

void chown(const QString& path, const passwd* user)
{
    if (::chown(QFile::encodeName(path).constData(), user->pw_uid, user->pw_gid) != 0)
        qFatal("Cannot give %s to nobody", qPrintable(path));
}

void chmod(const QString& path, mode_t mode)
{
    if (::chmod(QFile::encodeName(path).constData(), mode) != 0)
        qFatal("Cannot chmod %s", qPrintable(path));
}

// Fills the file system that holds `folder` until no byte fits any more.
void fill(const QString& folder)
{
    QFile filler(folder + QStringLiteral("/filler"));
    if (!filler.open(QIODevice::WriteOnly))
        qFatal("Cannot write into %s", qPrintable(folder));
    const QByteArray block(4096, 'x');
    while (filler.write(block) == block.size() && filler.flush()) { }
}

// A disk that fills up: a tmpfs of 512 KiB on a fresh folder, for as long as this lives.
class SmallDisk {
public:
    SmallDisk() : m_folder(QDir::tempPath() + QStringLiteral("/vantor-store-XXXXXX"))
    {
        if (::mount("tmpfs", QFile::encodeName(m_folder.path()).constData(), "tmpfs", 0,
                "size=512k,mode=0700")
            != 0)
            m_error = QStringLiteral("A full disk is a small tmpfs, which cannot be mounted here: ")
                + QString::fromLocal8Bit(std::strerror(errno));
    }
    ~SmallDisk()
    {
        if (m_error.isEmpty())
            ::umount2(QFile::encodeName(m_folder.path()).constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    // Why it could not be mounted; empty when it is.
    QString error() const { return m_error; }
    QString path() const { return m_folder.path(); }
    QString filePath(const QString& name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
    QString m_error;
};

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

// A database in rollback-journal mode with the given schema version, with enough rows in a
// table of its own for several pages.
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

    // Opening the store at `path` must fail with `reason` and leave the file exactly as it was.
    void verifyRefusedUntouched(const QString& path, const QString& reason)
    {
        const QByteArray before = digestOf(path);
        const QStringList filesBefore = QDir(m_dir).entryList(QDir::Files);
        QString error;
        QVERIFY(!ModelContainer::open(path, &error));
        QVERIFY2(error.startsWith(reason), qPrintable(error));
        QCOMPARE(digestOf(path), before);
        QCOMPARE(QDir(m_dir).entryList(QDir::Files), filesBefore);
    }

    // A folder that nobody may enter, and the store in it, written by root with a workspace
    // named "Work".
    QString storeForNobody(QTemporaryDir& folder)
    {
        if (!nobody())
            return {};
        ::chmod(QFile::encodeName(folder.path()).constData(), 0755);
        const QString path = folder.filePath(QStringLiteral("Vantor.sqlite"));
        auto container = ModelContainer::open(path);
        container->mainContext().insert(workspaceNamed(QStringLiteral("Work")));
        if (container->mainContext().save())
            return {};
        return path;
    }

    // Reads the store at `path` as nobody: "Work" is there, through both contexts.
    static QString readsWork(const QString& path, const QString& readOnlyReason)
    {
        QString error;
        const auto container = ModelContainer::open(path, &error);
        if (!container)
            return QStringLiteral("did not open: ") + error;
        if (!container->readOnlyReason() || !container->readOnlyReason()->contains(readOnlyReason))
            return QStringLiteral("not read-only for the reason: ")
                + container->readOnlyReason().value_or(QStringLiteral("none"));
        const auto shell = container->makeContext(&error);
        if (!shell)
            return QStringLiteral("no second context: ") + error;
        for (ModelContext* context : {&container->mainContext(), shell.get()}) {
            const auto fetched = context->fetchWorkspaces();
            if (!fetched.ok() || fetched.value.size() != 1
                || fetched.value.first()->name() != QLatin1String("Work"))
                return QStringLiteral("fetched %1 workspaces: %2")
                    .arg(fetched.value.size())
                    .arg(fetched.error.value_or(QString()));
        }
        return {};
    }

    // Saves a new workspace into the store at `path` as nobody: the save must fail with
    // `reason` and the change stay pending.
    static QString refusesToSave(const QString& path, const QString& reason)
    {
        const auto container = ModelContainer::open(path);
        if (!container)
            return QStringLiteral("did not open");
        ModelContext& context = container->mainContext();
        context.insert(workspaceNamed(QStringLiteral("Home")));
        const SaveResult error = context.save();
        if (!error || !error->contains(reason))
            return QStringLiteral("the save gave: ") + error.value_or(QStringLiteral("success"));
        if (!context.hasChanges())
            return QStringLiteral("the unsaved workspace was dropped");
        return {};
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
    void theSharedStoreEndsTheProcessWithItsMessageOnACorruptFile()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeFile(path, QByteArray("not a database, just a note\n").repeated(200));
        const QByteArray before = digestOf(path);
        const auto outcome = runInChild([&] {
            qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir));
            sharedModelContainer();
        });
        // An exit with status 1, not an abort (no core dump).
        QVERIFY2(outcome.exitedWith(1), outcome.output.constData());
        // The first line; the sanitizer may add its own after a fork.
        QCOMPARE(outcome.output.left(outcome.output.indexOf('\n')),
            "vantor: Vantor cannot open its workspace store " + QFile::encodeName(path)
                + ": file is not a database");
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
        QVERIFY(ModelContainer::open(path));
        ::chmod(QFile::encodeName(path).constData(), 0644);
        QVERIFY(ModelContainer::open(path));
        QCOMPARE(modeOf(path), 0600);
    }

    void aFileTheUserMadeReadOnlyKeepsItsMode()
    {
        const QString path = pathFor("Vantor.sqlite");
        QVERIFY(ModelContainer::open(path));
        ::chmod(QFile::encodeName(path).constData(), 0400);
        QVERIFY(ModelContainer::open(path));
        QCOMPARE(modeOf(path), 0400);
    }

    void aCorruptFileIsRefusedAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeFile(path, QByteArray(8192, '\x5a'));
        verifyRefusedUntouched(path, QStringLiteral("file is not a database"));
    }

    void anotherProgramsDatabaseIsRefusedAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, 0);
        verifyRefusedUntouched(path,
            QStringLiteral("not a Vantor store: it holds other tables (filler) and no Vantor "
                           "schema version"));
    }

    void aFileDamagedBehindItsHeaderIsRefusedAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, Store::Schema::currentVersion());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.size() > 16384);
        file.seek(8192);
        file.write(QByteArray(4096, '\xff'));
        file.close();
        verifyRefusedUntouched(path, QStringLiteral("database disk image is malformed"));
    }

    void anUnreadableFileIsRefused()
    {
        // A directory where the file should be: unreadable as a database even for root.
        const QString path = pathFor("Vantor.sqlite");
        QVERIFY(QDir().mkpath(path));
        verifyRefusedUntouched(path, QStringLiteral("unable to open database file"));
        QVERIFY(QFileInfo(path).isDir());
        QVERIFY(QDir(path).isEmpty());
    }

    void aFileOfANewerVersionIsRefusedAndStaysUntouched()
    {
        const QString path = pathFor("Vantor.sqlite");
        writeOldStyleDatabase(path, Store::Schema::currentVersion() + 1);
        verifyRefusedUntouched(path,
            QStringLiteral("cannot migrate schema version %1")
                .arg(Store::Schema::currentVersion() + 1));
    }

    void anEmptyDatabaseBecomesTheStore()
    {
        const QString path = pathFor("Vantor.sqlite");
        Store::Database::open(path)->execute("CREATE TABLE scratch (x); DROP TABLE scratch;");
        const auto container = ModelContainer::open(path);
        QVERIFY(container);
        QVERIFY(!container->readOnlyReason());
        auto database = Store::Database::open(path);
        QCOMPARE(database->queryInteger("PRAGMA user_version"), Store::Schema::currentVersion());
        QCOMPARE(database->queryText("PRAGMA journal_mode"), QStringLiteral("wal"));
    }

    void aStoreWithARollbackJournalMovesToWalAndKeepsItsWorkspaces()
    {
        const QString path = pathFor("Vantor.sqlite");
        {
            const auto container = ModelContainer::open(path);
            container->mainContext().insert(workspaceNamed(QStringLiteral("Work")));
            QVERIFY(!container->mainContext().save());
        }
        Store::Database::open(path)->execute("PRAGMA journal_mode = DELETE");
        const auto container = ModelContainer::open(path);
        QVERIFY(container);
        QCOMPARE(container->mainContext().fetchWorkspaces().value.size(), 1);
        QCOMPARE(
            Store::Database::open(path)->queryText("PRAGMA journal_mode"), QStringLiteral("wal"));
    }

    void aReadOnlyFolderGivesAStoreThatReads()
    {
        QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/vantor-store-XXXXXX"));
        const QString path = storeForNobody(folder);
        if (path.isEmpty())
            QSKIP("Needs root, to run the check as the user nobody: root may write anywhere");
        chmod(path, 0644); // nobody may read it; the folder stays root's
        const QByteArray before = digestOf(path);
        QCOMPARE(checkAsNobody([&] { return readsWork(path, QStringLiteral("is read-only")); }),
            QString());
        QCOMPARE(digestOf(path), before);
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{QStringLiteral("Vantor.sqlite")});
    }

    void aReadOnlyFolderGivesAStoreThatRefusesToSave()
    {
        QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/vantor-store-XXXXXX"));
        const QString path = storeForNobody(folder);
        if (path.isEmpty())
            QSKIP("Needs root, to run the check as the user nobody: root may write anywhere");
        chmod(path, 0644);
        const QByteArray before = digestOf(path);
        QCOMPARE(checkAsNobody([&] { return refusesToSave(path, QStringLiteral("is read-only")); }),
            QString());
        QCOMPARE(digestOf(path), before);
    }

    void aFileWithoutWritePermissionReadsAndKeepsItsMode()
    {
        QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/vantor-store-XXXXXX"));
        const QString path = storeForNobody(folder);
        if (path.isEmpty())
            QSKIP("Needs root, to run the check as the user nobody: root may write anywhere");
        chown(folder.path(), nobody());
        chown(path, nobody());
        chmod(path, 0400);
        const QByteArray before = digestOf(path);
        QCOMPARE(checkAsNobody([&] {
            return readsWork(path, QStringLiteral("is read-only: the file is not writable"));
        }),
            QString());
        QCOMPARE(modeOf(path), 0400);
        QCOMPARE(digestOf(path), before);
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{QStringLiteral("Vantor.sqlite")});
    }

    void aFileWithoutWritePermissionRefusesToSave()
    {
        QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/vantor-store-XXXXXX"));
        const QString path = storeForNobody(folder);
        if (path.isEmpty())
            QSKIP("Needs root, to run the check as the user nobody: root may write anywhere");
        chown(folder.path(), nobody());
        chown(path, nobody());
        chmod(path, 0400);
        const QByteArray before = digestOf(path);
        QCOMPARE(checkAsNobody([&] { return refusesToSave(path, QStringLiteral("is read-only")); }),
            QString());
        QCOMPARE(modeOf(path), 0400);
        QCOMPARE(digestOf(path), before);
    }

    void aFullDiskGivesAStoreThatReadsAndRefusesToSave()
    {
        const SmallDisk disk;
        if (!disk.error().isEmpty())
            QSKIP(qPrintable(disk.error()));
        const QString path = disk.filePath(QStringLiteral("Vantor.sqlite"));
        {
            const auto container = ModelContainer::open(path);
            container->mainContext().insert(workspaceNamed(QStringLiteral("Work")));
            QVERIFY(!container->mainContext().save());
        }
        fill(disk.path());
        const QByteArray before = digestOf(path);

        QString error;
        const auto container = ModelContainer::open(path, &error);
        QVERIFY2(container, qPrintable(error));
        QVERIFY(container->readOnlyReason());
        QVERIFY2(container->readOnlyReason()->startsWith(QStringLiteral("disk full")),
            qPrintable(*container->readOnlyReason()));
        QCOMPARE(container->mainContext().fetchWorkspaces().value.size(), 1);
        container->mainContext().insert(workspaceNamed(QStringLiteral("Home")));
        const SaveResult saved = container->mainContext().save();
        QVERIFY(saved);
        QVERIFY2(saved->startsWith(QStringLiteral("disk full")), qPrintable(*saved));
        QCOMPARE(digestOf(path), before);
    }

    void aDiskThatFillsUpWhileTheStoreIsOpenRefusesToSave()
    {
        const SmallDisk disk;
        if (!disk.error().isEmpty())
            QSKIP(qPrintable(disk.error()));
        const QString path = disk.filePath(QStringLiteral("Vantor.sqlite"));
        const auto container = ModelContainer::open(path);
        QVERIFY(!container->readOnlyReason());
        fill(disk.path());

        const auto big = workspaceNamed(QStringLiteral("Big"));
        big->setNotes(QString(64 * 1024, QLatin1Char('x')));
        container->mainContext().insert(big);
        const SaveResult saved = container->mainContext().save();
        QVERIFY(saved);
        QVERIFY2(saved->startsWith(QStringLiteral("disk full")), qPrintable(*saved));
        QVERIFY(container->mainContext().hasChanges());
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

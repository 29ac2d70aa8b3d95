#include "StoreFile.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace std::chrono_literals;
using DesktopFacts::WindowId;

namespace {

// Parses stdout as JSON; a null document (and a test failure message) when it is not.
QJsonDocument parseJson(const VantorRun& run, QString* error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(run.standardOutput, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        *error = parseError.errorString() + QStringLiteral(" in: ") + run.out();
    return document;
}

QStringList workspaceNames(const QJsonArray& workspaces)
{
    QStringList names;
    for (const QJsonValue& workspace : workspaces)
        names.append(workspace.toObject().value(QLatin1String("name")).toString());
    return names;
}

// The first field of each line of `vantor list`, as raw bytes.
QList<QByteArray> listedNames(const VantorRun& run)
{
    QList<QByteArray> names;
    for (const QByteArray& line : run.standardOutput.split('\n')) {
        if (!line.isEmpty())
            names.append(line.left(line.indexOf('\t')));
    }
    return names;
}

QByteArray digestOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

WorkspacePtr workspaceNamed(const QString& name, const QList<AppInfoPtr>& apps = {})
{
    return std::make_shared<Workspace>(
        QUuid::createUuid(), name, QDateTime::currentDateTime(), std::nullopt, apps);
}

// A home of its own for vantor runs, in a folder that the user nobody may enter, with
// the store in its data folder. That folder stays root's: read-only for nobody.
class SeparateHome {
public:
    SeparateHome() : m_root(QDir::tempPath() + QStringLiteral("/vantor-cli-XXXXXX"))
    {
        ::chmod(QFile::encodeName(m_root.path()).constData(), 0755);
        for (const char* folder : {"home", "config", "cache", "runtime", "data"})
            QDir(m_root.path()).mkdir(QLatin1String(folder));
        ::chmod(QFile::encodeName(path("runtime")).constData(), 0700);
    }

    QString storePath() const { return path("data") + QStringLiteral("/Vantor.sqlite"); }

    // Only the data folder stays root's.
    bool giveToNobody() const
    {
        const passwd* nobody = ::getpwnam("nobody");
        if (!nobody)
            return false;
        for (const char* folder : {"home", "config", "cache", "runtime"}) {
            if (::chown(QFile::encodeName(path(folder)).constData(), nobody->pw_uid,
                    nobody->pw_gid)
                != 0)
                return false;
        }
        return true;
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), path("home"));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path("config"));
        environment.insert(QStringLiteral("XDG_CACHE_HOME"), path("cache"));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), path("runtime"));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), path("data"));
        return environment;
    }

private:
    QString path(const char* folder) const
    {
        return m_root.path() + QLatin1Char('/') + QLatin1String(folder);
    }

    QTemporaryDir m_root;
};

QRect frameOfLayout(const QJsonObject& layout)
{
    return QRect(layout.value(QLatin1String("positionX")).toInt(),
        layout.value(QLatin1String("positionY")).toInt(),
        layout.value(QLatin1String("width")).toInt(),
        layout.value(QLatin1String("height")).toInt());
}

} // namespace

// The command line, run as the real `vantor` executable on a private desktop with real apps:
// capture, activate, list, show, update and delete workspaces; exit codes and messages.
class CliTest : public QObject {
    Q_OBJECT

private:
    // "Work" with an app that is not installed, and "Empty", written by root; nobody may
    // read the file but not write it, nor anything in its folder.
    static void writeReadOnlyStore(const QString& path)
    {
        {
            const auto container = StoreFile::reopen(path);
            const auto layout
                = std::make_shared<AppLayout>(QUuid::createUuid(), 1920, 1080, 10, 20, 300, 200);
            container->mainContext().insert(workspaceNamed(QStringLiteral("Work"),
                {AppInfo::create(QUuid::createUuid(), QStringLiteral("Missing"),
                    QStringLiteral("org.example.Missing"), false,
                    QStringLiteral("/nowhere/org.example.Missing.desktop"), {layout})}));
            container->mainContext().insert(workspaceNamed(QStringLiteral("Empty")));
            QVERIFY(!container->mainContext().save());
        }
        QCOMPARE(::chmod(QFile::encodeName(path).constData(), 0644), 0);
    }

    QHash<QString, qint64> m_pids; // program -> PID of the copy the test started
    QHash<QString, QRect> m_captured; // desktop entry id -> outer frame at capture

    static TestApp app(const QString& id)
    {
        for (const TestApp& candidate : TestApps::standard()) {
            if (candidate.id == id)
                return candidate;
        }
        qFatal("No test app %s", qPrintable(id));
    }

    static WindowId onlyWindowOf(qint64 pid)
    {
        const auto windows
            = TestDesktop::instance()->probe().clientWindowsOf(static_cast<std::int32_t>(pid));
        return windows.size() == 1 ? windows.first() : 0;
    }

    static VantorRun vantor(const QStringList& arguments) { return VantorProcess::run(arguments); }

    // `vantor ARGUMENTS` that must fail with `code` and exactly one line on stderr.
    static bool failsWith(const QStringList& arguments, int code, const QString& mentioning)
    {
        return failed(vantor(arguments), arguments, code, mentioning);
    }

    static bool failed(
        const VantorRun& run, const QStringList& arguments, int code, const QString& mentioning)
    {
        const bool ok = run.exitedWith(code) && run.errLines().size() == 1
            && run.err().startsWith(QLatin1String("vantor: ")) && run.err().contains(mentioning)
            && run.standardOutput.isEmpty();
        if (!ok)
            qWarning().noquote() << arguments << "gave" << run.describe();
        return ok;
    }

    QJsonArray listJson()
    {
        const VantorRun run = vantor({QStringLiteral("list"), QStringLiteral("--json")});
        if (!run.exitedWith(0))
            qWarning().noquote() << "list --json gave" << run.describe();
        QString error;
        const QJsonDocument document = parseJson(run, &error);
        if (!error.isEmpty() || !document.isArray())
            qWarning().noquote() << "list --json is not a JSON array:" << error << run.out();
        return document.array();
    }

    QJsonObject showJson(const QString& name)
    {
        const VantorRun run = vantor({QStringLiteral("show"), name, QStringLiteral("--json")});
        QString error;
        const QJsonDocument document = parseJson(run, &error);
        if (!run.exitedWith(0) || !error.isEmpty() || !document.isObject())
            qWarning().noquote() << "show" << name << "--json gave" << error << run.describe();
        return document.object();
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const TestApp& app : TestApps::standard())
            TestApps::writeDesktopEntry(app);
    }

    void init() { failOnUnexpectedWarnings(); }

    void cleanupTestCase()
    {
        for (const TestApp& app : TestApps::standard())
            TestApps::stopAll(app.program);
    }

    void withoutDisplayTheTrayAppExplainsAndFails()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("DISPLAY"));
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        const VantorRun run = VantorProcess::run({}, 30s, environment);
        QVERIFY2(run.exitedWith(1), run.describe());
        QVERIFY(run.standardOutput.isEmpty());
        QCOMPARE(run.errLines().size(), 1);
        QVERIFY2(run.err().contains(QLatin1String("DISPLAY")), run.describe());
    }

    void aStoreThatCannotBeOpenedEndsEveryCommandWithItsMessage()
    {
        const SeparateHome home;
        QFile store(home.storePath());
        QVERIFY(store.open(QIODevice::WriteOnly));
        store.write(QByteArray("not a database\n").repeated(100));
        store.close();
        const QByteArray before = digestOf(home.storePath());
        const QString message = QStringLiteral("vantor: Vantor cannot open its workspace store ")
            + home.storePath() + QStringLiteral(": file is not a database");
        const QList<QStringList> commands{{QStringLiteral("list")},
            {QStringLiteral("show"), QStringLiteral("Work")},
            {QStringLiteral("capture"), QStringLiteral("Work")},
            {QStringLiteral("activate"), QStringLiteral("Work")},
            {QStringLiteral("update"), QStringLiteral("Work")},
            {QStringLiteral("delete"), QStringLiteral("Work")}};
        for (const QStringList& arguments : commands) {
            const VantorRun run = VantorProcess::run(arguments, 30s, home.environment());
            QVERIFY(failed(run, arguments, 1, message));
        }
        QCOMPARE(digestOf(home.storePath()), before);
    }

    void aStoreThatCannotBeOpenedEndsTheTrayAppWithItsMessage()
    {
        const SeparateHome home;
        QVERIFY(QDir().mkpath(home.storePath())); // a folder where the file should be
        QProcessEnvironment environment = home.environment();
        environment.insert(QStringLiteral("VANTOR_NO_DIALOGS"), QStringLiteral("1"));
        const VantorRun run = VantorProcess::run({}, 30s, environment);
        QVERIFY2(run.exitedWith(1), run.describe());
        QCOMPARE(run.errLines(),
            QStringList{QStringLiteral("vantor: Vantor cannot open its workspace store ")
                + home.storePath() + QStringLiteral(": unable to open database file")});
        QVERIFY(QDir(home.storePath()).isEmpty());
    }

    void aStoreThatCannotBeOpenedIsShownInADialogBeforeTheTrayAppEnds()
    {
        const SeparateHome home;
        QVERIFY(QDir().mkpath(home.storePath()));
        VantorProcess tray;
        QVERIFY(tray.start({}, home.environment()));
        const XProbe& probe = TestDesktop::instance()->probe();
        QTRY_COMPARE(probe.clientWindowsOf(std::int32_t(tray.pid())).size(), 1);
        const WindowId dialog = probe.clientWindowsOf(std::int32_t(tray.pid())).first();
        QCOMPARE(DesktopFacts::title(dialog), QStringLiteral("Vantor"));
        QVERIFY(tray.isRunning()); // it waits for the user
        TestDesktop::run(QStringLiteral("wmctrl"),
            {QStringLiteral("-i"), QStringLiteral("-c"), DesktopFacts::hex(dialog)});
        QVERIFY(tray.waitForFinished());
        QVERIFY2(tray.exitedWith(1), tray.describe().constData());
        QVERIFY(tray.err().contains(QStringLiteral("Vantor cannot open its workspace store ")));
    }

    void aReadOnlyStoreStillListsShowsAndActivates()
    {
        const SeparateHome home;
        if (!home.giveToNobody())
            QSKIP("Needs root, to run vantor as the user nobody: root may write anywhere");
        writeReadOnlyStore(home.storePath());
        const QByteArray before = digestOf(home.storePath());

        const VantorRun listed
            = VantorProcess::runAsNobody({QStringLiteral("list")}, home.environment());
        QVERIFY2(listed.exitedWith(0), listed.describe());
        QCOMPARE(listedNames(listed), (QList<QByteArray>{"Work", "Empty"}));
        const VantorRun shown = VantorProcess::runAsNobody(
            {QStringLiteral("show"), QStringLiteral("Work")}, home.environment());
        QVERIFY2(shown.exitedWith(0), shown.describe());
        QVERIFY(shown.out().contains(QLatin1String("Missing (org.example.Missing)")));
        const VantorRun activated = VantorProcess::runAsNobody(
            {QStringLiteral("activate"), QStringLiteral("Empty")}, home.environment());
        QVERIFY2(activated.exitedWith(0), activated.describe());
        QCOMPARE(digestOf(home.storePath()), before);
    }

    void aReadOnlyStoreRefusesToUpdateAndDelete()
    {
        const SeparateHome home;
        if (!home.giveToNobody())
            QSKIP("Needs root, to run vantor as the user nobody: root may write anywhere");
        writeReadOnlyStore(home.storePath());
        const QByteArray before = digestOf(home.storePath());
        const QString readOnly = QStringLiteral("the workspace store ") + home.storePath()
            + QStringLiteral(" is read-only");

        // Without running apps, --replace leaves the workspace without apps: a change.
        const VantorRun updated = VantorProcess::runAsNobody(
            {QStringLiteral("update"), QStringLiteral("Work"), QStringLiteral("--replace")},
            home.environment());
        QVERIFY2(updated.exitedWith(1), updated.describe());
        QCOMPARE(updated.errLines().size(), 1);
        QVERIFY2(updated.err().startsWith(
                     QStringLiteral("vantor: the workspace could not be saved: ") + readOnly),
            updated.describe());
        // The store's own console line, as the tray app prints it too.
        QVERIFY2(updated.out().startsWith(
                     QStringLiteral("Failed to update workspace: Work. Error: ") + readOnly),
            updated.describe());

        const VantorRun deleted = VantorProcess::runAsNobody(
            {QStringLiteral("delete"), QStringLiteral("Work")}, home.environment());
        QVERIFY2(deleted.exitedWith(1), deleted.describe());
        QCOMPARE(deleted.errLines().size(), 1);
        QVERIFY2(deleted.err().startsWith(
                     QStringLiteral("vantor: the workspace could not be deleted: ") + readOnly),
            deleted.describe());
        QVERIFY2(deleted.out().startsWith(
                     QStringLiteral("Failed to delete workspace: Work. Error: ") + readOnly),
            deleted.describe());
        QCOMPARE(digestOf(home.storePath()), before);
    }

    void unknownCommandIsAUsageError()
    {
        QVERIFY(failsWith({QStringLiteral("frobnicate")}, 2, QStringLiteral("frobnicate")));
        QVERIFY(failsWith({QStringLiteral("activate")}, 2, QStringLiteral("activate")));
    }

    void captureWithoutRunningAppsFails()
    {
        QVERIFY(failsWith(
            {QStringLiteral("capture"), QStringLiteral("Empty")}, 1, QStringLiteral("running")));
        QCOMPARE(listJson(), QJsonArray());
    }

    void activateLaunchesMissingAppsAndPutsWindowsBack()
    {
        for (const TestApp& app : TestApps::standard()) {
            const qint64 pid = TestApps::start(app);
            QVERIFY(pid > 0);
            m_pids.insert(app.program, pid);
            const WindowId window = onlyWindowOf(pid);
            QVERIFY(window);
            m_captured.insert(app.id, DesktopFacts::outerFrame(window));
        }

        const VantorRun captured = vantor({QStringLiteral("capture"), QStringLiteral("Work")});
        QVERIFY2(captured.exitedWith(0), captured.describe());
        QVERIFY2(captured.standardError.isEmpty(), captured.describe());
        QVERIFY(captured.out().startsWith(QLatin1String("Work\n")));

        // The store holds the frames the X server reports, for this screen.
        const QJsonArray apps
            = showJson(QStringLiteral("Work")).value(QLatin1String("apps")).toArray();
        QCOMPARE(apps.size(), 3);
        for (const QJsonValue& value : apps) {
            const QJsonObject stored = value.toObject();
            const QString id = stored.value(QLatin1String("bundleIdentifier")).toString();
            QVERIFY2(m_captured.contains(id), qPrintable(id));
            const QJsonObject layout
                = stored.value(QLatin1String("layouts")).toArray().first().toObject();
            QCOMPARE(frameOfLayout(layout), m_captured.value(id));
            QCOMPARE(layout.value(QLatin1String("screenWidth")).toInt(), 1920);
            QCOMPARE(layout.value(QLatin1String("screenHeight")).toInt(), 1080);
        }

        // Scatter the windows (other place, other size), then quit one app.
        int offset = 0;
        for (const TestApp& app : TestApps::standard()) {
            const WindowId window = onlyWindowOf(m_pids.value(app.program));
            DesktopFacts::moveWindow(window, 150 + offset, 640 - offset, QSize(210, 170));
            offset += 230;
            QTRY_VERIFY(DesktopFacts::outerFrame(window) != m_captured.value(app.id));
        }
        const qint64 quitEyes = m_pids.take(QStringLiteral("xeyes"));
        TestApps::stop(quitEyes);
        QVERIFY(TestApps::windowsOf(QStringLiteral("xeyes")).isEmpty());

        const VantorRun activated = vantor({QStringLiteral("activate"), QStringLiteral("Work")});
        QVERIFY2(activated.exitedWith(0), activated.describe());
        // Progress on stderr, a line per app; Vantor's console lines on stdout only.
        QVERIFY2(activated.errLines().contains(QLatin1String("Placed Test Eyes")),
            activated.describe());
        QVERIFY2(!activated.err().contains(QLatin1String("App ")), activated.describe());
        const QStringList lines = activated.outLines();
        QVERIFY2(lines.contains(QLatin1String("App is already running: Test Clock")),
            activated.describe());
        QVERIFY2(lines.contains(QLatin1String("App is already running: Test Logo")),
            activated.describe());
        QVERIFY2(lines.contains(
                     QLatin1String("App launched successfully with bundle identifier: test-eyes")),
            activated.describe());
        QCOMPARE(lines.size(), 3);

        for (const QString& id : {QStringLiteral("test-clock"), QStringLiteral("test-logo")}) {
            const WindowId window = onlyWindowOf(m_pids.value(app(id).program));
            QTRY_COMPARE(DesktopFacts::outerFrame(window), m_captured.value(id));
        }
        QTRY_COMPARE(TestApps::windowsOf(QStringLiteral("xeyes")).size(), 1);
        const QList<qint64> eyes = TestApps::pidsOf(QStringLiteral("xeyes"));
        QCOMPARE(eyes.size(), 1);
        QVERIFY(eyes.first() != quitEyes);
    }

    void unknownWorkspaceIsAUsageError()
    {
        const QString name = QStringLiteral("No Such Workspace");
        QVERIFY(failsWith({QStringLiteral("activate"), name}, 2, name));
        QVERIFY(failsWith({QStringLiteral("show"), name}, 2, name));
        QVERIFY(failsWith({QStringLiteral("delete"), name}, 2, name));
        // A near miss is no match: names are compared exactly.
        QVERIFY(failsWith(
            {QStringLiteral("activate"), QStringLiteral("work")}, 2, QStringLiteral("work")));
    }

    void listJsonHoldsWorkspacesInCreationOrder()
    {
        const QStringList later
            = {QStringLiteral("Zulu"), QStringLiteral("Alpha"), QStringLiteral("Mike")};
        for (const QString& name : later) {
            const VantorRun run = vantor({QStringLiteral("capture"), name,
                QStringLiteral("test-logo"), QStringLiteral("--json")});
            QVERIFY2(run.exitedWith(0), run.describe());
            QString error;
            const QJsonDocument document = parseJson(run, &error);
            QVERIFY2(error.isEmpty(), qPrintable(error));
            QCOMPARE(document.object().value(QLatin1String("name")).toString(), name);
            QCOMPARE(document.object().value(QLatin1String("apps")).toArray().size(), 1);
        }
        const QStringList expected = QStringList{QStringLiteral("Work")} + later;
        QCOMPARE(workspaceNames(listJson()), expected);

        const VantorRun plain = vantor({QStringLiteral("list")});
        QVERIFY2(plain.exitedWith(0), plain.describe());
        QList<QByteArray> expectedBytes;
        for (const QString& name : expected)
            expectedBytes.append(name.toUtf8());
        QCOMPARE(listedNames(plain), expectedBytes);
    }

    void withJsonConsoleLinesGoToStderr()
    {
        const VantorRun run = vantor(
            {QStringLiteral("activate"), QStringLiteral("Work"), QStringLiteral("--json")});
        QVERIFY2(run.exitedWith(0), run.describe());
        if (!run.out().trimmed().isEmpty()) {
            QString error;
            parseJson(run, &error);
            QVERIFY2(error.isEmpty(), qPrintable(error));
        }
        QVERIFY2(run.errLines().contains(QLatin1String("App is already running: Test Clock")),
            run.describe());
        QVERIFY2(run.errLines().contains(QLatin1String("App is already running: Test Eyes")),
            run.describe());
    }

    void updateReplaceKeepsOnlyTheRunningApps()
    {
        TestApps::stopAll(QStringLiteral("xeyes"));
        TestApps::stopAll(QStringLiteral("xlogo"));
        m_pids.remove(QStringLiteral("xlogo"));
        // The one app left stands somewhere new now.
        const WindowId clock = onlyWindowOf(m_pids.value(QStringLiteral("xclock")));
        DesktopFacts::moveWindow(clock, 700, 300, QSize(280, 260));
        QTRY_COMPARE(DesktopFacts::outerFrame(clock).topLeft(), QPoint(700, 300));
        const QRect now = DesktopFacts::outerFrame(clock);

        const VantorRun run = vantor(
            {QStringLiteral("update"), QStringLiteral("Work"), QStringLiteral("--replace")});
        QVERIFY2(run.exitedWith(0), run.describe());
        QVERIFY2(run.standardError.isEmpty(), run.describe());

        const QJsonArray apps
            = showJson(QStringLiteral("Work")).value(QLatin1String("apps")).toArray();
        QCOMPARE(apps.size(), 1);
        const QJsonObject clockApp = apps.first().toObject();
        QCOMPARE(clockApp.value(QLatin1String("bundleIdentifier")).toString(),
            QStringLiteral("test-clock"));
        const QJsonArray layouts = clockApp.value(QLatin1String("layouts")).toArray();
        QCOMPARE(layouts.size(), 1);
        QCOMPARE(frameOfLayout(layouts.first().toObject()), now);
        // The other workspaces are untouched.
        QCOMPARE(workspaceNames(listJson()).size(), 4);
    }

    void deleteRemovesTheWorkspace()
    {
        const VantorRun run = vantor({QStringLiteral("delete"), QStringLiteral("Work")});
        QVERIFY2(run.exitedWith(0), run.describe());
        QVERIFY2(run.standardError.isEmpty(), run.describe());
        QCOMPARE(workspaceNames(listJson()),
            QStringList({QStringLiteral("Zulu"), QStringLiteral("Alpha"), QStringLiteral("Mike")}));
        QVERIFY(
            failsWith({QStringLiteral("show"), QStringLiteral("Work")}, 2, QStringLiteral("Work")));
        QVERIFY(failsWith(
            {QStringLiteral("delete"), QStringLiteral("Work")}, 2, QStringLiteral("Work")));
    }

    void namesPassThroughUnchanged()
    {
        QTemporaryDir scratch;
        QVERIFY(scratch.isValid());
        const QString marker = scratch.filePath(QStringLiteral("a-shell-ran"));
        const QStringList names = {
            QStringLiteral("Say \"hi\" and 'bye'"),
            QStringLiteral("one; touch %1").arg(marker),
            QStringLiteral("$(touch %1)").arg(marker),
            QStringLiteral("`touch %1` | > %1 & \\n").arg(marker),
            QStringLiteral("Рабочий стол"),
            QStringLiteral("作業 スペース"),
            QStringLiteral("Ωμέγα café 🚀"),
        };
        for (const QString& name : names) {
            const VantorRun run
                = vantor({QStringLiteral("capture"), name, QStringLiteral("test-clock")});
            QVERIFY2(run.exitedWith(0), run.describe());
            QVERIFY2(run.standardOutput.startsWith(name.toUtf8() + '\n'), run.describe());
        }

        const VantorRun plain = vantor({QStringLiteral("list")});
        QVERIFY2(plain.exitedWith(0), plain.describe());
        const QList<QByteArray> listed = listedNames(plain);
        for (const QString& name : names)
            QVERIFY2(listed.contains(name.toUtf8()), qPrintable(name));
        const QStringList inJson = workspaceNames(listJson());
        for (const QString& name : names)
            QVERIFY2(inJson.contains(name), qPrintable(name));

        // Each one is found again by its exact name.
        for (const QString& name : names) {
            QCOMPARE(showJson(name).value(QLatin1String("name")).toString(), name);
            const VantorRun deleted = vantor({QStringLiteral("delete"), name});
            QVERIFY2(deleted.exitedWith(0), deleted.describe());
        }
        QCOMPARE(workspaceNames(listJson()),
            QStringList({QStringLiteral("Zulu"), QStringLiteral("Alpha"), QStringLiteral("Mike")}));
        QVERIFY2(!QFile::exists(marker), "a shell ran a workspace name");
    }

    void aNameThatExistsIsNotCapturedAgainNorIsABlankOne()
    {
        QVERIFY(failsWith({QStringLiteral("capture"), QStringLiteral("Zulu"),
                              QStringLiteral("test-logo")},
            2, QStringLiteral("vantor update Zulu --replace")));
        QVERIFY(failsWith({QStringLiteral("capture"), QStringLiteral("  \t "),
                              QStringLiteral("test-logo")},
            2, QStringLiteral("blank")));
        QVERIFY(failsWith({QStringLiteral("capture"), QString(), QStringLiteral("test-logo")}, 2,
            QStringLiteral("blank")));
        QCOMPARE(workspaceNames(listJson()),
            QStringList({QStringLiteral("Zulu"), QStringLiteral("Alpha"), QStringLiteral("Mike")}));
    }

    // Stores made before names were kept apart may hold two of one name.
    void twoWorkspacesOfOneNameAreToldApartByTheirIds()
    {
        QString alphaId;
        QString mikeId;
        {
            const auto store = StoreFile::reopen(
                qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Vantor.sqlite"));
            for (const WorkspacePtr& workspace : store->mainContext().fetchWorkspaces().value) {
                const QString id = workspace->id().toString(QUuid::WithoutBraces).toUpper();
                if (workspace->name() == QLatin1String("Alpha"))
                    alphaId = id;
                if (workspace->name() == QLatin1String("Mike"))
                    mikeId = id;
                if (workspace->name() != QLatin1String("Zulu"))
                    workspace->setName(QStringLiteral("Twin"));
            }
            QVERIFY(!store->mainContext().save());
        }
        QVERIFY(!alphaId.isEmpty() && !mikeId.isEmpty());

        for (const QString& command : {QStringLiteral("show"), QStringLiteral("activate"),
                 QStringLiteral("update"), QStringLiteral("delete")}) {
            const VantorRun run = vantor({command, QStringLiteral("Twin")});
            QVERIFY(failed(run, {command}, 2, alphaId));
            QVERIFY2(run.err().contains(mikeId), run.describe());
        }
        QCOMPARE(listJson().size(), 3);

        const VantorRun deleted = vantor({QStringLiteral("delete"), mikeId, QStringLiteral("--json")});
        QVERIFY2(deleted.exitedWith(0), deleted.describe());
        QCOMPARE(QJsonDocument::fromJson(deleted.standardOutput)
                     .object()
                     .value(QLatin1String("id"))
                     .toString(),
            mikeId);
        const QJsonArray left = listJson();
        QCOMPARE(workspaceNames(left), QStringList({QStringLiteral("Zulu"), QStringLiteral("Twin")}));
        QCOMPARE(left.at(1).toObject().value(QLatin1String("id")).toString(), alphaId);
        // Now the name is unique again.
        QCOMPARE(showJson(QStringLiteral("Twin")).value(QLatin1String("id")).toString(), alphaId);
    }

    void controlCharactersAreShownEscapedAndStoredAsTheyAre()
    {
        const QString name = QStringLiteral("Evil\x1b]0;owned\x07 name\r");
        const VantorRun captured
            = vantor({QStringLiteral("capture"), name, QStringLiteral("test-clock")});
        QVERIFY2(captured.exitedWith(0), captured.describe());
        QVERIFY2(captured.standardOutput.startsWith("Evil\\x1b]0;owned\\x07 name\\x0d\n"),
            captured.describe());
        const VantorRun listed = vantor({QStringLiteral("list")});
        QVERIFY2(listed.out().contains(QLatin1String("Evil\\x1b]0;owned\\x07 name\\x0d\t")),
            listed.describe());
        for (const char control : {'\x1b', '\x07', '\r'})
            QVERIFY2(!listed.standardOutput.contains(control), listed.describe());
        QVERIFY(workspaceNames(listJson()).contains(name));
        QVERIFY2(vantor({QStringLiteral("delete"), name}).exitedWith(0), "deleting it by name");
    }

    void anEmptyStoreIsListedAsSuch()
    {
        for (const QString& name : workspaceNames(listJson()))
            QVERIFY(vantor({QStringLiteral("delete"), name}).exitedWith(0));
        const VantorRun plain = vantor({QStringLiteral("list")});
        QVERIFY2(plain.exitedWith(0), plain.describe());
        QVERIFY2(plain.standardOutput.isEmpty(), plain.describe());
        QVERIFY2(plain.err().startsWith(QLatin1String("No workspaces yet")), plain.describe());
        const VantorRun json = vantor({QStringLiteral("list"), QStringLiteral("--json")});
        QVERIFY2(json.exitedWith(0), json.describe());
        QCOMPARE(QJsonDocument::fromJson(json.standardOutput).array(), QJsonArray());
        QVERIFY2(json.standardOutput.startsWith('['), json.describe());
    }

    void helpIsACommandToo()
    {
        const VantorRun help = vantor({QStringLiteral("help")});
        QVERIFY2(help.exitedWith(0), help.describe());
        QVERIFY(help.out().startsWith(QLatin1String("Usage: vantor")));
        QCOMPARE(help.out(), vantor({QStringLiteral("--help")}).out());
    }
};

VANTOR_DESKTOP_TEST_MAIN(CliTest)
#include "tst_cli.moc"

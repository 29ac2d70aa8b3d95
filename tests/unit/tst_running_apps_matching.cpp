#include "FakeDesktop.h"
#include "TestMain.h"

#include <QDir>
#include <QFile>
#include <QProcess>

using Platform::ActivationPolicy;
using Platform::RunningApplication;
using Platform::WindowInfo;
using Platform::WindowKind;

namespace {

// PIDs above the kernel's limit: no such process exists, so /proc gives no clues.
constexpr Platform::ProcessId absentPid = 9'000'001;

QString entry(const QString& name, const QString& extra = {})
{
    return QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=true\n%2")
        .arg(name, extra);
}

QString applicationsDir()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
}

QString writeEntry(const QString& id, const QString& contents)
{
    QFile file(applicationsDir() + id + QStringLiteral(".desktop"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write the entry %s", qPrintable(id));
    file.write(contents.toUtf8());
    return file.fileName();
}

QString toolScript()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/vantor-test-tool.py");
}

const QString weirdName = QStringLiteral("Ed \"Quote\" ‘x’; $(touch /tmp/x) `id` — Ünï 日本語");

const RunningApplication* findByPid(const QList<RunningApplication>& apps, Platform::ProcessId pid)
{
    for (const RunningApplication& app : apps) {
        if (app.processIdentifier == pid)
            return &app;
    }
    return nullptr;
}

} // namespace

// Which desktop entry a running process belongs to, and how it is described.
class RunningAppsMatchingTest : public QObject {
    Q_OBJECT

    FakeWindowSystem m_windows;
    std::unique_ptr<Platform::Applications> m_apps;
    QList<QProcess*> m_processes;

    WindowInfo& addWindow(Platform::ProcessId pid, const QString& instance, const QString& wmClass)
    {
        WindowInfo& window = m_windows.addWindow(pid, {10, 10, 300, 200});
        window.wmClassInstance = instance;
        window.wmClass = wmClass;
        return window;
    }

    RunningApplication only(Platform::ProcessId pid)
    {
        const QList<RunningApplication> apps = m_apps->runningApplications();
        const RunningApplication* app = findByPid(apps, pid);
        if (!app)
            qFatal("No running application for %d", pid);
        return *app;
    }

    qint64 startProcess(const QString& program, const QStringList& arguments)
    {
        auto* process = new QProcess(this);
        dieWithParent(*process);
        process->start(program, arguments);
        if (!process->waitForStarted(5000))
            qFatal("Cannot start %s", qPrintable(program));
        m_processes.append(process);
        return process->processId();
    }

private Q_SLOTS:
    void initTestCase();

    void init()
    {
        failOnUnexpectedWarnings();
        m_windows.windows.clear();
        m_apps = Platform::createApplications(m_windows);
    }

    void cleanupTestCase()
    {
        for (QProcess* process : std::as_const(m_processes)) {
            process->kill();
            process->waitForFinished(2000);
        }
    }

    void aWindowNamingItsApplicationIdIsMatchedByIt();
    void aKdeDesktopFileHintIsMatchedByIt();
    void hintsWinOverTheWindowClass();
    void theInstanceIsComparedWithStartupWmClassBeforeTheClass();
    void startupWmClassIsComparedExactly();
    void desktopIdsAreComparedIgnoringCase();
    void theLastPartOfAReverseDnsIdMatches();
    void aVisibleEntryWinsOverAHiddenOneWithTheSameClass();
    void hiddenEntriesAreNotApplications();
    void theCommandLineIsMatchedPastInterpreters();
    void anUnmatchedAppIsNamedByItsWindowClass();
    void anAppWithoutWindowClassHasNoName();
    void namesPassThroughUnchanged();
    void theNameIsReadInTheUsersLanguage();
    void activationPolicyFollowsTheWindows_data();
    void activationPolicyFollowsTheWindows();
    void oneApplicationPerProcessOldestFirst();
    void windowsWithoutOwnerAreNoApplication();
};

// The entries are all written before GIO first reads the folder: it notices later changes
// only from its main loop.
void RunningAppsMatchingTest::initTestCase()
{
    qputenv("LANGUAGE", "de");
    writeEntry(QStringLiteral("org.example.Foo"), entry(QStringLiteral("Foo")));
    writeEntry(QStringLiteral("org.example.Kde"), entry(QStringLiteral("Kde")));
    writeEntry(QStringLiteral("org.example.Hinted"), entry(QStringLiteral("Hinted")));
    writeEntry(QStringLiteral("org.example.Classy"),
        entry(QStringLiteral("Classy"), QStringLiteral("StartupWMClass=Classy\n")));
    writeEntry(QStringLiteral("vantor-test-instance"),
        entry(QStringLiteral("By Instance"), QStringLiteral("StartupWMClass=tool-one\n")));
    writeEntry(QStringLiteral("vantor-test-class"),
        entry(QStringLiteral("By Class"), QStringLiteral("StartupWMClass=ToolClass\n")));
    writeEntry(QStringLiteral("vantor-test-term"),
        entry(QStringLiteral("Term"), QStringLiteral("StartupWMClass=Term\n")));
    writeEntry(QStringLiteral("vantor-test-uterm"),
        entry(QStringLiteral("UTerm"), QStringLiteral("StartupWMClass=UTerm\n")));
    writeEntry(QStringLiteral("vantor-test-Gizmo"), entry(QStringLiteral("Gizmo")));
    writeEntry(QStringLiteral("org.example.Gadget"), entry(QStringLiteral("Gadget")));
    writeEntry(QStringLiteral("org.example.Widget"), entry(QStringLiteral("Widget")));
    writeEntry(QStringLiteral("widget"), entry(QStringLiteral("Plain Widget")));
    writeEntry(QStringLiteral("vantor-test-a-hidden"),
        entry(QStringLiteral("Hidden"), QStringLiteral("StartupWMClass=Shared\nNoDisplay=true\n")));
    writeEntry(QStringLiteral("vantor-test-b-shown"),
        entry(QStringLiteral("Shown"), QStringLiteral("StartupWMClass=Shared\n")));
    writeEntry(QStringLiteral("vantor-test-deleted"),
        entry(QStringLiteral("Deleted"), QStringLiteral("StartupWMClass=Deleted\nHidden=true\n")));
    QFile script(toolScript());
    if (!script.open(QIODevice::WriteOnly))
        qFatal("Cannot write the script");
    script.write("import time\ntime.sleep(60)\n");
    writeEntry(QStringLiteral("vantor-test-tool"),
        QStringLiteral("[Desktop Entry]\nType=Application\nName=Tool\n"
                       "Exec=env LC_ALL=C python3 -u %1 %U\n")
            .arg(toolScript()));
    writeEntry(QStringLiteral("org.example.Weird"),
        entry(weirdName, QStringLiteral("StartupWMClass=Weird\n")));
    writeEntry(QStringLiteral("org.example.Localised"),
        entry(QStringLiteral("Editor"),
            QStringLiteral("Name[de]=Bearbeiter\nName[fr]=Éditeur\nStartupWMClass=Loc\n")));
}

void RunningAppsMatchingTest::aWindowNamingItsApplicationIdIsMatchedByIt()
{
    addWindow(absentPid, QStringLiteral("foo-bin"), QStringLiteral("Foo-bin")).applicationId
        = QStringLiteral("org.example.Foo");
    const RunningApplication app = only(absentPid);
    QCOMPARE(app.bundleIdentifier, QStringLiteral("org.example.Foo"));
    QCOMPARE(app.localizedName, QStringLiteral("Foo"));
    QCOMPARE(app.bundlePath, applicationsDir() + QStringLiteral("org.example.Foo.desktop"));
    QCOMPARE(app.windowCount, 1);
}

void RunningAppsMatchingTest::aKdeDesktopFileHintIsMatchedByIt()
{
    addWindow(absentPid, QStringLiteral("kde"), QStringLiteral("Kde")).desktopFile
        = QStringLiteral("org.example.Kde");
    addWindow(absentPid + 1, QStringLiteral("kde"), QStringLiteral("Kde")).desktopFile
        = QStringLiteral("/usr/share/applications/org.example.Kde.desktop");
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("org.example.Kde"));
    QCOMPARE(only(absentPid + 1).bundleIdentifier, QStringLiteral("org.example.Kde"));
}

void RunningAppsMatchingTest::hintsWinOverTheWindowClass()
{
    // The front-most window has no hint; a later one of the same process has.
    addWindow(absentPid, QStringLiteral("classy"), QStringLiteral("Classy"));
    addWindow(absentPid, QStringLiteral("classy"), QStringLiteral("Classy")).applicationId
        = QStringLiteral("org.example.Hinted");
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("org.example.Hinted"));
    QCOMPARE(only(absentPid).windowCount, 2);

    // A hint that names no installed entry is passed over.
    addWindow(absentPid + 1, QStringLiteral("classy"), QStringLiteral("Classy")).applicationId
        = QStringLiteral("org.example.NotInstalled");
    QCOMPARE(only(absentPid + 1).bundleIdentifier, QStringLiteral("org.example.Classy"));
}

void RunningAppsMatchingTest::theInstanceIsComparedWithStartupWmClassBeforeTheClass()
{
    addWindow(absentPid, QStringLiteral("tool-one"), QStringLiteral("ToolClass"));
    addWindow(absentPid + 1, QStringLiteral("tool-two"), QStringLiteral("ToolClass"));
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("vantor-test-instance"));
    QCOMPARE(only(absentPid + 1).bundleIdentifier, QStringLiteral("vantor-test-class"));
}

void RunningAppsMatchingTest::startupWmClassIsComparedExactly()
{
    // Like xterm and uxterm: both run as instance "term"; only the class tells them apart.
    addWindow(absentPid, QStringLiteral("term"), QStringLiteral("UTerm"));
    addWindow(absentPid + 1, QStringLiteral("term"), QStringLiteral("Term"));
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("vantor-test-uterm"));
    QCOMPARE(only(absentPid + 1).bundleIdentifier, QStringLiteral("vantor-test-term"));
}

void RunningAppsMatchingTest::desktopIdsAreComparedIgnoringCase()
{
    addWindow(absentPid, QStringLiteral("VANTOR-TEST-GIZMO"), QStringLiteral("Whatever"));
    addWindow(absentPid + 1, QStringLiteral("whatever"), QStringLiteral("vantor-test-gizmo"));
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("vantor-test-Gizmo"));
    QCOMPARE(only(absentPid + 1).bundleIdentifier, QStringLiteral("vantor-test-Gizmo"));
}

void RunningAppsMatchingTest::theLastPartOfAReverseDnsIdMatches()
{
    addWindow(absentPid, QStringLiteral("gadget"), QStringLiteral("Gadget"));
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("org.example.Gadget"));
    // A whole ID wins over the last part of another one.
    addWindow(absentPid + 1, QStringLiteral("widget"), QStringLiteral("Widget"));
    QCOMPARE(only(absentPid + 1).bundleIdentifier, QStringLiteral("widget"));
}

void RunningAppsMatchingTest::aVisibleEntryWinsOverAHiddenOneWithTheSameClass()
{
    addWindow(absentPid, QStringLiteral("shared"), QStringLiteral("Shared"));
    QCOMPARE(only(absentPid).bundleIdentifier, QStringLiteral("vantor-test-b-shown"));
    // A NoDisplay entry still names the processes started from it.
    addWindow(absentPid + 1, QStringLiteral("x"), QStringLiteral("x")).applicationId
        = QStringLiteral("vantor-test-a-hidden");
    QCOMPARE(only(absentPid + 1).localizedName, QStringLiteral("Hidden"));
}

void RunningAppsMatchingTest::hiddenEntriesAreNotApplications()
{
    addWindow(absentPid, QStringLiteral("deleted"), QStringLiteral("Deleted"));
    QCOMPARE(only(absentPid).bundleIdentifier, std::nullopt);
    QCOMPARE(m_apps->applicationPath(QStringLiteral("vantor-test-deleted")), std::nullopt);
}

void RunningAppsMatchingTest::theCommandLineIsMatchedPastInterpreters()
{
    const auto pid = static_cast<Platform::ProcessId>(
        startProcess(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-B"), toolScript()}));
    // The process may be reported started before its command line is python's own.
    const auto commandLine = [pid] {
        QFile file(QStringLiteral("/proc/%1/cmdline").arg(pid));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QTRY_VERIFY(commandLine().contains(toolScript().toUtf8()));
    addWindow(pid, QStringLiteral("tk"), QStringLiteral("Tk"));
    QCOMPARE(only(pid).bundleIdentifier, QStringLiteral("vantor-test-tool"));
}

void RunningAppsMatchingTest::anUnmatchedAppIsNamedByItsWindowClass()
{
    addWindow(absentPid, QStringLiteral("vantor-nothing"), QStringLiteral("VantorNothing"));
    addWindow(absentPid + 1, QStringLiteral("vantor-only-instance"), QString());
    const RunningApplication app = only(absentPid);
    QCOMPARE(app.bundleIdentifier, std::nullopt);
    QCOMPARE(app.bundlePath, std::nullopt);
    QCOMPARE(app.localizedName, QStringLiteral("VantorNothing"));
    QCOMPARE(only(absentPid + 1).localizedName, QStringLiteral("vantor-only-instance"));
}

void RunningAppsMatchingTest::anAppWithoutWindowClassHasNoName()
{
    addWindow(absentPid, QString(), QString());
    const RunningApplication app = only(absentPid);
    QCOMPARE(app.localizedName, std::nullopt);
    QCOMPARE(app.bundleIdentifier, std::nullopt);
}

void RunningAppsMatchingTest::namesPassThroughUnchanged()
{
    addWindow(absentPid, QStringLiteral("weird"), QStringLiteral("Weird"));
    QCOMPARE(only(absentPid).localizedName, weirdName);
    const QString className = QStringLiteral("Ünï;\"$(x)\"");
    addWindow(absentPid + 1, QStringLiteral("x"), className);
    QCOMPARE(only(absentPid + 1).localizedName, className);
}

void RunningAppsMatchingTest::theNameIsReadInTheUsersLanguage()
{
    addWindow(absentPid, QStringLiteral("loc"), QStringLiteral("Loc"));
    QCOMPARE(only(absentPid).localizedName, QStringLiteral("Bearbeiter"));
}

void RunningAppsMatchingTest::activationPolicyFollowsTheWindows_data()
{
    QTest::addColumn<QList<WindowKind>>("kinds");
    QTest::addColumn<QList<bool>>("skipsTaskbar");
    QTest::addColumn<ActivationPolicy>("policy");
    using K = WindowKind;
    QTest::newRow("normal") << QList<K>{K::Normal} << QList<bool>{false}
                            << ActivationPolicy::Regular;
    QTest::newRow("normal off the taskbar")
        << QList<K>{K::Normal} << QList<bool>{true} << ActivationPolicy::Accessory;
    QTest::newRow("dialog only") << QList<K>{K::Dialog} << QList<bool>{false}
                                 << ActivationPolicy::Accessory;
    QTest::newRow("utility only") << QList<K>{K::Other, K::Other} << QList<bool>{false, false}
                                  << ActivationPolicy::Accessory;
    QTest::newRow("utility and normal")
        << QList<K>{K::Other, K::Normal} << QList<bool>{false, false} << ActivationPolicy::Regular;
}

void RunningAppsMatchingTest::activationPolicyFollowsTheWindows()
{
    QFETCH(QList<WindowKind>, kinds);
    QFETCH(QList<bool>, skipsTaskbar);
    QFETCH(ActivationPolicy, policy);
    for (qsizetype i = 0; i < kinds.size(); ++i) {
        WindowInfo& window = addWindow(absentPid, QStringLiteral("p"), QStringLiteral("P"));
        window.kind = kinds.at(i);
        window.skipsTaskbar = skipsTaskbar.at(i);
    }
    QCOMPARE(only(absentPid).activationPolicy, policy);
    QCOMPARE(only(absentPid).windowCount, kinds.size());
}

void RunningAppsMatchingTest::oneApplicationPerProcessOldestFirst()
{
    const auto older = static_cast<Platform::ProcessId>(
        startProcess(QStringLiteral("sleep"), {QStringLiteral("60")}));
    const auto younger = static_cast<Platform::ProcessId>(
        startProcess(QStringLiteral("sleep"), {QStringLiteral("61")}));
    // Front to back: the younger process's window is in front, and both own two windows.
    addWindow(younger, QStringLiteral("y"), QStringLiteral("Y"));
    addWindow(older, QStringLiteral("o"), QStringLiteral("O"));
    addWindow(younger, QStringLiteral("y"), QStringLiteral("Y"));
    addWindow(older, QStringLiteral("o"), QStringLiteral("O"));
    const QList<RunningApplication> apps = m_apps->runningApplications();
    QCOMPARE(apps.size(), 2);
    QCOMPARE(apps.at(0).processIdentifier, older);
    QCOMPARE(apps.at(1).processIdentifier, younger);
    QCOMPARE(apps.at(0).windowCount, 2);
}

void RunningAppsMatchingTest::windowsWithoutOwnerAreNoApplication()
{
    addWindow(0, QStringLiteral("orphan"), QStringLiteral("Orphan"));
    QVERIFY(m_apps->runningApplications().isEmpty());
}

VANTOR_UNIT_TEST_MAIN(RunningAppsMatchingTest)
#include "tst_running_apps_matching.moc"

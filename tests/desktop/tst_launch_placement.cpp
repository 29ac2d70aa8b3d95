#include "PreferencesFile.h"
#include "TestMain.h"
#include "VantorProcess.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <xcb/xcb.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <memory>
#include <sys/prctl.h>
#include <unistd.h>

using namespace std::chrono_literals;
using DesktopFacts::WindowId;

namespace {

const QString kLaunched = QStringLiteral("App launched successfully with bundle identifier: ");
const QString kFailedToLaunch = QStringLiteral("Failed to launch app with bundle identifier ");
const QString kNotFound = QStringLiteral("Failed to find app with bundle identifier: ");
const QString kTimedOut = QStringLiteral("Timed out waiting for a window of ");
const QString kRunning = QStringLiteral("App is already running: ");
const QString kRegistered = QStringLiteral("✅ Registered shortcut for ");

// Where xlogo, xclock and the test app open by themselves when an entry launches them: far
// from every frame the tests capture, so a launched window is only there if it was placed.
const QString kOwnPlace = QStringLiteral("200x150+40+60");

QString testApp()
{
    const QString path = qEnvironmentVariable("VANTOR_TEST_APP");
    return path.isEmpty() ? QStringLiteral(VANTOR_TEST_APP) : path;
}

// One argument of an entry's Exec line, quoted by the desktop entry rules.
QString execArgument(const QString& argument)
{
    QString quoted = argument;
    for (const char* reserved : {"\\", "\"", "`", "$"})
        quoted.replace(QLatin1String(reserved), QStringLiteral("\\") + QLatin1String(reserved));
    // The key-file format escapes the backslashes once more.
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString applicationsDir()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/");
}

void writeEntry(
    const QString& id, const QString& name, const QString& exec, const QString& startupWmClass = {})
{
    QString text
        = QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n").arg(name, exec);
    if (!startupWmClass.isEmpty())
        text += QStringLiteral("StartupWMClass=%1\n").arg(startupWmClass);
    QFile file(applicationsDir() + id + QStringLiteral(".desktop"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("Cannot write the entry %s", qPrintable(id));
    file.write(text.toUtf8());
}

// The test app's Exec line: its own WM_CLASS instance (which the entry names as
// StartupWMClass), opening at kOwnPlace, with further options.
QString testAppExec(const QString& instance, const QStringList& options = {})
{
    QStringList words{execArgument(testApp()), QStringLiteral("--class"),
        instance + QStringLiteral(",VantorTestApp"), QStringLiteral("--geometry"), kOwnPlace};
    for (const QString& option : options)
        words.append(execArgument(option));
    return words.join(u' ');
}

// The test's own look at the windows through xcb: which managed clients carry a WM_CLASS
// instance, and their frames as the user sees them (the client's origin on the root and its
// size, widened by _NET_FRAME_EXTENTS). Cheap enough to check every few milliseconds, unlike a
// run of xdotool, xwininfo and xprop.
class WindowReader {
public:
    WindowReader() : m_connection(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(m_connection))
            qFatal("The test cannot connect to its display");
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_clientList = atom("_NET_CLIENT_LIST");
        m_frameExtents = atom("_NET_FRAME_EXTENTS");
    }
    ~WindowReader() { xcb_disconnect(m_connection); }
    WindowReader(const WindowReader&) = delete;
    WindowReader& operator=(const WindowReader&) = delete;

    // The managed windows (_NET_CLIENT_LIST) of the WM_CLASS instance; only the viewable ones
    // unless `evenHidden`.
    QList<WindowId> clientsOf(const QString& instance, bool evenHidden = false) const
    {
        QList<WindowId> clients;
        const auto list = property(m_root, m_clientList, XCB_ATOM_WINDOW, 1024);
        if (!list || list->format != 32)
            return clients;
        const auto* values = static_cast<const WindowId*>(xcb_get_property_value(list.get()));
        const int count = xcb_get_property_value_length(list.get()) / 4;
        for (int i = 0; i < count; ++i) {
            const auto wmClass = property(values[i], XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 64);
            if (!wmClass)
                continue;
            const QByteArray names(static_cast<const char*>(xcb_get_property_value(wmClass.get())),
                xcb_get_property_value_length(wmClass.get()));
            if (names.split('\0').value(0) != instance.toUtf8())
                continue;
            xcb_generic_error_t* error = nullptr;
            const Reply<xcb_get_window_attributes_reply_t> attributes(
                xcb_get_window_attributes_reply(
                    m_connection, xcb_get_window_attributes(m_connection, values[i]), &error));
            std::free(error);
            if (attributes && (evenHidden || attributes->map_state == XCB_MAP_STATE_VIEWABLE))
                clients.append(values[i]);
        }
        return clients;
    }

    // A null rectangle when the window is gone.
    QRect outerFrame(WindowId window) const
    {
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
            m_connection, xcb_translate_coordinates(m_connection, window, m_root, 0, 0), &error));
        std::free(error);
        const QSize size = clientSize(window);
        if (!origin || !size.isValid())
            return {};
        int e[4] = {0, 0, 0, 0}; // left, right, top, bottom
        const auto extents = property(window, m_frameExtents, XCB_ATOM_CARDINAL, 4);
        if (extents && xcb_get_property_value_length(extents.get()) == 16) {
            const auto* values
                = static_cast<const std::uint32_t*>(xcb_get_property_value(extents.get()));
            for (int i = 0; i < 4; ++i)
                e[i] = static_cast<int>(values[i]);
        }
        return QRect(origin->dst_x - e[0], origin->dst_y - e[2], size.width() + e[0] + e[1],
            size.height() + e[2] + e[3]);
    }

    QSize clientSize(WindowId window) const
    {
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), &error));
        std::free(error);
        return geometry ? QSize(geometry->width, geometry->height) : QSize();
    }

private:
    struct FreeDeleter {
        void operator()(void* p) const { std::free(p); }
    };
    template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

    xcb_atom_t atom(const char* name) const
    {
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection,
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    Reply<xcb_get_property_reply_t> property(
        WindowId window, xcb_atom_t name, xcb_atom_t type, std::uint32_t length) const
    {
        xcb_generic_error_t* error = nullptr;
        Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection,
            xcb_get_property(m_connection, 0, window, name, type, 0, length), &error));
        std::free(error);
        return reply;
    }

    xcb_connection_t* m_connection;
    xcb_window_t m_root = 0;
    xcb_atom_t m_clientList = XCB_ATOM_NONE;
    xcb_atom_t m_frameExtents = XCB_ATOM_NONE;
};

const WindowReader& windows()
{
    static const WindowReader reader;
    return reader;
}

// The managed, viewable top-level windows whose WM_CLASS instance is `instance`.
QList<WindowId> windowsOf(const QString& instance)
{
    return windows().clientsOf(instance);
}

QRect frameOf(WindowId window)
{
    return windows().outerFrame(window);
}

WindowId onlyWindowOf(const QString& instance)
{
    const QList<WindowId> windows = windowsOf(instance);
    return windows.size() == 1 ? windows.first() : 0;
}

// The live descendants of this test program (which adopts the orphans of its children) with an
// argument `marker` or "marker,…": the tests' apps each carry their WM_CLASS instance on their
// command line, so they are found before they have windows too, and never another test's.
QList<qint64> processesMarked(const QString& marker)
{
    struct Process {
        qint64 parent = 0;
        bool live = false;
        QList<QByteArray> arguments;
    };
    QHash<qint64, Process> processes;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid)
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        QFile commandLine(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (!stat.open(QIODevice::ReadOnly) || !commandLine.open(QIODevice::ReadOnly))
            continue;
        // "pid (comm) state ppid ...": comm may hold blanks, so read after the last ')'.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() < 2)
            continue;
        processes.insert(pid,
            {fields.at(1).toLongLong(), fields.at(0) != "Z", commandLine.readAll().split('\0')});
    }
    const qint64 self = ::getpid();
    const auto isDescendant = [&processes, self](qint64 pid) {
        for (int depth = 0; depth < 64 && pid > 1; ++depth) {
            pid = processes.value(pid).parent;
            if (pid == self)
                return true;
        }
        return false;
    };
    const QByteArray wanted = marker.toUtf8();
    QList<qint64> pids;
    for (auto it = processes.cbegin(); it != processes.cend(); ++it) {
        const QList<QByteArray>& arguments = it->arguments;
        if (it->live && isDescendant(it.key())
            && std::any_of(arguments.cbegin(), arguments.cend(), [&wanted](const QByteArray& a) {
                   return a == wanted || a.startsWith(wanted + ',');
               }))
            pids.append(it.key());
    }
    return pids;
}

QStringList linesStartingWith(const QStringList& lines, const QString& prefix)
{
    QStringList found;
    for (const QString& line : lines) {
        if (line.startsWith(prefix))
            found.append(line);
    }
    return found;
}

// What the test app wrote to its --log file, one event per line.
QStringList logOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

QJsonArray listJson()
{
    const VantorRun run = VantorProcess::run({QStringLiteral("list"), QStringLiteral("--json")});
    if (!run.exitedWith(0))
        qWarning().noquote() << "vantor list --json gave" << run.describe();
    return QJsonDocument::fromJson(run.standardOutput).array();
}

// The key that the tray app binds for a workspace, as xdotool names it ("shift+alt+1"); empty
// when the stored shortcut is not one of the default Shift+Option+digit ones.
QString hotkeyOf(const QString& workspaceName)
{
    QString id;
    for (const QJsonValue& workspace : listJson()) {
        if (workspace.toObject().value(QLatin1String("name")).toString() == workspaceName)
            id = workspace.toObject().value(QLatin1String("id")).toString();
    }
    const QJsonObject shortcut = QJsonDocument::fromJson(
        TestPreferences::read()
            .value(QStringLiteral("KeyboardShortcuts_workspaceShortcut_") + id)
            .toString()
            .toUtf8())
                                     .object();
    // macOS virtual key codes of the digit keys 1 … 9, 0.
    const QList<int> digitKeyCodes = {18, 19, 20, 21, 23, 22, 26, 28, 25, 29};
    const qsizetype digit
        = digitKeyCodes.indexOf(shortcut.value(QLatin1String("carbonKeyCode")).toInt(-1));
    if (id.isEmpty() || digit < 0
        || shortcut.value(QLatin1String("carbonModifiers")).toInt() != 2560)
        return {};
    return QStringLiteral("shift+alt+%1").arg((digit + 1) % 10);
}

// Leaves the test function when a helper it called has failed.
#define RETURN_IF_FAILED()                                                                         \
    do {                                                                                           \
        if (QTest::currentTestFailed())                                                            \
            return;                                                                                \
    } while (false)

} // namespace

// One app of a workspace that a test captures while it runs and then closes, so that the
// activation has to launch it.
struct ClosedApp {
    QString id; // desktop entry id
    QString instance; // WM_CLASS instance of its windows; also on its command line
    QString program; // how the test starts it for the capture
    QStringList arguments;
    QRect frame; // the outer frame it stands on when captured
};

// Apps that activation launches, checked as the user sees them: each launched app's main window
// must end on the frame captured for it, whatever the app does while it starts (splash, moving
// itself, starting through a script); launches that fail or never show a window end the
// activation with exit 1 and say why. Run as the real `vantor` executable, and as the tray app
// on its workspace hotkey.
class LaunchPlacementTest : public QObject {
    Q_OBJECT

private:
    VantorProcess m_tray;
    QStringList m_instances; // the apps each test started, ended after it

    TestDesktop& desktop() const { return *TestDesktop::instance(); }

    // A script that would start xlogo, were it executable.
    static QString notExecutable() { return QDir::homePath() + QStringLiteral("/not-executable"); }

    static QString logPath(const QString& instance)
    {
        return QDir::homePath() + QLatin1Char('/') + instance + QStringLiteral(".log");
    }

    // xlogo or xclock with an entry of its own that opens it at kOwnPlace.
    ClosedApp xApp(const QString& program, const QString& id, const QRect& frame)
    {
        const QStringList arguments
            = {QStringLiteral("-name"), id, QStringLiteral("-geometry"), kOwnPlace};
        writeEntry(id, QStringLiteral("Launch ") + id, program + u' ' + arguments.join(u' '), id);
        return {id, id, program, arguments, frame};
    }

    // The test app with an entry of its own; `options` are added to the entry only, so the
    // copy that the test starts for the capture has none of them.
    ClosedApp testAppEntry(const QString& id, const QRect& frame, const QStringList& options = {})
    {
        writeEntry(id, QStringLiteral("Launch ") + id, testAppExec(id, options), id);
        return {id, id, testApp(),
            {QStringLiteral("--class"), id + QStringLiteral(",VantorTestApp"),
                QStringLiteral("--geometry"), kOwnPlace},
            frame};
    }

    // Starts the apps, puts each on its frame (with xdotool, as a user would drag it), captures
    // them into a new workspace, checks what was stored, and closes them again.
    void captureClosed(const QString& workspace, const QList<ClosedApp>& apps)
    {
        QList<qint64> pids;
        QStringList ids;
        for (const ClosedApp& app : apps) {
            m_instances.append(app.instance);
            const qint64 pid = desktop().startApp(app.program, app.arguments);
            QVERIFY2(pid > 0, qPrintable(app.program));
            pids.append(pid);
            ids.append(app.id);
            QTRY_VERIFY(onlyWindowOf(app.instance) != 0);
            const WindowId window = onlyWindowOf(app.instance);
            const QSize decorations = frameOf(window).size() - windows().clientSize(window);
            DesktopFacts::moveWindow(
                window, app.frame.x(), app.frame.y(), app.frame.size() - decorations);
            QTRY_COMPARE(frameOf(window), app.frame);
        }

        const VantorRun captured
            = VantorProcess::run(QStringList{QStringLiteral("capture"), workspace} + ids);
        QVERIFY2(captured.exitedWith(0), captured.describe());
        const VantorRun shown
            = VantorProcess::run({QStringLiteral("show"), workspace, QStringLiteral("--json")});
        QVERIFY2(shown.exitedWith(0), shown.describe());
        const QJsonArray stored = QJsonDocument::fromJson(shown.standardOutput)
                                      .object()
                                      .value(QLatin1String("apps"))
                                      .toArray();
        QCOMPARE(stored.size(), apps.size());
        for (const QJsonValue& value : stored) {
            const QString id = value.toObject().value(QLatin1String("bundleIdentifier")).toString();
            const auto app = std::find_if(
                apps.cbegin(), apps.cend(), [&id](const ClosedApp& a) { return a.id == id; });
            QVERIFY2(app != apps.cend(), qPrintable(id));
            const QJsonObject layout
                = value.toObject().value(QLatin1String("layouts")).toArray().first().toObject();
            QCOMPARE(QRect(layout.value(QLatin1String("positionX")).toInt(),
                         layout.value(QLatin1String("positionY")).toInt(),
                         layout.value(QLatin1String("width")).toInt(),
                         layout.value(QLatin1String("height")).toInt()),
                app->frame);
        }

        for (const qint64 pid : std::as_const(pids))
            TestApps::stop(pid);
        for (const ClosedApp& app : apps) {
            QTRY_VERIFY(windowsOf(app.instance).isEmpty());
            QVERIFY(processesMarked(app.instance).isEmpty());
        }
    }

    // The app's one window is on screen and stands on its captured frame.
    static void verifyPlaced(const ClosedApp& app)
    {
        QTRY_VERIFY_WITH_TIMEOUT(onlyWindowOf(app.instance) != 0, 10000);
        QTRY_COMPARE(frameOf(onlyWindowOf(app.instance)), app.frame);
    }

    static VantorRun activate(const QString& workspace, const QStringList& options = {})
    {
        return VantorProcess::run(
            QStringList{QStringLiteral("activate"), workspace} + options, 60s);
    }

    // Starts the tray app and waits until it has bound the workspace's shortcut.
    void startTray(const QString& workspace)
    {
        QVERIFY(m_tray.start());
        const QString registered = kRegistered + workspace + QStringLiteral(" at slot ");
        QTRY_VERIFY2_WITH_TIMEOUT(
            m_tray.countLinesStartingWith(registered) == 1, m_tray.describe(), 20000);
    }

    void stopTray()
    {
        QVERIFY2(m_tray.terminate(), m_tray.describe());
        QVERIFY2(m_tray.exitedWith(0), m_tray.describe());
    }

    static void pressKey(const QString& key)
    {
        TestDesktop::run(QStringLiteral("xdotool"), {QStringLiteral("key"), key});
    }

    // A workspace of the test app whose entry, after the capture, runs `exec` instead.
    ClosedApp brokenAfterCapture(const QString& workspace, const QString& id, const QString& exec)
    {
        const ClosedApp app = testAppEntry(id, QRect(700, 300, 402, 325));
        captureClosed(workspace, {app});
        writeEntry(id, QStringLiteral("Launch ") + id, exec, id);
        return app;
    }

    void setPreference(const QString& key, const QJsonValue& value)
    {
        QJsonObject preferences = TestPreferences::read();
        preferences.insert(key, value);
        QVERIFY(TestPreferences::write(preferences));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(testApp()), qPrintable(testApp()));
        QVERIFY2(QFile::exists(QStringLiteral("/usr/share/applications/galculator.desktop")),
            "galculator is not installed (scripts/install-deps.sh test)");
        QFile script(notExecutable());
        QVERIFY(script.open(QIODevice::WriteOnly | QIODevice::Truncate));
        script.write("#!/bin/sh\nexec xlogo\n");
        script.close();
        QVERIFY(script.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    }

    void init() { failOnUnexpectedWarnings(); }

    void cleanup()
    {
        m_tray.kill();
        for (const QString& instance : std::as_const(m_instances)) {
            QList<qint64> pids = processesMarked(instance);
            for (const WindowId window : windows().clientsOf(instance, true)) {
                const qint64 pid = desktop().probe().pidOf(window);
                if (pid > 0 && !pids.contains(pid))
                    pids.append(pid);
            }
            for (const qint64 pid : std::as_const(pids))
                TestApps::stop(pid);
        }
        m_instances.clear();
        for (const QJsonValue& workspace : listJson())
            VantorProcess::run({QStringLiteral("delete"),
                workspace.toObject().value(QLatin1String("name")).toString()});
        QJsonObject preferences = TestPreferences::read();
        preferences.remove(QStringLiteral("launchTimeout"));
        preferences.remove(QStringLiteral("launchSettleTime"));
        QVERIFY(TestPreferences::write(preferences));
    }

    void activateLaunchesClosedAppsOntoTheirFrames()
    {
        const QList<ClosedApp> apps = {
            xApp(QStringLiteral("xlogo"), QStringLiteral("lp-logo"), QRect(1000, 80, 420, 300)),
            xApp(QStringLiteral("xclock"), QStringLiteral("lp-clock"), QRect(1000, 560, 380, 360)),
            // galculator opens at its natural size (331x343) wherever openbox puts it, and
            // does not remember where it stood; it refuses sizes below that minimum, so it is
            // captured larger, at a size it accepts, and has to come back exactly to it.
            {QStringLiteral("galculator"), QStringLiteral("galculator"),
                QStringLiteral("galculator"), {}, QRect(300, 450, 430, 420)},
        };
        captureClosed(QStringLiteral("Trio"), apps);
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Trio"));
        QVERIFY2(run.exitedWith(0), run.describe());
        QStringList lines = run.outLines();
        lines.sort();
        QCOMPARE(lines,
            QStringList({kLaunched + QStringLiteral("galculator"),
                kLaunched + QStringLiteral("lp-clock"), kLaunched + QStringLiteral("lp-logo")}));
        QVERIFY2(!run.standardError.isEmpty(), "no progress on stderr");
        for (const ClosedApp& app : apps) {
            verifyPlaced(app);
            RETURN_IF_FAILED();
        }
    }

    void hotkeyLaunchesClosedAppsOntoTheirFrames()
    {
        const QList<ClosedApp> apps = {
            xApp(QStringLiteral("xlogo"), QStringLiteral("lp-key-logo"), QRect(900, 100, 360, 280)),
            xApp(QStringLiteral("xclock"), QStringLiteral("lp-key-clock"),
                QRect(1300, 480, 300, 320)),
            {QStringLiteral("galculator"), QStringLiteral("galculator"),
                QStringLiteral("galculator"), {}, QRect(400, 420, 450, 440)},
        };
        captureClosed(QStringLiteral("Keys"), apps);
        RETURN_IF_FAILED();
        startTray(QStringLiteral("Keys"));
        RETURN_IF_FAILED();
        const QString key = hotkeyOf(QStringLiteral("Keys"));
        QVERIFY(!key.isEmpty());

        pressKey(key);
        for (const ClosedApp& app : apps)
            QVERIFY2(m_tray.waitForLines(kLaunched + app.id, 1, 20s), m_tray.describe());
        for (const ClosedApp& app : apps) {
            verifyPlaced(app);
            RETURN_IF_FAILED();
        }
        QCOMPARE(m_tray.countLinesStartingWith(kLaunched), 3);
        stopTray();
    }

    void aSplashScreenIsNotTakenForTheMainWindow()
    {
        const QString log = logPath(QStringLiteral("lp-splash"));
        const ClosedApp app = testAppEntry(QStringLiteral("lp-splash"), QRect(900, 300, 502, 405),
            {QStringLiteral("--splash"), QStringLiteral("500"), QStringLiteral("--log"), log});
        captureClosed(QStringLiteral("Splash"), {app});
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Splash"));
        QVERIFY2(run.exitedWith(0), run.describe());
        QCOMPARE(run.outLines(), QStringList{kLaunched + app.id});
        verifyPlaced(app);

        // The splash was shown and gone before the main window came, and it never stood on
        // the frame: the test app's own record of every configuration of its windows.
        const QStringList events = logOf(log);
        const qsizetype splashShown = events.indexOf(QStringLiteral("map splash"));
        const qsizetype splashGone = events.indexOf(QStringLiteral("destroy splash"));
        QVERIFY2(splashShown >= 0 && splashShown < splashGone
                && splashGone < events.indexOf(QStringLiteral("map main")),
            qPrintable(events.join(u'\n')));
        for (const QString& event :
            linesStartingWith(events, QStringLiteral("configure splash "))) {
            const QStringList f = event.split(u' '); // configure splash X Y W H
            QVERIFY2(QSize(f.value(4).toInt(), f.value(5).toInt()) == QSize(240, 120),
                qPrintable(event));
            QVERIFY2(QPoint(f.value(2).toInt(), f.value(3).toInt()) != app.frame.topLeft(),
                qPrintable(event));
        }
    }

    void anAppThatMovesItselfIsPutBack()
    {
        const QString log = logPath(QStringLiteral("lp-mover"));
        const ClosedApp app = testAppEntry(QStringLiteral("lp-mover"), QRect(500, 300, 602, 425),
            {QStringLiteral("--move-after"), QStringLiteral("300"), QStringLiteral("1300"),
                QStringLiteral("650"), QStringLiteral("--log"), log});
        captureClosed(QStringLiteral("Mover"), {app});
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Mover"));
        QVERIFY2(run.exitedWith(0), run.describe());
        QCOMPARE(run.outLines(), QStringList{kLaunched + app.id});
        // The window ends on its frame, after the app has moved it ...
        QTRY_VERIFY(logOf(log).contains(QStringLiteral("moved-self main 1300 650")));
        verifyPlaced(app);
        RETURN_IF_FAILED();
        QCOMPARE(windowsOf(app.instance).size(), 1);
        // ... which the window manager did carry out: the window stood elsewhere in between.
        const QStringList events = logOf(log);
        const QStringList afterMove = linesStartingWith(
            events.mid(events.indexOf(QStringLiteral("moved-self main 1300 650"))),
            QStringLiteral("configure main "));
        QVERIFY2(!afterMove.isEmpty(), qPrintable(events.join(u'\n')));
        const QString finalPlace = afterMove.last().section(u' ', 2, 3);
        QVERIFY2(std::any_of(afterMove.cbegin(), afterMove.cend(),
                     [&](const QString& e) { return e.section(u' ', 2, 3) != finalPlace; }),
            qPrintable(events.join(u'\n')));
    }

    void withoutTheSettleWatchAnAppThatMovesItselfStaysMoved()
    {
        setPreference(QStringLiteral("launchSettleTime"), 0);
        const QString log = logPath(QStringLiteral("lp-unwatched"));
        const ClosedApp app
            = testAppEntry(QStringLiteral("lp-unwatched"), QRect(500, 300, 602, 425),
                {QStringLiteral("--move-after"), QStringLiteral("300"), QStringLiteral("1300"),
                    QStringLiteral("650"), QStringLiteral("--log"), log});
        captureClosed(QStringLiteral("Unwatched"), {app});
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Unwatched"));
        QVERIFY2(run.exitedWith(0), run.describe());
        QCOMPARE(run.outLines(), QStringList{kLaunched + app.id});
        QTRY_VERIFY(logOf(log).contains(QStringLiteral("moved-self main 1300 650")));
        // Placed first, on the frame's size; then the app's own move wins.
        QTRY_COMPARE(
            frameOf(onlyWindowOf(app.instance)), QRect(QPoint(1300, 650), app.frame.size()));
    }

    void appsStartedThroughScriptsArePlaced_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("script");
        QTest::newRow("exec wrapper") << QStringLiteral("lp-wrapped")
                                      << QStringLiteral("exec xlogo -name lp-wrapped -geometry %1");
        QTest::newRow("script that forks and exits") << QStringLiteral(
            "lp-forking") << QStringLiteral("xlogo -name lp-forking -geometry %1 & exit 0");
    }

    void appsStartedThroughScriptsArePlaced()
    {
        QFETCH(QString, id);
        QFETCH(QString, script);
        // Captured from a plain xlogo; its entry starts it through the script.
        const ClosedApp app = xApp(QStringLiteral("xlogo"), id, QRect(1100, 250, 520, 400));
        writeEntry(id, QStringLiteral("Launch ") + id,
            QStringLiteral("sh -c ") + execArgument(script.arg(kOwnPlace)), id);
        captureClosed(QStringLiteral("Script"), {app});
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Script"));
        QVERIFY2(run.exitedWith(0), run.describe());
        QCOMPARE(run.outLines(), QStringList{kLaunched + id});
        verifyPlaced(app);
    }

    void anAppWithoutWindowTimesOutAndTheOthersArePlacedMeanwhile()
    {
        const ClosedApp logo = xApp(
            QStringLiteral("xlogo"), QStringLiteral("lp-tm-logo"), QRect(900, 500, 420, 330));
        const ClosedApp silent
            = testAppEntry(QStringLiteral("lp-tm-silent"), QRect(200, 400, 402, 325));
        captureClosed(QStringLiteral("Timeout"), {logo, silent});
        RETURN_IF_FAILED();
        writeEntry(silent.id, QStringLiteral("Launch ") + silent.id,
            testAppExec(silent.id, {QStringLiteral("--no-window")}), silent.id);

        VantorProcess vantor;
        QVERIFY(vantor.start({QStringLiteral("activate"), QStringLiteral("Timeout"),
            QStringLiteral("--timeout"), QStringLiteral("2")}));
        const auto msSinceStart = [&vantor] {
            return std::chrono::duration<double, std::milli>(
                std::chrono::steady_clock::now() - vantor.startedAt())
                .count();
        };
        // Watched while vantor still waits for the other app: xlogo is placed as soon as its
        // window is there, not when the activation ends.
        QVERIFY2(TestDesktop::waitUntil(
                     [&] {
                         const WindowId window = onlyWindowOf(logo.instance);
                         return window && frameOf(window) == logo.frame;
                     },
                     5s),
            vantor.describe());
        const double placedAt = msSinceStart();
        QVERIFY2(vantor.isRunning(), vantor.describe());
        QCOMPARE(vantor.countLinesStartingWith(kTimedOut), 0);
        QVERIFY(!processesMarked(silent.instance).isEmpty()); // launched, and it still runs

        QVERIFY2(vantor.waitForFinished(20s), vantor.describe());
        const double endedAt = msSinceStart();
        QVERIFY2(vantor.exitedWith(1), vantor.describe());
        QCOMPARE(vantor.out().split(u'\n', Qt::SkipEmptyParts),
            QStringList({kLaunched + logo.id, kTimedOut + silent.id}));
        const QByteArray times = QByteArray::number(placedAt) + " ms placed, "
            + QByteArray::number(endedAt) + " ms ended";
        // After the two seconds asked for, not after the default ten; xlogo stood on its frame
        // a good while before.
        QVERIFY2(endedAt >= 1900 && endedAt < 9000, times.constData());
        QVERIFY2(endedAt - placedAt >= 1000, times.constData());
        QCOMPARE(frameOf(onlyWindowOf(logo.instance)), logo.frame);
    }

    void thePreferredLaunchTimeoutApplies()
    {
        setPreference(QStringLiteral("launchTimeout"), 1.5);
        const ClosedApp silent
            = brokenAfterCapture(QStringLiteral("Preferred"), QStringLiteral("lp-pt-silent"),
                testAppExec(QStringLiteral("lp-pt-silent"), {QStringLiteral("--no-window")}));
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Preferred"));
        QVERIFY2(run.exitedWith(1), run.describe());
        QCOMPARE(run.outLines(), QStringList{kTimedOut + silent.id});
        QVERIFY2(run.duration >= 1400ms && run.duration < 8s, run.describe());
    }

    void aLaunchThatFailsIsReportedAtOnce_data()
    {
        QTest::addColumn<QString>("exec");
        QTest::newRow("Exec=false") << QStringLiteral("false");
        QTest::newRow("missing program") << QStringLiteral("vantor-no-such-program --option");
        QTest::newRow("not executable") << execArgument(notExecutable());
        QTest::newRow("exits at once with status 3") << testAppExec(
            QStringLiteral("lp-fail"), {QStringLiteral("--exit-at-once"), QStringLiteral("3")});
        QTest::newRow("exits at once without a window") << testAppExec(
            QStringLiteral("lp-fail"), {QStringLiteral("--exit-at-once"), QStringLiteral("0")});
    }

    void aLaunchThatFailsIsReportedAtOnce()
    {
        QFETCH(QString, exec);
        const ClosedApp app
            = brokenAfterCapture(QStringLiteral("Failing"), QStringLiteral("lp-fail"), exec);
        RETURN_IF_FAILED();

        // A time-out far away: the failure must be noticed, not waited out.
        const VantorRun run = activate(
            QStringLiteral("Failing"), {QStringLiteral("--timeout"), QStringLiteral("30")});
        QVERIFY2(run.exitedWith(1), run.describe());
        QCOMPARE(run.outLines().size(), 1);
        const QString line = run.outLines().first();
        const QString prefix = kFailedToLaunch + app.id + QStringLiteral(": ");
        QVERIFY2(line.startsWith(prefix) && line.size() > prefix.size(), run.describe());
        QVERIFY2(run.duration < 10s, run.describe());
        QVERIFY(processesMarked(app.instance).isEmpty());
        QVERIFY(windowsOf(app.instance).isEmpty());
    }

    void activationEndsWhileTheLaunchedAppRuns()
    {
        const ClosedApp app
            = xApp(QStringLiteral("xlogo"), QStringLiteral("lp-pipe"), QRect(800, 200, 400, 300));
        captureClosed(QStringLiteral("Pipe"), {app});
        RETURN_IF_FAILED();

        // `vantor activate Pipe 2>&1 | cat`: cat ends only when every writer of the pipe is
        // gone, so a launched app holding vantor's stdout or stderr would keep it open.
        QProcess shell;
        shell.setChildProcessModifier([] {
            ::setpgid(0, 0);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        });
        shell.start(QStringLiteral("sh"),
            {QStringLiteral("-c"),
                QStringLiteral("(\"$0\" activate Pipe 2>&1; echo \"vantor-exit=$?\") | cat"),
                VantorProcess::executable()});
        QVERIFY(shell.waitForStarted());
        const bool ended = shell.waitForFinished(30000);
        if (!ended) {
            ::kill(-static_cast<pid_t>(shell.processId()), SIGKILL);
            shell.waitForFinished(5000);
        }
        const QString output = QString::fromUtf8(shell.readAllStandardOutput());
        QVERIFY2(ended, qPrintable(QStringLiteral("the pipe never reached its end:\n") + output));
        const QStringList lines = output.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY2(lines.contains(kLaunched + app.id), qPrintable(output));
        QCOMPARE(lines.last(), QStringLiteral("vantor-exit=0"));

        // The launched app lives on, on its frame.
        QCOMPARE(processesMarked(app.instance).size(), 1);
        verifyPlaced(app);
    }

    void jsonTellsWhatBecameOfEachApp()
    {
        const ClosedApp launched = xApp(
            QStringLiteral("xlogo"), QStringLiteral("lp-json-logo"), QRect(900, 120, 400, 300));
        const ClosedApp running
            = testAppEntry(QStringLiteral("lp-json-running"), QRect(300, 500, 402, 325));
        const ClosedApp gone
            = testAppEntry(QStringLiteral("lp-json-gone"), QRect(1300, 600, 402, 325));
        const ClosedApp failing
            = testAppEntry(QStringLiteral("lp-json-false"), QRect(100, 100, 302, 225));
        captureClosed(QStringLiteral("Json"), {launched, running, gone, failing});
        RETURN_IF_FAILED();
        const qint64 runningPid = desktop().startApp(running.program, running.arguments);
        QVERIFY(runningPid > 0);
        QVERIFY(QFile::remove(applicationsDir() + gone.id + QStringLiteral(".desktop")));
        writeEntry(failing.id, QStringLiteral("Launch ") + failing.id, QStringLiteral("false"),
            failing.id);

        const VantorRun run = activate(QStringLiteral("Json"), {QStringLiteral("--json")});
        QVERIFY2(run.exitedWith(1), run.describe());
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(run.standardOutput, &error);
        QVERIFY2(error.error == QJsonParseError::NoError && document.isArray(), run.describe());
        // The console lines went to stderr.
        const QStringList err = run.errLines();
        QVERIFY2(err.contains(kLaunched + launched.id), run.describe());
        QVERIFY2(err.contains(kRunning + QStringLiteral("Launch ") + running.id), run.describe());
        QVERIFY2(err.contains(kNotFound + gone.id), run.describe());
        QCOMPARE(
            linesStartingWith(err, kFailedToLaunch + failing.id + QStringLiteral(": ")).size(), 1);

        // One object per app, in the workspace's stored order.
        const QJsonArray stored = QJsonDocument::fromJson(
            VantorProcess::run(
                {QStringLiteral("show"), QStringLiteral("Json"), QStringLiteral("--json")})
                .standardOutput)
                                      .object()
                                      .value(QLatin1String("apps"))
                                      .toArray();
        const QJsonArray outcomes = document.array();
        QCOMPARE(outcomes.size(), 4);
        QCOMPARE(stored.size(), 4);
        const QSet<QString> keys = {QStringLiteral("name"), QStringLiteral("bundleIdentifier"),
            QStringLiteral("outcome"), QStringLiteral("placed"), QStringLiteral("pid"),
            QStringLiteral("error")};
        const WindowId launchedWindow = onlyWindowOf(launched.instance);
        QVERIFY(launchedWindow);
        for (int i = 0; i < 4; ++i) {
            const QJsonObject outcome = outcomes.at(i).toObject();
            const QStringList outcomeKeys = outcome.keys();
            QCOMPARE(QSet<QString>(outcomeKeys.cbegin(), outcomeKeys.cend()), keys);
            const QString id = outcome.value(QLatin1String("bundleIdentifier")).toString();
            QCOMPARE(
                id, stored.at(i).toObject().value(QLatin1String("bundleIdentifier")).toString());
            QCOMPARE(outcome.value(QLatin1String("name")).toString(),
                stored.at(i).toObject().value(QLatin1String("name")).toString());
            const QString state = outcome.value(QLatin1String("outcome")).toString();
            const QJsonValue pid = outcome.value(QLatin1String("pid"));
            const QJsonValue placed = outcome.value(QLatin1String("placed"));
            const QJsonValue why = outcome.value(QLatin1String("error"));
            if (id == launched.id) {
                QCOMPARE(state, QStringLiteral("launched"));
                QCOMPARE(placed, QJsonValue(true));
                QCOMPARE(pid.toInteger(-1), qint64(desktop().probe().pidOf(launchedWindow)));
                QVERIFY(why.isNull());
            } else if (id == running.id) {
                QCOMPARE(state, QStringLiteral("alreadyRunning"));
                QCOMPARE(placed, QJsonValue(true));
                QCOMPARE(pid.toInteger(-1), runningPid);
                QVERIFY(why.isNull());
            } else if (id == gone.id) {
                QCOMPARE(state, QStringLiteral("notInstalled"));
                QCOMPARE(placed, QJsonValue(false));
                QVERIFY(pid.isNull());
            } else {
                QCOMPARE(id, failing.id);
                QCOMPARE(state, QStringLiteral("failed"));
                QCOMPARE(placed, QJsonValue(false));
                QVERIFY(why.isString() && !why.toString().isEmpty());
            }
        }
        verifyPlaced(launched);
        verifyPlaced(running);
    }

    void noWaitReturnsOnceTheLaunchHasStarted()
    {
        const ClosedApp app = testAppEntry(QStringLiteral("lp-nowait"), QRect(600, 200, 402, 325),
            {QStringLiteral("--delay"), QStringLiteral("3000")});
        captureClosed(QStringLiteral("NoWait"), {app});
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("NoWait"), {QStringLiteral("--no-wait")});
        QVERIFY2(run.exitedWith(0), run.describe());
        // The app started, and its window (three seconds late) is not there yet.
        QCOMPARE(processesMarked(app.instance).size(), 1);
        QVERIFY(windowsOf(app.instance).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(onlyWindowOf(app.instance) != 0, 15000);
        QCOMPARE(processesMarked(app.instance).size(), 1);
    }

    void hotkeyPressedTwiceDuringALaunchLaunchesOnce()
    {
        const ClosedApp slow = testAppEntry(QStringLiteral("lp-twice"), QRect(700, 350, 402, 325),
            {QStringLiteral("--delay"), QStringLiteral("1500")});
        captureClosed(QStringLiteral("Twice"), {slow});
        RETURN_IF_FAILED();
        const ClosedApp sentinel
            = testAppEntry(QStringLiteral("lp-sentinel"), QRect(100, 700, 302, 225));
        captureClosed(QStringLiteral("Sentinel"), {sentinel});
        RETURN_IF_FAILED();
        QVERIFY(desktop().startApp(sentinel.program, sentinel.arguments) > 0);
        startTray(QStringLiteral("Twice"));
        RETURN_IF_FAILED();
        QTRY_VERIFY_WITH_TIMEOUT(
            m_tray.countLinesStartingWith(kRegistered + QStringLiteral("Sentinel at slot ")) == 1,
            20000);
        const QString twice = hotkeyOf(QStringLiteral("Twice"));
        const QString other = hotkeyOf(QStringLiteral("Sentinel"));
        QVERIFY(!twice.isEmpty() && !other.isEmpty() && twice != other);

        TestDesktop::run(QStringLiteral("xdotool"), {QStringLiteral("key"), twice, twice});
        QVERIFY2(windowsOf(slow.instance).isEmpty(), "the window came before the second press");
        // Once the other workspace's hotkey has acted, both presses have been handled.
        pressKey(other);
        QVERIFY2(m_tray.waitForLines(kRunning + QStringLiteral("Launch lp-sentinel"), 1, 20s),
            m_tray.describe());
        QVERIFY2(m_tray.waitForLines(kLaunched + slow.id, 1, 20s), m_tray.describe());
        verifyPlaced(slow);
        QCOMPARE(processesMarked(slow.instance).size(), 1);
        QCOMPARE(windowsOf(slow.instance).size(), 1);
        stopTray();
    }

    void aBadTimeoutIsAUsageError_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("not a number")
            << QStringList{QStringLiteral("--timeout"), QStringLiteral("soon")};
        QTest::newRow("missing") << QStringList{QStringLiteral("--timeout")};
    }

    void aBadTimeoutIsAUsageError()
    {
        QFETCH(QStringList, options);
        const ClosedApp app
            = xApp(QStringLiteral("xlogo"), QStringLiteral("lp-usage"), QRect(800, 200, 400, 300));
        captureClosed(QStringLiteral("Usage"), {app});
        RETURN_IF_FAILED();

        const VantorRun run = activate(QStringLiteral("Usage"), options);
        QVERIFY2(run.exitedWith(2), run.describe());
        QVERIFY2(run.standardOutput.isEmpty(), run.describe());
        QVERIFY(processesMarked(app.instance).isEmpty());
    }
};

VANTOR_DESKTOP_TEST_MAIN_WITH(LaunchPlacementTest, TestDesktop::Options{.trayHost = true})
#include "tst_launch_placement.moc"

#include "KWinDesktop.h"

#include "SessionUser.h"
#include "TestDesktop.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QtDebug>

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

KWinDesktop* s_instance = nullptr;

const QString installedKWin = QStringLiteral("/usr/bin/kwin_wayland");
const QString socketName = QStringLiteral("wayland-kwin");
const QString displayFile = QStringLiteral("x11-display");
const QString fakeKeyName = QStringLiteral("vantor-fake-key");
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

// KWin starts this once XWayland is up, with DISPLAY set: it admits root (the test and the
// tools it reads the desktop with) and tells the test which display it is; the file appears
// empty when that failed.
const char* const x11ReadyScript = R"(#!/bin/sh
cd "$XDG_RUNTIME_DIR" || exit 1
{ xhost +si:localuser:root > xhost.log 2>&1 && echo "$DISPLAY"; } > x11-display.new
mv x11-display.new x11-display
)";

// KWin offers its fake input protocol only to programs named in a desktop entry like this.
const char* const fakeKeyEntry = R"([Desktop Entry]
Type=Application
Name=Vantor fake key
Exec=%1
NoDisplay=true
X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input
)";

// Lists KWin's windows (KWin 5 calls them clients).
const char* const windowsScript = R"(
var list = workspace.windowList ? workspace.windowList() : workspace.clientList();
var windows = [];
for (var i = 0; i < list.length; ++i) {
    var w = list[i], frame = w.frameGeometry;
    windows.push({internalId: String(w.internalId), pid: w.pid,
        resourceClass: String(w.resourceClass), resourceName: String(w.resourceName),
        caption: String(w.caption), x: frame.x, y: frame.y, width: frame.width,
        height: frame.height, normalWindow: !!w.normalWindow, minimized: !!w.minimized});
}
report(windows);
)";

const char* const placeScript = R"(
var list = workspace.windowList ? workspace.windowList() : workspace.clientList();
for (var i = 0; i < list.length; ++i) {
    if (list[i].pid === %1) {
        list[i].frameGeometry = {x: %2, y: %3, width: %4, height: %5};
        report(true);
        return;
    }
}
report(false);
)";

const char* const screenScript = R"(
report(workspace.clientArea(KWin.FullScreenArea, workspace.activeScreen,
    workspace.currentDesktop));
)";

std::chrono::milliseconds remaining(const QDeadlineTimer& deadline)
{
    return std::chrono::milliseconds(deadline.remainingTime());
}

bool writeFile(const QString& path, const QByteArray& contents, QFile::Permissions permissions)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(contents) == contents.size() && file.setPermissions(permissions);
}

const QFile::Permissions readable
    = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;
const QFile::Permissions executable
    = readable | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;

bool makeSessionUsersDirectory(const QString& path)
{
    return QDir().mkpath(path) && SessionUser::own(path);
}

QString fakeKeyProgram()
{
    const QString fromEnvironment = qEnvironmentVariable("VANTOR_FAKE_KEY");
#ifdef VANTOR_FAKE_KEY
    return fromEnvironment.isEmpty() ? QStringLiteral(VANTOR_FAKE_KEY) : fromEnvironment;
#else
    return fromEnvironment;
#endif
}

QRect rectOf(const QJsonObject& object)
{
    return {object.value(QLatin1String("x")).toInt(), object.value(QLatin1String("y")).toInt(),
        object.value(QLatin1String("width")).toInt(),
        object.value(QLatin1String("height")).toInt()};
}

KWinWindow windowOf(const QJsonObject& object)
{
    KWinWindow window;
    window.internalId = object.value(QLatin1String("internalId")).toString();
    window.pid = object.value(QLatin1String("pid")).toInteger();
    window.resourceClass = object.value(QLatin1String("resourceClass")).toString();
    window.resourceName = object.value(QLatin1String("resourceName")).toString();
    window.caption = object.value(QLatin1String("caption")).toString();
    window.frame = rectOf(object);
    window.normalWindow = object.value(QLatin1String("normalWindow")).toBool();
    window.minimized = object.value(QLatin1String("minimized")).toBool();
    return window;
}

// Ends an app and what it started itself.
void endApp(QProcess& app, bool gently)
{
    const QList<pid_t> descendants
        = ProcessTree::descendantsOf(static_cast<pid_t>(app.processId()));
    if (gently) {
        app.terminate();
        if (!app.waitForFinished(3000))
            app.kill();
    } else {
        app.kill();
    }
    app.waitForFinished(2000);
    for (const pid_t pid : descendants)
        ProcessTree::end(pid);
}

} // namespace

KWinDesktop::KWinDesktop(Options options) : m_outer(s_instance)
{
    s_instance = this;
    using namespace std::chrono_literals;
    m_ready = createDirectories() && installFakeKey() && m_bus.start(m_runtimeDir, 5s);
    if (!m_ready && m_error.isEmpty())
        m_error = m_bus.errorString();
    m_ready = m_ready && startKWin(options) && waitForKWin(15s) && connectToBus()
        && checkScreen(options);
    if (m_ready
        && !m_bus.updateActivationEnvironment({{QStringLiteral("WAYLAND_DISPLAY"), socketName},
            {QStringLiteral("DISPLAY"), QString::fromLatin1(m_display)},
            {QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("KDE")},
            {QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland")},
            {QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir},
            {QStringLiteral("HOME"), sessionHome()}})) {
        m_error = QStringLiteral("the session bus refused its activation environment");
        m_ready = false;
    }
    m_ready = m_ready && (!options.portal || startPortal(10s));
    if (m_ready)
        exportEnvironment();
}

KWinDesktop::~KWinDesktop()
{
    // The bus goes first: it would start a service again that a client still asks for while
    // the services end.
    m_bus.stop();
    while (!m_processes.isEmpty()) {
        std::unique_ptr<QProcess> process(m_processes.takeLast());
        endApp(*process, false);
    }
    QList<pid_t> kwin = ProcessTree::descendantsOf(static_cast<pid_t>(kwinPid()));
    kwin.append(static_cast<pid_t>(kwinPid()));
    endSessionProcesses(kwin);
    stop();
    endSessionProcesses({});
    m_scripting.reset();
    if (!m_busConnection.isEmpty())
        QDBusConnection::disconnectFromBus(m_busConnection);
    restoreEnvironment();
    ProcessTree::reapEndedChildren(SessionUser::uid(), {});
    if (!m_runtimeDir.isEmpty())
        QDir(m_runtimeDir).removeRecursively();
    s_instance = m_outer;
}

KWinDesktop* KWinDesktop::instance()
{
    return s_instance;
}

bool KWinDesktop::createDirectories()
{
    m_runtimeDir = SessionUser::makePrivateDirectory(QStringLiteral("/tmp/vantor-kwin-XXXXXX"));
    const QString home = sessionHome();
    const QStringList directories
        = {home, home + QStringLiteral("/.config"), home + QStringLiteral("/.local"),
            home + QStringLiteral("/.local/share"), home + QStringLiteral("/.local/state"),
            home + QStringLiteral("/.cache"), m_runtimeDir + QStringLiteral("/share/applications"),
            m_runtimeDir + QStringLiteral("/scripts")};
    if (m_runtimeDir.isEmpty()
        || !std::all_of(directories.cbegin(), directories.cend(), makeSessionUsersDirectory)) {
        m_error = QStringLiteral("cannot make a runtime directory for %1")
                      .arg(QLatin1String(SessionUser::name));
        return false;
    }
    return true;
}

bool KWinDesktop::installFakeKey()
{
    // A copy in the runtime directory: the session user may not reach the build tree.
    const QString source = fakeKeyProgram();
    if (source.isEmpty() || !QFileInfo::exists(source))
        return true; // pressKeys() says so when it is used
    const QString copy = m_runtimeDir + QLatin1Char('/') + fakeKeyName;
    if (!QFile::copy(source, copy) || !QFile::setPermissions(copy, executable)
        || !writeFile(m_runtimeDir + QStringLiteral("/share/applications/") + fakeKeyName
                + QStringLiteral(".desktop"),
            QString::fromLatin1(fakeKeyEntry).arg(copy).toUtf8(), readable)) {
        m_error = QStringLiteral("cannot install %1 for KWin").arg(fakeKeyName);
        return false;
    }
    return true;
}

bool KWinDesktop::startKWin(const Options& options)
{
    if (!QFileInfo(installedKWin).isExecutable()) {
        m_error = QStringLiteral("%1 is not installed (Debian package kwin-wayland)")
                      .arg(installedKWin);
        return false;
    }
    // The packaged binary carries a file capability (cap_sys_resource) that a sandbox may
    // refuse to execute; a plain copy runs anywhere.
    const QString kwin = m_runtimeDir + QStringLiteral("/kwin_wayland");
    const QString ready = m_runtimeDir + QStringLiteral("/x11-ready.sh");
    if (!QFile::copy(installedKWin, kwin) || !QFile::setPermissions(kwin, executable)
        || !writeFile(ready, x11ReadyScript, executable)) {
        m_error = QStringLiteral("cannot prepare KWin in %1").arg(m_runtimeDir);
        return false;
    }
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir);
    environment.insert(QStringLiteral("HOME"), sessionHome());
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("KDE"));
    environment.insert(QStringLiteral("KDE_SESSION_VERSION"), QStringLiteral("5"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("XDG_DATA_DIRS"),
        m_runtimeDir + QStringLiteral("/share:/usr/local/share:/usr/share"));
    m_kwin = std::make_unique<QProcess>();
    m_kwin->setProcessEnvironment(environment);
    m_kwin->setWorkingDirectory(m_runtimeDir);
    m_kwin->setStandardInputFile(QProcess::nullDevice());
    m_kwin->setStandardOutputFile(m_runtimeDir + QStringLiteral("/kwin.log"));
    m_kwin->setStandardErrorFile(m_runtimeDir + QStringLiteral("/kwin.log"), QIODevice::Append);
    m_kwin->start(QStringLiteral("setpriv"),
        SessionUser::command(kwin,
            {QStringLiteral("--virtual"), QStringLiteral("--xwayland"), QStringLiteral("--width"),
                QString::number(options.width), QStringLiteral("--height"),
                QString::number(options.height), QStringLiteral("--socket"), socketName,
                QStringLiteral("--no-lockscreen"), ready}));
    if (!m_kwin->waitForStarted(5000)) {
        m_error = QStringLiteral("KWin did not start: ") + m_kwin->errorString();
        return false;
    }
    return true;
}

bool KWinDesktop::waitForKWin(std::chrono::milliseconds timeout)
{
    const auto complete = [this] {
        return QFileInfo::exists(waylandSocket())
            && QFileInfo::exists(m_runtimeDir + QLatin1Char('/') + displayFile);
    };
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const int kwin = static_cast<int>(::syscall(SYS_pidfd_open, m_kwin->processId(), 0));
    ::inotify_add_watch(
        watch, QFile::encodeName(m_runtimeDir).constData(), IN_CREATE | IN_MOVED_TO);
    const QDeadlineTimer deadline(timeout);
    bool kwinExited = false;
    while (!complete() && !kwinExited && !deadline.hasExpired()) {
        pollfd fds[2] = {{watch, POLLIN, 0}, {kwin, POLLIN, 0}};
        ::poll(fds, 2, static_cast<int>(deadline.remainingTime()));
        char events[4096];
        while (::read(watch, events, sizeof events) > 0) { }
        kwinExited = fds[1].revents != 0;
    }
    ::close(watch);
    ::close(kwin);
    if (!complete()) {
        m_error = QStringLiteral("KWin %1: %2")
                      .arg(kwinExited ? QStringLiteral("exited")
                                      : QStringLiteral("was not ready in time"),
                          kwinLog());
        return false;
    }
    QFile file(m_runtimeDir + QLatin1Char('/') + displayFile);
    if (file.open(QIODevice::ReadOnly))
        m_display = file.readAll().trimmed();
    if (m_display.isEmpty()) {
        QFile log(m_runtimeDir + QStringLiteral("/xhost.log"));
        log.open(QIODevice::ReadOnly);
        m_error
            = QStringLiteral("XWayland did not admit root: ") + QString::fromUtf8(log.readAll());
        return false;
    }
    return true;
}

bool KWinDesktop::connectToBus()
{
    m_busConnection = QStringLiteral("vantor-kwin-") + QFileInfo(m_runtimeDir).fileName();
    const QDBusConnection connection
        = QDBusConnection::connectToBus(m_bus.address(), m_busConnection);
    if (!connection.isConnected()) {
        m_error = QStringLiteral("cannot connect to the session bus: ")
            + connection.lastError().message();
        return false;
    }
    // KWin owns its name once its D-Bus interfaces are there.
    if (!TestDesktop::waitUntil(
            [&] {
                return connection.interface()
                    ->isServiceRegistered(QStringLiteral("org.kde.KWin"))
                    .value();
            },
            std::chrono::seconds(10))) {
        m_error = QStringLiteral("KWin is not on the session bus: ") + kwinLog();
        return false;
    }
    m_scripting
        = std::make_unique<KWinScripting>(connection, m_runtimeDir + QStringLiteral("/scripts"));
    return true;
}

bool KWinDesktop::checkScreen(const Options& options)
{
    const QRect area = screenArea();
    if (area != QRect(0, 0, options.width, options.height)) {
        m_error = QStringLiteral("KWin's screen is not %1x%2: %3,%4 %5x%6")
                      .arg(options.width)
                      .arg(options.height)
                      .arg(area.x())
                      .arg(area.y())
                      .arg(area.width())
                      .arg(area.height());
        return false;
    }
    return true;
}

bool KWinDesktop::startPortal(std::chrono::milliseconds timeout)
{
    const QStringList backends
        = {QStringLiteral("/usr/lib/x86_64-linux-gnu/libexec/xdg-desktop-portal-kde"),
            QStringLiteral("/usr/libexec/xdg-desktop-portal-kde")};
    const auto backend = std::find_if(backends.cbegin(), backends.cend(),
        [](const QString& path) { return QFileInfo(path).isExecutable(); });
    if (backend == backends.cend()) {
        m_error = QStringLiteral("xdg-desktop-portal-kde is not installed");
        return false;
    }
    // The KDE backend first, so that the portal finds it rather than having the bus start it.
    startAsSessionUser(*backend, {});
    startAsSessionUser(QStringLiteral("/usr/libexec/xdg-desktop-portal"), {});
    if (!TestDesktop::waitUntil([this] { return portalOffersGlobalShortcuts(); }, timeout)) {
        m_error = QStringLiteral("xdg-desktop-portal offers no GlobalShortcuts interface");
        return false;
    }
    return true;
}

bool KWinDesktop::portalOffersGlobalShortcuts() const
{
    // Asked only once it is there: a call to a name nobody owns would have the bus start a
    // second portal.
    const QDBusConnection connection = bus();
    if (!connection.interface()->isServiceRegistered(portalService).value())
        return false;
    const QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath,
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    const QDBusMessage reply = connection.call(call, QDBus::Block, 2000);
    return reply.arguments().value(0).toString().contains(
        QLatin1String("\"org.freedesktop.portal.GlobalShortcuts\""));
}

void KWinDesktop::exportEnvironment()
{
    // Root's Qt rejects a runtime directory that root does not own, so the test keeps its
    // own and reaches KWin's Wayland socket through a link in it.
    QString waylandDisplay = waylandSocket();
    const QString clientRuntimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!clientRuntimeDir.isEmpty()) {
        const QString link = QStringLiteral("wayland-%1").arg(QFileInfo(m_runtimeDir).fileName());
        if (QFile::link(waylandSocket(), clientRuntimeDir + QLatin1Char('/') + link)) {
            m_waylandLink = clientRuntimeDir + QLatin1Char('/') + link;
            waylandDisplay = link;
        }
    }
    const QList<QPair<QByteArray, QByteArray>> values
        = {{"WAYLAND_DISPLAY", QFile::encodeName(waylandDisplay)}, {"DISPLAY", m_display},
            {"DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8()}};
    for (const auto& [name, value] : values)
        m_environment.set(name, value);
}

void KWinDesktop::restoreEnvironment()
{
    m_environment.restore();
    if (!m_waylandLink.isEmpty())
        QFile::remove(m_waylandLink);
}

void KWinDesktop::endSessionProcesses(const QList<pid_t>& except)
{
    // What the bus started (the portal's helpers, accessibility) left it at once and came to
    // the test; every process of the session has its runtime directory in its environment.
    if (m_runtimeDir.isEmpty())
        return;
    const QList<pid_t> session = ProcessTree::withEnvironment(
        SessionUser::uid(), "XDG_RUNTIME_DIR", QFile::encodeName(m_runtimeDir));
    for (const pid_t pid : session) {
        if (!except.contains(pid))
            ProcessTree::end(pid);
    }
}

QString KWinDesktop::kwinLog() const
{
    QFile log(m_runtimeDir + QStringLiteral("/kwin.log"));
    log.open(QIODevice::ReadOnly);
    return QString::fromUtf8(log.readAll().right(2000));
}

qint64 KWinDesktop::kwinPid() const
{
    return m_kwin ? m_kwin->processId() : 0;
}

qint64 KWinDesktop::xwaylandPid() const
{
    for (const pid_t pid : ProcessTree::descendantsOf(static_cast<pid_t>(kwinPid()))) {
        if (ProcessTree::programOf(pid).endsWith("Xwayland"))
            return pid;
    }
    return 0;
}

QString KWinDesktop::waylandSocket() const
{
    return m_runtimeDir + QLatin1Char('/') + socketName;
}

QDBusConnection KWinDesktop::bus() const
{
    return QDBusConnection(m_busConnection);
}

QProcessEnvironment KWinDesktop::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), socketName);
    environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(m_display));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir);
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("KDE"));
    environment.insert(QStringLiteral("KDE_SESSION_VERSION"), QStringLiteral("5"));
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return environment;
}

QProcessEnvironment KWinDesktop::sessionUserEnvironment() const
{
    QProcessEnvironment environment = this->environment();
    const QString home = sessionHome();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/.local/share"));
    environment.insert(QStringLiteral("XDG_STATE_HOME"), home + QStringLiteral("/.local/state"));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), home + QStringLiteral("/.cache"));
    // GTK apps would have the bus start an accessibility bus for each of them.
    environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
    return environment;
}

QProcess* KWinDesktop::startAsSessionUser(const QString& program, const QStringList& arguments)
{
    return startAsSessionUser(program, arguments, sessionUserEnvironment());
}

QProcess* KWinDesktop::startAsSessionUser(
    const QString& program, const QStringList& arguments, const QProcessEnvironment& environment)
{
    auto* process = new QProcess;
    process->setProcessEnvironment(environment);
    process->setWorkingDirectory(sessionHome());
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->start(QStringLiteral("setpriv"), SessionUser::command(program, arguments));
    if (!process->waitForStarted(5000))
        qWarning() << "Cannot start" << program << process->errorString();
    m_processes.append(process);
    return process;
}

VantorRun KWinDesktop::runAsSessionUser(
    const QString& program, const QStringList& arguments, std::chrono::milliseconds timeout) const
{
    return VantorProcess::runProgram(QStringLiteral("setpriv"),
        SessionUser::command(program, arguments), timeout, sessionUserEnvironment());
}

qint64 KWinDesktop::startApp(const QString& program, const QStringList& arguments, int windows,
    std::chrono::milliseconds timeout)
{
    QProcess* process = startAsSessionUser(program, arguments);
    const qint64 pid = process->processId();
    const bool shown = pid > 0
        && TestDesktop::waitUntil(
            [&] { return windowsOf(pid).size() >= windows || process->waitForFinished(0); },
            timeout)
        && process->state() != QProcess::NotRunning;
    if (!shown) {
        if (process->state() == QProcess::NotRunning)
            qWarning() << program << "ended before it showed a window:" << process->exitStatus()
                       << process->exitCode() << process->errorString();
        else
            qWarning() << program
                       << "showed no window in time; KWin's windows:" << this->windows().size();
        return 0;
    }
    return pid;
}

void KWinDesktop::stopApp(qint64 pid)
{
    for (QProcess* process : std::as_const(m_processes)) {
        if (process->processId() == pid) {
            endApp(*process, true);
            return;
        }
    }
    ProcessTree::end(static_cast<pid_t>(pid));
}

std::optional<QJsonValue> KWinDesktop::evaluate(
    const QString& code, std::chrono::milliseconds timeout) const
{
    if (!m_scripting) {
        qWarning() << "KWin is not running: no script runs";
        return std::nullopt;
    }
    return m_scripting->evaluate(code, timeout);
}

std::unique_ptr<KWinScript> KWinDesktop::loadScript(const QString& code) const
{
    if (!m_scripting) {
        qWarning() << "KWin is not running: no script runs";
        return nullptr;
    }
    return m_scripting->load(code);
}

QList<KWinWindow> KWinDesktop::windows() const
{
    QList<KWinWindow> found;
    const QJsonArray list
        = evaluate(QString::fromLatin1(windowsScript)).value_or(QJsonValue()).toArray();
    for (const QJsonValue& window : list)
        found.append(windowOf(window.toObject()));
    return found;
}

QList<KWinWindow> KWinDesktop::windowsOf(qint64 pid) const
{
    QList<KWinWindow> found = windows();
    found.removeIf([pid](const KWinWindow& window) { return window.pid != pid; });
    return found;
}

std::optional<QRect> KWinDesktop::frameOf(qint64 pid) const
{
    const QList<KWinWindow> found = windowsOf(pid);
    return found.isEmpty() ? std::nullopt : std::optional<QRect>(found.first().frame);
}

bool KWinDesktop::placeFrame(
    qint64 pid, const QRect& frame, std::chrono::milliseconds timeout) const
{
    // A Wayland client takes its new size at its next buffer, and may send one of its old size
    // before: the placement is sent again when it did not hold.
    const QString place = QString::fromLatin1(placeScript)
                              .arg(pid)
                              .arg(frame.x())
                              .arg(frame.y())
                              .arg(frame.width())
                              .arg(frame.height());
    const QDeadlineTimer deadline(timeout);
    while (!deadline.hasExpired()) {
        if (!evaluate(place).value_or(false).toBool())
            return false;
        if (TestDesktop::waitUntil([&] { return frameOf(pid) == frame; },
                std::min(remaining(deadline), std::chrono::milliseconds(1000))))
            return true;
    }
    return false;
}

QRect KWinDesktop::screenArea() const
{
    return rectOf(evaluate(QString::fromLatin1(screenScript)).value_or(QJsonValue()).toObject());
}

bool KWinDesktop::pressKeys(const QList<int>& evdevCodes) const
{
    const QString helper = m_runtimeDir + QLatin1Char('/') + fakeKeyName;
    if (!QFileInfo::exists(helper)) {
        qWarning() << "No" << fakeKeyName << "(VANTOR_FAKE_KEY) to press keys with";
        return false;
    }
    QStringList codes;
    for (const int code : evdevCodes)
        codes << QString::number(code);
    const VantorRun run = runAsSessionUser(helper, codes, std::chrono::seconds(5));
    if (!run.exitedWith(0)) {
        qWarning() << fakeKeyName << codes << "failed:" << run.describe();
        return false;
    }
    return true;
}

void KWinDesktop::stop()
{
    m_ready = false;
    m_scripting.reset();
    if (!m_kwin || m_kwin->state() == QProcess::NotRunning)
        return;
    // XWayland and what KWin started lose their parent with it: found while it runs.
    const QList<pid_t> children = ProcessTree::descendantsOf(static_cast<pid_t>(kwinPid()));
    const qint64 xwayland = xwaylandPid();
    m_kwin->terminate();
    // At its end KWin waits for XWayland, which now and then waits for KWin in turn (for
    // five seconds, when KWin gives up and goes on): ending XWayland lets KWin clean up at once.
    if (!m_kwin->waitForFinished(500) && xwayland > 0) {
        ::kill(static_cast<pid_t>(xwayland), SIGKILL);
        m_kwin->waitForFinished(5000);
    }
    if (m_kwin->state() != QProcess::NotRunning)
        m_kwin->kill();
    m_kwin->waitForFinished(2000);
    for (const pid_t pid : children)
        ProcessTree::end(pid);
    QList<qint64> tracked;
    for (const QProcess* process : std::as_const(m_processes))
        tracked.append(process->processId());
    ProcessTree::reapEndedChildren(SessionUser::uid(), tracked);
}

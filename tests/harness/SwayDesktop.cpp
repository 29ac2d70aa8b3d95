#include "SwayDesktop.h"

#include "SessionUser.h"

#include "TestDesktop.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QtDebug>

#include <cerrno>
#include <csignal>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

SwayDesktop* s_instance = nullptr;

// sway will not run as root; `nobody` owns its runtime directory and runs it.
const char* const swayUser = "nobody";
const char* const swayGroup = "nogroup";
const QString displayFile = QStringLiteral("x11-display");

// The keysyms of a US keyboard by evdev code, 1 (Escape) to 88 (F12). wtype gives the Nth
// distinct key it is told about the code N, so naming these in order reaches any code.
const QStringList usKeys = {QStringLiteral("Escape"), QStringLiteral("1"), QStringLiteral("2"),
    QStringLiteral("3"), QStringLiteral("4"), QStringLiteral("5"), QStringLiteral("6"),
    QStringLiteral("7"), QStringLiteral("8"), QStringLiteral("9"), QStringLiteral("0"),
    QStringLiteral("minus"), QStringLiteral("equal"), QStringLiteral("BackSpace"),
    QStringLiteral("Tab"), QStringLiteral("q"), QStringLiteral("w"), QStringLiteral("e"),
    QStringLiteral("r"), QStringLiteral("t"), QStringLiteral("y"), QStringLiteral("u"),
    QStringLiteral("i"), QStringLiteral("o"), QStringLiteral("p"), QStringLiteral("bracketleft"),
    QStringLiteral("bracketright"), QStringLiteral("Return"), QStringLiteral("Control_L"),
    QStringLiteral("a"), QStringLiteral("s"), QStringLiteral("d"), QStringLiteral("f"),
    QStringLiteral("g"), QStringLiteral("h"), QStringLiteral("j"), QStringLiteral("k"),
    QStringLiteral("l"), QStringLiteral("semicolon"), QStringLiteral("apostrophe"),
    QStringLiteral("grave"), QStringLiteral("Shift_L"), QStringLiteral("backslash"),
    QStringLiteral("z"), QStringLiteral("x"), QStringLiteral("c"), QStringLiteral("v"),
    QStringLiteral("b"), QStringLiteral("n"), QStringLiteral("m"), QStringLiteral("comma"),
    QStringLiteral("period"), QStringLiteral("slash"), QStringLiteral("Shift_R"),
    QStringLiteral("KP_Multiply"), QStringLiteral("Alt_L"), QStringLiteral("space"),
    QStringLiteral("Caps_Lock"), QStringLiteral("F1"), QStringLiteral("F2"), QStringLiteral("F3"),
    QStringLiteral("F4"), QStringLiteral("F5"), QStringLiteral("F6"), QStringLiteral("F7"),
    QStringLiteral("F8"), QStringLiteral("F9"), QStringLiteral("F10"), QStringLiteral("Num_Lock"),
    QStringLiteral("Scroll_Lock"), QStringLiteral("KP_Home"), QStringLiteral("KP_Up"),
    QStringLiteral("KP_Prior"), QStringLiteral("KP_Subtract"), QStringLiteral("KP_Left"),
    QStringLiteral("KP_Begin"), QStringLiteral("KP_Right"), QStringLiteral("KP_Add"),
    QStringLiteral("KP_End"), QStringLiteral("KP_Down"), QStringLiteral("KP_Next"),
    QStringLiteral("KP_Insert"), QStringLiteral("KP_Delete"), QStringLiteral("ISO_Level3_Shift"),
    QStringLiteral("Zenkaku_Hankaku"), QStringLiteral("less"), QStringLiteral("F11"),
    QStringLiteral("F12")};

std::chrono::milliseconds remaining(const QDeadlineTimer& deadline)
{
    return std::chrono::milliseconds(deadline.remainingTime());
}

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
    for (const pid_t pid : descendants) {
        ::kill(pid, SIGKILL);
        ProcessTree::waitForExit(pid, std::chrono::seconds(2));
    }
}

// Processes sway starts leave it at once (it forks twice) and come to the test, which is a
// subreaper; those that ended wait there to be reaped. They all run as sway's user.
void reapEndedChildrenOf(uid_t user)
{
    const QByteArray self = QByteArray::number(::getpid());
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(proc.filePath(entry) + QStringLiteral("/status"));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray status = file.readAll();
        if (status.contains("\nState:\tZ") && status.contains("\nPPid:\t" + self + '\n')
            && status.contains("\nUid:\t" + QByteArray::number(user) + '\t'))
            ::waitpid(entry.toInt(), nullptr, WNOHANG);
    }
}

bool writeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(contents) == contents.size();
}

// What the runtime directory holds that shows sway is up: its IPC and Wayland sockets, and
// the file the config's start-up command writes once XWayland admits root.
struct SwaySockets {
    QString ipc;
    QString wayland;
    bool display = false;
    bool complete() const { return !ipc.isEmpty() && !wayland.isEmpty() && display; }
};

SwaySockets findSockets(const QString& runtimeDir)
{
    SwaySockets found;
    const QDir dir(runtimeDir);
    for (const QString& name : dir.entryList(QDir::System | QDir::Files)) {
        if (name.startsWith(QLatin1String("sway-ipc.")) && name.endsWith(QLatin1String(".sock")))
            found.ipc = dir.filePath(name);
        else if (name.startsWith(QLatin1String("wayland-"))
            && !name.endsWith(QLatin1String(".lock")))
            found.wayland = dir.filePath(name);
        else if (name == displayFile)
            found.display = true;
    }
    return found;
}

void collectWindows(const QJsonObject& node, qint64 pid, QList<QJsonObject>* windows)
{
    const QString type = node.value(QLatin1String("type")).toString();
    if ((type == QLatin1String("con") || type == QLatin1String("floating_con"))
        && node.value(QLatin1String("pid")).toInteger() == pid)
        windows->append(node);
    for (const char* children : {"nodes", "floating_nodes"}) {
        for (const QJsonValue& child : node.value(QLatin1String(children)).toArray())
            collectWindows(child.toObject(), pid, windows);
    }
}

QRect rectOf(const QJsonValue& value)
{
    const QJsonObject rect = value.toObject();
    return {rect.value(QLatin1String("x")).toInt(), rect.value(QLatin1String("y")).toInt(),
        rect.value(QLatin1String("width")).toInt(), rect.value(QLatin1String("height")).toInt()};
}

} // namespace

SwayDesktop::SwayDesktop(Options options) : m_outer(s_instance)
{
    s_instance = this;
    m_ready = createRuntimeDir() && writeConfig(options) && startSway()
        && waitForSockets(std::chrono::seconds(10)) && readDisplay();
    if (!m_ready)
        return;
    m_ipc = std::make_unique<SwayIpc>(m_ipcSocket);
    m_ready = checkOutputSize(options);
    if (m_ready)
        exportEnvironment();
}

SwayDesktop::~SwayDesktop()
{
    for (QProcess* process : std::as_const(m_processes)) {
        endApp(*process, false);
        delete process;
    }
    stop();
    restoreEnvironment();
    if (!m_runtimeDir.isEmpty())
        QDir(m_runtimeDir).removeRecursively();
    s_instance = m_outer;
}

SwayDesktop* SwayDesktop::instance()
{
    return s_instance;
}

bool SwayDesktop::createRuntimeDir()
{
    QByteArray path = "/tmp/vantor-sway-XXXXXX";
    const passwd* user = ::getpwnam(swayUser);
    const group* group = ::getgrnam(swayGroup);
    if (!user || !group || !::mkdtemp(path.data())
        || ::chown(path.constData(), user->pw_uid, group->gr_gid) != 0
        || ::chmod(path.constData(), 0700) != 0) {
        m_error = QStringLiteral("cannot make a runtime directory for %1").arg(swayUser);
        return false;
    }
    m_runtimeDir = QFile::decodeName(path);
    return true;
}

bool SwayDesktop::writeConfig(const Options& options)
{
    // Once XWayland is up, admit root (the test and its apps) and tell the test which display
    // it is; the file appears empty when that failed.
    QStringList lines = {QStringLiteral("xwayland enable"),
        QStringLiteral("exec sh -c 'cd \"$XDG_RUNTIME_DIR\"; { xhost +si:localuser:root "
                       "> xhost.log 2>&1 && echo \"$DISPLAY\"; } > %1.new; mv %1.new %1'")
            .arg(displayFile)};
    if (options.width != 1280 || options.height != 720)
        lines << QStringLiteral("output HEADLESS-1 mode %1x%2")
                     .arg(options.width)
                     .arg(options.height);
    lines << options.extraConfig;
    const QString config = m_runtimeDir + QStringLiteral("/config");
    const passwd* user = ::getpwnam(swayUser);
    if (!writeFile(config, lines.join(QLatin1Char('\n')).toUtf8() + '\n')
        || ::chown(QFile::encodeName(config).constData(), user->pw_uid, user->pw_gid) != 0) {
        m_error = QStringLiteral("cannot write sway's config");
        return false;
    }
    return true;
}

bool SwayDesktop::startSway()
{
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtimeDir);
    environment.insert(QStringLiteral("HOME"), m_runtimeDir);
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
    environment.insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
    environment.insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));
    m_sway = std::make_unique<QProcess>();
    m_sway->setProcessEnvironment(environment);
    m_sway->setWorkingDirectory(m_runtimeDir);
    m_sway->setStandardInputFile(QProcess::nullDevice());
    m_sway->setStandardOutputFile(m_runtimeDir + QStringLiteral("/sway.log"));
    m_sway->setStandardErrorFile(m_runtimeDir + QStringLiteral("/sway.log"), QIODevice::Append);
    // Changing the user clears a parent-death signal set before, so setpriv sets it after.
    m_sway->start(QStringLiteral("setpriv"),
        {QStringLiteral("--reuid=%1").arg(swayUser), QStringLiteral("--regid=%1").arg(swayGroup),
            QStringLiteral("--clear-groups"), QStringLiteral("--pdeathsig"), QStringLiteral("KILL"),
            QStringLiteral("sway"), QStringLiteral("-c"),
            m_runtimeDir + QStringLiteral("/config")});
    if (!m_sway->waitForStarted(5000)) {
        m_error = QStringLiteral("sway did not start: ") + m_sway->errorString();
        return false;
    }
    return true;
}

bool SwayDesktop::waitForSockets(std::chrono::milliseconds timeout)
{
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const int sway = static_cast<int>(::syscall(SYS_pidfd_open, m_sway->processId(), 0));
    ::inotify_add_watch(
        watch, QFile::encodeName(m_runtimeDir).constData(), IN_CREATE | IN_MOVED_TO);
    const QDeadlineTimer deadline(timeout);
    SwaySockets sockets = findSockets(m_runtimeDir);
    bool swayExited = false;
    while (!sockets.complete() && !swayExited && !deadline.hasExpired()) {
        pollfd fds[2] = {{watch, POLLIN, 0}, {sway, POLLIN, 0}};
        ::poll(fds, 2, static_cast<int>(deadline.remainingTime()));
        char events[4096];
        while (::read(watch, events, sizeof events) > 0) { }
        swayExited = fds[1].revents != 0;
        sockets = findSockets(m_runtimeDir);
    }
    ::close(watch);
    ::close(sway);
    if (!sockets.complete()) {
        QFile log(m_runtimeDir + QStringLiteral("/sway.log"));
        log.open(QIODevice::ReadOnly);
        m_error = QStringLiteral("sway %1: %2")
                      .arg(swayExited ? QStringLiteral("exited")
                                      : QStringLiteral("was not ready in time"),
                          QString::fromUtf8(log.readAll().right(2000)));
        return false;
    }
    m_ipcSocket = sockets.ipc;
    m_waylandSocket = sockets.wayland;
    return true;
}

bool SwayDesktop::readDisplay()
{
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

bool SwayDesktop::checkOutputSize(const Options& options)
{
    const auto outputs = m_ipc->request(SwayIpc::GetOutputs);
    const QJsonArray list = outputs ? outputs->array() : QJsonArray();
    const QRect rect
        = list.isEmpty() ? QRect() : rectOf(list.first().toObject().value(QLatin1String("rect")));
    if (list.size() != 1 || rect.size() != QSize(options.width, options.height)) {
        m_error
            = QStringLiteral("sway's output is not %1x%2: %3")
                  .arg(options.width)
                  .arg(options.height)
                  .arg(QString::fromUtf8(outputs ? outputs->toJson(QJsonDocument::Compact) : ""));
        return false;
    }
    return true;
}

void SwayDesktop::exportEnvironment()
{
    // Root's Qt rejects a runtime directory that root does not own, so clients keep the test's
    // own and reach sway's Wayland socket through a link in it.
    QString waylandDisplay = m_waylandSocket;
    const QString clientRuntimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!clientRuntimeDir.isEmpty()) {
        const QString link = QStringLiteral("wayland-%1").arg(QFileInfo(m_runtimeDir).fileName());
        if (QFile::link(m_waylandSocket, clientRuntimeDir + QLatin1Char('/') + link)) {
            m_waylandLink = clientRuntimeDir + QLatin1Char('/') + link;
            waylandDisplay = link;
        }
    }
    const QList<QPair<QByteArray, QByteArray>> values
        = {{"WAYLAND_DISPLAY", QFile::encodeName(waylandDisplay)},
            {"SWAYSOCK", QFile::encodeName(m_ipcSocket)},
            {"I3SOCK", QFile::encodeName(m_ipcSocket)}, {"DISPLAY", m_display}};
    for (const auto& [name, value] : values)
        m_environment.set(name, value);
}

void SwayDesktop::restoreEnvironment()
{
    m_environment.restore();
    if (!m_waylandLink.isEmpty())
        QFile::remove(m_waylandLink);
}

QProcessEnvironment SwayDesktop::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"),
        m_waylandLink.isEmpty() ? m_waylandSocket : QFileInfo(m_waylandLink).fileName());
    environment.insert(QStringLiteral("SWAYSOCK"), m_ipcSocket);
    environment.insert(QStringLiteral("I3SOCK"), m_ipcSocket);
    environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(m_display));
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("sway"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return environment;
}

qint64 SwayDesktop::swayPid() const
{
    return m_sway ? m_sway->processId() : 0;
}

qint64 SwayDesktop::xwaylandPid() const
{
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(proc.filePath(entry) + QStringLiteral("/cmdline"));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> arguments = file.readAll().split('\0');
        if (arguments.size() > 1 && arguments.at(0).endsWith("Xwayland")
            && arguments.at(1) == m_display)
            return entry.toLongLong();
    }
    return 0;
}

QProcess* SwayDesktop::startProcess(const QString& program, const QStringList& arguments)
{
    QProcess* process = startQuietChild(program, arguments, environment());
    m_processes.append(process);
    return process;
}

qint64 SwayDesktop::startApp(const QString& program, const QStringList& arguments, int windows,
    std::chrono::milliseconds timeout)
{
    // Subscribed before the app starts, so that no window of it can come unnoticed.
    const auto events = subscribe({QStringLiteral("window")});
    const qint64 pid = startProcess(program, arguments)->processId();
    const QDeadlineTimer deadline(timeout);
    while (events && pid > 0 && windowsOf(pid).size() < windows) {
        if (!events->nextEvent(remaining(deadline))) {
            qWarning() << program << "showed no window in time";
            return 0;
        }
    }
    return events && pid > 0 ? pid : 0;
}

void SwayDesktop::stopApp(qint64 pid)
{
    for (QProcess* process : std::as_const(m_processes)) {
        if (process->processId() == pid) {
            endApp(*process, true);
            return;
        }
    }
    ProcessTree::end(static_cast<pid_t>(pid));
}

QJsonObject SwayDesktop::tree() const
{
    const auto reply = m_ipc ? m_ipc->request(SwayIpc::GetTree) : std::nullopt;
    return reply ? reply->object() : QJsonObject();
}

QList<QJsonObject> SwayDesktop::windowsOf(qint64 pid) const
{
    QList<QJsonObject> windows;
    collectWindows(tree(), pid, &windows);
    return windows;
}

QRect SwayDesktop::frameOfNode(const QJsonObject& node)
{
    // "rect" is the window without its title bar; "deco_rect" is the title bar.
    const QRect rect = rectOf(node.value(QLatin1String("rect")));
    const int titleBar = rectOf(node.value(QLatin1String("deco_rect"))).height();
    return rect.adjusted(0, -titleBar, 0, 0);
}

QList<QRect> SwayDesktop::framesOf(qint64 pid) const
{
    QList<QRect> frames;
    for (const QJsonObject& window : windowsOf(pid))
        frames.append(frameOfNode(window));
    return frames;
}

std::optional<QRect> SwayDesktop::frameOf(qint64 pid) const
{
    const QList<QRect> frames = framesOf(pid);
    return frames.isEmpty() ? std::nullopt : std::optional<QRect>(frames.first());
}

bool SwayDesktop::placeFrame(
    qint64 pid, const QRect& frame, std::chrono::milliseconds timeout) const
{
    // A late buffer of the size a client had before makes sway give a floating window that
    // size back, so the placement is sent again when it did not hold.
    const auto placed = [&] { return frameOf(pid) == frame; };
    const QDeadlineTimer deadline(timeout);
    while (!deadline.hasExpired()) {
        const QList<QJsonObject> windows = windowsOf(pid);
        if (windows.isEmpty())
            return false;
        const QString position
            = QStringLiteral("move position %1 %2").arg(frame.x()).arg(frame.y());
        if (!command(QStringLiteral("[con_id=%1] floating enable, %2, resize set %3 %4, %2")
                         .arg(windows.first().value(QLatin1String("id")).toInteger())
                         .arg(position)
                         .arg(frame.width())
                         .arg(frame.height())))
            return false;
        if (TestDesktop::waitUntil(
                placed, std::min(remaining(deadline), std::chrono::milliseconds(1000))))
            return true;
    }
    return false;
}

bool SwayDesktop::command(const QString& swayCommand) const
{
    const auto reply
        = m_ipc ? m_ipc->request(SwayIpc::RunCommand, swayCommand.toUtf8()) : std::nullopt;
    const QJsonArray results = reply ? reply->array() : QJsonArray();
    return !results.isEmpty()
        && std::all_of(results.begin(), results.end(), [](const QJsonValue& result) {
               return result.toObject().value(QLatin1String("success")).toBool();
           });
}

std::unique_ptr<SwayIpc> SwayDesktop::subscribe(const QStringList& events) const
{
    auto connection = std::make_unique<SwayIpc>(m_ipcSocket);
    if (!connection->subscribe(events)) {
        qWarning() << "Cannot subscribe to sway's" << events;
        return nullptr;
    }
    return connection;
}

bool SwayDesktop::pressPhysicalKey(int evdevCode, Qt::KeyboardModifiers modifiers) const
{
    if (evdevCode < 1 || evdevCode > usKeys.size())
        return false;
    // Releases of keys never pressed only put the keys before this one into wtype's keymap.
    QStringList arguments;
    for (int code = 1; code < evdevCode; ++code)
        arguments << QStringLiteral("-p") << usKeys.at(code - 1);
    const QList<QPair<Qt::KeyboardModifier, QString>> names = {
        {Qt::ShiftModifier, QStringLiteral("shift")}, {Qt::ControlModifier, QStringLiteral("ctrl")},
        {Qt::AltModifier, QStringLiteral("alt")}, {Qt::MetaModifier, QStringLiteral("logo")}};
    QStringList releases;
    for (const auto& [modifier, name] : names) {
        if (modifiers.testFlag(modifier)) {
            arguments << QStringLiteral("-M") << name;
            releases.prepend(name);
            releases.prepend(QStringLiteral("-m"));
        }
    }
    const QString key = usKeys.at(evdevCode - 1);
    arguments << QStringLiteral("-P") << key << QStringLiteral("-p") << key << releases;
    QProcess wtype;
    wtype.setProcessEnvironment(environment());
    dieWithParent(wtype);
    wtype.start(QStringLiteral("wtype"), arguments);
    if (!wtype.waitForFinished(5000) || wtype.exitStatus() != QProcess::NormalExit
        || wtype.exitCode() != 0) {
        qWarning() << "wtype" << arguments << "failed:" << wtype.readAllStandardError();
        return false;
    }
    return true;
}

void SwayDesktop::stop()
{
    m_ready = false;
    m_ipc.reset();
    if (!m_sway || m_sway->state() == QProcess::NotRunning)
        return;
    // XWayland was started by sway but is not its child any more: find it while it runs.
    const qint64 xwayland = xwaylandPid();
    m_sway->terminate();
    if (!m_sway->waitForFinished(5000))
        m_sway->kill();
    m_sway->waitForFinished(2000);
    if (xwayland > 0)
        ProcessTree::end(static_cast<pid_t>(xwayland));
    if (const passwd* user = ::getpwnam(swayUser))
        reapEndedChildrenOf(user->pw_uid);
}

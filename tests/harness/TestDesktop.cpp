#include "TestDesktop.h"

#include <QElapsedTimer>
#include <QThread>
#include <QtDebug>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

TestDesktop* s_instance = nullptr;

bool readDisplayNumber(int fd, QByteArray* display)
{
    char buffer[32] = {};
    ssize_t total = 0;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 10000) {
        const ssize_t n = ::read(fd, buffer + total, sizeof(buffer) - 1 - total);
        if (n > 0)
            total += n;
        else if (n == 0)
            break;
        if (total > 0 && buffer[total - 1] == '\n')
            break;
    }
    const QByteArray number = QByteArray(buffer, total).trimmed();
    if (number.isEmpty())
        return false;
    *display = ':' + number;
    return true;
}

} // namespace

void dieWithParent(QProcess& process)
{
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

TestDesktop::TestDesktop(Options options)
{
    s_instance = this;
    if (!startXvfb(options))
        return;
    qputenv("DISPLAY", m_display);
    m_probe = std::make_unique<XProbe>(m_display);
    if (!startWindowManager(options.windowManager))
        return;
    if (options.trayHost && !startTrayHost())
        return;
    m_ready = true;
}

TestDesktop::~TestDesktop()
{
    for (QProcess* process : std::as_const(m_processes)) {
        process->kill();
        process->waitForFinished(2000);
        delete process;
    }
    m_probe.reset();
    if (m_xvfb) {
        m_xvfb->terminate();
        if (!m_xvfb->waitForFinished(2000))
            m_xvfb->kill();
        m_xvfb->waitForFinished(2000);
    }
    s_instance = nullptr;
}

TestDesktop* TestDesktop::instance()
{
    return s_instance;
}

bool TestDesktop::startXvfb(const Options& options)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        m_error = QStringLiteral("pipe failed");
        return false;
    }
    const int writeFd = fds[1];
    m_xvfb = std::make_unique<QProcess>();
    m_xvfb->setProcessChannelMode(QProcess::ForwardedOutputChannel);
    m_xvfb->setStandardErrorFile(QProcess::nullDevice());
    m_xvfb->setChildProcessModifier([writeFd] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::fcntl(writeFd, F_SETFD, 0);
    });
    const QString screen = QStringLiteral("%1x%2x24").arg(options.width).arg(options.height);
    m_xvfb->start(QStringLiteral("Xvfb"),
        {QStringLiteral("-displayfd"), QString::number(writeFd), QStringLiteral("-screen"),
            QStringLiteral("0"), screen, QStringLiteral("-nolisten"), QStringLiteral("tcp"),
            QStringLiteral("+extension"), QStringLiteral("XTEST")});
    ::close(writeFd);
    const bool started = m_xvfb->waitForStarted(5000) && readDisplayNumber(fds[0], &m_display);
    ::close(fds[0]);
    if (!started)
        m_error = QStringLiteral("Xvfb did not start: ") + m_xvfb->errorString();
    return started;
}

bool TestDesktop::startWindowManager(const QString& name)
{
    if (name == QLatin1String("openbox"))
        startProcess(name, {QStringLiteral("--sm-disable")});
    else if (name == QLatin1String("fluxbox") || name == QLatin1String("icewm"))
        startProcess(name, {});
    else {
        m_error = QStringLiteral("unknown window manager %1").arg(name);
        return false;
    }
    if (!waitUntil([this] { return m_probe->windowManagerIsReady(); }, std::chrono::seconds(10))
        || !managesNewWindows()) {
        m_error = QStringLiteral("%1 did not become ready").arg(name);
        return false;
    }
    return true;
}

// openbox publishes its client list a moment before it takes on new windows, and a window
// mapped in that moment is never managed. Probe windows of the harness's own are mapped until
// one is listed; it goes again before the first test starts.
bool TestDesktop::managesNewWindows() const
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 10000) {
        const std::uint32_t window = m_probe->mapProbeWindow();
        const auto listed = [this, window] { return m_probe->clientWindows().contains(window); };
        const bool managed = waitUntil(listed, std::chrono::milliseconds(200));
        m_probe->destroyWindow(window);
        if (managed)
            return waitUntil([&] { return !listed(); }, std::chrono::seconds(5));
    }
    return false;
}

bool TestDesktop::startTrayHost()
{
    startProcess(QStringLiteral("trayer"),
        {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
            QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("pixel"),
            QStringLiteral("--width"), QStringLiteral("200"), QStringLiteral("--height"),
            QStringLiteral("24"), QStringLiteral("--SetDockType"), QStringLiteral("true"),
            QStringLiteral("--transparent"), QStringLiteral("false")});
    if (!waitUntil([this] { return m_probe->selectionHasOwner("_NET_SYSTEM_TRAY_S0"); },
            std::chrono::seconds(10))) {
        m_error = QStringLiteral("trayer did not become ready");
        return false;
    }
    return true;
}

QProcess* startQuietChild(
    const QString& program, const QStringList& arguments, const QProcessEnvironment& environment)
{
    auto* process = new QProcess;
    process->setProcessEnvironment(environment);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    dieWithParent(*process);
    process->start(program, arguments);
    if (!process->waitForStarted(5000))
        qWarning() << "Cannot start" << program << process->errorString();
    return process;
}

QProcess* TestDesktop::startProcess(const QString& program, const QStringList& arguments)
{
    QProcess* process = startQuietChild(program, arguments);
    m_processes.append(process);
    return process;
}

qint64 TestDesktop::startApp(const QString& program, const QStringList& arguments, int windows,
    std::chrono::milliseconds timeout)
{
    QProcess* process = startProcess(program, arguments);
    const qint64 pid = process->processId();
    if (pid <= 0 || !waitForWindows(pid, windows, timeout)) {
        const bool ended =
            process->state() == QProcess::NotRunning || process->waitForFinished(0);
        if (ended)
            qWarning() << program << "ended before it showed a window:" << process->exitStatus()
                       << process->exitCode() << process->errorString();
        else
            qWarning() << program << "showed no window in time; windows of the desktop:"
                       << m_probe->clientWindows();
        return 0;
    }
    return pid;
}

bool TestDesktop::waitForWindows(qint64 pid, int count, std::chrono::milliseconds timeout) const
{
    // In the client list is not yet on screen: openbox lists a window before it maps its frame.
    return waitUntil(
        [&] {
            const auto windows = m_probe->clientWindowsOf(static_cast<std::int32_t>(pid));
            return std::count_if(windows.cbegin(), windows.cend(), [this](std::uint32_t window) {
                return m_probe->isViewable(window);
            }) >= count;
        },
        timeout);
}

void TestDesktop::stopApp(qint64 pid)
{
    for (QProcess* process : std::as_const(m_processes)) {
        if (process->processId() == pid) {
            process->terminate();
            if (!process->waitForFinished(3000))
                process->kill();
            process->waitForFinished(2000);
            return;
        }
    }
    ::kill(static_cast<pid_t>(pid), SIGTERM);
}

QByteArray TestDesktop::run(
    const QString& program, const QStringList& arguments, std::chrono::milliseconds timeout)
{
    QProcess process;
    dieWithParent(process);
    process.start(program, arguments);
    if (!process.waitForFinished(static_cast<int>(timeout.count()))
        || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        qWarning() << program << arguments << "failed:" << process.readAllStandardError();
        process.kill();
        process.waitForFinished(1000);
        return {};
    }
    return process.readAllStandardOutput();
}

bool TestDesktop::waitUntil(
    const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeout.count())
            return false;
        QThread::msleep(10);
    }
    return true;
}

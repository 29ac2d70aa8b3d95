#include "VantorProcess.h"

#include "SessionUser.h"
#include "TestDesktop.h"

#include <QElapsedTimer>
#include <QtDebug>

#include <algorithm>
#include <csignal>

namespace {

QStringList nonEmptyLines(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes).split(u'\n', Qt::SkipEmptyParts);
}

QByteArray describeRun(
    bool finished, bool crashed, int exitCode, const QByteArray& out, const QByteArray& err)
{
    QByteArray text = !finished ? QByteArray("did not end in time")
        : crashed               ? QByteArray("crashed")
                                : "exit " + QByteArray::number(exitCode);
    return text + "\n--- stdout:\n" + out + "\n--- stderr:\n" + err;
}

} // namespace

QStringList VantorRun::outLines() const
{
    return nonEmptyLines(standardOutput);
}

QStringList VantorRun::errLines() const
{
    return nonEmptyLines(standardError);
}

QByteArray VantorRun::describe() const
{
    return describeRun(finished, crashed, exitCode, standardOutput, standardError);
}

QString VantorProcess::executable()
{
    const QString path = qEnvironmentVariable("VANTOR_EXECUTABLE");
    if (path.isEmpty())
        qFatal("VANTOR_EXECUTABLE is not set: it names the vantor executable under test");
    return path;
}

VantorRun VantorProcess::run(const QStringList& arguments, std::chrono::milliseconds timeout,
    const QProcessEnvironment& environment)
{
    return runProgram(executable(), arguments, timeout, environment);
}

VantorRun VantorProcess::runAsNobody(const QStringList& arguments,
    const QProcessEnvironment& environment, std::chrono::milliseconds timeout)
{
    return runProgram(QStringLiteral("setpriv"), SessionUser::command(executable(), arguments),
        timeout, environment);
}

VantorRun VantorProcess::runProgram(const QString& program, const QStringList& arguments,
    std::chrono::milliseconds timeout, const QProcessEnvironment& environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    dieWithParent(process);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    VantorRun result;
    if (!process.waitForStarted(10000)) {
        result.standardError = process.errorString().toUtf8();
        return result;
    }
    result.pid = process.processId();
    result.finished = process.waitForFinished(static_cast<int>(timeout.count()));
    result.duration = std::chrono::milliseconds(timer.elapsed());
    if (!result.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = process.exitCode();
    result.standardOutput = process.readAllStandardOutput();
    result.standardError = process.readAllStandardError();
    return result;
}

VantorProcess::VantorProcess() = default;

VantorProcess::~VantorProcess()
{
    kill();
}

bool VantorProcess::start(const QStringList& arguments, const QProcessEnvironment& environment)
{
    return startProgram(executable(), arguments, environment);
}

bool VantorProcess::startAsNobody(
    const QStringList& arguments, const QProcessEnvironment& environment)
{
    // setpriv becomes vantor: the PID stays the same.
    return startProgram(
        QStringLiteral("setpriv"), SessionUser::command(executable(), arguments), environment);
}

bool VantorProcess::startProgram(
    const QString& program, const QStringList& arguments, const QProcessEnvironment& environment)
{
    kill();
    m_out.clear();
    m_err.clear();
    m_process = std::make_unique<QProcess>();
    m_process->setProcessEnvironment(environment);
    dieWithParent(*m_process);
    m_startedAt = std::chrono::steady_clock::now();
    m_process->start(program, arguments);
    if (!m_process->waitForStarted(10000)) {
        qWarning() << "Cannot start vantor:" << m_process->errorString();
        m_pid = 0;
        return false;
    }
    m_pid = m_process->processId();
    return true;
}

bool VantorProcess::isRunning()
{
    // Without an event loop, QProcess learns of the end only when asked.
    if (m_process && m_process->state() != QProcess::NotRunning)
        m_process->waitForFinished(0);
    return m_process && m_process->state() != QProcess::NotRunning;
}

void VantorProcess::readAvailable()
{
    if (!m_process)
        return;
    if (m_process->state() == QProcess::Running)
        m_process->waitForReadyRead(0);
    m_out += m_process->readAllStandardOutput();
    m_err += m_process->readAllStandardError();
}

QByteArray VantorProcess::standardOutput()
{
    readAvailable();
    return m_out;
}

QByteArray VantorProcess::standardError()
{
    readAvailable();
    return m_err;
}

int VantorProcess::countLines(const QString& line)
{
    return static_cast<int>(nonEmptyLines(standardOutput()).count(line));
}

int VantorProcess::countLinesStartingWith(const QString& prefix)
{
    const QStringList lines = nonEmptyLines(standardOutput());
    return static_cast<int>(std::count_if(lines.cbegin(), lines.cend(),
        [&prefix](const QString& line) { return line.startsWith(prefix); }));
}

bool VantorProcess::waitForLines(const QString& line, int count, std::chrono::milliseconds timeout)
{
    QElapsedTimer timer;
    timer.start();
    while (countLines(line) < count) {
        if (timer.elapsed() > timeout.count() || !isRunning())
            return countLines(line) >= count;
        if (m_process)
            m_process->waitForReadyRead(20);
    }
    return true;
}

bool VantorProcess::waitForFinished(std::chrono::milliseconds timeout)
{
    if (!m_process)
        return true;
    if (m_process->state() != QProcess::NotRunning)
        m_process->waitForFinished(static_cast<int>(timeout.count()));
    readAvailable();
    return m_process->state() == QProcess::NotRunning;
}

bool VantorProcess::terminate(std::chrono::milliseconds timeout)
{
    if (!isRunning())
        return true;
    ::kill(static_cast<pid_t>(m_pid), SIGTERM);
    return waitForFinished(timeout);
}

void VantorProcess::kill()
{
    if (!isRunning())
        return;
    ::kill(static_cast<pid_t>(m_pid), SIGKILL);
    waitForFinished(std::chrono::seconds(5));
}

bool VantorProcess::exitedWith(int code) const
{
    return m_process && m_process->state() == QProcess::NotRunning
        && m_process->exitStatus() == QProcess::NormalExit && m_process->exitCode() == code;
}

QByteArray VantorProcess::describe()
{
    readAvailable();
    const bool finished = m_process && m_process->state() == QProcess::NotRunning;
    return describeRun(finished, finished && m_process->exitStatus() == QProcess::CrashExit,
        finished ? m_process->exitCode() : -1, m_out, m_err);
}

#pragma once

// The tests that run vantor check its effect on the desktop with these.
#include "DesktopFacts.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>

// What one `vantor ARGUMENTS` run left behind when it ended (or was ended).
struct VantorRun {
    bool finished = false; // ended by itself within the timeout; otherwise it was killed
    bool crashed = false; // ended by a signal
    int exitCode = -1;
    qint64 pid = 0;
    QByteArray standardOutput;
    QByteArray standardError;
    std::chrono::milliseconds duration{0};

    QString out() const { return QString::fromUtf8(standardOutput); }
    QString err() const { return QString::fromUtf8(standardError); }
    // The lines of stdout / stderr, without the empty ones.
    QStringList outLines() const;
    QStringList errLines() const;
    bool exitedWith(int code) const { return finished && !crashed && exitCode == code; }
    // A line for failure messages: exit status and both streams.
    QByteArray describe() const;
};

// The real `vantor` executable (VANTOR_EXECUTABLE) run as a process: a command run to its
// end, or the tray app started, watched and ended by PID.
class VantorProcess {
public:
    static QString executable();

    // Runs `vantor ARGUMENTS` to its end; kills it (by PID) when the timeout passes.
    static VantorRun run(const QStringList& arguments,
        std::chrono::milliseconds timeout = std::chrono::seconds(30),
        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
    // The same, as the user nobody (through setpriv): for what file permissions do to
    // vantor, which they do not to root, whom the tests run as, and on a desktop whose
    // clients must be nobody's (KWinDesktop::sessionUserEnvironment()). `environment` must
    // point HOME and the XDG folders at places nobody may enter.
    static VantorRun runAsNobody(const QStringList& arguments,
        const QProcessEnvironment& environment,
        std::chrono::milliseconds timeout = std::chrono::seconds(30));

    // Runs any program to its end the same way (a tool the tests read the desktop with).
    static VantorRun runProgram(const QString& program, const QStringList& arguments,
        std::chrono::milliseconds timeout, const QProcessEnvironment& environment);

    VantorProcess();
    // Kills the process if it still runs and waits for it.
    ~VantorProcess();
    VantorProcess(const VantorProcess&) = delete;
    VantorProcess& operator=(const VantorProcess&) = delete;

    // Starts `vantor ARGUMENTS` (the tray app without arguments); false when it cannot run.
    bool start(const QStringList& arguments = {},
        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
    // The same as the user nobody (see runAsNobody).
    bool startAsNobody(const QStringList& arguments, const QProcessEnvironment& environment);
    qint64 pid() const { return m_pid; }
    bool isRunning();
    std::chrono::steady_clock::time_point startedAt() const { return m_startedAt; }

    // Everything the process wrote so far (reads what is waiting first).
    QByteArray standardOutput();
    QByteArray standardError();
    QString out() { return QString::fromUtf8(standardOutput()); }
    QString err() { return QString::fromUtf8(standardError()); }
    // How many lines of stdout so far equal `line` exactly / start with `prefix`.
    int countLines(const QString& line);
    int countLinesStartingWith(const QString& prefix);

    // Waits until stdout holds `count` lines equal to `line`; false after the timeout.
    bool waitForLines(const QString& line, int count = 1,
        std::chrono::milliseconds timeout = std::chrono::seconds(15));
    // Waits until the process has ended by itself.
    bool waitForFinished(std::chrono::milliseconds timeout = std::chrono::seconds(15));
    // SIGTERM to the PID, then waits; true when the process ended within the timeout.
    bool terminate(std::chrono::milliseconds timeout = std::chrono::seconds(15));
    // SIGKILL to the PID, then waits.
    void kill();

    bool exitedWith(int code) const;
    QByteArray describe();

private:
    bool startProgram(const QString& program, const QStringList& arguments,
        const QProcessEnvironment& environment);
    void readAvailable();

    std::unique_ptr<QProcess> m_process;
    qint64 m_pid = 0;
    std::chrono::steady_clock::time_point m_startedAt;
    QByteArray m_out;
    QByteArray m_err;
};

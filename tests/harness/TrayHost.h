#pragma once

#include "TestDesktop.h"
#include "VantorProcess.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <chrono>

// A tray host on a session bus (status_notifier_host.py), as a desktop's panel is one: it owns
// org.kde.StatusNotifierWatcher while it lives and tells of every item registered with it.
class TrayHost {
public:
    explicit TrayHost(QProcessEnvironment environment) : m_environment(std::move(environment))
    {
        m_watcher.setProcessEnvironment(m_environment);
        dieWithParent(m_watcher);
    }
    ~TrayHost()
    {
        m_watcher.kill();
        m_watcher.waitForFinished();
    }
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    // True once the host owns the watcher's name.
    bool start()
    {
        m_watcher.start(QStringLiteral("/usr/bin/python3"), {script(), QStringLiteral("watch")});
        return nextLine() == "ready";
    }

    // The watcher's next line ("item SERVICE"), waiting up to 30 s; empty when none came.
    QByteArray nextLine()
    {
        while (!m_watcher.canReadLine() && m_watcher.waitForReadyRead(30000)) { }
        return m_watcher.readLine().trimmed();
    }

    QByteArray errors() { return m_watcher.readAllStandardError(); }

    // What the host says to a request about an item (property, menu, click...): its lines, or
    // its error output as one line when it failed.
    QStringList says(const QStringList& arguments) const
    {
        const VantorRun run = VantorProcess::runProgram(QStringLiteral("/usr/bin/python3"),
            QStringList{script()} + arguments, std::chrono::seconds(30), m_environment);
        return run.exitedWith(0) ? run.outLines() : QStringList{run.err()};
    }

private:
    static QString script()
    {
        return QStringLiteral(VANTOR_TEST_SOURCE_DIR "/harness/status_notifier_host.py");
    }

    QProcessEnvironment m_environment;
    QProcess m_watcher;
};

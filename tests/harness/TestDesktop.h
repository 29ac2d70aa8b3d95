#pragma once

#include "XProbe.h"

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QStringList>

#include <chrono>
#include <memory>

// A private desktop for one test program: its own Xvfb on a free display, a window manager
// (openbox unless the options name fluxbox or icewm), and optionally a tray host. Apps started
// through it are ended by PID when it goes, also when a test fails; every child also dies with the
// test process.
class TestDesktop {
public:
    struct Options {
        bool trayHost = false;
        int width = 1920;
        int height = 1080;
        QString windowManager = QStringLiteral("openbox");
    };

    explicit TestDesktop(Options options);
    TestDesktop() : TestDesktop(Options{}) { }
    ~TestDesktop();
    TestDesktop(const TestDesktop&) = delete;
    TestDesktop& operator=(const TestDesktop&) = delete;

    // The desktop of this test program, while one exists.
    static TestDesktop* instance();

    bool isReady() const { return m_ready; }
    QString errorString() const { return m_error; }
    QByteArray display() const { return m_display; }
    XProbe& probe() const { return *m_probe; }

    // Starts an app and waits until `windows` managed windows of its PID are on screen.
    // Returns the PID, or 0 (with a warning) when it did not show up in time.
    qint64 startApp(const QString& program, const QStringList& arguments = {}, int windows = 1,
        std::chrono::milliseconds timeout = std::chrono::seconds(10));
    bool waitForWindows(
        qint64 pid, int count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
    // Ends one app (SIGTERM, then SIGKILL) and waits for it.
    void stopApp(qint64 pid);

    // Starts any helper process on this desktop; it is ended with the desktop.
    QProcess* startProcess(const QString& program, const QStringList& arguments);

    // Polls the condition every 10 ms until it holds (true) or the timeout passes (false).
    static bool waitUntil(
        const std::function<bool()>& condition, std::chrono::milliseconds timeout);

    // Runs a command to its end on this desktop (xdotool, xwininfo...): stdout, or an
    // empty array with a warning when it fails.
    static QByteArray run(const QString& program, const QStringList& arguments,
        std::chrono::milliseconds timeout = std::chrono::seconds(10));

private:
    bool startXvfb(const Options& options);
    bool startWindowManager(const QString& name);
    bool managesNewWindows() const;
    bool startTrayHost();

    QByteArray m_display;
    std::unique_ptr<QProcess> m_xvfb;
    std::unique_ptr<XProbe> m_probe;
    QList<QProcess*> m_processes;
    bool m_ready = false;
    QString m_error;
};

// Makes a child die with the test process, whatever way the test ends.
void dieWithParent(QProcess& process);

// Starts a child whose output goes nowhere and that dies with the test process; warns when
// it cannot start. The caller owns it.
QProcess* startQuietChild(const QString& program, const QStringList& arguments,
    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

#pragma once

#include "EnvironmentOverride.h"

#include "KWinScripting.h"
#include "SessionBus.h"
#include "VantorProcess.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QJsonValue>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>

// A window as KWin lists it.
struct KWinWindow {
    QString internalId;
    qint64 pid = 0; // 0 when the client did not tell (an X client without _NET_WM_PID)
    QString resourceClass;
    QString resourceName;
    QString caption;
    QRect frame; // the outer frame, decorations included
    bool normalWindow = false;
    bool minimized = false;
};

// A private KDE Plasma desktop for one test program: a headless KWin (Wayland, with
// XWayland, Breeze title bars) on a private session bus, with the portals of a Plasma session,
// run as the unprivileged session user (`nobody`) in a runtime directory and home of its own.
//
// Everything that must be KWin's client runs as the session user too: the apps the tests
// start, vantor itself (see sessionUserEnvironment()), and the key presses, which reach KWin
// through its fake input protocol. The test process stays root and offscreen; it talks to
// KWin through its own connection to the session bus and reads KWin's facts through scripts.
// Every process of the session ends with the desktop, and also dies with the test process.
//
// A second desktop may be made while one exists (to watch one end); it points the
// environment at itself and gives it back to the first when it goes.
class KWinDesktop {
public:
    struct Options {
        int width = 1920;
        int height = 1080;
        // xdg-desktop-portal with the KDE backend, as in a Plasma session (~0.5 s).
        bool portal = true;
    };

    explicit KWinDesktop(Options options);
    KWinDesktop() : KWinDesktop(Options{}) { }
    ~KWinDesktop();
    KWinDesktop(const KWinDesktop&) = delete;
    KWinDesktop& operator=(const KWinDesktop&) = delete;

    // The newest desktop of this test program, while one exists.
    static KWinDesktop* instance();

    bool isReady() const { return m_ready; }
    QString errorString() const { return m_error; }
    qint64 kwinPid() const;
    // XWayland's PID while it runs, or 0.
    qint64 xwaylandPid() const;
    QByteArray display() const { return m_display; }
    QString runtimeDir() const { return m_runtimeDir; }
    // The Wayland socket (absolute path).
    QString waylandSocket() const;
    QString busAddress() const { return m_bus.address(); }
    // The test's own connection to the session bus.
    QDBusConnection bus() const;

    // What a process needs to run on this desktop: its sockets, DISPLAY, the session bus, a
    // KDE Wayland session, no offscreen Qt platform; the rest is the test's environment.
    QProcessEnvironment environment() const;
    // environment() for a process of the session user, with the session's home: HOME and
    // the XDG folders are the user's, which the test, as root, can read too.
    QProcessEnvironment sessionUserEnvironment() const;
    QString sessionHome() const { return m_runtimeDir + QStringLiteral("/home"); }

    // Starts a program as the session user; its output goes nowhere and it is ended with the
    // desktop.
    QProcess* startAsSessionUser(const QString& program, const QStringList& arguments);
    QProcess* startAsSessionUser(const QString& program, const QStringList& arguments,
        const QProcessEnvironment& environment);
    // Runs a program as the session user to its end (killed after the timeout).
    VantorRun runAsSessionUser(const QString& program, const QStringList& arguments,
        std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;

    // Starts an app as the session user and waits until KWin lists `windows` windows of its
    // PID. Returns the PID, or 0 (with a warning) when they did not show up in time.
    qint64 startApp(const QString& program, const QStringList& arguments = {}, int windows = 1,
        std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Ends one app (SIGTERM, then SIGKILL) and waits for it.
    void stopApp(qint64 pid);

    // Runs JavaScript in KWin (see KWinScripting): the value it reports, or nothing.
    std::optional<QJsonValue> evaluate(
        const QString& code, std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;
    // Loads a script that stays until the result goes (a shortcut's, say).
    std::unique_ptr<KWinScript> loadScript(const QString& code) const;

    // KWin's windows in its order; empty when KWin does not answer.
    QList<KWinWindow> windows() const;
    QList<KWinWindow> windowsOf(qint64 pid) const;
    std::optional<QRect> frameOf(qint64 pid) const;
    // Gives the first window of a process exactly this outer frame; false when it does not
    // hold it within the timeout.
    bool placeFrame(qint64 pid, const QRect& frame,
        std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;
    // The screen's area as KWin's scripts see it.
    QRect screenArea() const;

    // Presses the keys with these evdev codes in order and releases them in reverse order, as
    // a keyboard would (e.g. {125, 42, 67}: Meta+Shift+F9); returns once KWin has them. False
    // when the fake key helper could not do it.
    bool pressKeys(const QList<int>& evdevCodes) const;

    // Ends KWin (and XWayland) on purpose and returns when they are gone. Apps stay.
    void stop();

private:
    bool createDirectories();
    bool installFakeKey();
    bool startKWin(const Options& options);
    bool waitForKWin(std::chrono::milliseconds timeout);
    bool connectToBus();
    bool checkScreen(const Options& options);
    bool startPortal(std::chrono::milliseconds timeout);
    bool portalOffersGlobalShortcuts() const;
    void exportEnvironment();
    void restoreEnvironment();
    void endSessionProcesses(const QList<pid_t>& except);
    QString kwinLog() const;

    KWinDesktop* m_outer = nullptr;
    QString m_runtimeDir;
    SessionBus m_bus;
    QString m_busConnection;
    QString m_waylandLink;
    QByteArray m_display;
    std::unique_ptr<QProcess> m_kwin;
    std::unique_ptr<KWinScripting> m_scripting;
    QList<QProcess*> m_processes;
    EnvironmentOverride m_environment;
    bool m_ready = false;
    QString m_error;
};

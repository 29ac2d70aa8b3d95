#pragma once

#include "EnvironmentOverride.h"

#include "SwayIpc.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>

// A private sway desktop for one test program: a headless sway with XWayland, run as
// `nobody` (sway refuses root) in a runtime directory of its own. The test process and the
// apps it starts stay root; they reach sway's sockets because root passes any permission,
// and XWayland admits root because the desktop asks it to at start. Apps started through it
// are ended with it; sway, XWayland and every app also die with the test process.
//
// A second desktop may be made while one exists (to watch one end); it points the
// environment at itself and gives it back to the first when it goes.
class SwayDesktop {
public:
    struct Options {
        QStringList extraConfig; // lines appended to sway's config
        int width = 1280;
        int height = 720;
    };

    explicit SwayDesktop(Options options);
    SwayDesktop() : SwayDesktop(Options{}) { }
    ~SwayDesktop();
    SwayDesktop(const SwayDesktop&) = delete;
    SwayDesktop& operator=(const SwayDesktop&) = delete;

    // The newest desktop of this test program, while one exists.
    static SwayDesktop* instance();

    bool isReady() const { return m_ready; }
    QString errorString() const { return m_error; }
    qint64 swayPid() const;
    // XWayland's PID while it runs, or 0.
    qint64 xwaylandPid() const;
    QByteArray display() const { return m_display; }
    QString ipcSocket() const { return m_ipcSocket; }
    // What a process needs to run on this desktop (vantor, apps, wtype): sway's sockets and
    // DISPLAY, a Wayland session, and no offscreen Qt platform.
    QProcessEnvironment environment() const;

    // Starts an app as root on this desktop and waits until its PID has `windows` windows.
    // Returns the PID, or 0 (with a warning) when they did not show up in time. A Wayland
    // app's title bar may come a moment later: it asks for sway's decorations as it maps.
    qint64 startApp(const QString& program, const QStringList& arguments = {}, int windows = 1,
        std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Ends one app (SIGTERM, then SIGKILL) and waits for it.
    void stopApp(qint64 pid);
    // Starts any helper process on this desktop; it is ended with the desktop.
    QProcess* startProcess(const QString& program, const QStringList& arguments);

    // swaymsg -t get_tree, parsed; empty when sway does not answer.
    QJsonObject tree() const;
    // The window nodes ("con" / "floating_con" with a PID) of a process, in tree order.
    QList<QJsonObject> windowsOf(qint64 pid) const;
    // Outer frames, title bar included, of a process's windows in tree order.
    QList<QRect> framesOf(qint64 pid) const;
    std::optional<QRect> frameOf(qint64 pid) const;
    static QRect frameOfNode(const QJsonObject& node);

    // Makes the first window of a process float with exactly this outer frame; false when it
    // does not hold it within the timeout.
    bool placeFrame(qint64 pid, const QRect& frame,
        std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;

    // Runs sway commands; true when every one of them succeeded.
    bool command(const QString& swayCommand) const;
    // A new IPC connection subscribed to the events (e.g. {"binding"}), or nullptr.
    std::unique_ptr<SwayIpc> subscribe(const QStringList& events) const;

    // Presses and releases the key of a US keyboard with this evdev code (1..88: Escape to
    // F12) with the modifiers held, as a physical key: sway matches it like a real keyboard's
    // for `bindsym --to-code` and `bindcode`. False when wtype failed.
    bool pressPhysicalKey(int evdevCode, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;

    // Ends sway (and XWayland) on purpose and returns when they are gone. Apps stay.
    void stop();

private:
    bool createRuntimeDir();
    bool writeConfig(const Options& options);
    bool startSway();
    bool waitForSockets(std::chrono::milliseconds timeout);
    bool readDisplay();
    bool checkOutputSize(const Options& options);
    void exportEnvironment();
    void restoreEnvironment();

    SwayDesktop* m_outer = nullptr;
    QString m_runtimeDir;
    QString m_ipcSocket;
    QString m_waylandSocket;
    QString m_waylandLink;
    QByteArray m_display;
    std::unique_ptr<QProcess> m_sway;
    std::unique_ptr<SwayIpc> m_ipc;
    QList<QProcess*> m_processes;
    EnvironmentOverride m_environment;
    bool m_ready = false;
    QString m_error;
};

#pragma once

#include <QList>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>

#include <cstdint>

// What the X server and the window manager say about windows, read with the standard X tools
// (xwininfo, xprop, xdotool), never with Vantor's code.
namespace DesktopFacts {

using WindowId = std::uint32_t;

QString hex(WindowId window);
// The frame as the user sees it: the client's absolute origin and size (xwininfo) widened by
// the decorations (_NET_FRAME_EXTENTS).
QRect outerFrame(WindowId window);
// The client window's own size (xwininfo).
QSize clientSize(WindowId window);
// "IsViewable", "IsUnMapped", "IsUnviewable", or empty when the window is gone.
QString mapState(WindowId window);
// _NET_ACTIVE_WINDOW on the root; 0 when none.
WindowId activeWindow();
// The title: _NET_WM_NAME, else WM_NAME; empty when unset or gone.
QString title(WindowId window);
// WM_CLASS instance and class, e.g. {"vantor", "Vantor"}; empty when unset.
QStringList wmClass(WindowId window);
// The window's parents, nearest first, up to (without) the root.
QList<WindowId> ancestors(WindowId window);
// Every window (managed or not) whose WM_CLASS instance is `instance` (xdotool search).
QList<WindowId> windowsOfClassName(const QString& instance);
// The process name (/proc/PID/comm) of a PID; empty when it is gone.
QString processName(qint64 pid);
// Moves (and, given a size, resizes) the window with xdotool: a request of its own, not
// Vantor's.
void moveWindow(WindowId window, int x, int y, QSize size = {});
// A screenshot of the whole screen (ImageMagick `import -window root`); true on success.
bool screenshot(const QString& path);

} // namespace DesktopFacts

// The small X apps that tests group into workspaces, each with a desktop entry of its own in
// $XDG_DATA_HOME/applications, so that Vantor can recognise and launch them.
struct TestApp {
    QString id; // desktop entry id (file name without ".desktop"), e.g. "test-clock"
    QString name; // Name=, e.g. "Test Clock"
    QString program; // e.g. "xclock"
    QString wmClass; // StartupWMClass=, e.g. "XClock"
    QRect startGeometry; // client size and position when a test starts it
    QRect launchGeometry; // client size and position when its desktop entry launches it
};

namespace TestApps {

using DesktopFacts::WindowId;

// Test Clock (xclock), Test Eyes (xeyes), Test Logo (xlogo).
QList<TestApp> standard();
// Test Calc (xcalc): an app of a workspace of its own.
TestApp calculator();
void writeDesktopEntry(const TestApp& app);
// Starts the app at its start geometry on the test desktop and waits for its window; its PID.
qint64 start(const TestApp& app);
// The PIDs of the running processes of a program that have windows on the desktop (also
// those Vantor launched).
QList<qint64> pidsOf(const QString& program);
// The managed windows of a program's processes.
QList<WindowId> windowsOf(const QString& program);
// Ends a process by PID (SIGTERM, then SIGKILL) and waits until its windows and the process
// are gone; reaps it when it became the test's child.
void stop(qint64 pid);
// Stops every process of the program that has windows.
void stopAll(const QString& program);

} // namespace TestApps

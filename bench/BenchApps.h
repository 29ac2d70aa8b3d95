// The shell bench's desktop: apps of three windows, and its own look at the X server.
#pragma once

#include "BenchSupport.h"

#include <QByteArray>
#include <QList>
#include <QRect>

#include <cstdint>
#include <functional>

namespace Bench {

using WindowId = std::uint32_t;

constexpr int kWindowsPerApp = 3;

struct BenchApp {
    pid_t pid = 0;
    QList<WindowId> windows;
    QRect target; // the frame Vantor stored for the app on this screen
};

// An app of three top-level windows of WM_CLASS `className`, cascading from `geometry`; it
// lives until the owners go.
pid_t startThreeWindowApp(WindowOwners& owners, const QByteArray& display,
    const QByteArray& className, const QRect& geometry);

// Outer frames of many windows in one round trip, Vantor's icon inside the tray host, keys,
// and moving windows away.
class FrameReader {
public:
    explicit FrameReader(const QByteArray& display) : m_connection(display.constData()) { }

    QList<QRect> outerFrames(const QList<WindowId>& windows) const
    {
        return m_connection.outerFrames(windows);
    }
    // Asks the window manager to put the window elsewhere (a ConfigureRequest of the bench's
    // own, as any app or pager may send).
    void moveAway(WindowId window, const QRect& to) const;
    // The keycode that carries `keysym` in the server's keyboard mapping; 0 when none does.
    std::uint8_t keycodeOf(xcb_keysym_t keysym) const;
    // Releases the keys through XTEST, as `xdotool keyup` does, and returns once the server
    // has taken the first release.
    void releaseKeys(const QList<std::uint8_t>& keycodes) const;
    // The viewable windows of WM_CLASS instance "vantor" inside the tray host's window.
    QList<WindowId> trayIcons(WindowId trayHost) const;
    // WM_CLASS: instance and class.
    QList<QByteArray> wmClass(WindowId window) const;
    // The colour (0xRRGGBB) of the window's pixel at (x, y); nothing when it cannot be read.
    std::optional<std::uint32_t> pixelAt(WindowId window, int x, int y) const;

private:
    void forEachDescendant(
        WindowId window, int depth, const std::function<void(WindowId)>& visit) const;

    XConnection m_connection;
};

} // namespace Bench

// What the benchmarks share: the bench's own X connection and windows, child processes that
// keep windows on the desktop, timing and waiting.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QMargins>
#include <QRect>
#include <QSize>

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace Bench {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// A connection of the bench's own to the X server, never through Vantor's code.
class XConnection {
public:
    // nullptr: the display named by $DISPLAY.
    explicit XConnection(const char* display = nullptr);

    bool isConnected() const { return m_screen != nullptr; }
    xcb_connection_t* get() const { return m_connection.get(); }
    const xcb_screen_t& screen() const { return *m_screen; }
    xcb_window_t root() const { return m_screen->root; }
    xcb_atom_t atom(const char* name) const;
    // Returns once the server has taken every request sent before.
    void roundTrip() const;

    // A top-level window with WM_CLASS "instance\0className\0", not mapped yet.
    xcb_window_t createWindow(const QRect& geometry, const QByteArray& instance,
        const QByteArray& className, std::optional<std::uint32_t> background = {}) const;

    // Each window's _NET_FRAME_EXTENTS (left, top, right, bottom), read in one round trip;
    // no margins for a window without them.
    QList<QMargins> frameExtents(const QList<xcb_window_t>& windows) const;

    // The frames as the user sees them: each client's origin and size widened by its
    // _NET_FRAME_EXTENTS, read in one round trip. A null QRect for a window that is gone.
    QList<QRect> outerFrames(const QList<xcb_window_t>& windows) const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    const xcb_screen_t* m_screen = nullptr;
    xcb_atom_t m_frameExtents = XCB_ATOM_NONE;
};

// Processes that each keep a few windows on the desktop, made by forking so that no helper
// program is needed. They die with the bench, and are killed when this goes.
class WindowOwners {
public:
    WindowOwners() = default;
    ~WindowOwners();
    WindowOwners(const WindowOwners&) = delete;
    WindowOwners& operator=(const WindowOwners&) = delete;

    // A child that connects to `display`, makes its windows with `createWindows` and keeps
    // them until it is killed. Its PID, or -1 when it could not be forked.
    pid_t start(
        const QByteArray& display, const std::function<void(const XConnection&)>& createWindows);

private:
    QList<pid_t> m_pids;
};

// The two requests Vantor sends to place a window, not flushed: _NET_MOVERESIZE_WINDOW with
// the frame's outer top-left, then with the client's size.
void sendLikeVantor(
    const XConnection& connection, xcb_window_t window, QPoint position, QSize clientSize);

// Waits for windows to stand on their frames without asking the X server again and again:
// their configure events tell when each has taken its target size, and a read of the frames
// then confirms, again after each later move of a window manager's frame. Qt's event loop runs
// meanwhile, so Vantor in this process goes on. It can also place the windows itself as Vantor
// does, for the floor Vantor is compared with.
class SettleWatch {
public:
    explicit SettleWatch(const QByteArray& display) : m_connection(display.constData()) { }

    bool isConnected() const { return m_connection.isConnected(); }

    // Hears of every configure of the windows from now on; reads their decorations.
    void watch(const QList<xcb_window_t>& windows);
    // Position, then size, of every window with _NET_MOVERESIZE_WINDOW; flushed once.
    void placeLikeVantor(const QList<QRect>& targets) const;
    // True once every window stands on its target; false after the timeout.
    bool waitUntilOn(
        const QList<QRect>& targets, std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Lets late events of the last placement arrive, and drops them.
    void settleEvents() const;

private:
    QSize clientSize(int i, const QRect& target) const;
    bool takeConfigure(
        const xcb_generic_event_t* event, const QList<QRect>& targets, std::vector<bool>& sized);

    XConnection m_connection;
    QList<xcb_window_t> m_windows;
    QHash<xcb_window_t, int> m_indexOf;
    QList<QMargins> m_extents;
};

// The frames `vantor show NAME --json` gives for the apps of a workspace on a screen of this
// size, by the number that ends each app's id ("bench-logo-3" is 3); an app without a frame
// for that size has a null rect. Empty when the workspace does not hold `apps` apps.
QList<QRect> storedFrames(const QByteArray& showJson, int apps, QSize screen);

// The middle value: of an even count, the upper of the two in the middle; 0 for none.
double median(std::vector<double> values);
double elapsedMs(const QElapsedTimer& timer);
double msSince(std::chrono::steady_clock::time_point start);
// Checks the condition every `interval` until it holds (true) or the timeout passes (false).
bool pollUntil(const std::function<bool()>& condition, std::chrono::nanoseconds timeout,
    std::chrono::microseconds interval = std::chrono::milliseconds(1));

} // namespace Bench

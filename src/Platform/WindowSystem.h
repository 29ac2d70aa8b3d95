#pragma once

#include "Platform/Geometry.h"

#include <QList>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace Platform {

using ProcessId = std::int32_t;
using WindowId = std::uint64_t;

enum class WindowKind { Normal, Dialog, Other };

// A managed top-level window as the window system reports it.
struct WindowInfo {
    WindowId id = 0;
    ProcessId pid = 0; // 0 when the owner is unknown
    WindowKind kind = WindowKind::Other;
    QString typeName; // the window type's short name: "normal", "dialog", "dock"...
    // On the normal layer: neither kept above nor below the others.
    bool isNormalLayer = false;
    // Mapped, not minimised, and on the current desktop (or on all of them).
    bool isOnScreen = false;
    bool skipsTaskbar = false;
    Frame frame; // the visible frame in global coordinates
    QString wmClassInstance;
    QString wmClass;
    // Desktop-file hints the application set on its window; empty when absent.
    QString applicationId;
    QString desktopFile;
    // The startup-notification ID of the launch that opened the window; empty when absent.
    QString startupId;
};

// Reports windows as they come onto the screen, for as long as it exists.
class WindowWatch {
public:
    virtual ~WindowWatch() = default;
};

// The window system: windows, their owners and frames, monitors, and moving windows.
class WindowSystem {
public:
    virtual ~WindowSystem() = default;

    // Whether windows of other applications can be listed and moved here.
    virtual bool canControlWindows() = 0;

    // Full size of the screen (monitor) that holds the focused window; 0 by 0 without one.
    virtual ScreenSize mainScreenSize() = 0;

    // Managed top-level windows, front to back, including minimised ones; none when the
    // window system could not be asked (gone, or it did not answer).
    virtual std::optional<QList<WindowInfo>> managedWindows() = 0;

    // The windows of each process in management order, at most `limit` each; nothing for a
    // process that does not exist, or when the window list cannot be read. One read for all.
    virtual QList<std::optional<QList<WindowId>>> windowsOfProcesses(
        const QList<ProcessId>& pids, int limit)
        = 0;
    std::optional<QList<WindowId>> windowsOfProcess(ProcessId pid, int limit)
    {
        return windowsOfProcesses({pid}, limit).value(0);
    }

    // Moves each window's outer frame to its frame's position, then makes it the frame's
    // size; every request of the batch is sent at once. A window that has gone is skipped
    // silently.
    struct Placement {
        QList<WindowId> windows;
        Frame frame;
    };
    virtual void placeWindows(const QList<Placement>& placements) = 0;
    void setWindowFrames(const QList<WindowId>& windows, QPointF position, QSizeF size)
    {
        placeWindows({{windows, Frame{position.x(), position.y(), size.width(), size.height()}}});
    }
    // Some windows are placed later, e.g. after leaving the maximized state: a process about
    // to exit waits here (running the event loop) until they are.
    virtual void finishPlacements() = 0;

    // Calls `shown` once for every top-level window that the window manager takes on from
    // now on, as soon as it is mapped and framed; until the watch is dropped. The calls come
    // from the event loop.
    using WindowShown = std::function<void(const WindowInfo& window)>;
    virtual std::unique_ptr<WindowWatch> watchNewWindows(WindowShown shown) = 0;

    // Watches windows that were just placed on `target` for `duration`: one that its own
    // app moves or resizes away, without the user's hand, is put back once.
    virtual void holdFrames(
        const QList<WindowId>& windows, const Frame& target, std::chrono::milliseconds duration)
        = 0;

    // Calls `ended` when the desktop session under Vantor goes away (its compositor exited).
    // An X server's end reaches Qt itself, which ends the application.
    virtual void whenSessionEnds(std::function<void()> ended) { Q_UNUSED(ended) }
};

// The window system of this session, as Platform/Backend.h chooses it; never null. Without
// one Vantor can control, it controls nothing: the screen is 0 by 0, no windows are listed,
// none can be retrieved.
std::unique_ptr<WindowSystem> createWindowSystem();

} // namespace Platform

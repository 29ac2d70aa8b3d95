#pragma once

#include "Platform/WindowSystem.h"

#include <memory>
#include <mutex>

namespace Platform::X11 {

class Connection;
class EventHub;
class FrameHolder;
class NewWindows;
class PositionRecheck;
class StateExit;
class WindowMover;

// The window system of an X11 session with an EWMH window manager, over a connection of
// Vantor's own (so it works without a Qt GUI). Without a display every answer is empty.
class X11WindowSystem final : public WindowSystem {
public:
    X11WindowSystem();
    ~X11WindowSystem() override;

    bool canControlWindows() override;
    ScreenSize mainScreenSize() override;
    std::optional<QList<WindowInfo>> managedWindows() override;
    QList<std::optional<QList<WindowId>>> windowsOfProcesses(
        const QList<ProcessId>& pids, int limit) override;
    void placeWindows(const QList<Placement>& placements) override;
    std::unique_ptr<WindowWatch> watchNewWindows(WindowShown shown) override;
    void holdFrames(const QList<WindowId>& windows, const Frame& target,
        std::chrono::milliseconds duration) override;
    void finishPlacements() override;

private:
    const Connection* liveConnection();

    std::unique_ptr<Connection> m_connection;
    std::unique_ptr<EventHub> m_events;
    std::unique_ptr<StateExit> m_stateExit;
    std::unique_ptr<PositionRecheck> m_recheck;
    std::unique_ptr<WindowMover> m_mover;
    std::unique_ptr<NewWindows> m_newWindows;
    std::unique_ptr<FrameHolder> m_frameHolder;
    // Placement may also be asked for from another thread.
    std::recursive_mutex m_mutex;
};

} // namespace Platform::X11

#pragma once

#include "Platform/WindowSystem.h"

#include <QObject>

#include <memory>

namespace Platform::Sway {

class IpcConnection;
class NewWindowEvents;

// The window system of a sway session, over sway's IPC socket: windows from its layout
// tree, placement by commands (each window made floating first), new windows from its
// window events. Used from the thread that made it.
class SwayWindowSystem final : public WindowSystem {
public:
    explicit SwayWindowSystem(const QString& socketPath);
    ~SwayWindowSystem() override;

    bool canControlWindows() override;
    ScreenSize mainScreenSize() override;
    std::optional<QList<WindowInfo>> managedWindows() override;
    QList<std::optional<QList<WindowId>>> windowsOfProcesses(
        const QList<ProcessId>& pids, int limit) override;
    void placeWindows(const QList<Placement>& placements) override;
    void finishPlacements() override;
    std::unique_ptr<WindowWatch> watchNewWindows(WindowShown shown) override;
    void holdFrames(const QList<WindowId>& windows, const Frame& target,
        std::chrono::milliseconds duration) override;
    void whenSessionEnds(std::function<void()> ended) override;

private:
    void putBackMoved(const QList<WindowId>& windows, const Frame& target);

    std::unique_ptr<IpcConnection> m_commands;
    std::unique_ptr<NewWindowEvents> m_newWindows;
    std::function<void()> m_sessionEnded;
    int m_pendingHolds = 0;
    std::function<void()> m_holdsDone;
    QObject m_context; // ends the timers of held frames with this object
};

} // namespace Platform::Sway

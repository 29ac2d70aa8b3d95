#pragma once

#include "Platform/KWin/WindowList.h"
#include "Platform/WindowSystem.h"

#include <QObject>

#include <map>
#include <memory>

class QDBusServiceWatcher;

namespace Platform::KWin {

class ScriptHost;

// The window system of a KDE Plasma (KWin) session: windows are listed, placed and watched
// by small scripts that Vantor runs inside KWin. Used from the thread that made it.
class KWinWindowSystem final : public WindowSystem {
public:
    KWinWindowSystem();
    ~KWinWindowSystem() override;

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
    class Watch;
    struct Watchers {
        std::map<int, WindowShown> byId;
        int nextId = 0;
    };

    QJsonArray uuidsOf(const QList<WindowId>& windows) const;
    void listenForNewWindows();
    void stopListeningIfUnwatched();
    void deliverNewWindow(const QJsonValue& window);

    std::unique_ptr<ScriptHost> m_scripts;
    std::unique_ptr<QDBusServiceWatcher> m_kwinWatcher;
    WindowIds m_ids;
    std::shared_ptr<Watchers> m_watchers = std::make_shared<Watchers>();
    QString m_newWindowScript;
    std::function<void()> m_sessionEnded;
    int m_pendingHolds = 0;
    std::function<void()> m_holdsDone;
    QObject m_context; // ends the timers of held frames with this object
};

} // namespace Platform::KWin

#pragma once

#include "Platform/Applications.h"
#include "Platform/WindowSystem.h"

#include <QList>
#include <QMap>

#include <map>

// Fakes of the desktop services for unit tests of logic. They record what was asked of
// them; tests set what they answer.

struct PlacementRequest {
    QList<Platform::WindowId> windows;
    QPointF position;
    QSizeF size;
};

struct HoldRequest {
    QList<Platform::WindowId> windows;
    Frame target;
    std::chrono::milliseconds duration;
};

class FakeWindowSystem final : public Platform::WindowSystem {
public:
    bool controlsWindows = true;
    ScreenSize screen{1920, 1080};
    QList<Platform::WindowInfo> windows; // front to back
    QList<Platform::ProcessId> unreadableProcesses;
    QList<PlacementRequest> placements;
    QList<HoldRequest> holds;
    int windowListReads = 0;
    int placementBatches = 0;

    bool canControlWindows() override { return controlsWindows; }
    ScreenSize mainScreenSize() override { return screen; }
    std::optional<QList<Platform::WindowInfo>> managedWindows() override { return windows; }

    QList<std::optional<QList<Platform::WindowId>>> windowsOfProcesses(
        const QList<Platform::ProcessId>& pids, int limit) override
    {
        ++windowListReads;
        QList<std::optional<QList<Platform::WindowId>>> result;
        for (const Platform::ProcessId pid : pids) {
            if (unreadableProcesses.contains(pid)) {
                result.append(std::nullopt);
                continue;
            }
            QList<Platform::WindowId> ids;
            for (const auto& window : std::as_const(windows)) {
                if (window.pid == pid && ids.size() < limit)
                    ids.append(window.id);
            }
            result.append(ids);
        }
        return result;
    }

    void placeWindows(const QList<Placement>& batch) override
    {
        ++placementBatches;
        for (const Placement& placement : batch)
            placements.append(
                {placement.windows, placement.frame.position(), placement.frame.size()});
    }

    void finishPlacements() override { }

    std::unique_ptr<Platform::WindowWatch> watchNewWindows(WindowShown shown) override
    {
        struct Watch final : Platform::WindowWatch {
            Watch(std::map<int, WindowShown>& watchers, int token)
                : watchers(watchers), token(token)
            {
            }
            ~Watch() override { watchers.erase(token); }
            std::map<int, WindowShown>& watchers;
            int token;
        };
        const int token = m_nextWatch++;
        m_watchers.emplace(token, std::move(shown));
        return std::make_unique<Watch>(m_watchers, token);
    }

    int watchCount() const { return static_cast<int>(m_watchers.size()); }

    // A window comes on screen: added to the list and told to every watch.
    Platform::WindowInfo showWindow(Platform::WindowInfo window)
    {
        window.id = static_cast<Platform::WindowId>(windows.size() + 1);
        windows.append(window);
        const auto watchers = m_watchers; // a watch may end while it is told
        for (const auto& [token, shown] : watchers)
            shown(window);
        return window;
    }

    void holdFrames(const QList<Platform::WindowId>& ids, const Frame& target,
        std::chrono::milliseconds duration) override
    {
        holds.append({ids, target, duration});
    }

    // Adds an on-screen normal window and returns it for further changes.
    Platform::WindowInfo& addWindow(Platform::ProcessId pid, Frame frame)
    {
        Platform::WindowInfo window;
        window.id = static_cast<Platform::WindowId>(windows.size() + 1);
        window.pid = pid;
        window.kind = Platform::WindowKind::Normal;
        window.isNormalLayer = true;
        window.isOnScreen = true;
        window.frame = frame;
        windows.append(window);
        return windows.last();
    }

private:
    std::map<int, WindowShown> m_watchers;
    int m_nextWatch = 1;
};

class FakeApplications final : public Platform::Applications {
public:
    struct Launch {
        QString path;
        std::chrono::milliseconds timeout;
        LaunchCompletion completion;
    };

    QList<Platform::RunningApplication> running;
    QMap<QString, QString> installed; // bundle identifier -> path
    QList<Launch> launches;
    QList<QUrl> opened;

    int runningReads = 0;

    QList<Platform::RunningApplication> runningApplications() override
    {
        ++runningReads;
        return running;
    }

    std::optional<QString> applicationPath(const QString& bundleIdentifier) override
    {
        if (!installed.contains(bundleIdentifier))
            return std::nullopt;
        return installed.value(bundleIdentifier);
    }

    void launch(const QString& path, std::chrono::milliseconds timeout,
        LaunchCompletion completion) override
    {
        launches.append({path, timeout, std::move(completion)});
    }

    void open(const QUrl& location) override { opened.append(location); }

    Platform::RunningApplication& addRunning(Platform::ProcessId pid,
        const std::optional<QString>& bundleIdentifier, const std::optional<QString>& name,
        Platform::ActivationPolicy policy = Platform::ActivationPolicy::Regular)
    {
        Platform::RunningApplication app;
        app.processIdentifier = pid;
        app.bundleIdentifier = bundleIdentifier;
        app.localizedName = name;
        app.activationPolicy = policy;
        if (bundleIdentifier)
            app.bundlePath = QStringLiteral("/usr/share/applications/") + *bundleIdentifier
                + QStringLiteral(".desktop");
        running.append(app);
        return running.last();
    }
};

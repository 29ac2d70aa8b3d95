#pragma once

#include "Platform/Applications.h"
#include "Platform/Gio/AppLauncher.h"

#include <QObject>

#include <chrono>
#include <map>
#include <memory>

namespace Platform::Gio {

class DesktopEntryIndex;

// Waits for the first main window of every pending launch, with one watch on the window
// system for all of them. A new normal window belongs to a launch when it carries the
// launch's startup ID, else when its owner is the started process, descends from it or
// inherited its launch ID (wrapper scripts, apps that fork), else when it is the launched
// app's own by the rules that match running apps to desktop entries (single-instance apps
// that open the window in a process started earlier). Splash screens, dialogs and other
// kinds of windows never complete a launch.
class LaunchWatch {
public:
    LaunchWatch(WindowSystem& windowSystem, DesktopEntryIndex& index);
    ~LaunchWatch();
    LaunchWatch(const LaunchWatch&) = delete;
    LaunchWatch& operator=(const LaunchWatch&) = delete;

    using LaunchKey = quint64;

    // A launch about to start: windows are watched from now on, and the time limit runs.
    LaunchKey begin(std::chrono::milliseconds timeout, Applications::LaunchCompletion completion);
    // Its process has started; windows that came meanwhile are looked at too.
    void started(LaunchKey key, const StartedProcess& process);
    void failedToStart(LaunchKey key, const QString& error);

private:
    struct Pending {
        std::optional<StartedProcess> process; // none while it is being started
        Applications::LaunchCompletion completion;
    };

    void windowShown(const WindowInfo& window);
    std::optional<LaunchKey> launchOfWindow(const WindowInfo& window) const;
    bool isStartedBy(const WindowInfo& window, const StartedProcess& process) const;
    bool isAppOf(const WindowInfo& window, const StartedProcess& process) const;
    bool isStarting() const;
    void processEnded(LaunchKey key, int status);
    void finish(LaunchKey key, const LaunchResult& result);
    void expireAfter(LaunchKey key, std::chrono::milliseconds delay, LaunchResult result);

    WindowSystem& m_windowSystem;
    DesktopEntryIndex& m_index;
    QObject m_context;
    std::unique_ptr<WindowWatch> m_watch;
    std::map<LaunchKey, Pending> m_pending; // in launch order
    // Windows that came while a launch was being started and that no launch has claimed.
    QList<WindowInfo> m_unclaimed;
    LaunchKey m_nextKey = 1;
    // Child watches outlive this; they ask it whether it still exists.
    std::shared_ptr<LaunchWatch*> m_self;
};

} // namespace Platform::Gio

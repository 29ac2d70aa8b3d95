#pragma once

#include "Platform/Applications.h"
#include "Platform/Backend.h"
#include "Platform/WindowSystem.h"
#include "Util/RunningApps.h"
#include "Util/WindowManager.h"

#include <memory>

// The desktop services of this process and the core objects built on them, made once by
// the tray app or the command line and handed to whoever needs them.
class Services {
public:
    // The real desktop: the windows of the session's backend, GIO desktop entries; launch
    // settings from the user's preferences.
    explicit Services(const Platform::BackendChoice& backend = Platform::chooseBackend());
    // Given services, e.g. fakes in tests.
    Services(std::unique_ptr<Platform::WindowSystem> windowSystem,
        std::unique_ptr<Platform::Applications> applications);
    ~Services();
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    Platform::WindowSystem& windowSystem() const { return *m_windowSystem; }
    Platform::Applications& applications() const { return *m_applications; }
    const WindowManager& windowManager() const { return m_windowManager; }
    const RunningApps& runningApps() const { return m_runningApps; }

private:
    std::unique_ptr<Platform::WindowSystem> m_windowSystem;
    std::unique_ptr<Platform::Applications> m_applications;
    WindowManager m_windowManager;
    RunningApps m_runningApps;
};

#include "Util/Services.h"

Services::Services(const Platform::BackendChoice& backend)
    : m_windowSystem(Platform::createWindowSystem(backend)),
      m_applications(Platform::createApplications(*m_windowSystem)),
      m_windowManager(*m_windowSystem, *m_applications),
      m_runningApps(m_windowManager)
{
    m_windowManager.setLaunchSettings(LaunchSettings::fromPreferences());
}

Services::Services(std::unique_ptr<Platform::WindowSystem> windowSystem,
    std::unique_ptr<Platform::Applications> applications)
    : m_windowSystem(std::move(windowSystem)),
      m_applications(std::move(applications)),
      m_windowManager(*m_windowSystem, *m_applications),
      m_runningApps(m_windowManager)
{
}

Services::~Services() = default;

#pragma once

#include "Models/AppInfo.h"
#include "Platform/Applications.h"
#include "Platform/WindowSystem.h"

#include <QList>

// Reads windows into layouts, launches apps, and places windows. Stateless apart from the
// desktop services it is given.
class WindowManager {
public:
    WindowManager(Platform::WindowSystem& windowSystem, Platform::Applications& applications);

    Platform::WindowSystem& windowSystem() const { return m_windowSystem; }
    Platform::Applications& applications() const { return m_applications; }

    // The screen that layouts are captured for and looked up by.
    ScreenSize mainScreenSize() const;

    // One new layout per on-screen normal window of the application, front to back.
    QList<AppLayoutPtr> getAppLayout(const Platform::RunningApplication& application) const;

    // Places a running app, or launches a missing one and places it when the launch completes.
    void openApp(const AppInfoPtr& app) const;
    // openApp for each app in order, without waiting for any launch.
    void openApps(const QList<AppInfoPtr>& apps) const;
    // Whether windows of other apps can be moved here; prints the outcome and, when they
    // cannot, opens the help page that says why.
    bool checkAccessibilityTrust() const;

    // Moves every window of the process (at most 100) to the position, then the size.
    void setWindowPosition(Platform::ProcessId pid, QPointF position, QSizeF size) const;

private:
    Platform::WindowSystem& m_windowSystem;
    Platform::Applications& m_applications;
};

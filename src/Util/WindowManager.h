#pragma once

#include "Models/AppInfo.h"
#include "Platform/Applications.h"
#include "Platform/WindowSystem.h"
#include "Util/Activation.h"
#include "Util/LaunchSettings.h"

#include <QList>

#include <memory>

// Reads windows into layouts, launches apps, and places windows. Copies share the desktop
// services, the launch settings and the launches under way.
class WindowManager {
public:
    // Windows beyond this many of one app are left where they are.
    static constexpr int maxPlacedWindows = 100;

    WindowManager(Platform::WindowSystem& windowSystem, Platform::Applications& applications);

    Platform::WindowSystem& windowSystem() const { return m_windowSystem; }
    Platform::Applications& applications() const { return m_applications; }

    const LaunchSettings& launchSettings() const;
    void setLaunchSettings(const LaunchSettings& settings) const;

    // The screen that layouts are captured for and looked up by.
    ScreenSize mainScreenSize() const;

    // One new layout per on-screen normal window of the application, front to back.
    QList<AppLayoutPtr> getAppLayout(const Platform::RunningApplication& application) const;

    // Places a running app, or launches a missing one and places it once its main window is
    // on screen.
    void openApp(const AppInfoPtr& app) const;
    // openApp for each app in order, without waiting for any launch; the activation tells
    // what became of each. An app that an earlier activation is still launching is not
    // launched again: it is placed when that launch completes.
    ActivationPtr openApps(const QList<AppInfoPtr>& apps) const;
    // The same for an activation whose signals are already connected.
    void openAppsFor(const ActivationPtr& activation) const;
    // Whether windows of other apps can be moved here; prints the outcome and, when they
    // cannot, opens the help page that says why.
    bool checkAccessibilityTrust() const;

    // Moves every window of the process (at most 100) to the position, then the size.
    void setWindowPosition(Platform::ProcessId pid, QPointF position, QSizeF size) const;

private:
    struct Launches;
    struct PendingLaunch;
    struct RunningPlacement;

    void openApp(const ActivationPtr& activation, qsizetype index,
        const QList<Platform::RunningApplication>& running,
        QList<RunningPlacement>& placements) const;
    void placeRunningApps(
        const ActivationPtr& activation, const QList<RunningPlacement>& placements) const;
    void launch(const ActivationPtr& activation, qsizetype index, const QString& path,
        const QString& bundleIdentifier) const;
    void completeLaunch(const ActivationPtr& activation, qsizetype index,
        const QString& bundleIdentifier, const Platform::LaunchResult& result) const;
    void joinLaunch(const ActivationPtr& activation, qsizetype index,
        const Platform::LaunchResult& result) const;
    bool joinsEarlierLaunch(
        const ActivationPtr& activation, qsizetype index, const QString& bundleIdentifier) const;
    // Places the process's windows on the app's frame for this screen, if it has one; false
    // when there was nothing to place or the windows could not be read.
    bool placeApp(const AppInfo& app, Platform::ProcessId pid,
        std::chrono::milliseconds holdFor = {}) const;
    bool place(Platform::ProcessId pid, const Frame& frame, std::chrono::milliseconds holdFor) const;

    Platform::WindowSystem& m_windowSystem;
    Platform::Applications& m_applications;
    std::shared_ptr<Launches> m_launches;
};

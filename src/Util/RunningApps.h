#pragma once

#include "Models/AppInfo.h"
#include "Models/Workspace.h"
#include "Platform/Applications.h"

#include <QList>

class WindowManager;

// The running applications as fresh app records with their windows captured as layouts for
// the current screen, and whether the apps of a list all run.
class RunningApps {
public:
    explicit RunningApps(const WindowManager& windowManager) : m_windowManager(windowManager) { }

    // Every regular running app except the file manager ("Finder") and Vantor itself
    // ("Vantor", "Vantor Beta"), in running-application order.
    QList<AppInfoPtr> get() const;
    // Fresh records of the regular running apps whose bundle identifier one of `apps` has,
    // in running-application order; apps that do not run are absent.
    QList<AppInfoPtr> getUpdatedLayouts(const QList<AppInfoPtr>& apps) const;
    // As get(), kept to the apps whose bundle identifier the workspace's apps have.
    QList<AppInfoPtr> getFromWorkspace(const Workspace& workspace) const;
    // Every app has a bundle identifier that a regular running app has (true for none).
    bool areAllAppsRunning(const QList<AppInfoPtr>& apps) const;

private:
    QList<Platform::RunningApplication> regularApplications() const;
    // Fresh records with the apps' windows as layouts for the current screen.
    QList<AppInfoPtr> makeAppInfos(const QList<Platform::RunningApplication>& applications) const;

    const WindowManager& m_windowManager;
};

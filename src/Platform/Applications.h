#pragma once

#include "Platform/WindowSystem.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace Platform {

enum class ActivationPolicy {
    Regular = 0, // has a normal window in the task bar
    Accessory = 1, // only utility windows, or windows kept off the task bar
    Prohibited = 2,
};

// A running application: a process with managed windows, matched to its desktop entry.
struct RunningApplication {
    ProcessId processIdentifier = 0;
    std::optional<QString> bundleIdentifier; // desktop-file ID without ".desktop"
    std::optional<QString> localizedName;
    ActivationPolicy activationPolicy = ActivationPolicy::Regular;
    std::optional<QString> bundlePath; // the desktop entry's path
    int windowCount = 0;
};

// How a launch ended.
struct LaunchResult {
    enum class Outcome {
        Launched, // the app's first main window is on screen
        Failed, // the app could not be started, or ended without a window
        TimedOut, // no main window came within the time limit; the app may still start
    };
    Outcome outcome = Outcome::Launched;
    // Launched: the app as the owner of that window (the process may differ from the one
    // started: wrappers, forks, single-instance apps handing over to a running process).
    std::optional<RunningApplication> application;
    QString error; // Failed: why, in words
};

// Installed and running applications, and launching them.
class Applications {
public:
    virtual ~Applications() = default;

    // Running applications, in a stable order (oldest process first).
    virtual QList<RunningApplication> runningApplications() = 0;

    // The installed application (desktop entry path) for a bundle identifier.
    virtual std::optional<QString> applicationPath(const QString& bundleIdentifier) = 0;

    // Launches the application. The launch has completed once the app's first main window
    // (a normal top-level window; not a splash screen or a dialog) is managed and on screen.
    // The completion runs once, later, from the main thread's event loop: then, or when the
    // launch failed, or when `timeout` passed first.
    using LaunchCompletion = std::function<void(const LaunchResult& result)>;
    virtual void launch(
        const QString& path, std::chrono::milliseconds timeout, LaunchCompletion completion)
        = 0;

    // Opens a location with the user's preferred handler.
    virtual void open(const QUrl& location) = 0;
};

// An application the desktop offers in its menus.
struct InstalledApplication {
    QString name;
    QStringList icon; // as desktopEntryIcon() gives it
    QString path; // its desktop entry file
};

// Every application the desktop shows in its menus, by name (case-insensitive).
QList<InstalledApplication> installedApplications();

// Running applications from the window system's windows, matched to the desktop entries
// of this session (GIO).
std::unique_ptr<Applications> createApplications(WindowSystem& windowSystem);

// What a desktop entry file says about itself, read by the desktop's own rules. Nothing when
// the file is not a usable desktop entry (missing, malformed, or its TryExec not installed).
std::optional<QString> desktopEntryName(const QString& path);
// The entry's icon: theme icon names, best first, or absolute image file paths. Empty when
// the entry names no icon or is not usable.
QStringList desktopEntryIcon(const QString& path);

} // namespace Platform

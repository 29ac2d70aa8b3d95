#pragma once

#include "Platform/WindowSystem.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

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

// Installed and running applications, and launching them.
class Applications {
public:
    virtual ~Applications() = default;

    // Running applications, in a stable order (oldest process first).
    virtual QList<RunningApplication> runningApplications() = 0;

    // The installed application (desktop entry path) for a bundle identifier.
    virtual std::optional<QString> applicationPath(const QString& bundleIdentifier) = 0;

    // Launches the application; the completion runs once, later, from the main thread's event
    // loop, with the new process (none when the desktop started it by other means, e.g. over
    // D-Bus) or an error description.
    using LaunchCompletion = std::function<void(
        std::optional<RunningApplication> application, std::optional<QString> error)>;
    virtual void launch(const QString& path, LaunchCompletion completion) = 0;

    // Opens a location with the user's preferred handler.
    virtual void open(const QUrl& location) = 0;
};

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

#pragma once

#include "Platform/WindowSystem.h"

#include <QList>
#include <QString>
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

    // Launches the application; the completion runs once, later, with the new process or
    // an error description.
    using LaunchCompletion = std::function<void(
        std::optional<RunningApplication> application, std::optional<QString> error)>;
    virtual void launch(const QString& path, LaunchCompletion completion) = 0;

    // Opens a location with the user's preferred handler.
    virtual void open(const QUrl& location) = 0;
};

std::unique_ptr<Applications> createApplications(WindowSystem& windowSystem);

} // namespace Platform

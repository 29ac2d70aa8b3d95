#pragma once

#include "Platform/Applications.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <variant>

namespace Platform::Gio {

// A desktop entry's program as it was started.
struct StartedProcess {
    ProcessId pid = 0; // 0 when the desktop started the app over D-Bus
    QString startupId; // DESKTOP_STARTUP_ID handed to the app; empty without one
    // VANTOR_LAUNCH_ID in the environment of the process and of every process it starts.
    QByteArray launchId;
    QString entryId; // desktop-file ID without ".desktop"
    QString entryPath;
    QString name;
    QString program;
};

// Starts the application of a desktop entry the way the desktop does (field codes, Path,
// Terminal, startup notification), never through a shell. Its output goes to the user's
// journal, or nowhere: never to Vantor's own. The started process, or why it failed. Safe
// to call from any thread.
std::variant<StartedProcess, QString> startDesktopEntry(const QString& path);

} // namespace Platform::Gio

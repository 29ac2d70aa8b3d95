#pragma once

#include "Platform/Applications.h"

#include <QString>

namespace Platform::Gio {

// Starts the application of a desktop entry the way the desktop does (field codes, Path,
// Terminal, startup notification), never through a shell. The completion runs later from
// the main loop with the new process or GIO's error; the child is reaped when it exits.
void launchDesktopEntry(const QString& path, Applications::LaunchCompletion completion);

// Runs `task` once from the main loop (the thread-default GLib context of the caller).
void runLater(std::function<void()> task);

} // namespace Platform::Gio

#pragma once

#include <QLoggingCategory>

// One category per subsystem, for diagnostics beyond the console lines.
Q_DECLARE_LOGGING_CATEGORY(lcStore)
Q_DECLARE_LOGGING_CATEGORY(lcWindows)
Q_DECLARE_LOGGING_CATEGORY(lcApps)
Q_DECLARE_LOGGING_CATEGORY(lcShell)
Q_DECLARE_LOGGING_CATEGORY(lcCli)
// Update checks: a failed check reaches no screen, and is told here at info level only.
Q_DECLARE_LOGGING_CATEGORY(lcUpdate)

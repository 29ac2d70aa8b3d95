#pragma once

#include <QLoggingCategory>

namespace KeyboardShortcuts {

// Diagnostics of the shortcut library, beyond its console lines.
Q_DECLARE_LOGGING_CATEGORY(lcShortcuts)

} // namespace KeyboardShortcuts

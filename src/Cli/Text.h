#pragma once

#include <QString>

namespace Cli::Text {

// The text as it can be shown on a terminal: control characters (which could move the
// cursor, clear the screen or retitle the window) written as escapes, "\n", "\t", "\x1b"...
// Stored names keep them; only what is shown changes.
QString printable(const QString& text);

} // namespace Cli::Text

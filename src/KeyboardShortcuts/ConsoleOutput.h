#pragma once

#include <QString>

#include <functional>

// The console lines of the shortcut library ("Error registering hotkey ⌘1: -9878"): standard
// output, one line each. The host application or a test may take them over with a sink.
namespace KeyboardShortcuts::ConsoleOutput {

void print(const QString& line);

using Sink = std::function<void(const QString& line)>;
// Replaces where lines go and returns the previous sink; an empty sink restores stdout.
Sink setSink(Sink sink);

} // namespace KeyboardShortcuts::ConsoleOutput

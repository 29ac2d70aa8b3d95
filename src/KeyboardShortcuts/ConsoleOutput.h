#pragma once

#include <QString>

#include <cstdio>
#include <functional>

// The console lines of the shortcut library ("Error registering hotkey ⌘1: -9878"): standard
// output, one line each. A host application prints its own lines here too, so that all of
// them go one way; it or a test may take them over with a sink, or turn them to another
// stream.
namespace KeyboardShortcuts::ConsoleOutput {

void print(const QString& line);

using Sink = std::function<void(const QString& line)>;
// Replaces where lines go and returns the previous sink; an empty sink restores stdout.
Sink setSink(Sink sink);
// Where lines go without a sink: standard output unless another stream is named.
void printTo(std::FILE* stream);

} // namespace KeyboardShortcuts::ConsoleOutput

#pragma once

#include <QString>

#include <cstdio>
#include <functional>

// The console lines through which Vantor reports what it did ("App launched successfully
// with bundle identifier: ..."). They go to standard output, one line each; the command
// line sends them to standard error when standard output carries JSON.
namespace Console {

void print(const QString& line);

using Sink = std::function<void(const QString& line)>;
// Replaces where lines go; returns the previous sink. An empty sink restores stdout.
Sink setSink(Sink sink);
void printTo(std::FILE* stream);

} // namespace Console

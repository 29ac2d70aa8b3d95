#pragma once

#include <KeyboardShortcuts/ConsoleOutput.h>

// The console lines through which Vantor reports what it did ("App launched successfully
// with bundle identifier: ..."). They share one way out with the shortcut library's lines:
// standard output, one line each; the command line turns them to standard error when
// standard output carries JSON.
namespace Console = KeyboardShortcuts::ConsoleOutput;

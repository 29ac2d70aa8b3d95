#pragma once

#include <QStringList>

#include <span>

// Vantor's command line: `vantor COMMAND [ARGUMENTS]` for scripts and window-manager key
// bindings. It uses the same core as the tray app.
namespace Cli {

enum ExitCode { Success = 0, RuntimeFailure = 1, UsageError = 2 };

struct Invocation {
    QStringList arguments; // after the command name, options removed
    bool json = false; // --json: stdout holds only JSON, console lines go to stderr
};

struct Command {
    const char* name;
    const char* usage;
    const char* summary;
    int (*run)(const Invocation& invocation);
};

// Whether `vantor` was asked to run a command rather than start the tray app.
bool isCommandLineInvocation(const QStringList& arguments);

// Runs the command named by arguments[1]; returns the process exit code.
int run(const QStringList& arguments);

// Prints a one-line error to stderr and returns `code`.
int fail(ExitCode code, const QString& message);
// Writes text (a line, or JSON) to stdout.
void output(const QString& text);

} // namespace Cli

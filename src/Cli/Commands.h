#pragma once

#include "Cli/CommandLine.h"

#include <vector>

namespace Cli {

// Debugging commands for windows: `windows`, `place`.
std::vector<Command> windowCommands();

// Workspaces: `list`, `show`, `apps`, `capture`, `activate`, `update`, `delete`.
std::vector<Command> workspaceCommands();

// Every command, in the order `vantor --help` lists them.
std::vector<Command> allCommands();

} // namespace Cli

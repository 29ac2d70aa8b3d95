#include "Cli/Commands.h"

namespace Cli {

std::vector<Command> allCommands()
{
    std::vector<Command> all;
    for (auto group : {workspaceCommands, windowCommands})
        for (const Command& command : group())
            all.push_back(command);
    return all;
}

} // namespace Cli

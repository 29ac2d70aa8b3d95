#include "Cli/Commands.h"

namespace Cli {

std::vector<Command> windowCommands()
{
    return {};
}

} // namespace Cli

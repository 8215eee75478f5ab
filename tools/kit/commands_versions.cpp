// velq versions.
#include "kit/commands.h"

namespace velq::kit {

void addVersionsCommand(CLI::App &root, Context &)
{
    root.add_subcommand("versions");
}

} // namespace velq::kit

// velq explain.
#include "kit/commands.h"

namespace velq::kit {

void addExplainCommand(CLI::App &root, Context &)
{
    root.add_subcommand("explain");
}

} // namespace velq::kit

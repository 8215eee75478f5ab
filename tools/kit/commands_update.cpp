// velq update.
#include "kit/commands.h"

namespace velq::kit {

void addUpdateCommand(CLI::App &root, Context &)
{
    root.add_subcommand("update");
}

} // namespace velq::kit

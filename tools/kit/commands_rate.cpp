// velq rate.
#include "kit/commands.h"

namespace velq::kit {

void addRateCommand(CLI::App &root, Context &)
{
    root.add_subcommand("rate");
}

} // namespace velq::kit

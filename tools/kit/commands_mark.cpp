// velq mark.
#include "kit/commands.h"

namespace velq::kit {

void addMarkCommand(CLI::App &root, Context &)
{
    root.add_subcommand("mark");
}

} // namespace velq::kit

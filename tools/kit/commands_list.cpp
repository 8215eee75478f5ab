// velq list.
#include "kit/commands.h"

namespace velq::kit {

void addListCommand(CLI::App &root, Context &)
{
    root.add_subcommand("list");
}

} // namespace velq::kit

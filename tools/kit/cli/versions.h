// The installed versions of the data, as `versions` and `update` print them.
#ifndef VELQ_KIT_CLI_VERSIONS_H
#define VELQ_KIT_CLI_VERSIONS_H

#include "kit/cli/commands.h"
#include "kit/engine/installation.h"

namespace velq::kit {

void printVersions(const Engine &engine, Context &context);

} // namespace velq::kit

#endif

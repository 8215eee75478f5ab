// The installed versions of the data, as `versions` and `update` print them.
#ifndef VELQ_KIT_CLI_VERSIONS_H
#define VELQ_KIT_CLI_VERSIONS_H

#include "kit/cli/options.h"
#include "kit/engine/engine.h"

namespace velq::kit {

// As text or, with --json, as JSON.
void printVersions(const Engine &engine, Context &context);

} // namespace velq::kit

#endif

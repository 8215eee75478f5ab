// The installed versions of the data, as `versions` and `update` print them.
#ifndef VELQ_KIT_CLI_VERSIONS_H
#define VELQ_KIT_CLI_VERSIONS_H

#include "kit/cli/options.h"
#include "kit/engine/engine.h"

#include <cstdint>

namespace velq::kit {

// Of one kind of data: VELQ_DATA_...
std::int32_t installedVersion(const Engine &engine, std::int32_t kind);

// As text or, with --json, as JSON.
void printVersions(const Engine &engine, Context &context);

} // namespace velq::kit

#endif

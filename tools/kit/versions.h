// The installed versions of the data, as `versions` and `update` print them.
#ifndef VELQ_KIT_VERSIONS_H
#define VELQ_KIT_VERSIONS_H

#include "kit/commands.h"
#include "kit/installation.h"

namespace velq::kit {

void printVersions(const Engine &engine, Context &context);

} // namespace velq::kit

#endif

// The options of what builds tuned stores: store build and evaluate.
#ifndef VELQ_KIT_CLI_BUILD_OPTIONS_H
#define VELQ_KIT_CLI_BUILD_OPTIONS_H

#include "kit/learning/build_rules.h"
#include "kit/learning/written_source.h"

#include <CLI/App.hpp>

namespace velq::kit {

// --cost-blocked, --cost-unsure, --at-least-clusters.
void addBuildRuleOptions(CLI::App &command, BuildRules &rules);

// --written, --variants.
void addWrittenOptions(CLI::App &command, WrittenRequest &written);

} // namespace velq::kit

#endif

// velq rate --json-lines: a filter between pipes.
#ifndef VELQ_KIT_CLI_RATE_PIPE_H
#define VELQ_KIT_CLI_RATE_PIPE_H

#include "kit/cli/options.h"

#include <string>

namespace velq::kit {

// Answers each line of standard input with a line before it reads the next. A line that cannot be rated is answered
// with its fault. Throws Error where the installation or a stream ends the whole run.
void runRatePipe(const std::string &install, TextForm form, Context &context);

} // namespace velq::kit

#endif

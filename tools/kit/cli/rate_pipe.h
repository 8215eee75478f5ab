// velq rate --json-lines: a filter between pipes.
#ifndef VELQ_KIT_CLI_RATE_PIPE_H
#define VELQ_KIT_CLI_RATE_PIPE_H

#include "kit/cli/options.h"

#include <string>

namespace velq::kit {

struct PipeOptions {
    TextForm form = TextForm::prepared;
    bool dryRun = false; // nothing is learned, and lists and counts are those of the start
    NumberForm country;
};

// Answers each line of standard input with a line before it reads the next. A line that cannot be rated, and an empty
// one, is answered with its fault. Waits some seconds for files that are in use at the start. Throws Error where the
// installation or a stream ends the whole run.
void runRatePipe(const std::string &install, const PipeOptions &options, Context &context);

} // namespace velq::kit

#endif

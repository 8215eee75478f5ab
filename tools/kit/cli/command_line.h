// The velq command line: the table of all commands, and running one of them.
#ifndef VELQ_KIT_CLI_COMMAND_LINE_H
#define VELQ_KIT_CLI_COMMAND_LINE_H

#include <istream>
#include <ostream>

namespace velq::kit {

// Runs the command that the arguments name and returns the exit status. Failures leave one line on `err`.
int runCommandLine(int argc, const char *const *argv, std::istream &in, std::ostream &out, std::ostream &err);

} // namespace velq::kit

#endif

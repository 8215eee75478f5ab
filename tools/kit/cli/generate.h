// The manual page and the bash completion, written from the command table.
#ifndef VELQ_KIT_CLI_GENERATE_H
#define VELQ_KIT_CLI_GENERATE_H

#include <CLI/App.hpp>
#include <ostream>
#include <string>

namespace velq::kit {

// A page for man(1) with every command, option and example.
void writeManualPage(std::ostream &out, const CLI::App &root, const std::string &version);

// Completes commands and options; file names everywhere else.
void writeBashCompletion(std::ostream &out, const CLI::App &root);

} // namespace velq::kit

#endif

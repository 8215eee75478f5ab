// Exit statuses and the one exception of the kit. Whoever finds a failure throws; the command line turns it into one
// line on standard error and the exit status.
#ifndef VELQ_KIT_BASE_STATUS_H
#define VELQ_KIT_BASE_STATUS_H

#include <stdexcept>
#include <string>

namespace velq::kit {

// The values of <sysexits.h>, so that they stay apart from the verdicts of `rate --exit-code`.
enum class Status : int {
    done = 0,
    usage = 64,        // the command line is wrong
    badData = 65,      // an input file's content is wrong
    noInput = 66,      // an input file does not exist or cannot be opened
    internal = 70,     // a fault of this program
    cannotCreate = 73, // an output file cannot be created
    inputOutput = 74   // reading or writing failed
};

// The message says what, where and what to do, in one line and without the program's name.
class Error : public std::runtime_error {
  public:
    Error(Status status, const std::string &message) : std::runtime_error(message), status_(status) {}

    Status status() const
    {
        return status_;
    }

  private:
    Status status_;
};

} // namespace velq::kit

#endif

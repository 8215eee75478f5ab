// Exit statuses, with what they mean, and the one exception of the kit. Whoever finds a failure throws; the command
// line turns it into one line on standard error and the exit status.
#ifndef VELQ_KIT_BASE_STATUS_H
#define VELQ_KIT_BASE_STATUS_H

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sysexits.h>

namespace velq::kit {

// The system's values for programs, so that they stay apart from the verdicts of `rate --exit-code`.
enum class Status : int {
    done = EX_OK,
    usage = EX_USAGE,
    badData = EX_DATAERR,
    noInput = EX_NOINPUT,
    internal = EX_SOFTWARE,
    cannotCreate = EX_CANTCREAT,
    inputOutput = EX_IOERR
};

struct StatusMeaning {
    Status status;
    std::string_view meaning; // a sentence without its full stop
};

// All of them, in ascending order: what the manual page is made from and the documents are checked against.
inline constexpr std::array<StatusMeaning, 7> statusMeanings = {
    {{Status::done, "Done"},
     {Status::usage, "The command line is wrong"},
     {Status::badData, "An input file's content is wrong"},
     {Status::noInput, "An input file or an installation is missing"},
     {Status::internal, "A fault of this program"},
     {Status::cannotCreate, "An output file cannot be created or exists already"},
     {Status::inputOutput, "Reading or writing failed"}}};

// What `rate --exit-code` exits with when it is done.
struct VerdictStatus {
    int number;
    std::string_view rating;
    std::string_view meaning;
};

// Ham first: its status is that of done.
inline constexpr std::array<VerdictStatus, 3> verdictStatuses = {
    {{0, "ham", "the message is ham"}, {1, "spam", "the message is spam"}, {2, "unsure", "the engine is unsure"}}};

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

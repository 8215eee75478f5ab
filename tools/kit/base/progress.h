// A progress bar on standard error: on a terminal only, after the first second, never with --quiet. It takes itself off
// the screen.
#ifndef VELQ_KIT_BASE_PROGRESS_H
#define VELQ_KIT_BASE_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace velq::kit {

enum class ProgressWhen { never, onTerminal, always };

class Progress {
  public:
    // `total` 0 stands for an unknown total: a count is shown instead of a bar. `always` is for tests.
    Progress(std::ostream &err, std::string title, std::uint64_t total, ProgressWhen when);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // The steps done so far, in all. Cheap enough for each message.
    void reached(std::uint64_t done);

  private:
    void draw(std::uint64_t done);

    std::ostream &err_;
    std::string title_;
    std::uint64_t total_;
    bool enabled_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point next_;
};

bool standardErrorIsTerminal();
bool standardOutputIsTerminal();

} // namespace velq::kit

#endif

// Drawing of the progress bar.
#include "kit/base/progress.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace velq::kit {

using namespace std::chrono_literals;

bool standardErrorIsTerminal()
{
    return isatty(STDERR_FILENO) != 0;
}

bool standardOutputIsTerminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

Progress::Progress(std::ostream &err, std::string title, std::uint64_t total, ProgressWhen when)
    : err_(err), title_(std::move(title)), total_(total),
      enabled_(when == ProgressWhen::always || (when == ProgressWhen::onTerminal && standardErrorIsTerminal())),
      next_(std::chrono::steady_clock::now() + (when == ProgressWhen::always ? 0s : 1s))
{
}

Progress::~Progress()
{
    if (drawn_) {
        err_ << "\r\x1B[K" << std::flush;
    }
}

void Progress::reached(std::uint64_t done)
{
    if (!enabled_) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now >= next_) {
        draw(done);
        next_ = now + 100ms;
    }
}

void Progress::draw(std::uint64_t done)
{
    drawn_ = true;
    err_ << "\r\x1B[K" << title_ << ' ';
    if (total_ == 0) {
        err_ << done << std::flush;
        return;
    }
    constexpr std::size_t width = 30;
    const std::uint64_t shown = std::min(done, total_);
    const auto filled = static_cast<std::size_t>(shown * width / total_);
    err_ << '[' << std::string(filled, '#') << std::string(width - filled, '.') << "] " << shown * 100 / total_ << " %"
         << std::flush;
}

} // namespace velq::kit

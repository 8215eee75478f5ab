// Verdicts on messages that the receiver has not taken yet. A gateway sends such a message again, perhaps for hours: it
// must not be learned each time.
#ifndef VELQ_KIT_SERVE_PENDING_VERDICTS_H
#define VELQ_KIT_SERVE_PENDING_VERDICTS_H

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace velq::kit {

// Used from any thread. Beyond a bound the oldest are forgotten.
class PendingVerdicts {
  public:
    explicit PendingVerdicts(std::size_t most) : most_(most) {}

    std::optional<std::string> find(const std::string &message) const
    {
        const std::scoped_lock lock(mutex_);
        const auto found = verdicts_.find(message);
        return found == verdicts_.end() ? std::nullopt : std::optional(found->second);
    }
    void keep(const std::string &message, const std::string &verdict)
    {
        const std::scoped_lock lock(mutex_);
        if (!verdicts_.insert_or_assign(message, verdict).second) {
            return;
        }
        order_.push_back(message);
        while (order_.size() > most_) {
            verdicts_.erase(order_.front());
            order_.pop_front();
        }
    }
    void forget(const std::string &message)
    {
        const std::scoped_lock lock(mutex_);
        if (verdicts_.erase(message) > 0) {
            std::erase(order_, message);
        }
    }

  private:
    std::size_t most_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> verdicts_;
    std::deque<std::string> order_; // the oldest first
};

} // namespace velq::kit

#endif

// What the service has done, as Prometheus reads it.
#ifndef VELQ_KIT_SERVE_METRICS_H
#define VELQ_KIT_SERVE_METRICS_H

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace velq::kit {

// How things stand at the moment of asking.
struct Gauges {
    std::size_t queueLength = 0;
    std::size_t queueLimit = 0;
    std::size_t connections = 0;
    std::size_t connectionLimit = 0;
    std::size_t forwarding = 0;
};

// Counted from any thread.
class Metrics {
  public:
    void rated(const std::string &verdict, const std::string &reason, std::int64_t microseconds);
    void corrected(const std::string &kind); // "ham", "spam" or "undo"
    void failed(const std::string &problem); // by the name of its kind
    void answered(const std::string &path, unsigned status, std::int64_t microseconds);
    void forwarded(const std::string &verdict, const std::string &outcome); // "taken", "refused", "unreachable", "held"
    void journalFailed();

    // The text format 0.0.4.
    std::string text(const Gauges &gauges) const;

  private:
    static constexpr std::size_t bucketCount = 14;

    // Of durations.
    struct Histogram {
        std::array<std::uint64_t, bucketCount> buckets{};
        std::uint64_t count = 0;
        std::int64_t microseconds = 0;

        void add(std::int64_t duration);
        std::string text(const std::string &name, const std::string &help) const;
    };
    using Pair = std::pair<std::string, std::string>;

    mutable std::mutex mutex_;
    std::map<Pair, std::uint64_t> ratings_;
    std::map<std::string, std::uint64_t> corrections_;
    std::map<std::string, std::uint64_t> failures_;
    std::map<Pair, std::uint64_t> requests_;
    std::map<Pair, std::uint64_t> forwarded_;
    std::uint64_t journalFailures_ = 0;
    Histogram rating_;
    Histogram request_;
};

} // namespace velq::kit

#endif

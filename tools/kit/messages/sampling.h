// Which messages are for training and which for testing: seeded stratified folds, with groups kept together or without,
// the first messages against the rest, or a sample of a stream.
#ifndef VELQ_KIT_MESSAGES_SAMPLING_H
#define VELQ_KIT_MESSAGES_SAMPLING_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace velq::kit {

// A sequence of numbers that depends on the seed alone, the same on every machine and with every library.
class SeededSequence {
  public:
    explicit SeededSequence(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next();
    // Below `bound`, which must not be 0, each value equally likely.
    template <std::unsigned_integral Number>
    Number below(Number bound)
    {
        return static_cast<Number>(drawBelow(bound));
    }

  private:
    std::uint64_t drawBelow(std::uint64_t bound);

    std::uint64_t state_;
};

void shuffle(std::vector<std::size_t> &items, SeededSequence &sequence);

// Indices into the labelled messages, each list in ascending order.
struct Split {
    std::vector<std::size_t> training;
    std::vector<std::size_t> test;
};

// `strata` gives each message's stratum (its class, and where it comes from). Every stratum is spread over the folds so
// that the shares differ by at most one message. Each message is tested exactly once. `folds` is at least 2 and at most
// the number of messages.
std::vector<Split> stratifiedFolds(const std::vector<std::uint32_t> &strata, std::size_t folds, std::uint64_t seed);

// The same with groups that are never torn apart: all members of a group are tested in one fold. `groups` gives each
// message's group, counted from 0. The shares of the strata differ as little as the groups allow. `folds` is at most
// the number of groups; then no fold is empty.
std::vector<Split> groupedFolds(const std::vector<std::uint32_t> &strata, const std::vector<std::uint32_t> &groups,
                                std::size_t folds, std::uint64_t seed);

// The first `trainingCount` messages against the rest.
Split splitAfter(std::size_t messages, std::size_t trainingCount);

// The indices in a seeded order in which every stratum is spread evenly: each beginning of the order holds about the
// same shares as the whole.
std::vector<std::size_t> stratifiedOrder(const std::vector<std::uint32_t> &strata, std::uint64_t seed);

// Keeps a fair sample of a stream whose length is not known before its end: of each stratum at most `perStratum`
// members, each member equally likely to be kept. Which place a kept member takes is told by `place`.
class Reservoir {
  public:
    static constexpr std::size_t notKept = static_cast<std::size_t>(-1);

    Reservoir(std::size_t perStratum, std::uint64_t seed) : perStratum_(perStratum), sequence_(seed) {}

    // For the next member of the stream: the place of its stratum where it goes, or notKept. A place that was taken
    // before is to be overwritten.
    std::size_t place(std::uint32_t stratum);

    std::uint64_t seen(std::uint32_t stratum) const
    {
        return stratum < seen_.size() ? seen_[stratum] : 0;
    }

  private:
    std::size_t perStratum_;
    SeededSequence sequence_;
    std::vector<std::uint64_t> seen_;
};

} // namespace velq::kit

#endif

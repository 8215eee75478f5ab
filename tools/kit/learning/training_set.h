// What a tuned store is learned from: of each class of each source all messages while they are few, a sample of them
// when they are many. It is taken in one message at a time, in memory that does not grow with their number.
#ifndef VELQ_KIT_LEARNING_TRAINING_SET_H
#define VELQ_KIT_LEARNING_TRAINING_SET_H

#include "kit/messages/labelled_text.h"
#include "kit/messages/sampling.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// The messages of one class of one source that a tuned store is learned from at most. Further ones cost time and hardly
// change a verdict.
inline constexpr std::size_t usualSample = 12000;

class TrainingSet {
  public:
    // `seed` decides the sample and everything random in the building of a store from it.
    explicit TrainingSet(std::uint64_t seed, std::size_t sample = usualSample) : seed_(seed), reservoir_(sample, seed)
    {
    }

    // Sources are counted from 0.
    void add(bool spam, std::u16string_view text, std::uint32_t source = 0);

    // Added so far, of one class and in all.
    std::uint64_t added(bool spam) const
    {
        return added_[spam ? 1 : 0];
    }
    std::uint64_t added() const
    {
        return added(false) + added(true);
    }

    // The messages to learn from, in the order of adding.
    std::vector<LabelledText> messages() const;
    // Their number.
    std::size_t size() const;

    std::uint64_t seed() const
    {
        return seed_;
    }

  private:
    struct Kept {
        std::uint64_t position = 0; // among all messages added
        std::u16string text;
    };

    std::uint64_t seed_;
    Reservoir reservoir_;
    std::uint64_t added_[2] = {0, 0};     // of ham and of spam
    std::vector<std::vector<Kept>> kept_; // of each class of each source
};

} // namespace velq::kit

#endif

// What a tuned store is learned from: all messages while they are few, a sample of them when they are many. It is taken
// in one message at a time, in memory that does not grow with their number.
#ifndef VELQ_KIT_LEARNING_TRAINING_SET_H
#define VELQ_KIT_LEARNING_TRAINING_SET_H

#include "kit/messages/labelled_text.h"
#include "kit/messages/sampling.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// The messages that a tuned store is learned from at most. Further ones cost time and hardly change a verdict.
inline constexpr std::size_t usualSample = 20000;

class TrainingSet {
  public:
    // `seed` decides the sample and everything random in the building of a store from it. While messages are added, up
    // to `sample` of each class are held.
    explicit TrainingSet(std::uint64_t seed, std::size_t sample = usualSample)
        : seed_(seed), sample_(sample), reservoir_(sample, seed)
    {
    }

    void add(bool spam, std::u16string_view text);

    // Added so far, of one class and in all.
    std::uint64_t added(bool spam) const
    {
        return reservoir_.seen(spam ? 1 : 0);
    }
    std::uint64_t added() const
    {
        return added(false) + added(true);
    }

    // The messages to learn from, in the order of adding: all of them while they are no more than the sample holds,
    // else that many (give or take one), the classes in the shares that all messages have. A class that was added is
    // never left out.
    std::vector<LabelledText> messages() const;
    // Their number.
    std::size_t size() const
    {
        return wanted(false) + wanted(true);
    }

    std::uint64_t seed() const
    {
        return seed_;
    }

  private:
    struct Kept {
        std::uint64_t position = 0; // among all messages added
        std::u16string text;
    };

    std::size_t wanted(bool spam) const;

    std::uint64_t seed_;
    std::size_t sample_;
    Reservoir reservoir_;
    std::array<std::vector<Kept>, 2> kept_; // of ham and of spam
};

} // namespace velq::kit

#endif

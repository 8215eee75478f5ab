// Pieces of random length and place.
#include "kit/learning/crops.h"

#include "kit/messages/sampling.h"

#include <cstddef>

namespace velq::kit {

void forEachCrop(const std::vector<FilteredText> &messages, std::uint64_t seed,
                 const std::function<void(const FilteredText &)> &take)
{
    constexpr std::size_t leastLength = 12;
    constexpr double cropWeight = 0.5; // of the message's
    constexpr int cropsOfMessage = 2;
    SeededSequence sequence(seed);
    for (const FilteredText &message : messages) {
        const std::size_t length = message.text.size();
        FilteredText crop = message;
        crop.weight = message.weight * cropWeight;
        for (int i = 0; i < cropsOfMessage && length > leastLength; ++i) {
            const std::size_t cropLength = leastLength + sequence.below(length - leastLength);
            crop.text = message.text.substr(sequence.below(length - cropLength + 1), cropLength);
            take(crop);
        }
    }
}

} // namespace velq::kit

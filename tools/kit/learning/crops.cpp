// Pieces of random length and place.
#include "kit/learning/trial.h"
#include "kit/learning/crops.h"

#include "kit/learning/build_rules.h"
#include "kit/messages/sampling.h"

#include <cstddef>

namespace velq::kit {

void forEachCrop(const std::vector<FilteredText> &messages, std::uint64_t seed,
                 const std::function<void(const FilteredText &)> &take)
{
    constexpr std::size_t leastLength = 12;
    const double cropWeight = trial("CROP", 0.5);
    const int cropsOfMessage = static_cast<int>(trial("NCROPS", 2));
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

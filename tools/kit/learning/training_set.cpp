// Each class has a reservoir of the whole sample's size, since its share is known only at the end. Then the reservoir's
// first places give the class as much as its share asks for.
#include "kit/learning/training_set.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velq::kit {

void TrainingSet::add(bool spam, std::u16string_view text)
{
    const std::uint64_t position = added();
    const std::size_t place = reservoir_.place(spam ? 1 : 0);
    if (place == Reservoir::notKept) {
        return;
    }
    std::vector<Kept> &kept = kept_[spam ? 1 : 0];
    kept.resize(std::max(kept.size(), place + 1));
    kept[place] = {position, std::u16string(text)};
}

// How many of a class are learned from.
std::size_t TrainingSet::wanted(bool spam) const
{
    const std::size_t held = kept_[spam ? 1 : 0].size();
    if (added() <= sample_) {
        return held;
    }
    const auto share = static_cast<double>(added(spam)) / static_cast<double>(added());
    const auto rounded = static_cast<std::size_t>(std::llround(share * static_cast<double>(sample_)));
    return std::min(held, std::max<std::size_t>(rounded, 1));
}

std::vector<LabelledText> TrainingSet::messages() const
{
    std::vector<std::pair<bool, const Kept *>> chosen;
    for (const bool spam : {false, true}) {
        for (std::size_t i = 0; i < wanted(spam); ++i) {
            chosen.emplace_back(spam, &kept_[spam ? 1 : 0][i]);
        }
    }
    std::sort(chosen.begin(), chosen.end(),
              [](const auto &a, const auto &b) { return a.second->position < b.second->position; });
    std::vector<LabelledText> messages;
    messages.reserve(chosen.size());
    for (const auto &[spam, kept] : chosen) {
        messages.push_back({spam, kept->text});
    }
    return messages;
}

} // namespace velq::kit

// Each class of each source has a reservoir of its own.
#include "kit/learning/training_set.h"

#include <algorithm>
#include <utility>

namespace velq::kit {

void TrainingSet::add(bool spam, std::u16string_view text, std::uint32_t source)
{
    const std::uint64_t position = added();
    ++added_[spam ? 1 : 0];
    const std::uint32_t stratum = 2 * source + (spam ? 1 : 0);
    const std::size_t place = reservoir_.place(stratum);
    if (place == Reservoir::notKept) {
        return;
    }
    kept_.resize(std::max(kept_.size(), std::size_t{stratum} + 1));
    std::vector<Kept> &kept = kept_[stratum];
    kept.resize(std::max(kept.size(), place + 1));
    kept[place] = {position, std::u16string(text)};
}

std::vector<LabelledText> TrainingSet::messages() const
{
    struct Chosen {
        std::uint32_t stratum;
        const Kept *kept;
    };
    std::vector<Chosen> chosen;
    for (std::uint32_t stratum = 0; stratum < kept_.size(); ++stratum) {
        for (const Kept &kept : kept_[stratum]) {
            chosen.push_back({stratum, &kept});
        }
    }
    std::sort(chosen.begin(), chosen.end(),
              [](const Chosen &a, const Chosen &b) { return a.kept->position < b.kept->position; });
    std::vector<LabelledText> messages;
    messages.reserve(chosen.size());
    for (const Chosen &one : chosen) {
        messages.push_back({one.stratum % 2 == 1, one.kept->text, one.stratum / 2});
    }
    return messages;
}

std::size_t TrainingSet::size() const
{
    std::size_t size = 0;
    for (const std::vector<Kept> &kept : kept_) {
        size += kept.size();
    }
    return size;
}

} // namespace velq::kit

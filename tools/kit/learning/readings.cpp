// Clusters go by the prepared texts, so that a disguised copy joins its original.
#include "kit/learning/readings.h"

#include "kit/messages/near_duplicates.h"
#include "kit/messages/text_form.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace velq::kit {

namespace {

constexpr double rawPart = 0.5; // of a message that reads otherwise when it is prepared

} // namespace

std::vector<FilteredText> readingsOf(const std::vector<LabelledText> &messages, Readings readings)
{
    std::vector<std::u16string> prepared;
    prepared.reserve(messages.size());
    for (const LabelledText &message : messages) {
        prepared.push_back(readings == Readings::raw ? message.text : utf16InForm(TextForm::prepared, message.text));
    }
    const std::vector<std::u16string_view> texts(prepared.begin(), prepared.end());
    const std::vector<std::uint32_t> clusters = clusterNearDuplicates(texts);
    std::vector<FilteredText> all;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const LabelledText &message = messages[i];
        FilteredText reading{message.spam, filterText(prepared[i]), 1, message.source, clusters[i]};
        std::u16string raw = filterText(message.text);
        if (raw != reading.text) {
            reading.weight = 1 - rawPart;
            all.push_back({message.spam, std::move(raw), rawPart, message.source, clusters[i]});
        }
        all.push_back(std::move(reading));
    }
    return all;
}

} // namespace velq::kit

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

FilteredText readingOf(const LabelledText &message, std::u16string_view text, std::uint32_t cluster)
{
    return {message.spam, filterText(text), 1, message.source, cluster, wordBegins(text)};
}

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
        FilteredText reading = readingOf(message, prepared[i], clusters[i]);
        if (FilteredText raw = readingOf(message, message.text, clusters[i]); raw.text != reading.text) {
            reading.weight = 1 - rawPart;
            raw.weight = rawPart;
            all.push_back(std::move(raw));
        }
        all.push_back(std::move(reading));
    }
    return all;
}

} // namespace velq::kit

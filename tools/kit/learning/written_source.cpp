// Languages are numbered as they come.
#include "kit/learning/written_source.h"

#include "kit/base/wide_text.h"
#include "kit/messages/written_messages.h"

#include <map>

namespace velq::kit {

std::vector<LabelledText> writtenTexts(const WrittenRequest &request, std::uint64_t seed, std::uint32_t firstSource)
{
    std::vector<LabelledText> texts;
    if (request.folder.empty()) {
        return texts;
    }
    std::map<std::string, std::uint32_t> sources;
    readWrittenMessages(request.folder, request.variants, seed, [&](WrittenMessage &&written) {
        const auto next = firstSource + static_cast<std::uint32_t>(sources.size());
        const std::uint32_t source = sources.emplace(written.language, next).first->second;
        texts.push_back({written.message.label == Label::spam,
                         utf16FromUtf8(written.message.text).value_or(std::u16string()), source});
    });
    return texts;
}

} // namespace velq::kit

// Reads a folder of messages that were written as templates: files <language>_<kind>.tsv of a label, a tab and a
// template, and <language>.values of a slot's name, a tab and its values with bars between them. Lines that begin with
// # are comments.
#ifndef VELQ_KIT_MESSAGES_WRITTEN_MESSAGES_H
#define VELQ_KIT_MESSAGES_WRITTEN_MESSAGES_H

#include "kit/messages/corpus.h"

#include <cstdint>
#include <functional>
#include <string>

namespace velq::kit {

struct WrittenMessage {
    std::string language;
    LabelledMessage message; // its line is the template's
};

// Calls `take` for `variants` different variants of each template, or as many as were found where a template has fewer;
// files by name, templates in their order. What a template gives depends on its own text, its slots and the seed alone.
// Throws Error: noInput, badData with file and line.
void readWrittenMessages(const std::string &folder, std::uint64_t variants, std::uint64_t seed,
                         const std::function<void(WrittenMessage &&)> &take);

} // namespace velq::kit

#endif

// Reads labelled messages one at a time, whatever their number: label-tab-text, CSV with a header, JSON lines. Input
// that is not as it should be ends the reading with an Error that names the file and the line.
#ifndef VELQ_KIT_MESSAGES_CORPUS_H
#define VELQ_KIT_MESSAGES_CORPUS_H

#include <cstdint>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace velq::kit {

enum class Label : std::uint8_t { spam, ham };

struct LabelledMessage {
    Label label = Label::ham;
    std::string text;       // UTF-8 without a zero character
    std::uint64_t line = 0; // where the message begins in its file, counted from 1
};

enum class CorpusFormat {
    byName,       // by the file name's ending: .tsv .txt, .csv, .jsonl .ndjson; standard input is labelTabText
    labelTabText, // ham or spam, a tab, the text
    csv,          // a header that names the columns label and text, in any order, among others; RFC 4180 quoting
    jsonLines     // one object a line with the members label and text, among others
};

// "ham" or "spam"; none for other words. The word for a label.
bool parseLabel(std::string_view word, Label &label);
std::string_view labelName(Label label);

// Calls `take` for each message in the file's order. "-" reads `standardInput`. Empty lines are passed over. Throws
// Error: noInput for a file that cannot be opened, usage for an unknown ending, badData, inputOutput; and what `take`
// throws.
void readCorpus(const std::string &file, CorpusFormat format, std::istream &standardInput,
                const std::function<void(LabelledMessage &&)> &take);

} // namespace velq::kit

#endif

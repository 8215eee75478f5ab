// The three corpus formats.
#include "kit/messages/corpus.h"

#include "kit/base/csv.h"
#include "kit/base/input.h"
#include "kit/base/letter_case.h"
#include "kit/base/wide_text.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

namespace velq::kit {

bool parseLabel(std::string_view word, Label &label)
{
    const std::string small = inSmallLetters(word);
    if (small != "ham" && small != "spam") {
        return false;
    }
    label = small == "ham" ? Label::ham : Label::spam;
    return true;
}

std::string_view labelName(Label label)
{
    return label == Label::ham ? "ham" : "spam";
}

static CorpusFormat formatOf(const std::string &file)
{
    if (file == "-") {
        return CorpusFormat::labelTabText;
    }
    const std::string ending = inSmallLetters(std::filesystem::path(file).extension().string());
    if (ending == ".tsv" || ending == ".txt") {
        return CorpusFormat::labelTabText;
    }
    if (ending == ".csv") {
        return CorpusFormat::csv;
    }
    if (ending == ".jsonl" || ending == ".ndjson") {
        return CorpusFormat::jsonLines;
    }
    throw Error(Status::usage,
                "the ending of " + file + " does not tell the format of its messages; give --format tsv, csv or jsonl");
}

using Take = std::function<void(LabelledMessage &&)>;

// In quotation marks; of a long one the start.
static std::string shown(std::string_view label)
{
    constexpr std::size_t most = 40;
    std::size_t end = std::min(label.size(), most);
    while (end < label.size() && end > 0 && (static_cast<unsigned char>(label[end]) & 0xC0U) == 0x80U) {
        --end; // not within a character
    }
    return '"' + oneLine(label.substr(0, end)) + (end < label.size() ? "...\"" : "\"");
}

static LabelledMessage labelled(const std::string &name, std::uint64_t line, std::string_view label, std::string text)
{
    LabelledMessage message;
    if (!parseLabel(label, message.label)) {
        failAt(name, line, "the label " + shown(label) + " is neither ham nor spam; correct it");
    }
    message.text = std::move(text);
    message.line = line;
    return message;
}

static void readLabelTabText(InputFile &input, const Take &take)
{
    forEachTextLine(input, [&](std::string &line, std::uint64_t number) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos) {
            failAt(input.name(), number, "no tab; a line is ham or spam, a tab, the text");
        }
        take(labelled(input.name(), number, std::string_view(line).substr(0, tab), line.substr(tab + 1)));
    });
}

static void readCsvCorpus(InputFile &input, const Take &take)
{
    int label = -1;
    int text = -1;
    std::size_t columns = 0;
    readCsv(input.stream(), input.name(), [&](CsvRecord &&record) {
        if (columns == 0) {
            label = csvColumn(record, "label");
            text = csvColumn(record, "text");
            columns = record.fields.size();
            if (label < 0 || text < 0) {
                failAt(input.name(), record.line, "the first line must name the columns label and text");
            }
            return;
        }
        checkCsvWidth(record, input.name(), columns);
        take(labelled(input.name(), record.line, record.fields[static_cast<std::size_t>(label)],
                      std::move(record.fields[static_cast<std::size_t>(text)])));
    });
}

static void readJsonLines(InputFile &input, const Take &take)
{
    forEachTextLine(input, [&](std::string &line, std::uint64_t number) {
        const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
        if (!object.is_object()) {
            failAt(input.name(), number, R"(no JSON object; a line is {"label":"ham","text":"..."})");
        }
        const auto label = object.find("label");
        const auto text = object.find("text");
        if (label == object.end() || !label->is_string() || text == object.end() || !text->is_string()) {
            failAt(input.name(), number, R"(the object must have the texts "label" and "text")");
        }
        const auto &content = text->get_ref<const std::string &>();
        if (const std::string fault = textFault(content); !fault.empty()) {
            failAt(input.name(), number, fault);
        }
        take(labelled(input.name(), number, label->get_ref<const std::string &>(), content));
    });
}

void readCorpus(const std::string &file, CorpusFormat format, std::istream &standardInput, const Take &take)
{
    InputFile input(file, standardInput); // a file that is missing is said to be missing, whatever its ending
    const CorpusFormat chosen = format == CorpusFormat::byName ? formatOf(file) : format;
    if (chosen == CorpusFormat::csv) {
        readCsvCorpus(input, take);
    } else if (chosen == CorpusFormat::jsonLines) {
        readJsonLines(input, take);
    } else {
        readLabelTabText(input, take);
    }
}

} // namespace velq::kit

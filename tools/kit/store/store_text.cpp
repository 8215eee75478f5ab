// Writes and reads the text form line by line.
#include "kit/store/store_text.h"

#include "kit/base/input.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/store/row_text.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

constexpr std::string_view versionLine = "velq-store 1";
constexpr std::size_t longestLine = std::size_t{1} << 20;

std::vector<std::string_view> fieldsOf(std::string_view line)
{
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    for (std::size_t tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t', start)) {
        fields.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
    fields.push_back(line.substr(start));
    return fields;
}

struct TextReader {
    LineReader lines;
    const std::string &name;
    std::string line;

    TextPlace place() const
    {
        return {name, lines.number()};
    }

    [[noreturn]] void fail(const std::string &what) const
    {
        failAt(name, lines.number(), what);
    }

    // The next line that is no remark; false at the end.
    bool next()
    {
        LineResult result = lines.next(line);
        while (result == LineResult::line && line.starts_with('#')) {
            result = lines.next(line);
        }
        if (result == LineResult::tooLong) {
            fail("the line is too long");
        }
        if (result == LineResult::line && firstInvalidByte(line)) {
            fail("the line is not UTF-8");
        }
        return result == LineResult::line;
    }
};

// Up to the line "tokens".
void readHeader(TextReader &reader, StoreContents &contents)
{
    const bool any = reader.next();
    if (!any && reader.lines.number() == 0) {
        throw Error(Status::badData, reader.name + " is empty; expected a token store in text form");
    }
    if (!any || reader.line != versionLine) {
        reader.fail("not a token store in text form: it must begin with \"" + std::string(versionLine) + "\"");
    }
    bool messages = false;
    bool prior = false;
    while (reader.next() && reader.line != "tokens") {
        const std::vector<std::string_view> fields = fieldsOf(reader.line);
        if (fields[0] == "messages" && !std::exchange(messages, true)) {
            contents.rows.push_back({StoredValue::ofBlob(messageCountKey()), valueOfFields(reader.place(), fields, 2)});
        } else if (fields[0] == "prior" && !std::exchange(prior, true)) {
            contents.rows.push_back({StoredValue::ofBlob(priorKey()), valueOfFields(reader.place(), fields, 1)});
        } else {
            reader.fail(R"(expected one line "messages", one line "prior" or the line "tokens")");
        }
    }
    if (reader.line != "tokens") {
        reader.fail("the line \"tokens\" is missing");
    }
}

} // namespace

void writeStoreText(std::ostream &out, const StoreContents &contents)
{
    std::map<std::u16string, const StoreRow *> tokens;
    std::map<std::string, const StoreRow *> others;
    out << versionLine << '\n';
    if (const StoreRow *messages = findRow(contents, messageCountKey())) {
        out << "messages\t" << valueText(messages->value, 2) << '\n';
    }
    if (const StoreRow *prior = findRow(contents, priorKey())) {
        out << "prior\t" << valueText(prior->value, 1) << '\n';
    }
    for (const StoreRow &row : contents.rows) {
        if (isSpecialKey(row.key)) {
            continue;
        }
        if (isTextKey(row.key)) {
            tokens[unitsOfBytes(row.key.bytes)] = &row;
        } else {
            others[keyText(row.key)] = &row;
        }
    }
    out << "tokens\n";
    for (const auto &[units, row] : tokens) {
        out << keyText(row->key) << '\t' << valueText(row->value, 2) << '\n';
    }
    for (const auto &[text, row] : others) {
        out << text << '\t' << valueText(row->value, 2) << '\n';
    }
    out << "end\n";
}

StoreContents readStoreText(std::istream &in, const std::string &name)
{
    TextReader reader{LineReader(in, longestLine), name, {}};
    StoreContents contents;
    readHeader(reader, contents);
    std::map<std::string, std::uint64_t> seen; // keys by their class and bytes
    bool ended = false;
    while (!ended && reader.next()) {
        if (reader.line == "end") {
            ended = true;
            continue;
        }
        const std::vector<std::string_view> fields = fieldsOf(reader.line);
        StoredValue key = keyOf(reader.place(), fields[0]);
        if (isSpecialKey(key)) {
            reader.fail("the message counts and the prior stand above the line \"tokens\"");
        }
        const auto [first, fresh] = seen.emplace(keyText(key), reader.lines.number());
        if (!fresh) {
            reader.fail("the token stands in line " + std::to_string(first->second) + " already");
        }
        contents.rows.push_back({std::move(key), valueOfFields(reader.place(), fields, 2)});
    }
    checkReadToEnd(in, name);
    if (!ended) {
        reader.fail("the line \"end\" is missing: the text is cut off");
    }
    if (reader.next()) {
        reader.fail("text after the line \"end\"");
    }
    if (!sortRows(contents)) {
        throw Error(Status::badData, name + ": two keys are the same number");
    }
    return contents;
}

} // namespace velq::kit

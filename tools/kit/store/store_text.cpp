// Writes and reads the text form. What the rows mean is the concern of store_file.
#include "kit/store/store_text.h"

#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace velq::kit {

namespace {

constexpr std::string_view versionLine = "velq-store 1";
constexpr std::size_t longestLine = std::size_t{1} << 20;
constexpr std::string_view hexDigits = "0123456789abcdef";

struct UnitRange {
    char16_t first;
    char16_t last;
};

// Control characters, blanks of every width, invisible and direction-changing characters, variation selectors and
// noncharacters: what a reader does not see, or an editor changes. Ascending.
constexpr UnitRange unseenUnits[] = {{0x0000, 0x0020}, {0x007F, 0x00A0}, {0x00AD, 0x00AD}, {0x034F, 0x034F},
                                     {0x061C, 0x061C}, {0x1680, 0x1680}, {0x180B, 0x180F}, {0x2000, 0x200F},
                                     {0x2028, 0x202F}, {0x205F, 0x206F}, {0x3000, 0x3000}, {0xFDD0, 0xFDEF},
                                     {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFF0, 0xFFFB}, {0xFFFE, 0xFFFF}};

bool isUnseen(char16_t unit)
{
    return std::any_of(std::begin(unseenUnits), std::end(unseenUnits),
                       [unit](const UnitRange &range) { return unit >= range.first && unit <= range.last; });
}

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(char16_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendEscape(std::string &out, char16_t unit)
{
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += hexDigits[(unit >> shift) & 0xF];
    }
}

std::string escaped(std::u16string_view units)
{
    std::string out;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char16_t unit = units[i];
        if (unit == u'\\') {
            out += "\\\\";
        } else if (isHighSurrogate(unit) && i + 1 < units.size() && isLowSurrogate(units[i + 1])) {
            out += utf8FromUtf16(units.substr(i, 2));
            ++i;
        } else if (isUnseen(unit) || isHighSurrogate(unit) || isLowSurrogate(unit) ||
                   (i == 0 && (unit == u'#' || unit == u'!'))) {
            appendEscape(out, unit);
        } else {
            out += utf8FromUtf16(units.substr(i, 1));
        }
    }
    return out;
}

std::string hexOf(std::string_view bytes)
{
    std::string out;
    for (const char byte : bytes) {
        out += hexDigits[static_cast<unsigned char>(byte) >> 4];
        out += hexDigits[static_cast<unsigned char>(byte) & 0xF];
    }
    return out;
}

// The storage class and the exact content: null, integer:5, real:3fe0000000000000 (the bits of the double), text:6162,
// blob:2e52.
std::string typedText(const StoredValue &value)
{
    switch (value.kind) {
    case StoredValue::Kind::null:
        break;
    case StoredValue::Kind::integer:
        return "integer:" + std::to_string(value.integer);
    case StoredValue::Kind::real: {
        const auto bits = std::bit_cast<std::uint64_t>(value.real);
        std::string out = "real:";
        for (int shift = 60; shift >= 0; shift -= 4) {
            out += hexDigits[(bits >> shift) & 0xF];
        }
        return out;
    }
    case StoredValue::Kind::text:
        return "text:" + hexOf(value.bytes);
    case StoredValue::Kind::blob:
        return "blob:" + hexOf(value.bytes);
    }
    return "null";
}

// The counts of a usual value separated by tabs, at least `always` of them and no zeros at the end beyond; another
// value in its typed form.
std::string valueText(const StoredValue &value, int always)
{
    if (value.kind != StoredValue::Kind::blob || value.bytes.size() != 12) {
        return typedText(value);
    }
    const TokenWords words = wordsOf(value.bytes);
    int shown = words.reserved != 0 ? 3 : words.ham != 0 ? 2 : 1;
    shown = std::max(shown, always);
    std::string out = std::to_string(words.spam);
    if (shown > 1) {
        out += '\t' + std::to_string(words.ham);
    }
    if (shown > 2) {
        out += '\t' + std::to_string(words.reserved);
    }
    return out;
}

bool isTextKey(const StoredValue &key)
{
    return key.kind == StoredValue::Kind::blob && !key.bytes.empty() && key.bytes.size() % 2 == 0;
}

bool isKey(const StoredValue &key, std::string_view bytes)
{
    return key.kind == StoredValue::Kind::blob && key.bytes == bytes;
}

// ---- Reading ------------------------------------------------------------------------------------------------------

struct Place {
    const std::string &name;
    std::uint64_t line;
};

[[noreturn]] void fail(const Place &place, const std::string &what)
{
    failAt(place.name, place.line, what);
}

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

// The whole of `text` as a number; none otherwise.
template <typename Number>
std::optional<Number> numberOf(std::string_view text, int base = 10)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::string> bytesOfHex(std::string_view hex)
{
    if (hex.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const auto byte = numberOf<unsigned char>(hex.substr(i, 2), 16);
        if (!byte) {
            return std::nullopt;
        }
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

std::optional<StoredValue> typedValue(std::string_view text)
{
    StoredValue value;
    if (text == "null") {
        return value;
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view kind = text.substr(0, colon);
    const std::string_view content = text.substr(colon + 1);
    if (kind == "integer") {
        const auto number = numberOf<std::int64_t>(content);
        return number ? std::optional(StoredValue::ofInteger(*number)) : std::nullopt;
    }
    if (kind == "real") {
        const auto bits = numberOf<std::uint64_t>(content, 16);
        value.kind = StoredValue::Kind::real;
        value.real = std::bit_cast<double>(bits.value_or(0));
        const bool isNumber = bits && !std::isnan(value.real); // what is none, a database stores as null
        return isNumber && content.size() == 16 ? std::optional(value) : std::nullopt;
    }
    const auto bytes = bytesOfHex(content);
    if (!bytes || (kind != "text" && kind != "blob")) {
        return std::nullopt;
    }
    value.kind = kind == "text" ? StoredValue::Kind::text : StoredValue::Kind::blob;
    value.bytes = *bytes;
    return value;
}

// The units of a token's text; none for an escape that is not one.
std::optional<std::u16string> unescaped(std::string_view text)
{
    std::u16string units;
    while (!text.empty()) {
        const std::size_t backslash = std::min(text.find('\\'), text.size());
        units += utf16FromUtf8(text.substr(0, backslash)).value_or(u"");
        text.remove_prefix(backslash);
        if (text.empty()) {
            break;
        }
        if (text.starts_with("\\\\")) {
            units += u'\\';
            text.remove_prefix(2);
            continue;
        }
        const auto unit =
            text.starts_with("\\u") && text.size() >= 6 ? numberOf<std::uint16_t>(text.substr(2, 4), 16) : std::nullopt;
        if (!unit) {
            return std::nullopt;
        }
        units += static_cast<char16_t>(*unit);
        text.remove_prefix(6);
    }
    return units;
}

StoredValue keyOf(const Place &place, std::string_view text)
{
    if (text.starts_with('!')) {
        const auto key = typedValue(text.substr(1));
        if (!key) {
            fail(place, "\"" + oneLine(text) + "\" is no key; expected a storage class, for example !blob:2e52");
        }
        return *key;
    }
    const auto units = unescaped(text);
    if (!units || units->empty()) {
        fail(place, units ? "the token is missing"
                          : R"(a backslash stands for itself as \\, for a unit as \u and 4 hex digits)");
    }
    return StoredValue::ofBlob(bytesOfUnits(*units));
}

// The fields behind the key or the header's word: one typed value, or `least` to 3 counts.
StoredValue valueOfFields(const Place &place, const std::vector<std::string_view> &fields, std::size_t least)
{
    if (fields.size() == 2 && (fields[1] == "null" || fields[1].find(':') != std::string_view::npos)) {
        const auto value = typedValue(fields[1]);
        if (!value) {
            fail(place,
                 "\"" + oneLine(fields[1]) + "\" is no value; expected counts, or a storage class as in blob:00ff");
        }
        return *value;
    }
    std::uint32_t words[3]{};
    if (fields.size() < least + 1 || fields.size() > 4) {
        fail(place, "expected " + std::to_string(least) + " to 3 counts separated by tabs");
    }
    for (std::size_t i = 1; i < fields.size(); ++i) {
        const auto word = numberOf<std::uint32_t>(fields[i]);
        if (!word) {
            fail(place, "\"" + oneLine(fields[i]) + "\" is no count between 0 and 4294967295");
        }
        words[i - 1] = *word;
    }
    return StoredValue::ofBlob(valueOf({words[0], words[1], words[2]}));
}

struct TextReader {
    LineReader lines;
    const std::string &name;
    std::string line;

    Place place() const
    {
        return {name, lines.number()};
    }

    // The next line that is no remark; false at the end.
    bool next()
    {
        LineResult result = lines.next(line);
        while (result == LineResult::line && line.starts_with('#')) {
            result = lines.next(line);
        }
        if (result == LineResult::tooLong) {
            fail(place(), "the line is too long");
        }
        if (result == LineResult::line && firstInvalidByte(line)) {
            fail(place(), "the line is not UTF-8");
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
        fail(reader.place(), "not a token store in text form: it must begin with \"" + std::string(versionLine) + "\"");
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
            fail(reader.place(), R"(expected one line "messages", one line "prior" or the line "tokens")");
        }
    }
    if (reader.line != "tokens") {
        fail(reader.place(), "the line \"tokens\" is missing");
    }
}

} // namespace

std::string keyText(const StoredValue &key)
{
    if (isKey(key, priorKey())) {
        return ".ROBX";
    }
    return isTextKey(key) ? escaped(unitsOfBytes(key.bytes)) : "!" + typedText(key);
}

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
        if (isKey(row.key, messageCountKey()) || isKey(row.key, priorKey())) {
            continue;
        }
        if (isTextKey(row.key)) {
            tokens[unitsOfBytes(row.key.bytes)] = &row;
        } else {
            others["!" + typedText(row.key)] = &row;
        }
    }
    out << "tokens\n";
    for (const auto &[units, row] : tokens) {
        out << escaped(units) << '\t' << valueText(row->value, 2) << '\n';
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
        if (isKey(key, messageCountKey()) || isKey(key, priorKey())) {
            fail(reader.place(), "the message counts and the prior stand above the line \"tokens\"");
        }
        const auto [first, fresh] = seen.emplace(typedText(key), reader.lines.number());
        if (!fresh) {
            fail(reader.place(), "the token stands in line " + std::to_string(first->second) + " already");
        }
        contents.rows.push_back({std::move(key), valueOfFields(reader.place(), fields, 2)});
    }
    checkReadToEnd(in, name);
    if (!ended) {
        fail(reader.place(), "the line \"end\" is missing: the text is cut off");
    }
    if (reader.next()) {
        fail(reader.place(), "text after the line \"end\"");
    }
    if (!sortRows(contents)) {
        throw Error(Status::badData, name + ": two keys are the same number");
    }
    return contents;
}

bool isDatabase(InputFile &input)
{
    constexpr std::string_view databaseStart = "SQLite format 3";
    std::istream &in = input.stream();
    const int first = in.peek();
    if (first == std::istream::traits_type::eof()) {
        in.clear();
        return !input.isStandardInput(); // an empty file is an empty database
    }
    if (!input.isRegular()) {
        return first == databaseStart.front();
    }
    char start[databaseStart.size()]{};
    in.read(start, sizeof start);
    const auto got = static_cast<std::size_t>(in.gcount());
    in.clear();
    in.seekg(0);
    return std::string_view(start, got) == databaseStart;
}

StoreContents readStore(const std::string &file, std::istream &standardInput)
{
    InputFile input(file, standardInput);
    if (!isDatabase(input)) {
        return readStoreText(input.stream(), input.name());
    }
    if (!input.isRegular()) {
        throw Error(Status::noInput, "cannot read " + input.name() +
                                         ": a prob.bin is not read from a pipe; give the file, or pipe its text form");
    }
    return readStoreContents(file);
}

bool isTextFormName(const std::string &file)
{
    return file.ends_with(".txt") || file.ends_with(".text") || file.ends_with(".tsv");
}

void writeStore(const std::string &file, const StoreContents &contents, bool asText)
{
    if (!asText) {
        writeStoreContents(file, contents);
        return;
    }
    std::ostringstream text;
    writeStoreText(text, contents);
    writeTextFile(file, text.str());
}

} // namespace velq::kit

// The forms of files of numbers, told by their beginning.
#include "kit/engine/number_file.h"

#include "kit/base/csv.h"
#include "kit/base/input.h"
#include "kit/base/letter_case.h"
#include "kit/base/status.h"
#include "kit/base/vcard.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

namespace velq::kit {

namespace {

// Where the columns of one file stand.
struct Columns {
    std::vector<std::size_t> numbers;
    std::vector<std::size_t> names; // put together with blanks
    int hidden = -1;
    int extendID = -1;
    std::size_t count = 0; // of fields in a row; 0 where they may differ
    bool isOwn = false;    // this program's form
};

} // namespace

// ---- Columns

static bool isTelephoneColumn(const std::string &title)
{
    constexpr std::array<std::string_view, 6> whole = {"msisdn", "tel", "telephone", "mobile", "cell", "sender"};
    const bool holds = title.find("phone") != std::string::npos || title.find("mobile") != std::string::npos;
    const bool isOfAnother = title.find("type") != std::string::npos || title.find("label") != std::string::npos;
    return std::ranges::find(whole, title) != whole.end() || (holds && !isOfAnother);
}

static Columns columnsOf(const CsvRecord &header)
{
    constexpr std::array<std::string_view, 3> wholeNames = {"name", "display name", "full name"};
    constexpr std::array<std::string_view, 4> nameParts = {"first name", "given name", "last name", "family name"};
    Columns columns;
    columns.count = header.fields.size();
    columns.hidden = csvColumn(header, "hidden");
    columns.extendID = csvColumn(header, "extendID");
    if (const int number = csvColumn(header, "number"); number >= 0) {
        columns.numbers = {static_cast<std::size_t>(number)};
        columns.isOwn = true;
    }
    for (std::size_t i = 0; i < columns.count && !columns.isOwn; ++i) {
        if (isTelephoneColumn(inSmallLetters(header.fields[i]))) {
            columns.numbers.push_back(i);
        }
    }
    for (const std::string_view title : wholeNames) {
        if (const int column = csvColumn(header, title); column >= 0) {
            columns.names = {static_cast<std::size_t>(column)};
            return columns;
        }
    }
    for (const std::string_view title : nameParts) {
        if (const int column = csvColumn(header, title); column >= 0) {
            columns.names.push_back(static_cast<std::size_t>(column));
        }
    }
    return columns;
}

static void checkOnce(const CsvRecord &header, const std::string &name)
{
    for (const std::string_view title : {"number", "name", "hidden", "extendid"}) {
        if (std::ranges::count(header.fields, title, inSmallLetters) > 1) {
            failAt(name, header.line, "the column " + std::string(title) + " stands twice in the first line");
        }
    }
}

static std::vector<std::string> passedOver(const CsvRecord &header, const Columns &columns)
{
    std::vector<std::string> titles;
    for (std::size_t i = 0; i < header.fields.size(); ++i) {
        const bool isKnown = std::ranges::find(columns.numbers, i) != columns.numbers.end() ||
                             std::ranges::find(columns.names, i) != columns.names.end() ||
                             std::cmp_equal(i, columns.hidden) || std::cmp_equal(i, columns.extendID);
        if (!isKnown && !header.fields[i].empty()) {
            titles.push_back(header.fields[i]);
        }
    }
    return titles;
}

// Of a first row that is no header: the number, and a name where a field follows.
static Columns columnsWithoutHeader(const CsvRecord &first)
{
    Columns columns;
    columns.numbers = {0};
    if (first.fields.size() > 1) {
        columns.names = {1};
    }
    return columns;
}

// ---- Rows

// An empty field is 0.
static bool parseInteger(const std::string &text, std::int32_t &value)
{
    value = 0;
    const char *end = text.data() + text.size();
    return text.empty() || std::from_chars(text.data(), end, value) == std::from_chars_result{end, std::errc()};
}

static std::string cutName(const std::string &name)
{
    const auto wide = utf16FromUtf8(name);
    if (!wide || wide->size() <= VELQ_MAX_NAME_LENGTH) {
        return name;
    }
    std::size_t end = VELQ_MAX_NAME_LENGTH;
    if ((*wide)[end - 1] >= 0xD800 && (*wide)[end - 1] < 0xDC00) {
        --end; // not within a pair
    }
    return utf8FromUtf16(wide->substr(0, end));
}

static void addRow(NumberFile &file, const NumberForm &form, ListEntry entry, std::uint64_t line)
{
    const std::string written = entry.number;
    entry.number = form.of(written);
    if (std::string fault = entryFault(entry); !fault.empty()) {
        file.bad.push_back({line, written, std::move(fault)});
        return;
    }
    file.entries.push_back(std::move(entry));
}

static std::string fieldAt(const CsvRecord &record, std::size_t column)
{
    return column < record.fields.size() ? record.fields[column] : std::string();
}

static std::string nameIn(const CsvRecord &record, const Columns &columns)
{
    std::string name;
    for (const std::size_t column : columns.names) {
        const std::string part = fieldAt(record, column);
        name += name.empty() || part.empty() ? "" : " ";
        name += part;
    }
    return columns.isOwn ? name : cutName(name);
}

// Address books put several numbers into a field, with " ::: " between them.
static std::vector<std::string> numbersIn(const std::string &field)
{
    constexpr std::string_view between = ":::";
    std::vector<std::string> numbers;
    std::size_t start = 0;
    for (std::size_t end = 0; end != std::string::npos; start = end + between.size()) {
        end = field.find(between, start);
        numbers.push_back(field.substr(start, end == std::string::npos ? end : end - start));
    }
    return numbers;
}

static void addRecord(NumberFile &file, const NumberForm &form, const Columns &columns, const CsvRecord &record)
{
    const std::string first = fieldAt(record, columns.numbers.front());
    if (columns.count > 0 && record.fields.size() != columns.count) {
        file.bad.push_back({record.line, first,
                            std::to_string(record.fields.size()) + (record.fields.size() == 1 ? " field" : " fields") +
                                " where the header has " + std::to_string(columns.count) +
                                "; put fields with commas in double quotes"});
        return;
    }
    ListEntry entry;
    entry.name = nameIn(record, columns);
    const auto numberAt = [&record](int column) {
        return column < 0 ? std::string() : fieldAt(record, static_cast<std::size_t>(column));
    };
    if (!parseInteger(numberAt(columns.hidden), entry.hidden) ||
        !parseInteger(numberAt(columns.extendID), entry.extendID)) {
        file.bad.push_back({record.line, first, "hidden and extendID are whole numbers; correct them"});
        return;
    }
    for (const std::size_t column : columns.numbers) {
        for (const std::string &number : numbersIn(fieldAt(record, column))) {
            // Of a contact that has one of several telephones the others are empty.
            if (columns.isOwn || columns.count == 0 || !withoutPunctuation(number).empty()) {
                entry.number = number;
                addRow(file, form, entry, record.line);
            }
        }
    }
}

// ---- Files

static char separatorOf(const std::string &text)
{
    const std::string_view line = std::string_view(text).substr(0, text.find('\n'));
    char best = ',';
    for (const char separator : {';', '\t'}) {
        if (std::ranges::count(line, separator) > std::ranges::count(line, best)) {
            best = separator;
        }
    }
    return best;
}

static NumberFile readTable(const std::string &text, const std::string &name, const NumberForm &form)
{
    NumberFile file;
    Columns columns;
    std::istringstream in(text);
    readCsv(
        in, name,
        [&](CsvRecord &&record) {
            if (!columns.numbers.empty()) {
                addRecord(file, form, columns, record);
                return;
            }
            checkOnce(record, name);
            columns = columnsOf(record);
            file.passedOver = passedOver(record, columns);
            if (columns.numbers.empty() && isPlainNumber(withoutPunctuation(record.fields.front()))) {
                columns = columnsWithoutHeader(record);
                file.passedOver.clear();
                addRecord(file, form, columns, record);
            }
            if (columns.numbers.empty()) {
                failAt(name, record.line,
                       "the first line must name the column number, or one of telephones; name, hidden and extendID "
                       "may follow");
            }
        },
        separatorOf(text));
    if (columns.numbers.empty()) {
        throw Error(Status::badData, name + " is empty; expected a first line that names the column number");
    }
    return file;
}

static NumberFile readContacts(const std::string &text, const NumberForm &form)
{
    NumberFile file;
    readVcards(text, [&](const Contact &contact) {
        for (const Contact::Telephone &telephone : contact.telephones) {
            addRow(file, form, {.number = telephone.number, .name = cutName(contact.name)}, telephone.line);
        }
    });
    return file;
}

NumberFile readNumbers(std::istream &in, const std::string &name, const NumberForm &form)
{
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    checkReadToEnd(in, name);
    return isVcard(text) ? readContacts(text, form) : readTable(text, name, form);
}

void writeEntries(std::ostream &out, const std::vector<ListEntry> &entries)
{
    out << "number,name,hidden,extendID\r\n";
    for (const ListEntry &entry : entries) {
        out << csvField(entry.number) << ',' << csvField(entry.name) << ',' << entry.hidden << ',' << entry.extendID
            << "\r\n";
    }
}

} // namespace velq::kit

// CSV from any bytes: as records, as the entries of a number list and as white numbers for an update. What is read,
// written and read again is the same. The input's first byte says which of the three it is.
#include "kit/base/csv.h"
#include "kit/base/wide_text.h"
#include "kit/engine/number_file.h"
#include "kit/store/white_update.h"
#include "kit_target.h"

#include <algorithm>

using namespace velq::fuzz;
using namespace velq::kit;

namespace {

using Records = std::vector<std::vector<std::string>>;

Records recordsIn(std::string_view text)
{
    Records records;
    std::uint64_t line = 0;
    readText(
        [&](std::istream &in, const std::string &name) {
            readCsv(in, name, [&](CsvRecord &&record) {
                require(!record.fields.empty(), "a record without fields");
                // A carriage return alone ends a record, but no line.
                require(record.line > 0 && record.line >= line, "the lines of records go down");
                line = record.line;
                records.push_back(std::move(record.fields));
            });
        },
        text);
    return records;
}

// A first field of letters keeps a record of one empty field from being an empty line, and a first character from being
// a byte order mark.
std::string written(const Records &records)
{
    std::string text;
    for (const std::vector<std::string> &fields : records) {
        text += "first";
        for (const std::string &field : fields) {
            text += ',' + csvField(field);
        }
        text += "\r\n";
    }
    return text;
}

void checkRecords(std::string_view text)
{
    Records records;
    if (!isAccepted([&] { records = recordsIn(text); })) {
        return;
    }
    Records again = recordsIn(written(records));
    for (std::vector<std::string> &fields : again) {
        fields.erase(fields.begin());
    }
    require(again == records, "records written as CSV read otherwise");
}

bool isSame(const ListEntry &a, const ListEntry &b)
{
    return a.number == b.number && a.name == b.name && a.hidden == b.hidden && a.extendID == b.extendID;
}

std::vector<ListEntry> readEntries(std::istream &in, const std::string &name)
{
    return readNumbers(in, name, NumberForm()).entries;
}

void checkEntries(std::string_view text)
{
    std::vector<ListEntry> entries;
    if (!isAccepted([&] { entries = readText(readEntries, text); })) {
        return;
    }
    require(std::ranges::all_of(entries, [](const ListEntry &entry) { return entryFault(entry).empty(); }),
            "an entry with a fault was read");
    std::ostringstream out;
    writeEntries(out, entries);
    require(std::ranges::equal(readText(readEntries, out.str()), entries, isSame),
            "list entries written as CSV read otherwise");
}

std::string written(const std::vector<WhiteNumber> &numbers)
{
    std::string text = "number,name\n";
    for (const WhiteNumber &number : numbers) {
        text += csvField(utf8FromUtf16(number.number)) + ',' + csvField(utf8FromUtf16(number.name)) + '\n';
    }
    return text;
}

void checkWhiteNumbers(std::string_view text)
{
    std::vector<WhiteNumber> numbers;
    if (!isAccepted([&] { numbers = readText(readWhiteNumbers, text); })) {
        return;
    }
    for (const WhiteNumber &number : numbers) {
        require(!number.number.empty() && number.number.size() <= longestDeliveredText, "a number that no merge takes");
        require(number.name.size() <= longestDeliveredText, "a name that no merge takes");
    }
    const auto isSameNumber = [](const WhiteNumber &a, const WhiteNumber &b) {
        return a.number == b.number && a.name == b.name;
    };
    require(std::ranges::equal(readText(readWhiteNumbers, written(numbers)), numbers, isSameNumber),
            "white numbers written as CSV read otherwise");
    const WhiteUpdatePlan plan = planWhiteUpdate(numbers, {});
    require(plan.rows.size() + plan.repeated.size() == numbers.size(), "a plan loses numbers");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::string_view text = textOf(data, size).substr(1);
    switch (data[0] % 3) {
    case 0:
        checkRecords(text);
        break;
    case 1:
        checkEntries(text);
        break;
    default:
        checkWhiteNumbers(text);
        break;
    }
    return 0;
}

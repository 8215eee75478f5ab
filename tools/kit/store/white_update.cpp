// Delivered white numbers from CSV to the update's rows.
#include "kit/store/white_update.h"

#include "kit/base/csv.h"
#include "kit/base/input.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/reading/token_format.h"
#include "kit/store/data_file.h"

#include <algorithm>
#include <utility>

namespace velq::kit {

namespace {

std::string storedForm(const std::u16string &text)
{
    return zeroEnded(bytesOfUnits(text));
}

// What keeps the row out of an update; empty for nothing.
std::string faultOf(const WhiteNumber &row)
{
    if (row.number.empty()) {
        return "the number is empty";
    }
    if (std::string fault = lengthFault("number", row.number.size()); !fault.empty()) {
        return fault;
    }
    if (!std::all_of(row.number.begin(), row.number.end(), [](char16_t unit) { return unit > 0x20 && unit < 0x7F; })) {
        return "the number holds a character that is not printable ASCII";
    }
    return lengthFault("name", row.name.size());
}

void readHeader(const CsvRecord &header, const std::string &name, int numberColumn)
{
    checkCsvHeader(header, name, {"number", "name"});
    if (numberColumn < 0) {
        failAt(name, header.line, "the first line names the column name, but no column number");
    }
}

} // namespace

std::string lengthFault(const char *what, std::size_t units)
{
    if (units <= longestDeliveredText) {
        return {};
    }
    return std::string("the ") + what + " has " + std::to_string(units) + " units; at most " +
           std::to_string(longestDeliveredText) + " can be merged";
}

std::vector<WhiteNumber> readWhiteNumbers(std::istream &in, const std::string &name)
{
    std::vector<WhiteNumber> numbers;
    int numberColumn = -1;
    int nameColumn = -1;
    std::size_t columns = 0; // that every record has; 0 without a header: then a record is a number or number, name
    readCsv(in, name, [&](CsvRecord &&record) {
        if (numberColumn < 0) {
            numberColumn = csvColumn(record, "number");
            nameColumn = csvColumn(record, "name");
            if (numberColumn >= 0 || nameColumn >= 0) {
                readHeader(record, name, numberColumn);
                columns = record.fields.size();
                return;
            }
            numberColumn = 0;
            nameColumn = 1;
        }
        if (columns > 0) {
            checkCsvWidth(record, name, columns);
        } else if (record.fields.size() > 2) {
            failAt(name, record.line, "more than the two fields number,name; put fields with commas in double quotes");
        }
        const auto field = [&record, &name](int column) {
            const auto at = static_cast<std::size_t>(column);
            if (column < 0 || at >= record.fields.size()) {
                return std::u16string();
            }
            const auto units = utf16FromUtf8(record.fields[at]);
            if (!units) {
                failAt(name, record.line, "the record is not UTF-8");
            }
            return *units;
        };
        WhiteNumber row{field(numberColumn), field(nameColumn), record.line};
        if (const std::string fault = faultOf(row); !fault.empty()) {
            failAt(name, record.line, fault);
        }
        numbers.push_back(std::move(row));
    });
    return numbers;
}

std::set<std::string> deliveredNumbers(const std::filesystem::path &whiteList)
{
    Database file(whiteList, DatabaseMode::read);
    if (!file.hasTable("whiteList")) {
        throw Error(Status::badData, whiteList.string() + " is not a white list; give a wn.bin");
    }
    std::set<std::string> numbers;
    for (const StoredRow &row : readRows(file, "SELECT number FROM whiteList WHERE typeof(number) = 'blob';")) {
        numbers.insert(row[0].bytes);
    }
    return numbers;
}

WhiteUpdatePlan planWhiteUpdate(const std::vector<WhiteNumber> &numbers, const std::set<std::string> &delivered)
{
    WhiteUpdatePlan plan;
    std::set<std::string> seen;
    for (const WhiteNumber &number : numbers) {
        (seen.insert(storedForm(number.number)).second ? plan.rows : plan.repeated).push_back(number);
    }
    const auto firstNew =
        std::stable_partition(plan.rows.begin(), plan.rows.end(), [&delivered](const WhiteNumber &row) {
            return delivered.contains(storedForm(row.number));
        });
    plan.known = static_cast<std::uint64_t>(firstNew - plan.rows.begin());
    return plan;
}

void writeWhiteUpdate(const std::filesystem::path &path, const std::vector<WhiteNumber> &rows)
{
    std::vector<StoredRow> stored;
    stored.reserve(rows.size());
    for (const WhiteNumber &row : rows) {
        stored.push_back({StoredValue::ofBlob(storedForm(row.number)), StoredValue::ofBlob(storedForm(row.name))});
    }
    writeDataFile(path, "wn-update", [&stored](Database &file) {
        writeRows(file, "INSERT INTO diffWnTable(number, name) VALUES(?, ?);", stored);
    });
}

} // namespace velq::kit

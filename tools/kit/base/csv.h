// CSV in and out: RFC 4180 quoting, any line ends, fields kept byte for byte.
#ifndef VELQ_KIT_BASE_CSV_H
#define VELQ_KIT_BASE_CSV_H

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

struct CsvRecord {
    std::vector<std::string> fields;
    std::uint64_t line = 0; // where the record begins, counted from 1
};

// Calls `take` for each record, the header included; empty lines are passed over. Throws Error (badData) with `name`
// and the line for broken quoting, text that is not UTF-8, a zero character or a record that is too long.
void readCsv(std::istream &in, const std::string &name, const std::function<void(CsvRecord &&)> &take,
             char separator = ',');

// The position of a column in the header, letter case aside; -1 when it is not there.
int csvColumn(const CsvRecord &header, std::string_view column);

// Throws Error (badData) when the header names a column that is not `known`, or one twice.
void checkCsvHeader(const CsvRecord &header, const std::string &name, std::initializer_list<std::string_view> known);

// Throws Error (badData) unless the record has as many fields as the header.
void checkCsvWidth(const CsvRecord &record, const std::string &name, std::size_t columns);

// The field as it is written, in quotes where it needs them.
std::string csvField(std::string_view value);

} // namespace velq::kit

#endif

// CSV over libcsv, fed line by line so that errors can name the line.
#include "kit/base/csv.h"

#include "kit/base/input.h"
#include "kit/base/letter_case.h"
#include "kit/base/wide_text.h"

#include <algorithm>
#include <csv.h>
#include <new>
#include <utility>

namespace velq::kit {

namespace {

// What libcsv's callbacks fill. They are called from C, so nothing may be thrown through them.
struct Collected {
    CsvRecord record;
    std::vector<CsvRecord> ready;
    bool outOfMemory = false;
};

void takeField(void *bytes, std::size_t length, void *target) noexcept
{
    auto &collected = *static_cast<Collected *>(target);
    try {
        collected.record.fields.emplace_back(static_cast<const char *>(bytes), length);
    } catch (const std::bad_alloc &) {
        collected.outOfMemory = true;
    }
}

void takeRecord(int, void *target) noexcept
{
    auto &collected = *static_cast<Collected *>(target);
    try {
        collected.ready.push_back(std::exchange(collected.record, {}));
    } catch (const std::bad_alloc &) {
        collected.outOfMemory = true;
    }
}

// By default libcsv takes blanks off the ends of fields.
int noBlanks(unsigned char)
{
    return 0;
}

class Parser {
  public:
    explicit Parser(char separator)
    {
        if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) {
            throw std::bad_alloc();
        }
        csv_set_space_func(&parser_, noBlanks);
        csv_set_delim(&parser_, static_cast<unsigned char>(separator));
    }
    ~Parser()
    {
        csv_free(&parser_);
    }
    Parser(const Parser &) = delete;
    Parser &operator=(const Parser &) = delete;

    // False for broken quoting.
    bool feed(const std::string &line)
    {
        const bool whole =
            csv_parse(&parser_, line.data(), line.size(), takeField, takeRecord, &collected_) == line.size();
        checkMemory();
        return whole;
    }
    bool finish()
    {
        const bool whole = csv_fini(&parser_, takeField, takeRecord, &collected_) == 0;
        checkMemory();
        return whole;
    }
    std::vector<CsvRecord> records()
    {
        return std::exchange(collected_.ready, {});
    }

  private:
    void checkMemory() const
    {
        if (collected_.outOfMemory || csv_error(const_cast<csv_parser *>(&parser_)) == CSV_ENOMEM) {
            throw std::bad_alloc();
        }
    }

    csv_parser parser_{};
    Collected collected_;
};

constexpr const char *brokenQuoting =
    "broken quoting; put a field with quotes or line ends in double quotes and write each "
    "quote within it twice";

} // namespace

void readCsv(std::istream &in, const std::string &name, const std::function<void(CsvRecord &&)> &take, char separator)
{
    Parser parser(separator);
    LineReader lines(in, longestMessageLine, LineEnds::keepReturn);
    std::string line;
    std::uint64_t start = 1; // the line on which the open record begins
    std::size_t length = 0;  // of the open record; 0 when none is open
    for (LineResult result = lines.next(line); result != LineResult::end; result = lines.next(line)) {
        if (length == 0) {
            start = lines.number();
        }
        const bool blank = line.empty() || line == "\r";
        length += length == 0 && blank ? 0 : line.size();
        if (result == LineResult::tooLong || length > longestMessageLine) {
            failAt(name, start, "the record is longer than 1 MiB; close its quotes or shorten it");
        }
        if (const std::string fault = textFault(line); !fault.empty()) {
            failAt(name, lines.number(), fault);
        }
        line.push_back('\n');
        if (!parser.feed(line)) {
            failAt(name, lines.number(), brokenQuoting);
        }
        std::vector<CsvRecord> records = parser.records();
        if (!records.empty()) {
            length = 0;
        }
        for (CsvRecord &record : records) {
            record.line = start;
            take(std::move(record));
        }
    }
    checkReadToEnd(in, name);
    if (!parser.finish()) {
        failAt(name, start, "the quotes opened here are never closed");
    }
}

static bool isColumn(std::string_view field, std::string_view column)
{
    return inSmallLetters(field) == inSmallLetters(column);
}

int csvColumn(const CsvRecord &header, std::string_view column)
{
    const auto found =
        std::ranges::find_if(header.fields, [column](const std::string &field) { return isColumn(field, column); });
    return found == header.fields.end() ? -1 : static_cast<int>(found - header.fields.begin());
}

void checkCsvHeader(const CsvRecord &header, const std::string &name, std::initializer_list<std::string_view> known)
{
    std::string all;
    for (const std::string_view column : known) {
        all += (all.empty() ? "" : ", ") + std::string(column);
    }
    for (const std::string &field : header.fields) {
        if (std::ranges::none_of(known, [&field](std::string_view column) { return isColumn(field, column); })) {
            failAt(name, header.line, "the column \"" + oneLine(field) + "\" is not one of " + all);
        }
        if (std::ranges::count_if(header.fields,
                                  [&field](const std::string &other) { return isColumn(other, field); }) > 1) {
            failAt(name, header.line, "the column " + field + " stands twice in the first line");
        }
    }
}

void checkCsvWidth(const CsvRecord &record, const std::string &name, std::size_t columns)
{
    if (record.fields.size() != columns) {
        failAt(name, record.line,
               std::to_string(record.fields.size()) + (record.fields.size() == 1 ? " field" : " fields") +
                   " where the header has " + std::to_string(columns) + "; put fields with commas in double quotes");
    }
}

std::string csvField(std::string_view value)
{
    const bool blankEnds = value.starts_with(' ') || value.ends_with(' ');
    if (!blankEnds && value.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(value);
    }
    std::string quoted(csv_write(nullptr, 0, value.data(), value.size()), '\0');
    csv_write(quoted.data(), quoted.size(), value.data(), value.size());
    return quoted;
}

} // namespace velq::kit

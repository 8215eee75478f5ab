// Files of numbers as people have them: this program's own CSV, others' with further columns, exports of contacts,
// plain lists.
#ifndef VELQ_KIT_ENGINE_NUMBER_FILE_H
#define VELQ_KIT_ENGINE_NUMBER_FILE_H

#include "kit/base/phone_number.h"
#include "kit/engine/number_list.h"

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace velq::kit {

struct BadRow {
    std::uint64_t line = 0;
    std::string number; // as it is written
    std::string why;    // with what to do
};

struct NumberFile {
    std::vector<ListEntry> entries; // without fault
    std::vector<BadRow> bad;
    std::vector<std::string> passedOver; // titles of columns that mean nothing here
};

// Takes
// - CSV with a header, its fields apart by commas, semicolons or tabs: the columns number, name, hidden and extendID in
//   any order, each once, all but number may be missing; or those of an address book, whose telephone columns each give
//   an entry; further columns are passed over;
// - CSV without a header, and lists of one number a line: the number first, then a name where there is one;
// - vCard, of which each telephone gives an entry.
// Numbers lose their punctuation and get the country's form. Names of contacts are cut to what an entry holds. Throws
// Error (badData) for a file that is none of these.
NumberFile readNumbers(std::istream &in, const std::string &name, const NumberForm &form);

// number,name,hidden,extendID with a header.
void writeEntries(std::ostream &out, const std::vector<ListEntry> &entries);

} // namespace velq::kit

#endif

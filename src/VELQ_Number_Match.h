// Numbers as the lists compare them: the rule by which two keys match, and the question to a list's index that spares a
// lookup the rows. Keys are narrow and reversed.
#ifndef VELQ_NUMBER_MATCH_H
#define VELQ_NUMBER_MATCH_H

#include "VELQ_DB_Connection.h"

#include <cstddef>
#include <cstdint>

// Long numbers match by their last 11 characters, whatever the international prefix: 13812345678 as +8613812345678.
inline constexpr std::size_t matchedLength = 11;

enum class KeyMatch : std::uint8_t {
    equal,
    different,
    bothEmpty // which is no match either
};

KeyMatch matchKeys(const char *first, const char *second) noexcept;

enum class IndexAnswer : std::uint8_t {
    listed,
    notListed,
    unusable, // there is no such index, or with these rows it does not tell
    failed    // a step failed; the connection's other statements may have ended with it
};

// Looks for a row that matches the key. `sql` has one parameter, a bound, and selects `number` of the rows below it,
// the greatest first, in the order of their bytes; its second column tells whether the database is in UTF-8. A standing
// connection keeps its statement.
IndexAnswer askNumberIndex(VELQ_DSH_Connection *connection, const char *sql, const char *key) noexcept;

#endif

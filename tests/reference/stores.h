// The contents of the five data files as plain maps and lists, read from an installation or held by the model.
#ifndef VELQ_REFERENCE_STORES_H
#define VELQ_REFERENCE_STORES_H

#include "support/database.h"
#include "support/installation.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace velq::reference {

using test::TokenCounts;
using test::Value;

// One row of the black or white list.
struct NumberEntry {
    std::int64_t uid = 0;
    Value hidden;
    Value number;
    Value name;
    Value extendID;

    friend bool operator==(const NumberEntry &, const NumberEntry &) = default;
};

struct NumberTable {
    // In the order of the identifiers.
    std::vector<NumberEntry> entries;
    // The highest identifier ever given; the next entry gets one more, even when entries were removed.
    std::int64_t lastUid = 0;
};

struct Stores {
    // Key bytes to stored value; keys are always blobs.
    std::map<std::string, Value> tokens;
    NumberTable white;
    NumberTable black;
    test::Rows rules;
    std::map<std::int64_t, Value> versions;
};

// Throws std::runtime_error for a token key that is not a blob.
Stores readStores(const test::Installation &installation);

// One line for each row in which the stores differ, values with their storage classes; empty when they hold the same.
std::vector<std::string> differences(const Stores &expected, const Stores &actual);

} // namespace velq::reference

#endif

// The contents of an installation's data files, and what each writing operation makes of them, transaction by
// transaction: the tests of faults and crashes compare what they find with these.
#ifndef VELQ_RELIABILITY_STORE_MODEL_H
#define VELQ_RELIABILITY_STORE_MODEL_H

#include "support/installation.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace velq::reliability {

using test::Installation;
using test::NumberList;
using test::TokenCounts;
using test::WideText;

struct Stores {
    std::map<std::string, TokenCounts> tokens; // by key bytes, the message counts among them
    test::Rows white;                          // hidden, number, name, extendID; in the order of their identifiers
    test::Rows black;
    std::map<int, int> versions;

    // Equal texts mean equal stores.
    std::string text() const;
};

Stores readStores(const Installation &installation);

using Change = std::function<void(Stores &)>;

// One transaction of an operation.
struct Transaction {
    enum class Kind {
        whole,    // all or nothing
        training, // token writes in their order, then the message counts: what was written before a failure stays
        merge     // rows of an update in their order: an error while reading the update counts as its end
    };

    Kind kind = Kind::whole;
    std::vector<Change> parts;
};

// An export call, or an internal one, with its documented results.
struct Operation {
    std::string name;
    std::function<std::int32_t()> run;
    std::set<std::int32_t> results;
    std::vector<Transaction> transactions;
};

void apply(Stores &stores, const Transaction &transaction);
void apply(Stores &stores, const Operation &operation);

// Every state that a failure somewhere in the operation may leave. Each transaction runs whether or not the one before
// it failed. With `isReading` the failure may also have hidden stored values from the engine: a token that could not be
// read is not trained, an update ends early.
std::set<std::string> statesAfterFailure(const Stores &before, const Operation &operation, bool isReading);

// Four tokens, two numbers on each list, and update files with three new rows each.
void fillInstallation(Installation &installation);
std::filesystem::path probabilityUpdateOf(const Installation &installation);
std::filesystem::path whiteNumberUpdateOf(const Installation &installation);

// The writing operations on an installation filled by fillInstallation. Those that take a running engine find it
// started on the installation.
std::vector<Operation> writingOperations(const Installation &installation);

} // namespace velq::reliability

#endif

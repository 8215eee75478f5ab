// What is wrong with a token store, and figures of it.
#ifndef VELQ_KIT_STORE_STORE_CHECK_H
#define VELQ_KIT_STORE_STORE_CHECK_H

#include "kit/store/store_file.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velq::kit {

struct StoreProblem {
    std::string where; // the key as in the text form, or the file's part; may be empty
    std::string what;
};

// Everything about the file that keeps the engine from using it fully: damage, keys that are never looked up, values of
// another length, missing or senseless special records. Empty for a good store.
std::vector<StoreProblem> verifyStoreFile(const std::filesystem::path &path);

// Without the file's own integrity, which only the file itself shows.
std::vector<StoreProblem> verifyContents(const StoreContents &contents);

// Throws Error (badData) when a key occurs twice, which neither the text form nor an update can hold. The contents must
// be sorted.
void checkKeysAreUnique(const StoreContents &contents, const std::string &name);

struct StoreStatistics {
    std::optional<std::uint64_t> fileBytes; // none for what is no file
    std::uint64_t tokens = 0;
    std::uint64_t tokensOfLength[3] = {}; // 2, 3 and 4 units
    std::uint64_t otherRows = 0;          // neither token nor special record
    std::uint64_t spamMessages = 0;
    std::uint64_t hamMessages = 0;
    bool hasMessageCounts = false;
    std::optional<std::uint32_t> priorMillionths; // none: the engine takes its own
    std::uint64_t spamSide = 0;                   // tokens that count as evidence of spam as they stand
    std::uint64_t hamSide = 0;                    // ... of ham
    std::uint64_t neutral = 0;                    // found in texts, but no evidence
    std::uint64_t withoutCounts = 0;
    std::uint64_t digitsOnly = 0;
    std::uint64_t asciiOnly = 0;
    std::uint32_t largestCount = 0;
    std::uint64_t withReserved = 0; // reserved word other than 0
};

StoreStatistics statisticsOf(const StoreContents &contents);

} // namespace velq::kit

#endif

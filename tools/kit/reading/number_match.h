// How a sender's number is looked for: in the lists, and by the operator rule.
#ifndef VELQ_KIT_READING_NUMBER_MATCH_H
#define VELQ_KIT_READING_NUMBER_MATCH_H

#include "kit/base/database.h"
#include "kit/base/file_watch.h"
#include "kit/base/wide_text.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace velq::kit {

// How many characters of a key decide whether it matches; a shorter one matches itself alone.
inline constexpr std::size_t comparedCharacters = 11;

// The form of a number by which lists find it: narrow, last character first, and of that the part that is compared.
// Empty for a number that matches nothing.
std::string matchKey(WideView number);

// A number as the list exports show it, of the form in which it is stored: last character first, each byte
// sign-extended to a unit.
std::string displayedNumber(std::string_view key);

// Whether the operator rule takes the number.
bool isOperatorNumber(WideView number);

struct MatchedEntry {
    std::string number; // UTF-8, as displayed
    std::string name;
    std::int64_t uid = 0;
};

// One list as the lookup sees it; follows the file when another program changes it.
class ListIndex {
  public:
    ListIndex(const std::filesystem::path &file, std::string table);

    std::optional<MatchedEntry> find(const std::string &key);

  private:
    void refresh();
    void load();

    Database database_;
    FileWatch watch_;
    std::string table_;
    Query version_;
    std::int64_t loadedVersion_ = -1;
    std::optional<FileState> loadedState_;
    std::unordered_map<std::string, MatchedEntry> entries_;
};

} // namespace velq::kit

#endif

// A token store's file as readings ask it.
#ifndef VELQ_KIT_READING_STORED_TOKENS_H
#define VELQ_KIT_READING_STORED_TOKENS_H

#include "kit/base/database.h"
#include "kit/reading/message_reading.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace velq::kit {

// As it stands at each look-up.
class StoredTokens {
  public:
    explicit StoredTokens(const std::filesystem::path &file);

    StoreTotals totals();
    std::optional<TokenStats> find(PackedToken token);

    Database &database()
    {
        return store_;
    }

  private:
    std::optional<TokenWords> lookUp(std::string_view key);

    Database store_;
    Query select_;
    // Read once, as a loaded engine does.
    std::optional<double> prior_;
};

} // namespace velq::kit

#endif

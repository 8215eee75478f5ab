// Which update files were merged into an installation. The data files keep the last version only, so the command that
// merges keeps a text beside them: a line for each merge.
#ifndef VELQ_KIT_STORE_UPDATE_RECORD_H
#define VELQ_KIT_STORE_UPDATE_RECORD_H

#include "kit/engine/installation.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velq::kit {

enum class UpdateKind { probability, whiteNumbers };

// A figure of all rows of an update file, whatever their order and whatever else is in the file: equal for a copy.
// Empty for a file without rows, which may be merged as often as one likes.
std::string fingerprintOf(const std::filesystem::path &file, UpdateKind kind);

struct MergedUpdate {
    std::string time; // UTC
    std::string version;
    std::string fileName;
};

class UpdateRecord {
  public:
    explicit UpdateRecord(const Installation &installation);

    // Throws Error (cannotCreate) where no line could be added.
    void checkWritable() const;
    // The last merge of a file with that fingerprint.
    std::optional<MergedUpdate> find(UpdateKind kind, std::string_view fingerprint) const;
    // Throws Error (cannotCreate).
    void add(UpdateKind kind, std::int32_t version, std::string_view fingerprint,
             const std::filesystem::path &file) const;

  private:
    std::filesystem::path path_;
};

} // namespace velq::kit

#endif

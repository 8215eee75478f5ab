// Lines of time, kind, version, fingerprint and file name, separated by tabs.
#include "kit/store/update_record.h"

#include "kit/base/status.h"
#include "kit/base/utc_time.h"
#include "kit/base/wide_text.h"
#include "kit/store/data_file.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

namespace velq::kit {

namespace fs = std::filesystem;

static std::string_view nameOf(UpdateKind kind)
{
    return kind == UpdateKind::probability ? "probability" : "white-numbers";
}

// ---- Fingerprints -------------------------------------------------------------------------------------------------

// FNV-1a, 64 bits: files are told apart that were taken for each other by mistake, not by intent.
static std::uint64_t mixed(std::uint64_t hash, std::string_view bytes)
{
    constexpr std::uint64_t prime = 0x100000001B3;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * prime;
    }
    return hash;
}

std::string fingerprintOf(const fs::path &file, UpdateKind kind)
{
    Database database(file, DatabaseMode::read);
    std::vector<std::string> rows;
    for (const StoredRow &row :
         readRows(database, kind == UpdateKind::probability ? "SELECT key, value FROM diffProbTable;"
                                                            : "SELECT number, name FROM diffWnTable;")) {
        rows.push_back(std::to_string(row[0].bytes.size()) + ':' + row[0].bytes + std::to_string(row[1].bytes.size()) +
                       ':' + row[1].bytes);
    }
    if (rows.empty()) {
        return {};
    }
    std::ranges::sort(rows);
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const std::string &row : rows) {
        hash = mixed(hash, row);
    }
    char text[48];
    std::snprintf(text, sizeof text, "%016llx-%zu", static_cast<unsigned long long>(hash), rows.size());
    return text;
}

// ---- The record ---------------------------------------------------------------------------------------------------

UpdateRecord::UpdateRecord(const Installation &installation) : path_(installation.programFolder() / "updates.tsv") {}

static Error notWritable(const fs::path &path, const std::string &what)
{
    return {Status::cannotCreate, "cannot add a line to " + path.string() + ", the record of merged updates; " + what};
}

void UpdateRecord::checkWritable() const
{
    if (!std::ofstream(path_, std::ios::app | std::ios::binary)) {
        throw notWritable(path_, "nothing was merged; check its permissions");
    }
}

std::optional<MergedUpdate> UpdateRecord::find(UpdateKind kind, std::string_view fingerprint) const
{
    std::optional<MergedUpdate> found;
    std::ifstream in(path_, std::ios::binary);
    for (std::string line; !fingerprint.empty() && std::getline(in, line);) {
        std::istringstream fields(line);
        MergedUpdate update;
        std::string lineKind;
        std::string lineFingerprint;
        std::getline(fields, update.time, '\t');
        std::getline(fields, lineKind, '\t');
        std::getline(fields, update.version, '\t');
        std::getline(fields, lineFingerprint, '\t');
        std::getline(fields, update.fileName, '\t');
        if (lineKind == nameOf(kind) && lineFingerprint == fingerprint) {
            found = update;
        }
    }
    return found;
}

void UpdateRecord::add(UpdateKind kind, std::int32_t version, std::string_view fingerprint, const fs::path &file) const
{
    std::ofstream out(path_, std::ios::app | std::ios::binary);
    out << timeInUtc() << '\t' << nameOf(kind) << '\t' << version << '\t' << fingerprint << '\t'
        << oneLine(file.filename().string()) << '\n'
        << std::flush;
    if (!out) {
        throw notWritable(path_, file.string() + " was merged, but a second merge of it will not be noticed");
    }
}

} // namespace velq::kit

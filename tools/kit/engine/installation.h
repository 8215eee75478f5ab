// Where an installation keeps its files, laying out a new one, and checking one.
#ifndef VELQ_KIT_ENGINE_INSTALLATION_H
#define VELQ_KIT_ENGINE_INSTALLATION_H

#include "kit/base/database.h"
#include "kit/base/wide_text.h"

#include <array>
#include <filesystem>
#include <string_view>
#include <utility>

namespace velq::kit {

// The data files in the order in which they are laid out.
inline constexpr std::array<std::string_view, 5> dataFileNames = {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"};

// A folder DIR that holds Quenlibra/Tarvolent, the program directory.
class Installation {
  public:
    explicit Installation(std::filesystem::path root) : root_(std::move(root)) {}

    const std::filesystem::path &root() const
    {
        return root_;
    }
    std::filesystem::path programFolder() const;
    std::filesystem::path dataFile(std::string_view name) const;

    // The text for VELQ_Initialize: native path, then "Quenlibra\Tarvolent" with a backslash between the names. Throws
    // Error (usage) for a folder that the engine cannot take: too long, not UTF-8, with a backslash of its own.
    WideText programDirectory() const;

    // Throws Error (noInput) that names the first data file that is missing.
    void checkComplete() const;

  private:
    std::filesystem::path root_;
};

// Lays out the program directory with the five data files, prob.bin as a copy of `tokenStore`, or empty without one,
// and in the mode of `journal` whatever the store's own is. Throws Error: cannotCreate when one of the files exists
// (nothing is changed then) or cannot be made (what was made is removed); noInput or badData when `tokenStore` is
// missing or no token store. The version of the token statistics is the one that the file of `tokenStore` tells of
// (SQLite's user_version), else that of the schema.
void layOut(const Installation &installation, const std::filesystem::path &tokenStore,
            Journal journal = Journal::rollback);

// Lays out `to` with copies of the data files of `from`, each as it stands at one moment and with a rollback journal.
// Throws Error: noInput, badData, inputOutput for `from`, cannotCreate for `to`.
void copyInstallation(const Installation &from, const Installation &to);

// Makes the data file or update file `name` of the schema ("prob.bin", "wn-update", ...) at `file`, which must not
// exist.
void createFromSchema(const std::filesystem::path &file, std::string_view name);

// Throws Error (noInput, badData) unless `file` is a database with the token table.
void checkTokenStore(const std::filesystem::path &file);

// Throws Error unless each data file is a database with its table that can be read at this moment: noInput for a
// missing one, badData, inputOutput for one that is in use. Undoes what a killed writer left unfinished. The engine
// itself rates messages unsure when it cannot read a file.
void checkDataFiles(const Installation &installation);

// Off: what the engine trains is dropped by the store itself (triggers that pass over each write), so that every rating
// sees the store as it is. The engine does all its work and meets no failure. For installations that nobody else uses.
void setTraining(const Installation &installation, bool on);

// The delivered starter token store beside the program (../share/velq or, in a build folder, ../data); empty when there
// is none.
std::filesystem::path starterStore();

} // namespace velq::kit

#endif

// Installations: their paths, laying out and copying them, and checks of what is there.
#include "kit/engine/installation.h"

#include "kit/base/status.h"
#include "velq_schema.h"

#include <sqlite3.h>
#include <vector>

namespace velq::kit {

namespace fs = std::filesystem;

static constexpr std::size_t longestProgramDirectory = 238; // bytes in UTF-8

fs::path Installation::programFolder() const
{
    return root_ / "Quenlibra" / "Tarvolent";
}

fs::path Installation::dataFile(std::string_view name) const
{
    return programFolder() / "data" / name;
}

WideText Installation::programDirectory() const
{
    std::string folder = root_.lexically_normal().string();
    if (folder.find('\\') != std::string::npos) {
        throw Error(Status::usage, "the folder " + folder + " has a backslash in its name; choose another folder");
    }
    if (folder.empty()) {
        folder = ".";
    }
    if (!folder.ends_with('/')) {
        folder.push_back('/');
    }
    folder += "Quenlibra\\Tarvolent";
    if (folder.size() > longestProgramDirectory) {
        throw Error(Status::usage, "the folder " + root_.string() + " is too long; choose one of at most " +
                                       std::to_string(longestProgramDirectory - 20) + " bytes");
    }
    return wideArgument(folder, "the folder's name");
}

void Installation::checkComplete() const
{
    for (const std::string_view name : dataFileNames) {
        std::error_code ignored;
        if (!fs::is_regular_file(dataFile(name), ignored)) {
            throw Error(Status::noInput, "no installation in " + root_.string() + ": " + dataFile(name).string() +
                                             " is missing; make one with velq init");
        }
    }
}

void createFromSchema(const fs::path &file, std::string_view name)
{
    const std::string schema = schemaFor(name);
    if (schema.empty()) {
        throw Error(Status::internal, "no schema for " + std::string(name) + "; please report this");
    }
    Database database(file, DatabaseMode::create);
    try {
        database.exec(schema);
    } catch (const Error &error) {
        std::error_code ignored;
        fs::remove(file, ignored);
        throw Error(Status::cannotCreate, error.what());
    }
}

void checkTokenStore(const fs::path &file)
{
    Database database(file, DatabaseMode::read);
    if (!database.hasTable("velqTable")) {
        throw Error(Status::badData, file.string() + " is not a token store; give a prob.bin");
    }
    Query columns(database, "SELECT key, value FROM velqTable LIMIT 1;");
    columns.step();
}

// What a writer that was killed had not finished is undone by whoever opens the file next, but only for writing.
static void undoUnfinished(const fs::path &file)
{
    std::error_code ignored;
    if (!fs::exists(file.string() + "-journal", ignored)) {
        return;
    }
    try {
        Database database(file, DatabaseMode::write);
        database.integer("SELECT COUNT(*) FROM sqlite_master;");
    } catch (const Error &) {
        // Whoever reads it next says what is wrong with it.
    }
}

void checkDataFiles(const Installation &installation)
{
    installation.checkComplete();
    constexpr std::array<std::string_view, dataFileNames.size()> tables = {"velqTable", "blackList", "whiteList",
                                                                           "ruleList", "versionTable"};
    for (std::size_t i = 0; i < tables.size(); ++i) {
        undoUnfinished(installation.dataFile(dataFileNames.at(i)));
        Database database(installation.dataFile(dataFileNames.at(i)), DatabaseMode::read);
        if (!database.hasTable(tables.at(i))) {
            throw Error(Status::badData, database.file().string() + " holds no " + std::string(tables.at(i)) +
                                             "; put a sound file in its place or lay out a new installation");
        }
    }
}

// The source's pages as a reader sees them: what its log holds belongs to them, and the file alone may change
// meanwhile.
static void copyPages(Database &source, const fs::path &to)
{
    Database target(to, DatabaseMode::create);
    try {
        sqlite3_backup *copy = sqlite3_backup_init(target.handle(), "main", source.handle(), "main");
        const int code = copy != nullptr ? sqlite3_backup_step(copy, -1) : sqlite3_errcode(target.handle());
        sqlite3_backup_finish(copy);
        if (code != SQLITE_DONE) {
            target.fail(code);
        }
        target.setJournal(Journal::rollback); // the pages bring the source's mode along
    } catch (...) {
        std::error_code ignored;
        fs::remove(to, ignored);
        throw;
    }
}

// Holds the source's read lock while it is copied, so that no writer gets between.
static void copyDataFile(const fs::path &from, const fs::path &to)
{
    Database source(from, DatabaseMode::read);
    source.exec("BEGIN;");
    source.integer("SELECT COUNT(*) FROM sqlite_master;");
    std::error_code code;
    if (journalOf(from) == Journal::writeAhead) {
        copyPages(source, to);
    } else {
        requireNoLogBeside(to);
        if (!fs::copy_file(from, to, fs::copy_options::none, code)) {
            throw Error(Status::cannotCreate,
                        "cannot create " + to.string() + ": " + code.message() + "; check the folder");
        }
    }
    // A file delivered read-only is copied with its permissions; the engine writes to its own.
    fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, fs::perm_options::add, code);
}

static void createDataFile(const Installation &installation, std::string_view name, const fs::path &tokenStore)
{
    const fs::path file = installation.dataFile(name);
    if (name == "prob.bin" && !tokenStore.empty()) {
        copyDataFile(tokenStore, file);
    } else {
        createFromSchema(file, name);
    }
}

// A store that is delivered with updates tells which of them it holds already.
static void takeOverDataVersion(const Installation &installation)
{
    const std::int64_t version =
        Database(installation.dataFile("prob.bin"), DatabaseMode::read).integer("PRAGMA user_version;");
    if (version > 0) {
        Database(installation.dataFile("ver.bin"), DatabaseMode::write)
            .exec("UPDATE versionTable SET version = " + std::to_string(version) + " WHERE command = 0;");
    }
}

void layOut(const Installation &installation, const fs::path &tokenStore, Journal journal)
{
    installation.programDirectory();
    for (const std::string_view name : dataFileNames) {
        if (fs::exists(fs::symlink_status(installation.dataFile(name)))) {
            throw Error(Status::cannotCreate, installation.dataFile(name).string() +
                                                  " exists and is not overwritten; choose another folder or remove it");
        }
    }
    if (!tokenStore.empty()) {
        checkTokenStore(tokenStore);
    }
    std::error_code code;
    fs::create_directories(installation.dataFile("prob.bin").parent_path(), code);
    if (code) {
        throw Error(Status::cannotCreate, "cannot create " + installation.dataFile("prob.bin").parent_path().string() +
                                              ": " + code.message() + "; choose a folder that you may write");
    }
    std::vector<fs::path> made;
    try {
        for (const std::string_view name : dataFileNames) {
            createDataFile(installation, name, tokenStore);
            made.push_back(installation.dataFile(name));
        }
        takeOverDataVersion(installation);
        if (journal == Journal::writeAhead) {
            Database(installation.dataFile("prob.bin"), DatabaseMode::write).setJournal(journal);
        }
    } catch (...) {
        for (const fs::path &file : made) {
            fs::remove(file, code);
        }
        throw;
    }
}

void copyInstallation(const Installation &from, const Installation &to)
{
    std::error_code code;
    fs::create_directories(to.dataFile("prob.bin").parent_path(), code);
    if (code) {
        throw Error(Status::cannotCreate, "cannot create " + to.programFolder().string() + ": " + code.message() +
                                              "; check the space left and the permissions");
    }
    for (const std::string_view name : dataFileNames) {
        copyDataFile(from.dataFile(name), to.dataFile(name));
    }
}

void setTraining(const Installation &installation, bool on)
{
    Database file(installation.dataFile("prob.bin"), DatabaseMode::write);
    file.exec(on ? "DROP TRIGGER IF EXISTS passOverUpdate; DROP TRIGGER IF EXISTS passOverInsert;"
                 : "CREATE TRIGGER IF NOT EXISTS passOverUpdate BEFORE UPDATE ON velqTable BEGIN SELECT RAISE(IGNORE); "
                   "END;"
                   "CREATE TRIGGER IF NOT EXISTS passOverInsert BEFORE INSERT ON velqTable BEGIN SELECT RAISE(IGNORE); "
                   "END;");
}

fs::path starterStore()
{
    std::error_code ignored;
    const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
    const fs::path prefix = program.parent_path().parent_path();
    for (const fs::path &candidate : {prefix / "share" / "velq" / "prob.bin", prefix / "data" / "prob.bin"}) {
        if (fs::is_regular_file(candidate, ignored)) {
            return candidate;
        }
    }
    return {};
}

} // namespace velq::kit

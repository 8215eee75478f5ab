// The journal as a table of SQLite.
#include "kit/serve/journal.h"

#include "kit/base/status.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velq::kit {

namespace fs = std::filesystem;

static constexpr std::uint64_t addedBetweenPrunings = 256;
static constexpr const char *columns = "SELECT id, time, source, number, text, verdict, reason, spamicity, correction, "
                                       "changes, listChanges, sender, senderChanges FROM "
                                       "message ";

// SQLite would make it for everybody to read.
static const fs::path &madeForOwner(const fs::path &file)
{
    std::error_code ignored;
    if (!fs::exists(file, ignored)) {
        const int made = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (made < 0) {
            throw Error(Status::cannotCreate,
                        "cannot create the journal " + file.string() + "; check its folder and the permissions");
        }
        ::close(made);
    }
    return file;
}

static std::int64_t milliseconds(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

MessageJournal::MessageJournal(const JournalOptions &options)
    : options_(options), file_(madeForOwner(options.file), DatabaseMode::write)
{
    constexpr std::int64_t applicationId = 0x76656C71;
    constexpr std::int64_t version = 2;
    const bool isNew = file_.integer("SELECT COUNT(*) FROM sqlite_master;") == 0;
    if (!isNew && file_.integer("PRAGMA application_id;") != applicationId) {
        throw Error(Status::badData, options_.file.string() + " is not a journal; give another file");
    }
    const std::int64_t found = isNew ? version : file_.integer("PRAGMA user_version;");
    if (found < 1 || found > version) {
        throw Error(Status::badData,
                    options_.file.string() + " is a journal of another version; move it away, and a new one is made");
    }
    file_.setJournal(Journal::writeAhead);
    file_.exec(options_.untilOnDisk ? "PRAGMA synchronous = FULL;" : "PRAGMA synchronous = NORMAL;");
    // What was removed is to be gone from the file as well.
    file_.integer("PRAGMA secure_delete = ON;");
    if (isNew) {
        file_.exec("BEGIN IMMEDIATE;"
                   "CREATE TABLE message (id INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL, source TEXT NOT "
                   "NULL, number TEXT NOT NULL, text TEXT NOT NULL, verdict TEXT NOT NULL, reason TEXT NOT NULL, "
                   "spamicity REAL, correction TEXT NOT NULL DEFAULT '', changes TEXT NOT NULL DEFAULT '', "
                   "listChanges TEXT NOT NULL DEFAULT '', sender TEXT NOT NULL DEFAULT '', senderChanges TEXT NOT NULL "
                   "DEFAULT '');"
                   "CREATE INDEX message_time ON message (time);"
                   "CREATE INDEX message_verdict ON message (verdict, id);"
                   "PRAGMA application_id = " +
                   std::to_string(applicationId) + "; PRAGMA user_version = " + std::to_string(version) + "; COMMIT;");
    } else if (found < version) {
        file_.exec("BEGIN IMMEDIATE;"
                   "ALTER TABLE message ADD COLUMN listChanges TEXT NOT NULL DEFAULT '';"
                   "ALTER TABLE message ADD COLUMN sender TEXT NOT NULL DEFAULT '';"
                   "ALTER TABLE message ADD COLUMN senderChanges TEXT NOT NULL DEFAULT '';"
                   "PRAGMA user_version = " +
                   std::to_string(version) + "; COMMIT;");
    }
    tryToPrune();
}

// Where that fails, on a full disk for example, they go the next time: it keeps nobody from rating.
void MessageJournal::tryToPrune()
{
    try {
        prune(std::chrono::system_clock::now());
    } catch (const Error &) {
    }
}

std::int64_t MessageJournal::add(const JournalEntry &entry)
{
    if (++added_ % addedBetweenPrunings == 0) {
        tryToPrune();
    }
    Query insert(file_, "INSERT INTO message (time, source, number, text, verdict, reason, spamicity) "
                        "VALUES (?, ?, ?, ?, ?, ?, ?) RETURNING id;");
    insert.bindInteger(1, entry.time != 0 ? entry.time : milliseconds(std::chrono::system_clock::now()));
    insert.bindText(2, entry.source);
    insert.bindText(3, entry.number);
    insert.bindText(4, entry.text);
    insert.bindText(5, entry.verdict);
    insert.bindText(6, entry.reason);
    if (entry.spamicity) {
        insert.bindReal(7, *entry.spamicity);
    }
    insert.step();
    const std::int64_t id = insert.integer(0);
    insert.step(); // the end of the statement commits
    return id;
}

static JournalEntry entryOf(Query &row)
{
    JournalEntry entry;
    entry.id = row.integer(0);
    entry.time = row.integer(1);
    entry.source = row.text(2);
    entry.number = row.text(3);
    entry.text = row.text(4);
    entry.verdict = row.text(5);
    entry.reason = row.text(6);
    if (!row.isNull(7)) {
        entry.spamicity = row.real(7);
    }
    entry.correction = row.text(8);
    entry.changes = row.text(9);
    entry.listChanges = row.text(10);
    entry.sender = row.text(11);
    entry.senderChanges = row.text(12);
    return entry;
}

std::optional<JournalEntry> MessageJournal::find(std::int64_t id)
{
    Query select(file_, std::string(columns) + "WHERE id = ?;");
    select.bindInteger(1, id);
    return select.step() ? std::optional(entryOf(select)) : std::nullopt;
}

std::vector<JournalEntry> MessageJournal::list(const JournalFilter &filter)
{
    std::string conditions = "WHERE TRUE ";
    conditions += filter.verdict.empty() ? "" : "AND verdict = ?1 ";
    conditions += filter.before ? "AND id < ?2 " : "";
    if (filter.corrected) {
        conditions += *filter.corrected ? "AND correction <> '' " : "AND correction = '' ";
    }
    Query select(file_, columns + conditions + "ORDER BY id DESC LIMIT ?3;");
    if (!filter.verdict.empty()) {
        select.bindText(1, filter.verdict);
    }
    if (filter.before) {
        select.bindInteger(2, *filter.before);
    }
    select.bindInteger(3, static_cast<std::int64_t>(filter.limit));
    std::vector<JournalEntry> entries;
    while (select.step()) {
        entries.push_back(entryOf(select));
    }
    return entries;
}

void MessageJournal::keepDecisions(const JournalEntry &entry)
{
    Query update(file_,
                 "UPDATE message SET correction = ?, changes = ?, listChanges = ?, sender = ?, senderChanges = ? "
                 "WHERE id = ?;");
    update.bindText(1, entry.correction);
    update.bindText(2, entry.changes);
    update.bindText(3, entry.listChanges);
    update.bindText(4, entry.sender);
    update.bindText(5, entry.senderChanges);
    update.bindInteger(6, entry.id);
    update.step();
}

std::vector<WeekCount> MessageJournal::weeks(std::int64_t since)
{
    // 1970 began on a Thursday.
    Query select(file_,
                 "SELECT (time + 259200000) / 604800000 * 7 - 3, verdict, correction, COUNT(*) FROM message WHERE "
                 "time >= ? GROUP BY 1, 2, 3 ORDER BY 1;");
    select.bindInteger(1, since);
    std::vector<WeekCount> counts;
    while (select.step()) {
        counts.push_back(
            {select.integer(0), std::string(select.text(1)), std::string(select.text(2)), select.integer(3)});
    }
    return counts;
}

std::optional<std::int64_t> MessageJournal::oldest()
{
    Query select(file_, "SELECT time FROM message ORDER BY time LIMIT 1;");
    return select.step() ? std::optional(select.integer(0)) : std::nullopt;
}

void MessageJournal::prune(std::chrono::system_clock::time_point now)
{
    constexpr std::int64_t longest = 36500; // days, so that nothing overflows
    const auto days = static_cast<std::int64_t>(std::min<std::uint64_t>(options_.keepDays, longest));
    Query old(file_, "DELETE FROM message WHERE time < ?;");
    old.bindInteger(1, milliseconds(now - std::chrono::hours(24 * days)));
    old.step();
    Query many(file_, "DELETE FROM message WHERE id <= (SELECT id FROM message ORDER BY id DESC LIMIT 1 OFFSET ?);");
    many.bindInteger(1, static_cast<std::int64_t>(std::min<std::uint64_t>(options_.keepRows, 1000000000)));
    many.step();
}

} // namespace velq::kit

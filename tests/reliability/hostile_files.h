// Installations for hostile files, and the bounds within which each call on them must return. With
// VELQ_TEST_JOURNAL=wal in the environment the token stores are in write-ahead mode.
#ifndef VELQ_TEST_RELIABILITY_HOSTILE_FILES_H
#define VELQ_TEST_RELIABILITY_HOSTILE_FILES_H

#include "support/engine_session.h"
#include "support/installation.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <sys/resource.h>

namespace velq::test {

// What one export may take on a file of less than a megabyte. A loop would take for ever, a computed gigabyte far more.
inline constexpr std::chrono::seconds longestCall{5};
inline constexpr sqlite3_int64 mostDatabaseMemory = 64 << 20;
// Of any file, temporary ones too.
inline constexpr rlim_t largestFile = 16 << 20;

inline Journal journalOfStores()
{
    const char *wanted = std::getenv("VELQ_TEST_JOURNAL");
    return wanted != nullptr && std::string(wanted) == "wal" ? Journal::writeAhead : Journal::rollback;
}

inline const std::string infiniteRows = "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)";

// While it lives, a file that grows beyond the bound ends the process.
class BoundedFiles {
  public:
    BoundedFiles()
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit bound{largestFile, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &bound);
    }
    ~BoundedFiles()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
    }
    BoundedFiles(const BoundedFiles &) = delete;
    BoundedFiles &operator=(const BoundedFiles &) = delete;

  private:
    rlimit before_{};
};

// Runs one export within the bounds.
inline std::int32_t bounded(const std::function<std::int32_t()> &call)
{
    const BoundedFiles files;
    sqlite3_memory_highwater(1);
    const auto start = std::chrono::steady_clock::now();
    const std::int32_t result = call();
    EXPECT_LT(std::chrono::steady_clock::now() - start, longestCall);
    EXPECT_LT(sqlite3_memory_highwater(0), mostDatabaseMemory);
    return result;
}

// Every file below a folder with its content, the named ones and logs left out.
inline std::map<std::string, std::string> contentsBeside(const std::filesystem::path &folder,
                                                         const std::set<std::string> &leftOut)
{
    std::map<std::string, std::string> contents;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && !leftOut.contains(name) && entry.path().extension() != ".log") {
            contents[entry.path().string()] = readFile(entry.path());
        }
    }
    return contents;
}

class HostileFiles : public testing::Test {
  protected:
    HostileFiles()
    {
        installation_.addTokens({{VELQ_TEXT("free"), {9, 1, 0}},
                                 {VELQ_TEXT("cash"), {8, 1, 0}},
                                 {VELQ_TEXT("priz"), {7, 0, 0}},
                                 {VELQ_TEXT("lunc"), {0, 9, 0}}});
        installation_.setMessageCounts(40, 50);
        installation_.addNumber(NumberList::white, "13812345678", 0, VELQ_TEXT("friend"), 1);
        installation_.addNumber(NumberList::black, "13900001111", 0, VELQ_TEXT("spammer"), 1);
        installation_.setJournal(journalOfStores());
        writeFile(installation_.folder() / "letter.txt", "not the engine's business\n");
    }

    std::filesystem::path updatePath() const
    {
        return installation_.folder() / "update.db";
    }

    // Replaces a data file's content by what `sql` makes.
    void remake(const std::string &file, const std::string &sql)
    {
        std::filesystem::remove(installation_.dataFile(file));
        Database(installation_.dataFile(file), OpenMode::create).exec(sql);
        if (file == "prob.bin") {
            installation_.setJournal(journalOfStores());
        }
    }

    void makeUpdate(const std::string &sql) const
    {
        std::filesystem::remove(updatePath());
        Database(updatePath(), OpenMode::create).exec(sql);
    }

    // A table of one row whose first column is stored and whose other columns are computed, without computing them
    // here.
    void makeComputedUpdate(const std::string &table, const std::string &columns) const
    {
        makeUpdate("CREATE TABLE " + table + "(id); INSERT INTO " + table + " VALUES(1);");
        Database update(updatePath());
        update.exec("PRAGMA writable_schema = ON;");
        update.query("UPDATE sqlite_master SET sql = ?;",
                     {Value::ofText("CREATE TABLE " + table + "(" + columns + ")")});
    }

    std::int32_t updateProbabilities() const
    {
        const WideText path = widePath(updatePath());
        return bounded([&path] { return VELQ_UpdateData(path.c_str(), 5, nullptr, 0); });
    }

    std::int32_t updateWhiteNumbers() const
    {
        const WideText path = widePath(updatePath());
        return bounded([&path] { return VELQ_UpdateData(nullptr, 0, path.c_str(), 6); });
    }

    Installation installation_;
};

inline std::int32_t addNumber(NumberList list, WideText number)
{
    const NumberRecord record{number.data(), nullptr};
    return bounded([list, &record] {
        return list == NumberList::white ? VELQ_AddWhiteNumberSync(&record, 0, 7)
                                         : VELQ_AddBlackNumberSync(&record, 0, 7);
    });
}

inline std::int32_t addBatch(WideText number)
{
    const NumberListNode node{nullptr, nullptr, number.data(), 7};
    return bounded([&node] { return VELQ_AddWhiteNumberListSync(&node, 0); });
}

inline std::uint32_t rate(const WideText &body, const WideText &number)
{
    std::uint32_t rating = 99;
    EXPECT_EQ(bounded([&] { return VELQ_CheckSpamMsgSync(&rating, body.c_str(), number.c_str()); }), VELQ_SUCCESS);
    EXPECT_LE(rating, static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
    return rating;
}

inline std::int32_t countList(NumberList list, std::int32_t *nodes)
{
    NumberListNode *head = nullptr;
    const std::int32_t result = bounded([list, &head] {
        return list == NumberList::white ? VELQ_GetWhiteNumberList(&head, VELQ_HIDDEN_ANY)
                                         : VELQ_GetBlackNumberList(&head, VELQ_HIDDEN_ANY);
    });
    *nodes = 0;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        ++*nodes;
    }
    VELQ_FreeWhiteNumberList(head);
    return result;
}

} // namespace velq::test

#endif

// Data and update files that others made with ill intent, or that an accident left: each is used through every export
// that reads or writes it. Held here: the call returns, soon, with a documented result and in little memory; files
// beside it keep their content; well-formed parts still work.
#include "hostile_files.h"
#include "support/log_reader.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>

using namespace velq::test;

namespace {

void expectDocumented(std::int32_t result)
{
    EXPECT_TRUE(result == VELQ_SUCCESS || result == VELQ_ERR_FAILED) << result;
}

// Everything that touches a data file; each call within the bounds and with a documented result.
void useEverything(const Installation &installation)
{
    std::int32_t count = 0;
    for (const StartVariant variant : {StartVariant::plain, StartVariant::norix}) {
        EngineSession session(installation, variant);
        if (session.result() != VELQ_SUCCESS) {
            EXPECT_EQ(session.result(), VELQ_ERR_FAILED);
            continue;
        }
        rate(VELQ_TEXT("free cash prizes for you, call 13812345678"), VELQ_TEXT("5551234"));
        rate(VELQ_TEXT("lunch is free, bring cash"), VELQ_TEXT("13812345678"));
        const WideText body = VELQ_TEXT("free cash prizes and lunch");
        expectDocumented(bounded([&body] { return VELQ_SetMsgAsSpam(body.c_str()); }));
        expectDocumented(bounded([&body] { return VELQ_SetMsgAsHam(body.c_str(), VELQ_TEXT("13900001111")); }));
        for (const NumberList list : {NumberList::white, NumberList::black}) {
            const bool isWhite = list == NumberList::white;
            expectDocumented(addNumber(list, VELQ_TEXT("13700000000")));
            expectDocumented(countList(list, &count));
            expectDocumented(bounded([&] {
                return isWhite ? VELQ_GetTotalCountOfWhiteNumber(&count) : VELQ_GetTotalCountOfBlackNumber(&count);
            }));
            NumberRecord record{};
            expectDocumented(bounded([&] {
                return isWhite ? VELQ_ReadWhiteNumberByUID(&record, 1) : VELQ_ReadBlackNumberByUID(&record, 1);
            }));
            VELQ_FreeWhiteNumber(&record);
            UIDListNode *uids = nullptr;
            expectDocumented(bounded(
                [&] { return isWhite ? VELQ_GetWhiteNumberUIDList(&uids, 0) : VELQ_GetBlackNumberUIDList(&uids, 0); }));
            VELQ_FreeWhiteNumberUIDList(uids);
            expectDocumented(
                bounded([&] { return isWhite ? VELQ_DeleteWhiteNumberByUID(1) : VELQ_DeleteBlackNumberByUID(1); }));
            expectDocumented(bounded(
                [&] { return isWhite ? VELQ_DeleteWhiteNumberByExtendID(7) : VELQ_DeleteBlackNumberByExtendID(7); }));
        }
        const std::int32_t batch = addBatch(VELQ_TEXT("13600000000"));
        EXPECT_TRUE(batch == VELQ_SUCCESS || batch == VELQ_ERR_BATCH_FAILED || batch == VELQ_ERR_DATABASE_FULL);
        VersionRecord version{0, 0};
        expectDocumented(bounded([&version] { return VELQ_GetCurVersion(&version); }));
        expectDocumented(bounded([] { return VELQ_RemoveAllWhiteNumberSync(VELQ_HIDDEN_ANY); }));
        expectDocumented(bounded([] { return VELQ_RemoveAllBlackNumberSync(0); }));
    }
}

// ---- A table whose tree of pages leads back into itself

void putBigEndian(std::string &bytes, std::size_t at, std::uint32_t value, int count)
{
    for (int i = 0; i < count; ++i) {
        bytes[at + static_cast<std::size_t>(i)] = static_cast<char>(value >> (8 * (count - 1 - i)));
    }
}

// Turns the one-page table of a database with pages of 512 bytes into a tree of 17 levels, in which all 61 branches of
// each page lead to the same next one: some 10^30 rows in ten kilobytes. `root` is the table's page, counted from 1.
void multiplyRows(const std::filesystem::path &file, std::size_t root)
{
    constexpr std::size_t pageSize = 512;
    constexpr std::size_t levels = 16;
    constexpr std::size_t branches = 60; // and the rightmost one
    constexpr std::size_t pageCountOffset = 28;
    std::string bytes = readFile(file);
    const std::string leaf = bytes.substr((root - 1) * pageSize, pageSize);
    const auto inner = [](std::size_t child) {
        constexpr std::size_t headerSize = 12;
        constexpr std::size_t cellSize = 5;
        std::string page(pageSize, '\0');
        page[0] = 5; // an inner page of a table
        std::size_t cell = pageSize;
        for (std::size_t i = 0; i < branches; ++i) {
            cell -= cellSize;
            putBigEndian(page, cell, static_cast<std::uint32_t>(child), 4);
            page[cell + 4] = static_cast<char>(i + 1);
            putBigEndian(page, headerSize + 2 * i, static_cast<std::uint32_t>(cell), 2);
        }
        putBigEndian(page, 3, branches, 2);
        putBigEndian(page, 5, static_cast<std::uint32_t>(cell), 2);
        putBigEndian(page, 8, static_cast<std::uint32_t>(child), 4);
        return page;
    };
    std::size_t next = bytes.size() / pageSize + 1;
    bytes.replace((root - 1) * pageSize, pageSize, inner(next));
    for (std::size_t level = 0; level < levels; ++level) {
        bytes += inner(++next);
    }
    bytes += leaf;
    putBigEndian(bytes, pageCountOffset, static_cast<std::uint32_t>(bytes.size() / pageSize), 4);
    writeFile(file, bytes);
}

std::size_t rootPageOf(const std::filesystem::path &file, const std::string &table)
{
    const Rows rows =
        Database(file).query("SELECT rootpage FROM sqlite_master WHERE name = ?;", {Value::ofText(table)});
    return static_cast<std::size_t>(rows.at(0).at(0).integer);
}

} // namespace

// ---- Views

TEST_F(HostileFiles, an_update_whose_table_is_a_view_without_end_is_refused)
{
    const EngineSession session(installation_);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    const auto before = contentsBeside(installation_.folder(), {"update.db"});
    makeUpdate("CREATE VIEW diffProbTable AS " + infiniteRows +
               " SELECT x'610062000000' AS key, zeroblob(12) AS value FROM c;");
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    makeUpdate("CREATE VIEW diffWnTable AS " + infiniteRows + " SELECT x'31000000' AS number, x'0000' AS name FROM c;");
    EXPECT_EQ(updateWhiteNumbers(), VELQ_ERR_FAILED);
    EXPECT_EQ(contentsBeside(installation_.folder(), {"update.db"}), before);
}

TEST_F(HostileFiles, data_files_whose_tables_are_views_without_end_fail_every_call)
{
    for (const std::string table : {"whiteList", "blackList"}) {
        remake(table == "whiteList" ? "wn.bin" : "bn.bin",
               "CREATE VIEW " + table + " AS " + infiniteRows +
                   " SELECT x AS uid, 0 AS hidden, x AS number, x AS name, x AS extendID FROM c;");
    }
    remake("ver.bin", "CREATE VIEW versionTable AS " + infiniteRows + " SELECT -x AS command, 1 AS version FROM c;");
    remake("prob.bin", "CREATE VIEW velqTable AS " + infiniteRows + " SELECT zeroblob(x) AS key, 1 AS value FROM c;");
    {
        const EngineSession session(installation_);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        std::int32_t count = 0;
        EXPECT_EQ(countList(NumberList::white, &count), VELQ_ERR_FAILED);
        EXPECT_EQ(addNumber(NumberList::black, VELQ_TEXT("123")), VELQ_ERR_FAILED);
        EXPECT_EQ(rate(VELQ_TEXT("free cash prizes, lunch is free"), VELQ_TEXT("123")),
                  static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
    }
    useEverything(installation_);
}

TEST_F(HostileFiles, virtual_tables_are_no_tables)
{
    const EngineSession session(installation_);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    makeUpdate("CREATE VIRTUAL TABLE diffProbTable USING fts4(key, value);"
               "INSERT INTO diffProbTable VALUES(x'610062000000', x'010000000100000000000000');");
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_FALSE(installation_.token(VELQ_TEXT("ab")).has_value());
}

// ---- Triggers

TEST_F(HostileFiles, triggers_that_do_not_end_fail_the_write_and_change_nothing)
{
    installation_.open("wn.bin").exec(
        "CREATE TRIGGER loop AFTER INSERT ON whiteList BEGIN UPDATE whiteList SET extendID = (" + infiniteRows +
        " SELECT count(*) FROM c); END;");
    installation_.open("prob.bin")
        .exec("CREATE TRIGGER loop AFTER UPDATE ON velqTable BEGIN UPDATE velqTable SET value = (" + infiniteRows +
              " SELECT count(*) FROM c); END;");
    const Rows listBefore = installation_.numberRows(NumberList::white);
    for (const StartVariant variant : {StartVariant::plain, StartVariant::norix}) {
        const EngineSession session(installation_, variant);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
        EXPECT_EQ(addBatch(VELQ_TEXT("13700000000")), VELQ_ERR_BATCH_FAILED);
        const WideText body = VELQ_TEXT("free cash prizes and lunch");
        expectDocumented(bounded([&body] { return VELQ_SetMsgAsSpam(body.c_str()); }));
    }
    EXPECT_EQ(installation_.numberRows(NumberList::white), listBefore);
    EXPECT_EQ(installation_.open("prob.bin").integrityCheck(), "ok");
    EXPECT_EQ(installation_.token(VELQ_TEXT("free")), (TokenCounts{9, 1, 0}));
}

TEST_F(HostileFiles, triggers_reach_nothing_outside_their_file)
{
    const std::string other = installation_.dataFile("bn.bin").string();
    Database list = installation_.open("wn.bin");
    // What SQLite itself refuses to create is put into the schema by hand.
    list.exec("CREATE TRIGGER reach AFTER INSERT ON whiteList BEGIN SELECT 1; END; PRAGMA writable_schema = ON;");
    list.query("UPDATE sqlite_master SET sql = 'CREATE TRIGGER reach AFTER INSERT ON whiteList BEGIN "
               "SELECT load_extension(''x''), writefile(''" +
               other + "'', ''x''), readfile(''" + other + "''), edit(''x''); END' WHERE name = 'reach';");
    const auto before = contentsBeside(installation_.folder(), {"wn.bin"});
    const EngineSession session(installation_);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
    EXPECT_EQ(contentsBeside(installation_.folder(), {"wn.bin"}), before);
}

TEST_F(HostileFiles, a_trigger_of_a_data_file_still_runs)
{
    installation_.open("wn.bin").exec("CREATE TRIGGER refuse BEFORE INSERT ON whiteList WHEN new.extendID = 7 "
                                      "BEGIN SELECT RAISE(ABORT, 'no'); END;");
    const EngineSession session(installation_);
    EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13700000000")), VELQ_ERR_FAILED);
    EXPECT_EQ(installation_.numberRows(NumberList::white).size(), 1U);
}

// ---- Computed columns and huge values

TEST_F(HostileFiles, computed_values_of_a_gigabyte_are_not_computed)
{
    const EngineSession session(installation_);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    const auto before = contentsBeside(installation_.folder(), {"update.db", "ver.bin"});
    for (const std::string huge :
         {"zeroblob(900000000)", "hex(zeroblob(400000000))", "printf('%.*c', 900000000, 'x')",
          "instr(zeroblob(1000000), zeroblob(500000) || x'01')", "trim(zeroblob(1000000), hex(zeroblob(400000)))",
          "zeroblob(12) GLOB zeroblob(900000)", "replace(zeroblob(1000), x'00', zeroblob(900))"}) {
        SCOPED_TRACE(huge);
        makeComputedUpdate("diffProbTable", "id, key AS (" + huge + "), value AS (zeroblob(12))");
        expectDocumented(updateProbabilities());
        makeComputedUpdate("diffWnTable", "id, number AS (" + huge + "), name AS (" + huge + ")");
        expectDocumented(updateWhiteNumbers());
        EXPECT_EQ(contentsBeside(installation_.folder(), {"update.db", "ver.bin"}), before);
    }
}

TEST_F(HostileFiles, computed_columns_in_data_files_keep_to_the_bounds)
{
    for (const std::string table : {"whiteList", "blackList"}) {
        remake(table == "whiteList" ? "wn.bin" : "bn.bin",
               "CREATE TABLE " + table +
                   "(uid INTEGER PRIMARY KEY, hidden, number, name AS (zeroblob(900000000)), extendID AS (uid / 0));"
                   "INSERT INTO " +
                   table + "(hidden, number) VALUES(0, '87654321831');");
    }
    remake("prob.bin", "CREATE TABLE velqTable(key, value AS (zeroblob(900000000)));"
                       "INSERT INTO velqTable(key) VALUES(x'6600720065006500');");
    remake("ver.bin", "CREATE TABLE versionTable(command, version AS (zeroblob(900000000)));"
                      "INSERT INTO versionTable(command) VALUES(0);");
    useEverything(installation_);
}

TEST_F(HostileFiles, values_of_almost_a_megabyte_are_read_by_their_first_bytes)
{
    const std::string tail(900'000, 'x');
    makeProbabilityUpdate(updatePath(), {{Value::ofBlob(utf16BytesWithTerminator(VELQ_TEXT("ab")) + tail),
                                          Value::ofBlob(tokenValueBytes({3, 4, 5}) + tail)}});
    installation_.addNumberRow(NumberList::black, Value::ofInteger(0), Value::ofText("12345" + tail),
                               Value::ofBlob(utf16BytesWithTerminator(VELQ_TEXT("long")) + tail), Value::ofInteger(2));
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_SUCCESS);
    EXPECT_EQ(installation_.token(VELQ_TEXT("ab")), (TokenCounts{3, 4, 5}));
    std::int32_t count = 0;
    EXPECT_EQ(countList(NumberList::black, &count), VELQ_SUCCESS);
    EXPECT_EQ(count, 2);
}

// ---- Pages that lead back

TEST_F(HostileFiles, an_update_whose_pages_lead_back_ends)
{
    const EngineSession session(installation_);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    makeUpdate("PRAGMA page_size = 512; CREATE TABLE diffProbTable(key, value);"
               "INSERT INTO diffProbTable VALUES(x'610062000000', x'010000000000000000000000');");
    multiplyRows(updatePath(), rootPageOf(updatePath(), "diffProbTable"));
    expectDocumented(updateProbabilities());
    makeUpdate("PRAGMA page_size = 512; CREATE TABLE diffWnTable(number, name);"
               "INSERT INTO diffWnTable VALUES(x'310032000000', x'0000');");
    multiplyRows(updatePath(), rootPageOf(updatePath(), "diffWnTable"));
    expectDocumented(updateWhiteNumbers());
    EXPECT_LE(installation_.numberRows(NumberList::white).size(), 2U);
}

TEST_F(HostileFiles, lists_whose_pages_lead_back_keep_to_the_bounds)
{
    for (const std::string table : {"whiteList", "blackList"}) {
        const std::string file = table == "whiteList" ? "wn.bin" : "bn.bin";
        remake(file, "PRAGMA page_size = 512; CREATE TABLE " + table +
                         "(uid INTEGER PRIMARY KEY, hidden, number, name, extendID);"
                         "INSERT INTO " +
                         table + " VALUES(1, 0, '1', x'0000', 9);");
        multiplyRows(installation_.dataFile(file), rootPageOf(installation_.dataFile(file), table));
    }
    useEverything(installation_);
}

// ---- Storage classes and encodings

class EveryStorageClass : public HostileFiles, public testing::WithParamInterface<const char *> {};

TEST_P(EveryStorageClass, in_every_column_keeps_to_the_bounds)
{
    const std::string value = GetParam();
    for (const std::string table : {"whiteList", "blackList"}) {
        remake(table == "whiteList" ? "wn.bin" : "bn.bin",
               "CREATE TABLE " + table + "(uid, hidden, number, name, extendID); INSERT INTO " + table + " VALUES(" +
                   value + ", " + value + ", " + value + ", " + value + ", " + value + ");");
    }
    remake("ver.bin", "CREATE TABLE versionTable(command, version); INSERT INTO versionTable VALUES(0, " + value +
                          "), (" + value + ", 5);");
    remake("prob.bin", "CREATE TABLE velqTable(key UNIQUE, value); INSERT INTO velqTable VALUES(" + value + ", " +
                           value + "), (x'6600720065006500', " + value + "), (x'6300610073006800', " + value +
                           "), (x'2e004d00530047005f0043004e005400', " + value + ");");
    useEverything(installation_);
    const EngineSession session(installation_);
    makeUpdate("CREATE TABLE diffProbTable(key, value); INSERT INTO diffProbTable VALUES(" + value + ", " + value +
               "), (x'610062000000', " + value + ");");
    expectDocumented(updateProbabilities());
    makeUpdate("CREATE TABLE diffWnTable(number, name); INSERT INTO diffWnTable VALUES(" + value + ", " + value +
               "), (x'310032000000', " + value + ");");
    expectDocumented(updateWhiteNumbers());
}

INSTANTIATE_TEST_SUITE_P(Values, EveryStorageClass,
                         testing::Values("NULL", "0", "-9223372036854775808", "9223372036854775807", "0.25", "-1e300",
                                         "9e999", "''", "'13812345678'", "x''", "x'00'", "x'410042'", "x'310032000000'",
                                         "zeroblob(100000)", "CAST(x'c3ff80' AS TEXT)"));

class WrongEncoding : public HostileFiles, public testing::WithParamInterface<const char *> {};

TEST_P(WrongEncoding, gives_the_results_of_the_usual_one)
{
    for (const std::string file : {"wn.bin", "bn.bin"}) {
        const std::vector<std::string> rows = installation_.open(file).dump();
        const std::string table = file == "wn.bin" ? "whiteList" : "blackList";
        const Rows kept = installation_.numberRows(file == "wn.bin" ? NumberList::white : NumberList::black);
        remake(file, std::string("PRAGMA encoding = '") + GetParam() + "';" + "CREATE TABLE " + table +
                         "(uid INTEGER PRIMARY KEY, hidden, number, name, extendID);");
        for (const Row &row : kept) {
            installation_.addNumberRow(file == "wn.bin" ? NumberList::white : NumberList::black, row[1], row[2], row[3],
                                       row[4]);
        }
    }
    const EngineSession session(installation_);
    ASSERT_EQ(session.result(), VELQ_SUCCESS);
    EXPECT_EQ(rate(VELQ_TEXT("anything at all in here"), VELQ_TEXT("+8613900001111")),
              static_cast<std::uint32_t>(VELQ_RATING_SPAM));
    EXPECT_EQ(rate(VELQ_TEXT("anything at all in here"), VELQ_TEXT("13812345678")),
              static_cast<std::uint32_t>(VELQ_RATING_HAM));
    EXPECT_EQ(addNumber(NumberList::white, VELQ_TEXT("13900001111")), VELQ_SUCCESS);
    EXPECT_TRUE(installation_.numberRows(NumberList::black).empty());
    NumberListNode *head = nullptr;
    ASSERT_EQ(VELQ_GetWhiteNumberList(&head, VELQ_HIDDEN_ANY), VELQ_SUCCESS);
    std::set<std::string> numbers;
    for (const NumberListNode *node = head; node != nullptr; node = node->next) {
        numbers.insert(utf8(node->number));
    }
    VELQ_FreeWhiteNumberList(head);
    EXPECT_EQ(numbers, (std::set<std::string>{"13812345678", "13900001111"}));
}

INSTANTIATE_TEST_SUITE_P(Encodings, WrongEncoding, testing::Values("UTF-16le", "UTF-16be"));

// ---- Files that are no databases, and what stands beside them

TEST_F(HostileFiles, files_that_are_no_databases_keep_to_the_bounds)
{
    std::mt19937 random(20);
    std::string noise(5000, '\0');
    std::generate(noise.begin(), noise.end(), [&random] { return static_cast<char>(random()); });
    const std::string sound = readFile(installation_.dataFile("wn.bin"));
    const std::vector<std::string> contents = {
        "", "x", noise, sound.substr(0, 16) + noise, sound.substr(0, 100), sound.substr(0, sound.size() / 2 + 7)};
    for (const std::string &content : contents) {
        SCOPED_TRACE(content.size());
        for (const char *file : dataFileNames) {
            writeFile(installation_.dataFile(file), content);
        }
        const auto before =
            contentsBeside(installation_.folder(), {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin", "update.db"});
        useEverything(installation_);
        const EngineSession session(installation_);
        writeFile(updatePath(), content);
        expectDocumented(updateProbabilities());
        expectDocumented(updateWhiteNumbers());
        EXPECT_EQ(
            contentsBeside(installation_.folder(), {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin", "update.db"}),
            before);
    }
}

TEST_F(HostileFiles, an_update_that_is_no_database_is_refused_and_changes_nothing)
{
    const EngineSession session(installation_);
    const auto before = contentsBeside(installation_.folder(), {"update.db"});
    writeFile(updatePath(), std::string(3000, 'n'));
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_EQ(updateWhiteNumbers(), VELQ_ERR_FAILED);
    writeFile(updatePath(), "");
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED); // no such table
    std::filesystem::remove(updatePath());
    std::filesystem::create_directory(updatePath());
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_EQ(updateWhiteNumbers(), VELQ_ERR_FAILED);
    EXPECT_EQ(contentsBeside(installation_.folder(), {"update.db"}), before);
}

TEST_F(HostileFiles, a_folder_in_place_of_a_data_file_keeps_to_the_bounds)
{
    for (const char *file : dataFileNames) {
        SCOPED_TRACE(file);
        const std::string content = readFile(installation_.dataFile(file));
        std::filesystem::remove(installation_.dataFile(file));
        std::filesystem::create_directory(installation_.dataFile(file));
        useEverything(installation_);
        EXPECT_TRUE(std::filesystem::is_empty(installation_.dataFile(file)));
        std::filesystem::remove(installation_.dataFile(file));
        writeFile(installation_.dataFile(file), content);
    }
}

TEST_F(HostileFiles, a_pipe_in_place_of_a_data_file_keeps_to_the_bounds)
{
    for (const char *file : dataFileNames) {
        SCOPED_TRACE(file);
        const std::string content = readFile(installation_.dataFile(file));
        std::filesystem::remove(installation_.dataFile(file));
        ASSERT_EQ(mkfifo(installation_.dataFile(file).c_str(), 0600), 0);
        useEverything(installation_);
        std::filesystem::remove(installation_.dataFile(file));
        writeFile(installation_.dataFile(file), content);
    }
}

TEST_F(HostileFiles, a_pipe_in_place_of_an_update_is_refused_without_waiting)
{
    ASSERT_EQ(mkfifo(updatePath().c_str(), 0600), 0);
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_EQ(updateWhiteNumbers(), VELQ_ERR_FAILED);
}

TEST_F(HostileFiles, symbolic_links_lead_to_their_file_and_dead_ones_nowhere)
{
    const std::filesystem::path real = installation_.folder() / "elsewhere.db";
    makeProbabilityUpdate(real, {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5})});
    const std::string content = readFile(real);
    std::filesystem::create_symlink(real, updatePath());
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_SUCCESS);
    EXPECT_EQ(installation_.token(VELQ_TEXT("ab")), (TokenCounts{3, 4, 5}));
    EXPECT_EQ(readFile(real), content);
    std::filesystem::remove(updatePath());
    std::filesystem::create_symlink(installation_.folder() / "not-there.db", updatePath());
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_FALSE(std::filesystem::exists(installation_.folder() / "not-there.db"));
    std::filesystem::remove(updatePath());
    std::filesystem::create_symlink(updatePath(), updatePath());
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
}

// ---- A rollback journal left beside a file

namespace {

// Lays down `file` as a writer that died in the middle of a transaction leaves it: changed pages in the file and a
// journal beside it that takes them back.
void leaveHalfWritten(const std::filesystem::path &file, const std::string &change)
{
    const std::filesystem::path copy = file.string() + ".copy";
    const std::filesystem::path journal = file.string() + "-journal";
    {
        Database writer(file);
        writer.exec("PRAGMA synchronous = FULL; PRAGMA cache_size = 1; PRAGMA cache_spill = 1; BEGIN;");
        writer.exec(change);
        sqlite3_db_cacheflush(writer.handle());
        std::filesystem::copy_file(file, copy);
        std::filesystem::copy_file(journal, copy.string() + "-journal");
        writer.exec("ROLLBACK;");
    }
    std::filesystem::rename(copy, file);
    std::filesystem::rename(copy.string() + "-journal", journal);
}

} // namespace

TEST_F(HostileFiles, a_journal_left_beside_a_data_file_takes_the_half_written_change_back)
{
    leaveHalfWritten(installation_.dataFile("wn.bin"), "DELETE FROM whiteList;");
    ASSERT_TRUE(std::filesystem::exists(installation_.dataFile("wn.bin-journal")));
    const EngineSession session(installation_);
    std::int32_t count = 0;
    EXPECT_EQ(VELQ_GetTotalCountOfWhiteNumber(&count), VELQ_SUCCESS);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(rate(VELQ_TEXT("anything at all in here"), VELQ_TEXT("13812345678")),
              static_cast<std::uint32_t>(VELQ_RATING_HAM));
    EXPECT_FALSE(std::filesystem::exists(installation_.dataFile("wn.bin-journal")));
}

TEST_F(HostileFiles, an_update_with_a_half_written_change_is_refused_and_left_as_it_is)
{
    makeProbabilityUpdate(updatePath(), {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5})});
    leaveHalfWritten(updatePath(), "UPDATE diffProbTable SET value = x'ffffffffffffffff00000000';");
    const auto before = contentsBeside(installation_.folder(), {});
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_FALSE(installation_.token(VELQ_TEXT("ab")).has_value());
    EXPECT_EQ(contentsBeside(installation_.folder(), {}), before);
    const std::vector<std::string> log = logLines(installation_.logFile("engine.log"));
    EXPECT_EQ(countLinesWith(log, "VELQ_DSH_Prepare"), 1U);
}

TEST_F(HostileFiles, a_journal_that_is_none_is_left_alone)
{
    makeProbabilityUpdate(updatePath(), {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5})});
    writeFile(updatePath().string() + "-journal", std::string(4000, 'j'));
    const auto before = contentsBeside(installation_.folder(), {});
    const EngineSession session(installation_);
    EXPECT_EQ(updateProbabilities(), VELQ_ERR_FAILED);
    EXPECT_EQ(contentsBeside(installation_.folder(), {}), before);
}

TEST_F(HostileFiles, a_journal_cannot_have_another_file_deleted)
{
    makeProbabilityUpdate(updatePath(), {probabilityRow(VELQ_TEXT("ab"), {3, 4, 5})});
    leaveHalfWritten(updatePath(), "UPDATE diffProbTable SET value = x'ffffffffffffffff00000000';");
    // A journal may end in the name of a file that ties several journals together, and that goes when none needs it.
    const std::filesystem::path letter = installation_.folder() / "letter.txt";
    const std::string name = letter.string();
    std::string journal = readFile(updatePath().string() + "-journal");
    std::string trailer(4, '\0');
    trailer += name;
    std::uint32_t sum = 0;
    for (const char c : name) {
        sum += static_cast<std::uint32_t>(static_cast<signed char>(c));
    }
    const std::size_t numbers = trailer.size();
    trailer += std::string(8, '\0');
    putBigEndian(trailer, 0, (1U << 30) / 512 + 1, 4);
    putBigEndian(trailer, numbers, static_cast<std::uint32_t>(name.size()), 4);
    putBigEndian(trailer, numbers + 4, sum, 4);
    trailer += "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
    writeFile(updatePath().string() + "-journal", journal + trailer);
    const EngineSession session(installation_);
    expectDocumented(updateProbabilities());
    EXPECT_TRUE(std::filesystem::exists(letter));
}

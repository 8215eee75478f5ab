// Stores in either form: which one a file is read as, and which one is written.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/store/store_form.h"
#include "support/temporary_folder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;

const std::string text = "velq-store 1\nmessages\t1\t2\ntokens\nab\t3\t4\nend\n";

StoreContents readFrom(const std::string &file, const std::string &standardInput = {})
{
    std::istringstream in(standardInput);
    return readStore(file, in);
}

bool beginsAsDatabase(const std::string &file, const std::string &standardInput = {})
{
    std::istringstream in(standardInput);
    InputFile input(file, in);
    const bool database = isDatabase(input);
    std::string rest(std::istreambuf_iterator<char>(input.stream()), {});
    EXPECT_EQ(rest, file == "-" ? standardInput : test::readFile(file)) << "nothing is taken";
    return database;
}

TEST(store_form, both_forms_are_read_whatever_their_names)
{
    const test::TemporaryFolder folder;
    const std::string asText = (folder.path() / "a.bin").string();
    const std::string asDatabase = (folder.path() / "b.txt").string();
    const StoreContents store = readFrom("-", text);
    EXPECT_EQ(store.rows.size(), 2U);
    writeStore(asText, store, true);
    writeStore(asDatabase, store, false);
    EXPECT_EQ(test::readFile(asText), text);
    EXPECT_EQ(readFrom(asText).rows, store.rows);
    EXPECT_EQ(readFrom(asDatabase).rows, store.rows);
    EXPECT_EQ(readStoreContents(asDatabase).rows, store.rows);
}

TEST(store_form, database_is_told_by_its_first_bytes)
{
    const test::TemporaryFolder folder;
    const std::string file = (folder.path() / "x").string();
    for (const std::string start : {"", "SQLite format 3", "SQLite format 3\nmore"}) {
        std::ofstream(file) << start;
        EXPECT_TRUE(beginsAsDatabase(file)) << start;
    }
    for (const std::string start : {"S", "SQLite format 2", "SQLite forma", "velq-store 1\n", "\n"}) {
        std::ofstream(file) << start;
        EXPECT_FALSE(beginsAsDatabase(file)) << start;
    }
}

TEST(store_form, pipe_is_judged_by_its_first_byte_alone)
{
    EXPECT_FALSE(beginsAsDatabase("-", text));
    EXPECT_FALSE(beginsAsDatabase("-", ""));
    EXPECT_TRUE(beginsAsDatabase("-", "SQLite format 3"));
    refusalOf([] { readFrom("-", "SQLite format 3"); }, Status::noInput);
}

TEST(store_form, some_names_are_written_as_text)
{
    for (const char *name : {"a.txt", "b.text", "c.tsv"}) {
        EXPECT_TRUE(isTextFormName(name)) << name;
    }
    for (const char *name : {"prob.bin", "txt", "a.txt.bin", ""}) {
        EXPECT_FALSE(isTextFormName(name)) << name;
    }
}

} // namespace
} // namespace velq::kit

// Laying out installations, the program directory's text, the engine's start, text conversions and the progress bar.
#include "kit/base/database.h"
#include "kit/base/progress.h"
#include "kit/base/status.h"
#include "kit/engine/installation.h"
#include "support/run_command.h"
#include "support/installation.h"

#include <gtest/gtest.h>
#include <sstream>

namespace velq::test {

namespace {

namespace fs = std::filesystem;
using kit::Error;
using kit::Status;

template <typename Call>
Status statusOf(Call call)
{
    try {
        call();
    } catch (const Error &error) {
        return error.status();
    }
    return Status::done;
}

kit::Installation kitView(const Installation &installation)
{
    return kit::Installation(installation.programFolder().parent_path().parent_path());
}

} // namespace

TEST(installation, layout_has_the_five_files_of_the_schema)
{
    const TemporaryFolder folder;
    const kit::Installation installation(folder.path() / "new" / "place");
    kit::layOut(installation, {});
    const Installation reference;
    for (const std::string_view name : kit::dataFileNames) {
        EXPECT_EQ(Database(installation.dataFile(name)).dump(), reference.open(name).dump()) << name;
    }
}

TEST(installation, layout_copies_the_token_store_byte_for_byte)
{
    Installation source;
    source.addToken(VELQ_TEXT("free"), 5, 1);
    const TemporaryFolder folder;
    const kit::Installation installation(folder.path());
    kit::layOut(installation, source.dataFile("prob.bin"));
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), readFile(source.dataFile("prob.bin")));
}

TEST(installation, layout_of_a_read_only_store_can_be_written)
{
    const Installation source;
    fs::permissions(source.dataFile("prob.bin"), fs::perms::owner_read);
    const TemporaryFolder folder;
    const kit::Installation installation(folder.path());
    kit::layOut(installation, source.dataFile("prob.bin"));
    const auto permissions = fs::status(installation.dataFile("prob.bin")).permissions();
    EXPECT_NE(permissions & fs::perms::owner_write, fs::perms::none);
}

TEST(installation, layout_refuses_each_existing_file_and_changes_nothing)
{
    for (const std::string_view name : kit::dataFileNames) {
        const TemporaryFolder folder;
        const kit::Installation installation(folder.path());
        fs::create_directories(installation.dataFile(name).parent_path());
        writeFile(installation.dataFile(name), "mine");
        EXPECT_EQ(statusOf([&] { kit::layOut(installation, {}); }), Status::cannotCreate) << name;
        EXPECT_EQ(readFile(installation.dataFile(name)), "mine") << name;
        const fs::directory_iterator files(installation.dataFile(name).parent_path());
        EXPECT_EQ(std::distance(begin(files), end(files)), 1) << name;
    }
}

TEST(installation, layout_refuses_what_is_no_token_store)
{
    const TemporaryFolder folder;
    writeFile(folder.path() / "text", "no database at all, but long enough to be looked at");
    const Installation other;
    const kit::Installation installation(folder.path() / "new");
    EXPECT_EQ(statusOf([&] { kit::layOut(installation, folder.path() / "text"); }), Status::badData);
    EXPECT_EQ(statusOf([&] { kit::layOut(installation, other.dataFile("bn.bin")); }), Status::badData);
    EXPECT_EQ(statusOf([&] { kit::layOut(installation, folder.path() / "none"); }), Status::noInput);
    EXPECT_FALSE(fs::exists(installation.root()));
}

TEST(installation, layout_below_a_file_cannot_be_created)
{
    const TemporaryFolder folder;
    writeFile(folder.path() / "file", "");
    EXPECT_EQ(statusOf([&] { kit::layOut(kit::Installation(folder.path() / "file"), {}); }), Status::cannotCreate);
}

TEST(installation, program_directory_ends_with_the_two_names_and_a_backslash)
{
    EXPECT_EQ(kit::utf8FromWide(kit::Installation("/opt/host/").programDirectory()), "/opt/host/Quenlibra\\Tarvolent");
    EXPECT_EQ(kit::utf8FromWide(kit::Installation("a/./b").programDirectory()), "a/b/Quenlibra\\Tarvolent");
    EXPECT_EQ(kit::utf8FromWide(kit::Installation("/").programDirectory()), "/Quenlibra\\Tarvolent");
    EXPECT_EQ(kit::utf8FromWide(kit::Installation("短信").programDirectory()), "短信/Quenlibra\\Tarvolent");
}

TEST(installation, program_directory_refuses_folders_that_the_engine_cannot_take)
{
    EXPECT_EQ(statusOf([] { kit::Installation("/a\\b").programDirectory(); }), Status::usage);
    EXPECT_EQ(statusOf([] { kit::Installation("/a\xFF").programDirectory(); }), Status::usage);
    EXPECT_EQ(statusOf([] { kit::Installation("/" + std::string(217, 'a')).programDirectory(); }), Status::done);
    EXPECT_EQ(statusOf([] { kit::Installation("/" + std::string(218, 'a')).programDirectory(); }), Status::usage);
}

TEST(installation, engine_runs_on_a_fresh_layout_and_stops)
{
    const TemporaryFolder folder;
    const kit::Installation installation(folder.path());
    kit::layOut(installation, {});
    for (const auto connections : {kit::Engine::Connections::plain, kit::Engine::Connections::kept}) {
        {
            const kit::Engine engine(installation, connections);
            std::int32_t count = -1;
            EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), VELQ_SUCCESS);
            EXPECT_EQ(count, 0);
        }
        std::int32_t count = -1;
        EXPECT_EQ(VELQ_GetTotalCountOfBlackNumber(&count), VELQ_NOT_INITIALIZED);
    }
}

TEST(installation, engine_does_not_start_without_every_data_file)
{
    for (const std::string_view name : kit::dataFileNames) {
        const Installation installation;
        fs::remove(installation.dataFile(name));
        EXPECT_EQ(statusOf([&] { kit::Engine engine(kitView(installation), kit::Engine::Connections::kept); }),
                  Status::noInput)
            << name;
    }
}

TEST(installation, copy_holds_the_same_bytes)
{
    Installation source;
    source.addToken(VELQ_TEXT("free"), 5, 1);
    source.addNumber(NumberList::black, "13912345678");
    const TemporaryFolder folder;
    const kit::Installation copy(folder.path());
    kit::copyInstallation(kitView(source), copy);
    for (const std::string_view name : kit::dataFileNames) {
        EXPECT_EQ(readFile(copy.dataFile(name)), readFile(source.dataFile(name))) << name;
    }
}

TEST(kit_database, reading_leaves_the_folder_as_it_is)
{
    const Installation installation;
    const std::string before = readFile(installation.dataFile("prob.bin"));
    {
        kit::Database database(installation.dataFile("prob.bin"), kit::DatabaseMode::read);
        EXPECT_TRUE(database.hasTable("velqTable"));
        EXPECT_FALSE(database.hasTable("blackList"));
        EXPECT_EQ(statusOf([&] { database.exec("DELETE FROM velqTable;"); }), Status::inputOutput);
    }
    EXPECT_EQ(readFile(installation.dataFile("prob.bin")), before);
    const fs::directory_iterator files(installation.dataFile("prob.bin").parent_path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 5);
}

TEST(kit_database, locked_file_is_reported_as_in_use)
{
    const Installation installation;
    const HeldLock lock(installation.dataFile("prob.bin"));
    kit::Database database(installation.dataFile("prob.bin"), kit::DatabaseMode::read);
    try {
        database.hasTable("velqTable");
        FAIL() << "the lock was not noticed";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), Status::inputOutput);
        EXPECT_NE(std::string(error.what()).find("in use"), std::string::npos) << error.what();
    }
}

TEST(wide_text, conversions_keep_every_character)
{
    const std::string text = "a\u00E9\u4F60\U0001F600\uFFFD";
    const auto wide = kit::wideFromUtf8(text);
    ASSERT_TRUE(wide.has_value());
    EXPECT_EQ(wide->size(), 6U);
    EXPECT_EQ(kit::utf8FromWide(*wide), text);
    EXPECT_EQ(kit::utf8FromWide(static_cast<const VELQ_WideChar *>(nullptr)), "");
}

TEST(wide_text, lone_surrogates_become_the_replacement_character)
{
    const std::u16string halves = {0xD83D, u'a', 0xDE00, 0xD83D};
    EXPECT_EQ(kit::utf8FromUtf16(halves), "\uFFFDa\uFFFD\uFFFD");
}

TEST(wide_text, invalid_bytes_are_found)
{
    EXPECT_EQ(kit::firstInvalidByte("abc"), std::nullopt);
    EXPECT_EQ(kit::firstInvalidByte("ab\xC3"), 2U);
    EXPECT_EQ(kit::wideFromUtf8("\xF4\x90\x80\x80"), std::nullopt);
    EXPECT_EQ(statusOf([] { kit::wideArgument("\xFF", "the number"); }), Status::usage);
}

TEST(wide_text, one_line_has_no_control_characters)
{
    EXPECT_EQ(kit::oneLine("a\nb\tc\x1B[31m\x7F"
                           "d\u0085e 你"),
              "a b c [31m d e 你");
}

TEST(progress, bar_is_drawn_and_taken_off_again)
{
    std::ostringstream err;
    {
        kit::Progress progress(err, "importing", 4, kit::ProgressWhen::always);
        progress.reached(2);
    }
    EXPECT_EQ(err.str(), "\r\x1B[Kimporting [###############...............] 50 %\r\x1B[K");
}

TEST(progress, nothing_is_drawn_when_quiet_or_before_the_first_second)
{
    std::ostringstream err;
    {
        kit::Progress quiet(err, "importing", 4, kit::ProgressWhen::never);
        kit::Progress early(err, "importing", 4, kit::ProgressWhen::onTerminal);
        quiet.reached(4);
        early.reached(4);
    }
    EXPECT_EQ(err.str(), "");
}

} // namespace velq::test

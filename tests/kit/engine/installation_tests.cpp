// Laying out and copying installations, and the program directory's text.
#include "kit/engine/installation.h"
#include "support/installation.h"
#include "support/kit_errors.h"
#include "support/run_command.h"

#include <gtest/gtest.h>

namespace velq::test {

namespace {

namespace fs = std::filesystem;
using kit::Status;

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

} // namespace velq::test

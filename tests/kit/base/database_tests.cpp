// SQLite as the kit opens it.
#include "kit/base/database.h"
#include "support/database.h"
#include "support/installation.h"
#include "support/kit_errors.h"
#include "support/run_command.h"

#include <gtest/gtest.h>

namespace velq::test {

namespace fs = std::filesystem;
using kit::Status;

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
    expectError(Status::inputOutput, "in use", [&] { database.hasTable("velqTable"); });
}

} // namespace velq::test

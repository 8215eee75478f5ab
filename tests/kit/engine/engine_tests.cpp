// The engine's start and stop.
#include "kit/engine/engine.h"
#include "support/installation.h"
#include "support/kit_errors.h"
#include "support/temporary_folder.h"
#include "velq.h"

#include <gtest/gtest.h>

namespace velq::test {

namespace fs = std::filesystem;
using kit::Status;

TEST(kit_engine, runs_on_a_fresh_layout_and_stops)
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

TEST(kit_engine, does_not_start_without_every_data_file)
{
    for (const std::string_view name : kit::dataFileNames) {
        const Installation installation;
        fs::remove(installation.dataFile(name));
        EXPECT_EQ(statusOf([&] {
                      kit::Engine engine(kit::Installation(installation.programFolder().parent_path().parent_path()),
                                         kit::Engine::Connections::kept);
                  }),
                  Status::noInput)
            << name;
    }
}

} // namespace velq::test

// The service without its connections.
#include "kit/serve/service.h"
#include "support/installation.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {

TEST(service, logs_are_flushed_after_so_many_ratings)
{
    const test::Installation installation;
    std::ostringstream err;
    Metrics metrics;
    ServiceLog log("", err);
    ServiceOptions options;
    options.install = installation.programFolder().parent_path().parent_path().string();
    Service service(options, metrics, log);
    std::vector<std::string> flushed;
    service.flusher.emplace(std::vector<std::filesystem::path>{"prob.bin"},
                            [&flushed](const std::string &file) { flushed.push_back(file); });
    for (int i = 0; i < 128; ++i) {
        rateMessage(service, {"rate", "+4512345678", VELQ_TEXT("see you at seven")});
    }
    service.flusher.reset();
    EXPECT_EQ(flushed, std::vector<std::string>{"prob.bin-wal"});
}

} // namespace velq::kit

// Templates as training messages.
#include "kit/learning/written_source.h"
#include "support/run_command.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

class written_source : public testing::Test, protected test::TestFiles {};

TEST_F(written_source, each_language_is_a_source_of_its_own)
{
    const std::string folder = path("written");
    std::filesystem::create_directories(folder);
    file("written/en_bank.tsv", "ham\tYour code is {d:6}\nspam\tclaim [a|the] prize\n");
    file("written/en_chat.tsv", "ham\tsee you\n");
    file("written/tr_bank.tsv", "ham\tkodunuz {d:4}\n");
    const std::vector<LabelledText> texts = writtenTexts({folder, 2}, 1, 5);
    ASSERT_EQ(texts.size(), 7U);
    const auto number = [&texts](std::uint32_t source, bool spam) {
        return std::count_if(texts.begin(), texts.end(),
                             [&](const LabelledText &text) { return text.source == source && text.spam == spam; });
    };
    EXPECT_EQ(number(5, false), 3);
    EXPECT_EQ(number(5, true), 2);
    EXPECT_EQ(number(6, false), 2);
}

TEST_F(written_source, no_folder_gives_none)
{
    EXPECT_TRUE(writtenTexts({}, 1, 0).empty());
}

} // namespace
} // namespace velq::kit

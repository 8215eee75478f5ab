// Messages kept on disk: what comes back, and in which order.
#include "kit/base/wide_text.h"
#include "kit/messages/message_spool.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {
namespace {

std::vector<std::pair<bool, std::u16string>> readAll(MessageSpool &spool)
{
    std::vector<std::pair<bool, std::u16string>> messages;
    spool.forEach([&](const LabelledText &message) { messages.emplace_back(message.spam, message.text); });
    return messages;
}

TEST(message_spool, gives_every_message_back_as_often_as_asked)
{
    const std::vector<std::pair<bool, std::u16string>> messages = {
        {true, u"two\nlines\tand a tab"}, {false, u""}, {false, u"\u4F60\u597D \U0001F600"}, {true, u"last"}};
    MessageSpool spool;
    for (const auto &[spam, text] : messages) {
        spool.add(spam, utf8FromUtf16(text));
    }
    EXPECT_EQ(spool.size(), messages.size());
    EXPECT_EQ(readAll(spool), messages);
    EXPECT_EQ(readAll(spool), messages);
}

TEST(message_spool, empty_one_gives_nothing)
{
    MessageSpool spool;
    EXPECT_TRUE(readAll(spool).empty());
}

} // namespace
} // namespace velq::kit

// Messages kept on disk: what comes back, in which order, and that a store built from them is the same.
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

TEST(message_spool, plain_store_of_spooled_messages_is_that_of_messages_in_memory)
{
    std::vector<LabelledText> messages;
    MessageSpool spool;
    for (int i = 0; i < 300; ++i) {
        const bool spam = i % 3 == 0;
        const std::u16string text =
            spam ? u"claim your prize before it is gone" : u"see you at home, mother is cooking";
        messages.push_back({spam, text});
        spool.add(spam, utf8FromUtf16(text));
    }
    BuildOptions options;
    options.plain = true;
    const Store store = buildStore(messages, options);
    ASSERT_FALSE(store.tokens.empty());
    EXPECT_EQ(buildPlainStore([&spool](const MessageTaker &take) { spool.forEach(take); }, options), store);
}

} // namespace
} // namespace velq::kit

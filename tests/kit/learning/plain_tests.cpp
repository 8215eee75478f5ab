// Building plain stores from small invented corpora.
#include "kit/base/wide_text.h"
#include "kit/learning/plain.h"
#include "kit/messages/message_spool.h"
#include "learning/invented_messages.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

Store built(const std::vector<LabelledText> &messages)
{
    return buildPlainStore(sourceOf(messages));
}

TEST(plain_store, rates_unseen_messages)
{
    EXPECT_GE(accuracy(built(narrowCorpus(320, 1)), narrowCorpus(300, 2)), 0.95);
}

TEST(plain_store, counts_are_those_of_segmentation)
{
    const std::vector<LabelledText> corpus = narrowCorpus(200, 1);
    const Store store = built(corpus);
    ASSERT_FALSE(store.tokens.empty());
    StoreIndex index = indexStore(store);
    for (auto &[token, counts] : index.tokens) {
        counts = {};
    }
    for (const LabelledText &message : corpus) {
        trainFiltered(index, filterText(message.text), message.spam);
    }
    EXPECT_EQ(store.spamMessages, 67U);
    EXPECT_EQ(store.hamMessages, 133U);
    for (const auto &[token, counts] : store.tokens) {
        EXPECT_EQ(counts, index.tokens.at(packToken(token)));
    }
}

TEST(plain_store, messages_kept_on_disk_give_the_store_of_those_in_memory)
{
    const std::vector<LabelledText> messages = narrowCorpus(200, 1);
    MessageSpool spool;
    for (const LabelledText &message : messages) {
        spool.add(message.spam, utf8FromUtf16(message.text));
    }
    const Store store = built(messages);
    ASSERT_FALSE(store.tokens.empty());
    EXPECT_EQ(buildPlainStore([&spool](const MessageTaker &take) { spool.forEach(take); }), store);
}

TEST(plain_store, pieces_of_telephone_numbers_are_no_tokens)
{
    expectNoPiecesOfNumbers(built(corpusWithNumbers()));
}

TEST(plain_store, one_class_alone_gives_no_tokens)
{
    std::vector<LabelledText> corpus = narrowCorpus(100, 1);
    std::erase_if(corpus, [](const LabelledText &message) { return message.spam; });
    const Store store = built(corpus);
    EXPECT_TRUE(store.tokens.empty());
    EXPECT_EQ(store.hamMessages, corpus.size());
    EXPECT_TRUE(built({}).tokens.empty());
}

TEST(plain_store, a_handful_of_messages_builds)
{
    EXPECT_EQ(rateText(built(handful()), u"hi").rating, Rating::ham);
}

TEST(plain_store, progress_reaches_its_total)
{
    expectProgress([](const BuildProgress &progress) { buildPlainStore(sourceOf(narrowCorpus(120, 1)), progress); });
}

} // namespace
} // namespace velq::kit

// What makes up for tokens that an update cannot take away.
#include "base/refusal.h"
#include "kit/base/status.h"
#include "kit/reading/message_reading.h"
#include "kit/store/additive_update.h"
#include "kit/store/stand_ins.h"
#include "store_helpers.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

const std::string head = "messages\t8000\t8000\nprior\t400000\ntokens\n";

// Two spam tokens make a text spam, one alone leaves it unsure.
Store newStoreOf(const std::string &more = "")
{
    return modelOf(
        storeOf(head + "cash\t820\t100\nfree\t820\t100\nhome\t100\t820\nwork\t100\t820\nyyzz\t9\t9\n" + more));
}

// So many different texts around the given words, with letters that no token holds.
std::vector<JudgedText> textsWith(std::size_t count, bool spam, const std::u16string &words)
{
    std::vector<JudgedText> texts;
    for (std::size_t i = 0; i < count; ++i) {
        const std::u16string end{static_cast<char16_t>(u'1' + i / 9), static_cast<char16_t>(u'1' + i % 9)};
        texts.push_back({spam, words + u"qyyzzqqqqqqqqqqqqq" + end});
    }
    return texts;
}

double leanIn(const Store &store, const std::u16string &token)
{
    const double p = tokenProbability(store.tokens.at(token), totalsOf(store));
    return probabilityCounts(p) ? p - 0.5 : 0;
}

std::vector<std::u16string> furtherTokens(const Store &standIns, const Store &before)
{
    std::vector<std::u16string> tokens;
    for (const auto &[token, counts] : standIns.tokens) {
        if (!before.tokens.contains(token)) {
            tokens.push_back(token);
        }
    }
    return tokens;
}

TEST(stand_ins, old_token_takes_over_the_lean_of_what_it_covers)
{
    const Store after = newStoreOf();
    const Store before = modelOf(storeOf(head + "afre\t500\t500\nahom\t500\t500\n"));
    std::vector<JudgedText> texts = textsWith(20, true, u"qafreeqcashq");
    const std::vector<JudgedText> ham = textsWith(20, false, u"qahomeqfreeqworkq");
    texts.insert(texts.end(), ham.begin(), ham.end());
    Store neutral = after;
    neutral.tokens[u"afre"] = neutral.tokens[u"ahom"] = {4000, 4000};
    EXPECT_GT(ratingChanges(after, neutral, texts).worse, 0U);
    const Store standIns = standInsFor(before, after, texts);
    EXPECT_GT(leanIn(standIns, u"afre"), 0);
    EXPECT_EQ(ratingChanges(after, united(after, standIns), texts).worse, 0U);
    EXPECT_EQ(standIns.spamMessages, after.spamMessages);
    EXPECT_EQ(standIns.hamMessages, after.hamMessages);
}

TEST(stand_ins, few_texts_teach_nothing)
{
    const Store before = modelOf(storeOf(head + "afre\t500\t20\nnote\t0\t0\n"));
    const Store standIns = standInsFor(before, newStoreOf(), textsWith(4, true, u"qafreeqcashq"));
    EXPECT_EQ(standIns.tokens.size(), 2U);
    EXPECT_EQ(leanIn(standIns, u"afre"), 0);
    EXPECT_EQ(leanIn(standIns, u"note"), 0);
}

TEST(stand_ins, the_same_text_again_teaches_nothing)
{
    const Store before = modelOf(storeOf(head + "afre\t500\t20\n"));
    const std::vector<JudgedText> again(20, {true, u"qafreeqcashqyyzzqqqqqqqqqqqqqqq"});
    EXPECT_EQ(leanIn(standInsFor(before, newStoreOf(), again), u"afre"), 0);
}

// The pair stands in spam and ham alike, so no lean of its own helps; a longer token that begins with it does.
TEST(stand_ins, further_tokens_begin_where_texts_are_now_cut)
{
    const Store after = newStoreOf("ecas\t820\t100\nepla\t100\t820\nesti\t100\t820\n");
    const Store before = modelOf(storeOf(head + "re\t500\t500\n"));
    std::vector<JudgedText> texts = textsWith(40, true, u"qrecasqfreeq");
    const std::vector<JudgedText> ham = textsWith(40, false, u"qreplaqfreeqrestiqq");
    texts.insert(texts.end(), ham.begin(), ham.end());
    const Store standIns = standInsFor(before, after, texts);
    EXPECT_EQ(ratingChanges(after, united(after, standIns), texts).worse, 0U);
    EXPECT_FALSE(furtherTokens(standIns, before).empty());
    for (const auto &[token, counts] : standIns.tokens) {
        EXPECT_FALSE(after.tokens.contains(token));
    }
}

TEST(stand_ins, no_piece_of_a_number_is_brought_along)
{
    const Store after = newStoreOf("3456\t820\t100\n");
    const Store before = modelOf(storeOf(head + "23\t500\t500\n"));
    const Store standIns = standInsFor(before, after, textsWith(20, true, u"q23456qfreeq"));
    for (const std::u16string &token : furtherTokens(standIns, before)) {
        EXPECT_TRUE(std::any_of(token.begin(), token.end(), [](char16_t unit) { return unit < u'0' || unit > u'9'; }));
    }
}

TEST(stand_ins, order_of_the_texts_does_not_matter)
{
    const Store before = modelOf(storeOf(head + "afre\t500\t500\nre\t500\t500\n"));
    std::vector<JudgedText> texts = textsWith(20, true, u"qafreeqrecashq");
    const Store first = standInsFor(before, newStoreOf(), texts);
    std::reverse(texts.begin(), texts.end());
    EXPECT_EQ(standInsFor(before, newStoreOf(), texts), first);
}

TEST(stand_ins, store_without_messages_of_a_class_is_refused)
{
    refusalOf([] { standInsFor(modelOf(storeOf(head)), modelOf(storeOf("messages\t0\t5\ntokens\n")), {}); });
}

TEST(stand_ins, changes_are_counted_by_what_is_right)
{
    const Store spam = modelOf(storeOf(head + "aaaa\t900\t9\nbbbb\t900\t9\ncccc\t900\t9\n"));
    const Store ham = modelOf(storeOf(head + "aaaa\t9\t900\nbbbb\t9\t900\ncccc\t9\t900\n"));
    const std::vector<JudgedText> texts = {{true, u"aaaabbbbccccqqqqqqqqqqqq"},
                                           {false, u"aaaabbbbccccqqqqqqqqqqqq"},
                                           {false, u"aaaabbbbccccqqqqqqqqqqqqq"},
                                           {true, u"qqqqqqqqqqqq"}};
    const RatingChanges changes = ratingChanges(ham, spam, texts);
    EXPECT_EQ(changes.better, 1U);
    EXPECT_EQ(changes.worse, 2U);
    EXPECT_EQ(changes.blocked, 2U);
}

// ---- In the update ------------------------------------------------------------------------------------------------

TEST(additive_update, gives_tokens_that_are_to_go_what_stands_in_for_them)
{
    const StoreContents before = storeOf(head + "afre\t500\t20\nahom\t30\t600\nkeep\t10\t100\nnone\t700\t10\n");
    const StoreContents after = storeOf(head + "keep\t10\t100\nnew1\t90\t10\n");
    const Store standIns =
        modelOf(storeOf(head + "afre\t10\t160\nahom\t160\t10\nfurt\t90\t10\nkeep\t100\t1\nnone\t4000\t4000\n"));
    const StoreDifference difference = additionsBetween(before, after, standIns);
    EXPECT_EQ(difference.standIns, 3U);
    EXPECT_EQ(difference.neutral, 1U);
    EXPECT_EQ(difference.lowered, 0U);
    const Store reached = modelOf(merged(before, difference.rows));
    EXPECT_NEAR(leanIn(reached, u"afre"), leanIn(standIns, u"afre"), 0.01);
    EXPECT_NEAR(leanIn(reached, u"ahom"), leanIn(standIns, u"ahom"), 0.01);
    EXPECT_NEAR(leanIn(reached, u"furt"), leanIn(standIns, u"furt"), 0.01);
    EXPECT_EQ(leanIn(reached, u"none"), 0);
    EXPECT_NEAR(leanIn(reached, u"keep"), leanIn(modelOf(after), u"keep"), 0.01); // the new store's own tokens stay
}

TEST(additive_update, stand_ins_of_another_new_store_are_refused)
{
    const StoreContents before = storeOf(head + "afre\t500\t20\n");
    const StoreContents after = storeOf(head + "new1\t90\t10\n");
    const Store others = modelOf(storeOf("messages\t9000\t8000\ntokens\nafre\t10\t160\n"));
    EXPECT_NE(refusalOf([&] { additionsBetween(before, after, others); }).find("another new store"), std::string::npos);
}

} // namespace
} // namespace velq::kit

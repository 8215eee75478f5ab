// Explanations of messages by installations: the lists before the text, and the same readings as in memory.
#include "kit/reading/explanation.h"
#include "kit/reading/text_model.h"
#include "support/installation.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

using test::NumberList;
using test::Value;
using Random = std::mt19937;

const WideText unlisted = VELQ_TEXT("13900000001");

Explainer explainerOf(const test::Installation &installation)
{
    return Explainer(Installation(installation.programFolder().parent_path().parent_path()));
}

std::size_t below(Random &random, std::size_t limit)
{
    return random() % limit;
}

std::u16string randomUnits(Random &random, std::size_t length)
{
    static constexpr std::u16string_view units = u"abcde12345\u4E2D\u6587\uFF11";
    std::u16string text;
    while (text.size() < length) {
        text += units[below(random, units.size())];
    }
    return text;
}

std::uint32_t randomCount(Random &random)
{
    constexpr std::uint32_t counts[] = {0, 0, 1, 2, 7, 40, 300, 0x7FFFFFFF, 0xFFFFFFFF};
    return counts[below(random, std::size(counts))];
}

Store randomStore(Random &random)
{
    Store store;
    for (std::size_t i = below(random, 400); i > 0; --i) {
        store.tokens[randomUnits(random, 2 + below(random, 3))] = {randomCount(random), randomCount(random)};
    }
    store.spamMessages = randomCount(random);
    store.hamMessages = randomCount(random);
    constexpr std::uint32_t priors[] = {0, 1, 400000, 600000, 950000, 2000000};
    store.priorMillionths = priors[below(random, std::size(priors))];
    return store;
}

// Runs of digits and of one unit among them.
std::u16string randomBody(Random &random)
{
    std::u16string body;
    for (std::size_t parts = below(random, 8); parts > 0; --parts) {
        switch (below(random, 4)) {
        case 0:
            body += std::u16string(below(random, 9), u'3');
            break;
        case 1:
            body += u" Ab, ";
            break;
        default:
            body += randomUnits(random, below(random, 12));
            break;
        }
    }
    return body;
}

void fill(test::Installation &installation, const Store &store)
{
    std::vector<test::TokenRow> rows;
    for (const auto &[units, counts] : store.tokens) {
        rows.push_back({wideFromUtf16(units), {counts.spam, counts.ham, 9}});
    }
    installation.addTokens(rows);
    installation.setMessageCounts(store.spamMessages, store.hamMessages);
    if (store.priorMillionths != 0) {
        installation.setPrior(store.priorMillionths);
    }
}

// The bits, so that what is no number equals itself.
std::uint64_t bitsOf(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return std::isnan(value) ? 1 : bits;
}

void expectSame(const Reading &explained, const Reading &read)
{
    EXPECT_EQ(ratingName(explained.rating), ratingName(read.rating));
    EXPECT_EQ(stepName(explained.step), stepName(read.step));
    ASSERT_EQ(explained.tokens.size(), read.tokens.size());
    for (std::size_t i = 0; i < read.tokens.size(); ++i) {
        EXPECT_EQ(explained.tokens[i].text(), read.tokens[i].text());
        EXPECT_EQ(explained.tokens[i].position, read.tokens[i].position);
        EXPECT_EQ(explained.tokens[i].counts, read.tokens[i].counts);
        EXPECT_EQ(bitsOf(explained.tokens[i].probability), bitsOf(read.tokens[i].probability));
        EXPECT_EQ(explained.tokens[i].counted, read.tokens[i].counted);
    }
    ASSERT_EQ(explained.score.has_value(), read.score.has_value());
    if (read.score) {
        EXPECT_EQ(explained.score->counted, read.score->counted);
        EXPECT_EQ(bitsOf(explained.score->spamTail), bitsOf(read.score->spamTail));
        EXPECT_EQ(bitsOf(explained.score->hamTail), bitsOf(read.score->hamTail));
        EXPECT_EQ(bitsOf(explained.score->spamicity), bitsOf(read.score->spamicity));
    }
}

TEST(explanation, agrees_with_the_reading_in_memory)
{
    Random random(1);
    std::vector<int> steps(8);
    for (int stores = 0; stores < 12; ++stores) {
        const Store store = randomStore(random);
        const StoreIndex index = indexStore(store);
        test::Installation installation;
        fill(installation, store);
        Explainer explainer = explainerOf(installation);
        for (int texts = 0; texts < 60; ++texts) {
            const std::u16string body = randomBody(random);
            const std::u16string filtered = filterText(body);
            SCOPED_TRACE(utf8FromUtf16(body));
            const Explanation explanation = explainer.explain(wideFromUtf16(body), unlisted, Depth::decision);
            EXPECT_EQ(explanation.filtered, filtered);
            EXPECT_FALSE(explanation.entry);
            expectSame(explanation, rateFiltered(index, filtered));
            for (const ReadToken &token : explanation.tokens) {
                EXPECT_EQ(filtered.substr(token.position, token.text().size()), token.text());
            }
            ++steps[static_cast<std::size_t>(explanation.step)];
        }
    }
    for (const DecidingStep step : {DecidingStep::length, DecidingStep::fewTokens, DecidingStep::classifier,
                                    DecidingStep::digitRun, DecidingStep::shortText}) {
        EXPECT_GT(steps[static_cast<std::size_t>(step)], 0) << stepName(step) << " must occur among the texts";
    }
}

TEST(explanation, reads_what_the_store_holds_of_a_value)
{
    test::Installation installation;
    const auto add = [&installation](const WideText &key, const std::string &value) {
        installation.addTokenRow(Value::ofBlob(test::utf16Bytes(key)), Value::ofBlob(value));
    };
    add(VELQ_TEXT("aaaa"), std::string("\x02\x01", 2));
    add(VELQ_TEXT("bbbb"), "");
    add(VELQ_TEXT("cccc"), test::tokenValueBytes({3, 4, 5}) + "more");
    const Explanation explanation =
        explainerOf(installation).explain(VELQ_TEXT("aaaabbbbcccc"), unlisted, Depth::decision);
    ASSERT_EQ(explanation.tokens.size(), 3U);
    EXPECT_EQ(explanation.tokens[0].counts, (TokenStats{0x0102, 0}));
    EXPECT_EQ(explanation.tokens[1].counts, (TokenStats{0, 0}));
    EXPECT_EQ(explanation.tokens[2].counts, (TokenStats{3, 4}));
    EXPECT_EQ(explanation.totals.spamMessages, 0U);
    EXPECT_EQ(explanation.totals.hamMessages, 0U);
    EXPECT_EQ(explanation.totals.prior, 0.52);
}

TEST(explanation, lists_and_operator_rule_come_before_the_text)
{
    test::Installation installation;
    for (const WideText token : {VELQ_TEXT("free"), VELQ_TEXT("cash"), VELQ_TEXT("wins")}) {
        installation.addToken(token, 40, 1);
    }
    installation.setMessageCounts(100, 100);
    installation.addNumber(NumberList::black, "100861");
    installation.addNumber(NumberList::black, "111");
    installation.addNumber(NumberList::white, "111");
    installation.addNumber(NumberList::white, "222");
    installation.addNumber(NumberList::white, "100862");
    const struct {
        WideText number;
        Rating rating;
        DecidingStep step;
        std::string entry;
    } cases[] = {{VELQ_TEXT("100861"), Rating::spam, DecidingStep::blackList, "100861"},
                 {VELQ_TEXT("111"), Rating::spam, DecidingStep::blackList, "111"},
                 {VELQ_TEXT("100862"), Rating::ham, DecidingStep::operatorRule, ""},
                 {VELQ_TEXT("222"), Rating::ham, DecidingStep::whiteList, "222"},
                 {VELQ_TEXT("333"), Rating::spam, DecidingStep::classifier, ""}};
    Explainer explainer = explainerOf(installation);
    for (const auto &item : cases) {
        const Explanation explanation = explainer.explain(VELQ_TEXT("freecashwins"), item.number, Depth::decision);
        EXPECT_EQ(ratingName(explanation.rating), ratingName(item.rating));
        EXPECT_EQ(stepName(explanation.step), stepName(item.step));
        EXPECT_EQ(explanation.entry ? explanation.entry->number : "", item.entry);
        EXPECT_EQ(explanation.score.has_value(), item.step == DecidingStep::classifier);
        EXPECT_EQ(explanation.tokens.size(), item.step == DecidingStep::classifier ? 3U : 0U);
    }
}

TEST(explanation, all_tokens_are_read_where_the_decision_needed_none)
{
    test::Installation installation;
    installation.addToken(VELQ_TEXT("free"), 40, 1);
    installation.setMessageCounts(100, 200);
    installation.addNumber(NumberList::white, "222");
    Explainer explainer = explainerOf(installation);
    for (const auto &[body, number] :
         {std::pair{VELQ_TEXT("freefreefree"), VELQ_TEXT("222")}, std::pair{VELQ_TEXT("free"), VELQ_TEXT("333")}}) {
        const Explanation explanation = explainer.explain(body, number, Depth::allTokens);
        EXPECT_EQ(ratingName(explanation.rating), "ham");
        EXPECT_FALSE(explanation.score);
        ASSERT_EQ(explanation.tokens.size(), 1U);
        EXPECT_EQ(explanation.tokens[0].text(), u"free");
        EXPECT_TRUE(explanation.tokens[0].counted);
        EXPECT_EQ(explanation.totals.hamMessages, 200U);
    }
}

TEST(explanation, follows_the_counts_but_keeps_the_prior_it_read_first)
{
    test::Installation installation;
    installation.addToken(VELQ_TEXT("free"), 1, 1);
    installation.setPrior(400000);
    Explainer explainer = explainerOf(installation);
    EXPECT_EQ(explainer.explain(VELQ_TEXT("freefree"), unlisted, Depth::decision).totals.spamMessages, 0U);
    installation.open("prob.bin").exec("DELETE FROM velqTable;");
    installation.setMessageCounts(7, 8);
    installation.setPrior(600000);
    const Explanation explanation = explainer.explain(VELQ_TEXT("freefree"), unlisted, Depth::decision);
    EXPECT_TRUE(explanation.tokens.empty());
    EXPECT_EQ(explanation.totals.spamMessages, 7U);
    EXPECT_EQ(explanation.totals.prior, priorOf(400000));
}

} // namespace
} // namespace velq::kit

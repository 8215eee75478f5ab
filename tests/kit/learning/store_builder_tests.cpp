// Building stores from small invented corpora: what they tell apart, and what may not be in them.
#include "kit/learning/candidates.h"
#include "kit/learning/store_builder.h"
#include "kit/learning/weights.h"
#include "kit/messages/sampling.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {
namespace {

using Words = std::vector<std::u16string>;

const Words spamWords = {u"prize", u"claim", u"winner", u"voucher", u"ringtone", u"urgent", u"reply", u"award"};
const Words hamWords = {u"dinner", u"lunch", u"mother", u"coming", u"sleep", u"school", u"tonight", u"sorry"};
const Words commonWords = {u"please", u"there", u"about", u"today", u"would", u"could", u"think", u"where", u"after"};
const Words wideSpam = {u"\u4F18\u60E0", u"\u4FC3\u9500", u"\u6298\u6263", u"\u8D37\u6B3E", u"\u5F00\u76D8"};
const Words wideHam = {u"\u665A\u4E0A", u"\u5403\u996D", u"\u56DE\u5BB6", u"\u5988\u5988", u"\u660E\u5929"};
const Words wideCommon = {u"\u6211\u4EEC", u"\u8FD9\u4E2A", u"\u6CA1\u6709", u"\u4E00\u4E9B", u"\u53EF\u4EE5"};

// Four words of the message's class among four that any message may hold.
std::u16string sentence(const Words &own, const Words &common, const std::u16string &blank, SeededSequence &sequence)
{
    std::u16string text;
    for (int i = 0; i < 4; ++i) {
        text += own[sequence.below(own.size())] + blank + common[sequence.below(common.size())] + blank;
    }
    return text;
}

std::vector<LabelledText> narrowCorpus(std::size_t size, std::uint64_t seed)
{
    SeededSequence sequence(seed);
    std::vector<LabelledText> messages;
    for (std::size_t i = 0; i < size; ++i) {
        const bool spam = i % 3 == 0;
        messages.push_back({spam, sentence(spam ? spamWords : hamWords, commonWords, u" ", sequence)});
    }
    return messages;
}

std::vector<LabelledText> wideCorpus(std::size_t size, std::uint64_t seed)
{
    SeededSequence sequence(seed);
    std::vector<LabelledText> messages;
    for (std::size_t i = 0; i < size; ++i) {
        const bool spam = i % 2 == 0;
        messages.push_back({spam, sentence(spam ? wideSpam : wideHam, wideCommon, u"", sequence)});
    }
    return messages;
}

double accuracy(const Store &store, const std::vector<LabelledText> &messages)
{
    const StoreIndex index = indexStore(store);
    const auto right = std::count_if(messages.begin(), messages.end(), [&index](const LabelledText &message) {
        return (rateFiltered(index, filterText(message.text)).rating == Rating::spam) == message.spam;
    });
    return static_cast<double>(right) / static_cast<double>(messages.size());
}

bool isDigitsOnly(const std::u16string &token)
{
    return std::all_of(token.begin(), token.end(), isDigitUnit);
}

BuildOptions seeded(std::uint64_t seed, bool plain = false)
{
    BuildOptions options;
    options.seed = seed;
    options.plain = plain;
    return options;
}

TEST(store_builder, tuned_store_rates_unseen_messages)
{
    const Store store = buildStore(narrowCorpus(320, 1), seeded(1));
    EXPECT_GE(accuracy(store, narrowCorpus(300, 2)), 0.98);
}

TEST(store_builder, plain_store_rates_unseen_messages)
{
    const Store store = buildStore(narrowCorpus(320, 1), seeded(1, true));
    EXPECT_GE(accuracy(store, narrowCorpus(300, 2)), 0.95);
}

TEST(store_builder, plain_counts_are_those_of_segmentation)
{
    const std::vector<LabelledText> corpus = narrowCorpus(200, 1);
    const Store store = buildStore(corpus, seeded(1, true));
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

TEST(store_builder, same_seed_gives_the_same_store)
{
    const std::vector<LabelledText> corpus = narrowCorpus(200, 1);
    for (const bool plain : {false, true}) {
        EXPECT_EQ(buildStore(corpus, seeded(7, plain)), buildStore(corpus, seeded(7, plain)));
    }
}

TEST(store_builder, tokens_have_two_to_four_units_and_counts_below_the_message_counts)
{
    std::vector<LabelledText> corpus = narrowCorpus(320, 1);
    const std::vector<LabelledText> wide = wideCorpus(240, 2);
    corpus.insert(corpus.end(), wide.begin(), wide.end());
    const Store store = buildStore(corpus, seeded(1));
    ASSERT_FALSE(store.tokens.empty());
    EXPECT_EQ(store.spamMessages, store.hamMessages);
    EXPECT_LT(store.priorMillionths, 450000U);
    for (const auto &[token, counts] : store.tokens) {
        EXPECT_GE(token.size(), shortestToken);
        EXPECT_LE(token.size(), longestToken);
        EXPECT_GE(counts.spam, 1U);
        EXPECT_GE(counts.ham, 1U);
        EXPECT_LE(counts.spam, store.spamMessages);
    }
}

// The side that a token speaks for: 1 spam, -1 ham, 0 none.
int sideOf(const StoreIndex &index, const TokenStats &counts)
{
    const double probability = tokenProbability(counts, index.spamMessages, index.hamMessages, index.prior);
    return !probabilityCounts(probability) ? 0 : probability > 0.5 ? 1 : -1;
}

// The engine trains the messages that it calls spam and no others.
TEST(store_builder, training_by_verdicts_turns_hardly_any_token)
{
    const StoreIndex built = indexStore(buildStore(narrowCorpus(600, 1), seeded(1)));
    StoreIndex trained = built;
    for (std::uint64_t stream = 2; stream < 12; ++stream) {
        for (const LabelledText &message : narrowCorpus(600, stream)) {
            const std::u16string filtered = filterText(message.text);
            if (rateFiltered(trained, filtered).rating == Rating::spam) {
                trainFiltered(trained, filtered, true);
            }
        }
    }
    EXPECT_GT(trained.spamMessages, built.spamMessages + 1500);
    std::size_t turned = 0;
    for (const auto &[token, counts] : built.tokens) {
        turned += sideOf(built, counts) != sideOf(trained, trained.tokens.at(token)) ? 1 : 0;
    }
    EXPECT_LE(turned * 20, built.tokens.size());
}

// What a message of rare tokens takes is one correction or two; what many messages taught takes a fiftieth of it.
TEST(store_builder, corrections_turn_a_verdict_in_proportion_to_what_was_learned)
{
    StoreIndex index = indexStore(buildStore(narrowCorpus(600, 1), seeded(1)));
    const std::u16string blocked = filterText(u"urgent: please reply about the voucher, could you claim it today?");
    ASSERT_EQ(rateFiltered(index, blocked).rating, Rating::spam);
    std::uint32_t learned = 0;
    for (const PackedToken token : segmentText(index, blocked)) {
        learned = std::max(learned, index.tokens.at(token).spam);
    }
    std::uint32_t corrections = 0;
    for (; corrections < learned && rateFiltered(index, blocked).rating == Rating::spam; ++corrections) {
        for (const PackedToken token : segmentText(index, blocked)) {
            TokenStats &counts = index.tokens.at(token);
            counts.spam -= std::min(counts.spam, 1U);
            ++counts.ham;
        }
        --index.spamMessages;
        ++index.hamMessages;
    }
    EXPECT_GT(corrections, 0U);
    EXPECT_LE(corrections, learned / 50 + 1);
}

TEST(store_builder, joint_store_rates_both_scripts)
{
    std::vector<LabelledText> corpus = narrowCorpus(320, 1);
    const std::vector<LabelledText> wide = wideCorpus(240, 2);
    corpus.insert(corpus.end(), wide.begin(), wide.end());
    const Store store = buildStore(corpus, seeded(1));
    EXPECT_GE(accuracy(store, narrowCorpus(300, 3)), 0.98);
    EXPECT_GE(accuracy(store, wideCorpus(300, 4)), 0.95);
}

// Every spam message holds the same telephone number, and another one of its own; half of them a price.
std::vector<LabelledText> corpusWithNumbers()
{
    std::vector<LabelledText> corpus = narrowCorpus(320, 1);
    SeededSequence sequence(3);
    for (LabelledText &message : corpus) {
        if (message.spam) {
            message.text += u" call 07712345678 or 0";
            for (int i = 0; i < 10; ++i) {
                message.text += static_cast<char16_t>(u'0' + sequence.below(10));
            }
            message.text += u" now for only";
            message.text += sequence.below(2) == 0 ? u" 2000 pounds" : u" little money";
        }
    }
    return corpus;
}

TEST(store_builder, pieces_of_telephone_numbers_are_no_tokens)
{
    for (const bool plain : {false, true}) {
        const Store store = buildStore(corpusWithNumbers(), seeded(1, plain));
        for (const auto &[token, counts] : store.tokens) {
            if (isDigitsOnly(token)) {
                EXPECT_NE(std::u16string(u"2000").find(token), std::u16string::npos)
                    << std::string(token.begin(), token.end());
            }
        }
    }
}

TEST(store_builder, prices_may_be_tokens_and_pieces_of_numbers_not)
{
    CandidateCounter counter;
    for (const LabelledText &message : corpusWithNumbers()) {
        countCandidates(counter, {message.spam, filterText(message.text)});
    }
    const Candidates candidates = takeCandidates(counter, 3);
    EXPECT_TRUE(candidates.positions.contains(packToken(u"2000")));
    EXPECT_FALSE(candidates.positions.contains(packToken(u"0771")));
    EXPECT_FALSE(candidates.positions.contains(packToken(u"5678")));
    EXPECT_TRUE(candidates.positions.contains(packToken(u"r0")));
}

TEST(store_builder, one_class_alone_gives_no_tokens)
{
    std::vector<LabelledText> corpus = narrowCorpus(100, 1);
    std::erase_if(corpus, [](const LabelledText &message) { return message.spam; });
    for (const bool plain : {false, true}) {
        const Store store = buildStore(corpus, seeded(1, plain));
        EXPECT_TRUE(store.tokens.empty());
        EXPECT_EQ(store.hamMessages, corpus.size());
        EXPECT_TRUE(buildStore({}, seeded(1, plain)).tokens.empty());
    }
}

TEST(store_builder, a_handful_of_messages_builds)
{
    const std::vector<LabelledText> corpus = {{true, u"claim your prize today"}, {false, u""}, {false, u"hi"}};
    for (const bool plain : {false, true}) {
        const Store store = buildStore(corpus, seeded(1, plain));
        EXPECT_EQ(rateText(store, u"hi").rating, Rating::ham);
    }
}

TEST(store_builder, progress_reaches_its_total)
{
    for (const std::size_t size : {20U, 120U}) {
        for (const bool plain : {false, true}) {
            BuildOptions options = seeded(1, plain);
            std::vector<std::pair<std::uint64_t, std::uint64_t>> steps;
            options.progress = [&steps](std::uint64_t done, std::uint64_t total) { steps.emplace_back(done, total); };
            buildStore(narrowCorpus(size, 1), options);
            ASSERT_FALSE(steps.empty());
            EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
            EXPECT_EQ(steps.back().first, steps.back().second);
        }
    }
}

TEST(store_builder, tuning_sample_bounds_what_is_learned_from)
{
    std::vector<LabelledText> corpus = narrowCorpus(400, 1);
    BuildOptions options = seeded(1);
    options.tuningSample = 200;
    const Store store = buildStore(corpus, options);
    EXPECT_GE(accuracy(store, narrowCorpus(300, 2)), 0.95);
    options.tuningSample = 400;
    EXPECT_NE(buildStore(corpus, options), store);
}

TEST(token_candidates, full_table_forgets_the_rarest)
{
    CandidateCounter counter;
    counter.tableLimit = 400;
    SeededSequence sequence(5);
    for (int i = 0; i < 200; ++i) {
        std::u16string noise;
        for (int k = 0; k < 20; ++k) {
            noise += static_cast<char16_t>(u'\u4E00' + sequence.below(5000));
        }
        countCandidates(counter, {true, u"always" + noise});
        EXPECT_LE(counter.table.size(), 400U);
    }
    EXPECT_GT(counter.forgotten, 0U);
    EXPECT_EQ(counter.table.at(packToken(u"alwa")).spam, 200U);
}

TEST(token_candidates, indexed_segmentation_equals_that_of_the_store)
{
    const std::vector<LabelledText> corpus = narrowCorpus(200, 1);
    CandidateCounter counter;
    for (const LabelledText &message : corpus) {
        countCandidates(counter, {message.spam, filterText(message.text)});
    }
    const Candidates candidates = takeCandidates(counter, 5);
    SeededSequence sequence(9);
    std::vector<std::uint8_t> listed(candidates.tokens.size(), 0);
    Store store;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        if (sequence.below(4) == 0) {
            listed[i] = 1;
            store.tokens[unpackToken(candidates.tokens[i])] = {1, 1};
        }
    }
    const StoreIndex index = indexStore(store);
    std::vector<std::uint32_t> positions;
    for (const LabelledText &message : corpus) {
        const FilteredText filtered{message.spam, filterText(message.text)};
        segmentIndexed(indexText(candidates, filtered), listed, positions);
        std::vector<PackedToken> tokens;
        for (const std::uint32_t position : positions) {
            tokens.push_back(candidates.tokens[position]);
        }
        EXPECT_EQ(tokens, segmentText(index, filtered.text));
    }
}

// Tokens 0 and 1 stand in spam, 2 and 3 in ham, 4 in both.
std::vector<WeighedText> weighedTexts()
{
    std::vector<WeighedText> texts;
    for (int i = 0; i < 40; ++i) {
        texts.push_back({true, false, false, {0, 1, 4}});
        texts.push_back({false, false, false, {2, 3, 4}});
    }
    return texts;
}

TEST(token_weights, separation_weighs_tokens_by_their_class)
{
    const std::vector<double> weights = separatingWeights(weighedTexts(), 5, 1);
    EXPECT_GT(weights[0], 0.2);
    EXPECT_GT(weights[1], 0.2);
    EXPECT_LT(weights[2], -0.2);
    EXPECT_LT(weights[3], -0.2);
    EXPECT_LT(std::fabs(weights[4]), std::fabs(weights[0]));
}

TEST(token_weights, fitting_keeps_fixed_tokens_and_comes_out_in_range)
{
    std::vector<double> leans = {2.1, 0.5, -2.1, -0.5, 3.0};
    fitLeans(weighedTexts(), {0, 0, 0, 0, 1}, 1, leans);
    EXPECT_EQ(leans[4], 3.0);
    EXPECT_GE(leans[0], leastLean);
    EXPECT_LE(leans[2], -leastLean);
    for (const double lean : leans) {
        EXPECT_TRUE(lean == 0 || (std::fabs(lean) >= leastLean && std::fabs(lean) <= greatestLean)) << lean;
    }
}

} // namespace
} // namespace velq::kit

// Building tuned stores from small invented corpora: what they tell apart, and what may not be in them.
#include "kit/learning/counts.h"
#include "kit/learning/store_builder.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

Store tuned(const std::vector<LabelledText> &messages, std::uint64_t seed = 1)
{
    return buildStore(trainingSetOf(messages, seed));
}

TEST(store_builder, tuned_store_rates_unseen_messages)
{
    const Store store = tuned(narrowCorpus(320, 1));
    EXPECT_GE(accuracy(store, narrowCorpus(300, 2)), 0.98);
}

TEST(store_builder, same_seed_gives_the_same_store)
{
    const std::vector<LabelledText> corpus = narrowCorpus(200, 1);
    EXPECT_EQ(tuned(corpus, 7), tuned(corpus, 7));
}

TEST(store_builder, tokens_have_two_to_four_units_and_counts_below_the_message_counts)
{
    const Store store = tuned(jointCorpus());
    ASSERT_FALSE(store.tokens.empty());
    EXPECT_GT(store.spamMessages, store.hamMessages) << "the engine trains spam far more often";
    EXPECT_LT(store.priorMillionths, 450000U);
    for (const auto &[token, counts] : store.tokens) {
        EXPECT_GE(token.size(), shortestToken);
        EXPECT_LE(token.size(), longestToken);
        EXPECT_GE(counts.spam, 1U);
        EXPECT_GE(counts.ham, 1U);
        EXPECT_LE(counts.spam, store.spamMessages);
        EXPECT_LE(counts.ham, store.hamMessages);
    }
}

TEST(store_builder, spam_tokens_of_alphabets_all_have_the_weight_of_a_vote)
{
    const Learned learned = learnedFrom(tuned(narrowCorpus(320, 1)));
    EXPECT_GT(std::count_if(learned.begin(), learned.end(), [](const LearnedToken &token) { return token.lean > 0; }),
              0);
    for (const LearnedToken &token : learned) {
        if (token.lean > 0) {
            EXPECT_NEAR(token.lean, votedSpamLean, 0.03) << "but for the rounding of counts";
        }
    }
}

// The side that a token speaks for: 1 spam, -1 ham, 0 none.
int sideOf(const StoreIndex &index, const TokenStats &counts)
{
    const double probability = tokenProbability(counts, index);
    return !probabilityCounts(probability) ? 0 : probability > 0.5 ? 1 : -1;
}

// The engine trains the messages that it calls spam and no others.
TEST(store_builder, training_by_verdicts_turns_hardly_any_token)
{
    const StoreIndex built = indexStore(tuned(narrowCorpus(600, 1)));
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
    StoreIndex index = indexStore(tuned(narrowCorpus(600, 1)));
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
    const Store store = tuned(jointCorpus());
    EXPECT_GE(accuracy(store, narrowCorpus(300, 3)), 0.98);
    EXPECT_GE(accuracy(store, wideCorpus(300, 4)), 0.95);
}

// The corpus with its letters moved to another alphabet.
std::vector<LabelledText> inCyrillic(std::vector<LabelledText> messages)
{
    for (LabelledText &message : messages) {
        for (char16_t &unit : message.text) {
            unit = unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(u'\u0430' + (unit - u'a')) : unit;
        }
    }
    return messages;
}

TEST(store_builder, cyrillic_messages_are_rated_and_leave_the_tokens_of_others_as_they_are)
{
    std::vector<LabelledText> corpus = narrowCorpus(400, 1);
    const Store alone = tuned(corpus);
    const std::vector<LabelledText> cyrillic = inCyrillic(narrowCorpus(400, 2));
    corpus.insert(corpus.end(), cyrillic.begin(), cyrillic.end());
    const Store both = tuned(corpus);
    EXPECT_GT(both.tokens.size(), alone.tokens.size());
    for (const auto &[token, counts] : alone.tokens) {
        const auto found = both.tokens.find(token);
        ASSERT_NE(found, both.tokens.end());
        EXPECT_EQ(found->second, counts);
    }
    EXPECT_GE(accuracy(both, inCyrillic(narrowCorpus(300, 3))), 0.95);
}

TEST(store_builder, ascii_tokens_come_from_the_alphabets_messages_alone)
{
    std::vector<LabelledText> corpus = jointCorpus();
    for (LabelledText &message : corpus) {
        message.text += message.text[0] > 0x2E80 && message.spam ? u" qqqq 999" : u"";
    }
    for (const auto &[token, counts] : tuned(corpus).tokens) {
        EXPECT_EQ(token.find(u"qq"), std::u16string::npos);
        EXPECT_EQ(token.find(u"99"), std::u16string::npos);
    }
}

TEST(store_builder, token_stands_in_as_many_clusters_as_asked_for)
{
    std::vector<LabelledText> corpus = narrowCorpus(320, 1);
    for (int i = 0; i < 40; ++i) { // one campaign
        corpus.push_back({true, u"xylophone players wanted in the great town of quebec xylophone"});
    }
    for (const auto &[token, counts] : tuned(corpus).tokens) {
        EXPECT_EQ(token.find(u"xyl"), std::u16string::npos);
    }
}

TEST(store_builder, further_language_leaves_what_the_store_holds)
{
    const Store base = tuned(narrowCorpus(320, 1));
    const TrainingSet wide = trainingSetOf(wideCorpus(240, 2));
    const Store both = buildOnto({base, {}}, wide);
    EXPECT_GT(both.tokens.size(), base.tokens.size());
    EXPECT_EQ(both.spamMessages, base.spamMessages);
    EXPECT_EQ(both.priorMillionths, base.priorMillionths);
    for (const auto &[token, counts] : base.tokens) {
        EXPECT_EQ(both.tokens.at(token), counts);
    }
    EXPECT_GE(accuracy(both, wideCorpus(300, 4)), 0.95);
    const std::vector<LabelledText> known = narrowCorpus(300, 3);
    EXPECT_EQ(accuracy(both, known), accuracy(base, known));
    EXPECT_EQ(buildOnto({base, {}}, trainingSetOf({})), base);
}

TEST(store_builder, further_language_of_the_same_script_leaves_known_sequences_alone)
{
    const Store base = tuned(narrowCorpus(320, 1));
    SeededSequence sequence(5);
    const Words other = {u"zorgen", u"vluchtig", u"kwijt", u"juwelen"};
    std::vector<LabelledText> corpus;
    for (int i = 0; i < 320; ++i) {
        const bool spam = i % 2 == 0;
        corpus.push_back({spam, sentence(spam ? other : hamWords, commonWords, u" ", sequence)});
    }
    const std::vector<LabelledText> known = narrowCorpus(300, 3);
    const auto added = [&](const std::vector<LabelledText> &messages) {
        Store store = buildOnto({base, messages}, trainingSetOf(corpus));
        std::erase_if(store.tokens, [&base](const auto &entry) { return base.tokens.contains(entry.first); });
        return store.tokens;
    };
    const auto tokens = added(known);
    EXPECT_FALSE(tokens.empty());
    for (const auto &[token, counts] : tokens) {
        EXPECT_FALSE(std::any_of(known.begin(), known.end(), [&token = token](const LabelledText &message) {
            return filterText(message.text).find(token) != std::u16string::npos;
        })) << std::string(token.begin(), token.end());
    }
    EXPECT_TRUE(added({}).empty()) << "without known messages no ASCII";
}

TEST(store_builder, pieces_of_telephone_numbers_are_no_tokens)
{
    expectNoPiecesOfNumbers(tuned(corpusWithNumbers()));
}

TEST(store_builder, one_class_alone_gives_no_tokens)
{
    std::vector<LabelledText> corpus = narrowCorpus(100, 1);
    std::erase_if(corpus, [](const LabelledText &message) { return message.spam; });
    const Store store = tuned(corpus);
    EXPECT_TRUE(store.tokens.empty());
    EXPECT_EQ(store.hamMessages, corpus.size());
    EXPECT_TRUE(tuned({}).tokens.empty());
}

TEST(store_builder, a_handful_of_messages_builds)
{
    const Store store = tuned(handful());
    EXPECT_EQ(rateText(store, u"hi").rating, Rating::ham);
}

TEST(store_builder, progress_reaches_its_total)
{
    for (const std::size_t size : {20U, 120U}) {
        expectProgress(
            [size](const BuildProgress &progress) { buildStore(trainingSetOf(narrowCorpus(size, 1)), {}, progress); });
    }
}

TEST(store_builder, sample_bounds_what_is_learned_from)
{
    const std::vector<LabelledText> corpus = narrowCorpus(400, 1);
    const TrainingSet sample = trainingSetOf(corpus, 1, 200);
    const Store store = buildStore(sample);
    EXPECT_GE(accuracy(store, narrowCorpus(300, 2)), 0.95);
    EXPECT_EQ(tuned(sample.messages()), store);
    EXPECT_NE(tuned(corpus), store);
}

} // namespace
} // namespace velq::kit

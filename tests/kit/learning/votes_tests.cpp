// The recipe for few messages: which sequences vote, and with what weight.
#include "kit/learning/votes.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

constexpr VoteRule usualRule = {2.6, 2.0, 50};

Learned votesOf(const std::vector<FilteredText> &messages, const VoteRule &rule = usualRule)
{
    const Group group = makeGroup(messages, {});
    return collect(group, chooseByVotes(group, messages, rule));
}

const LearnedToken *find(const Learned &learned, std::u16string_view token)
{
    const auto found = std::find_if(learned.begin(), learned.end(),
                                    [&](const LearnedToken &one) { return one.token == packToken(token); });
    return found == learned.end() ? nullptr : &*found;
}

bool hasToken(const Learned &learned, std::u16string_view piece, double sign)
{
    return std::any_of(learned.begin(), learned.end(), [&](const LearnedToken &token) {
        return token.lean * sign > 0 && unpackToken(token.token).find(piece) != std::u16string::npos;
    });
}

bool hasSpamToken(const Learned &learned, std::u16string_view piece)
{
    return hasToken(learned, piece, 1);
}

bool hasHamToken(const Learned &learned, std::u16string_view piece)
{
    return hasToken(learned, piece, -1);
}

TEST(votes, lean_is_cautious_about_the_class_that_a_token_is_not_seen_in)
{
    const ClassSizes sizes{100, 100};
    EXPECT_DOUBLE_EQ(cautiousLean(10, 0, sizes), std::log((10.1 / 100.2) / (0.5 / 101)));
    EXPECT_DOUBLE_EQ(cautiousLean(0, 10, sizes), std::log((1.0 / 102) / (10.1 / 100.2)));
    EXPECT_GT(cautiousLean(10, 0, {100, 1000}), cautiousLean(10, 0, sizes)) << "more ham without it says more";
    EXPECT_LT(std::fabs(cautiousLean(50, 50, sizes)), 0.1);
}

TEST(votes, every_spam_token_has_the_same_weight_and_ham_tokens_theirs_in_range)
{
    const Learned learned = votesOf(filteredCorpus(narrowCorpus(320, 1)));
    std::size_t spam = 0;
    std::size_t ham = 0;
    for (const LearnedToken &token : learned) {
        if (token.lean > 0) {
            EXPECT_EQ(token.lean, 2.13);
            EXPECT_GT(token.spamShare, token.hamShare);
            ++spam;
        } else if (token.lean < 0) {
            EXPECT_LE(token.lean, -leastLean);
            EXPECT_GE(token.lean, -greatestHamLean);
            EXPECT_LT(token.spamShare, token.hamShare);
            ++ham;
        }
    }
    EXPECT_GT(spam, 10U);
    EXPECT_GT(ham, 10U);
    EXPECT_LE(learned.size() - spam - ham, 50U) << "few tokens fill only";
}

TEST(votes, fitted_spam_tokens_are_made_alike_and_all_others_stay)
{
    std::vector<double> leans = {2.15, 2.05, 0, -2.05, -4, 3};
    levelVotes({0, 0, 0, 0, 0, 1}, leans);
    EXPECT_EQ(leans, (std::vector<double>{votedSpamLean, votedSpamLean, 0, -2.05, -4, 3}));
}

TEST(votes, copies_of_one_message_are_no_broad_evidence)
{
    std::vector<FilteredText> messages = filteredCorpus(narrowCorpus(320, 1));
    const std::vector<FilteredText> copies = repeated(30, true, u"we waxk the dogs", 1000);
    messages.insert(messages.end(), copies.begin(), copies.end());
    EXPECT_EQ(find(votesOf(messages), u"waxk"), nullptr);
    for (std::size_t i = 0; i < copies.size(); ++i) {
        messages[messages.size() - 1 - i].text =
            filterText(spamWords[i % spamWords.size()] + u" waxk " + commonWords[i % commonWords.size()] + u" dogs");
    }
    const Learned learned = votesOf(messages);
    EXPECT_TRUE(hasSpamToken(learned, u"wax")) << "the same word in many surroundings is";
}

TEST(votes, stricter_votes_are_fewer)
{
    const std::vector<FilteredText> messages = filteredCorpus(narrowCorpus(320, 1));
    const auto spamTokens = [&](double spamStrictness) {
        const Learned learned = votesOf(messages, {spamStrictness, 2.0, 50});
        return std::count_if(learned.begin(), learned.end(), [](const LearnedToken &token) { return token.lean > 0; });
    };
    EXPECT_GT(spamTokens(2), 0);
    EXPECT_LT(spamTokens(3.9), spamTokens(2));
}

// One class has more of the word zuvy, and of the words ja and kex, one behind the other.
std::vector<FilteredText> textsWithWords(std::size_t size, bool inSpam = true)
{
    std::vector<LabelledText> corpus = narrowCorpus(size, 1);
    SeededSequence sequence(2);
    for (std::size_t i = 0; i < corpus.size(); ++i) {
        const bool leans = corpus[i].spam == inSpam ? i % 4 < 2 : i % 60 < 2;
        const Words pieces = {u" ja kex ", u" zuvy "};
        for (std::size_t k = 0; leans && k < pieces.size(); ++k) {
            corpus[i].text += pieces[k] + noise(5, u'a', 26, sequence);
        }
    }
    std::vector<FilteredText> messages = filteredCorpus(corpus);
    for (std::size_t i = 0; i < messages.size(); ++i) {
        messages[i].begins = wordBegins(corpus[i].text);
    }
    return messages;
}

TEST(votes, more_is_asked_of_what_reaches_from_one_word_into_the_next)
{
    const std::vector<FilteredText> messages = textsWithWords(9000);
    const Learned all = votesOf(messages, {1.5, 2.0, 50});
    EXPECT_TRUE(hasSpamToken(all, u"ake"));
    EXPECT_TRUE(hasSpamToken(all, u"uv"));
    const Learned within = votesOf(messages, {1.5, 2.0, 50, 3});
    EXPECT_FALSE(hasSpamToken(within, u"ake"));
    EXPECT_TRUE(hasSpamToken(within, u"uv"));
    EXPECT_TRUE(hasSpamToken(votesOf(messages, {1.5, 2.0, 50, 0, 3}), u"ake")) << "that is for the other class";
}

TEST(votes, more_is_asked_of_ham_tokens_that_reach_into_the_next_word_too)
{
    const std::vector<FilteredText> messages = textsWithWords(9000, false);
    EXPECT_TRUE(hasHamToken(votesOf(messages, {1.5, 1.5, 50}), u"ake"));
    const Learned within = votesOf(messages, {1.5, 1.5, 50, 0, 3});
    EXPECT_FALSE(hasHamToken(within, u"ake"));
    EXPECT_TRUE(hasHamToken(within, u"uv"));
    EXPECT_TRUE(hasHamToken(votesOf(messages, {1.5, 1.5, 50, 3, 0}), u"ake")) << "that is for the other class";
}

// No word is longer than a token.
std::vector<FilteredText> inSyllables(std::vector<FilteredText> messages)
{
    for (FilteredText &message : messages) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < message.begins.size(); ++i) {
            length = message.begins[i] || length == longestToken ? 1 : length + 1;
            message.begins[i] = length == 1;
        }
    }
    return messages;
}

TEST(votes, what_is_asked_across_syllables_is_asked_of_them_alone)
{
    const std::vector<FilteredText> words = textsWithWords(9000);
    const std::vector<FilteredText> syllables = inSyllables(words);
    EXPECT_TRUE(hasSpamToken(votesOf(syllables, {1.5, 2.0, 50, 3}), u"ake")) << "that is for words";
    const VoteRule rule = {.spamStrictness = 1.5, .hamStrictness = 2.0, .fillers = 50, .spamSyllables = 3};
    EXPECT_TRUE(hasSpamToken(votesOf(words, rule), u"ake"));
    EXPECT_FALSE(hasSpamToken(votesOf(syllables, rule), u"ake"));
    EXPECT_TRUE(hasSpamToken(votesOf(syllables, rule), u"uv"));
}

TEST(votes, less_can_be_asked_of_ham_tokens_across_syllables)
{
    const std::vector<FilteredText> messages = inSyllables(textsWithWords(9000, false));
    const VoteRule rule = {.spamStrictness = 1.5, .hamStrictness = 3.5, .fillers = 50, .hamSyllables = -3};
    EXPECT_TRUE(hasHamToken(votesOf(messages, rule), u"ake"));
    EXPECT_FALSE(hasHamToken(votesOf(messages, rule), u"zuvy"));
    EXPECT_FALSE(hasHamToken(votesOf(messages, {1.5, 3.5, 50}), u"ake"));
}

TEST(votes, in_few_texts_more_is_asked_of_all_alike)
{
    const std::vector<FilteredText> messages = textsWithWords(900);
    EXPECT_TRUE(hasSpamToken(votesOf(messages, {1.5, 2.0, 50, 3}), u"ake"));
    const Learned strict = votesOf(messages, {.spamStrictness = 1.5, .hamStrictness = 2.0, .fillers = 50, .scarce = 3});
    EXPECT_FALSE(hasSpamToken(strict, u"ake"));
    EXPECT_FALSE(hasSpamToken(strict, u"uv"));
}

TEST(votes, light_messages_have_light_votes)
{
    std::vector<FilteredText> messages = filteredCorpus(narrowCorpus(320, 1));
    for (std::size_t i = 0; i < messages.size(); ++i) {
        messages[i].text += messages[i].spam || i % 2 == 0 ? u" waxk" : u"";
    }
    EXPECT_FALSE(hasSpamToken(votesOf(messages), u"wax"));
    for (FilteredText &message : messages) {
        message.weight = message.spam ? 1 : message.text.ends_with(u"waxk") ? 0.01 : 2;
    }
    EXPECT_TRUE(hasSpamToken(votesOf(messages), u"wax"));
}

} // namespace
} // namespace velq::kit

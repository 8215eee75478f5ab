// The counting over parts: stores kept apart, known texts, files, and the errors.
#include "evaluation/small_evaluation.h"
#include "kit/base/status.h"
#include "kit/evaluation/evaluation.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

TEST(evaluation, counts_agree_with_the_ratings)
{
    const std::vector<TestMessage> messages = mixedMessages();
    EvaluationPart part = partOf(smallStore(), messages.size());
    const EvaluationResult result = evaluate(messages, 1, [&](std::size_t) { return part; }, {});
    EXPECT_EQ(result.trainingOff.all, (ConfusionCounts{{1, 1, 1}, {1, 2, 1}}));
    EXPECT_EQ(result.trainingOff.parts, std::vector<ConfusionCounts>{result.trainingOff.all});
    EXPECT_EQ(result.trainingOff.corpora, std::vector<ConfusionCounts>{result.trainingOff.all});
    EXPECT_FALSE(result.trainingKnown);
    EXPECT_EQ(result.disagreements, 0U);
    EXPECT_EQ(result.scores.size(), messages.size());
}

TEST(evaluation, texts_that_stand_in_the_training_part_are_counted_apart)
{
    std::vector<TestMessage> messages = mixedMessages();
    EvaluationPart part = partOf(smallStore(), messages.size());
    messages.push_back(spam(u"win free cash"));
    messages.push_back(ham(u"home soon meet!")); // almost the same is not the same
    part.training = {messages.size() - 2, messages.size() - 1};
    const EvaluationResult result = evaluate(messages, 1, [&](std::size_t) { return part; }, {});
    EXPECT_TRUE(result.trainingKnown);
    EXPECT_EQ(result.seenTexts, 1U);
    EXPECT_EQ(result.trainingOff.unseen, (ConfusionCounts{{0, 1, 1}, {1, 2, 1}}));
    EXPECT_EQ(result.trainingOff.all, (ConfusionCounts{{1, 1, 1}, {1, 2, 1}}));
}

TEST(evaluation, each_part_is_rated_with_its_own_prior)
{
    // Neutral tokens only: the prior alone decides.
    Store neutral;
    neutral.tokens = {{u"aaa", {1, 1}}, {u"bbb", {1, 1}}, {u"ccc", {1, 1}}};
    neutral.spamMessages = 10;
    neutral.hamMessages = 10;
    const std::vector<TestMessage> messages = {ham(u"aaa bbb ccc and so on and so on")};
    std::vector<ConfusionCounts> counts = evaluate(messages, 3,
                                                   [&](std::size_t number) {
                                                       constexpr std::uint32_t priors[] = {950000, 300000, 0};
                                                       neutral.priorMillionths = priors[number];
                                                       return partOf(neutral, 1);
                                                   },
                                                   {})
                                              .trainingOff.parts;
    EXPECT_EQ(counts, (std::vector<ConfusionCounts>{{{}, {1, 0, 0}}, {{}, {0, 1, 0}}, {{}, {0, 0, 1}}}));
}

TEST(evaluation, corpora_are_counted_apart)
{
    std::vector<TestMessage> messages = mixedMessages();
    for (std::size_t i = 3; i < messages.size(); ++i) {
        messages[i].corpus = 1;
    }
    EvaluationOptions options;
    options.corpora = 2;
    const EvaluationResult result = evaluate(
        messages, 1, [&](std::size_t) { return partOf(smallStore(), messages.size()); }, options);
    EXPECT_EQ(result.trainingOff.corpora, (std::vector<ConfusionCounts>{{{1, 1, 1}, {}}, {{}, {1, 2, 1}}}));
}

TEST(evaluation, errors_carry_what_the_engine_saw)
{
    const std::vector<TestMessage> messages = mixedMessages();
    EvaluationOptions options;
    options.mostErrors = 10;
    const EvaluationResult result = evaluate(
        messages, 1, [&](std::size_t) { return partOf(smallStore(), messages.size()); }, options);
    ASSERT_EQ(result.errors.size(), 3U); // unsure ham is no error
    EXPECT_EQ(result.errors[0].message, 1U);
    EXPECT_EQ(result.errors[0].rating, Rating::ham);
    EXPECT_EQ(result.errors[0].explanation.step, DecidingStep::classifier);
    EXPECT_EQ(result.errors[0].explanation.tokens.size(), 3U);
    EXPECT_EQ(result.errors[1].explanation.step, DecidingStep::fewTokens);
    EXPECT_EQ(result.errors[2].rating, Rating::spam);
}

TEST(evaluation, engine_trouble_ends_it_with_an_error)
{
    const std::vector<TestMessage> messages = {{true, std::u16string(u"text of some length"), 0, 1}};
    EXPECT_THROW(
        evaluate(messages, 1, [](std::size_t) -> EvaluationPart { throw Error(Status::badData, "no store"); }, {}),
        Error);
}

} // namespace
} // namespace velq::kit

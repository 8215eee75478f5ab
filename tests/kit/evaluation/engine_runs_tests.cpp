// Runs of the engine on temporary installations: what training off and on mean.
#include "evaluation/small_evaluation.h"
#include "kit/evaluation/engine_runs.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

TEST(engine_runs, engine_rates_with_the_given_store)
{
    const std::vector<TestMessage> messages = mixedMessages();
    const EvaluationInstallation installation(contentsOf(smallStore()));
    const EngineRun run = installation.rate(pointersTo(messages));
    EXPECT_EQ(run.ratings, (std::vector<Rating>{Rating::spam, Rating::ham, Rating::unsure, Rating::spam, Rating::ham,
                                                Rating::unsure, Rating::ham}));
    EXPECT_GT(run.seconds, 0);
}

TEST(engine_runs, training_on_lets_the_store_learn)
{
    const std::vector<TestMessage> messages = {spam(u"win free cash")};
    const EvaluationInstallation installation(contentsOf(smallStore()));
    installation.rate(pointersTo(messages));
    const Store learned = modelOf(installation.store());
    EXPECT_EQ(learned.tokens.at(u"free").spam, 51U);
    EXPECT_EQ(learned.spamMessages, 101U);
}

TEST(engine_runs, training_off_leaves_the_store_as_it_is)
{
    const std::vector<TestMessage> messages = mixedMessages();
    EvaluationInstallation installation(contentsOf(smallStore()));
    installation.setTraining(false);
    installation.rate(pointersTo(messages));
    EXPECT_EQ(dump(installation.store()), dump(contentsOf(smallStore())));
    installation.setTraining(true);
    installation.rate(pointersTo(messages));
    EXPECT_NE(dump(installation.store()), dump(contentsOf(smallStore())));
}

// The first message is undecided but holds a run of digits: the engine takes it for spam and, when it trains, makes the
// ham tokens of the second neutral.
TEST(engine_runs, ratings_with_training_off_do_not_depend_on_the_order)
{
    Store store = smallStore();
    for (auto &[token, counts] : store.tokens) {
        counts = {std::min(counts.spam, 1U), std::min(counts.ham, 1U)};
    }
    store.spamMessages = 2;
    store.hamMessages = 2;
    const TestMessage first = spam(u"win free home meet 1234567");
    const TestMessage second = ham(u"win home meet");
    const auto ratingOfSecond = [&](bool firstBefore, bool training) {
        EvaluationInstallation installation(contentsOf(store));
        installation.setTraining(training);
        const EngineRun run =
            installation.rate(firstBefore ? std::vector{&first, &second} : std::vector{&second, &first});
        EXPECT_EQ(run.ratings[firstBefore ? 0 : 1], Rating::spam);
        return run.ratings[firstBefore ? 1 : 0];
    };
    EXPECT_EQ(ratingOfSecond(false, false), Rating::ham);
    EXPECT_EQ(ratingOfSecond(true, false), Rating::ham);
    EXPECT_EQ(ratingOfSecond(false, true), Rating::ham);
    EXPECT_EQ(ratingOfSecond(true, true), Rating::spam) << "the messages must be such that training shows";
}

TEST(engine_runs, correction_and_its_reverse_restore_the_counts)
{
    const std::vector<TestMessage> message = {spam(u"win home meet soon free")};
    const std::vector<TestMessage> reverse = {ham(message[0].text)};
    Store store = smallStore();
    for (auto &[token, counts] : store.tokens) {
        counts = {counts.spam + 3, counts.ham + 3};
    }
    const EvaluationInstallation installation(contentsOf(store));
    installation.teach(pointersTo(message), 1, false);
    EXPECT_NE(modelOf(installation.store()), store);
    installation.teach(pointersTo(reverse), 1, false);
    EXPECT_EQ(modelOf(installation.store()), store);
}

TEST(engine_runs, unsure_spam_is_an_error_and_unsure_ham_is_none)
{
    EXPECT_FALSE(isError(true, Rating::spam));
    EXPECT_TRUE(isError(true, Rating::ham));
    EXPECT_TRUE(isError(true, Rating::unsure));
    EXPECT_TRUE(isError(false, Rating::spam));
    EXPECT_FALSE(isError(false, Rating::ham));
    EXPECT_FALSE(isError(false, Rating::unsure));
}

} // namespace
} // namespace velq::kit

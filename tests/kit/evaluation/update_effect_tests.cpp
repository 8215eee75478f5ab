// What updates do to a filter in use: stores of two training sets, one of them brought to the other by an update, rate
// and train the same messages.
//
// The messages are invented, by a generator that is written out here: words of six letters, of which each class prefers
// some; from one time to the next, words go, come, and change sides. Each seed invents another language. With
// stand-ins, all pairs of times of all seeds have to hold.
#include "evaluation/small_evaluation.h"
#include "kit/evaluation/engine_runs.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/sampling.h"
#include "kit/reading/text_filter.h"
#include "kit/store/additive_update.h"
#include "kit/store/stand_ins.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

using Words = std::vector<std::u16string>;

// Words that no other list holds.
Words inventedWords(std::size_t count, std::uint64_t seed)
{
    SeededSequence sequence(seed);
    Words words;
    for (std::size_t i = 0; i < count; ++i) {
        std::u16string word;
        for (int letter = 0; letter < 6; ++letter) {
            word += static_cast<char16_t>(u'a' + sequence.below(26U));
        }
        words.push_back(word);
    }
    return words;
}

// What a language holds at one time: words that each class prefers, and common ones.
struct Language {
    Words spam;
    Words ham;
    Words common;
};

// Times differ: of the words of each class some go, others come, and some change sides or are said by everybody.
Language languageOf(std::size_t time, std::uint64_t seed)
{
    const Words all = inventedWords(120, seed);
    const auto range = [&all](std::size_t first, std::size_t count) {
        return Words(all.begin() + static_cast<std::ptrdiff_t>(first),
                     all.begin() + static_cast<std::ptrdiff_t>(first + count));
    };
    Language language{range(8 * time, 32), range(48 + 8 * time, 32), range(96, 20)};
    for (std::size_t i = 0; time > 0 && i < 4; ++i) {
        std::swap(language.spam[i], language.ham[i]);
        std::swap(language.spam[4 + i], language.common[i]);
        std::swap(language.ham[4 + i], language.common[4 + i]);
    }
    return language;
}

std::vector<TestMessage> messagesOf(const Language &language, std::size_t count, std::uint64_t seed)
{
    SeededSequence sequence(seed);
    const auto any = [&sequence](const Words &words) { return words[sequence.below(words.size())] + u" "; };
    std::vector<TestMessage> messages;
    for (std::size_t i = 0; i < count; ++i) {
        const bool isSpam = i % 3 == 0;
        std::u16string text;
        for (int word = 0; word < 12; ++word) {
            const bool own = sequence.below(60U) != 0; // now and then a word of the other class
            text += word % 2 == 1 ? any(language.common) : any(own == isSpam ? language.spam : language.ham);
        }
        messages.push_back({isSpam, text, 0, i + 1});
    }
    return messages;
}

StoreContents storeFrom(const std::vector<TestMessage> &messages)
{
    TrainingSet training(1, usualSample);
    for (const TestMessage &message : messages) {
        training.add(message.spam, message.text);
    }
    BuildRules rules;
    rules.fewestClusters = 1; // texts of so few words are near-duplicates of each other
    return contentsOf(buildStore(training, rules));
}

std::vector<JudgedText> filteredOf(const std::vector<TestMessage> &messages)
{
    std::vector<JudgedText> texts;
    for (const TestMessage &message : messages) {
        texts.push_back({message.spam, filterText(message.text)});
    }
    return texts;
}

struct Figures {
    double accuracy = 0;
    double blockedHam = 0;
    double caughtSpam = 0;
};

// In percent.
Figures figuresOf(const std::vector<TestMessage> &messages, const EngineRun &run)
{
    double counts[2][2] = {};
    for (std::size_t i = 0; i < messages.size(); ++i) {
        ++counts[messages[i].spam ? 1 : 0][run.ratings[i] == Rating::spam ? 1 : 0];
    }
    const double ham = counts[0][0] + counts[0][1];
    const double spam = counts[1][0] + counts[1][1];
    return {100 * (counts[0][0] + counts[1][1]) / (ham + spam), 100 * counts[0][1] / ham, 100 * counts[1][1] / spam};
}

Figures figuresOf(const StoreContents &store, const std::vector<TestMessage> &messages, bool training)
{
    EvaluationInstallation installation(store);
    installation.setTraining(training);
    return figuresOf(messages, installation.rate(pointersTo(messages)));
}

constexpr double mostPoints = 0.5;

// What the merge bounds: places that tokens of the old store take in a message, which the new store would give to spam
// tokens. No ham pays for that.
constexpr double mostAccuracyPoints = 1;
constexpr double mostSpamPoints = 2;

void expectAlike(const Figures &is, const Figures &wanted, const std::string &what)
{
    EXPECT_NEAR(is.accuracy, wanted.accuracy, mostAccuracyPoints) << what;
    EXPECT_NEAR(is.blockedHam, wanted.blockedHam, mostPoints) << what;
    EXPECT_NEAR(is.caughtSpam, wanted.caughtSpam, mostSpamPoints) << what;
}

TEST(update_effect, merged_store_rates_and_learns_like_the_new_one)
{
    const StoreContents installed = storeFrom(messagesOf(languageOf(0, 1), 1200, 1));
    const StoreContents wanted = storeFrom(messagesOf(languageOf(1, 1), 1200, 2));
    const StoreDifference difference = additionsBetween(installed, wanted);
    EXPECT_EQ(difference.lowered, 0U);
    EXPECT_GT(difference.neutral, 0U);
    const StoreContents reached = merged(installed, difference.rows);
    const std::vector<TestMessage> messages = messagesOf(languageOf(1, 1), 2000, 11);
    for (const bool training : {false, true}) {
        const Figures figures = figuresOf(wanted, messages, training);
        const Figures is = figuresOf(reached, messages, training);
        EXPECT_GT(figures.accuracy, 90) << training;
        EXPECT_NEAR(is.accuracy, figures.accuracy, mostPoints) << training;
        EXPECT_NEAR(is.blockedHam, figures.blockedHam, mostPoints) << training;
        EXPECT_NEAR(is.caughtSpam, figures.caughtSpam, mostPoints) << training;
    }
}

struct Times {
    std::uint64_t seed;
    std::size_t before;
    std::size_t after;
};

class update_with_stand_ins : public testing::TestWithParam<Times> {};

// Untouched, in live training, and trained with 2,000 messages by its own verdicts before the update.
TEST_P(update_with_stand_ins, blocks_no_more_ham_than_the_new_store)
{
    const Times times = GetParam();
    const Language now = languageOf(times.after, times.seed);
    const std::vector<TestMessage> learned = messagesOf(now, 1200, 100 * times.seed + 2);
    const StoreContents installed =
        storeFrom(messagesOf(languageOf(times.before, times.seed), 1200, 100 * times.seed + 1));
    const StoreContents wanted = storeFrom(learned);
    const StoreDifference difference =
        additionsBetween(installed, wanted, standInsFor(modelOf(installed), modelOf(wanted), filteredOf(learned)));
    EXPECT_EQ(difference.lowered, 0U);
    EXPECT_GT(difference.neutral + difference.standIns, 0U);
    const std::vector<TestMessage> rated = messagesOf(now, 2000, 100 * times.seed + 11);
    const StoreContents reached = merged(installed, difference.rows);
    const Figures figures = figuresOf(wanted, rated, false);
    EXPECT_GT(figures.accuracy, 90);
    expectAlike(figuresOf(reached, rated, false), figures, "untouched");
    expectAlike(figuresOf(reached, rated, true), figuresOf(wanted, rated, true), "in live training");
    const std::vector<TestMessage> training = messagesOf(now, 2000, 100 * times.seed + 12);
    const EvaluationInstallation trained(installed);
    trained.rate(pointersTo(training));
    expectAlike(figuresOf(merged(trained.store(), difference.rows), rated, false), figures, "trained before");
}

#ifdef VELQ_SANITIZED // what the figures are does not depend on it, and each pair takes half a minute
const auto pairs = testing::Values(Times{2, 0, 2});
#else
const auto pairs = testing::Values(Times{1, 0, 1}, Times{1, 1, 2}, Times{1, 0, 2}, Times{2, 0, 1}, Times{2, 1, 2},
                                   Times{2, 0, 2}, Times{3, 0, 1}, Times{3, 1, 2}, Times{3, 0, 2});
#endif

INSTANTIATE_TEST_SUITE_P(training_sets, update_with_stand_ins, pairs, [](const auto &times) {
    return "seed" + std::to_string(times.param.seed) + "from" + std::to_string(times.param.before) + "to" +
           std::to_string(times.param.after);
});

} // namespace
} // namespace velq::kit

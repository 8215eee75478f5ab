// What updates do to a filter in use: stores of two training sets, one of them brought to the other by an update, rate
// and train the same messages.
#include "evaluation/small_evaluation.h"
#include "kit/evaluation/engine_runs.h"
#include "kit/learning/store_builder.h"
#include "kit/messages/sampling.h"
#include "kit/store/additive_update.h"

#include <cmath>
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
            word += static_cast<char16_t>(u'a' + sequence.below(26));
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
Language languageOf(std::size_t time)
{
    const Words all = inventedWords(120, 1);
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
            const bool own = sequence.below(60) != 0; // now and then a word of the other class
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

struct Figures {
    double accuracy = 0;
    double blockedHam = 0;
    double caughtSpam = 0;
};

// In percent.
Figures figuresOf(const StoreContents &store, const std::vector<TestMessage> &messages, bool training)
{
    EvaluationInstallation installation(store);
    installation.setTraining(training);
    const EngineRun run = installation.rate(pointersTo(messages));
    double counts[2][2] = {};
    for (std::size_t i = 0; i < messages.size(); ++i) {
        ++counts[messages[i].spam ? 1 : 0][run.ratings[i] == Rating::spam ? 1 : 0];
    }
    const double ham = counts[0][0] + counts[0][1];
    const double spam = counts[1][0] + counts[1][1];
    return {100 * (counts[0][0] + counts[1][1]) / (ham + spam), 100 * counts[0][1] / ham, 100 * counts[1][1] / spam};
}

constexpr double mostPoints = 0.5;

void expectAlike(const Figures &is, const Figures &wanted, const std::string &what)
{
    EXPECT_NEAR(is.accuracy, wanted.accuracy, mostPoints) << what;
    EXPECT_NEAR(is.blockedHam, wanted.blockedHam, mostPoints) << what;
    EXPECT_NEAR(is.caughtSpam, wanted.caughtSpam, mostPoints) << what;
}

TEST(update_effect, merged_store_rates_and_learns_like_the_new_one)
{
    const StoreContents installed = storeFrom(messagesOf(languageOf(0), 1200, 1));
    const StoreContents wanted = storeFrom(messagesOf(languageOf(1), 1200, 2));
    const StoreDifference difference = additionsBetween(installed, wanted);
    EXPECT_EQ(difference.lowered, 0U);
    EXPECT_GT(difference.neutral, 0U);
    const StoreContents reached = merged(installed, difference.rows);
    const std::vector<TestMessage> messages = messagesOf(languageOf(1), 2000, 11);
    for (const bool training : {false, true}) {
        const Figures figures = figuresOf(wanted, messages, training);
        EXPECT_GT(figures.accuracy, 90) << training;
        expectAlike(figuresOf(reached, messages, training), figures, training ? "with training" : "without training");
    }
}

} // namespace
} // namespace velq::kit

// What is learned from: everything, or a sample whose size and shares are known.
#include "kit/learning/training_set.h"
#include "learning/invented_messages.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace velq::kit {
namespace {

std::u16string numberText(std::size_t number)
{
    std::u16string text;
    for (const char digit : std::to_string(number)) {
        text += static_cast<char16_t>(digit);
    }
    return text;
}

// Every third message is spam; the texts tell the order.
TrainingSet numbered(std::size_t messages, std::size_t sample, std::uint64_t seed = 1)
{
    TrainingSet training(seed, sample);
    for (std::size_t i = 0; i < messages; ++i) {
        training.add(i % 3 == 0, numberText(i));
    }
    return training;
}

std::vector<std::size_t> numbersOf(const TrainingSet &training)
{
    std::vector<std::size_t> numbers;
    for (const LabelledText &message : training.messages()) {
        numbers.push_back(std::stoul(std::string(message.text.begin(), message.text.end())));
        EXPECT_EQ(message.spam, numbers.back() % 3 == 0);
    }
    return numbers;
}

TEST(training_set, keeps_every_message_in_its_place_up_to_the_sample)
{
    for (const std::size_t messages : {0U, 1U, 29U, 30U}) {
        const TrainingSet training = numbered(messages, 30);
        std::vector<std::size_t> all;
        for (std::size_t i = 0; i < messages; ++i) {
            all.push_back(i);
        }
        EXPECT_EQ(numbersOf(training), all);
        EXPECT_EQ(training.size(), messages);
        EXPECT_EQ(training.added(), messages);
    }
}

TEST(training_set, many_messages_leave_a_sample_of_each_class_in_their_order)
{
    const TrainingSet training = numbered(3000, 90);
    EXPECT_EQ(training.added(), 3000U);
    EXPECT_EQ(training.added(true), 1000U);
    EXPECT_EQ(training.added(false), 2000U);
    const std::vector<std::size_t> numbers = numbersOf(training);
    EXPECT_EQ(numbers.size(), 180U);
    EXPECT_EQ(training.size(), 180U);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_EQ(std::set<std::size_t>(numbers.begin(), numbers.end()).size(), 180U);
    EXPECT_EQ(std::count_if(numbers.begin(), numbers.end(), [](std::size_t number) { return number % 3 == 0; }), 90);
    EXPECT_GT(numbers.back(), 2000U) << "later messages are drawn as well";
}

TEST(training_set, each_source_has_a_sample_of_its_own)
{
    TrainingSet training(1, 10);
    for (int i = 0; i < 500; ++i) {
        training.add(false, u"text", i % 100 == 0 ? 7 : 0);
    }
    const std::vector<LabelledText> messages = training.messages();
    EXPECT_EQ(messages.size(), 15U);
    EXPECT_EQ(std::count_if(messages.begin(), messages.end(), [](const LabelledText &one) { return one.source == 7; }),
              5);
}

TEST(training_set, rare_class_is_never_left_out)
{
    TrainingSet training(1, 10);
    for (int i = 0; i < 5000; ++i) {
        training.add(i == 2500, u"text");
    }
    const std::vector<LabelledText> messages = training.messages();
    EXPECT_EQ(std::count_if(messages.begin(), messages.end(), [](const LabelledText &one) { return one.spam; }), 1);
}

TEST(training_set, seed_decides_the_sample)
{
    EXPECT_EQ(numbersOf(numbered(500, 40, 3)), numbersOf(numbered(500, 40, 3)));
    EXPECT_NE(numbersOf(numbered(500, 40, 3)), numbersOf(numbered(500, 40, 4)));
    EXPECT_EQ(numbered(1, 1, 9).seed(), 9U);
}

} // namespace
} // namespace velq::kit

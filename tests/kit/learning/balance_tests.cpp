// How much messages count: by their clusters, their sources and their classes.
#include "kit/learning/balance.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace velq::kit {
namespace {

constexpr BalanceRule rule = {0.5, 0.6};

void add(std::vector<FilteredText> &messages, std::size_t times, bool spam, std::uint32_t source)
{
    for (std::size_t i = 0; i < times; ++i) {
        messages.push_back({spam, u"text", 1, source, static_cast<std::uint32_t>(messages.size())});
    }
}

double weightOf(const std::vector<FilteredText> &messages, bool spam, std::uint32_t source)
{
    double sum = 0;
    for (const FilteredText &message : messages) {
        sum += message.spam == spam && message.source == source ? message.weight : 0;
    }
    return sum;
}

TEST(balance, sources_count_by_a_power_of_their_size_and_classes_by_their_shares)
{
    std::vector<FilteredText> messages;
    add(messages, 400, false, 0);
    add(messages, 100, false, 1);
    add(messages, 25, true, 0);
    add(messages, 100, true, 2);
    balance(messages, rule);
    EXPECT_NEAR(weightOf(messages, false, 0), 625 * 0.6 * 20 / 30, 1e-6);
    EXPECT_NEAR(weightOf(messages, false, 1), 625 * 0.6 * 10 / 30, 1e-6);
    EXPECT_NEAR(weightOf(messages, true, 0), 625 * 0.4 * 5 / 15, 1e-6);
    EXPECT_NEAR(weightOf(messages, true, 2), 625 * 0.4 * 10 / 15, 1e-6);
}

TEST(balance, campaign_of_many_copies_counts_as_the_root_of_their_number)
{
    std::vector<FilteredText> messages;
    add(messages, 10, true, 0);
    add(messages, 10, false, 0);
    for (int i = 0; i < 100; ++i) {
        messages.push_back({true, u"copy", 1, 0, 1000});
    }
    balance(messages, rule);
    EXPECT_NEAR(messages.back().weight * 100, messages.front().weight * 10, 1e-6);
}

TEST(balance, readings_of_a_message_count_as_one_message)
{
    std::vector<FilteredText> messages;
    add(messages, 4, true, 0);
    add(messages, 4, false, 0);
    messages.push_back({true, u"prepared", 0.5, 0, 1000});
    messages.push_back({true, u"raw", 0.5, 0, 1000});
    balance(messages, rule);
    EXPECT_NEAR(messages[8].weight + messages[9].weight, messages[0].weight, 1e-9);
    EXPECT_NEAR(weightOf(messages, true, 0) + weightOf(messages, false, 0), 9, 1e-9);
}

TEST(balance, written_sources_count_less_each_class_by_its_own_weight)
{
    std::vector<FilteredText> messages;
    add(messages, 100, false, 0);
    add(messages, 100, true, 0);
    add(messages, 100, false, 4);
    add(messages, 100, true, 4);
    balance(messages, {0.5, 0.6, 4, 0.7, 0.3});
    EXPECT_NEAR(weightOf(messages, false, 4) / weightOf(messages, false, 0), 0.7, 1e-9);
    EXPECT_NEAR(weightOf(messages, true, 4) / weightOf(messages, true, 0), 0.3, 1e-9);
}

TEST(balance, classes_have_their_shares_within_each_language)
{
    std::vector<FilteredText> messages;
    add(messages, 400, false, 0);
    add(messages, 4, true, 0);
    add(messages, 9, false, 1);
    add(messages, 900, true, 2);
    balance(messages, rule, {{0, 0}, {1, 1}, {2, 1}});
    EXPECT_NEAR(weightOf(messages, false, 0) / weightOf(messages, true, 0), 1.5, 1e-9);
    EXPECT_NEAR(weightOf(messages, false, 1) / weightOf(messages, true, 2), 1.5, 1e-9);
    EXPECT_NEAR(weightOf(messages, false, 0) + weightOf(messages, true, 0), 1313.0 * 22 / 55, 1e-6);
}

TEST(balance, one_class_alone_and_no_messages_are_borne)
{
    std::vector<FilteredText> messages;
    balance(messages, rule);
    add(messages, 3, true, 0);
    balance(messages, rule);
    EXPECT_TRUE(std::isfinite(messages[0].weight));
}

} // namespace
} // namespace velq::kit

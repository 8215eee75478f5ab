// The names of the steps, which programs compare.
#include "kit/reading/deciding_step.h"

#include <gtest/gtest.h>
#include <string_view>
#include <utility>

namespace velq::kit {
namespace {

TEST(deciding_step, has_a_name_and_a_sentence)
{
    const std::pair<DecidingStep, std::pair<std::string_view, std::string_view>> cases[] = {
        {DecidingStep::blackList, {"black-list", "black list: "}},
        {DecidingStep::operatorRule, {"operator", "operator rule: "}},
        {DecidingStep::whiteList, {"white-list", "white list: "}},
        {DecidingStep::length, {"length", "length: "}},
        {DecidingStep::fewTokens, {"few-tokens", "too few tokens: "}},
        {DecidingStep::classifier, {"classifier", "classifier: "}},
        {DecidingStep::digitRun, {"digit-run", "digit run: "}},
        {DecidingStep::shortText, {"short-text", "short text: "}},
    };
    for (const auto &[step, words] : cases) {
        EXPECT_EQ(stepName(step), words.first);
        EXPECT_TRUE(stepSentence(step).starts_with(words.second)) << stepSentence(step);
    }
}

} // namespace
} // namespace velq::kit

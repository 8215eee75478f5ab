// The error after so many corrections.
#include "evaluation/small_evaluation.h"
#include "kit/base/status.h"
#include "kit/evaluation/learning_curve.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

std::vector<TestMessage> repeatedMessages(int count)
{
    std::vector<TestMessage> messages;
    for (int i = 0; i < count; ++i) {
        const std::u16string tail(static_cast<std::size_t>(i % 7), u'-');
        messages.push_back(spam(u"win free cash" + tail));
        messages.push_back(ham(u"home meet soon" + tail));
    }
    return messages;
}

TEST(learning_curve, corrections_bring_the_error_of_an_empty_store_down)
{
    const std::vector<TestMessage> messages = repeatedMessages(30);
    const std::vector<CurvePoint> curve =
        learningCurve(withoutCounts(contentsOf(smallStore())), pointersTo(messages), {{0, 4, 20}, false, 1});
    ASSERT_EQ(curve.size(), 3U);
    EXPECT_EQ(curve[0].counts.spam.ratedSpam, 0U);
    EXPECT_EQ(curve[2].made, 20U);
    EXPECT_EQ(curve[2].counts.spam.ratedSpam, 20U); // of the 40 messages left
    EXPECT_EQ(curve[2].counts.ham.ratedHam, 20U);
    for (const CurvePoint &point : curve) {
        EXPECT_EQ(point.counts.total(), 40U);
        EXPECT_EQ(point.made, point.asked);
    }
}

TEST(learning_curve, only_errors_are_corrected_on_request)
{
    const std::vector<TestMessage> messages = repeatedMessages(30);
    const std::vector<CurvePoint> curve =
        learningCurve(contentsOf(smallStore()), pointersTo(messages), {{0, 10}, true, 1});
    EXPECT_EQ(curve[1].made, 0U); // the store rates them all as it should
    EXPECT_EQ(curve[1].asked, 10U);
    EXPECT_EQ(curve[1].read, 40U);
    EXPECT_EQ(curve[1].counts.total(), 20U);
}

TEST(learning_curve, leaves_messages_to_measure_on)
{
    const std::vector<TestMessage> messages = repeatedMessages(5);
    EXPECT_THROW(learningCurve(contentsOf(smallStore()), pointersTo(messages), {{10}, false, 1}), Error);
}

TEST(learning_curve, curves_of_several_stores_add_up)
{
    std::vector<CurvePoint> sum;
    addCurve(sum, {{0, 0, 0, {{1, 2, 0}, {0, 3, 1}}}, {10, 10, 12, {{2, 1, 0}, {0, 4, 0}}}});
    addCurve(sum, {{0, 0, 0, {{1, 0, 0}, {1, 1, 0}}}, {10, 7, 20, {{1, 0, 0}, {0, 2, 0}}}});
    ASSERT_EQ(sum.size(), 2U);
    EXPECT_EQ(sum[0].counts, (ConfusionCounts{{2, 2, 0}, {1, 4, 1}}));
    EXPECT_EQ(sum[1].counts, (ConfusionCounts{{3, 1, 0}, {0, 6, 0}}));
    EXPECT_EQ(sum[1].asked, 10U);
    EXPECT_EQ(sum[1].made, 7U);
    EXPECT_EQ(sum[1].read, 20U);
}

} // namespace
} // namespace velq::kit

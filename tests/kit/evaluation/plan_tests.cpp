// Which messages train and test which part, and what cannot be planned.
#include "kit/base/status.h"
#include "kit/evaluation/plan.h"
#include "support/run_command.h"
#include "support/system.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

std::string messages(int count)
{
    std::string lines;
    for (int i = 0; i < count; ++i) {
        lines += (i % 3 == 0 ? "spam\tnumber " : "ham\tnumber ") + std::to_string(i) + "\n";
    }
    return lines;
}

EvaluationPlan planFrom(const EvaluationRequest &request, const std::string &input = messages(30))
{
    std::istringstream in(input);
    return makePlan(request, in);
}

EvaluationRequest requestFor(const std::vector<std::string> &corpora = {"-"})
{
    EvaluationRequest request;
    request.corpora = corpora;
    return request;
}

void expectRefused(const EvaluationRequest &request, Status status, const std::string &part,
                   const std::string &input = messages(30))
{
    try {
        planFrom(request, input);
        ADD_FAILURE() << "not refused: " << part;
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), status) << error.what();
        EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    }
}

class plan : public testing::Test, protected test::TestFiles {};

TEST_F(plan, folds_test_each_message_once)
{
    EvaluationRequest request = requestFor();
    request.folds = 4;
    request.seed = 7;
    const EvaluationPlan made = planFrom(request);
    EXPECT_EQ(made.method, "4 stratified folds, seed 7");
    ASSERT_EQ(made.splits.size(), 4U);
    std::vector<int> tested(30, 0);
    for (const Split &split : made.splits) {
        EXPECT_EQ(split.training.size() + split.test.size(), 30U);
        for (const std::size_t index : split.test) {
            ++tested[index];
        }
    }
    EXPECT_EQ(tested, std::vector<int>(30, 1));
}

TEST_F(plan, folds_spread_each_class_of_each_file)
{
    EvaluationRequest request = requestFor({file("a.tsv", messages(30)), file("b.tsv", messages(30))});
    request.folds = 10;
    const EvaluationPlan made = planFrom(request);
    EXPECT_EQ(made.corpora, request.corpora);
    for (const Split &split : made.splits) {
        std::vector<int> ofStratum(4, 0);
        for (const std::size_t index : split.test) {
            ++ofStratum.at(stratumOf(made.messages[index]));
        }
        EXPECT_EQ(ofStratum, (std::vector<int>{2, 1, 2, 1}));
    }
}

TEST_F(plan, split_trains_on_the_first_messages)
{
    EvaluationRequest request = requestFor();
    request.split = "first:20";
    const EvaluationPlan made = planFrom(request);
    EXPECT_EQ(made.method, "trained on the first 20 messages, tested on the rest");
    ASSERT_EQ(made.splits.size(), 1U);
    EXPECT_EQ(made.splits[0].training.size(), 20U);
    EXPECT_EQ(made.splits[0].test.front(), 20U);
    EXPECT_EQ(made.messages[20].line, 21U);
}

TEST_F(plan, test_file_is_tested_with_what_the_corpora_teach)
{
    EvaluationRequest request = requestFor();
    request.test = file("test.tsv", messages(6));
    const EvaluationPlan made = planFrom(request);
    EXPECT_EQ(made.method, "trained on 30 messages, tested on " + request.test);
    EXPECT_EQ(made.splits[0].training.size(), 30U);
    EXPECT_EQ(made.splits[0].test.size(), 6U);
    EXPECT_EQ(made.messages.back().corpus, 1U);
}

TEST_F(plan, store_is_tested_on_every_message)
{
    EvaluationRequest request = requestFor();
    request.store = "some.bin";
    request.withoutCounts = true;
    const EvaluationPlan made = planFrom(request);
    EXPECT_EQ(made.method, "the store some.bin without its counts");
    EXPECT_TRUE(made.splits[0].training.empty());
    EXPECT_EQ(made.splits[0].test.size(), 30U);
}

TEST_F(plan, what_leaves_nothing_to_do_is_refused)
{
    expectRefused(requestFor(), Status::badData, "no messages to evaluate on in -", "");
    EvaluationRequest request = requestFor();
    request.folds = 1;
    expectRefused(request, Status::usage, "--folds 1");
    request.folds = 31;
    expectRefused(request, Status::usage, "at most the 30");
    for (const char *split : {"5", "first:", "first:0", "first:5x", "last:5", "first:-5"}) {
        request.split = split;
        expectRefused(request, Status::usage, "first:N");
    }
    request.split = "first:30";
    expectRefused(request, Status::badData, "fewer than 30");
    request.split.clear();
    request.test = file("empty.tsv", "");
    expectRefused(request, Status::badData, "no messages to test on");
}

} // namespace
} // namespace velq::kit

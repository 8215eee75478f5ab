// Which messages train and test which part, and what cannot be planned.
#include "base/refusal.h"
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
    const std::string refusal = refusalOf([&] { planFrom(request, input); }, status);
    EXPECT_NE(refusal.find(part), std::string::npos) << refusal;
}

class plan : public testing::Test, protected test::TestFiles {};

TEST_F(plan, prepares_texts_and_says_where_they_are_as_they_were)
{
    const std::string input = "spam\tFR\u00C9E\nham\tsoon\nspam\tNOW\nham\tLater\n";
    EvaluationRequest request = requestFor();
    request.folds = 2;
    request.randomFolds = true;
    const EvaluationPlan prepared = planFrom(request, input);
    EXPECT_EQ(prepared.messages[0].text, u"free");
    EXPECT_EQ(prepared.method, "2 stratified folds, seed 1");
    request.form = TextForm::raw;
    const EvaluationPlan raw = planFrom(request, input);
    EXPECT_EQ(raw.messages[0].text, u"FR\u00C9E");
    EXPECT_EQ(raw.method, "2 stratified folds, seed 1; texts as they are");
}

TEST_F(plan, folds_test_each_message_once)
{
    EvaluationRequest request = requestFor();
    request.folds = 4;
    request.seed = 7;
    request.randomFolds = true;
    const EvaluationPlan made = planFrom(request);
    EXPECT_EQ(made.method, "4 stratified folds, seed 7");
    EXPECT_EQ(made.clusters, 0U);
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
    request.randomFolds = true;
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

// Six campaigns of five messages that differ in their numbers.
std::string campaigns()
{
    const char *texts[] = {"see you at the station tonight ",     "your parcel waits at the counter ",
                           "the meeting moves to the big room ",  "free ringtones for every caller ",
                           "you won a voucher, claim it before ", "cheap loans without questions "};
    std::string lines;
    for (int i = 0; i < 30; ++i) {
        lines += std::string(i % 6 < 3 ? "ham" : "spam") + "\t" + texts[i % 6] + std::to_string(1000 + i) + "\n";
    }
    return lines;
}

TEST_F(plan, folds_keep_near_duplicates_together)
{
    EvaluationRequest request = requestFor();
    request.folds = 3;
    const EvaluationPlan made = planFrom(request, campaigns());
    EXPECT_EQ(made.clusters, 6U);
    EXPECT_EQ(made.method, "3 stratified folds that keep near-duplicates together (6 clusters of 30 messages), seed 1");
    ASSERT_EQ(made.splits.size(), 3U);
    for (const Split &split : made.splits) {
        EXPECT_EQ(split.test.size(), 10U);
        for (const std::size_t tested : split.test) {
            for (const std::size_t trained : split.training) {
                EXPECT_NE(tested % 6, trained % 6);
            }
        }
    }
}

TEST_F(plan, each_source_is_tested_with_what_the_others_teach_but_for_near_duplicates)
{
    const EvaluationRequest asked =
        requestFor({file("a.tsv", "ham\tsee you at the station tonight\nspam\tfree ringtones for every caller 1\n"),
                    file("b.tsv", "spam\tfree ringtones for every caller 2\nham\tthe meeting moves to the big room\n"),
                    file("c.tsv", "ham\tdinner is ready and getting cold\n")});
    EvaluationRequest request = asked;
    request.leaveOneSourceOut = true;
    const EvaluationPlan made = planFrom(request, "");
    EXPECT_EQ(made.method, "each source tested with a store built from the other 2, near-duplicates of the tested "
                           "messages left out (4 clusters of 5 messages)");
    EXPECT_EQ(made.partsAre, "sources");
    using Indices = std::vector<std::size_t>;
    ASSERT_EQ(made.splits.size(), 3U);
    EXPECT_EQ(made.splits[0].test, (Indices{0, 1}));
    EXPECT_EQ(made.splits[0].training, (Indices{3, 4}));
    EXPECT_EQ(made.splits[1].test, (Indices{2, 3}));
    EXPECT_EQ(made.splits[1].training, (Indices{0, 4}));
    EXPECT_EQ(made.splits[2].test, Indices{4});
    EXPECT_EQ(made.splits[2].training, (Indices{0, 1, 2, 3}));
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
    request.randomFolds = true;
    expectRefused(request, Status::usage, "at most the 30 messages");
    request.randomFolds = false;
    request.folds = 3;
    expectRefused(request, Status::usage, "at most the 2 clusters of near-duplicates"); // "number 1" and "number 10"
    request.leaveOneSourceOut = true;
    expectRefused(request, Status::usage, "at least two files");
    request.leaveOneSourceOut = false;
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

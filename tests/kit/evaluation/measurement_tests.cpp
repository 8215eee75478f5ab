// The stores of the parts, and a plan carried out.
#include "evaluation/small_evaluation.h"
#include "kit/base/wide_text.h"
#include "kit/evaluation/measurement.h"
#include "kit/learning/plain.h"
#include "kit/learning/store_builder.h"
#include "kit/store/store_text.h"
#include "learning/invented_messages.h"
#include "support/run_command.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

constexpr std::uint64_t seed = 5;

class measurement : public testing::Test, protected test::TestFiles {};

std::string linesOf(const std::vector<LabelledText> &messages)
{
    std::string lines;
    for (const LabelledText &message : messages) {
        lines += (message.spam ? "spam\t" : "ham\t") + utf8FromUtf16(message.text) + "\n";
    }
    return lines;
}

// What store build does with a file.
TrainingSet trainingSetOfFile(const std::string &name, std::size_t sample)
{
    TrainingSet training(seed, sample);
    std::istringstream none;
    readCorpus(name, CorpusFormat::byName, none, [&training](LabelledMessage &&message) {
        training.add(message.label == Label::spam, utf16FromUtf8(message.text).value_or(u""));
    });
    return training;
}

EvaluationPlan planWithTest(const std::string &training, const std::string &tested, EvaluationRequest &request)
{
    request.corpora = {training};
    request.test = tested;
    request.seed = seed;
    std::istringstream none;
    return makePlan(request, none);
}

TEST_F(measurement, tuned_store_of_a_part_is_that_of_its_messages_also_where_they_exceed_the_sample)
{
    const std::string training = file("training.tsv", linesOf(narrowCorpus(400, 1)));
    EvaluationRequest request;
    const EvaluationPlan plan = planWithTest(training, file("test.tsv", linesOf(narrowCorpus(30, 2))), request);
    for (const std::size_t sample : {100U, 265U, 266U, 1000U}) {
        const TrainingSet set = trainingSetOfFile(training, sample);
        EXPECT_EQ(set.size(), std::min<std::size_t>(sample, 134) + std::min<std::size_t>(sample, 266));
        const StoreContents built = contentsOf(buildStore(set));
        EXPECT_FALSE(modelOf(built).tokens.empty());
        EXPECT_EQ(dump(contentsOf(storeOfPart(plan, plan.splits[0], request, sample))), dump(built)) << sample;
    }
    EXPECT_NE(storeOfPart(plan, plan.splits[0], request, 150), storeOfPart(plan, plan.splits[0], request, 400));
}

TEST_F(measurement, plain_store_of_a_part_is_that_of_all_its_messages)
{
    const std::vector<LabelledText> messages = narrowCorpus(400, 1);
    EvaluationRequest request;
    request.plain = true;
    const EvaluationPlan plan =
        planWithTest(file("training.tsv", linesOf(messages)), file("test.tsv", linesOf(narrowCorpus(30, 2))), request);
    EXPECT_EQ(storeOfPart(plan, plan.splits[0], request, 10), buildPlainStore(sourceOf(messages)));
}

TEST_F(measurement, store_at_hand_is_measured_as_it_is_or_without_its_counts)
{
    std::ostringstream text;
    writeStoreText(text, contentsOf(smallStore()));
    std::istringstream corpus("spam\twin free cash\nham\thome meet soon\nspam\twin free cash prize\n");
    EvaluationRequest request;
    request.corpora = {"-"};
    request.store = file("store.txt", text.str());
    request.corrections = {0};
    const EvaluationPlan plan = makePlan(request, corpus);
    std::vector<std::uint64_t> steps;
    const MeasureOptions options{0, [&steps](std::uint64_t done, std::uint64_t total) {
                                     steps.push_back(done);
                                     EXPECT_EQ(total, 3U);
                                 }};
    const Measured measured = measure(plan, request, options, corpus);
    EXPECT_EQ(measured.tokens, std::vector<std::size_t>{8});
    EXPECT_EQ(measured.result.trainingOff.all, (ConfusionCounts{{2, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(steps, (std::vector<std::uint64_t>{1, 2, 3}));
    ASSERT_EQ(measured.curve.size(), 1U);
    EXPECT_EQ(measured.curve[0].counts, measured.result.trainingOff.all);

    request.withoutCounts = true;
    const Measured without = measure(plan, request, {}, corpus);
    EXPECT_EQ(without.tokens, std::vector<std::size_t>{8});
    EXPECT_EQ(without.result.trainingOff.all.spam.ratedSpam, 0U);
}

} // namespace
} // namespace velq::kit

// Measuring with the engine: what training off and on mean, stores kept apart, the counting, the learning curve and the
// page that shows it.
#include "kit/base/status.h"
#include "kit/evaluation/evaluation.h"
#include "kit/evaluation/report_html.h"
#include "kit/store/store_text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

Store smallStore()
{
    Store store;
    for (const char16_t *token : {u"win", u"free", u"cash", u"prize"}) {
        store.tokens[std::u16string(token).substr(0, 4)] = {50, 0};
    }
    for (const char16_t *token : {u"home", u"meet", u"soon", u"mum"}) {
        store.tokens[token] = {0, 50};
    }
    store.spamMessages = 100;
    store.hamMessages = 100;
    return store;
}

TestMessage spam(const std::u16string &text)
{
    return {true, text, 0, 1};
}

TestMessage ham(const std::u16string &text)
{
    return {false, text, 0, 1};
}

std::vector<const TestMessage *> pointersTo(const std::vector<TestMessage> &messages)
{
    std::vector<const TestMessage *> pointers;
    for (const TestMessage &message : messages) {
        pointers.push_back(&message);
    }
    return pointers;
}

// Two of each rating: spam, ham, and unsure for want of tokens.
std::vector<TestMessage> mixedMessages()
{
    return {spam(u"win free cash"),  spam(u"home meet soon today"), spam(u"nothing known is in this text"),
            ham(u"win cash prize"),  ham(u"mum home soon"),         ham(u"another text without any hint"),
            ham(u"home soon, meet!")};
}

EvaluationPart partOf(const Store &store, std::size_t messages)
{
    EvaluationPart part{contentsOf(store), {}, {}};
    for (std::size_t i = 0; i < messages; ++i) {
        part.test.push_back(i);
    }
    return part;
}

std::string dump(const StoreContents &contents)
{
    std::ostringstream out;
    writeStoreText(out, contents);
    return out.str();
}

TEST(evaluation, engine_rates_with_the_given_store)
{
    const std::vector<TestMessage> messages = mixedMessages();
    const EvaluationInstallation installation(contentsOf(smallStore()));
    const EngineRun run = installation.rate(pointersTo(messages));
    EXPECT_EQ(run.ratings, (std::vector<Rating>{Rating::spam, Rating::ham, Rating::unsure, Rating::spam, Rating::ham,
                                                Rating::unsure, Rating::ham}));
    EXPECT_GT(run.seconds, 0);
}

TEST(evaluation, training_on_lets_the_store_learn)
{
    const std::vector<TestMessage> messages = {spam(u"win free cash")};
    const EvaluationInstallation installation(contentsOf(smallStore()));
    installation.rate(pointersTo(messages));
    const Store learned = modelOf(installation.store());
    EXPECT_EQ(learned.tokens.at(u"free").spam, 51U);
    EXPECT_EQ(learned.spamMessages, 101U);
}

TEST(evaluation, training_off_leaves_the_store_as_it_is)
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
TEST(evaluation, ratings_with_training_off_do_not_depend_on_the_order)
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

TEST(evaluation, counts_agree_with_the_ratings)
{
    const std::vector<TestMessage> messages = mixedMessages();
    EvaluationPart part = partOf(smallStore(), messages.size());
    const EvaluationResult result = evaluate(messages, 1, [&](std::size_t) { return part; }, {});
    EXPECT_EQ(result.trainingOff.all, (ConfusionCounts{{1, 1, 1}, {1, 2, 1}}));
    EXPECT_EQ(result.trainingOff.parts, std::vector<ConfusionCounts>{result.trainingOff.all});
    EXPECT_EQ(result.trainingOff.corpora, std::vector<ConfusionCounts>{result.trainingOff.all});
    EXPECT_FALSE(result.trainingKnown);
    EXPECT_EQ(result.disagreements, 0U);
    EXPECT_EQ(result.scores.size(), messages.size());
}

TEST(evaluation, texts_that_stand_in_the_training_part_are_counted_apart)
{
    std::vector<TestMessage> messages = mixedMessages();
    EvaluationPart part = partOf(smallStore(), messages.size());
    messages.push_back(spam(u"win free cash"));
    messages.push_back(ham(u"home soon meet!")); // almost the same is not the same
    part.training = {messages.size() - 2, messages.size() - 1};
    const EvaluationResult result = evaluate(messages, 1, [&](std::size_t) { return part; }, {});
    EXPECT_TRUE(result.trainingKnown);
    EXPECT_EQ(result.seenTexts, 1U);
    EXPECT_EQ(result.trainingOff.unseen, (ConfusionCounts{{0, 1, 1}, {1, 2, 1}}));
    EXPECT_EQ(result.trainingOff.all, (ConfusionCounts{{1, 1, 1}, {1, 2, 1}}));
}

TEST(evaluation, each_part_is_rated_with_its_own_prior)
{
    // Neutral tokens only: the prior alone decides.
    Store neutral;
    neutral.tokens = {{u"aaa", {1, 1}}, {u"bbb", {1, 1}}, {u"ccc", {1, 1}}};
    neutral.spamMessages = 10;
    neutral.hamMessages = 10;
    const std::vector<TestMessage> messages = {ham(u"aaa bbb ccc and so on and so on")};
    std::vector<ConfusionCounts> counts = evaluate(messages, 3,
                                                   [&](std::size_t number) {
                                                       constexpr std::uint32_t priors[] = {950000, 300000, 0};
                                                       neutral.priorMillionths = priors[number];
                                                       return partOf(neutral, 1);
                                                   },
                                                   {})
                                              .trainingOff.parts;
    EXPECT_EQ(counts, (std::vector<ConfusionCounts>{{{}, {1, 0, 0}}, {{}, {0, 1, 0}}, {{}, {0, 0, 1}}}));
}

TEST(evaluation, corpora_are_counted_apart)
{
    std::vector<TestMessage> messages = mixedMessages();
    for (std::size_t i = 3; i < messages.size(); ++i) {
        messages[i].corpus = 1;
    }
    EvaluationOptions options;
    options.corpora = 2;
    const EvaluationResult result = evaluate(
        messages, 1, [&](std::size_t) { return partOf(smallStore(), messages.size()); }, options);
    EXPECT_EQ(result.trainingOff.corpora, (std::vector<ConfusionCounts>{{{1, 1, 1}, {}}, {{}, {1, 2, 1}}}));
}

TEST(evaluation, errors_carry_what_the_engine_saw)
{
    const std::vector<TestMessage> messages = mixedMessages();
    EvaluationOptions options;
    options.mostErrors = 10;
    const EvaluationResult result = evaluate(
        messages, 1, [&](std::size_t) { return partOf(smallStore(), messages.size()); }, options);
    ASSERT_EQ(result.errors.size(), 3U); // unsure ham is no error
    EXPECT_EQ(result.errors[0].message, 1U);
    EXPECT_EQ(result.errors[0].rating, Rating::ham);
    EXPECT_EQ(result.errors[0].explanation.step, DecidingStep::classifier);
    EXPECT_EQ(result.errors[0].explanation.tokens.size(), 3U);
    EXPECT_EQ(result.errors[1].explanation.step, DecidingStep::fewTokens);
    EXPECT_EQ(result.errors[2].rating, Rating::spam);
}

TEST(evaluation, engine_trouble_ends_it_with_an_error)
{
    const std::vector<TestMessage> messages = {{true, std::u16string(u"text of some length"), 0, 1}};
    EXPECT_THROW(
        evaluate(messages, 1, [](std::size_t) -> EvaluationPart { throw Error(Status::badData, "no store"); }, {}),
        Error);
}

// ---- Learning curve ----

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

TEST(learning_curve, correction_and_its_reverse_restore_the_counts)
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

// ---- Page ----

TEST(report_page, text_of_messages_cannot_become_markup)
{
    EXPECT_EQ(htmlText("<b a=\"x\" c='y'>&\x01\n"), "&lt;b a=&quot;x&quot; c=&#39;y&#39;&gt;&amp; \n");
    const std::vector<TestMessage> messages = {ham(u"win <script>free</script> cash & \"prize\""),
                                               spam(u"home meet soon " + std::u16string(1, char16_t{0xD800}))};
    EvaluationOptions options;
    options.mostErrors = 10;
    const EvaluationResult result = evaluate(
        messages, 1, [&](std::size_t) { return partOf(smallStore(), messages.size()); }, options);
    const std::string page = reportPage({"a <title>", {"x & y"}, {"<file>"}, messages, result, {}});
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_NE(page.find("win &lt;script&gt;free&lt;/script&gt; cash &amp; &quot;prize&quot;"), std::string::npos);
    EXPECT_NE(page.find("home meet soon \uFFFD"), std::string::npos);
    EXPECT_NE(page.find("<title>a &lt;title&gt;</title>"), std::string::npos);
    EXPECT_NE(page.find("&lt;file&gt;:1"), std::string::npos);
    EXPECT_NE(page.find("<h2>Ham rated spam: 1</h2>"), std::string::npos);
    EXPECT_NE(page.find("<h2>Spam not rated spam: 1</h2>"), std::string::npos);
}

TEST(report_page, no_messages_of_a_class_make_a_page_all_the_same)
{
    const std::vector<TestMessage> messages = {ham(u"home meet soon")};
    const EvaluationResult result =
        evaluate(messages, 1, [&](std::size_t) { return partOf(smallStore(), messages.size()); }, {});
    const std::string page = reportPage({"t", {}, {"f"}, messages, result, {}});
    EXPECT_EQ(page.find("nan"), std::string::npos);
    EXPECT_EQ(page.find("inf\""), std::string::npos);
    EXPECT_NE(page.find("</html>"), std::string::npos);
}

} // namespace
} // namespace velq::kit

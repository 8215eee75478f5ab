// velq evaluate on invented messages: what is counted, printed and refused.
#include "cli/fixtures.h"

#include <nlohmann/json.hpp>

namespace velq::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

using evaluate_command = DataCommands;
using evaluate_inputs = Robustness;

TEST_F(evaluate_command, counts_every_message_once_over_the_folds)
{
    const CommandResult result = velq({"evaluate", "--plain", "--random-folds", "--folds", "4", "--json", corpus()});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["messages"], (Json{{"spam", 80}, {"ham", 160}}));
    EXPECT_EQ(json["scoreDisagreements"], 0);
    for (const char *run : {"trainingOff", "trainingOn"}) {
        EXPECT_EQ(json[run]["spam"]["all"], 80);
        EXPECT_EQ(json[run]["ham"]["all"], 160);
        ASSERT_EQ(json[run]["parts"].size(), 4U);
        for (const Json &part : json[run]["parts"]) {
            EXPECT_EQ(part["spam"]["all"], 20);
            EXPECT_EQ(part["ham"]["all"], 40);
        }
        for (const auto &[name, value] : json[run]["metrics"].items()) {
            EXPECT_GE(value, name == "MCC" ? -1.0 : 0.0) << name;
            EXPECT_LE(value, 1.0) << name;
        }
        EXPECT_GT(json[run]["metrics"]["accuracy"], 0.9);
        EXPECT_GT(json[run]["messagesPerSecond"], 0);
    }
}

TEST_F(evaluate_command, same_seed_gives_the_same_figures)
{
    const auto figures = [&](const char *seed) {
        Json json = Json::parse(velq({"evaluate", "--plain", "--folds", "3", "--seed", seed, "--json", corpus()}).out);
        json["trainingOff"].erase("messagesPerSecond");
        json["trainingOn"].erase("messagesPerSecond");
        return json;
    };
    EXPECT_EQ(figures("1"), figures("1"));
    EXPECT_NE(figures("1")["method"], figures("2")["method"]);
}

TEST_F(evaluate_command, split_test_file_and_store_choose_what_is_tested)
{
    const auto tested = [](const CommandResult &result) {
        EXPECT_EQ(result.status, 0) << result.err;
        const Json json = Json::parse(result.out);
        return json["trainingOff"]["spam"]["all"].get<int>() + json["trainingOff"]["ham"]["all"].get<int>();
    };
    EXPECT_EQ(tested(velq({"evaluate", "--plain", "--split", "first:200", "--json", corpus()})), 40);
    EXPECT_EQ(tested(velq({"evaluate", "--plain", "--test", corpus(30, 2), "--json", corpus()})), 30);
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "-o", path("s.bin")}).status, 0);
    const CommandResult result = velq({"evaluate", "--store", path("s.bin"), "--json", corpus(30, 2)});
    EXPECT_EQ(tested(result), 30);
    EXPECT_TRUE(Json::parse(result.out)["trainingOff"]["newTexts"].is_null());
}

TEST_F(evaluate_command, texts_known_from_training_are_left_out_of_the_second_count)
{
    const std::string messages = inventedMessages(90, 3);
    const std::string first = messages.substr(0, messages.find('\n') + 1); // spam
    const CommandResult result = velq(
        {"evaluate", "--plain", "--split", "first:90", "--json", file("m.tsv", messages + first + "ham\tquite new\n")});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["textsSeenInTraining"], 1);
    EXPECT_EQ(json["trainingOff"]["spam"]["all"], 1);
    EXPECT_EQ(json["trainingOff"]["newTexts"]["spam"]["all"], 0);
    EXPECT_EQ(json["trainingOff"]["newTexts"]["ham"]["all"], 1);
}

TEST_F(evaluate_command, prints_tables_for_people)
{
    const CommandResult result = velq({"evaluate", "--plain", "--folds", "2", corpus(), corpus(30, 2)});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char *part :
         {"2 stratified folds that keep near-duplicates together (", "mean over the sources", "rated spam",
          "SC (recall)", "off, new texts", "mean, off", "messages a second", "messages-30-2.tsv"}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
    }
    EXPECT_EQ(result.err, "");
}

TEST_F(evaluate_command, each_source_can_be_tested_with_what_the_others_teach)
{
    const CommandResult result =
        velq({"evaluate", "--plain", "--leave-one-source-out", "--json", corpus(), corpus(30, 2)});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_GT(json["clusters"], 1);
    ASSERT_EQ(json["trainingOff"]["parts"].size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(json["trainingOff"]["parts"][i]["spam"], json["trainingOff"]["corpora"][i]["spam"]);
        EXPECT_EQ(json["trainingOff"]["parts"][i]["ham"], json["trainingOff"]["corpora"][i]["ham"]);
    }
    EXPECT_EQ(json["trainingOff"]["meanOverCorpora"], json["trainingOff"]["mean"]);
}

TEST_F(evaluate_command, learning_curve_is_measured_from_a_store)
{
    ASSERT_EQ(velq({"store", "build", "--plain", corpus(), "-o", path("s.bin")}).status, 0);
    const CommandResult result = velq({"evaluate", "--store", path("s.bin"), "--without-counts", "--corrections",
                                       "0,10,60", "--json", corpus(120, 4)});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json curve = Json::parse(result.out)["corrections"];
    ASSERT_EQ(curve.size(), 3U);
    EXPECT_EQ(curve[2]["made"], 60);
    EXPECT_EQ(curve[0]["spam"]["all"], curve[2]["spam"]["all"]);
    EXPECT_LT(curve[2]["error"], curve[0]["error"]);
}

TEST_F(evaluate_command, trade_off_goes_over_the_cost_of_blocked_ham)
{
    const std::vector<std::string> evaluate = {"evaluate", "--folds", "2", "--trade-off", "--at-least-clusters=1",
                                               corpus(60)};
    std::vector<std::string> arguments = evaluate;
    arguments.insert(arguments.end(), {"--json", "--report", path("r.html")});
    const CommandResult result = velq(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    const Json points = Json::parse(result.out)["tradeOff"];
    ASSERT_EQ(points.size(), 5U);
    for (std::size_t i = 1; i < points.size(); ++i) {
        EXPECT_GT(points[i]["costBlocked"], points[i - 1]["costBlocked"]);
        EXPECT_TRUE(points[i]["BH"].is_number() && points[i]["SC"].is_number() && points[i]["unsureHam"].is_number());
    }
    EXPECT_NE(readFile(path("r.html")).find("Trade-off over the cost of blocked ham"), std::string::npos);
    EXPECT_NE(velq(evaluate).out.find("cost of blocked ham"), std::string::npos);
    EXPECT_TRUE(
        Json::parse(velq({"evaluate", "--plain", "--folds", "2", "--json", corpus(60)}).out)["tradeOff"].empty());
}

TEST_F(evaluate_command, written_messages_train_and_are_not_tested)
{
    fs::create_directory(path("written"));
    file("written/en_bank.tsv", "ham\tyour balance is {d:4} today\nspam\tyour card is locked, call {d:9}\n");
    const CommandResult result =
        velq({"evaluate", "--folds", "2", "--written", path("written"), "--variants", "3", "--json", corpus(60)});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["messages"], (Json{{"spam", 20}, {"ham", 40}}));
    EXPECT_NE(json["method"].get<std::string>().find("6 written messages"), std::string::npos);
    expectFailure(velq({"evaluate", "--written", path("none"), corpus(60)}), noInput, "none");
}

TEST_F(evaluate_command, texts_are_rated_raw_with_stores_of_both_forms_on_request)
{
    std::string messages;
    for (int i = 0; i < 40; ++i) {
        const std::string own = std::to_string(i * 7919);
        messages += "spam\tCL\u00C0IM your pr\u0456ze " + own + " now\nham\tSee you at home soon " + own + "\n";
    }
    const std::string mixed = file("mixed.tsv", messages);
    const CommandResult result =
        velq({"evaluate", "--random-folds", "--folds", "2", "--rate-raw", "--at-least-clusters=1", "--json", mixed});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(Json::parse(result.out)["method"].get<std::string>().find("rated as they are"), std::string::npos);
    EXPECT_GT(Json::parse(result.out)["trainingOff"]["metrics"]["accuracy"], 0.9);
}

TEST_F(evaluate_command, learning_curve_is_added_up_over_folds_and_sources)
{
    for (const std::vector<std::string> &parts :
         {std::vector<std::string>{"--folds", "3", corpus()},
          std::vector<std::string>{"--leave-one-source-out", corpus(), corpus(120, 4), corpus(60, 5)}}) {
        std::vector<std::string> arguments = {"evaluate", "--plain", "--corrections", "0,10"};
        arguments.insert(arguments.end(), parts.begin(), parts.end());
        const CommandResult text = velq(arguments);
        EXPECT_NE(text.out.find("so many corrections of each store, the 3 "), std::string::npos) << text.out;
        arguments.emplace_back("--json");
        const CommandResult result = velq(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        const Json json = Json::parse(result.out);
        const Json &curve = json["corrections"];
        ASSERT_EQ(curve.size(), 2U);
        EXPECT_EQ(curve[1]["made"], 10);
        const auto all = [](const Json &counts) {
            return counts["spam"]["all"].get<int>() + counts["ham"]["all"].get<int>();
        };
        EXPECT_EQ(all(curve[0]), all(json["trainingOff"]) - 3 * 10);
        EXPECT_EQ(all(curve[1]), all(curve[0]));
    }
}

TEST_F(evaluate_command, says_what_the_figures_count)
{
    const CommandResult result = velq({"evaluate", "--plain", "--folds", "2", corpus()});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char *line : {"\nSC         spam caught", "\nBH         blocked ham", "unsure ham is not blocked",
                             "\naccuracy   spam rated spam and ham not rated spam", "\nMCC        correlation"}) {
        EXPECT_NE(result.out.find(line), std::string::npos) << line;
    }
}

TEST_F(evaluate_command, says_what_is_wrong)
{
    const std::string messages = corpus();
    expectFailure(velq({"evaluate", "--folds", "3", "--split", "first:5", messages}), badUsage, "give one of");
    expectFailure(velq({"evaluate", "--folds", "1", messages}), badUsage, "--folds 1");
    expectFailure(velq({"evaluate", "--random-folds", "--split", "first:5", messages}), badUsage, "--random-folds");
    expectFailure(velq({"evaluate", "--leave-one-source-out", "--folds", "3", messages}), badUsage, "give one of");
    expectFailure(velq({"evaluate", "--leave-one-source-out", messages}), badUsage, "at least two files");
    expectFailure(velq({"evaluate", "--split", "5", messages}), badUsage, "first:N");
    expectFailure(velq({"evaluate", "--split", "first:0", messages}), badUsage, "first:N");
    expectFailure(velq({"evaluate", "--split", "first:9999", messages}), badData, "no messages are left");
    expectFailure(velq({"evaluate", "--corrections", "1000", messages}), badUsage,
                  "1000 corrections leave none of the");
    expectFailure(velq({"evaluate", "--without-counts", messages}), badUsage, "--without-counts");
    expectFailure(velq({"evaluate", "--only-errors", messages}), badUsage, "--only-errors");
    expectFailure(velq({"evaluate", "--plain", "--trade-off", messages}), badUsage, "--trade-off");
    expectFailure(velq({"evaluate", "--cost-unsure=x", messages}), badUsage, "--cost-unsure");
    expectFailure(velq({"evaluate", path("none.tsv")}), noInput, "none.tsv");
    expectFailure(velq({"evaluate", "--store", path("none.bin"), messages}), noInput, "none.bin");
    expectFailure(velq({"evaluate", file("empty.tsv", "")}), badData, "no messages");
    const std::string some = store("some.bin", "messages\t5\t5\ntokens\nab\t1\t1\n");
    expectFailure(velq({"evaluate", "--store", some, "--corrections", "10,5", messages}), badUsage, "ascend");
    expectFailure(velq({"evaluate", "--store", some, "--corrections", "500", messages}), badUsage, "500 corrections");
    expectFailure(velq({"evaluate", "--store", some, "--report", path("no/r.html"), messages}), cannotCreate, "no/r");
}

TEST_F(evaluate_inputs, figures_of_a_missing_class_are_null_and_dashes)
{
    const std::string ham = file("ham.tsv", "ham\tsee you at home\nham\tdinner at eight\n");
    const Json metrics =
        Json::parse(velq({"evaluate", "--store", store(), "--json", ham}).out)["trainingOff"]["metrics"];
    EXPECT_TRUE(metrics["SC"].is_null());
    EXPECT_TRUE(metrics["MCC"].is_null());
    EXPECT_TRUE(metrics["BH"].is_number());
    const std::string text = velq({"evaluate", "--store", store(), ham}).out;
    EXPECT_NE(text.find("SC (recall)                      -               -\n"), std::string::npos) << text;
}

} // namespace
} // namespace velq::test

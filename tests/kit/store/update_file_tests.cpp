// Update files of both kinds: what they hold, and what the engine's own merge makes of them.
#include "kit/base/status.h"
#include "kit/store/store_text.h"
#include "kit/store/update_file.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "velq.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

namespace fs = std::filesystem;
using test::Installation;

StoreContents storeOf(const std::string &lines)
{
    std::istringstream in("velq-store 1\n" + lines + "end\n");
    return readStoreText(in, "store");
}

std::string textOf(const StoreContents &contents)
{
    std::ostringstream out;
    writeStoreText(out, contents);
    const std::string text = out.str();
    return text.substr(text.find('\n') + 1, text.size() - text.find('\n') - 1 - std::string("end\n").size());
}

std::vector<std::string> shown(const std::vector<StoreProblem> &problems)
{
    std::vector<std::string> lines;
    for (const StoreProblem &problem : problems) {
        lines.push_back(problem.where + ": " + problem.what);
    }
    return lines;
}

void replaceStore(const Installation &installation, const StoreContents &contents)
{
    fs::remove(installation.dataFile("prob.bin"));
    writeStoreContents(installation.dataFile("prob.bin"), contents);
}

// The old store after the engine merged the difference to the new one.
std::string engineMerge(const StoreContents &before, const StoreContents &after)
{
    const Installation installation;
    replaceStore(installation, before);
    const fs::path update = installation.folder() / "update.db";
    writeProbabilityUpdate(update, differenceOf(before, after).rows);
    const test::EngineSession session(installation);
    EXPECT_EQ(session.result(), 0);
    EXPECT_EQ(VELQ_UpdateData(test::widePath(update).c_str(), 7, nullptr, 0), VELQ_SUCCESS);
    EXPECT_EQ(installation.version(VELQ_DATA_PROBABILITY), 7);
    return textOf(readStoreContents(installation.dataFile("prob.bin")));
}

const char *const oldStore = "messages\t10\t20\nprior\t400000\ntokens\n"
                             "down\t9\t8\nfree\t5\t1\ngone\t3\t4\nkept\t2\t2\nres1\t1\t1\t7\nres2\t1\t1\t7\n";
const char *const newStore = "messages\t15\t18\nprior\t300000\ntokens\n"
                             "down\t2\t9\nfree\t6\t1\nkept\t2\t2\nnew1\t4\t0\nnew2\t0\t4\t5\nres1\t2\t1\t7\n"
                             "res2\t2\t1\t8\n\u514D\u8D39\t7\t7\n";

TEST(probability_update, merged_by_the_engine_gives_the_new_stores_counts)
{
    EXPECT_EQ(engineMerge(storeOf(oldStore), storeOf(newStore)),
              "messages\t15\t18\nprior\t300000\ntokens\n"
              "down\t2\t9\nfree\t6\t1\ngone\t0\t0\nkept\t2\t2\nnew1\t4\t0\nnew2\t0\t4\t5\nres1\t2\t1\t7\n"
              "res2\t2\t1\t7\n\u514D\u8D39\t7\t7\n");
}

TEST(probability_update, says_where_the_merge_cannot_reach_the_new_store)
{
    const StoreDifference difference = differenceOf(storeOf(oldStore), storeOf(newStore));
    EXPECT_EQ(shown(difference.deviations),
              (std::vector<std::string>{
                  "res2: the reserved word stays 7 instead of 8",
                  "gone: the token cannot be removed; its counts become 0, and texts are still cut at it"}));
    EXPECT_EQ(difference.added, 3U);
    EXPECT_EQ(difference.changed, 6U); // message counts, prior, down, free, res1, res2
    EXPECT_EQ(difference.zeroed, 1U);
    EXPECT_EQ(difference.lowered, 4U); // message counts, prior, down, gone
    EXPECT_TRUE(difference.changesPrior);
}

TEST(probability_update, predicted_merge_is_the_engines)
{
    const StoreContents before = storeOf(oldStore);
    const StoreContents after = storeOf(newStore);
    EXPECT_EQ(textOf(merged(before, differenceOf(before, after).rows)), engineMerge(before, after));
}

TEST(probability_update, special_records_are_delivered_to_a_store_without_them)
{
    const std::string after = "messages\t3\t4\nprior\t250000\ntokens\nab\t1\t2\n";
    EXPECT_EQ(engineMerge(storeOf("tokens\n"), storeOf(after)), after);
    EXPECT_TRUE(differenceOf(storeOf("tokens\n"), storeOf(after)).deviations.empty());
}

TEST(probability_update, removed_prior_becomes_a_record_of_zero)
{
    const StoreContents before = storeOf("prior\t250000\ntokens\n");
    EXPECT_EQ(engineMerge(before, storeOf("tokens\n")), "prior\t0\ntokens\n");
    EXPECT_EQ(shown(differenceOf(before, storeOf("tokens\n")).deviations),
              (std::vector<std::string>{
                  ".ROBX: the record cannot be removed; it is set to 0, which the engine reads as its default"}));
}

TEST(probability_update, equal_stores_give_an_empty_update_that_merges)
{
    const StoreContents store = storeOf(oldStore);
    EXPECT_TRUE(differenceOf(store, store).rows.empty());
    EXPECT_EQ(engineMerge(store, store), oldStore);
}

TEST(probability_update, rows_that_an_update_cannot_hold_are_named)
{
    const StoreDifference difference =
        differenceOf(storeOf("tokens\nshrt\tblob:01000000\na\\u0000\t1\t1\ntext\ttext:00\n"),
                     storeOf("tokens\nshrt\t1\t0\na\\u0000\t2\t1\n!text:6162\t1\t1\n!blob:616263\t1\t1\n"
                             "long\tblob:01000000020000000300000004\ntext\t1\t1\n"));
    EXPECT_EQ(shown(difference.deviations),
              (std::vector<std::string>{"!text:6162: an update cannot hold this row: it stays missing",
                                        "a\\u0000: an update cannot hold this key: the counts stay 1 spam, 1 ham",
                                        "!blob:616263: an update cannot hold this row: it stays missing",
                                        "long: the value's form stays another: 12 bytes instead of 13",
                                        "shrt: the value's form stays another: 4 bytes instead of 12",
                                        "text: a value that is not a blob cannot be delivered"}));
    ASSERT_EQ(difference.rows.size(), 1U);
    EXPECT_EQ(difference.rows[0], (ProbabilityRow{bytesOfUnits(u"long"), {1, 2, 3}}));
}

TEST(probability_update, same_stores_give_the_same_bytes)
{
    const test::TemporaryFolder folder;
    const auto bytes = [&](const char *name) {
        writeProbabilityUpdate(folder.path() / name, differenceOf(storeOf(oldStore), storeOf(newStore)).rows);
        std::ifstream in(folder.path() / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    EXPECT_EQ(bytes("a"), bytes("b"));
}

// ---- White numbers ----

std::vector<WhiteNumber> numbersOf(const std::string &csv)
{
    std::istringstream in(csv);
    return readWhiteNumbers(in, "numbers.csv");
}

std::vector<std::string> numbersIn(const std::vector<WhiteNumber> &rows)
{
    std::vector<std::string> numbers;
    for (const WhiteNumber &row : rows) {
        numbers.emplace_back(row.number.begin(), row.number.end());
    }
    return numbers;
}

std::string csvError(const std::string &csv)
{
    try {
        numbersOf(csv);
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), Status::badData);
        return error.what();
    }
    return "accepted";
}

TEST(white_update, reads_rows_with_and_without_a_header)
{
    for (const char *csv : {"13800000001,Ann\n13800000002,\n", "number,name\n13800000001,Ann\n13800000002,\n",
                            "Name,Number\nAnn,13800000001\n\"\",13800000002\n"}) {
        const std::vector<WhiteNumber> rows = numbersOf(csv);
        ASSERT_EQ(rows.size(), 2U) << csv;
        EXPECT_EQ(rows[0].number, u"13800000001");
        EXPECT_EQ(rows[0].name, u"Ann");
        EXPECT_EQ(rows[1].number, u"13800000002");
        EXPECT_EQ(rows[1].name, u"");
    }
}

TEST(white_update, refuses_rows_that_the_merge_could_not_take)
{
    const std::string digits29(29, '7');
    const std::string name29(29, 'n');
    EXPECT_EQ(csvError(digits29 + "," + name29 + "\n"), "accepted");
    EXPECT_EQ(csvError("1,a\n" + digits29 + "7,b\n"),
              "numbers.csv:2: the number has 30 units; at most 29 can be merged");
    EXPECT_EQ(csvError("1," + name29 + "n\n"), "numbers.csv:1: the name has 30 units; at most 29 can be merged");
    EXPECT_EQ(csvError("number,name\n1,a\n,b\n"), "numbers.csv:3: the number is empty");
    EXPECT_EQ(csvError("\uFF11\uFF12,b\n"), "numbers.csv:1: the number holds a character that is not printable ASCII");
    EXPECT_EQ(csvError("1 2,b\n"), "numbers.csv:1: the number holds a character that is not printable ASCII");
}

TEST(white_update, known_numbers_go_first_and_repeated_ones_are_left_out)
{
    Installation installation;
    {
        test::Database list = installation.open("wn.bin");
        list.query("INSERT INTO whiteList(hidden, number, name) VALUES(1, ?, ?);",
                   {test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("13"))), test::Value::ofBlob("")});
    }
    installation.addNumber(test::NumberList::white, "11"); // a user's own entry is not known to the merge
    const WhiteUpdatePlan plan =
        planWhiteUpdate(numbersOf("11,a\n12,b\n13,c\n12,d\n"), deliveredNumbers(installation.dataFile("wn.bin")));
    EXPECT_EQ(numbersIn(plan.rows), (std::vector<std::string>{"13", "11", "12"}));
    EXPECT_EQ(numbersIn(plan.repeated), std::vector<std::string>{"12"});
    EXPECT_EQ(plan.known, 1U);
}

TEST(white_update, merges_where_the_csv_order_would_have_failed)
{
    const Installation installation;
    const fs::path first = installation.folder() / "first.db";
    const fs::path second = installation.folder() / "second.db";
    writeWhiteUpdate(first, planWhiteUpdate(numbersOf("13800000001,Ann\n"), {}).rows);
    const test::EngineSession session(installation);
    ASSERT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(first).c_str(), 1), VELQ_SUCCESS);

    const std::vector<WhiteNumber> numbers = numbersOf("13800000002,Bob\n13800000001,Ann\n");
    writeWhiteUpdate(second, numbers); // in the file's own order
    EXPECT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(second).c_str(), 2), VELQ_ERR_FAILED);
    writeWhiteUpdate(second, planWhiteUpdate(numbers, deliveredNumbers(installation.dataFile("wn.bin"))).rows);
    EXPECT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(second).c_str(), 2), VELQ_SUCCESS);

    const test::Rows rows = installation.numberRows(test::NumberList::white);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1][1], test::Value::ofInteger(1));
    EXPECT_EQ(rows[1][2], test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("13800000002"))));
    EXPECT_EQ(rows[1][3], test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("Bob"))));
}

// ---- Looking at a file ----

TEST(update_inspection, tells_new_tokens_from_known_ones)
{
    const Installation installation;
    replaceStore(installation, storeOf(oldStore));
    const fs::path update = installation.folder() / "update.db";
    writeProbabilityUpdate(update, differenceOf(storeOf(oldStore), storeOf(newStore)).rows);
    const UpdateReport report = inspectUpdate(update, installation.dataFile("prob.bin"), {});
    EXPECT_TRUE(report.hasTokens);
    EXPECT_FALSE(report.hasNumbers);
    EXPECT_EQ(report.tokenRows, 10U);
    EXPECT_EQ(report.newTokens, 3U);
    EXPECT_EQ(report.knownTokens, 7U);
    EXPECT_TRUE(report.problems.empty());
    EXPECT_TRUE(report.remarks.empty());
}

TEST(update_inspection, finds_counts_that_would_wrap)
{
    const Installation installation;
    replaceStore(installation, storeOf("tokens\ndown\t2\t9\n"));
    const fs::path update = installation.folder() / "update.db";
    writeProbabilityUpdate(update, {{bytesOfUnits(u"down"), {static_cast<std::uint32_t>(-7), 1, 0}}});
    EXPECT_EQ(shown(inspectUpdate(update, installation.dataFile("prob.bin"), {}).remarks),
              (std::vector<std::string>{"row 1 (down): the counts become 4294967291 spam, 10 ham: the store has less "
                                        "than the update takes away"}));
}

TEST(update_inspection, finds_token_rows_on_which_the_merge_fails)
{
    const Installation installation;
    const fs::path update = installation.folder() / "update.db";
    const std::string good = test::tokenValueBytes({1, 2, 0});
    test::makeProbabilityUpdate(
        update, {{test::Value::ofBlob(test::utf16Bytes(VELQ_TEXT("ab"))), test::Value::ofBlob(good)},
                 {test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("cd"))), test::Value::ofBlob("short")},
                 {test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("x"))), test::Value::ofBlob(good)}});
    const UpdateReport report = inspectUpdate(update, {}, {});
    EXPECT_EQ(shown(report.problems), (std::vector<std::string>{"row 1: the key is not ended by a zero unit",
                                                                "row 2 (cd): the value has 5 bytes; 12 are needed"}));
    EXPECT_EQ(shown(report.remarks),
              (std::vector<std::string>{"row 3 (x): tokens have 2 to 4 units; this one is never looked up"}));
    const test::EngineSession session(installation);
    EXPECT_EQ(VELQ_UpdateData(test::widePath(update).c_str(), 1, nullptr, 0), VELQ_ERR_FAILED);
}

TEST(update_inspection, agrees_with_the_merge_about_white_numbers)
{
    const std::string thirty(30, '5');
    const auto row = [](const std::string &number) {
        return test::WhiteNumberRow{test::Value::ofBlob(test::utf16BytesWithTerminator(test::wide(number))),
                                    test::Value::ofBlob(test::utf16BytesWithTerminator(VELQ_TEXT("n")))};
    };
    const std::pair<std::vector<test::WhiteNumberRow>, std::vector<std::string>> cases[] = {
        {{}, {}},
        {{row("1"), row("2")}, {}},
        {{row("1"), row("1"), row("2")}, {}},
        {{row("1"), row("2"), row("1")}, {"row 3: the last number is known already: the merge takes back all rows"}},
        {{row(thirty), row("2")}, {"row 1: the number has 30 units; at most 29 can be merged"}},
        {{row("9")}, {"row 1: the last number is known already: the merge takes back all rows"}},
    };
    for (const auto &[rows, problems] : cases) {
        const Installation installation;
        {
            test::Database list = installation.open("wn.bin");
            list.query("INSERT INTO whiteList(hidden, number, name) VALUES(1, ?, ?);",
                       {row("9").number, row("9").name});
        }
        const fs::path update = installation.folder() / "update.db";
        test::makeWhiteNumberUpdate(update, rows);
        EXPECT_EQ(shown(inspectUpdate(update, {}, installation.dataFile("wn.bin")).problems), problems);
        const test::EngineSession session(installation);
        EXPECT_EQ(VELQ_UpdateData(nullptr, 0, test::widePath(update).c_str(), 1),
                  problems.empty() ? VELQ_SUCCESS : VELQ_ERR_FAILED);
    }
}

TEST(update_inspection, other_databases_are_no_updates)
{
    const Installation installation;
    try {
        inspectUpdate(installation.dataFile("prob.bin"), {}, {});
        FAIL() << "accepted";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), Status::badData);
    }
}

} // namespace
} // namespace velq::kit

// Data updates through the library: what the two merges leave in the stores, the versions, and the trace.
#include "api/front_helpers.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"
#include "support/wide.h"
#include "velq.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace velq::test {
namespace {

using Texts = std::vector<std::string>;

const Texts recordedVersion = {"VELQ_Update\t**********Enter db_UpdateVersion!********",
                               "VELQ_Update\t**********OK: Leave db_UpdateVersion!********"};

constexpr std::int32_t probVersion = 41;
constexpr std::int32_t wnVersion = 42;

class Update : public StartedByTest {
  protected:
    std::filesystem::path probFile() const
    {
        return installation.folder() / "prob-update.db";
    }
    std::filesystem::path wnFile() const
    {
        return installation.folder() / "wn-update.db";
    }

    std::int32_t updateProb() const
    {
        return VELQ_UpdateData(widePath(probFile()).c_str(), probVersion, nullptr, wnVersion);
    }
    std::int32_t updateWn() const
    {
        return VELQ_UpdateData(nullptr, probVersion, widePath(wnFile()).c_str(), wnVersion);
    }
    std::int32_t updateBoth() const
    {
        return VELQ_UpdateData(widePath(probFile()).c_str(), probVersion, widePath(wnFile()).c_str(), wnVersion);
    }

    void expectVersions(int prob, int wn) const
    {
        EXPECT_EQ(installation.version(0), prob);
        EXPECT_EQ(installation.version(1), wn);
        EXPECT_EQ(installation.version(2), 1);
    }

    Rows whiteRows() const
    {
        return installation.numberRows(NumberList::white);
    }
};

INSTANTIATE_TEST_SUITE_P(BothVariants, Update, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

Row deliveredRow(int uid, const std::string &number, const std::string &name)
{
    return {Value::ofInteger(uid), Value::ofInteger(1), Value::ofBlob(utf16BytesWithTerminator(wide(number))),
            Value::ofBlob(utf16BytesWithTerminator(wide(name))), Value::ofNull()};
}

// ---- Probability data

TEST_P(Update, inserts_new_tokens_whole_and_adds_to_known_ones)
{
    installation.addToken(wide("known"), 10, 20, 30);
    makeProbabilityUpdate(probFile(),
                          {probabilityRow(wide("known"), {1, 2, 3}), probabilityRow(wide("new"), {4, 5, 6})});
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.tokenValue(utf16Bytes(wide("known"))),
              Value::ofBlob(bytes({11, 0, 0, 0, 22, 0, 0, 0, 30, 0, 0, 0})));
    EXPECT_EQ(installation.tokenValue(utf16Bytes(wide("new"))),
              Value::ofBlob(bytes({4, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0})));
    expectVersions(probVersion, 1);
}

TEST_P(Update, counts_wrap_at_32_bits)
{
    installation.addToken(wide("aa"), 0xFFFFFFFF, 0x80000000, 7);
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("aa"), {2, 0x80000001, 9})});
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.token(wide("aa")), (TokenCounts{1, 1, 7}));
}

TEST_P(Update, key_that_occurs_twice_is_merged_twice)
{
    makeProbabilityUpdate(probFile(),
                          {probabilityRow(wide("aa"), {1, 2, 3}), probabilityRow(wide("aa"), {10, 20, 30})});
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.token(wide("aa")), (TokenCounts{11, 22, 3}));
}

TEST_P(Update, message_counts_are_merged_like_any_token)
{
    installation.setMessageCounts(100, 200, 3);
    makeProbabilityUpdate(probFile(), {probabilityRow(wide(".MSG_CNT"), {5, 6, 0})});
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.messageCounts(), (TokenCounts{105, 206, 3}));
}

TEST_P(Update, key_ends_at_its_first_zero_unit_and_value_at_twelve_bytes)
{
    makeProbabilityUpdate(probFile(), {{Value::ofBlob(utf16Bytes(WideText(VELQ_TEXT("ab\0cd\0"), 6))),
                                        Value::ofBlob(tokenValueBytes({1, 2, 3}) + "extra")}});
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.open("prob.bin").query("SELECT key, value FROM velqTable;"),
              (Rows{{Value::ofBlob(utf16Bytes(wide("ab"))), Value::ofBlob(tokenValueBytes({1, 2, 3}))}}));
}

TEST_P(Update, empty_files_merge_nothing_and_record_their_versions)
{
    makeProbabilityUpdate(probFile(), {});
    makeWhiteNumberUpdate(wnFile(), {});
    start();
    EXPECT_EQ(updateBoth(), 0);
    expectVersions(probVersion, wnVersion);
    EXPECT_TRUE(whiteRows().empty());
}

// ---- White numbers

TEST_P(Update, inserts_new_white_numbers_as_hidden_utf16_records)
{
    const std::string longest = "12345678901234567890123456789";
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("10010"), wide("Operator")),
                                     whiteNumberRow(wide(longest), wide("Abcdefghijklmnopqrstuvwxyzabc")),
                                     whiteNumberRow({}, {})});
    start();
    EXPECT_EQ(updateWn(), 0);
    EXPECT_EQ(whiteRows(), (Rows{deliveredRow(1, "10010", "Operator"),
                                 deliveredRow(2, longest, "Abcdefghijklmnopqrstuvwxyzabc"), deliveredRow(3, "", "")}));
    expectVersions(1, wnVersion);
}

TEST_P(Update, number_that_occurs_twice_is_inserted_once)
{
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a")), whiteNumberRow(wide("1"), wide("b")),
                                     whiteNumberRow(wide("2"), wide("c"))});
    start();
    EXPECT_EQ(updateWn(), 0);
    EXPECT_EQ(whiteRows(), (Rows{deliveredRow(1, "1", "a"), deliveredRow(2, "2", "c")}));
}

TEST_P(Update, known_last_number_rolls_everything_back)
{
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    start();
    ASSERT_EQ(updateWn(), 0);
    std::filesystem::remove(wnFile());
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("2"), wide("b")), whiteNumberRow(wide("1"), wide("a"))});
    const Texts before = installation.open("wn.bin").dump();
    installation.setVersion(1, 7);
    EXPECT_EQ(updateWn(), VELQ_ERR_FAILED);
    EXPECT_EQ(installation.open("wn.bin").dump(), before);
    expectVersions(1, 7);
}

TEST_P(Update, number_added_by_the_user_is_not_known_to_the_merge)
{
    installation.addNumber(NumberList::white, "10010", 0, wide("mine"), 5);
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("10010"), wide("theirs"))});
    start();
    EXPECT_EQ(updateWn(), 0);
    const Rows rows = whiteRows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0][2], Value::ofText(storedNumber("10010")));
    EXPECT_EQ(rows[1], deliveredRow(2, "10010", "theirs"));
}

TEST_P(Update, texts_end_at_their_first_zero_unit)
{
    makeWhiteNumberUpdate(wnFile(), {{Value::ofBlob(utf16Bytes(WideText(VELQ_TEXT("12\0"
                                                                                  "34\0"),
                                                                        6))),
                                      Value::ofBlob(utf16Bytes(WideText(VELQ_TEXT("ab\0\0\0"), 5)) + "x")}});
    start();
    EXPECT_EQ(updateWn(), 0);
    EXPECT_EQ(whiteRows(), (Rows{deliveredRow(1, "12", "ab")}));
}

// ---- Rows that are not as they should be: the merge fails and nothing stays

WideText units(std::size_t count)
{
    return WideText(count, VELQ_TEXT('7'));
}

TEST_P(Update, refuses_bad_probability_rows)
{
    const Value goodKey = Value::ofBlob(utf16BytesWithTerminator(wide("aa")));
    const Value goodValue = Value::ofBlob(tokenValueBytes({1, 1, 1}));
    const struct {
        const char *what;
        ProbabilityRow row;
    } bad[] = {{"no value byte", {goodKey, Value::ofBlob("")}},
               {"eleven value bytes", {goodKey, Value::ofBlob(std::string(11, '\1'))}},
               {"null value", {goodKey, Value::ofNull()}},
               {"integer value", {goodKey, Value::ofInteger(1)}},
               {"short text value", {goodKey, Value::ofText("abc")}},
               {"null key", {Value::ofNull(), goodValue}},
               {"empty key", {Value::ofBlob(""), goodValue}},
               {"key of one byte", {Value::ofBlob(std::string(1, '\0')), goodValue}},
               {"key without zero unit", {Value::ofBlob(utf16Bytes(wide("aa"))), goodValue}},
               {"zero bytes across units only", {Value::ofBlob(bytes({0x61, 0, 0, 0x62})), goodValue}},
               {"half a zero unit", {Value::ofBlob(bytes({0x61, 0, 0})), goodValue}},
               {"integer key", {Value::ofInteger(61), goodValue}},
               {"huge key without zero unit", {Value::ofBlob(std::string(300000, 'a')), goodValue}}};
    installation.addToken(wide("kk"), 5, 5, 5);
    start();
    const Texts before = installation.open("prob.bin").dump();
    for (const auto &one : bad) {
        std::filesystem::remove(probFile());
        makeProbabilityUpdate(probFile(), {probabilityRow(wide("kk"), {1, 1, 1}), probabilityRow(wide("nn"), {1, 1, 1}),
                                           one.row, probabilityRow(wide("zz"), {1, 1, 1})});
        newLines();
        EXPECT_EQ(updateProb(), VELQ_ERR_FAILED) << one.what;
        EXPECT_EQ(installation.open("prob.bin").dump(), before) << one.what;
        const Texts lines = newLines();
        ASSERT_EQ(lines.size(), 2U) << one.what;
        EXPECT_TRUE(lines[0].starts_with("VELQ_WL_Store\tError: ")) << lines[0];
        EXPECT_EQ(lines[1], "VELQ_WL_Store\t**********Error: Leave db_MergeDiff2ProbTable()!********");
    }
    expectVersions(1, 1);
}

TEST_P(Update, takes_unusual_but_complete_probability_rows)
{
    // A text value's bytes count like a blob's; an odd byte behind the zero unit does not matter; keys may be long.
    const WideText longKey = units(100000);
    makeProbabilityUpdate(
        probFile(),
        {{Value::ofText(utf16BytesWithTerminator(wide("aa"))), Value::ofText("abcdefghijkl")},
         {Value::ofBlob(utf16BytesWithTerminator(wide("bb")) + "x"), Value::ofBlob(tokenValueBytes({1, 2, 3}))},
         probabilityRow(longKey, {4, 5, 6}),
         probabilityRow({}, {7, 8, 9})});
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.tokenValue(utf16Bytes(wide("aa"))), Value::ofBlob("abcdefghijkl"));
    EXPECT_EQ(installation.token(wide("bb")), (TokenCounts{1, 2, 3}));
    EXPECT_EQ(installation.token(longKey), (TokenCounts{4, 5, 6}));
    EXPECT_EQ(installation.open("prob.bin").query("SELECT COUNT(*) FROM velqTable;"), (Rows{{Value::ofInteger(4)}}));
}

TEST_P(Update, refuses_bad_white_number_rows)
{
    const Value good = Value::ofBlob(utf16BytesWithTerminator(wide("12")));
    const Value tooLong = Value::ofBlob(utf16BytesWithTerminator(units(30)));
    const Value noEnd = Value::ofBlob(utf16Bytes(wide("12")));
    const struct {
        const char *what;
        WhiteNumberRow row;
    } bad[] = {{"number of 30 units", {tooLong, good}},
               {"name of 30 units", {good, tooLong}},
               {"number of 300,000 units", {Value::ofBlob(utf16BytesWithTerminator(units(300000))), good}},
               {"number without zero unit", {noEnd, good}},
               {"name without zero unit", {good, noEnd}},
               {"30 units without zero unit", {Value::ofBlob(utf16Bytes(units(30))), good}},
               {"null number", {Value::ofNull(), good}},
               {"null name", {good, Value::ofNull()}},
               {"empty number", {Value::ofBlob(""), good}},
               {"integer number", {Value::ofInteger(12), good}},
               {"narrow text number", {Value::ofText("12345678"), good}},
               {"zero bytes across units only", {Value::ofBlob(bytes({0x31, 0, 0, 0x32})), good}}};
    start();
    const Texts before = installation.open("wn.bin").dump();
    for (const auto &one : bad) {
        std::filesystem::remove(wnFile());
        makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), {}), one.row, whiteNumberRow(wide("2"), {})});
        newLines();
        EXPECT_EQ(updateWn(), VELQ_ERR_FAILED) << one.what;
        EXPECT_EQ(installation.open("wn.bin").dump(), before) << one.what;
        const Texts lines = newLines();
        ASSERT_EQ(lines.size(), 2U) << one.what;
        EXPECT_TRUE(lines[0].starts_with("VELQ_WN_Store\tError: ")) << lines[0];
        EXPECT_EQ(lines[1], "VELQ_WN_Store\t**********Error: Leave db_MergeDiff2WnTable()!********");
    }
    expectVersions(1, 1);
}

// ---- The driver

TEST_P(Update, only_the_given_step_runs)
{
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("aa"), {1, 1, 1})});
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    start();
    EXPECT_EQ(updateWn(), 0);
    expectVersions(1, wnVersion);
    EXPECT_EQ(installation.token(wide("aa")), std::nullopt);
    EXPECT_EQ(updateProb(), 0);
    expectVersions(probVersion, wnVersion);
    EXPECT_EQ(whiteRows().size(), 1U);
}

TEST_P(Update, version_of_the_rules_is_never_recorded)
{
    makeProbabilityUpdate(probFile(), {});
    makeWhiteNumberUpdate(wnFile(), {});
    installation.removeVersion(2);
    start();
    EXPECT_EQ(updateBoth(), 0);
    EXPECT_EQ(installation.version(2), std::nullopt);
}

TEST_P(Update, missing_version_row_stays_missing_and_is_no_failure)
{
    makeProbabilityUpdate(probFile(), {});
    installation.removeVersion(0);
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(installation.version(0), std::nullopt);
}

TEST_P(Update, versions_may_be_any_32_bit_value)
{
    makeProbabilityUpdate(probFile(), {});
    makeWhiteNumberUpdate(wnFile(), {});
    start();
    EXPECT_EQ(VELQ_UpdateData(widePath(probFile()).c_str(), INT32_MIN, widePath(wnFile()).c_str(), INT32_MAX), 0);
    expectVersions(INT32_MIN, INT32_MAX);
}

TEST_P(Update, refuses_two_null_paths)
{
    start();
    EXPECT_EQ(VELQ_UpdateData(nullptr, 1, nullptr, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(), (Texts{}));
}

TEST_P(Update, is_refused_before_a_start_and_after_a_stop)
{
    makeProbabilityUpdate(probFile(), {});
    EXPECT_EQ(VELQ_UpdateData(nullptr, 1, nullptr, 1), VELQ_NOT_INITIALIZED);
    EXPECT_EQ(updateProb(), VELQ_NOT_INITIALIZED);
    start();
    EXPECT_EQ(session->stop(), 0);
    EXPECT_EQ(updateProb(), VELQ_NOT_INITIALIZED);
    expectVersions(1, 1);
}

TEST_P(Update, failed_first_step_before_a_successful_second_ends_well)
{
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    start();
    EXPECT_EQ(updateBoth(), 0); // there is no probability file
    expectVersions(1, wnVersion);
    EXPECT_EQ(whiteRows().size(), 1U);
    EXPECT_FALSE(std::filesystem::exists(probFile()));
}

TEST_P(Update, successful_first_step_stays_when_the_second_fails)
{
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("aa"), {1, 2, 3})});
    start();
    EXPECT_EQ(updateBoth(), VELQ_ERR_FAILED); // there is no white-number file
    EXPECT_EQ(installation.token(wide("aa")), (TokenCounts{1, 2, 3}));
    expectVersions(probVersion, 1);
}

TEST_P(Update, other_calls_work_again_after_a_failed_run)
{
    start();
    EXPECT_EQ(updateBoth(), VELQ_ERR_FAILED);
    VersionRecord record{0, 77};
    EXPECT_EQ(VELQ_GetCurVersion(&record), 0);
    EXPECT_EQ(record.version, 1);
    EXPECT_EQ(VELQ_UpdateData(units(300).c_str(), 1, nullptr, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(VELQ_GetCurVersion(&record), 0);
}

TEST_P(Update, update_file_stays_as_it_is)
{
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("aa"), {1, 2, 3})});
    const Texts before = Database(probFile()).dump();
    start();
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(updateProb(), 0);
    EXPECT_EQ(Database(probFile()).dump(), before);
    EXPECT_EQ(installation.token(wide("aa")), (TokenCounts{2, 4, 3}));
}

// A path of exactly `size` bytes below the installation's folder, for which a file exists.
std::filesystem::path pathOfBytes(const Installation &installation, std::size_t size)
{
    std::string path = installation.folder().string() + "/";
    while (size - path.size() > 150) {
        path += std::string(100, 'd');
        std::filesystem::create_directory(path);
        path += "/";
    }
    return path + std::string(size - path.size(), 'f');
}

TEST_P(Update, paths_of_255_bytes_are_taken_and_of_256_refused)
{
    const std::filesystem::path longest = pathOfBytes(installation, 255);
    const std::filesystem::path tooLong = pathOfBytes(installation, 256);
    makeProbabilityUpdate(longest, {probabilityRow(wide("aa"), {1, 1, 1})});
    makeProbabilityUpdate(tooLong, {probabilityRow(wide("bb"), {1, 1, 1})});
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    start();
    EXPECT_EQ(VELQ_UpdateData(widePath(longest).c_str(), 5, nullptr, 0), 0);
    expectVersions(5, 1);
    newLines();
    EXPECT_EQ(VELQ_UpdateData(widePath(tooLong).c_str(), 6, widePath(wnFile()).c_str(), 7), VELQ_ERR_FAILED);
    const Texts lines = newLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("VELQ_Update\tError: ")) << lines[0];
    EXPECT_EQ(VELQ_UpdateData(widePath(probFile()).c_str(), 6, widePath(tooLong).c_str(), 7), VELQ_ERR_FAILED);
    EXPECT_EQ(installation.token(wide("bb")), std::nullopt);
    EXPECT_TRUE(whiteRows().empty());
    expectVersions(5, 1);
}

// Bytes count, not units: 100 three-byte characters are too long.
TEST_P(Update, path_length_is_counted_in_utf8)
{
    start();
    const WideText path(100, static_cast<VELQ_WideChar>(0x4E2D));
    EXPECT_EQ(VELQ_UpdateData(path.c_str(), 1, nullptr, 1), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines().size(), 1U);
}

TEST_P(Update, files_may_have_names_beyond_ascii)
{
    const std::filesystem::path path = installation.folder() / std::filesystem::path(u8"\u66F4\u65B0 \U0001F4E6.db");
    makeProbabilityUpdate(path, {probabilityRow(wide("aa"), {1, 1, 1})});
    start();
    EXPECT_EQ(VELQ_UpdateData(widePath(path).c_str(), 9, nullptr, 0), 0);
    expectVersions(9, 1);
}

// ---- Traces

Texts fileNames(const std::string &prob, const std::string &wn)
{
    return {"VELQ_Update\t File Path(utf-8 encoded char) is:" + prob,
            "VELQ_Update\t File Path(utf-8 encoded char) is:" + wn};
}

TEST_P(Update, trace_of_a_run_with_both_files)
{
    installation.enableDebug();
    installation.addToken(wide("known"), 1, 1);
    makeProbabilityUpdate(probFile(),
                          {probabilityRow(wide("known"), {1, 1, 1}), probabilityRow(wide("new"), {1, 1, 1})});
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("17"), wide("a")), whiteNumberRow(wide("17"), wide("a")),
                                     whiteNumberRow(wide("\xE4\xB8\xAD"), wide("b"))});
    start();
    EXPECT_EQ(updateBoth(), 0);
    EXPECT_EQ(newLines(), (fileNames(probFile().string(), wnFile().string()) +
                           Texts{"VELQ_Update\tpdate File Name:" + probFile().string(),
                                 "VELQ_WL_Store\t**********Enter db_MergeDiff2ProbTable()!********",
                                 "VELQ_WL_Store\t******** Found Record In prob.bin, going to update... *********",
                                 "VELQ_WL_Store\t******** Not Found Record In prob.bin, going to insert... *********",
                                 "VELQ_WL_Store\t**********OK: Leave db_MergeDiff2ProbTable()!********",
                                 "VELQ_Update\tOK: db_MergeDiff2ProbTable Success!"} +
                           recordedVersion +
                           Texts{"VELQ_Update\tOK: db_UpdateVersion (prob.bin) Success!",
                                 "VELQ_Update\tUpdate File Name:" + wnFile().string(),
                                 "VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********",
                                 "VELQ_WN_Store\tNumber got from diff Wn table:", "0x0031 0x0037 ",
                                 "VELQ_WN_Store\t******** Not Found Record In wn.bin, going to insert... *********",
                                 "VELQ_WN_Store\tNumber got from diff Wn table:", "0x0031 0x0037 ",
                                 "VELQ_WN_Store\t******** Found Record In wn.bin, ignore and continue... *********",
                                 "VELQ_WN_Store\tNumber got from diff Wn table:", "0x4e2d ",
                                 "VELQ_WN_Store\t******** Not Found Record In wn.bin, going to insert... *********",
                                 "VELQ_WN_Store\t**********OK: Leave db_MergeDiff2WnTable()!********",
                                 "VELQ_Update\tOK: db_MergeDiff2WnTable Success!"} +
                           recordedVersion + Texts{"VELQ_Update\tOK: db_UpdateVersion  (prob.bin)  Success!"}));
}

TEST_P(Update, success_leaves_no_line_without_debug)
{
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("new"), {1, 1, 1})});
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("17"), wide("a"))});
    start();
    EXPECT_EQ(updateBoth(), 0);
    EXPECT_EQ(newLines(), (Texts{}));
}

TEST_P(Update, trace_of_missing_files)
{
    installation.enableDebug();
    start();
    EXPECT_EQ(updateBoth(), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(),
              (fileNames(probFile().string(), wnFile().string()) +
               Texts{"VELQ_Update\tpdate File Name:" + probFile().string(),
                     "VELQ_WL_Store\t**********Enter db_MergeDiff2ProbTable()!********",
                     "VELQ_WL_Store\tError:  Can not open db", "VELQ_Update\tUpdate File Name:" + wnFile().string(),
                     "VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********",
                     "VELQ_WN_Store\tError:  Can not open db"}));
}

TEST_P(Update, missing_probability_file_is_told_in_a_debug_line_only)
{
    start();
    EXPECT_EQ(updateBoth(), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(), (Texts{"VELQ_WN_Store\tError:  Can not open db"}));
}

TEST_P(Update, trace_of_files_without_their_tables)
{
    installation.enableDebug();
    makeWhiteNumberUpdate(probFile(), {});
    makeProbabilityUpdate(wnFile(), {});
    start();
    EXPECT_EQ(updateBoth(), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(), (fileNames(probFile().string(), wnFile().string()) +
                           Texts{"VELQ_Update\tpdate File Name:" + probFile().string(),
                                 "VELQ_WL_Store\t**********Enter db_MergeDiff2ProbTable()!********",
                                 "VELQ_WL_Store\tError: VELQ_DSH_Prepare",
                                 "VELQ_WL_Store\t**********Error: Leave db_MergeDiff2ProbTable()!********",
                                 "VELQ_Update\tUpdate File Name:" + wnFile().string(),
                                 "VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********",
                                 "VELQ_WN_Store\tError: VELQ_DSH_Prepare",
                                 "VELQ_WN_Store\t**********Error: Leave db_MergeDiff2WnTable()!********"}));
}

TEST_P(Update, trace_of_a_known_last_number)
{
    installation.enableDebug();
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a")), whiteNumberRow(wide("1"), wide("a"))});
    start();
    EXPECT_EQ(updateWn(), VELQ_ERR_FAILED);
    EXPECT_EQ(newLines(), (Texts{"VELQ_Update\t File Path(utf-8 encoded char) is:" + wnFile().string(),
                                 "VELQ_Update\tUpdate File Name:" + wnFile().string(),
                                 "VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********",
                                 "VELQ_WN_Store\tNumber got from diff Wn table:", "0x0031 ",
                                 "VELQ_WN_Store\t******** Not Found Record In wn.bin, going to insert... *********",
                                 "VELQ_WN_Store\tNumber got from diff Wn table:", "0x0031 ",
                                 "VELQ_WN_Store\t******** Found Record In wn.bin, ignore and continue... *********",
                                 "VELQ_WN_Store\t**********Error: Leave db_MergeDiff2WnTable()!********"}));
    EXPECT_TRUE(whiteRows().empty());
}

TEST_P(Update, trace_of_failed_version_records)
{
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("aa"), {1, 1, 1})});
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    installation.open("ver.bin").exec("CREATE TRIGGER refuse BEFORE UPDATE ON versionTable "
                                      "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    start();
    EXPECT_EQ(updateBoth(), VELQ_ERR_FAILED);
    // Both steps name prob.bin in this text.
    EXPECT_EQ(
        newLines(),
        (Texts{"VELQ_Update\tError: VELQ_DSH_doNext, rc=19", "VELQ_Update\tError: db_UpdateVersion  (prob.bin) ",
               "VELQ_Update\tError: VELQ_DSH_doNext, rc=19", "VELQ_Update\tError: db_UpdateVersion  (prob.bin) "}));
    EXPECT_EQ(installation.token(wide("aa")), (TokenCounts{1, 1, 1}));
    EXPECT_EQ(whiteRows().size(), 1U);
    expectVersions(1, 1);
}

// ---- Locked stores

// The merge counts as done, and its version is recorded.
TEST_P(Update, locked_stores_are_skipped_with_success)
{
    installation.enableDebug();
    makeProbabilityUpdate(probFile(), {probabilityRow(wide("aa"), {1, 1, 1})});
    makeWhiteNumberUpdate(wnFile(), {whiteNumberRow(wide("1"), wide("a"))});
    start();
    {
        const HeldLock prob(installation.dataFile("prob.bin"), HeldLock::Kind::immediate);
        const HeldLock wn(installation.dataFile("wn.bin"), HeldLock::Kind::immediate);
        EXPECT_EQ(updateBoth(), 0);
    }
    EXPECT_EQ(newLines(), (fileNames(probFile().string(), wnFile().string()) +
                           Texts{"VELQ_Update\tpdate File Name:" + probFile().string(),
                                 "VELQ_WL_Store\t**********Enter db_MergeDiff2ProbTable()!********"} +
                           linesOfWaitingInVain() +
                           Texts{"VELQ_WL_Store\tError: VELQ_DSH_Exec, BEGIN TRANSACTION",
                                 "VELQ_WL_Store\t**********OK: Leave db_MergeDiff2ProbTable()!********",
                                 "VELQ_Update\tOK: db_MergeDiff2ProbTable Success!"} +
                           recordedVersion +
                           Texts{"VELQ_Update\tOK: db_UpdateVersion (prob.bin) Success!",
                                 "VELQ_Update\tUpdate File Name:" + wnFile().string(),
                                 "VELQ_WN_Store\t**********Enter db_MergeDiff2WnTable()!********"} +
                           linesOfWaitingInVain() +
                           Texts{"VELQ_WN_Store\tError: VELQ_DSH_Exec, BEGIN TRANSACTION",
                                 "VELQ_WN_Store\t**********OK: Leave db_MergeDiff2WnTable()!********",
                                 "VELQ_Update\tOK: db_MergeDiff2WnTable Success!"} +
                           recordedVersion + Texts{"VELQ_Update\tOK: db_UpdateVersion  (prob.bin)  Success!"}));
    EXPECT_EQ(installation.token(wide("aa")), std::nullopt);
    EXPECT_TRUE(whiteRows().empty());
    expectVersions(probVersion, wnVersion);
}

// The two merges tell a failed begin at different levels.
TEST_P(Update, locked_stores_leave_retry_notices_and_one_error_line_without_debug)
{
    makeProbabilityUpdate(probFile(), {});
    makeWhiteNumberUpdate(wnFile(), {});
    start();
    {
        const HeldLock prob(installation.dataFile("prob.bin"), HeldLock::Kind::immediate);
        const HeldLock wn(installation.dataFile("wn.bin"), HeldLock::Kind::immediate);
        EXPECT_EQ(updateBoth(), 0);
    }
    Texts notices;
    for (const std::string &line : linesOfWaitingInVain()) {
        if (line.find("retry chance") != std::string::npos) {
            notices.push_back(line);
        }
    }
    EXPECT_EQ(newLines(), (notices + notices + Texts{"VELQ_WN_Store\tError: VELQ_DSH_Exec, BEGIN TRANSACTION"}));
}

} // namespace
} // namespace velq::test

// Cutting a text into stored tokens: which candidates are asked for, what the token list holds, and what happens when
// the store fails in the middle.
#include "VELQ_Util.h"
#include "VELQ_Word_Seg.h"
#include "bfilter/VELQ_BFilter_WordList.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {
namespace {

// A two-unit token of its own for each index.
WideText numberedToken(int index)
{
    return {static_cast<VELQ_WideChar>(0x4E00 + index), static_cast<VELQ_WideChar>(0x5E00 + index)};
}

Texts listedTokens()
{
    Texts tokens;
    for (std::uint32_t i = 0; i < get_token_count(); ++i) {
        tokens.push_back(utf8(get_token_text(i)));
    }
    return tokens;
}

class Segmentation : public testing::TestWithParam<StartVariant> {
  protected:
    Segmentation() : engine(Trace::on, GetParam()) {}

    void store(const Texts &tokens)
    {
        for (const std::string &token : tokens) {
            engine.installation.addToken(wide(token), 1, 1);
        }
    }
    Texts segment(const std::string &text)
    {
        EXPECT_EQ(wordSeg(wide(text).c_str()), 0);
        return listedTokens();
    }

    RunningEngine engine;
};

INSTANTIATE_TEST_SUITE_P(BothVariants, Segmentation, testing::Values(StartVariant::plain, StartVariant::norix),
                         testing::PrintToStringParamName());

TEST_P(Segmentation, takes_the_longest_stored_sequence_from_the_front)
{
    store({"ab", "abcd", "bcd", "cd", "xyz", "zz", "12", "123"});
    const struct {
        const char *text;
        Texts tokens;
    } cases[] = {{"", {}},
                 {"a", {}},
                 {"ab", {"ab"}},
                 {"abcdx", {"abcd"}},
                 {"abcx", {"ab"}},
                 {"xabcd", {"abcd"}},
                 {"abxyz", {"ab", "xyz"}},
                 {"xyzz", {"xyz"}}, // zz begins inside xyz
                 {"abccd", {"ab", "cd"}},
                 {"bcdcd", {"bcd", "cd"}},
                 {"1231", {"123"}},
                 {"12312", {"123", "12"}},
                 {"qqqqqqqqq", {}},
                 {"cdq", {"cd"}}};
    for (const auto &one : cases) {
        EXPECT_EQ(segment(one.text), one.tokens) << one.text;
    }
}

TEST_P(Segmentation, null_text_is_empty)
{
    EXPECT_EQ(wordSeg(nullptr), 0);
    EXPECT_EQ(get_token_count(), 0U);
}

TEST_P(Segmentation, single_units_and_five_units_are_never_tokens)
{
    store({"a", "abcde"});
    EXPECT_EQ(segment("abcdea"), Texts{});
}

TEST_P(Segmentation, works_on_units_whatever_the_script)
{
    // A surrogate pair is two units; the second half of one and the first of the next make a token too.
    const WideText text = wide("\xF0\x9F\x93\xA6\xF0\x9F\x93\xA7");
    engine.installation.addToken(text.substr(1, 2), 1, 1);
    ASSERT_EQ(wordSeg(text.c_str()), 0);
    ASSERT_EQ(get_token_count(), 1U);
    EXPECT_EQ(WideText(get_token_text(0)), text.substr(1, 2));
}

TEST_P(Segmentation, special_records_are_tokens_like_any_other)
{
    engine.installation.setMessageCounts(1, 2);
    store({"CNT"});
    EXPECT_EQ(segment(".MSG_CNT"), (Texts{"CNT"}));
}

// Read of the message counts first; then 4, 3 and 2 units at each position, as far as the text goes.
TEST_P(Segmentation, asks_for_four_three_and_two_units_and_never_for_one)
{
    store({"abcd"});
    const auto lookups = [](const std::string &text) {
        const DshWatch watch;
        EXPECT_EQ(wordSeg(wide(text).c_str()), 0);
        Texts keys;
        for (const std::string &call : watch.calls()) {
            if (call.starts_with("mapBlob")) {
                keys.push_back(call);
            }
        }
        return keys;
    };
    const std::string counts = "mapBlob 1 16 bytes";
    const std::string four = "mapBlob 1 8 bytes";
    const std::string three = "mapBlob 1 6 bytes";
    const std::string two = "mapBlob 1 4 bytes";
    EXPECT_EQ(lookups(""), (Texts{counts}));
    EXPECT_EQ(lookups("q"), (Texts{counts}));
    EXPECT_EQ(lookups("qq"), (Texts{counts, two}));
    EXPECT_EQ(lookups("qqqq"), (Texts{counts, four, three, two, three, two, two}));
    EXPECT_EQ(lookups("abcdx"), (Texts{counts, four}));
    EXPECT_EQ(lookups("xabcd"), (Texts{counts, four, three, two, four}));
}

TEST_P(Segmentation, is_one_transaction_that_commits)
{
    const DshWatch watch;
    EXPECT_EQ(segment("abcdef"), Texts{});
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "COMMIT;"}));
    EXPECT_EQ(watch.prepared(), (Texts{"SELECT value FROM velqTable WHERE key=? LIMIT 1;"}));
    EXPECT_TRUE(watch.everythingReleased());
}

// ---- The token list

TEST_P(Segmentation, entries_hold_the_stored_counts_and_those_of_the_messages)
{
    engine.installation.setMessageCounts(100, 200, 300);
    engine.installation.addToken(wide("abc"), 1, 2, 3);
    engine.installation.addTokenRow(Value::ofBlob(utf16Bytes(wide("de"))), Value::ofBlob(bytes({7, 0, 0, 0})));
    EXPECT_EQ(segment("abcde"), (Texts{"abc", "de"}));
    EXPECT_EQ(get_token_length(0), 3U);
    EXPECT_EQ(get_token_spam_count(0), 1U);
    EXPECT_EQ(get_token_ham_count(0), 2U);
    EXPECT_EQ(get_token_spam_msgs(0), 100U);
    EXPECT_EQ(get_token_ham_msgs(0), 200U);
    EXPECT_EQ(get_token_increment(0), 1U);
    EXPECT_EQ(get_token_stored_reserved(0), 3U);
    EXPECT_EQ(get_token_length(1), 2U);
    EXPECT_EQ(get_token_spam_count(1), 7U);
    EXPECT_EQ(get_token_ham_count(1), 0U);
    EXPECT_EQ(get_token_spam_msgs(1), 100U);
    EXPECT_EQ(get_token_ham_msgs(1), 200U);
    EXPECT_EQ(get_token_stored_reserved(1), 0U);
}

TEST_P(Segmentation, without_a_message_record_entries_carry_message_counts_of_zero)
{
    store({"ab"});
    EXPECT_EQ(segment("ab"), (Texts{"ab"}));
    EXPECT_EQ(get_token_spam_msgs(0) + get_token_ham_msgs(0), 0U);
}

TEST_P(Segmentation, repeated_token_is_listed_once_and_passed_over)
{
    store({"ab", "ba", "cd"});
    EXPECT_EQ(segment("ababab"), (Texts{"ab"}));
    EXPECT_EQ(segment("abcdab"), (Texts{"ab", "cd"}));
    EXPECT_EQ(segment("abbaab"), (Texts{"ab", "ba"}));
}

TEST_P(Segmentation, prefix_of_a_listed_token_is_a_token_of_its_own)
{
    store({"abcd", "ab", "abc"});
    EXPECT_EQ(segment("abcdababc"), (Texts{"abcd", "ab", "abc"}));
}

TEST_P(Segmentation, next_segmentation_replaces_the_list)
{
    store({"abcd", "ef"});
    EXPECT_EQ(segment("abcdef"), (Texts{"abcd", "ef"}));
    EXPECT_EQ(segment("ef"), (Texts{"ef"}));
    EXPECT_EQ(WideText(get_token_text(0)), wide("ef")); // no tail of abcd
    EXPECT_EQ(get_token_length(1), 0U);
    EXPECT_EQ(get_token_text(1)[0], 0);
    EXPECT_EQ(segment(""), Texts{});
    EXPECT_EQ(get_token_length(0), 0U);
    EXPECT_EQ(get_token_increment(0), 0U);
}

TEST_P(Segmentation, list_counts_29_tokens_and_the_thirtieth_slot_holds_the_last_new_one)
{
    WideText text;
    for (int i = 0; i < 40; ++i) {
        engine.installation.addToken(numberedToken(i), static_cast<std::uint32_t>(i), 1);
        text += numberedToken(i);
    }
    for (const int tokens : {28, 29, 30, 31, 40}) {
        ASSERT_EQ(wordSeg(text.substr(0, static_cast<std::size_t>(tokens) * 2).c_str()), 0);
        EXPECT_EQ(get_token_count(), static_cast<std::uint32_t>(tokens < 29 ? tokens : 29)) << tokens;
        for (std::uint32_t i = 0; i < get_token_count(); ++i) {
            EXPECT_EQ(WideText(get_token_text(i)), numberedToken(static_cast<int>(i)));
            EXPECT_EQ(get_token_spam_count(i), i);
        }
        if (tokens > 29) {
            EXPECT_EQ(WideText(get_token_text(29)), numberedToken(tokens - 1)) << tokens;
            EXPECT_EQ(get_token_spam_count(29), static_cast<std::uint32_t>(tokens - 1));
            EXPECT_EQ(get_token_increment(29), 1U);
        } else {
            EXPECT_EQ(get_token_length(29), 0U) << tokens;
        }
    }
}

// Fills the 29 counted slots.
WideText fullList(Installation &installation)
{
    WideText text;
    for (int i = 0; i < 29; ++i) {
        installation.addToken(numberedToken(i), 1, 1);
        text += numberedToken(i);
    }
    return text;
}

TEST_P(Segmentation, thirtieth_slot_takes_part_in_the_duplicate_test)
{
    const WideText full = fullList(engine.installation);
    engine.installation.addToken(wide("ab"), 5, 0);
    engine.installation.addToken(wide("cd"), 6, 0);
    // "cd" has replaced "ab", so "ab" is new again.
    ASSERT_EQ(wordSeg((full + wide("abcdab")).c_str()), 0);
    EXPECT_EQ(WideText(get_token_text(29)), wide("ab"));
    EXPECT_EQ(get_token_spam_count(29), 5U);
    ASSERT_EQ(wordSeg((full + wide("abab") + numberedToken(3)).c_str()), 0);
    EXPECT_EQ(WideText(get_token_text(29)), wide("ab"));
    EXPECT_EQ(get_token_count(), 29U);
}

// "ab" over "wxyz" leaves the text "abyz", which the duplicate test then sees.
TEST_P(Segmentation, shorter_token_in_the_thirtieth_slot_keeps_the_tail_of_the_longer_one)
{
    const WideText full = fullList(engine.installation);
    engine.installation.addToken(wide("wxyz"), 5, 0);
    engine.installation.addToken(wide("ab"), 6, 0);
    engine.installation.addToken(wide("abyz"), 7, 0);
    ASSERT_EQ(wordSeg((full + wide("wxyzab")).c_str()), 0);
    EXPECT_EQ(WideText(get_token_text(29)), wide("abyz"));
    EXPECT_EQ(get_token_length(29), 2U);
    EXPECT_EQ(get_token_spam_count(29), 6U);
    ASSERT_EQ(wordSeg((full + wide("wxyzababyz")).c_str()), 0);
    EXPECT_EQ(get_token_length(29), 2U); // the stored "abyz" counts as listed
    EXPECT_EQ(get_token_spam_count(29), 6U);
    ASSERT_EQ(wordSeg((full + wide("abyz")).c_str()), 0);
    EXPECT_EQ(get_token_length(29), 4U);
    EXPECT_EQ(get_token_spam_count(29), 7U);
}

TEST_P(Segmentation, accessors_refuse_indices_above_29)
{
    EXPECT_EQ(segment(""), Texts{});
    EXPECT_NE(get_token_text(29), nullptr);
    for (const std::uint32_t index : {30U, 31U, 255U, 0xFFFFFFFFU}) {
        EXPECT_EQ(get_token_text(index), nullptr) << index;
        for (const auto accessor : {get_token_length, get_token_ham_count, get_token_spam_count, get_token_ham_msgs,
                                    get_token_spam_msgs, get_token_increment}) {
            EXPECT_EQ(accessor(index), 0xFFFFFFFFU) << index;
            EXPECT_EQ(accessor(29), 0U);
        }
    }
}

TEST_P(Segmentation, set_token_entry_takes_slots_up_to_29_and_texts_up_to_five_units)
{
    EXPECT_EQ(segment(""), Texts{});
    const WideText text = wide("abcdef");
    set_token_entry(30, text.c_str(), 2);
    set_token_entry(0, text.c_str(), 6);
    EXPECT_EQ(get_token_length(0), 0U);
    set_token_entry(0, text.c_str(), 5);
    EXPECT_EQ(get_token_length(0), 5U);
    EXPECT_EQ(WideText(get_token_text(0)), wide("abcde"));
    set_token_entry(29, text.c_str(), 2);
    EXPECT_EQ(get_token_length(29), 2U);
    EXPECT_EQ(get_token_count(), 0U);
}

TEST_P(Segmentation, token_in_list_compares_with_every_slot_and_not_with_empty_ones)
{
    EXPECT_EQ(segment(""), Texts{});
    const WideText text = wide("ab");
    const word key{text.c_str(), 2};
    EXPECT_EQ(token_in_list(&key), 0);
    set_token_entry(29, text.c_str(), 2);
    EXPECT_EQ(token_in_list(&key), 1);
    const word shorter{text.c_str(), 1};
    EXPECT_EQ(token_in_list(&shorter), 0);
}

TEST_P(Segmentation, lookup_tells_stored_words_with_their_counts)
{
    engine.installation.setMessageCounts(100, 200);
    engine.installation.addToken(wide("ab"), 1, 2, 3);
    ASSERT_EQ(open_wordlist(wordListForReading), 0);
    const WideText text = wide("abc");
    const word stored{text.c_str(), 2};
    const word other{text.c_str(), 3};
    word_counts counts{9, 9, 9, 9, 9};
    EXPECT_EQ(lookup_word(&stored, &counts), 1);
    EXPECT_EQ(counts.ham_count, 2U);
    EXPECT_EQ(counts.spam_count, 1U);
    EXPECT_EQ(counts.ham_msgs, 200U);
    EXPECT_EQ(counts.spam_msgs, 100U);
    EXPECT_EQ(lookup_word(&other, &counts), 0);
    EXPECT_EQ(counts.ham_count + counts.spam_count, 0U);
    EXPECT_EQ(counts.ham_msgs, 200U);
    EXPECT_EQ(counts.spam_msgs, 100U);
    close_wordlist(commitWordList);
}

// ---- Trace and failures

std::string failedCommit()
{
    return "VELQ_BFilter_Datastore_Sqlite\tError executing \"COMMIT;\": cannot commit - no transaction is active (#1)";
}

std::string failedRollback()
{
    return "VELQ_BFilter_Datastore_Sqlite\tError executing \"ROLLBACK;\": cannot rollback - no transaction is active "
           "(#1)";
}

TEST_P(Segmentation, traces_one_opening_and_one_closing)
{
    store({"ab"});
    EXPECT_EQ(segment("abq"), (Texts{"ab"}));
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, closeDb, closed}));
}

TEST_P(Segmentation, token_dump_shows_the_counted_tokens_in_their_order)
{
    store({"ab", "cd"});
    EXPECT_EQ(segment("cdxab"), (Texts{"cd", "ab"}));
    engine.newLines();
    dumpTokens();
    EXPECT_EQ(engine.newLines(), (Texts{"===> UTF8-String:cd", "===> UTF8-String:ab"}));
    EXPECT_EQ(segment(""), Texts{});
    engine.newLines();
    dumpTokens();
    EXPECT_EQ(engine.newLines(), Texts{});
}

TEST_P(Segmentation, failed_opening_fails_and_leaves_the_list_as_it_was)
{
    store({"ab"});
    EXPECT_EQ(segment("ab"), (Texts{"ab"}));
    engine.newLines();
    const DshWatch watch({.call = DshCall::busyHandler});
    EXPECT_EQ(wordSeg(wide("ab").c_str()), VELQ_ERR_FAILED);
    EXPECT_EQ(engine.newLines(),
              (Texts{openDb, "VELQ_BFilter_Datastore_Sqlite\tCan't set user non-service handle: not an error",
                     "VELQ_BFilter_Datastore_Sqlite\tError on database " + std::string(engineState.tokenStorePath) +
                         ": not an error",
                     "VELQ_BFilter_WordList\tError: ds_open!", closed, "VELQ_Word_Seg\tError: open_wordlist",
                     "VELQ_Word_Seg\t**********Error:Leave VELQ_Word_Seg  wordSeg()!********"}));
    EXPECT_EQ(listedTokens(), (Texts{"ab"}));
    EXPECT_TRUE(watch.everythingReleased());
}

// The second step is the first candidate's: it counts as absent, the shorter one is asked for outside the transaction,
// and the commit has nothing to commit.
TEST_P(Segmentation, busy_lookup_counts_as_absent_and_the_rest_goes_on)
{
    store({"abcd", "abc"});
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .nth = 2});
    EXPECT_EQ(segment("abcd"), (Texts{"abc"}));
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, "ds_read, DS_ABORT_RETRY!", failedCommit(), closeDb, closed}));
    EXPECT_TRUE(watch.everythingReleased());
}

TEST_P(Segmentation, store_that_stays_busy_yields_no_tokens)
{
    store({"ab"});
    engine.installation.setMessageCounts(3, 3);
    const DshWatch watch({.call = DshCall::step, .code = VELQ_DSH_BUSY, .isLasting = true});
    EXPECT_EQ(segment("abc"), Texts{});
    const std::string retry = "ds_read, DS_ABORT_RETRY!";
    // The message counts' read has rolled back already; three candidates follow.
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened, failedRollback(), retry, failedRollback(), retry,
                                        failedRollback(), retry, failedCommit(), closeDb, closed}));
    EXPECT_TRUE(watch.everythingReleased());
}

TEST_P(Segmentation, other_lookup_errors_count_as_absent)
{
    store({"abcd", "abc"});
    const DshWatch watch({.call = DshCall::step, .code = 11, .nth = 2});
    EXPECT_EQ(segment("abcd"), (Texts{"abc"}));
    EXPECT_EQ(engine.newLines(), (Texts{openDb, opened,
                                        "VELQ_BFilter_Datastore_Sqlite\tdb_get_dbvalue: error executing statement on " +
                                            std::string(engineState.tokenStorePath) + ": not an error (11)",
                                        closeDb, closed}));
    EXPECT_EQ(watch.executed(), (Texts{"BEGIN TRANSACTION;", "COMMIT;"}));
}

TEST_P(Segmentation, failed_begin_segments_without_message_counts)
{
    store({"ab"});
    engine.installation.setMessageCounts(3, 4);
    const DshWatch watch({.call = DshCall::exec, .code = 5});
    EXPECT_EQ(segment("ab"), (Texts{"ab"}));
    EXPECT_EQ(get_token_spam_msgs(0) + get_token_ham_msgs(0), 0U);
    EXPECT_EQ(engine.newLines(),
              (Texts{openDb, "VELQ_BFilter_Datastore_Sqlite\tError executing \"BEGIN TRANSACTION;\": NULL (#5)",
                     "VELQ_BFilter_WordList\tError: ds_txn_begin()!", opened, failedCommit(), closeDb, closed}));
}

// A kept connection that has read the table's description meets the lock at each step; without a kept connection the
// description cannot be read and nothing can be prepared.
TEST_P(Segmentation, locked_store_yields_no_tokens)
{
    const PlatformGuard guard;
    platformCalls.sleepMilliseconds = [](std::uint32_t) noexcept {};
    store({"ab"});
    EXPECT_EQ(segment("ab"), (Texts{"ab"}));
    {
        const HeldLock lock(engine.installation.dataFile("prob.bin"));
        EXPECT_EQ(segment("ab"), Texts{});
    }
    EXPECT_EQ(segment("ab"), (Texts{"ab"}));
}

TEST_P(Segmentation, any_failed_allocation_fails_it)
{
    store({"ab"});
    const int failures = failEachAllocation(
        [] { return wordSeg(wide("ab").c_str()); },
        [](int /*nth*/, int result, const DshWatch & /*watch*/) { EXPECT_EQ(result, VELQ_ERR_FAILED); });
    EXPECT_GE(failures, 8);
    EXPECT_EQ(segment("ab"), (Texts{"ab"}));
}

} // namespace
} // namespace velq::test

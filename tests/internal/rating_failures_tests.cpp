// Ratings while something fails: which decision is still reached, what the log tells, and that the next rating works.
#include "VELQ_Rating_Manager.h"
#include "VELQ_Util.h"
#include "bfilter/VELQ_BFilter_WordList.h"
#include "internal/dsh_faults.h"
#include "internal/log_lines.h"
#include "support/wide.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

namespace velq::test {
namespace {

const Lines openAndClose = {debug(openDb), debug(opened), debug(closeDb), debug(closed)};
const ExpectedLine enter = debug("********** Enter  checkSpamMsg() ********");
const ExpectedLine leave = debug("**********OK: Leave checkSpamMsg()!********");
const ExpectedLine lookupLeave = error("VELQ_DB_Interface\t**********Error:Leave db_SearchNumberList()!********");
const ExpectedLine blackFailed = error("Error: db_SearchBlackNumberList ");
const ExpectedLine whiteFailed = error("VELQ_Rating_Manager\tError: db_SearchWhiteNumberList ");

// Both start variants, each with debug lines and without.
struct Setting {
    StartVariant variant;
    Trace trace;
};

std::ostream &operator<<(std::ostream &out, const Setting &setting)
{
    return out << setting.variant << (setting.trace == Trace::on ? " with debug" : " without debug");
}

std::string settingName(const testing::TestParamInfo<Setting> &setting)
{
    return std::string(setting.param.variant == StartVariant::norix ? "norix" : "plain") +
           (setting.param.trace == Trace::on ? "_with_debug" : "_without_debug");
}

class RatingFailure : public testing::TestWithParam<Setting> {
  protected:
    RatingFailure() : engine(GetParam().trace, GetParam().variant)
    {
        engine.installation.setMessageCounts(2, 2);
        engine.installation.addTokens({{wide("cash"), {1, 0, 0}},
                                       {wide("free"), {2, 0, 0}},
                                       {wide("win"), {1, 0, 0}},
                                       {wide("call"), {1, 1, 0}},
                                       {wide("mail"), {1, 1, 0}},
                                       {wide("text"), {1, 1, 0}}});
    }

    static std::uint32_t rate(const std::string &body, const std::string &number = "555")
    {
        std::uint32_t rating = 77;
        EXPECT_EQ(checkSpamMsg(&rating, wide(body).c_str(), wide(number).c_str()), 0);
        EXPECT_EQ(word_list, nullptr);
        return rating;
    }
    void expectLog(const Lines &lines)
    {
        EXPECT_EQ(engine.newLines(), expectedLog(lines, GetParam().trace));
    }
    static Lines opening(const std::string &body, const std::string &filtered)
    {
        return {enter, debug("---> number:555"), debug("===> UTF8-String:" + body),
                debug("===> UTF8-String:" + filtered)};
    }
    static Lines tokenDump(std::initializer_list<const char *> tokens)
    {
        Lines lines;
        for (const char *token : tokens) {
            lines.push_back(debug(std::string("===> UTF8-String:") + token));
        }
        return lines;
    }
    // A refused busy handler on the token store, up to the end of the word list.
    static Lines failedOpen()
    {
        return {debug(openDb), error("VELQ_BFilter_Datastore_Sqlite\tCan't set user non-service handle: not an error"),
                error("VELQ_BFilter_Datastore_Sqlite\tError on database " + std::string(engineState.tokenStorePath) +
                      ": not an error"),
                error("VELQ_BFilter_WordList\tError: ds_open!"), debug(closed)};
    }

    RunningEngine engine;
};

INSTANTIATE_TEST_SUITE_P(All, RatingFailure,
                         testing::Values(Setting{StartVariant::plain, Trace::on},
                                         Setting{StartVariant::plain, Trace::off},
                                         Setting{StartVariant::norix, Trace::on},
                                         Setting{StartVariant::norix, Trace::off}),
                         settingName);

// Busy handlers in their order: black list, white list, segmentation, check, training.

TEST_P(RatingFailure, failed_segmentation_ends_the_rating_without_a_leave_line)
{
    const std::string body = "call mail text 1234567";
    const DshWatch watch({.call = DshCall::busyHandler, .nth = 3});
    EXPECT_EQ(rate(body), static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
    EXPECT_TRUE(watch.everythingReleased());
    expectLog(opening(body, "callmailtext1234567") + failedOpen() +
              Lines{error("VELQ_Word_Seg\tError: open_wordlist"),
                    error("VELQ_Word_Seg\t**********Error:Leave VELQ_Word_Seg  wordSeg()!********")});
}

TEST_P(RatingFailure, failed_check_leaves_the_message_unsure_and_the_corrections_apply)
{
    const struct {
        const char *body;
        const char *filtered;
        std::uint32_t rating;
        Lines correction;
    } cases[] = {{"call mail text and something more", "callmailtextandsomethingmore", VELQ_RATING_UNSURE, {}},
                 {"call mail text",
                  "callmailtext",
                  VELQ_RATING_HAM,
                  {debug("-------> UNSURE,  But,  len<=20, set to HAM <--------")}},
                 {"call mail text 1234567", "callmailtext1234567", VELQ_RATING_SPAM,
                  Lines{debug("-------> UNSURE,  But, Has Tel number, set to SPAM <--------")} + openAndClose +
                      Lines{debug("****** registerMsg(), result=0 ******")}}};
    for (const auto &one : cases) {
        const DshWatch watch({.call = DshCall::busyHandler, .nth = 4});
        EXPECT_EQ(rate(one.body), one.rating) << one.body;
        EXPECT_TRUE(watch.everythingReleased());
        expectLog(opening(one.body, one.filtered) + openAndClose + tokenDump({"call", "mail", "text"}) + failedOpen() +
                  Lines{error("VELQ_BFilter_Interface\tError: open_wordlist!"),
                        debug("checkSpam result=-2, spamicity=0.000000, rating=2")} +
                  one.correction + Lines{leave});
    }
    EXPECT_EQ(engine.installation.token(wide("call")), (TokenCounts{2, 1, 0})); // the digit run's training
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{3, 2, 0}));
}

TEST_P(RatingFailure, failed_training_shows_in_the_trace_only)
{
    const std::string body = "call mail text 1234567";
    const DshWatch watch({.call = DshCall::busyHandler, .nth = 5});
    EXPECT_EQ(rate(body), static_cast<std::uint32_t>(VELQ_RATING_SPAM));
    EXPECT_TRUE(watch.everythingReleased());
    expectLog(opening(body, "callmailtext1234567") + openAndClose + tokenDump({"call", "mail", "text"}) + openAndClose +
              Lines{debug("checkSpam result=0, spamicity=0.520000, rating=2"),
                    debug("-------> UNSURE,  But, Has Tel number, set to SPAM <--------")} +
              failedOpen() +
              Lines{error("VELQ_BFilter_Interface\tError: open_wordlist"),
                    debug("****** registerMsg(), result=-2 ******"), leave});
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{2, 2, 0}));
}

TEST_P(RatingFailure, failed_lookup_phases_are_told_and_count_as_not_listed)
{
    engine.installation.addNumber(NumberList::black, "555");
    engine.installation.addNumber(NumberList::white, "555");
    struct Phase {
        DshCall call;
        const char *text;
    };
    for (const Phase &phase : {Phase{DshCall::busyHandler, "VELQ_DB_Interface\tError: VELQ_DSH_busyHandler"},
                               Phase{DshCall::makeUserHand, "VELQ_DB_Interface\tError: VELQ_DSH_makeUserHand"},
                               Phase{DshCall::prepare, "VELQ_DB_Interface\tError: VELQ_DSH_Prepare"},
                               Phase{DshCall::step, "VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=10"}}) {
        {
            const DshWatch watch({.call = phase.call});
            EXPECT_EQ(rate("ok"), static_cast<std::uint32_t>(VELQ_RATING_HAM)) << phase.text; // white-listed
            EXPECT_TRUE(watch.everythingReleased()) << phase.text;
        }
        expectLog(Lines{enter, debug("---> number:555"), debug("===> UTF8-String:ok"), error(phase.text), lookupLeave,
                        blackFailed} +
                  openAndClose + openAndClose +
                  Lines{debug(" ********** registerMsg(), result=0 ********"),
                        debug("HAM: number in While-List, is a Good Msg"),
                        debug(" **********OK: Leave  checkSpamMsg()!********")});
    }
    engine.installation.open("bn.bin").exec("DELETE FROM blackList;");
    for (const Phase &phase : {Phase{DshCall::busyHandler, "VELQ_DB_Interface\tError: VELQ_DSH_busyHandler"},
                               Phase{DshCall::makeUserHand, "VELQ_DB_Interface\tError: VELQ_DSH_makeUserHand"},
                               Phase{DshCall::prepare, "VELQ_DB_Interface\tError: VELQ_DSH_Prepare"},
                               Phase{DshCall::step, "VELQ_DB_Interface\tError: VELQ_DSH_doNext, rc=10"}}) {
        {
            const DshWatch watch({.call = phase.call, .nth = 2});
            EXPECT_EQ(rate("ok"), static_cast<std::uint32_t>(VELQ_RATING_HAM)) << phase.text; // short
            EXPECT_TRUE(watch.everythingReleased()) << phase.text;
        }
        expectLog(Lines{enter, debug("---> number:555"), debug("===> UTF8-String:ok"), error(phase.text), lookupLeave,
                        whiteFailed, debug("===> UTF8-String:ok"), debug("HAM: msg body length <=5"),
                        debug("**********OK: Leave  checkSpamMsg()!********")});
    }
}

TEST_P(RatingFailure, kept_connections_are_used_where_there_are_any)
{
    const DshWatch watch;
    EXPECT_EQ(rate("free cash win"), static_cast<std::uint32_t>(VELQ_RATING_SPAM));
    Texts opens;
    for (const std::string &call : watch.calls()) {
        if (call.starts_with("open ")) {
            opens.push_back(call.substr(5));
        }
    }
    EXPECT_EQ(opens, GetParam().variant == StartVariant::norix
                         ? Texts{}
                         : (Texts{"bn.bin", "wn.bin", "prob.bin", "prob.bin", "prob.bin"}));
    EXPECT_TRUE(watch.everythingReleased());
}

// Whatever the level of the log.
class RatingFaults : public RatingFailure {
  protected:
    // Ratings train, so the counts are put back before each.
    void restoreMessageCounts()
    {
        engine.installation.setMessageCounts(2, 2);
    }
};

INSTANTIATE_TEST_SUITE_P(All, RatingFaults,
                         testing::Values(Setting{StartVariant::plain, Trace::off},
                                         Setting{StartVariant::norix, Trace::off}),
                         settingName);

// One call fails, whichever it is: the rating returns, nothing stays open, and the next rating is the usual one.
TEST_P(RatingFaults, any_failed_access_call_leaves_nothing_open)
{
    engine.installation.addTokens({{wide("mum"), {0, 1, 0}}, {wide("home"), {0, 2, 0}}, {wide("soon"), {0, 1, 0}}});
    int faults = 0;
    for (const DshCall call : {DshCall::open, DshCall::busyHandler, DshCall::makeUserHand, DshCall::exec,
                               DshCall::prepare, DshCall::bind, DshCall::step}) {
        for (const int code : std::initializer_list<int>{VELQ_DSH_BUSY, dshInputOutputError}) {
            bool happened = true;
            for (int nth = 1; happened; ++nth) {
                {
                    const DshWatch watch({.call = call, .code = code, .nth = nth});
                    rate("free cash win");
                    happened = watch.faultHappened();
                    EXPECT_TRUE(watch.everythingReleased())
                        << static_cast<int>(call) << " code " << code << " call " << nth;
                }
                faults += happened ? 1 : 0;
                const TokenCounts counts = engine.installation.messageCounts().value_or(TokenCounts{});
                EXPECT_TRUE(counts.spam >= 2 && counts.ham == 2) << "call " << nth << " lost message counts";
                restoreMessageCounts();
                EXPECT_EQ(rate("mum home soon"), static_cast<std::uint32_t>(VELQ_RATING_HAM))
                    << static_cast<int>(call) << " code " << code << " call " << nth;
            }
        }
    }
    EXPECT_GT(faults, 60);
    EXPECT_EQ(engine.installation.open("prob.bin").integrityCheck(), "ok");
}

TEST_P(RatingFaults, any_failed_allocation_leaves_nothing_behind)
{
    const int failures = failEachAllocation(
        [] {
            rate("free cash win and something more");
            return 0;
        },
        [](int /*nth*/, int /*result*/, const DshWatch & /*watch*/) {});
    EXPECT_GE(failures, 25); // the filtered body, and three word lists of at least eight
    EXPECT_EQ(rate("free cash win and something more"), static_cast<std::uint32_t>(VELQ_RATING_SPAM));
}

TEST_P(RatingFaults, message_counts_that_become_unreadable_while_training_stay)
{
    int steps = 0;
    {
        const DshWatch count;
        rate("free cash win");
        for (const std::string &call : count.calls()) {
            steps += call == "step" ? 1 : 0;
        }
    }
    restoreMessageCounts();
    const DshWatch watch({.call = DshCall::step, .nth = steps - 2}); // row, end, and the record's replacement
    rate("free cash win");
    EXPECT_TRUE(watch.faultHappened());
    EXPECT_EQ(engine.installation.messageCounts(), (TokenCounts{2, 2, 0}));
}

TEST_P(RatingFailure, filter_without_memory_leaves_the_message_unsure)
{
    const int lookups = GetParam().variant == StartVariant::norix ? 0 : 2; // each asks for a path first
    const AllocationGuard allocations(lookups + 1);
    EXPECT_EQ(rate("ok"), static_cast<std::uint32_t>(VELQ_RATING_UNSURE));
    EXPECT_TRUE(allocations.failureHappened());
    EXPECT_EQ(allocations.notReleased(), 0);
}

} // namespace
} // namespace velq::test

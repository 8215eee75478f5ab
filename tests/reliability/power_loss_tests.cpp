// The power goes at a random call that changes a file, and what was not synced is lost, all or in part. The files are
// sound and the engine starts and writes again. What had been acknowledged is there, but for what the mode of the token
// store's journal allows: in write-ahead mode the latest trainings may be gone, though never those before a merged
// update that was acknowledged or whose version is recorded. With rollback journals the latest transaction may be
// gone: the removal of its journal need not have reached the disk.
//
// The normal form loses power 25 times in each of four ways. 400 times: VELQ_RELIABILITY_FULL=1
// build/bin/velq_power_loss_tests
#include "power_loss_layer.h"
#include "store_model.h"
#include "support/engine_session.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

using namespace velq::reliability;
using velq::test::dataFileNames;
using velq::test::EngineSession;
using velq::test::Journal;
using velq::test::StartVariant;

namespace {

constexpr int lossesInNormalForm = 25;
constexpr int lossesInFullForm = 400;
constexpr unsigned seed = 1213;

// Small pages and tokens far apart, so that some hundred trainings fill a log up to its next checkpoint.
void spreadTokens(Installation &installation)
{
    installation.open("prob.bin").exec("PRAGMA page_size = 512; VACUUM;");
    std::vector<velq::test::TokenRow> between;
    for (const char16_t first : {u'd', u'g', u'm'}) {
        for (char16_t second = u'a'; second <= u'z'; ++second) {
            between.push_back({{first, second, u'a'}, {1, 1, 0}});
            between.push_back({{first, second, u'b'}, {1, 1, 0}});
        }
    }
    installation.addTokens(between);
}

// Every writing operation between many corrections, which train twice each, and one more merge.
std::vector<Operation> operationsOn(const Installation &installation)
{
    constexpr std::size_t corrections = 60;
    std::vector<Operation> all = writingOperations(installation);
    const auto named = [&all](const char *name) {
        return *std::find_if(all.begin(), all.end(), [name](const Operation &each) { return each.name == name; });
    };
    const Operation correct = named("correct to spam");
    const Operation merge = named("merge tokens");
    std::vector<Operation> made(corrections, correct);
    made.insert(made.end(), all.begin(), all.end());
    made.insert(made.end(), corrections, correct);
    made.push_back(merge);
    made.insert(made.end(), corrections, correct);
    return made;
}

// What the child leaves behind for its parent.
struct Report {
    long acknowledged; // operations
    long changes;      // calls that changed a file; only when the power stayed
};

struct Way {
    Journal journal;
    StartVariant variant;
};

[[noreturn]] void runChild(const Installation &installation, const Way &way, long call, Loss loss, unsigned ofLoss,
                           Report *report)
{
    const std::vector<Operation> operations = operationsOn(installation);
    planPowerLoss(call, loss, ofLoss);
    {
        EngineSession session(installation, way.variant);
        if (session.result() != VELQ_SUCCESS) {
            _exit(2);
        }
        for (const Operation &operation : operations) {
            if (operation.run() != VELQ_SUCCESS) {
                _exit(4);
            }
            ++report->acknowledged;
        }
    }
    report->changes = changesSeen();
    _exit(0);
}

// Whether the power went.
bool runUntilLoss(const Installation &installation, const Way &way, long call, Loss loss, unsigned ofLoss,
                  Report *report)
{
    *report = {};
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        runChild(installation, way, call, loss, ofLoss, report);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const bool isLost = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(isLost || status == 0) << "status " << status;
    return isLost;
}

struct Step {
    const Transaction *transaction;
    bool isOnTokens;
    bool isMerge;
};

// The transactions of the operations up to and with number `done`, which may have begun.
std::vector<Step> stepsOf(const std::vector<Operation> &operations, std::size_t done, std::size_t *acknowledged)
{
    std::vector<Step> steps;
    for (std::size_t i = 0; i < operations.size() && i <= done; ++i) {
        if (i == done) {
            *acknowledged = steps.size();
        }
        for (const Transaction &transaction : operations[i].transactions) {
            const bool isMerge = transaction.kind == Transaction::Kind::merge && operations[i].name == "merge tokens";
            steps.push_back({&transaction, isMerge || transaction.kind == Transaction::Kind::training, isMerge});
        }
    }
    if (done >= operations.size()) {
        *acknowledged = steps.size();
    }
    return steps;
}

Stores after(Stores stores, const std::vector<Step> &steps, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        apply(stores, *steps[i].transaction);
    }
    return stores;
}

bool equalLists(const Stores &a, const Stores &b)
{
    return a.white == b.white && a.black == b.black && a.versions == b.versions;
}

// With rollback journals: how many transactions are there, or -1 for a state that must not be.
long transactionsFound(const Stores &before, const std::vector<Step> &steps, std::size_t acknowledged,
                       const Stores &found)
{
    for (std::size_t count = acknowledged - std::min<std::size_t>(acknowledged, 1); count <= steps.size(); ++count) {
        if (after(before, steps, count).text() == found.text()) {
            return static_cast<long>(count);
        }
    }
    return -1;
}

// The lists and versions as after `count` steps; the latest of their transactions may be missing.
bool hasLists(const Stores &before, std::vector<Step> steps, std::size_t count, const Stores &found)
{
    steps.resize(count);
    if (equalLists(after(before, steps, count), found)) {
        return true;
    }
    const auto last = std::find_if(steps.rbegin(), steps.rend(), [](const Step &step) { return !step.isOnTokens; });
    if (last == steps.rend()) {
        return false;
    }
    steps.erase(std::next(last).base());
    return equalLists(after(before, steps, steps.size()), found);
}

// In write-ahead mode: how many transactions on the token store are there, or -1 for a state that must not be.
long tokenTransactionsFound(const Stores &before, const std::vector<Step> &steps, std::size_t acknowledged,
                            const Stores &found)
{
    for (std::size_t count = acknowledged; count <= steps.size(); ++count) {
        if (!hasLists(before, steps, count, found)) {
            continue;
        }
        long synced = 0; // those that a loss of power must leave
        long made = 0;
        for (std::size_t i = 0; i < count; ++i) {
            made += steps[i].isOnTokens ? 1 : 0;
            synced = steps[i].isMerge ? made : synced;
        }
        Stores state = before;
        long applied = 0;
        for (std::size_t i = 0; i <= count; ++i) {
            if (applied >= synced && state.tokens == found.tokens) {
                return applied;
            }
            if (i < count && steps[i].isOnTokens) {
                apply(state, *steps[i].transaction);
                ++applied;
            }
        }
    }
    return -1;
}

class PowerLoss : public testing::TestWithParam<std::tuple<Journal, StartVariant>> {
  protected:
    PowerLoss()
        : report_(static_cast<Report *>(
              mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~PowerLoss() override
    {
        munmap(report_, sizeof(Report));
    }

    Report *report_; // shared with the children
};

} // namespace

TEST_P(PowerLoss, takes_at_most_what_the_journal_allows)
{
    const Way way = {std::get<0>(GetParam()), std::get<1>(GetParam())};
    const int wanted = std::getenv("VELQ_RELIABILITY_FULL") != nullptr ? lossesInFullForm : lossesInNormalForm;
    std::mt19937 random(seed);
    long mostCalls = 0;
    long transactionsLost = 0; // though acknowledged
    int runsWithLoss = 0;
    for (int run = 0; run <= wanted; ++run) {
        // The first run has no loss and counts the calls.
        const long call = run == 0 ? 0 : std::uniform_int_distribution<long>(1, mostCalls)(random);
        const Loss loss = std::array{Loss::all, Loss::some, Loss::allAfter}.at(random() % 3);
        SCOPED_TRACE(testing::Message() << "run " << run << ", call " << call << ", loss " << static_cast<int>(loss));
        Installation installation;
        fillInstallation(installation);
        spreadTokens(installation);
        installation.setJournal(way.journal);
        const Stores before = readStores(installation);
        const std::vector<Operation> operations = operationsOn(installation);
        ASSERT_EQ(runUntilLoss(installation, way, call, loss, static_cast<unsigned>(random()), report_), run != 0);
        mostCalls = run == 0 ? report_->changes : mostCalls;
        std::size_t acknowledged = 0;
        const std::vector<Step> steps =
            stepsOf(operations, static_cast<std::size_t>(report_->acknowledged), &acknowledged);
        const Stores found = readStores(installation);
        for (const char *name : dataFileNames) {
            ASSERT_EQ(installation.open(name).integrityCheck(), "ok") << name;
        }
        const bool isRollback = way.journal == Journal::rollback;
        const long there = isRollback ? transactionsFound(before, steps, acknowledged, found)
                                      : tokenTransactionsFound(before, steps, acknowledged, found);
        ASSERT_NE(there, -1) << acknowledged << '\n' << found.text();
        const long lost = std::count_if(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(acknowledged),
                                        [isRollback](const Step &step) { return isRollback || step.isOnTokens; }) -
                          there;
        transactionsLost += std::max(0L, lost);
        runsWithLoss += lost > 0 ? 1 : 0;
        const EngineSession session(installation, way.variant);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        ASSERT_EQ(VELQ_SetMsgAsSpam(VELQ_TEXT("free, cash, priz, lunc")), VELQ_SUCCESS);
        ASSERT_EQ(VELQ_RemoveAllWhiteNumberSync(VELQ_HIDDEN_ANY), VELQ_SUCCESS);
    }
    std::printf("%ld calls; of %d losses of power %d took acknowledged transactions, %ld in all\n", mostCalls, wanted,
                runsWithLoss, transactionsLost);
    if (way.journal == Journal::writeAhead && way.variant == StartVariant::norix) {
        EXPECT_GT(runsWithLoss, 0) << "the layer loses nothing";
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, PowerLoss,
                         testing::Combine(testing::Values(Journal::rollback, Journal::writeAhead),
                                          testing::Values(StartVariant::plain, StartVariant::norix)),
                         [](const auto &given) {
                             return testing::PrintToString(std::get<0>(given.param)) + "_" +
                                    testing::PrintToString(std::get<1>(given.param));
                         });

// A process that writes is killed, by its parent at a random moment or by itself at a random call that changes a file
// or a lock. Whatever it had told to be done is in the data files, and beyond that a prefix of the operation that was
// running, cut between transactions; every file is sound, and the engine starts and writes again.
//
// The normal form kills 60 times in each mode of the token store. 600 times: VELQ_RELIABILITY_FULL=1
// build/bin/velq_crash_tests
#include "fault_layer.h"
#include "store_model.h"
#include "support/engine_session.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace velq::reliability;
using velq::test::dataFileNames;
using velq::test::EngineSession;
using velq::test::Journal;
using velq::test::StartVariant;

namespace {

constexpr int killsInNormalForm = 60;
constexpr int killsInFullForm = 600;
constexpr unsigned seed = 4711;

// How one child dies.
struct Death {
    bool isByCall;                   // else after the delay
    long call;                       // of the child's own, counted from its first operation
    std::chrono::microseconds delay; // from the first acknowledgement
    StartVariant variant;
};

// The child: runs the operations in their order and writes one byte for each that is done. Only async-signal-safe
// output and _exit: it must not run the parent's handlers.
[[noreturn]] void runChild(const Installation &installation, const Death &death, int acknowledgements)
{
    replacePlatformCalls();
    const std::vector<Operation> operations = writingOperations(installation);
    EngineSession session(installation, death.variant);
    if (session.result() != VELQ_SUCCESS) {
        _exit(2);
    }
    const char done = 'd';
    if (write(acknowledgements, &done, 1) != 1) {
        _exit(3);
    }
    if (death.isByCall) {
        arm(Fault::kill, death.call, Duration::once);
    }
    for (const Operation &operation : operations) {
        if (operation.run() != VELQ_SUCCESS || write(acknowledgements, &done, 1) != 1) {
            _exit(4);
        }
    }
    _exit(0);
}

int readAcknowledgements(int from)
{
    int count = 0;
    char byte = 0;
    for (;;) {
        const ssize_t got = read(from, &byte, 1);
        if (got == 1) {
            ++count;
        } else if (got == 0 || errno != EINTR) {
            return count;
        }
    }
}

struct Outcome {
    bool wasKilled;
    int status;
    int operationsDone;
};

Outcome runAndKill(const Installation &installation, const Death &death)
{
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        runChild(installation, death, ends[1]);
    }
    close(ends[1]);
    int done = 0;
    char started = 0;
    done += read(ends[0], &started, 1) == 1 ? 1 : 0;
    if (!death.isByCall) {
        std::this_thread::sleep_for(death.delay);
        kill(child, SIGKILL);
    }
    done += readAcknowledgements(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, status, done - 1};
}

// Every state after the first `done` operations and a prefix of the transactions of the next one.
std::set<std::string> statesAfter(Stores stores, const std::vector<Operation> &operations, std::size_t done)
{
    for (std::size_t i = 0; i < done; ++i) {
        apply(stores, operations[i]);
    }
    std::set<std::string> states = {stores.text()};
    if (done < operations.size()) {
        for (const Transaction &transaction : operations[done].transactions) {
            apply(stores, transaction);
            states.insert(stores.text());
        }
    }
    return states;
}

Death randomDeath(std::mt19937 &random)
{
    constexpr long mostCalls = 1400; // somewhat more than all operations make
    constexpr int mostDelay = 60'000;
    const bool isByCall = random() % 4 != 0;
    return {isByCall, std::uniform_int_distribution<long>(1, mostCalls)(random),
            std::chrono::microseconds(std::uniform_int_distribution<int>(0, mostDelay)(random)),
            random() % 2 == 0 ? StartVariant::plain : StartVariant::norix};
}

} // namespace

class Crash : public testing::TestWithParam<Journal> {};

TEST_P(Crash, leaves_every_acknowledged_operation_and_a_prefix_of_the_next)
{
    const int wanted = std::getenv("VELQ_RELIABILITY_FULL") != nullptr ? killsInFullForm : killsInNormalForm;
    std::mt19937 random(seed);
    std::map<int, int> killsAfter; // by count of operations done
    int kills = 0;
    for (int runs = 0; kills < wanted; ++runs) {
        ASSERT_LT(runs, 10 * wanted) << "the children outlive their kill";
        const Death death = randomDeath(random);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", run " << runs
                                        << (death.isByCall ? ", call " : ", microseconds ")
                                        << (death.isByCall ? death.call : static_cast<long>(death.delay.count()))
                                        << ", " << death.variant);
        Installation installation;
        fillInstallation(installation);
        installation.setJournal(GetParam());
        const Stores before = readStores(installation);
        const std::vector<Operation> operations = writingOperations(installation);
        const Outcome outcome = runAndKill(installation, death);
        ASSERT_TRUE(outcome.wasKilled || outcome.status == 0) << "status " << outcome.status;
        if (outcome.wasKilled) {
            ++kills;
            ++killsAfter[outcome.operationsDone];
        }
        const auto done = static_cast<std::size_t>(std::max(outcome.operationsDone, 0));
        const Stores found = readStores(installation);
        ASSERT_TRUE(statesAfter(before, operations, done).contains(found.text())) << done << " done\n" << found.text();
        for (const char *name : dataFileNames) {
            ASSERT_EQ(installation.open(name).integrityCheck(), "ok") << name;
        }
        const EngineSession session(installation, death.variant);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        ASSERT_EQ(VELQ_RemoveAllWhiteNumberSync(VELQ_HIDDEN_ANY), VELQ_SUCCESS);
    }
    for (const auto &[done, count] : killsAfter) {
        std::printf("%d killed after %d operations\n", count, done);
    }
    // Kills are spread over the operations, not gathered in one.
    EXPECT_GE(killsAfter.size(), 6U);
}

INSTANTIATE_TEST_SUITE_P(Journals, Crash, testing::Values(Journal::rollback, Journal::writeAhead),
                         testing::PrintToStringParamName());

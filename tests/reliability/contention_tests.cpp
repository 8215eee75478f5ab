// Two processes with four threads each on one installation: one thread updates, one edits a list, one rates and
// corrects as the only one of its process, one reads. Nothing crashes, every refusal is a documented one, and every
// acknowledged write is found at the end. Beside that, the busy rule against a lock held for a while.
//
// The normal form runs for four seconds. A minute: VELQ_RELIABILITY_FULL=1 build/bin/velq_contention_tests; with races
// looked for: the same in build-tsan (cmake --preset tsan).
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <vector>

using namespace velq::test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

std::chrono::seconds duration()
{
    return std::chrono::seconds(std::getenv("VELQ_RELIABILITY_FULL") != nullptr ? 60 : 4);
}

// What a thread of a worker process found; counted per process and sent to the parent as it stands.
struct Tally {
    std::int64_t calls = 0;
    std::int64_t refused = 0;    // -2
    std::int64_t turnedAway = 0; // -4, an update running
    std::int64_t undocumented = 0;
    std::int64_t lost = 0; // acknowledged writes that a read of the same thread did not find
};

void count(Tally &tally, std::int32_t result, bool mayBeTurnedAway = true)
{
    ++tally.calls;
    if (result == VELQ_ERR_FAILED) {
        ++tally.refused;
    } else if (result == VELQ_ERR_BUSY && mayBeTurnedAway) {
        ++tally.turnedAway;
        std::this_thread::sleep_for(milliseconds(1));
    } else if (result != VELQ_SUCCESS) {
        ++tally.undocumented;
    }
}

const WideText spam = VELQ_TEXT("free cash prizes for you and lunch");

struct Worker {
    const Installation &installation;
    int number; // of the process, 0 or 1
    steady_clock::time_point end;

    bool goesOn() const
    {
        return steady_clock::now() < end;
    }
};

std::filesystem::path updateFile(const Installation &installation, int worker, const char *kind)
{
    return installation.folder() / (std::string(kind) + std::to_string(worker));
}

void update(const Worker &worker, Tally &tally)
{
    const WideText tokens = widePath(updateFile(worker.installation, worker.number, "tokens"));
    const WideText numbers = widePath(updateFile(worker.installation, worker.number, "numbers"));
    for (std::int32_t version = 1; worker.goesOn(); ++version) {
        count(tally, VELQ_UpdateData(tokens.c_str(), version, nullptr, 0));
        count(tally, VELQ_UpdateData(nullptr, 0, numbers.c_str(), version)); // refused from the second time on
        std::this_thread::sleep_for(milliseconds(150));
    }
}

WideText ownNumber(int worker, int index)
{
    return wide("55" + std::to_string(worker) + std::to_string(10000 + index));
}

// The rows of the black list, which the other worker may be writing.
Rows blackRows(const Installation &installation)
{
    constexpr std::chrono::seconds longest{60};
    const auto end = std::chrono::steady_clock::now() + longest;
    for (;;) {
        try {
            return installation.numberRows(NumberList::black);
        } catch (const std::runtime_error &) {
            if (std::chrono::steady_clock::now() > end) {
                throw;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
}

std::set<std::string> listed(const Installation &installation)
{
    std::set<std::string> numbers;
    for (const Row &row : blackRows(installation)) {
        std::string key = row.at(2).bytes.substr(0, row.at(2).bytes.find('\0'));
        std::reverse(key.begin(), key.end());
        numbers.insert(key);
    }
    return numbers;
}

// Adds and removes numbers that nobody else touches. Returns the acknowledged content; a refused edit changes nothing.
std::set<std::string> edit(const Worker &worker, Tally &tally)
{
    constexpr int mostNumbers = 60;
    std::set<std::string> expected;
    std::mt19937 random(static_cast<unsigned>(worker.number));
    while (worker.goesOn()) {
        WideText number = ownNumber(worker.number, static_cast<int>(random() % mostNumbers));
        const NumberRecord record{number.data(), nullptr};
        const bool isAdded = random() % 3 != 0;
        const std::int32_t result =
            isAdded ? VELQ_AddBlackNumberSync(&record, 0, 0) : VELQ_RemoveBlackNumberSync(&record);
        count(tally, result);
        if (result == VELQ_SUCCESS && isAdded) {
            expected.insert(utf8(number));
        } else if (result == VELQ_SUCCESS) {
            expected.erase(utf8(number));
        }
    }
    return expected;
}

void rateAndCorrect(const Worker &worker, Tally &tally)
{
    for (int round = 0; worker.goesOn(); ++round) {
        std::uint32_t rating = 99;
        count(tally, VELQ_CheckSpamMsgSync(&rating, spam.c_str(), VELQ_TEXT("5551")), false);
        tally.undocumented += rating <= VELQ_RATING_UNSURE ? 0 : 1;
        count(tally,
              round % 2 == 0 ? VELQ_SetMsgAsSpam(spam.c_str()) : VELQ_SetMsgAsHam(spam.c_str(), VELQ_TEXT("5559")));
    }
}

void readEverything(const Worker &worker, Tally &tally)
{
    while (worker.goesOn()) {
        NumberListNode *black = nullptr;
        UIDListNode *uids = nullptr;
        NumberRecord record{};
        VersionRecord version{VELQ_DATA_PROBABILITY, 0};
        std::int32_t total = 0;
        count(tally, VELQ_GetBlackNumberList(&black, VELQ_HIDDEN_ANY));
        count(tally, VELQ_GetWhiteNumberUIDList(&uids, 1));
        count(tally, VELQ_ReadWhiteNumberByUID(&record, 1));
        count(tally, VELQ_GetTotalCountOfBlackNumber(&total));
        count(tally, VELQ_GetCurVersion(&version));
        count(tally, VELQ_DeleteWhiteNumberByExtendID(77)); // there is none
        VELQ_FreeBlackNumberList(black);
        VELQ_FreeWhiteNumberUIDList(uids);
        VELQ_FreeWhiteNumber(&record);
    }
}

// After a start with kept connections adding a number looks it up on the connections of rating, so that the host runs
// the two one after the other; then one thread does both.
std::set<std::string> editAndRateInTurns(const Worker &worker, Tally &tally)
{
    std::set<std::string> expected;
    for (int round = 0; worker.goesOn(); ++round) {
        WideText number = ownNumber(worker.number, round % 60);
        const NumberRecord record{number.data(), nullptr};
        const std::int32_t result = VELQ_AddBlackNumberSync(&record, 0, 0);
        count(tally, result);
        if (result == VELQ_SUCCESS) {
            expected.insert(utf8(number));
        }
        std::uint32_t rating = 99;
        count(tally, VELQ_CheckSpamMsgSync(&rating, spam.c_str(), VELQ_TEXT("5551")), false);
        count(tally, VELQ_SetMsgAsSpam(spam.c_str()));
    }
    return expected;
}

void writeAll(int to, const void *bytes, std::size_t size)
{
    if (write(to, bytes, size) != static_cast<ssize_t>(size)) {
        _exit(5);
    }
}

// The whole life of a worker process: four threads, then its tally and its part of the list as it must be.
[[noreturn]] void runWorker(const Installation &installation, int number, StartVariant variant, int reports)
{
    EngineSession session(installation, variant);
    if (session.result() != VELQ_SUCCESS) {
        _exit(2);
    }
    const Worker worker{installation, number, steady_clock::now() + duration()};
    std::vector<Tally> tallies(4);
    std::set<std::string> expected;
    std::vector<std::thread> threads;
    threads.emplace_back([&] { update(worker, tallies[0]); });
    threads.emplace_back([&] { readEverything(worker, tallies[1]); });
    if (variant == StartVariant::plain) {
        threads.emplace_back([&] { expected = edit(worker, tallies[2]); });
        threads.emplace_back([&] { rateAndCorrect(worker, tallies[3]); });
    } else {
        threads.emplace_back([&] { expected = editAndRateInTurns(worker, tallies[2]); });
        threads.emplace_back([&] { readEverything(worker, tallies[3]); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    if (session.stop() != VELQ_SUCCESS) {
        _exit(3);
    }
    const std::string own = "55" + std::to_string(number);
    for (const std::string &each : listed(installation)) {
        if (each.starts_with(own) && expected.erase(each) == 0) {
            ++tallies[2].lost; // a removal was lost
        }
    }
    tallies[2].lost += static_cast<std::int64_t>(expected.size()); // an addition was lost
    writeAll(reports, tallies.data(), tallies.size() * sizeof(Tally));
    // Not exit: the parent's objects are not the child's to destroy.
    std::fflush(nullptr);
    _exit(0);
}

void layOut(Installation &installation)
{
    installation.addTokens({{VELQ_TEXT("free"), {9, 1, 0}},
                            {VELQ_TEXT("cash"), {8, 1, 0}},
                            {VELQ_TEXT("priz"), {7, 0, 0}},
                            {VELQ_TEXT("lunc"), {5, 9, 0}}});
    installation.setMessageCounts(40, 50);
    installation.addNumber(NumberList::black, "5551");
    for (int worker = 0; worker < 2; ++worker) {
        std::vector<ProbabilityRow> tokens;
        std::vector<WhiteNumberRow> numbers;
        for (int i = 0; i < 50; ++i) {
            tokens.push_back(probabilityRow(wide("t" + std::to_string(100 + i)), {1, 1, 0}));
            numbers.push_back(whiteNumberRow(wide(std::to_string(worker * 1000 + i)), VELQ_TEXT("n")));
        }
        makeProbabilityUpdate(updateFile(installation, worker, "tokens"), tokens);
        makeWhiteNumberUpdate(updateFile(installation, worker, "numbers"), numbers);
    }
}

class Contention : public testing::TestWithParam<std::tuple<StartVariant, Journal>> {};

} // namespace

TEST_P(Contention, two_processes_with_four_threads_each_lose_no_acknowledged_write)
{
    constexpr int workers = 2;
    constexpr std::size_t threadsOfWorker = 4;
    const auto [variant, journal] = GetParam();
    Installation installation;
    layOut(installation);
    installation.setJournal(journal);
    int reports[workers][2];
    pid_t children[workers];
    std::fflush(nullptr);
    for (int i = 0; i < workers; ++i) {
        ASSERT_EQ(pipe(reports[i]), 0);
        children[i] = fork();
        if (children[i] == 0) {
            runWorker(installation, i, variant, reports[i][1]);
        }
        close(reports[i][1]);
    }
    for (int i = 0; i < workers; ++i) {
        SCOPED_TRACE(testing::Message() << "worker " << i);
        std::vector<Tally> tallies(threadsOfWorker);
        const auto size = static_cast<ssize_t>(tallies.size() * sizeof(Tally));
        EXPECT_EQ(read(reports[i][0], tallies.data(), static_cast<std::size_t>(size)), size);
        close(reports[i][0]);
        int status = 0;
        ASSERT_EQ(waitpid(children[i], &status, 0), children[i]);
        EXPECT_EQ(status, 0);
        const char *const names[] = {"updates", "reads", "edits",
                                     variant == StartVariant::plain ? "ratings" : "more reads"};
        for (std::size_t thread = 0; thread < tallies.size(); ++thread) {
            const Tally &tally = tallies[thread];
            std::printf("worker %d, %s: %lld calls, %lld refused, %lld turned away\n", i, names[thread],
                        static_cast<long long>(tally.calls), static_cast<long long>(tally.refused),
                        static_cast<long long>(tally.turnedAway));
            EXPECT_GT(tally.calls, 0);
            EXPECT_LT(tally.refused + tally.turnedAway, tally.calls);
            EXPECT_EQ(tally.undocumented, 0);
            EXPECT_EQ(tally.lost, 0);
        }
    }
    for (const char *name : {"prob.bin", "bn.bin", "wn.bin", "ru.bin", "ver.bin"}) {
        EXPECT_EQ(installation.open(name).integrityCheck(), "ok") << name;
    }
}

INSTANTIATE_TEST_SUITE_P(StartsAndJournals, Contention,
                         testing::Combine(testing::Values(StartVariant::plain, StartVariant::norix),
                                          testing::Values(Journal::rollback, Journal::writeAhead)),
                         [](const auto &given) {
                             return testing::PrintToString(std::get<0>(given.param)) + "_" +
                                    testing::PrintToString(std::get<1>(given.param));
                         });

// ---- A lock held for a while

namespace {

// Holds the lock on the black list for `time` while a number is added; what the add returned. `held` tells how long it
// really was.
std::int32_t addUnderLock(const Installation &installation, milliseconds time, milliseconds *held)
{
    HeldLock lock(installation.dataFile("bn.bin"), HeldLock::Kind::immediate);
    const auto start = steady_clock::now();
    std::thread holder([&] {
        std::this_thread::sleep_for(time);
        lock.release();
        *held = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
    });
    WideText number = VELQ_TEXT("13812345678");
    const NumberRecord record{number.data(), nullptr};
    const std::int32_t result = VELQ_AddBlackNumberSync(&record, 0, 0);
    holder.join();
    return result;
}

std::vector<std::string> retriesIn(const Installation &installation)
{
    std::vector<std::string> retries;
    for (const std::string &line : normalisedLog(installation.logFile("engine.log"))) {
        if (line.find("There's still retry chance") != std::string::npos) {
            retries.push_back(line);
        }
    }
    return retries;
}

} // namespace

TEST(BusyRule, a_lock_held_for_200_milliseconds_is_survived)
{
    // On a busy machine the holder may wake too late; then the run tells nothing and is made again.
    constexpr milliseconds mostThatIsSurvived{240};
    constexpr int attempts = 20;
    for (int i = 0; i < attempts; ++i) {
        const Installation installation;
        const EngineSession session(installation);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        milliseconds held{};
        const std::int32_t result = addUnderLock(installation, milliseconds(200), &held);
        if (held > mostThatIsSurvived && result != VELQ_SUCCESS) {
            continue;
        }
        EXPECT_EQ(result, VELQ_SUCCESS);
        EXPECT_EQ(installation.numberRows(NumberList::black).size(), 1U);
        const std::size_t retries = retriesIn(installation).size();
        EXPECT_GE(retries, 1U);
        EXPECT_LE(retries, 5U);
        return;
    }
    FAIL() << "the lock was never held for about 200 milliseconds";
}

TEST(BusyRule, a_lock_held_for_400_milliseconds_is_refused_after_five_retries)
{
    constexpr int attempts = 20;
    constexpr milliseconds longestWait{390};
    for (int i = 0; i < attempts; ++i) {
        const Installation installation;
        const EngineSession session(installation);
        ASSERT_EQ(session.result(), VELQ_SUCCESS);
        const auto start = steady_clock::now();
        milliseconds held{};
        std::int32_t result = 0;
        result = addUnderLock(installation, milliseconds(400), &held);
        if (result == VELQ_SUCCESS && steady_clock::now() - start > longestWait + milliseconds(30)) {
            continue; // the waits themselves took longer than the lock was held
        }
        EXPECT_EQ(result, VELQ_ERR_FAILED);
        EXPECT_TRUE(installation.numberRows(NumberList::black).empty());
        const std::vector<std::string> retries = retriesIn(installation);
        ASSERT_EQ(retries.size(), 5U);
        for (std::size_t retry = 0; retry < retries.size(); ++retry) {
            EXPECT_NE(retries[retry].find("has retry " + std::to_string(retry) + " times"), std::string::npos);
        }
        return;
    }
    FAIL() << "five waits of 50 milliseconds never ended within 400";
}

// Each writing operation, with each kind of fault below SQLite at each call that the operation makes: the result is a
// documented one, the data files are sound and hold what the promises of the operation allow, no lock is left, and the
// operation works again once the fault is gone.
//
// The normal form takes every call for file faults, and every one of the first allocations, then every seventh, for
// memory. All of them, and faults that last: VELQ_RELIABILITY_FULL=1 build/bin/velq_vfs_fault_tests
#include "fault_layer.h"
#include "store_model.h"
#include "support/engine_session.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <tuple>

using namespace velq::reliability;
using velq::test::dataFileNames;
using velq::test::EngineSession;
using velq::test::Journal;
using velq::test::readFile;
using velq::test::StartVariant;
using velq::test::writeFile;

namespace {

bool isFullForm()
{
    return std::getenv("VELQ_RELIABILITY_FULL") != nullptr;
}

constexpr std::array<Fault, 13> faults = {Fault::write,       Fault::cutWrite, Fault::diskFull,  Fault::sync,
                                          Fault::open,        Fault::lockBusy, Fault::lockError, Fault::read,
                                          Fault::cutRead,     Fault::truncate, Fault::remove,    Fault::databaseMemory,
                                          Fault::engineMemory};

// Whether the fault can hide stored values from the engine.
bool hidesValues(Fault fault)
{
    return fault != Fault::write && fault != Fault::cutWrite && fault != Fault::diskFull && fault != Fault::sync &&
           fault != Fault::truncate && fault != Fault::remove;
}

// An installation that can be put back to its first state.
class Original {
  public:
    explicit Original(Journal journal = Journal::rollback)
    {
        fillInstallation(installation_);
        installation_.setJournal(journal);
        for (const char *name : dataFileNames) {
            bytes_.push_back(readFile(installation_.dataFile(name)));
        }
        stores_ = readStores(installation_);
    }

    void restore() const
    {
        for (std::size_t i = 0; i < dataFileNames.size(); ++i) {
            for (const char *suffix : {"-journal", "-wal", "-shm"}) {
                std::filesystem::remove(installation_.dataFile(dataFileNames[i]).string() + suffix);
            }
            writeFile(installation_.dataFile(dataFileNames[i]), bytes_[i]);
        }
        for (const char *name : {"engine.log", "norix-engine.log"}) {
            std::filesystem::remove(installation_.logFile(name));
        }
    }

    const Installation &installation() const
    {
        return installation_;
    }
    const Stores &stores() const
    {
        return stores_;
    }

  private:
    Installation installation_;
    std::vector<std::string> bytes_;
    Stores stores_;
};

Operation operationNamed(const std::string &name, const Installation &installation)
{
    std::vector<Operation> all = writingOperations(installation);
    return *std::find_if(all.begin(), all.end(), [&name](const Operation &each) { return each.name == name; });
}

void expectSoundAndUnlocked(const Installation &installation)
{
    for (const char *name : dataFileNames) {
        velq::test::Database file = installation.open(name);
        EXPECT_EQ(file.integrityCheck(), "ok") << name;
        EXPECT_NO_THROW(file.exec("BEGIN EXCLUSIVE; ROLLBACK;")) << name;
    }
}

// A result of success tells that the last transaction of these is stored, one of failure that it is not.
bool tellsLastTransaction(const Operation &operation)
{
    return operation.name == "add" || operation.name == "batch add" || operation.name == "remove" ||
           operation.name == "record a version";
}

bool isLastStored(const Stores &found, const Operation &operation)
{
    Stores again = found;
    apply(again, operation.transactions.back());
    if (operation.name == "add" || operation.name == "batch add") { // applying it once more adds rows once more
        const velq::test::Rows &rows = operation.name == "add" ? again.black : again.white;
        return std::count(rows.begin(), rows.end(), rows.back()) > 1;
    }
    return again.text() == found.text();
}

// Success, but for a white-number update whose last number is on the list already: that one is refused.
std::int32_t resultOfNextCall(const Operation &operation, const Stores &found)
{
    constexpr std::size_t rowsOfUpdate = 3;
    const bool isMerged = operation.name == "merge white numbers" && found.white.size() >= 2 + rowsOfUpdate;
    return isMerged ? VELQ_ERR_FAILED : VELQ_SUCCESS;
}

using Case = std::tuple<std::string, StartVariant, Journal>;

class FaultBelow : public testing::TestWithParam<Case> {
  protected:
    FaultBelow()
        : original_(std::get<2>(GetParam())),
          operation_(operationNamed(std::get<0>(GetParam()), original_.installation())),
          strictStates_(statesAfterFailure(original_.stores(), operation_, false)),
          readingStates_(statesAfterFailure(original_.stores(), operation_, true))
    {
        replacePlatformCalls();
    }

    // Runs the operation with the fault; false when the operation makes fewer calls than that.
    bool runWithFault(Fault fault, long call, Duration duration)
    {
        SCOPED_TRACE(testing::Message() << fault << " at call " << call
                                        << (duration == Duration::once ? "" : " and from there on"));
        original_.restore();
        EngineSession session(original_.installation(), std::get<1>(GetParam()));
        EXPECT_EQ(session.result(), VELQ_SUCCESS);
        arm(fault, call, duration);
        const std::int32_t result = operation_.run();
        if (!disarm()) {
            EXPECT_EQ(result, VELQ_SUCCESS);
            return false;
        }
        EXPECT_TRUE(operation_.results.contains(result)) << result;
        expectSoundAndUnlocked(original_.installation());
        const Stores found = readStores(original_.installation());
        const std::set<std::string> &allowed = hidesValues(fault) ? readingStates_ : strictStates_;
        EXPECT_TRUE(allowed.contains(found.text())) << found.text();
        if (tellsLastTransaction(operation_)) {
            EXPECT_EQ(result == VELQ_SUCCESS, isLastStored(found, operation_)) << result << '\n' << found.text();
        }
        if (fault == Fault::diskFull && operation_.name == "batch add") {
            EXPECT_EQ(result, VELQ_ERR_DATABASE_FULL);
        }
        EXPECT_EQ(operation_.run(), resultOfNextCall(operation_, found)) << "the next call";
        expectSoundAndUnlocked(original_.installation());
        EXPECT_EQ(session.stop(), VELQ_SUCCESS);
        return true;
    }

    Original original_;
    Operation operation_;
    std::set<std::string> strictStates_;
    std::set<std::string> readingStates_;
};

long nextCall(Fault fault, long call)
{
    constexpr long everyOneUpTo = 40;
    constexpr long step = 7;
    const bool isMemory = fault == Fault::databaseMemory || fault == Fault::engineMemory;
    return call + (isMemory && call >= everyOneUpTo && !isFullForm() ? step : 1);
}

} // namespace

TEST_P(FaultBelow, leaves_what_the_operation_promises)
{
    int runs = 0;
    for (const Fault fault : faults) {
        for (const Duration duration : {Duration::once, Duration::fromThereOn}) {
            const bool isWanted = duration == Duration::once || isFullForm() || fault == Fault::lockBusy ||
                                  fault == Fault::diskFull || fault == Fault::write;
            for (long call = 1; isWanted && runWithFault(fault, call, duration); call = nextCall(fault, call)) {
                ++runs;
                ASSERT_FALSE(HasFailure());
            }
        }
    }
    EXPECT_GT(runs, 50);
    std::printf("%d faults\n", runs);
}

static std::string nameOfCase(const testing::TestParamInfo<Case> &info)
{
    std::string name = std::get<0>(info.param);
    std::replace(name.begin(), name.end(), ' ', '_');
    return name + (std::get<1>(info.param) == StartVariant::norix ? "_with_kept_connections" : "") +
           (std::get<2>(info.param) == Journal::writeAhead ? "_in_write_ahead_mode" : "");
}

INSTANTIATE_TEST_SUITE_P(Operations, FaultBelow,
                         testing::Combine(testing::Values("add", "batch add", "remove", "train", "correct to spam",
                                                          "correct to ham", "merge tokens", "merge white numbers",
                                                          "record a version"),
                                          testing::Values(StartVariant::plain, StartVariant::norix),
                                          testing::Values(Journal::rollback)),
                         nameOfCase);

// Those that touch the token store.
INSTANTIATE_TEST_SUITE_P(WriteAhead, FaultBelow,
                         testing::Combine(testing::Values("train", "correct to spam", "correct to ham", "merge tokens"),
                                          testing::Values(StartVariant::plain, StartVariant::norix),
                                          testing::Values(Journal::writeAhead)),
                         nameOfCase);

TEST(StoreModel, agrees_with_the_engine_where_nothing_fails)
{
    const Original original;
    for (const Operation &operation : writingOperations(original.installation())) {
        SCOPED_TRACE(operation.name);
        original.restore();
        const EngineSession session(original.installation());
        EXPECT_EQ(operation.run(), VELQ_SUCCESS);
        Stores expected = original.stores();
        apply(expected, operation);
        EXPECT_EQ(readStores(original.installation()).text(), expected.text());
        EXPECT_NE(expected.text(), original.stores().text());
    }
}

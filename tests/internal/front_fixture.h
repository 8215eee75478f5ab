// What the tests of the engine front share: a running engine on an installation of its own, the log lines that one call
// adds, and replaced platform calls that are put back at the end of the scope.
#ifndef VELQ_TEST_INTERNAL_FRONT_FIXTURE_H
#define VELQ_TEST_INTERNAL_FRONT_FIXTURE_H

#include "VELQ_Util.h"
#include "internal/dsh_faults.h"
#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::test {

// The process-wide state as it is at load. Ends what a test that failed in the middle has left behind.
inline void resetEngineState()
{
    if (engineState.logFile != nullptr) {
        std::fclose(engineState.logFile);
        engineState.logFile = nullptr;
    }
    freeAllFilePaths();
    for (VELQ_DSH_Connection **connection :
         {&engineState.tokenStoreConn, &engineState.whiteListConn, &engineState.blackListConn}) {
        VELQ_DSH_Close(*connection);
        *connection = nullptr;
    }
    engineState.isInitialised = 0;
    engineState.isUpdating.store(0);
    engineState.isDebugEnabled = 0;
}

// Puts the system's own platform calls back at the end of the scope.
class PlatformGuard {
  public:
    PlatformGuard() = default;
    ~PlatformGuard()
    {
        platformCalls = systemPlatformCalls();
    }
    PlatformGuard(const PlatformGuard &) = delete;
    PlatformGuard &operator=(const PlatformGuard &) = delete;
};

// Counts the waits of the busy rule, and waits for none.
class CountedSleeps {
  public:
    CountedSleeps()
    {
        count() = 0;
        platformCalls.sleepMilliseconds = [](std::uint32_t milliseconds) noexcept {
            count() += milliseconds == 50 ? 1 : 1000;
        };
    }
    int number() const
    {
        return count();
    }

  private:
    static int &count()
    {
        static int value = 0;
        return value;
    }

    PlatformGuard guard_;
};

// Makes one allocation fail and counts what is allocated and not released.
class AllocationGuard {
  public:
    // `nth` counts from 1; 0 lets all succeed.
    explicit AllocationGuard(int nth)
    {
        count() = 0;
        failing() = nth;
        outstanding() = 0;
        platformCalls.allocate = [](std::size_t size) noexcept -> void * {
            if (++count() == failing()) {
                return nullptr;
            }
            ++outstanding();
            return systemPlatformCalls().allocate(size);
        };
        platformCalls.release = [](void *memory) noexcept {
            outstanding() -= memory != nullptr ? 1 : 0;
            systemPlatformCalls().release(memory);
        };
    }
    ~AllocationGuard()
    {
        platformCalls = systemPlatformCalls();
    }
    AllocationGuard(const AllocationGuard &) = delete;
    AllocationGuard &operator=(const AllocationGuard &) = delete;

    bool failureHappened() const
    {
        return failing() != 0 && count() >= failing();
    }
    int notReleased() const
    {
        return outstanding();
    }

  private:
    static int &count()
    {
        static int value = 0;
        return value;
    }
    static int &failing()
    {
        static int value = 0;
        return value;
    }
    static int &outstanding()
    {
        static int value = 0;
        return value;
    }
};

// Calls again and again, one allocation after the other failing, until none fails: the last call succeeds. No call may
// leave anything behind, and `look` gets the number and the result of each that an allocation failed in. Returns their
// number.
template <typename Call, typename Look>
int failEachAllocation(const Call &call, const Look &look)
{
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        const DshWatch watch;
        int result = 0;
        bool happened = false;
        {
            const AllocationGuard allocations(nth);
            result = call();
            happened = allocations.failureHappened();
            EXPECT_EQ(allocations.notReleased(), 0);
        }
        EXPECT_TRUE(watch.everythingReleased());
        if (!happened) {
            EXPECT_EQ(result, 0);
            return nth - 1;
        }
        look(nth, result, watch);
    }
}

enum class Trace : std::uint8_t { off, on };

class RunningEngine {
  public:
    explicit RunningEngine(Trace trace, StartVariant variant = StartVariant::plain)
        : logName_(logFileNameOf(variant)), session_(started(installation, trace), variant)
    {
        newLines();
    }
    ~RunningEngine()
    {
        session_.stop();
        resetEngineState();
    }
    RunningEngine(const RunningEngine &) = delete;
    RunningEngine &operator=(const RunningEngine &) = delete;

    bool isRunning() const
    {
        return session_.result() == 0;
    }
    EngineSession &session()
    {
        return session_;
    }
    // The log lines since the last call, with module names for source positions.
    std::vector<std::string> newLines()
    {
        return log_.newLines(installation.logFile(logName_));
    }

    Installation installation;

  private:
    static const Installation &started(const Installation &made, Trace trace)
    {
        if (trace == Trace::on) {
            made.enableDebug();
        }
        return made;
    }

    std::string logName_;
    LogTail log_;
    EngineSession session_;
};

// One expected log line.
struct ExpectedLine {
    bool isError;
    std::string text;
};

// The lines that are written without the trace, or all of them with it.
inline std::vector<std::string> expectedLog(const std::vector<ExpectedLine> &lines, Trace trace)
{
    std::vector<std::string> written;
    for (const ExpectedLine &line : lines) {
        if (line.isError || trace == Trace::on) {
            written.push_back(line.text);
        }
    }
    return written;
}

} // namespace velq::test

#endif

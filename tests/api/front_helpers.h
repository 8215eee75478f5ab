// What the tests of the engine front and the number lists share when they go through the shared library.
#ifndef VELQ_TEST_API_FRONT_HELPERS_H
#define VELQ_TEST_API_FRONT_HELPERS_H

#include "support/engine_session.h"
#include "support/installation.h"
#include "support/log_reader.h"
#include "support/wide.h"
#include "velq.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace velq::test {

using Lines = std::vector<std::string>;

inline Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// An installation with a running engine; the trace is on when asked for.
class FrontEngine {
  public:
    explicit FrontEngine(StartVariant variant = StartVariant::plain, bool trace = false)
        : logName_(logFileNameOf(variant)), session_(prepared(installation, trace), variant)
    {
        newLines();
    }

    bool isRunning() const
    {
        return session_.result() == VELQ_SUCCESS;
    }
    EngineSession &session()
    {
        return session_;
    }
    // The normalised log lines since the last call.
    Lines newLines()
    {
        return log_.newLines(installation.logFile(logName_));
    }

    Installation installation;

  private:
    static const Installation &prepared(const Installation &made, bool trace)
    {
        if (trace) {
            made.enableDebug();
        }
        return made;
    }

    std::string logName_;
    LogTail log_;
    EngineSession session_;
};

// An installation that a test fills before it starts the engine, in either way of starting.
class StartedByTest : public testing::TestWithParam<StartVariant> {
  protected:
    void start()
    {
        session.emplace(installation, GetParam());
        ASSERT_EQ(session->result(), 0);
        newLines();
    }

    // The normalised log lines since the last call.
    Lines newLines()
    {
        return log_.newLines(installation.logFile(logFileNameOf(GetParam())));
    }

    Installation installation;
    std::optional<EngineSession> session;

  private:
    LogTail log_;
};

// After a start that failed: a start that succeeds and its stop close what the failed one has left open. Only the
// failed start's log stream is out of reach.
class FailedStartCleanup {
  public:
    FailedStartCleanup() = default;
    ~FailedStartCleanup()
    {
        const Installation sound;
        EngineSession(sound, StartVariant::norix).stop();
    }
    FailedStartCleanup(const FailedStartCleanup &) = delete;
    FailedStartCleanup &operator=(const FailedStartCleanup &) = delete;
};

// A record of the interface over texts of its own.
class OwnedRecord {
  public:
    explicit OwnedRecord(const std::string &number, const std::string &name = {})
        : number_(wide(number)), name_(wide(name)), record_{number_.data(), name_.data()}
    {
    }
    OwnedRecord(const OwnedRecord &) = delete;
    OwnedRecord &operator=(const OwnedRecord &) = delete;

    OwnedRecord &withoutName()
    {
        record_.name = nullptr;
        return *this;
    }
    OwnedRecord &withoutNumber()
    {
        record_.number = nullptr;
        return *this;
    }
    const NumberRecord *get() const
    {
        return &record_;
    }

  private:
    WideText number_;
    WideText name_;
    NumberRecord record_;
};

// The exports of the two lists under one name each.
struct ListExports {
    const char *name;
    NumberList list;
    NumberList other;
    std::int32_t (*add)(const NumberRecord *, std::int32_t, std::int32_t);
    std::int32_t (*remove)(const NumberRecord *);
    std::int32_t (*removeAll)(std::int32_t);
    std::int32_t (*deleteByUid)(std::int32_t);
    std::int32_t (*deleteByExtendId)(std::int32_t);
    std::int32_t (*getList)(NumberListNode **, std::int32_t);
    std::int32_t (*getUids)(UIDListNode **, std::int32_t);
    std::int32_t (*read)(NumberRecord *, std::int32_t);
    std::int32_t (*count)(std::int32_t *);
    void (*freeList)(NumberListNode *);
    void (*freeUids)(UIDListNode *);
    void (*freeRecord)(NumberRecord *);
};

inline std::ostream &operator<<(std::ostream &out, const ListExports &exports)
{
    return out << exports.name;
}

inline const ListExports blackExports = {"black",
                                         NumberList::black,
                                         NumberList::white,
                                         VELQ_AddBlackNumberSync,
                                         VELQ_RemoveBlackNumberSync,
                                         VELQ_RemoveAllBlackNumberSync,
                                         VELQ_DeleteBlackNumberByUID,
                                         VELQ_DeleteBlackNumberByExtendID,
                                         VELQ_GetBlackNumberList,
                                         VELQ_GetBlackNumberUIDList,
                                         VELQ_ReadBlackNumberByUID,
                                         VELQ_GetTotalCountOfBlackNumber,
                                         VELQ_FreeBlackNumberList,
                                         VELQ_FreeBlackNumberUIDList,
                                         VELQ_FreeBlackNumber};

inline const ListExports whiteExports = {"white",
                                         NumberList::white,
                                         NumberList::black,
                                         VELQ_AddWhiteNumberSync,
                                         VELQ_RemoveWhiteNumberSync,
                                         VELQ_RemoveAllWhiteNumberSync,
                                         VELQ_DeleteWhiteNumberByUID,
                                         VELQ_DeleteWhiteNumberByExtendID,
                                         VELQ_GetWhiteNumberList,
                                         VELQ_GetWhiteNumberUIDList,
                                         VELQ_ReadWhiteNumberByUID,
                                         VELQ_GetTotalCountOfWhiteNumber,
                                         VELQ_FreeWhiteNumberList,
                                         VELQ_FreeWhiteNumberUIDList,
                                         VELQ_FreeWhiteNumber};

// The stored numbers of a list as displayed, in the order of their identifiers.
inline Lines storedNumbers(const Installation &installation, NumberList list)
{
    Lines numbers;
    for (const Row &row : installation.numberRows(list)) {
        std::string key = row.at(2).bytes;
        if (!key.empty() && key.back() == '\0') {
            key.pop_back();
        }
        numbers.emplace_back(key.rbegin(), key.rend());
    }
    return numbers;
}

// All five data files, for "nothing has changed".
inline Lines allStores(const Installation &installation)
{
    Lines lines;
    for (const char *name : dataFileNames) {
        const Lines part = installation.open(name).dump();
        lines.insert(lines.end(), part.begin(), part.end());
    }
    return lines;
}

} // namespace velq::test

#endif

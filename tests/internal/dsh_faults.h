// Stands between the engine's objects and the database-access library: records what the engine asks of it and makes a
// chosen call fail. The test program defines the access operations itself and forwards them to the library, so every
// phase of every database operation can be forced to fail.
#ifndef VELQ_TEST_INTERNAL_DSH_FAULTS_H
#define VELQ_TEST_INTERNAL_DSH_FAULTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velq::test {

enum class DshCall : std::uint8_t { open, busyHandler, makeUserHand, exec, prepare, bind, step, reset };

// Result codes for faults that the engine gives no meaning of its own.
inline constexpr int dshInputOutputError = 10;

struct DshFault {
    DshCall call;
    int code = dshInputOutputError;
    int nth = 1;              // which of the matching calls fails; later ones are forwarded again
    std::string sql = {};     // for exec and prepare: only calls with exactly this text match; empty matches all
    bool isForwarded = false; // the library does its work as well, and only the result is replaced
    bool isLasting = false;   // all matching calls from the nth on fail
    bool isBound = false;     // the layer names a bound, "some bound", once the fault has come about
};

// Records from its construction to its destruction. At most one exists at a time.
class DshWatch {
  public:
    DshWatch();
    explicit DshWatch(const DshFault &fault);
    ~DshWatch();
    DshWatch(const DshWatch &) = delete;
    DshWatch &operator=(const DshWatch &) = delete;

    // Every call in its order, one text each: "open bn.bin", "exec COMMIT TRANSACTION;", "mapText 2 12 bytes".
    const std::vector<std::string> &calls() const
    {
        return calls_;
    }
    // The SQL texts that were executed (transaction statements) and those that were prepared.
    std::vector<std::string> executed() const;
    std::vector<std::string> prepared() const;
    // Whether the fault's call came about.
    bool faultHappened() const
    {
        return faultHappened_;
    }
    // Every connection that was handed out is closed, every statement finalised, and no close was refused.
    bool everythingReleased() const
    {
        return openConnections_ == 0 && openStatements_ == 0 && refusedCloses_ == 0;
    }
    // The name of the bound that the fault stands for, or null.
    const char *bound() const
    {
        return faultHappened_ && fault_.isBound ? "some bound" : nullptr;
    }
    int connectionsOpened() const
    {
        return connectionsOpened_;
    }

    // For the stand-ins only. The code of a fault that this call meets, or 0.
    int faultFor(DshCall call, const char *sql, bool &isForwarded);
    void record(std::string call);
    void noteConnection(const void *connection);
    void noteClose(const void *connection, int result);
    void noteStatement(const void *statement);
    void noteFinalise(const void *statement);

  private:
    std::vector<std::string> withPrefix(std::string_view prefix) const;

    std::vector<std::string> calls_;
    DshFault fault_{DshCall::open, 0, 0};
    int matches_ = 0;
    bool faultHappened_ = false;
    int connectionsOpened_ = 0;
    int openConnections_ = 0;
    int openStatements_ = 0;
    int refusedCloses_ = 0;
};

} // namespace velq::test

#endif

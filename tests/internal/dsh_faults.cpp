// The stand-ins for the access operations that can fail or that hand out something to release, and their record. The
// other operations reach the library directly.
#include "internal/dsh_faults.h"

#include "VELQ_DSH.h"
#include "support/system.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace velq::test {

namespace {

DshWatch *activeWatch = nullptr;

template <typename Function>
Function libraryFunction(const char *name) noexcept
{
    void *found = accessLayerExport(name);
    if (found == nullptr) {
        std::fprintf(stderr, "%s is not in the database-access library\n", name);
        std::abort();
    }
    return reinterpret_cast<Function>(found);
}

std::string fileName(const char *path)
{
    const std::string text = path;
    const std::size_t slash = text.find_last_of("/\\");
    return slash == std::string::npos ? text : text.substr(slash + 1);
}

void record(std::string call)
{
    if (activeWatch != nullptr) {
        activeWatch->record(std::move(call));
    }
}

struct Interference {
    int code = 0;
    bool isForwarded = true;
};

Interference interferenceWith(DshCall call, const char *sql = nullptr)
{
    Interference interference;
    if (activeWatch != nullptr) {
        bool isForwarded = false;
        interference.code = activeWatch->faultFor(call, sql, isForwarded);
        interference.isForwarded = interference.code == 0 || isForwarded;
    }
    return interference;
}

int finish(const Interference &interference, int libraryResult)
{
    return interference.code != 0 ? interference.code : libraryResult;
}

} // namespace

DshWatch::DshWatch()
{
    activeWatch = this;
}

DshWatch::DshWatch(const DshFault &fault) : DshWatch()
{
    fault_ = fault;
}

DshWatch::~DshWatch()
{
    activeWatch = nullptr;
}

std::vector<std::string> DshWatch::withPrefix(std::string_view prefix) const
{
    std::vector<std::string> found;
    for (const std::string &call : calls_) {
        if (call.starts_with(prefix)) {
            found.push_back(call.substr(prefix.size()));
        }
    }
    return found;
}

std::vector<std::string> DshWatch::executed() const
{
    return withPrefix("exec ");
}

std::vector<std::string> DshWatch::prepared() const
{
    return withPrefix("prepare ");
}

int DshWatch::faultFor(DshCall call, const char *sql, bool &isForwarded)
{
    if (fault_.code == 0 || call != fault_.call || (!fault_.sql.empty() && (sql == nullptr || fault_.sql != sql))) {
        return 0;
    }
    ++matches_;
    if (matches_ < fault_.nth || (matches_ > fault_.nth && !fault_.isLasting)) {
        return 0;
    }
    faultHappened_ = true;
    isForwarded = fault_.isForwarded;
    return fault_.code;
}

void DshWatch::record(std::string call)
{
    calls_.push_back(std::move(call));
}

void DshWatch::noteConnection(const void *connection)
{
    if (connection != nullptr) {
        ++connectionsOpened_;
        ++openConnections_;
    }
}

void DshWatch::noteClose(const void *connection, int result)
{
    if (connection != nullptr) {
        --openConnections_;
        refusedCloses_ += result != VELQ_DSH_OK ? 1 : 0;
    }
}

void DshWatch::noteStatement(const void *statement)
{
    openStatements_ += statement != nullptr ? 1 : 0;
}

void DshWatch::noteFinalise(const void *statement)
{
    openStatements_ -= statement != nullptr ? 1 : 0;
}

} // namespace velq::test

using velq::test::activeWatch;
using velq::test::DshCall;
using velq::test::finish;
using velq::test::Interference;
using velq::test::interferenceWith;
using velq::test::libraryFunction;
using velq::test::record;

static int openRecorded(decltype(&VELQ_DSH_Open) real, const char *path, VELQ_DSH_Connection **connection) noexcept
{
    record("open " + velq::test::fileName(path));
    const Interference interference = interferenceWith(DshCall::open);
    const int result = finish(interference, interference.isForwarded ? real(path, connection) : 0);
    if (activeWatch != nullptr) {
        activeWatch->noteConnection(*connection);
    }
    return result;
}

int VELQ_DSH_Open(const char *path, VELQ_DSH_Connection **connection) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Open)>("VELQ_DSH_Open");
    return openRecorded(real, path, connection);
}

int VELQ_DSH_OpenForeign(const char *path, VELQ_DSH_Connection **connection) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_OpenForeign)>("VELQ_DSH_OpenForeign");
    return openRecorded(real, path, connection);
}

const char *VELQ_DSH_Bound(VELQ_DSH_Connection *connection) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Bound)>("VELQ_DSH_Bound");
    const char *forced = activeWatch != nullptr ? activeWatch->bound() : nullptr;
    return forced != nullptr ? forced : real(connection);
}

int VELQ_DSH_Close(VELQ_DSH_Connection *connection) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Close)>("VELQ_DSH_Close");
    if (connection != nullptr) {
        record("close");
    }
    const int result = real(connection);
    if (activeWatch != nullptr) {
        activeWatch->noteClose(connection, result);
    }
    return result;
}

int VELQ_DSH_Prepare(VELQ_DSH_Connection *connection, const char *sql, int length, VELQ_DSH_Statement **statement,
                     const char **tail) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Prepare)>("VELQ_DSH_Prepare");
    const std::string text(sql, static_cast<std::size_t>(length));
    record("prepare " + text);
    const Interference interference = interferenceWith(DshCall::prepare, text.c_str());
    const int result =
        finish(interference, interference.isForwarded ? real(connection, sql, length, statement, tail) : 0);
    if (activeWatch != nullptr && interference.isForwarded) {
        activeWatch->noteStatement(*statement);
    }
    return result;
}

int VELQ_DSH_Exec(VELQ_DSH_Connection *connection, const char *sql, VELQ_DSH_ExecCallback callback, void *argument,
                  char **error) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Exec)>("VELQ_DSH_Exec");
    record(std::string("exec ") + sql);
    const Interference interference = interferenceWith(DshCall::exec, sql);
    return finish(interference, interference.isForwarded ? real(connection, sql, callback, argument, error) : 0);
}

int VELQ_DSH_Reset(VELQ_DSH_Statement *statement) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Reset)>("VELQ_DSH_Reset");
    record("reset");
    const Interference interference = interferenceWith(DshCall::reset);
    return finish(interference, interference.isForwarded ? real(statement) : 0);
}

int VELQ_DSH_Fini(VELQ_DSH_Statement *statement) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Fini)>("VELQ_DSH_Fini");
    if (statement != nullptr) {
        record("fini");
    }
    if (activeWatch != nullptr) {
        activeWatch->noteFinalise(statement);
    }
    return real(statement);
}

void VELQ_DSH_Keep(VELQ_DSH_Statement *statement) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_Keep)>("VELQ_DSH_Keep");
    record("keep");
    if (activeWatch != nullptr) {
        activeWatch->noteFinalise(statement);
    }
    real(statement);
}

int VELQ_DSH_doNext(VELQ_DSH_Statement *statement) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_doNext)>("VELQ_DSH_doNext");
    record("step");
    const Interference interference = interferenceWith(DshCall::step);
    return finish(interference, interference.isForwarded ? real(statement) : 0);
}

int VELQ_DSH_mapBlob(VELQ_DSH_Statement *statement, int index, const void *bytes, int count,
                     VELQ_DSH_Destructor destructor) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_mapBlob)>("VELQ_DSH_mapBlob");
    record("mapBlob " + std::to_string(index) + " " + std::to_string(count) + " bytes");
    const Interference interference = interferenceWith(DshCall::bind);
    return finish(interference, interference.isForwarded ? real(statement, index, bytes, count, destructor) : 0);
}

int VELQ_DSH_mapInt(VELQ_DSH_Statement *statement, int index, int value) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_mapInt)>("VELQ_DSH_mapInt");
    record("mapInt " + std::to_string(index) + " " + std::to_string(value));
    const Interference interference = interferenceWith(DshCall::bind);
    return finish(interference, interference.isForwarded ? real(statement, index, value) : 0);
}

int VELQ_DSH_mapText(VELQ_DSH_Statement *statement, int index, const char *text, int count,
                     VELQ_DSH_Destructor destructor) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_mapText)>("VELQ_DSH_mapText");
    record("mapText " + std::to_string(index) + " " + std::to_string(count) + " bytes");
    const Interference interference = interferenceWith(DshCall::bind);
    return finish(interference, interference.isForwarded ? real(statement, index, text, count, destructor) : 0);
}

int VELQ_DSH_busyHandler(VELQ_DSH_Connection *connection, VELQ_DSH_BusyHandler handler, void *argument) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_busyHandler)>("VELQ_DSH_busyHandler");
    record("busyHandler" + std::string(argument != nullptr ? " with an argument" : ""));
    const Interference interference = interferenceWith(DshCall::busyHandler);
    return finish(interference, interference.isForwarded ? real(connection, handler, argument) : 0);
}

int VELQ_DSH_makeUserHand(VELQ_DSH_Connection *connection, const char *name, int arguments, int textRepresentation,
                          void *userData, VELQ_DSH_Function function, VELQ_DSH_Function step,
                          VELQ_DSH_Final final) noexcept
{
    static const auto real = libraryFunction<decltype(&VELQ_DSH_makeUserHand)>("VELQ_DSH_makeUserHand");
    record("makeUserHand " + std::string(name) + " " + std::to_string(arguments) + " " +
           std::to_string(textRepresentation) + (userData == connection ? " for the connection" : " for something") +
           (step == nullptr && final == nullptr ? "" : " as an aggregate"));
    const Interference interference = interferenceWith(DshCall::makeUserHand);
    return finish(interference, interference.isForwarded ? real(connection, name, arguments, textRepresentation,
                                                                userData, function, step, final)
                                                         : 0);
}

// Installations for measuring, and the engine on them in child processes.
#include "kit/evaluation/engine_runs.h"

#include "kit/base/child_process.h"
#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/engine/engine.h"
#include "velq.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace velq::kit {

namespace fs = std::filesystem;

namespace {

// What a child answers, value by value.
template <typename Value>
void append(std::string &bytes, const Value &value)
{
    bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
}

template <typename Value>
Value valueAt(const std::string &bytes, std::size_t offset)
{
    Value value{};
    if (bytes.size() < offset + sizeof value) {
        throw Error(Status::internal, "the process that ran the engine answered too little; please report this");
    }
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// A folder in memory where the system has one, unless the user names another place.
fs::path scratchParent()
{
    fs::path inMemory = "/dev/shm";
    std::error_code code;
    if (std::getenv("TMPDIR") == nullptr && ::access(inMemory.c_str(), W_OK | X_OK) == 0) {
        return inMemory;
    }
    return fs::temp_directory_path(code);
}

Rating rateOne(const Engine &engine, const TestMessage &message, const WideText &number)
{
    std::uint32_t answer = VELQ_RATING_UNSURE;
    const WideText body = wideFromUtf16(message.text);
    engine.check(VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str()), "rating a message failed");
    return ratingOf(answer);
}

} // namespace

bool isError(bool spam, Rating rating)
{
    return spam != (rating == Rating::spam);
}

EvaluationInstallation::EvaluationInstallation(const StoreContents &store)
    : folder_(scratchParent()), installation_(folder_.path())
{
    const fs::path file = installation_.root() / "store.bin";
    writeStoreContents(file, store);
    layOut(installation_, file);
    fs::remove(file);
}

void EvaluationInstallation::setTraining(bool on)
{
    kit::setTraining(installation_, on);
}

EngineRun EvaluationInstallation::rate(const std::vector<const TestMessage *> &messages) const
{
    const std::string answer = inChildProcess([&] {
        const Engine engine(installation_, Engine::Connections::kept);
        const WideText number = wideFromUtf16(unlistedNumber);
        std::string ratings;
        const auto start = std::chrono::steady_clock::now();
        for (const TestMessage *message : messages) {
            ratings += static_cast<char>(rateOne(engine, *message, number));
        }
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
        std::string result;
        append(result, spent.count());
        return result + ratings;
    });
    EngineRun run;
    run.seconds = valueAt<double>(answer, 0);
    for (std::size_t i = sizeof(double); i < answer.size(); ++i) {
        run.ratings.push_back(static_cast<Rating>(answer[i]));
    }
    if (run.ratings.size() != messages.size()) {
        throw Error(Status::internal, "the engine's process rated too few messages; please report this");
    }
    return run;
}

EvaluationInstallation::Taught EvaluationInstallation::teach(const std::vector<const TestMessage *> &messages,
                                                             std::uint64_t most, bool onlyErrors) const
{
    const std::string answer = inChildProcess([&] {
        const Engine engine(installation_, Engine::Connections::kept);
        const WideText number = wideFromUtf16(unlistedNumber);
        Taught taught;
        for (const TestMessage *message : messages) {
            if (taught.told == most) {
                break;
            }
            ++taught.read;
            if (onlyErrors && !isError(message->spam, rateOne(engine, *message, number))) {
                continue;
            }
            const WideText body = wideFromUtf16(message->text);
            engine.check(message->spam ? VELQ_SetMsgAsSpam(body.c_str())
                                       : VELQ_SetMsgAsHam(body.c_str(), number.c_str()),
                         "correcting a message failed");
            ++taught.told;
        }
        std::string result;
        append(result, taught.told);
        append(result, taught.read);
        return result;
    });
    return {valueAt<std::uint64_t>(answer, 0), valueAt<std::uint64_t>(answer, sizeof(std::uint64_t))};
}

StoreContents EvaluationInstallation::store() const
{
    return readStoreContents(installation_.dataFile("prob.bin"));
}

Explanation EvaluationInstallation::explain(const TestMessage &message) const
{
    return Explainer(installation_)
        .explain(wideFromUtf16(message.text), wideFromUtf16(unlistedNumber), Depth::allTokens);
}

} // namespace velq::kit

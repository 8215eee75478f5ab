// Installations for measuring, the engine in child processes, and the counting. How figures are shown is left to
// others.
#include "kit/evaluation/evaluation.h"

#include "kit/base/database.h"
#include "kit/base/status.h"
#include "kit/engine/engine.h"
#include "kit/engine/installation.h"
#include "kit/messages/sampling.h"
#include "kit/reading/text_model.h"
#include "velq.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_set>
#include <utility>

namespace velq::kit {

namespace fs = std::filesystem;

// ---- Child processes ----

namespace {

constexpr char workDone = 'd';
constexpr char workFailed = 'f';

[[noreturn]] void failToRun(const char *what)
{
    throw Error(Status::internal,
                std::string("cannot run the engine in a process of its own: ") + what + ": " + std::strerror(errno));
}

bool writeAll(int file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

std::string readAll(int file)
{
    std::string bytes;
    char buffer[1 << 16];
    for (ssize_t got = 1; got != 0;) {
        got = ::read(file, buffer, sizeof buffer);
        if (got < 0 && errno != EINTR) {
            break;
        }
        bytes.append(buffer, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return bytes;
}

// What the child sends: one letter, then its result, or the exit status as one byte and the message.
[[noreturn]] void runChild(int out, const std::function<std::string()> &work)
{
    std::string answer;
    try {
        answer = workDone + work();
    } catch (const Error &error) {
        answer = std::string{workFailed, static_cast<char>(error.status())} + error.what();
    } catch (const std::exception &error) {
        answer = std::string{workFailed, static_cast<char>(Status::internal)} + error.what();
    }
    const bool sent = writeAll(out, answer);
    ::_exit(sent ? 0 : 1); // the parent's buffers and folders are not the child's to flush and remove
}

// The result of `work`, which runs in a child process; an Error that it throws is thrown here.
std::string inChildProcess(const std::function<std::string()> &work)
{
    int ends[2];
    if (::pipe(ends) != 0) {
        failToRun("pipe");
    }
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(ends[0]);
        ::close(ends[1]);
        failToRun("fork");
    }
    if (child == 0) {
        ::close(ends[0]);
        runChild(ends[1], work);
    }
    ::close(ends[1]);
    const std::string answer = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (answer.starts_with(workDone) && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return answer.substr(1);
    }
    if (answer.size() > 2 && answer[0] == workFailed) {
        throw Error(static_cast<Status>(answer[1]), answer.substr(2));
    }
    throw Error(Status::internal, "the process that ran the engine ended early; please report this");
}

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

} // namespace

// ---- Installations ----

// A folder in memory where the system has one, unless the user names another place.
static fs::path scratchParent()
{
    fs::path inMemory = "/dev/shm";
    std::error_code code;
    if (std::getenv("TMPDIR") == nullptr && ::access(inMemory.c_str(), W_OK | X_OK) == 0) {
        return inMemory;
    }
    return fs::temp_directory_path(code);
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
    Database file(installation_.dataFile("prob.bin"), DatabaseMode::write);
    file.exec(on ? "DROP TRIGGER IF EXISTS passOverUpdate; DROP TRIGGER IF EXISTS passOverInsert;"
                 : "CREATE TRIGGER IF NOT EXISTS passOverUpdate BEFORE UPDATE ON velqTable BEGIN SELECT RAISE(IGNORE); "
                   "END;"
                   "CREATE TRIGGER IF NOT EXISTS passOverInsert BEFORE INSERT ON velqTable BEGIN SELECT RAISE(IGNORE); "
                   "END;");
}

static Rating rateOne(const Engine &engine, const TestMessage &message, const WideText &number)
{
    std::uint32_t answer = VELQ_RATING_UNSURE;
    const WideText body = wideFromUtf16(message.text);
    engine.check(VELQ_CheckSpamMsgSync(&answer, body.c_str(), number.c_str()), "rating a message failed");
    return ratingOf(answer);
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

// ---- Evaluation ----

bool isError(bool spam, Rating rating)
{
    return spam != (rating == Rating::spam);
}

namespace {

// One part's messages and what is known about them.
struct PartTest {
    std::vector<const TestMessage *> messages;
    std::vector<bool> seen;
};

PartTest testOf(const std::vector<TestMessage> &messages, const EvaluationPart &part)
{
    std::unordered_set<std::u16string_view> known;
    for (const std::size_t index : part.training) {
        known.insert(messages[index].text);
    }
    PartTest test;
    for (const std::size_t index : part.test) {
        test.messages.push_back(&messages[index]);
        test.seen.push_back(known.contains(messages[index].text));
    }
    return test;
}

void add(RunResult &result, const PartTest &test, const EngineRun &run)
{
    ConfusionCounts &part = result.parts.emplace_back();
    for (std::size_t i = 0; i < test.messages.size(); ++i) {
        const TestMessage &message = *test.messages[i];
        count(part, message.spam, run.ratings[i]);
        count(result.corpora[message.corpus], message.spam, run.ratings[i]);
        if (!test.seen[i]) {
            count(result.unseen, message.spam, run.ratings[i]);
        }
    }
    result.all += part;
    result.seconds += run.seconds;
}

// Without a classifier's score: 0 for a text too short to be read, the prior for too few tokens, as for a text without
// evidence.
double scoreOf(const StoreIndex &index, const TextVerdict &verdict)
{
    if (verdict.spamicity >= 0) {
        return verdict.spamicity;
    }
    return verdict.rating == Rating::ham ? 0 : std::min(index.prior, 1.0);
}

void addScores(EvaluationResult &result, const StoreContents &store, const PartTest &test, const EngineRun &run)
{
    const StoreIndex index = indexStore(modelOf(store));
    for (std::size_t i = 0; i < test.messages.size(); ++i) {
        const TextVerdict verdict = rateFiltered(index, filterText(test.messages[i]->text));
        result.scores.push_back({test.messages[i]->spam, scoreOf(index, verdict)});
        result.disagreements += verdict.rating != run.ratings[i] ? 1 : 0;
    }
}

void addErrors(EvaluationResult &result, const EvaluationInstallation &installation, const EvaluationPart &part,
               std::size_t number, const PartTest &test, const EngineRun &run, std::size_t most)
{
    std::size_t room[2] = {most, most}; // by label
    for (const EvaluationError &error : result.errors) {
        --room[error.spam ? 1 : 0];
    }
    for (std::size_t i = 0; i < test.messages.size(); ++i) {
        const bool spam = test.messages[i]->spam;
        if (isError(spam, run.ratings[i]) && room[spam ? 1 : 0] > 0) {
            --room[spam ? 1 : 0];
            result.errors.push_back(
                {part.test[i], number, spam, run.ratings[i], installation.explain(*test.messages[i])});
        }
    }
}

} // namespace

EvaluationResult evaluate(const std::vector<TestMessage> &messages, std::size_t parts,
                          const std::function<EvaluationPart(std::size_t)> &nextPart, const EvaluationOptions &options)
{
    EvaluationResult result;
    result.trainingOff.corpora.resize(options.corpora);
    result.trainingOn.corpora.resize(options.corpora);
    std::uint64_t done = 0;
    const auto step = [&] {
        if (options.progress) {
            options.progress(++done, 3 * parts);
        }
    };
    for (std::size_t number = 0; number < parts; ++number) {
        const EvaluationPart part = nextPart(number);
        const PartTest test = testOf(messages, part);
        result.trainingKnown = result.trainingKnown || !part.training.empty();
        result.seenTexts += static_cast<std::uint64_t>(std::count(test.seen.begin(), test.seen.end(), true));
        step();

        EvaluationInstallation installation(part.store);
        installation.setTraining(false);
        const EngineRun off = installation.rate(test.messages);
        add(result.trainingOff, test, off);
        addScores(result, part.store, test, off);
        addErrors(result, installation, part, number, test, off, options.mostErrors);
        step();

        installation.setTraining(true);
        add(result.trainingOn, test, installation.rate(test.messages));
        step();
    }
    return result;
}

// ---- Learning curve ----

static std::vector<const TestMessage *> inStratifiedOrder(const std::vector<const TestMessage *> &messages,
                                                          std::uint64_t seed)
{
    std::vector<std::uint32_t> strata;
    strata.reserve(messages.size());
    for (const TestMessage *message : messages) {
        strata.push_back(2 * message->corpus + (message->spam ? 1 : 0));
    }
    std::vector<const TestMessage *> ordered;
    for (const std::size_t index : stratifiedOrder(strata, seed)) {
        ordered.push_back(messages[index]);
    }
    return ordered;
}

std::vector<CurvePoint> learningCurve(const StoreContents &store, const std::vector<const TestMessage *> &messages,
                                      const CurveOptions &options)
{
    const std::uint64_t largest = options.corrections.empty() ? 0 : options.corrections.back();
    const std::uint64_t teaching = options.onlyErrors ? messages.size() - messages.size() / 3 : largest;
    if (teaching >= messages.size()) {
        throw Error(Status::usage, std::to_string(largest) + " corrections leave none of the " +
                                       std::to_string(messages.size()) + " messages to measure on; ask for fewer");
    }
    const std::vector<const TestMessage *> ordered = inStratifiedOrder(messages, options.seed);
    const auto firstTest = ordered.begin() + static_cast<std::ptrdiff_t>(teaching);
    const std::vector<const TestMessage *> test(firstTest, ordered.end());

    EvaluationInstallation installation(store);
    std::vector<CurvePoint> curve;
    CurvePoint point;
    for (const std::uint64_t corrections : options.corrections) {
        const std::vector<const TestMessage *> rest(ordered.begin() + static_cast<std::ptrdiff_t>(point.read),
                                                    firstTest);
        const auto taught = installation.teach(rest, corrections - point.made, options.onlyErrors);
        point.asked = corrections;
        point.made += taught.told;
        point.read += taught.read;
        installation.setTraining(false);
        const EngineRun run = installation.rate(test);
        installation.setTraining(true);
        point.counts = {};
        for (std::size_t i = 0; i < test.size(); ++i) {
            count(point.counts, test[i]->spam, run.ratings[i]);
        }
        curve.push_back(point);
    }
    return curve;
}

StoreContents withoutCounts(const StoreContents &store)
{
    StoreContents emptied = store;
    for (StoreRow &row : emptied.rows) {
        if (row.key != StoredValue::ofBlob(priorKey()) && row.key != StoredValue::ofBlob(messageCountKey())) {
            row.value = StoredValue::ofBlob(valueOf({}));
        }
    }
    return emptied;
}

} // namespace velq::kit

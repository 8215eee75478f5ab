// The benchmark driver. Workloads, each beside its floor (the same SQL work straight against SQLite):
//   rate      one message of 70 characters, verdicts that train and that do not, both ways of starting the engine, both
//             modes of the token store's journal
//   segment   the same message cut into tokens
//   list      a number that is on neither list, among 10 to 100,000 entries; and one that is listed last
//   update    merges of 100,000 rows
//   prepare   texts of 160 characters; no floor, for it asks no database
//   schema    token lookups in the delivered table layout and in SQLite's default one
// Ends with a table of the ratios of workload and floor, from the medians of one run.
#include "VELQ_DB_Interface.h"
#include "VELQ_Word_Seg.h"
#include "dataset.h"
#include "floor.h"
#include "velq.h"
#include "velq_text.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

namespace velq::bench {

// What all workloads read and wrote, so that a fast wrong answer shows: equal for equal runs of a workload.
static std::map<std::string, std::uint64_t> answers;

static void record(const std::string &workload, std::uint64_t answer)
{
    answers[workload] = answer;
}

// The engine on an installation, started one way or the other.
class RunningEngine {
  public:
    RunningEngine(const Installation &installation, Connections connections) : connections_(connections)
    {
        const WideText directory = installation.programDir();
        const int32_t code = connections == Connections::keptOpen ? VELQ_Norix_Initialize(directory.c_str())
                                                                  : VELQ_Initialize(directory.c_str());
        if (code != 0) {
            throw std::runtime_error("the engine does not start");
        }
    }
    ~RunningEngine()
    {
        connections_ == Connections::keptOpen ? VELQ_Norix_Finalize() : VELQ_Finalize();
    }
    RunningEngine(const RunningEngine &) = delete;
    RunningEngine &operator=(const RunningEngine &) = delete;

  private:
    Connections connections_;
};

using test::Journal;

static std::unique_ptr<Installation> ratedInstallation(Journal journal = Journal::rollback)
{
    auto installation = std::make_unique<Installation>();
    fillTokenStore(*installation);
    fillList(*installation, test::NumberList::black, 10);
    fillList(*installation, test::NumberList::white, 10);
    installation->setJournal(journal);
    return installation;
}

static void rateEngine(benchmark::State &state, Lean lean, Connections connections, Journal journal)
{
    const auto installation = ratedInstallation(journal);
    const RunningEngine engine(*installation, connections);
    const WideText body = message(lean);
    const WideText number = test::wide(unlistedNumber);
    uint32_t rating = VELQ_RATING_UNSURE;
    for (auto _ : state) {
        VELQ_CheckSpamMsgSync(&rating, body.c_str(), number.c_str());
        benchmark::DoNotOptimize(rating);
    }
    record(std::string("rate ") + (lean == Lean::spam ? "spam" : "ham"), rating);
    if (rating != (lean == Lean::spam ? VELQ_RATING_SPAM : VELQ_RATING_HAM)) {
        state.SkipWithError("unexpected verdict");
    }
}

static void rateFloor(benchmark::State &state, Lean lean, Connections connections, Journal journal)
{
    const auto installation = ratedInstallation(journal);
    Floor floor(*installation, connections, journal);
    const WideText body = message(lean);
    for (auto _ : state) {
        benchmark::DoNotOptimize(lean == Lean::spam ? floor.rateTrained(body, unlistedNumber)
                                                    : floor.rateUntrained(body, unlistedNumber));
    }
}

static void segmentEngine(benchmark::State &state)
{
    const auto installation = ratedInstallation();
    const RunningEngine engine(*installation, Connections::keptOpen);
    const WideText body = message(Lean::ham);
    for (auto _ : state) {
        benchmark::DoNotOptimize(wordSeg(body.c_str()));
    }
    record("segment", get_token_count());
}

static void segmentFloor(benchmark::State &state)
{
    const auto installation = ratedInstallation();
    Floor floor(*installation, Connections::keptOpen);
    const WideText body = message(Lean::ham);
    for (auto _ : state) {
        benchmark::DoNotOptimize(floor.segment(body));
    }
}

// Number on which a list workload asks: listed last, or not at all.
static std::string askedNumber(bool hit, std::size_t entries)
{
    return hit ? listedNumber(entries - 1) : unlistedNumber;
}

static void listEngine(benchmark::State &state, bool hit)
{
    const auto entries = static_cast<std::size_t>(state.range(0));
    Installation installation;
    fillList(installation, test::NumberList::black, entries);
    const RunningEngine engine(installation, Connections::keptOpen);
    std::string key = askedNumber(hit, entries);
    std::reverse(key.begin(), key.end());
    std::uint8_t found = 0;
    for (auto _ : state) {
        db_SearchBlackNumberList(&found, key.c_str());
        benchmark::DoNotOptimize(found);
    }
    record(hit ? "list hit" : "list miss", found);
}

static void listFloor(benchmark::State &state, bool hit)
{
    const auto entries = static_cast<std::size_t>(state.range(0));
    Installation installation;
    fillList(installation, test::NumberList::black, entries);
    Floor floor(installation, Connections::keptOpen);
    const std::string number = askedNumber(hit, entries);
    for (auto _ : state) {
        benchmark::DoNotOptimize(floor.lookUp(test::NumberList::black, number));
    }
}

static constexpr std::size_t updateRows = 100'000;

// Texts of 160 characters: English in small letters, with accents, in full-width letters, and with look-alikes in every
// word. Both calls, as a host makes them.
static void prepareText(benchmark::State &state, const char *part)
{
    constexpr std::size_t characters = 160;
    WideText body;
    while (body.size() < characters) {
        body += test::wide(part);
    }
    body.resize(characters);
    WideText prepared(2 * characters, 0);
    for (auto _ : state) {
        const std::size_t needed = velq_prepare_text(body.c_str(), nullptr, 0);
        benchmark::DoNotOptimize(velq_prepare_text(body.c_str(), prepared.data(), needed));
        benchmark::ClobberMemory();
    }
    std::uint64_t answer = 0;
    for (const VELQ_WideChar unit : prepared) {
        answer = answer * 31 + unit;
    }
    record(std::string("prepare ") + part, answer);
}

// Runs `merge` on a fresh copy of `file` in every round.
template <typename Merge>
static void mergeRounds(benchmark::State &state, const Installation &installation, const char *file, Merge merge)
{
    const std::filesystem::path pristine = installation.folder() / "pristine";
    std::filesystem::copy_file(installation.dataFile(file), pristine);
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::copy_file(pristine, installation.dataFile(file),
                                   std::filesystem::copy_options::overwrite_existing);
        state.ResumeTiming();
        merge();
    }
}

static void mergeProbabilitiesEngine(benchmark::State &state)
{
    Installation installation;
    fillTokenStore(installation);
    const WideText update = test::widePath(makeLargeProbabilityUpdate(installation, updateRows));
    const RunningEngine engine(installation, Connections::perOperation);
    mergeRounds(state, installation, "prob.bin", [&] {
        record("update probabilities", static_cast<std::uint64_t>(-VELQ_UpdateData(update.c_str(), 2, nullptr, 0)));
    });
}

static void mergeProbabilitiesFloor(benchmark::State &state)
{
    Installation installation;
    fillTokenStore(installation);
    const std::filesystem::path update = makeLargeProbabilityUpdate(installation, updateRows);
    Floor floor(installation, Connections::perOperation);
    mergeRounds(state, installation, "prob.bin", [&] { floor.mergeProbabilities(update); });
}

static void mergeWhiteNumbersEngine(benchmark::State &state)
{
    Installation installation;
    const WideText update = test::widePath(makeLargeWhiteNumberUpdate(installation, updateRows));
    const RunningEngine engine(installation, Connections::perOperation);
    mergeRounds(state, installation, "wn.bin", [&] {
        record("update white numbers", static_cast<std::uint64_t>(-VELQ_UpdateData(nullptr, 0, update.c_str(), 2)));
    });
}

static void mergeWhiteNumbersFloor(benchmark::State &state)
{
    Installation installation;
    const std::filesystem::path update = makeLargeWhiteNumberUpdate(installation, updateRows);
    Floor floor(installation, Connections::perOperation);
    mergeRounds(state, installation, "wn.bin", [&] { floor.mergeWhiteNumbers(update); });
}

// Segmentation on the delivered table layout (engine column) and on SQLite's default one (floor column).
static void tableLayout(benchmark::State &state, const char *layout)
{
    Installation installation;
    auto database = installation.open("prob.bin");
    database.exec("DROP TABLE velqTable");
    database.exec(std::string("CREATE TABLE velqTable(key BLOB PRIMARY KEY NOT NULL, value BLOB)") + layout);
    fillTokenStore(installation);
    Floor floor(installation, Connections::keptOpen);
    const WideText body = message(Lean::ham);
    for (auto _ : state) {
        benchmark::DoNotOptimize(floor.segment(body));
    }
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(installation.dataFile("prob.bin")));
}

// Prints the usual console report and, at the end, the table of ratios.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.aggregate_name == "median" || run.repetitions <= 1) {
                medians_[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args)] =
                    run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e6;
            }
        }
    }

    void Finalize() override
    {
        std::printf("\n| workload | time | floor | ratio |\n|---|---|---|---|\n");
        for (const auto &[name, time] : medians_) {
            const std::size_t end = name.find("/engine");
            if (end == std::string::npos) {
                continue;
            }
            const std::string rest = name.substr(end + std::strlen("/engine"));
            const auto floor = medians_.find(name.substr(0, end) + "/floor" + rest);
            if (floor != medians_.end()) {
                std::printf("| %s | %.1f us | %.1f us | %.2f |\n", (name.substr(0, end) + rest).c_str(), time,
                            floor->second, time / floor->second);
            }
        }
        std::uint64_t hash = 14695981039346656037U;
        for (const auto &[workload, answer] : answers) {
            for (const char c : workload + "=" + std::to_string(answer)) {
                hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
            }
        }
        std::printf("\nanswers: %016llx\n", static_cast<unsigned long long>(hash));
    }

  private:
    std::map<std::string, double> medians_; // in microseconds
};

static void registerAll()
{
    using benchmark::RegisterBenchmark;
    struct {
        std::string name;
        Connections connections;
        Journal journal;
    } const ways[] = {{"kept_open", Connections::keptOpen, Journal::rollback},
                      {"per_operation", Connections::perOperation, Journal::rollback},
                      {"kept_open_write_ahead", Connections::keptOpen, Journal::writeAhead},
                      {"per_operation_write_ahead", Connections::perOperation, Journal::writeAhead}};
    for (const auto &way : ways) {
        for (const Lean lean : {Lean::ham, Lean::spam}) {
            const std::string row = (lean == Lean::ham ? "rate_untrained_" : "rate_trained_") + way.name;
            RegisterBenchmark((row + "/engine").c_str(), rateEngine, lean, way.connections, way.journal);
            RegisterBenchmark((row + "/floor").c_str(), rateFloor, lean, way.connections, way.journal);
        }
    }
    RegisterBenchmark("segment/engine", segmentEngine);
    RegisterBenchmark("segment/floor", segmentFloor);
    RegisterBenchmark("prepare_plain/engine", prepareText, "come home for dinner at eight, call me ");
    RegisterBenchmark("prepare_accents/engine", prepareText, "Für über schön żółw Đường ПРИВЕТ Ёлка ");
    RegisterBenchmark("prepare_full_width/engine", prepareText, "ＦＲＥＥ Ｐｒｉｚｅ ｃａｌｌ ０８００ ");
    RegisterBenchmark("prepare_look_alikes/engine", prepareText,
                      "P\u0430yP\u0430l \u0441\u0430ll \u0397ELLO mo\u03B7ey ");
    for (const bool hit : {false, true}) {
        const std::string workload = hit ? "list_hit" : "list_miss";
        auto *engine = RegisterBenchmark((workload + "/engine").c_str(), listEngine, hit);
        auto *floor = RegisterBenchmark((workload + "/floor").c_str(), listFloor, hit);
        // 530 and 1,100 entries are some more than a lookup visits before it asks the index, on a connection that is
        // kept open and on one of its own.
        for (const std::int64_t entries : {10, 100, 500, 530, 1'000, 1'100, 100'000}) {
            engine->Arg(entries);
            floor->Arg(entries);
        }
    }
    const auto unit = benchmark::kMillisecond;
    RegisterBenchmark("update_probabilities/engine", mergeProbabilitiesEngine)->Unit(unit)->UseRealTime();
    RegisterBenchmark("update_probabilities/floor", mergeProbabilitiesFloor)->Unit(unit)->UseRealTime();
    RegisterBenchmark("update_white_numbers/engine", mergeWhiteNumbersEngine)->Unit(unit)->UseRealTime();
    RegisterBenchmark("update_white_numbers/floor", mergeWhiteNumbersFloor)->Unit(unit)->UseRealTime();
    RegisterBenchmark("schema_without_rowid/engine", tableLayout, " WITHOUT ROWID");
    RegisterBenchmark("schema_without_rowid/floor", tableLayout, "");
}

static void printSurroundings()
{
    std::printf("velq %d.%d.%d, compiler %s, SQLite %s\n", VELQ_VERSION_MAJOR, VELQ_VERSION_MINOR, VELQ_VERSION_PATCH,
                __VERSION__, sqlite3_libversion());
#ifndef __OPTIMIZE__
    std::printf("WARNING: built without optimisation; these figures mean nothing\n");
#endif
}

} // namespace velq::bench

int main(int argumentCount, char **arguments)
{
    velq::bench::printSurroundings();
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) {
        return 64;
    }
    velq::bench::registerAll();
    velq::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

// velq store stats: what a token store holds.
#include "kit/cli/commands.h"
#include "kit/store/store_check.h"
#include "kit/store/store_form.h"

#include <filesystem>
#include <nlohmann/json.hpp>

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

} // namespace

static Json statisticsJson(const StoreStatistics &statistics)
{
    Json json;
    json["fileBytes"] = statistics.fileBytes ? Json(*statistics.fileBytes) : Json(nullptr);
    json["tokens"] = statistics.tokens;
    json["tokensOfLength"] = {
        {"2", statistics.tokensOfLength[0]}, {"3", statistics.tokensOfLength[1]}, {"4", statistics.tokensOfLength[2]}};
    json["messages"] = statistics.hasMessageCounts
                           ? Json{{"spam", statistics.spamMessages}, {"ham", statistics.hamMessages}}
                           : Json(nullptr);
    json["priorMillionths"] = statistics.priorMillionths ? Json(*statistics.priorMillionths) : Json(nullptr);
    json["spamSide"] = statistics.spamSide;
    json["hamSide"] = statistics.hamSide;
    json["neutral"] = statistics.neutral;
    json["withoutCounts"] = statistics.withoutCounts;
    json["digitsOnly"] = statistics.digitsOnly;
    json["asciiOnly"] = statistics.asciiOnly;
    json["largestCount"] = statistics.largestCount;
    json["withReserved"] = statistics.withReserved;
    json["otherRows"] = statistics.otherRows;
    return json;
}

static void printStatistics(std::ostream &out, const StoreStatistics &statistics)
{
    const auto line = [&out](const char *what, const std::string &value) { out << what << '\t' << value << '\n'; };
    line("file size in bytes", statistics.fileBytes ? std::to_string(*statistics.fileBytes) : "no file");
    line("tokens", std::to_string(statistics.tokens));
    line("  of 2 units", std::to_string(statistics.tokensOfLength[0]));
    line("  of 3 units", std::to_string(statistics.tokensOfLength[1]));
    line("  of 4 units", std::to_string(statistics.tokensOfLength[2]));
    line("  that speak for spam", std::to_string(statistics.spamSide));
    line("  that speak for ham", std::to_string(statistics.hamSide));
    line("  neutral", std::to_string(statistics.neutral));
    line("  without counts", std::to_string(statistics.withoutCounts));
    line("  of digits only", std::to_string(statistics.digitsOnly));
    line("  of ASCII characters only", std::to_string(statistics.asciiOnly));
    line("  with a reserved word", std::to_string(statistics.withReserved));
    line("largest count", std::to_string(statistics.largestCount));
    line("other rows", std::to_string(statistics.otherRows));
    line("spam messages", statistics.hasMessageCounts ? std::to_string(statistics.spamMessages) : "no record");
    line("ham messages", statistics.hasMessageCounts ? std::to_string(statistics.hamMessages) : "no record");
    line("prior in millionths",
         statistics.priorMillionths ? std::to_string(*statistics.priorMillionths) : "no record (520000)");
}

static void runStats(const std::string &file, Context &context)
{
    StoreStatistics statistics = statisticsOf(readStore(file, context.in));
    std::error_code code;
    const std::uintmax_t size = std::filesystem::file_size(file, code);
    if (!code) {
        statistics.fileBytes = size;
    }
    if (context.json) {
        context.out << statisticsJson(statistics).dump() << '\n';
    } else {
        printStatistics(context.out, statistics);
    }
}

void addStoreStats(CLI::App &store, Context &context)
{
    auto file = std::make_shared<std::string>();
    CLI::App *command = addCommand(store, "stats", "Show what a token store holds");
    addFileArgument(*command, "FILE", *file, "A token store, prob.bin or text form")->required();
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store stats prob.bin", "velq store stats --json prob.bin"});
    command->callback([file, &context] { runStats(*file, context); });
}

} // namespace velq::kit

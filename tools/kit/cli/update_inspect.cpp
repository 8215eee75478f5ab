// velq update inspect: what an update file holds.
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/cli/problems.h"
#include "kit/store/update_inspection.h"

namespace velq::kit {

namespace {

using Json = nlohmann::ordered_json;

struct InspectOptions {
    std::string update;
    std::string store;
    std::string whiteList;
};

} // namespace

static Json reportJson(const UpdateReport &report)
{
    Json json;
    json["tokens"] = report.hasTokens
                         ? Json{{"rows", report.tokenRows}, {"new", report.newTokens}, {"known", report.knownTokens}}
                         : Json(nullptr);
    json["whiteNumbers"] =
        report.hasNumbers
            ? Json{{"rows", report.numberRows}, {"new", report.newNumbers}, {"known", report.knownNumbers}}
            : Json(nullptr);
    json["problems"] = problemsJson(report.problems);
    json["remarks"] = problemsJson(report.remarks);
    json["wraps"] = problemsJson(report.wraps);
    return json;
}

static void printReport(std::ostream &out, const UpdateReport &report)
{
    const auto line = [&out](const char *what, std::uint64_t rows, std::uint64_t fresh, std::uint64_t known) {
        out << what << '\t' << plural(rows, "row") << ", " << fresh << " new, " << known << " known\n";
    };
    if (report.hasTokens) {
        line("token counts", report.tokenRows, report.newTokens, report.knownTokens);
    }
    if (report.hasNumbers) {
        line("white numbers", report.numberRows, report.newNumbers, report.knownNumbers);
    }
    const auto list = [&out](const char *kind, const std::vector<StoreProblem> &problems) {
        for (const StoreProblem &problem : problems) {
            out << kind << '\t' << problem.where << '\t' << oneLine(problem.what) << '\n';
        }
    };
    list("problem", report.problems);
    list("wraps", report.wraps);
    list("remark", report.remarks);
}

static void runInspect(const InspectOptions &options, Context &context)
{
    const UpdateReport report = inspectUpdate(options.update, options.store, options.whiteList);
    if (context.json) {
        context.out << reportJson(report).dump() << '\n';
    } else {
        printReport(context.out, report);
    }
    if (!report.problems.empty()) {
        throw Error(Status::badData, options.update + ": the merge would fail: " + report.problems.front().where +
                                         ": " + report.problems.front().what);
    }
}

void addUpdateInspect(CLI::App &update, Context &context)
{
    auto options = std::make_shared<InspectOptions>();
    CLI::App *command = addCommand(
        update, "inspect",
        "Show what an update file holds, what would make its merge fail, and which counts of a store it would wrap");
    addFileArgument(*command, "FILE", options->update, "An update file of token counts or white numbers")->required();
    addFileOption(*command, "--store", options->store,
                  "The prob.bin to be updated, to tell new tokens from known ones and to find counts that would wrap");
    addFileOption(*command, "--white-list", options->whiteList,
                  "The wn.bin to be updated, to tell new numbers from known");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq update inspect update.db", "velq update inspect white.db --white-list wn.bin"});
    command->callback([options, &context] { runInspect(*options, context); });
}

} // namespace velq::kit

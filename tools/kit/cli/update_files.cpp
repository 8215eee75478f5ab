// velq white-update and velq update inspect: makes white-number updates and looks at update files of both kinds.
#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/base/wide_text.h"
#include "kit/cli/commands.h"
#include "kit/store/update_file.h"

#include <nlohmann/json.hpp>

namespace velq::kit {

namespace {

struct UpdateFileOptions {
    std::string file;
    std::string store;
    std::string whiteList;
    std::string output;
};

using Json = nlohmann::ordered_json;

} // namespace

// ---- white-update build -------------------------------------------------------------------------------------------

static void runWhiteBuild(const UpdateFileOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.file, options.whiteList});
    InputFile input(options.file, context.in);
    const std::vector<WhiteNumber> numbers = readWhiteNumbers(input.stream(), input.name());
    if (numbers.empty()) {
        throw Error(Status::badData, input.name() + ": no numbers; expected rows of number,name");
    }
    std::set<std::string> delivered;
    if (!options.whiteList.empty()) {
        delivered = deliveredNumbers(options.whiteList);
    }
    const WhiteUpdatePlan plan = planWhiteUpdate(numbers, delivered);
    if (plan.known == plan.rows.size()) {
        throw Error(Status::badData, input.name() + ": all numbers are in " + options.whiteList +
                                         " already; the merge needs a new one as the last");
    }
    for (const WhiteNumber &row : plan.repeated) {
        context.message(input.name() + ":" + std::to_string(row.line) + ": number " + utf8FromUtf16(row.number) +
                        " stands above already; left out");
    }
    writeWhiteUpdate(options.output, plan.rows);
    context.message(plural(plan.rows.size(), "number") + " written to " + options.output + ", " +
                    std::to_string(plan.rows.size() - plan.known) + " of them new");
}

void addWhiteUpdateCommand(CLI::App &root, Context &context)
{
    auto options = std::make_shared<UpdateFileOptions>();
    CLI::App *group = root.add_subcommand("white-update", "Make update files of white numbers");
    group->require_subcommand(1);
    addExamples(*group, {"velq white-update build numbers.csv -o white.db"});
    CLI::App *command = group->add_subcommand(
        "build", "Make a white-number update of CSV rows number,name; a row that the merge could not take ends it");
    command->add_option("CSV", options->file, "Rows of number,name, with or without a header; - is standard input")
        ->required()
        ->type_name(" ");
    command->add_option("-o,--output", options->output, "The update file to write")->required()->type_name("FILE");
    command
        ->add_option("--white-list", options->whiteList,
                     "The wn.bin that the update is for: numbers that it has from updates go first, so that the last "
                     "is new")
        ->type_name("FILE");
    addQuietFlag(*command, context);
    addExamples(*command, {"velq white-update build numbers.csv -o white.db",
                           "velq white-update build numbers.csv --white-list wn.bin -o white.db"});
    command->callback([options, &context] { runWhiteBuild(*options, context); });
}

// ---- update inspect -----------------------------------------------------------------------------------------------

static Json problemsJson(const std::vector<StoreProblem> &problems)
{
    Json list = Json::array();
    for (const StoreProblem &problem : problems) {
        list.push_back({{"where", problem.where}, {"what", problem.what}});
    }
    return list;
}

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
    for (const StoreProblem &problem : report.problems) {
        out << "problem\t" << problem.where << '\t' << oneLine(problem.what) << '\n';
    }
    for (const StoreProblem &remark : report.remarks) {
        out << "remark\t" << remark.where << '\t' << oneLine(remark.what) << '\n';
    }
}

static void runInspect(const UpdateFileOptions &options, Context &context)
{
    const UpdateReport report = inspectUpdate(options.file, options.store, options.whiteList);
    if (context.json) {
        context.out << reportJson(report).dump() << '\n';
    } else {
        printReport(context.out, report);
    }
    if (!report.problems.empty()) {
        throw Error(Status::badData, options.file + ": the merge would fail: " + report.problems.front().where + ": " +
                                         report.problems.front().what);
    }
}

void addUpdateInspect(CLI::App &update, Context &context)
{
    auto options = std::make_shared<UpdateFileOptions>();
    CLI::App *command =
        update.add_subcommand("inspect", "Show what an update file holds and what would make its merge fail");
    command->add_option("FILE", options->file, "An update file of token counts or white numbers")
        ->required()
        ->type_name(" ");
    command->add_option("--store", options->store, "The prob.bin to be updated, to tell new tokens from known ones")
        ->type_name("FILE");
    command->add_option("--white-list", options->whiteList, "The wn.bin to be updated, to tell new numbers from known")
        ->type_name("FILE");
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq update inspect update.db", "velq update inspect white.db --white-list wn.bin"});
    command->callback([options, &context] { runInspect(*options, context); });
}

} // namespace velq::kit

// velq store verify: every problem of a token store.
#include "kit/base/input.h"
#include "kit/cli/commands.h"
#include "kit/cli/problems.h"
#include "kit/store/store_check.h"
#include "kit/store/store_form.h"
#include "kit/store/store_text.h"

namespace velq::kit {

static void runVerify(const std::string &file, Context &context)
{
    InputFile input(file, context.in);
    const bool isFile = isDatabase(input);
    const std::vector<StoreProblem> problems =
        isFile ? verifyStoreFile(file) : verifyContents(readStoreText(input.stream(), input.name()));
    const std::string journal(isFile ? journalName(journalOf(file)) : "");
    if (context.json) {
        nlohmann::ordered_json json{{"problems", problemsJson(problems)}};
        if (isFile) {
            json["journal"] = journal;
        }
        context.out << json.dump() << '\n';
    } else {
        printProblems(context.out, problems);
    }
    if (!problems.empty()) {
        throw Error(Status::badData, file + ": " + plural(problems.size(), "problem") +
                                         " found; correct the text form (velq store dump, load) or build it anew");
    }
    context.message(file + " is sound" + (isFile ? ", journal: " + journal : ""));
}

void addStoreVerify(CLI::App &store, Context &context)
{
    auto file = std::make_shared<std::string>();
    CLI::App *command =
        addCommand(store, "verify", "Check a token store, list every problem and name the mode of its journal");
    addFileArgument(*command, "FILE", *file, "A token store, prob.bin or text form")->required();
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store verify prob.bin", "velq store verify --quiet prob.bin && echo sound"});
    command->callback([file, &context] { runVerify(*file, context); });
}

} // namespace velq::kit

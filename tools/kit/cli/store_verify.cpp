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
    const std::vector<StoreProblem> problems =
        isDatabase(input) ? verifyStoreFile(file) : verifyContents(readStoreText(input.stream(), input.name()));
    if (context.json) {
        context.out << nlohmann::ordered_json{{"problems", problemsJson(problems)}}.dump() << '\n';
    } else {
        printProblems(context.out, problems);
    }
    if (!problems.empty()) {
        throw Error(Status::badData, file + ": " + plural(problems.size(), "problem") +
                                         " found; correct the text form (velq store dump, load) or build it anew");
    }
    context.message(file + " is sound");
}

void addStoreVerify(CLI::App &store, Context &context)
{
    auto file = std::make_shared<std::string>();
    CLI::App *command = addCommand(store, "verify", "Check a token store and list every problem");
    addFileArgument(*command, "FILE", *file, "A token store, prob.bin or text form")->required();
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store verify prob.bin", "velq store verify --quiet prob.bin && echo sound"});
    command->callback([file, &context] { runVerify(*file, context); });
}

} // namespace velq::kit

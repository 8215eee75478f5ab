// velq versions: the installed versions of the data.
#include "kit/cli/versions.h"

#include "kit/cli/commands.h"
#include "kit/engine/data_versions.h"

#include <nlohmann/json.hpp>

namespace velq::kit {

void printVersions(const Engine &engine, Context &context)
{
    const auto [probability, whiteNumbers, rules] = installedVersions(engine);
    if (context.json) {
        context.out << nlohmann::ordered_json{{"probability", probability},
                                              {"whiteNumbers", whiteNumbers},
                                              {"rules", rules}}
                    << '\n';
        return;
    }
    context.out << "probability data\t" << probability << "\nwhite numbers\t" << whiteNumbers << "\nrules\t" << rules
                << '\n';
}

void addVersionsCommand(CLI::App &root, Context &context)
{
    auto install = std::make_shared<std::string>();
    CLI::App *command = addCommand(root, "versions", "Print the installed versions of the data");
    addInstallOption(*command, *install);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq versions --install ~/filter", "velq versions --install ~/filter --json"});
    command->callback([install, &context] {
        const Engine engine{Installation(*install)};
        printVersions(engine, context);
    });
}

} // namespace velq::kit

// velq versions: the installed versions of the data.
#include "kit/cli/versions.h"

#include "kit/cli/commands.h"
#include "velq.h"

#include <nlohmann/json.hpp>

namespace velq::kit {

std::int32_t installedVersion(const Engine &engine, std::int32_t kind)
{
    VersionRecord record{kind, 0};
    engine.check(VELQ_GetCurVersion(&record), "reading the versions failed");
    return record.version;
}

void printVersions(const Engine &engine, Context &context)
{
    const std::int32_t probability = installedVersion(engine, VELQ_DATA_PROBABILITY);
    const std::int32_t whiteNumbers = installedVersion(engine, VELQ_DATA_WHITE_NUMBERS);
    const std::int32_t rules = installedVersion(engine, VELQ_DATA_RULES);
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

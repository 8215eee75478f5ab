// Costs are numbers from 0 to what a fit can still bear.
#include "kit/cli/build_options.h"

#include "kit/cli/options.h"

#include <charconv>
#include <string>

namespace velq::kit {

static void addCostOption(CLI::App &command, const std::string &name, double &cost, const std::string &help)
{
    command.add_option(name, cost, help)->type_name("X")->check([](const std::string &text) {
        constexpr double most = 1000;
        double value = 0;
        const char *end = text.data() + text.size();
        const bool sound =
            std::from_chars(text.data(), end, value) == std::from_chars_result{end, std::errc()} && value >= 0;
        return sound && value <= most ? std::string() : text + ": expected a number from 0 to 1000";
    });
}

void addBuildRuleOptions(CLI::App &command, BuildRules &rules)
{
    addCostOption(command, "--cost-blocked", rules.blockedCost,
                  "Cost of blocking a ham message, where letting spam through costs 1 (4)");
    addCostOption(command, "--cost-unsure", rules.unsureCost, "Cost of leaving a ham message unsure (1)");
    addCountOption(command, "--at-least-clusters", rules.fewestClusters,
                   "Clusters of near-duplicates that a token must stand in, at least (5)");
}

void addWrittenOptions(CLI::App &command, WrittenRequest &written)
{
    addFolderOption(command, "--written", written.folder, "Learn from the message templates in this folder as well");
    addCountOption(command, "--variants", written.variants, "Variants of each template (6)");
}

} // namespace velq::kit

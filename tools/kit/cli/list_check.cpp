// velq list check: entries of both lists that no sender is ever found by.
#include "kit/reading/list_check.h"

#include "kit/base/status.h"
#include "kit/base/wide_text.h"
#include "kit/cli/list.h"

#include <nlohmann/json.hpp>

namespace velq::kit {

namespace {

struct CheckOptions {
    std::string install;
    NumberForm country;
};

} // namespace

static std::vector<IdleEntry> findIdle(const CheckOptions &options)
{
    const Engine engine{Installation(options.install)};
    return idleEntries(readList(engine, blackListCalls, VELQ_HIDDEN_ANY),
                       readList(engine, whiteListCalls, VELQ_HIDDEN_ANY), options.country);
}

static void runCheck(const CheckOptions &options, Context &context)
{
    const std::vector<IdleEntry> idle = findIdle(options);
    if (context.json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const IdleEntry &entry : idle) {
            list.push_back({{"list", entry.list}, {"uid", entry.uid}, {"number", entry.number}, {"why", entry.why}});
        }
        context.out << list.dump(2) << '\n';
    } else {
        for (const IdleEntry &entry : idle) {
            context.out << entry.list << '\t' << entry.uid << '\t' << oneLine(entry.number) << '\t'
                        << oneLine(entry.why) << '\n';
        }
    }
    if (!idle.empty()) {
        throw Error(Status::badData,
                    std::to_string(idle.size()) + (idle.size() == 1 ? " entry" : " entries") +
                        " of the lists can never match; remove them (velq list black remove --uid) and add them anew");
    }
    context.message("every entry of the lists can match");
}

void addListCheck(CLI::App &list, Context &context)
{
    auto options = std::make_shared<CheckOptions>();
    CLI::App *command =
        addCommand(list, "check", "Find entries of both lists that can never match a sender, and say why");
    addInstallOption(*command, options->install);
    addCountryOption(*command, options->country);
    addJsonFlag(*command, context);
    addQuietFlag(*command, context);
    addExamples(*command, {"velq list check --install ~/filter", "velq list check --install ~/filter --country GB"});
    command->callback([options, &context] { runCheck(*options, context); });
}

} // namespace velq::kit

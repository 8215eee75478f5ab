// velq list add, remove, clear: edits the lists.
#include "kit/base/status.h"
#include "kit/cli/list.h"

namespace velq::kit {

static void add(const ListOptions &options, Context &context)
{
    ListEntry entry = options.entry;
    entry.number = options.country.of(entry.number);
    if (const std::string fault = entryFault(entry); !fault.empty()) {
        throw Error(Status::usage, "cannot add " + entry.number + ": " + fault);
    }
    const Engine engine{Installation(options.install)};
    const ListCalls &other = otherList(options);
    const std::int32_t before = countList(engine, *options.calls);
    const std::int32_t otherBefore = countList(engine, other);
    addEntry(engine, *options.calls, entry);
    const bool added = countList(engine, *options.calls) > before;
    const std::int32_t moved = otherBefore - countList(engine, other);
    context.message(entry.number + (added ? " added to " : " was already on ") + listTitle(options) +
                    (moved > 0 ? ", " + std::to_string(moved) + " taken off the " + other.name + " list" : ""));
}

static void reportRemoved(const ListOptions &options, Context &context, std::int32_t before, std::int32_t after)
{
    context.message(std::to_string(before - after) + " taken off " + listTitle(options) + ", " + std::to_string(after) +
                    " left");
}

static void remove(const ListOptions &options, Context &context)
{
    const int ways = (options.entry.number.empty() ? 0 : 1) + (options.uid ? 1 : 0) + (options.extendID ? 1 : 0);
    if (ways != 1) {
        throw Error(Status::usage, std::string(ways == 0 ? "what is to be removed is not said"
                                                         : "what is to be removed is said more than once") +
                                       "; give one of NUMBER, --uid and --extend-id");
    }
    const std::string number = options.country.of(options.entry.number);
    if (number.size() > VELQ_MAX_NUMBER_LENGTH) {
        throw Error(Status::usage, "the number is longer than 29 characters; no entry has such a number");
    }
    const Engine engine{Installation(options.install)};
    const std::int32_t before = countList(engine, *options.calls);
    if (options.uid) {
        engine.check(options.calls->deleteByUid(*options.uid), "removing from " + listTitle(options) + " failed");
    } else if (options.extendID) {
        engine.check(options.calls->deleteByExtendID(*options.extendID),
                     "removing from " + listTitle(options) + " failed");
    } else {
        removeNumber(engine, *options.calls, number);
    }
    reportRemoved(options, context, before, countList(engine, *options.calls));
}

static void clear(const ListOptions &options, Context &context)
{
    const Engine engine{Installation(options.install)};
    const std::int32_t before = countList(engine, *options.calls);
    engine.check(options.calls->removeAll(hiddenFilter(options)), "clearing " + listTitle(options) + " failed");
    reportRemoved(options, context, before, countList(engine, *options.calls));
}

void addListEditing(CLI::App &list, const SharedListOptions &options, Context &context)
{
    CLI::App *command = addListAction(list, "add", "Add a number; takes it off the other list", options, context, add);
    addTextArgument(*command, "NUMBER", options->entry.number, "The number as displayed, at most 29 characters")
        ->required();
    addCountryOption(*command, options->country);
    addTextOption(*command, "--name", "NAME", options->entry.name, "Display name, at most 29 UTF-16 units");
    command->add_option("--hidden", options->entry.hidden, "Flag stored with the entry: 0 or 1")
        ->check(CLI::IsMember({0, 1}))
        ->type_name("FLAG");
    command->add_option("--extend-id", options->entry.extendID, "Link value stored with the entry")->type_name("ID");
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "add --install ~/filter +8613912345678 --name 'Wang Fang'")});

    command = addListAction(list, "remove", "Remove every entry that matches a number, or entries by identifier",
                            options, context, remove);
    addTextArgument(*command, "NUMBER", options->entry.number, "The number; the last 11 characters decide");
    addCountryOption(*command, options->country);
    command->add_option("--uid", options->uid, "The identifier that show prints")->type_name("UID");
    command->add_option("--extend-id", options->extendID, "The link value")->type_name("ID");
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "remove --install ~/filter 13912345678"),
                           listExample(options, "remove --install ~/filter --uid 7")});

    command = addListAction(list, "clear", "Remove all entries", options, context, clear);
    addHiddenFilter(*command, *options);
    addQuietFlag(*command, context);
    addExamples(*command, {listExample(options, "clear --install ~/filter --hidden 1")});
}

} // namespace velq::kit

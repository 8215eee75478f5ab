// What the files of velq list share: the options of its actions, and adding these to the table.
#ifndef VELQ_KIT_CLI_LIST_H
#define VELQ_KIT_CLI_LIST_H

#include "kit/cli/options.h"
#include "kit/engine/number_list.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velq::kit {

// The options of all actions on one list; each registers those that it takes.
struct ListOptions {
    const ListCalls *calls = nullptr;
    std::string install;
    ListEntry entry;
    std::string hidden = "any";
    std::optional<std::int32_t> uid;
    std::optional<std::int32_t> extendID;
    std::string file;
    NumberForm country;
    bool batch = false;
    bool skipBad = false;
};

using SharedListOptions = std::shared_ptr<ListOptions>;
using ListAction = void (*)(const ListOptions &, Context &);

// "the black list".
std::string listTitle(const ListOptions &options);

// Adds one action with its option --install to the commands of a list.
CLI::App *addListAction(CLI::App &list, const char *name, const char *description, const SharedListOptions &options,
                        Context &context, ListAction action);

// --hidden 0|1|any, and the value for the exports that it stands for.
void addHiddenFilter(CLI::App &command, ListOptions &options);
std::int32_t hiddenFilter(const ListOptions &options);

// A line for the help text: "velq list black" and the rest.
std::string listExample(const SharedListOptions &options, const char *rest);

void addListReading(CLI::App &list, const SharedListOptions &options, Context &context); // show, count, export
void addListEditing(CLI::App &list, const SharedListOptions &options, Context &context); // add, remove, clear
void addListImport(CLI::App &list, const SharedListOptions &options, Context &context);  // import
void addListCheck(CLI::App &list, Context &context);                                     // check, of both lists

// The calls of the list that `options` is not about.
const ListCalls &otherList(const ListOptions &options);

} // namespace velq::kit

#endif

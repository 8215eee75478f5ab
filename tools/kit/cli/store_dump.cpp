// velq store dump: a token store as text.
#include "kit/base/output.h"
#include "kit/cli/commands.h"
#include "kit/store/store_check.h"
#include "kit/store/store_file.h"
#include "kit/store/store_form.h"
#include "kit/store/store_text.h"

namespace velq::kit {

namespace {

struct DumpOptions {
    std::string store;
    std::string output;
};

} // namespace

static void runDump(const DumpOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.store});
    if (options.store == "-") {
        throw Error(Status::usage, "a prob.bin is not read from standard input; give the file");
    }
    const StoreContents contents = readStoreContents(options.store);
    checkKeysAreUnique(contents, options.store);
    if (options.output.empty()) {
        writeStoreText(context.out, contents);
    } else {
        writeStore(options.output, contents, true);
    }
}

void addStoreDump(CLI::App &store, Context &context)
{
    auto options = std::make_shared<DumpOptions>();
    CLI::App *command = addCommand(store, "dump", "Write a token store as text: sorted, one token a line, lossless");
    addFileArgument(*command, "FILE", options->store, "A prob.bin")->required();
    addFileOption(*command, "-o,--output", options->output, "The text to write; standard output when not given");
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store dump prob.bin -o store.txt", "velq store dump prob.bin | grep -c ^free"});
    command->callback([options, &context] { runDump(*options, context); });
}

} // namespace velq::kit

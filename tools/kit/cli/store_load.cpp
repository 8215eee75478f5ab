// velq store load: a prob.bin of the text form.
#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/cli/commands.h"
#include "kit/store/store_file.h"
#include "kit/store/store_text.h"

namespace velq::kit {

namespace {

struct LoadOptions {
    std::string store;
    std::string output;
};

} // namespace

static void runLoad(const LoadOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.store});
    InputFile input(options.store, context.in);
    const StoreContents contents = readStoreText(input.stream(), input.name());
    writeStoreContents(options.output, contents);
    context.message(plural(contents.rows.size(), "row") + " written to " + options.output);
}

void addStoreLoad(CLI::App &store, Context &context)
{
    auto options = std::make_shared<LoadOptions>();
    CLI::App *command = addCommand(store, "load", "Make a prob.bin of the text form");
    addFileArgument(*command, "TEXT", options->store, "A store in text form; - is standard input")->required();
    addFileOption(*command, "-o,--output", options->output, "The prob.bin to write")->required();
    addQuietFlag(*command, context);
    addExamples(*command, {"velq store load store.txt -o prob.bin"});
    command->callback([options, &context] { runLoad(*options, context); });
}

} // namespace velq::kit

// velq store load: a prob.bin of the text form.
#include "kit/base/input.h"
#include "kit/base/output.h"
#include "kit/cli/commands.h"
#include "kit/store/store_file.h"
#include "kit/store/store_text.h"

#include <cstdint>
#include <limits>

namespace velq::kit {

namespace {

struct LoadOptions {
    std::string store;
    std::string output;
    std::int32_t dataVersion = 0;
};

} // namespace

static void runLoad(const LoadOptions &options, Context &context)
{
    checkNotAnInput(options.output, {options.store});
    InputFile input(options.store, context.in);
    const StoreContents contents = readStoreText(input.stream(), input.name());
    writeStoreContents(options.output, contents, options.dataVersion);
    context.message(plural(contents.rows.size(), "row") + " written to " + options.output);
}

void addStoreLoad(CLI::App &store, Context &context)
{
    auto options = std::make_shared<LoadOptions>();
    CLI::App *command = addCommand(store, "load", "Make a prob.bin of the text form");
    addFileArgument(*command, "TEXT", options->store, "A store in text form; - is standard input")->required();
    addFileOption(*command, "-o,--output", options->output, "The prob.bin to write")->required();
    command
        ->add_option("--data-version", options->dataVersion,
                     "The version of the token statistics that installations laid out with the file begin with (1)")
        ->check(CLI::Range(1, std::numeric_limits<std::int32_t>::max()))
        ->type_name("N");
    addQuietFlag(*command, context);
    addExamples(*command,
                {"velq store load store.txt -o prob.bin", "velq store load store.txt -o prob.bin --data-version 2"});
    command->callback([options, &context] { runLoad(*options, context); });
}

} // namespace velq::kit

// velq store: the command that the commands on token stores stand below.
#include "kit/cli/commands.h"

namespace velq::kit {

void addStoreCommands(CLI::App &root, Context &context)
{
    CLI::App *store = addCommand(root, "store", "Build, show, check, convert and compare token stores");
    store->require_subcommand(1);
    addStoreBuild(*store, context);
    addStoreStats(*store, context);
    addStoreVerify(*store, context);
    addStoreDump(*store, context);
    addStoreLoad(*store, context);
    addStoreDiff(*store, context);
    addStoreStandIns(*store, context);
    addExamples(*store, {"velq store build en.tsv -o prob.bin", "velq store dump prob.bin -o store.txt",
                         "velq store diff old.bin new.bin -o update.db"});
}

} // namespace velq::kit

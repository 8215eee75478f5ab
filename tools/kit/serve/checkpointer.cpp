// Copying back after a number of messages.
#include "kit/serve/checkpointer.h"

namespace velq::kit {

static bool isWriteAhead(Database &file)
{
    Query mode(file, "PRAGMA journal_mode;");
    return mode.step() && mode.text(0) == journalName(Journal::writeAhead);
}

Checkpointer::Checkpointer(const std::vector<std::filesystem::path> &files)
{
    for (const std::filesystem::path &path : files) {
        auto file = std::make_unique<Database>(path, DatabaseMode::write);
        if (isWriteAhead(*file)) {
            files_.push_back(std::move(file));
        }
    }
}

void Checkpointer::messageRated()
{
    constexpr std::size_t between = 128; // a message changes one to four pages
    if (!files_.empty() && ++rated_ >= between && queue_.add([this](std::size_t) { copyBack(); })) {
        rated_ = 0;
    }
}

// What fails here SQLite tries again when it commits.
void Checkpointer::copyBack()
{
    for (const std::unique_ptr<Database> &file : files_) {
        try {
            file->integer("PRAGMA wal_checkpoint(PASSIVE);");
        } catch (const Error &) {
        }
    }
}

} // namespace velq::kit

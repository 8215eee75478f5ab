// Files in write-ahead mode, copied back from their logs before SQLite does it while somebody waits for a verdict.
#ifndef VELQ_KIT_SERVE_CHECKPOINTER_H
#define VELQ_KIT_SERVE_CHECKPOINTER_H

#include "kit/base/database.h"
#include "kit/serve/work_queue.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

namespace velq::kit {

// A connection that commits copies the log back by itself once that has a thousand pages, and waits for the disk
// meanwhile. Here a thread of its own does most of it, a part at a time, over connections of its own. It waits for
// nobody and nobody for it. A file with a rollback journal is left alone.
class Checkpointer {
  public:
    // Throws Error where a file cannot be read.
    explicit Checkpointer(const std::vector<std::filesystem::path> &files);

    // A message has been rated, and may have been written to the files. To be called by one thread at a time.
    void messageRated();

  private:
    void copyBack();

    std::vector<std::unique_ptr<Database>> files_; // used by the queue's thread alone
    std::size_t rated_ = 0;                        // since they were copied back last
    WorkQueue queue_{1};
};

} // namespace velq::kit

#endif

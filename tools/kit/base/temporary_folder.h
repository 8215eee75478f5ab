// A folder that only this user can read, removed with everything in it at the end of the scope, or by the signal that
// ends the program.
#ifndef VELQ_KIT_BASE_TEMPORARY_FOLDER_H
#define VELQ_KIT_BASE_TEMPORARY_FOLDER_H

#include "kit/base/interruption.h"

#include <filesystem>
#include <memory>

namespace velq::kit {

class TemporaryFolder {
  public:
    // In the system's folder for such, or in `parent`. Throws Error (cannotCreate).
    explicit TemporaryFolder(std::filesystem::path parent = {});
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const
    {
        return path_;
    }

  private:
    std::filesystem::path path_;
    std::unique_ptr<RemovedOnSignal> onSignal_;
};

} // namespace velq::kit

#endif

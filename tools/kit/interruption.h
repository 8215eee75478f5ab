// Paths that disappear when a signal ends the program: drafts of files and temporary folders. Whoever makes one removes
// it itself in every other case.
#ifndef VELQ_KIT_INTERRUPTION_H
#define VELQ_KIT_INTERRUPTION_H

#include <cstddef>
#include <filesystem>

namespace velq::kit {

// For the length of the scope: SIGINT, SIGTERM and SIGHUP remove the path with everything in it, then end the program
// as they would have done anyway. A signal that is ignored (nohup) stays ignored. A forked process removes nothing.
class RemovedOnSignal {
  public:
    explicit RemovedOnSignal(const std::filesystem::path &path);
    ~RemovedOnSignal();
    RemovedOnSignal(const RemovedOnSignal &) = delete;
    RemovedOnSignal &operator=(const RemovedOnSignal &) = delete;

  private:
    std::size_t slot_;
};

} // namespace velq::kit

#endif

// Paths that disappear when a signal ends the program: drafts of files and temporary folders. Whoever makes one removes
// it itself in every other case.
#ifndef VELQ_KIT_BASE_INTERRUPTION_H
#define VELQ_KIT_BASE_INTERRUPTION_H

#include <csignal>
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

// Holds those signals back for the length of the scope, so that making a path and naming it here are one step.
class EndingSignalsHeld {
  public:
    EndingSignalsHeld();
    ~EndingSignalsHeld();
    EndingSignalsHeld(const EndingSignalsHeld &) = delete;
    EndingSignalsHeld &operator=(const EndingSignalsHeld &) = delete;

  private:
    sigset_t before_{};
};

} // namespace velq::kit

#endif

// Running the engine on an installation. What is called in it stands in velq.h.
#ifndef VELQ_KIT_ENGINE_ENGINE_H
#define VELQ_KIT_ENGINE_ENGINE_H

#include "kit/engine/installation.h"

#include <string>

namespace velq::kit {

// The engine on an installation for the length of a scope. One at a time in a process.
class Engine {
  public:
    // `kept` keeps the connections open: for many ratings. `plain` opens them for each call, so that files may be put
    // in place between calls.
    enum class Connections { plain, kept };

    // Throws Error: what programDirectory and checkComplete throw, inputOutput when the engine refuses to start.
    explicit Engine(const Installation &installation, Connections connections = Connections::plain);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // Throws Error (inputOutput) that says what failed and where the log is, unless `code` is 0.
    void check(int code, const std::string &what) const;
    // Where to look for the reason of a failure.
    std::string reason() const;

  private:
    Connections connections_;
    Installation installation_;
    std::string log_; // where the engine writes its failures
};

} // namespace velq::kit

#endif

// How far a build has come.
#ifndef VELQ_KIT_LEARNING_BUILD_PROGRESS_H
#define VELQ_KIT_LEARNING_BUILD_PROGRESS_H

#include <cstdint>
#include <functional>

namespace velq::kit {

// Called now and then with the steps done and the steps in all; may be empty.
using BuildProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

struct BuildSteps {
    const BuildProgress &progress;
    std::uint64_t total = 0;
    std::uint64_t done = 0;
};

inline void oneStep(BuildSteps &steps)
{
    ++steps.done;
    if (steps.progress) {
        steps.progress(steps.done, steps.total);
    }
}

} // namespace velq::kit

#endif

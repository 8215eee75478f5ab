// What every fuzz target defines, and how it reports a finding.
#ifndef VELQ_FUZZ_TARGET_H
#define VELQ_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The fuzzing engine, or replay_main.cpp, calls it with one input after the other.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace velq::fuzz {

// Ends the process with `what` unless `holds`: a finding.
inline void require(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "finding: %s\n", what);
        std::abort();
    }
}

} // namespace velq::fuzz

#endif

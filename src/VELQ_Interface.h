// The guard that every guarded export enters first.
#ifndef VELQ_INTERFACE_H
#define VELQ_INTERFACE_H

#include "VELQ_Util.h"

#include <cstdint>

// Whether and how loudly an export is refused while an update runs.
enum class BusyRule : std::uint8_t {
    allowed,       // works during an update
    refused,       // refused with an error line
    refusedQuietly // refused with a debug line
};

// 0, or the result with which the export is to return at once.
std::int32_t guardExport(BusyRule rule, SourceLine where) noexcept;

#endif

// The installed versions of the data.
#ifndef VELQ_KIT_ENGINE_DATA_VERSIONS_H
#define VELQ_KIT_ENGINE_DATA_VERSIONS_H

#include "kit/engine/engine.h"

#include <cstdint>

namespace velq::kit {

struct DataVersions {
    std::int32_t probability = 0;
    std::int32_t whiteNumbers = 0;
    std::int32_t rules = 0;
};

// Of one kind of data: VELQ_DATA_...
std::int32_t installedVersion(const Engine &engine, std::int32_t kind);

DataVersions installedVersions(const Engine &engine);

} // namespace velq::kit

#endif

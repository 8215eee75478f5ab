// Versions through the exports.
#include "kit/engine/data_versions.h"

#include "velq.h"

namespace velq::kit {

std::int32_t installedVersion(const Engine &engine, std::int32_t kind)
{
    VersionRecord record{kind, 0};
    engine.check(VELQ_GetCurVersion(&record), "reading the versions failed");
    return record.version;
}

DataVersions installedVersions(const Engine &engine)
{
    return {installedVersion(engine, VELQ_DATA_PROBABILITY), installedVersion(engine, VELQ_DATA_WHITE_NUMBERS),
            installedVersion(engine, VELQ_DATA_RULES)};
}

} // namespace velq::kit

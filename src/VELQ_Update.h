// The update driver and the version records.
#ifndef VELQ_UPDATE_H
#define VELQ_UPDATE_H

#include "velq.h"

#include <cstdint>

// True while an update runs; asked by the guards of the exports on any thread.
bool isUpdateRunning() noexcept;
// Merges the given update files (each path may be null) and records their versions. 0, or the failure code of the last
// operation. `ruleFile` is not read: rule updates do not exist in this release.
int doUpdateData(const VELQ_WideChar *probPath, std::int32_t probVersion, const VELQ_WideChar *wnPath,
                 std::int32_t wnVersion, const VELQ_WideChar *ruleFile) noexcept;
// Works on the pending file names.
int updateAllData(std::int32_t probVersion, std::int32_t wnVersion) noexcept;

// 0 or -2. A command without a row gives version 0, or changes nothing.
int db_GetCurrentVersion(VersionRecord *record) noexcept;
int db_UpdateVersion(const VersionRecord *record) noexcept;

#endif

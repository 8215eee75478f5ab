// The time as logs and records hold it.
#ifndef VELQ_KIT_BASE_UTC_TIME_H
#define VELQ_KIT_BASE_UTC_TIME_H

#include <cstdint>
#include <string>

namespace velq::kit {

// The present second, such as 2024-02-29T23:59:59Z.
std::string timeInUtc();

// A second since 1970 in the same form.
std::string utcTime(std::int64_t second);

} // namespace velq::kit

#endif

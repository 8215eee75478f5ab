// Counted things in messages.
#ifndef VELQ_KIT_BASE_PLURAL_H
#define VELQ_KIT_BASE_PLURAL_H

#include <cstdint>
#include <string>

namespace velq::kit {

// "1 message", "2 messages".
inline std::string plural(std::uint64_t count, const std::string &thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

} // namespace velq::kit

#endif

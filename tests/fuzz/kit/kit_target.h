// What the fuzz targets of the kit share: telling refused input from a fault, and text as a stream.
#ifndef VELQ_FUZZ_KIT_TARGET_H
#define VELQ_FUZZ_KIT_TARGET_H

#include "fuzz_target.h"
#include "kit/base/status.h"

#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace velq::fuzz {

inline std::string_view textOf(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

// Calls `read`. True when it went through; false when it refused the input as data with a reason. Anything else that is
// thrown ends the process.
template <typename Read>
bool isAccepted(Read &&read)
{
    try {
        std::forward<Read>(read)();
        return true;
    } catch (const kit::Error &error) {
        require(error.status() == kit::Status::badData, "input was refused for another reason than its content");
        require(error.what()[0] != '\0', "input was refused without a reason");
        return false;
    }
}

// What `read` makes of `text` as a stream, with a name for messages.
template <typename Read>
auto readText(Read &&read, std::string_view text)
{
    std::istringstream in{std::string(text)};
    return std::forward<Read>(read)(in, "input");
}

} // namespace velq::fuzz

#endif

// The message files of SMS Server Tools, from any bytes. What is read, written as such a file and read again is the
// same.
#include "kit/base/wide_text.h"
#include "kit/hooks/smstools.h"
#include "kit_target.h"

using namespace velq::fuzz;
using namespace velq::kit;

namespace {

// In the character set that holds every unit.
std::string written(const HookMessage &message)
{
    std::string bytes = "From: " + message.sender + "\nAlphabet: UCS2\n\n";
    for (const VELQ_WideChar unit : message.body) {
        bytes += static_cast<char>(static_cast<unsigned>(unit) >> 8);
        bytes += static_cast<char>(static_cast<unsigned>(unit) & 0xFF);
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    HookMessage message;
    if (!isAccepted([&] { message = parseSmstoolsMessage(textOf(data, size)); })) {
        return 0;
    }
    require(!firstInvalidByte(message.sender), "a sender that is not UTF-8");
    require(message.body.find(VELQ_WideChar{0}) == WideText::npos, "a zero in the body ends it for the engine");
    require(message.files.empty(), "files of a message that was in none");
    const HookMessage again = parseSmstoolsMessage(written(message));
    require(again.sender == message.sender && again.body == message.body,
            "a message written as a file reads otherwise");
    return 0;
}

// Messages in the files of SMS Server Tools 3.
#include "kit/hooks/smstools.h"

#include "kit/base/status.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>

namespace velq::kit {

namespace {

constexpr std::size_t largestFile = std::size_t{1} << 20;

struct Headers {
    std::optional<std::string> from;
    std::string addressType;
    std::string alphabet;
    std::string_view body;
};

} // namespace

[[noreturn]] static void malformed(const std::string &what)
{
    throw Error(Status::badData, what + "; the message stays where it is");
}

static std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

static void takeHeader(Headers &headers, std::string_view line)
{
    const std::size_t colon = line.find(':');
    const std::string_view name = line.substr(0, colon);
    const std::string value(colon == std::string_view::npos ? std::string_view() : trimmed(line.substr(colon + 1)));
    if (name == "From" && !headers.from) {
        headers.from = value;
    } else if (name == "From_TOA") {
        headers.addressType = value;
    } else if (name == "Alphabet") {
        headers.alphabet = value;
    }
}

// The name of a text sender may hold line ends, and the daemon writes them as they are. So the first From counts, of
// the others the last, and an empty line ends the headers only when the alphabet is known.
static Headers splitHeaders(std::string_view bytes)
{
    Headers headers;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = bytes.find('\n', at);
        if (end == std::string_view::npos) {
            break;
        }
        const std::string_view line = trimmed(bytes.substr(at, end - at));
        at = end + 1;
        if (line.empty() && !headers.alphabet.empty()) {
            headers.body = bytes.substr(at);
            return headers;
        }
        takeHeader(headers, line);
    }
    malformed(headers.alphabet.empty() ? "the file has no Alphabet header" : "no empty line ends the headers");
}

// Bits 4 to 6 of the type of address are the type of number.
static bool isInternational(const std::string &addressType)
{
    unsigned type = 0;
    const auto [end, code] = std::from_chars(addressType.data(), addressType.data() + addressType.size(), type, 16);
    return code == std::errc() && end == addressType.data() + 2 && (type & 0x70U) == 0x10U;
}

static std::string senderOf(const Headers &headers)
{
    if (!headers.from) {
        malformed("the file has no From header");
    }
    const std::string &from = *headers.from;
    if (firstInvalidByte(from)) {
        malformed("the From header is not UTF-8");
    }
    const bool digits =
        !from.empty() && std::ranges::all_of(from, [](char letter) { return letter >= '0' && letter <= '9'; });
    return digits && isInternational(headers.addressType) ? "+" + from : from;
}

static VELQ_WideChar fromLatin9(unsigned char byte)
{
    switch (byte) {
    case 0xA4:
        return 0x20AC; // the euro sign
    case 0xA6:
        return 0x0160;
    case 0xA8:
        return 0x0161;
    case 0xB4:
        return 0x017D;
    case 0xB8:
        return 0x017E;
    case 0xBC:
        return 0x0152;
    case 0xBD:
        return 0x0153;
    case 0xBE:
        return 0x0178;
    default:
        return byte;
    }
}

static WideText bodyOf(const Headers &headers)
{
    if (headers.alphabet.starts_with("UTF-8")) {
        auto text = wideFromUtf8(headers.body);
        if (!text) {
            malformed("the body is not UTF-8");
        }
        return *std::move(text);
    }
    if (headers.alphabet.starts_with("UCS")) {
        auto text = wideFromUtf16HighByteFirst(headers.body);
        if (!text) {
            malformed("the body has half a character at its end");
        }
        return *std::move(text);
    }
    if (headers.alphabet.starts_with("ISO")) {
        WideText text;
        for (const char letter : headers.body) {
            text.push_back(fromLatin9(static_cast<unsigned char>(letter)));
        }
        return text;
    }
    if (headers.alphabet == "binary") {
        return {};
    }
    malformed("the alphabet " + headers.alphabet + " is not known");
}

HookMessage parseSmstoolsMessage(std::string_view bytes)
{
    const Headers headers = splitHeaders(bytes);
    HookMessage message;
    message.sender = senderOf(headers);
    message.body = withoutZeros(bodyOf(headers));
    return message;
}

HookMessage readSmstoolsMessage(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw Error(Status::noInput, "cannot open the message file " + file.string());
    }
    std::string bytes(largestFile + 1, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (in.bad()) {
        throw Error(Status::inputOutput, "reading the message file " + file.string() + " failed");
    }
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    try {
        if (bytes.size() > largestFile) {
            malformed("the file is larger than 1 MiB");
        }
        HookMessage message = parseSmstoolsMessage(bytes);
        message.files.push_back(file);
        return message;
    } catch (const Error &error) {
        throw Error(error.status(), file.string() + ": " + error.what());
    }
}

} // namespace velq::kit

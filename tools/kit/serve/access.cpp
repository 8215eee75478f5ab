// Addresses, hosts and tokens.
#include "kit/serve/access.h"

#include "kit/base/letter_case.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <fstream>
#include <netinet/in.h>
#include <sys/stat.h>

namespace velq::kit {

static bool isAddress(int family, const std::string &host)
{
    in6_addr room{};
    return inet_pton(family, host.c_str(), &room) == 1;
}

bool ListenAddress::isLoopback() const
{
    return (isAddress(AF_INET, host) && host.starts_with("127.")) || host == "::1";
}

std::string ListenAddress::text() const
{
    return (isAddress(AF_INET6, host) ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

// Splits "host:port" and "[host]:port"; the port may be missing.
static std::pair<std::string, std::string> splitHost(const std::string &text)
{
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        if (end == std::string::npos || (end + 1 < text.size() && text[end + 1] != ':')) {
            return {};
        }
        return {text.substr(1, end - 1), end + 1 < text.size() ? text.substr(end + 2) : std::string()};
    }
    const std::size_t colon = text.rfind(':');
    return colon == std::string::npos ? std::pair(text, std::string())
                                      : std::pair(text.substr(0, colon), text.substr(colon + 1));
}

static bool parsePort(const std::string &text, std::uint16_t &port)
{
    const char *end = text.data() + text.size();
    return std::from_chars(text.data(), end, port) == std::from_chars_result{end, std::errc()};
}

ListenAddress parseListenAddress(const std::string &text)
{
    ListenAddress address;
    auto [host, port] = splitHost(text);
    address.host = host == "localhost" ? "127.0.0.1" : host;
    const bool known = isAddress(AF_INET, address.host) || (text.starts_with('[') && isAddress(AF_INET6, address.host));
    if (!known || !parsePort(port, address.port)) {
        throw Error(Status::usage, text + " is no address to listen on; give one such as 127.0.0.1:8125 or [::1]:8125");
    }
    return address;
}

// ---- Tokens

std::string readToken(const std::filesystem::path &file)
{
    constexpr std::size_t shortest = 16;
    constexpr std::size_t longest = 1024;
    struct stat facts {};
    if (::stat(file.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        throw Error(Status::noInput, "cannot read the token file " + file.string() + "; check the path");
    }
    if ((facts.st_mode & S_IRWXO) != 0) {
        throw Error(Status::badData, "everybody may use the token file " + file.string() + "; run chmod 600 on it");
    }
    std::ifstream in(file);
    std::string token;
    if (!in || (!std::getline(in, token) && !in.eof())) {
        throw Error(Status::noInput, "cannot read the token file " + file.string() + "; check its permissions");
    }
    const bool plain = std::ranges::all_of(token, [](unsigned char unit) { return unit > 0x20 && unit < 0x7F; });
    if (!plain || token.size() < shortest || token.size() > longest) {
        throw Error(Status::badData, "the first line of " + file.string() +
                                         " is no token: 16 to 1024 ASCII characters without blanks; make one with "
                                         "head -c 24 /dev/urandom | base64");
    }
    return token;
}

bool equalInConstantTime(std::string_view a, std::string_view b)
{
    volatile unsigned difference = a.size() == b.size() ? 0U : 1U;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto other = static_cast<unsigned char>(b.empty() ? '\0' : b[i % b.size()]);
        difference = difference | static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ other);
    }
    return difference == 0;
}

void checkToken(const AccessRules &rules, const Credentials &credentials)
{
    if (rules.token.empty()) {
        return;
    }
    const bool bearer = equalInConstantTime(credentials.bearer, rules.token);
    const bool password = equalInConstantTime(credentials.password, rules.token);
    if (!bearer && !password) {
        throw Problem(ProblemKind::unauthorized,
                      "send the token in the header Authorization: Bearer TOKEN, or as the password of HTTP's basic "
                      "authentication");
    }
}

// ---- Hosts and origins

// Of the names given for it: what stands before this service may listen on another port.
static bool isGivenName(const AccessRules &rules, const std::string &host)
{
    return std::ranges::any_of(rules.hosts, [&host](const std::string &name) { return inSmallLetters(name) == host; });
}

static bool isListenedOn(const ListenAddress &address, const std::string &host)
{
    if (address.host == "0.0.0.0" || address.host == "::") {
        // A name can be made to lead here by others; an address leads where it says.
        return host == "localhost" || isAddress(AF_INET, host) || isAddress(AF_INET6, host);
    }
    return host == inSmallLetters(address.host) || (host == "localhost" && address.isLoopback());
}

void checkHost(const AccessRules &rules, const HttpRequest &request)
{
    const auto [host, port] = splitHost(inSmallLetters(request.header("host")));
    constexpr std::uint16_t usual = 80;
    std::uint16_t number = usual;
    const bool portFits = (port.empty() || parsePort(port, number)) && number == rules.address.port;
    if (!isGivenName(rules, host) && !(portFits && isListenedOn(rules.address, host))) {
        throw Problem(ProblemKind::wrongHost, "the Host header names something else than " + rules.address.text() +
                                                  "; a name of this service has to be given with --host");
    }
}

void checkOrigin(const HttpRequest &request)
{
    const std::string &site = request.header("sec-fetch-site");
    if (!site.empty() && site != "same-origin" && site != "none") {
        throw Problem(ProblemKind::foreignOrigin, "a page of another site may not change anything here");
    }
    const std::string origin = inSmallLetters(request.header("origin"));
    const std::string host = inSmallLetters(request.header("host"));
    if (!origin.empty() && origin != "http://" + host && origin != "https://" + host) {
        throw Problem(ProblemKind::foreignOrigin, "the page that sent this is not of " + host);
    }
}

} // namespace velq::kit

// Who may ask: the address that is listened on, the host that a request names, the page that it comes from, the token.
#ifndef VELQ_KIT_SERVE_ACCESS_H
#define VELQ_KIT_SERVE_ACCESS_H

#include "kit/serve/http_message.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace velq::kit {

// A numeric address with a port: "127.0.0.1:8125", "[::1]:8125", "localhost:0". Port 0 lets the system choose.
struct ListenAddress {
    std::string host; // without brackets
    std::uint16_t port = 0;

    bool isLoopback() const;
    // "127.0.0.1:8125", "[::1]:8125".
    std::string text() const;
};

// Throws Error (usage).
ListenAddress parseListenAddress(const std::string &text);

// The first line of the file. Throws Error: noInput for a file that cannot be read, badData for a token that is too
// short or no plain text, or that others than the file's owner and group may read.
std::string readToken(const std::filesystem::path &file);

// Whether the two are equal, in a time that depends on their lengths only.
bool equalInConstantTime(std::string_view a, std::string_view b);

// What a password of HTTP's basic authentication is; the library that reads it knows requests only by their connection.
struct Credentials {
    std::string bearer;   // of "Authorization: Bearer ..."
    std::string password; // of "Authorization: Basic ...", whatever the user's name
};

struct AccessRules {
    ListenAddress address;          // with the port that is listened on
    std::vector<std::string> hosts; // further names that requests may be sent to
    std::string token;              // empty: none is asked for
};

// Throws Problem (wrongHost) unless the Host header names what is listened on: a page that got a name of its own to
// lead to this machine is refused by that.
void checkHost(const AccessRules &rules, const HttpRequest &request);

// Throws Problem (foreignOrigin) where a browser says that another site's page sent a request that writes.
void checkOrigin(const HttpRequest &request);

// Throws Problem (unauthorized).
void checkToken(const AccessRules &rules, const Credentials &credentials);

} // namespace velq::kit

#endif

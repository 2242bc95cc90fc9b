#include "http/host_check.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>

#include "platform/include/text_helpers.h"

namespace {

constexpr size_t NAME_MAX_BYTES = 253;  // RFC 1035
constexpr size_t PORT_DIGITS_MAX = 5;
constexpr const char* NAME_LETTERS = "abcdefghijklmnopqrstuvwxyz0123456789-.";

bool isAddress(int family, const std::string& text) {
    in6_addr address{};
    return inet_pton(family, text.c_str(), &address) == 1;
}

// "[::1]" or "[::1]:8080".
bool isBracketedAddress(const std::string& host) {
    return host.size() > 2 && host.front() == '[' && host.back() == ']' &&
           isAddress(AF_INET6, host.substr(1, host.size() - 2));
}

// Without its port; empty if what follows the colon is not one.
std::string withoutPort(const std::string& header) {
    const size_t colon = header.rfind(':');
    const size_t bracket = header.rfind(']');
    if (colon == std::string::npos || (bracket != std::string::npos && bracket > colon))
        return header;
    const std::string port = header.substr(colon + 1);
    if (!isStringNumeric(port) || port.size() > PORT_DIGITS_MAX) return "";
    return header.substr(0, colon);
}

}  // namespace

bool isHostName(const std::string& text) {
    return !text.empty() && text.size() <= NAME_MAX_BYTES && text.front() != '.' &&
           text.find_first_not_of(NAME_LETTERS) == std::string::npos;
}

bool isHostAllowed(const std::string& header, const std::vector<std::string>& hosts) {
    const std::string host = stringLower(withoutPort(header));
    if (host == "localhost" || isAddress(AF_INET, host) || isBracketedAddress(host)) return true;
    return std::find(hosts.begin(), hosts.end(), host) != hosts.end();
}

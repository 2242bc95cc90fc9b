#include "http/listeners.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/system_failure.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr int FIRST_PASSED = 3;
constexpr int PASSED_MAX = 16;
constexpr int PORT_MAX = 65535;
constexpr int BACKLOG = 128;

union uAddress {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
    sockaddr_storage storage;
};

bool isLoopback(const uAddress& address) {
    if (address.any.sa_family == AF_UNIX) return true;
    if (address.any.sa_family == AF_INET)
        return ntohl(address.v4.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
    return address.any.sa_family == AF_INET6 && IN6_IS_ADDR_LOOPBACK(&address.v6.sin6_addr);
}

std::string addressName(const uAddress& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.any.sa_family == AF_INET) {
        inet_ntop(AF_INET, &address.v4.sin_addr, text, sizeof text);
        return std::string(text) + ":" + itos(ntohs(address.v4.sin_port));
    }
    if (address.any.sa_family == AF_INET6) {
        inet_ntop(AF_INET6, &address.v6.sin6_addr, text, sizeof text);
        return "[" + std::string(text) + "]:" + itos(ntohs(address.v6.sin6_port));
    }
    return "a Unix socket";
}

sListener describe(int socket) {
    uAddress address{};
    socklen_t size = sizeof address;
    int listens = 0;
    socklen_t flagSize = sizeof listens;
    if (getsockname(socket, &address.any, &size) != 0 ||
        getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &listens, &flagSize) != 0 || listens == 0)
        throw cFailure(eExitStatus::FAILED, "descriptor " + itos(socket) +
                                                " of the service manager is not a listening "
                                                "socket; the socket unit needs Accept=no");
    fcntl(socket, F_SETFD, FD_CLOEXEC);
    fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
    return {socket, isLoopback(address), addressName(address)};
}

int numberOf(const char* variable) {
    const char* text = getenv(variable);
    return text != nullptr && isStringNumeric(text) ? textToInt(text) : 0;
}

[[noreturn]] void refuseAddress(const std::string& text) {
    throw cFailure(eExitStatus::USAGE, "'" + printableLine(text) +
                                           "' is not an address; expected ADDRESS:PORT, as "
                                           "127.0.0.1:8080 or [::1]:8080");
}

uAddress parseAddress(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || !isStringNumeric(text.substr(colon + 1))) refuseAddress(text);
    const int port = textToInt(text.substr(colon + 1));
    if (port > PORT_MAX) refuseAddress(text);
    const std::string host = text.substr(0, colon);
    uAddress address{};
    if (inet_pton(AF_INET, host.c_str(), &address.v4.sin_addr) == 1) {
        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(static_cast<uint16_t>(port));
        return address;
    }
    if (host.size() < 3 || host.front() != '[' || host.back() != ']' ||
        inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address.v6.sin6_addr) != 1)
        refuseAddress(text);
    address.v6.sin6_family = AF_INET6;
    address.v6.sin6_port = htons(static_cast<uint16_t>(port));
    return address;
}

}  // namespace

std::vector<sListener> passedListeners() {
    const bool isForUs = numberOf("LISTEN_PID") == getpid();
    const int count = isForUs ? std::min(numberOf("LISTEN_FDS"), PASSED_MAX) : 0;
    for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"})
        unsetenv(variable);
    std::vector<sListener> listeners;
    listeners.reserve(static_cast<size_t>(count));
    for (int socket = FIRST_PASSED; socket < FIRST_PASSED + count; ++socket)
        listeners.push_back(describe(socket));
    return listeners;
}

sListener listenAt(const std::string& text) {
    const uAddress address = parseAddress(text);
    const int family = address.any.sa_family;
    const socklen_t size = family == AF_INET ? sizeof address.v4 : sizeof address.v6;
    const int listener = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0) throw systemFailure("open a socket", errno);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (family == AF_INET6) setsockopt(listener, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    if (bind(listener, &address.any, size) != 0 || listen(listener, BACKLOG) != 0) {
        const int error = errno;
        close(listener);
        throw systemFailure("listen at " + text, error);
    }
    return describe(listener);
}

#include "tests/support/notify_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <stdexcept>

cNotifySocket::cNotifySocket(const std::string& name)
    : m_handle(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      m_path(name[0] == '@' ? "" : name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (name[0] == '@') address.sun_path[0] = '\0';
    // An abstract name ends where the address ends: without a terminating zero byte.
    const size_t size = offsetof(sockaddr_un, sun_path) + name.size() + (m_path.empty() ? 0 : 1);
    if (bind(m_handle, reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size)) !=
        0)
        throw std::runtime_error("cannot bind " + name);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
}

cNotifySocket::~cNotifySocket() {
    close(m_handle);
    if (!m_path.empty()) unlink(m_path.c_str());
    for (const char* variable : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        unsetenv(variable);
}

std::vector<std::string> cNotifySocket::messages() {
    std::vector<std::string> list;
    char buffer[1024];
    for (;;) {
        const ssize_t count = recv(m_handle, buffer, sizeof buffer, 0);
        if (count < 0) return list;
        list.emplace_back(buffer, static_cast<size_t>(count));
    }
}

#include "agent/root_link.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr size_t ANSWER_MAX = OUTPUT_MAX + ANSWER_LINE_MAX;

}  // namespace

bool cRootLink::start(const sPlaces& places, const std::string& request, long long nowS,
                      std::string& error) {
    const std::string path = places.at(ROOT_SOCKET);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    m_socket.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!m_socket.isOpen() ||
        connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = "The service that executes commands cannot be asked: " + path + ": " +
                strerror(errno) + "; see systemctl status cellslot-agent-commands.socket.";
        m_socket.reset();
        return false;
    }
    m_request = request + "\n";
    m_answer.clear();
    m_error.clear();
    m_startedS = nowS;
    return true;
}

short cRootLink::events() const {
    return m_request.empty() ? POLLIN : POLLIN | POLLOUT;
}

bool cRootLink::end(const std::string& error) {
    m_error = error;
    m_socket.reset();
    return true;
}

bool cRootLink::turn(long long nowS) {
    if (nowS - m_startedS > PATIENCE_S) return end("did not answer in time");
    while (!m_request.empty()) {
        const ssize_t count =
            send(m_socket.get(), m_request.data(), m_request.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EAGAIN) break;
        if (count < 0) return end(std::string("cannot be asked: ") + strerror(errno));
        m_request.erase(0, static_cast<size_t>(count));
        if (m_request.empty()) shutdown(m_socket.get(), SHUT_WR);
    }
    std::array<char, 16 * 1024> buffer;
    for (ssize_t count; (count = read(m_socket.get(), buffer.data(), buffer.size())) != 0;) {
        if (count < 0 && errno == EAGAIN) return false;
        if (count < 0) return end(std::string("cannot be heard: ") + strerror(errno));
        m_answer.append(buffer.data(), static_cast<size_t>(count));
        if (m_answer.size() > ANSWER_MAX) return end("says too much");
    }
    return end("");
}

sRootAnswer cRootLink::takeAnswer() {
    const std::string answer = std::exchange(m_answer, {});
    if (m_error.empty()) return parseRootAnswer(answer);
    sRootAnswer failed;
    failed.outcome.text = "The service that executes commands " + m_error + ".";
    return failed;
}

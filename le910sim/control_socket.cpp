#include "le910sim/control_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace le910sim {

namespace {

constexpr size_t LINE_LENGTH_MAX = 1024 * 1024;
constexpr size_t CLIENTS_MAX = 32;

nlohmann::json errorAnswer(const std::string& why) {
    return {{"ok", false}, {"error", why}};
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the path of the control socket is too long: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

// A socket that a killed run left.
void removeOldSocket(const std::string& path) {
    struct stat info = {};
    if (lstat(path.c_str(), &info) != 0) return;
    if (!S_ISSOCK(info.st_mode)) throw std::runtime_error(path + " exists and is no socket");
    unlink(path.c_str());
}

}  // namespace

std::string jsonLine(const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

cControlSocket::cControlSocket(std::string path, tHandler handler)
    : m_path(std::move(path)), m_handler(std::move(handler)) {
    const sockaddr_un address = addressOf(m_path);
    removeOldSocket(m_path);
    m_listener = cDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!m_listener.open() ||
        bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(m_listener.get(), 8) != 0) {
        throw std::runtime_error("cannot listen on " + m_path + ": " + std::strerror(errno));
    }
}

cControlSocket::~cControlSocket() {
    unlink(m_path.c_str());
}

std::vector<int> cControlSocket::descriptors() const {
    std::vector<int> all = {m_listener.get()};
    for (const sClient& client : m_clients)
        all.push_back(client.socket.get());
    return all;
}

void cControlSocket::accept() {
    while (m_clients.size() < CLIENTS_MAX) {
        const int fd = accept4(m_listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) return;
        sClient client;
        client.socket = cDescriptor(fd);
        m_clients.push_back(std::move(client));
    }
}

void cControlSocket::receive(sClient& client) {
    std::array<char, 4096> buffer = {};
    while (!client.ended) {
        const ssize_t count = read(client.socket.get(), buffer.data(), buffer.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
        if (count <= 0) {
            client.ended = true;
            return;
        }
        client.input.append(buffer.data(), static_cast<size_t>(count));
        answerLines(client);
    }
}

void cControlSocket::answerLines(sClient& client) {
    size_t end = client.input.find('\n');
    while (end != std::string::npos) {
        const std::string line = client.input.substr(0, end);
        client.input.erase(0, end + 1);
        answerLine(client, line);
        end = client.input.find('\n');
    }
    if (client.input.size() > LINE_LENGTH_MAX) {
        client.output += jsonLine(errorAnswer("line too long"));
        client.input.clear();
        client.ended = true;
    }
}

void cControlSocket::answerLine(sClient& client, const std::string& line) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) return;
    const nlohmann::json order = nlohmann::json::parse(line, nullptr, false);
    client.output += jsonLine(order.is_discarded() ? errorAnswer("not JSON") : m_handler(order));
}

void cControlSocket::send(sClient& client) {
    while (!client.output.empty()) {
        const ssize_t count =
            ::send(client.socket.get(), client.output.data(), client.output.size(), MSG_NOSIGNAL);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
        if (count <= 0) {
            client.output.clear();
            client.ended = true;
            return;
        }
        client.output.erase(0, static_cast<size_t>(count));
    }
}

void cControlSocket::serve() {
    accept();
    for (auto client = m_clients.begin(); client != m_clients.end();) {
        receive(*client);
        send(*client);
        const bool over = client->ended && client->output.empty();
        client = over ? m_clients.erase(client) : std::next(client);
    }
}

}  // namespace le910sim

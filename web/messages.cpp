#include "web/messages.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "cli/base/printable_text.h"
#include "cli/sms/sms_spool.h"
#include "platform/include/text_helpers.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr size_t TEXT_MAX = 2000;  // of a message
constexpr size_t ANSWER_MAX = 1024 * 1024;
constexpr time_t PATIENCE_S = 2;
constexpr size_t PIECE = 4096;

bool connectTo(int socket, const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) return false;
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// False if the answer is not complete in time, or too long.
bool readAll(int socket, std::string& text) {
    std::array<char, PIECE> piece{};
    for (;;) {
        const ssize_t count = recv(socket, piece.data(), piece.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count == 0;
        text.append(piece.data(), static_cast<size_t>(count));
        if (text.size() > ANSWER_MAX) return false;
    }
}

}  // namespace

std::string messagesJson(const sPlaces& places) {
    const std::vector<sReceivedMessage> messages = receivedMessages(places);
    tJson list = tJson::array();
    for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
        if (list.size() == MESSAGES_MAX) break;
        list.push_back({{"from", printableLine(message->from)},
                        {"time", printableLine(message->time)},
                        {"text", printableText(message->text.substr(0, TEXT_MAX))}});
    }
    return tJson{{"messages", list}}.dump(-1, ' ', false, tJson::error_handler_t::replace) + "\n";
}

bool fetchMessages(const sPlaces& places, std::string& text) {
    const std::string path = places.at(MESSAGES_SOCKET);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience = {PATIENCE_S, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    bool isComplete = connectTo(socket, path) && readAll(socket, text);
    const int error = errno;
    if (socket >= 0) close(socket);
    // The service prints nothing if it fails; its log says why.
    isComplete = isComplete && startsWith(text, "{");
    if (!isComplete)
        text = "no complete answer from " + path + " (" + strerror(error) +
               "); see journalctl -u 'cellslot-web-messages@*'";
    return isComplete;
}

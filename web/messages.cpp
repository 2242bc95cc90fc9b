#include "web/messages.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

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

bool connectTo(int socket, const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) return false;
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
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

sWork startFetchingMessages(const sPlaces& places) {
    sWork work;
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket >= 0 && connectTo(socket, places.at(MESSAGES_SOCKET))) {
        work.output = socket;
        work.outputMax = ANSWER_MAX;
        return work;
    }
    work.error = strerror(errno);
    if (socket >= 0) close(socket);
    return work;
}

bool takeMessages(const sPlaces& places, const sJobResult& result, std::string& text) {
    text = result.output;
    // The service prints nothing if it fails; its log says why.
    if (result.isComplete && startsWith(text, "{")) return true;
    text = "no complete answer from " + places.at(MESSAGES_SOCKET) +
           (result.error.empty() ? "" : " (" + result.error + ")") +
           "; see journalctl -u 'cellslot-web-messages@*'";
    return false;
}

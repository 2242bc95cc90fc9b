#include "atcmd/port_state.h"

#include <cerrno>

#include "atcmd/basic_commands.h"
#include "atcmd/command.h"
#include "device/at_port.h"
#include "device/link_state.h"
#include "platform/include/text_helpers.h"

namespace {

bool isAnswered(ePortReturn result) {
    return result == ePORT_OK || result == ePORT_ERROR;
}

// True if the response holds the echo of an earlier command: then it answers that command, and the
// answer to AT is still to come. No unsolicited line looks like an echo. The text is split at
// carriage returns too, because nothing else ends an echo.
bool isAnswerToAnother(const std::string& response) {
    for (const std::string& line : responseLines(response))
        for (const std::string& part : tokenstr(line, '\r', eEmptyTokens::DROP))
            if (startsWith(part, "AT") && part != "AT") return true;
    return false;
}

}  // namespace

int getPortState(const std::string& device, int& port) {
    if (port != -1) return testPortState(port);
    switch (openDevice(device, port)) {
        case 0:
            return ePORT_STATE_GOOD;
        case ENOENT:
            return ePORT_STATE_MISSING;
        default:
            return ePORT_STATE_FAILED;
    }
}

int testPortState(int port) {
    if (port == -1) return ePORT_STATE_CLOSED;
    std::string response;
    ePortReturn result = sendAT(port, response);
    if (isAnswered(result) && isAnswerToAnother(response)) {
        noteOwedAnswer(port);
        result = sendAT(port);
    }
    return isAnswered(result) ? ePORT_STATE_GOOD : ePORT_STATE_FAILED;
}

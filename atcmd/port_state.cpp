#include "atcmd/port_state.h"

#include <cerrno>

#include "atcmd/basic_commands.h"
#include "atcmd/command.h"
#include "device/at_port.h"
#include "device/at_transaction.h"
#include "include/debug.h"

namespace {

constexpr int DROPPED_ANSWERS_MAX = 4;

bool isAnswered(ePortReturn result) {
    return result == ePORT_OK || result == ePORT_ERROR;
}

// AT is answered by a final code alone. With anything else it is the answer to an earlier command,
// which came late: each further command would be given the answer of the one before it. Split at
// the carriage return too: on a FIFO, which has no line feeds of a modem, the echo follows the
// answer.
bool isAnswerToAnother(const std::string& response) {
    for (const std::string& line : responseLines(response))
        for (const std::string& part : tokenstr(line, '\r', eEmptyTokens::DROP))
            if (part != "AT" && part != "OK" && part != "ERROR") return true;
    return false;
}

// Reads until the modem has been silent for a second.
void dropAnswers(int handle) {
    debug(eLOG_PORT_STATE, g_i_debugMode, "%s(): Dropping what the modem answers late", __func__);
    std::string response;
    for (int i = 0; i < DROPPED_ANSWERS_MAX; ++i) {
        readAtCommandResponse(handle, response, 0);
        if (response.empty()) return;
    }
}

}  // namespace

int getPortState(const std::string& device, int& handle) {
    if (handle != -1) return testPortState(handle);
    switch (openDevice(device, handle)) {
        case 0:
            return ePORT_STATE_GOOD;
        case ENOENT:
            return ePORT_STATE_MISSING;
        default:
            return ePORT_STATE_FAILED;
    }
}

int testPortState(int handle) {
    if (handle == -1) return ePORT_STATE_CLOSED;
    std::string response;
    ePortReturn result = sendAT(handle, response);
    if (isAnswered(result) && isAnswerToAnother(response)) {
        dropAnswers(handle);
        result = sendAT(handle);
    }
    return isAnswered(result) ? ePORT_STATE_GOOD : ePORT_STATE_FAILED;
}

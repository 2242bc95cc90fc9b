#include "atcmd/port_state.h"

#include <cerrno>

#include "atcmd/basic_commands.h"
#include "atcmd/command.h"
#include "device/at_port.h"
#include "device/at_transaction.h"
#include "include/debug.h"

namespace {

constexpr int DROPPED_ANSWERS_MAX = 4;

// AT is answered by a final code alone. With anything else it is the answer to an earlier command,
// which came late: each further command would be given the answer of the one before it.
bool isAnswerToAnother(const std::string& response) {
    for (const std::string& line : responseLines(response))
        if (line != "AT" && line != "OK" && line != "ERROR") return true;
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
    ePortReturn result = queryModem(handle, commandText(eAT_CMD_AT), response);
    const bool isFinal = result == ePORT_OK || result == ePORT_ERROR;
    if (isFinal && isAnswerToAnother(response)) {
        dropAnswers(handle);
        result = sendAT(handle);
    }
    return result == ePORT_OK || result == ePORT_ERROR ? ePORT_STATE_GOOD : ePORT_STATE_FAILED;
}

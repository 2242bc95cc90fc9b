#include "atcmd/basic_commands.h"

#include "atcmd/command.h"
#include "device/at_port.h"

namespace {

constexpr int UNSOLICITED_MAX = 1024;

}  // namespace

ePortReturn sendAT(int port) {
    std::string response;
    return sendAT(port, response);
}

ePortReturn sendAT(int port, std::string& response) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_AT), eParseCmx::NEVER, 0, &response);
}

ePortReturn setCmee(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CMEE_SET, "1"), eParseCmx::ON_FAILURE);
}

ePortReturn setPsnt(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_PSNT_SET, "0"), eParseCmx::ON_FAILURE);
}

void checkUnsolicitedMsg(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    std::string text;
    if (getUnsolicitedMsg(port, text) <= 0) return;
    for (const std::string& line : responseLines(text))
        debug(eLOG_AT_DETAIL, g_i_debugMode, "Unsolicited message: '%s'", line.c_str());
}

int getUnsolicitedMsg(int port, std::string& text) {
    return readFromPort(port, text, UNSOLICITED_MAX);
}

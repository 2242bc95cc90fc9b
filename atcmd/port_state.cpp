#include "atcmd/port_state.h"

#include <cerrno>

#include "atcmd/basic_commands.h"
#include "device/at_port.h"

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
    const ePortReturn result = sendAT(handle);
    return result == ePORT_OK || result == ePORT_ERROR ? ePORT_STATE_GOOD : ePORT_STATE_FAILED;
}

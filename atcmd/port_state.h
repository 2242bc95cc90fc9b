#ifndef ATCMD_PORT_STATE_H
#define ATCMD_PORT_STATE_H

#include <string>

enum ePortState : int {
    ePORT_STATE_FAILED = -1,  // could not be opened, or the modem does not answer
    ePORT_STATE_CLOSED = 0,
    ePORT_STATE_GOOD = 1,
    ePORT_STATE_MISSING = 2,  // the device node does not exist
};

// Opens a closed port; tests an open one with "AT". A port that was just opened counts as good.
int getPortState(const std::string& device, int& port);

// GOOD if the modem answers OK or ERROR, CLOSED for a port of -1, FAILED otherwise. If the answer
// belongs to an earlier command, AT is sent again; unsolicited lines do not cause that.
int testPortState(int port);

#endif

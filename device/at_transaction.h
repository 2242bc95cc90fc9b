#ifndef DEVICE_AT_TRANSACTION_H
#define DEVICE_AT_TRANSACTION_H

#include <queue>
#include <string>

#include "include/result_codes.h"

// The last command given to sendAtCommand, without its carriage return.
extern std::string g_s_lastAtCmd;

// Texts to write to the port, one after each response, front first. For bench tests with a FIFO;
// the daemon adds nothing.
extern std::queue<std::string> g_que_testAtResponses;

// The most bytes of one response that are kept. The longest normal one, the operator list, has
// about 100 kB.
constexpr size_t RESPONSE_MAX = 4 * 1024 * 1024;

// Collects what the modem sends, up to a final result code (ITU-T V.250 section 5.7.1) or for
// timeoutS + 1 seconds. ePORT_OK, ePORT_ERROR, ePORT_CMX_ERROR, ePORT_NO_FINAL_RESULT, or
// ePORT_ERROR when the port is -1. response gets every byte, the echo too. Input after the final
// code stays in the driver for the next response.
ePortReturn readAtCommandResponse(int port, std::string& response, unsigned timeoutS);

// One transaction: writes the command with its carriage return and collects the response. Returns
// the result of a failed writeToPort, otherwise that of readAtCommandResponse. If an earlier
// command on this port is still owed its answer (link_state.h), late input is dropped first, for at
// most a second.
ePortReturn sendAtCommand(int port, const std::string& command, std::string& response,
                          unsigned timeoutS);

#endif

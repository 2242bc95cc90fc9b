#ifndef DEVICE_AT_TRANSACTION_H
#define DEVICE_AT_TRANSACTION_H

#include <queue>
#include <string>

#include "include/result_codes.h"

// The last command handed to sendAtCommand, without its carriage return.
extern std::string g_s_lastAtCmd;

// Texts to write to the port after each response, front first. A hook for bench tests against a
// FIFO; the daemon adds nothing to it.
extern std::queue<std::string> g_que_testAtResponses;

// More than so many bytes of one response are dropped. The longest honest one, the operator list,
// has about 100 kB.
constexpr size_t RESPONSE_MAX = 4 * 1024 * 1024;

// Collects what the modem sends until a final result code (ITU-T V.250 section 5.7.1) stands in it,
// or for timeoutS + 1 seconds. ePORT_OK, ePORT_ERROR, ePORT_CMX_ERROR, ePORT_NO_FINAL_RESULT, or
// ePORT_ERROR when the port is -1. response holds every byte, echo included; what comes after the
// final code is left for the next response.
ePortReturn readAtCommandResponse(int port, std::string& response, unsigned timeoutS);

// One transaction: writes the command with its carriage return and collects the response. What
// writeToPort says when it failed, otherwise as readAtCommandResponse. Where an earlier command on
// this port is owed its answer (link_state.h), late input is dropped first, for at most a second.
ePortReturn sendAtCommand(int port, const std::string& command, std::string& response,
                          unsigned timeoutS);

#endif

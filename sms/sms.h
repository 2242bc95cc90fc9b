#ifndef SMS_SMS_H
#define SMS_SMS_H

#include <string>

#include "include/result_codes.h"

struct sDeviceInfo;

// The SMS gateway between the modem and the spool folders.

// Prepares the spool and the timers, and delivers the messages that a killed daemon left. Call it
// once at the start.
void initSMS(const std::string& root);

// The gateway's part of a poll, at most every five seconds: receive, delete, send, delete.
// eSUCCESS, also when it is not due; eERROR_DEVICE_NETWORK_NOT_REGISTERED or ..._NOT_IMS_REGISTERED
// when messages cannot come; eERROR_DEVICE_RESPONSE_TIMEOUT when the modem did not answer;
// eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE when the spool cannot be written.
eGeneralErrors checkSMS(int port, sDeviceInfo& device);

// For tests: resets all that the gateway keeps between calls, and its timers.
void resetSmsState();

#endif

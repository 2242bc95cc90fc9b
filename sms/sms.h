#ifndef SMS_SMS_H
#define SMS_SMS_H

#include <string>

#include "include/device_records.h"

extern const std::string g_s_root_sms_path;

// AT+CMGF: message format.
ePortReturn setSmsMode(int port, eSmsPduMode mode);

// The message gateway's turn in a poll. It does not handle messages yet: always eSUCCESS.
eGeneralErrors checkSMS(int port, sDeviceInfo& device);

// Prepares the message gateway. Nothing to prepare yet.
void initSMS(const std::string& root);

#endif

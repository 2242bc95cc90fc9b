#ifndef SMS_SMS_MODE_H
#define SMS_SMS_MODE_H

#include "include/device_records.h"

// What receiving and sending share: the network family, and the mode that the modem's message
// commands work in.

// Which network family a message is coded for, and so which half of the codec and of the modem's
// commands is used.
enum e3gppType : int {
    eSMS_3GPP = 0,
    eSMS_3GPP2 = 1,
};

// By the network family of the modem record.
e3gppType smsTypeOf(const sModemInfo& modem);

// AT+CMGF: message format.
ePortReturn setSmsMode(int port, eSmsPduMode mode);

// What an unknown read, delete or character-set type gives. The number means something else among
// the daemon's results; the message commands have always used it so.
constexpr ePortReturn SMS_UNKNOWN_TYPE =
    static_cast<ePortReturn>(eERROR_DEVICE_NETWORK_IPV4_IP_SET_FAILURE);

#endif

#ifndef SMS_SMS_MODE_H
#define SMS_SMS_MODE_H

#include "include/modem_types.h"
#include "include/result_codes.h"

struct sModemInfo;

// What receiving and sending share: the network family and the mode of the message commands.

// The network family that a message is coded for. It selects the codec and the modem's commands.
enum e3gppType : int {
    eSMS_3GPP = 0,
    eSMS_3GPP2 = 1,
};

// By the network family of the modem record.
e3gppType smsTypeOf(const sModemInfo& modem);

// AT+CMGF: message format.
ePortReturn setSmsMode(int port, eSmsPduMode mode);

// The result for an unknown read, delete or character-set type. Among the daemon's results the
// number means something else; for the message commands it means this.
constexpr ePortReturn SMS_UNKNOWN_TYPE =
    static_cast<ePortReturn>(eERROR_DEVICE_NETWORK_IPV4_IP_SET_FAILURE);

#endif

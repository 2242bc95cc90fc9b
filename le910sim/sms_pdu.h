#ifndef LE910SIM_SMS_PDU_H
#define LE910SIM_SMS_PDU_H

#include <cstdint>
#include <optional>
#include <string>

#include "le910sim/modem_state.h"

namespace le910sim {

// Short message PDUs, 3GPP TS 23.040 section 9: those the network delivers are built, those the
// host submits are read.

enum eSmsCoding { eSMS_AUTO, eSMS_GSM7, eSMS_8BIT, eSMS_UCS2 };

struct sDeliver {
    std::string serviceCentre;  // "+1202..." or empty
    std::string from;           // a number, or a name of up to 11 characters
    std::string text;           // UTF-8; of 8-bit data the bytes
    eSmsCoding coding = eSMS_AUTO;
    sClock time;
    int reference = 0;
    bool wideReference = false;  // 16 bits
    int part = 0;
    int total = 0;  // 0: not concatenated
};

// Upper-case hexadecimal with the service centre in front. Throws std::invalid_argument when the
// text does not fit or cannot be coded.
std::string buildDeliver(const sDeliver& message);

// Octets of a PDU behind its service centre, as +CMGL counts; -1 when it is too short for that.
int pduLength(const std::string& pdu);

// Reads a SUBMIT PDU strictly; why says what is wrong with it.
std::optional<sSentSms> readSubmit(const std::string& pdu, std::string& why);

// Sender, text and time stamp of a DELIVER PDU for +CMGL in text mode; empty when unreadable.
struct sDeliverView {
    std::string from;
    std::string text;
    std::string time;
};
sDeliverView viewDeliver(const std::string& pdu);

}  // namespace le910sim

#endif

#ifndef LE910SIM_SMS_PDU_H
#define LE910SIM_SMS_PDU_H

#include <cstdint>
#include <optional>
#include <string>

#include "le910sim/modem_state.h"

namespace le910sim {

// Short message PDUs, 3GPP TS 23.040 section 9: builds those that the network delivers, reads those
// that the host submits.

enum eSmsCoding { eSMS_AUTO, eSMS_GSM7, eSMS_8BIT, eSMS_UCS2 };

struct sDeliver {
    std::string serviceCentre;  // "+1202..." or empty
    std::string from;           // a number, or a name of up to 11 characters
    std::string text;           // UTF-8; for 8-bit data the bytes
    eSmsCoding coding = eSMS_AUTO;
    sClock time;
    int reference = 0;
    bool wideReference = false;  // 16 bits
    int part = 0;
    int total = 0;  // 0: not concatenated
};

// Upper-case hexadecimal, beginning with the service centre. Throws std::invalid_argument if the
// text does not fit or cannot be coded.
std::string buildDeliver(const sDeliver& message);

// Octets of a PDU after its service centre, as +CMGL counts; -1 if it is too short.
int pduLength(const std::string& pdu);

// Reads a SUBMIT PDU strictly; why is set to what is wrong with it.
std::optional<sSentSms> readSubmit(const std::string& pdu, std::string& why);

// Sender, text and time stamp of a DELIVER PDU for +CMGL in text mode; empty if unreadable.
struct sDeliverView {
    std::string from;
    std::string text;
    std::string time;
};
sDeliverView viewDeliver(const std::string& pdu);

}  // namespace le910sim

#endif

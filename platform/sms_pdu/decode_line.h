#ifndef PLATFORM_SMS_PDU_DECODE_LINE_H
#define PLATFORM_SMS_PDU_DECODE_LINE_H

#include <string>

#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// Reads the message from a line's octets; false if they are no message of its kind.
using tMessageReader = bool (*)(const tOctets& line, size_t length, sms_t& sms);

// What the decoding functions of both kinds ("3GPP", "3GPP2") have in common: returns 0, or -1 with
// the message empty.
int decodeLine(const char* kind, tMessageReader readMessage, const std::string& pdu, size_t length,
               sms_t& sms, bool debugOutput);

}  // namespace sms_pdu

#endif

#include "platform/sms_pdu/decode_line.h"

#include "platform/sms_pdu/print.h"

namespace sms_pdu {

int decodeLine(const char* kind, tMessageReader readMessage, const std::string& pdu, size_t length,
               sms_t& sms, bool debugOutput) {
    tOctets line;
    sms = sms_t{};
    const bool decoded = octetsOfHex(pdu, line) && readMessage(line, length, sms);
    if (!decoded) sms = sms_t{};
    if (debugOutput) printDecoded(kind, pdu, decoded, sms);
    return decoded ? 0 : -1;
}

}  // namespace sms_pdu

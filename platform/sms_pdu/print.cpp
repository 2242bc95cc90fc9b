#include "platform/sms_pdu/print.h"

#include <algorithm>
#include <cstdio>

#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

namespace {

// The sender's name comes from outside: it must not move the cursor of a terminal.
std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '_');
    return text;
}

}  // namespace

void printDecoded(const char* kind, const std::string& pdu, bool decoded, const sms_t& sms) {
    if (!decoded) {
        printf("%s PDU refused: %s\n", kind, printable(pdu).c_str());
        return;
    }
    printf("%s PDU: %s\n", kind, pdu.c_str());
    printf(" from '%s', time '%s' (%s)\n", printable(sms.from).c_str(), sms.timestamp.c_str(),
           sms.timestampUnformatted.c_str());
    printf(" reference %d, part %d of %d\n", sms.reference, sms.partNumber, sms.numberOfParts);
    printf(" coding %d, %zu octets: %s\n", sms.dataCoding, sms.userDataLength,
           hexOfOctets(sms.userData).c_str());
}

void printEncoded(const sms_encode_request_t& request, bool encoded,
                  const sms_encode_result_t& result) {
    if (!encoded) {
        printf("No PDU for a message of %zu characters to '%s'\n", request.message.size(),
               printable(request.number).c_str());
        return;
    }
    printf("%zu PDUs for a message of %zu characters to '%s'\n", result.pdus.size(),
           request.message.size(), request.number.c_str());
    for (const std::string& pdu : result.pdus)
        printf(" %s\n", pdu.c_str());
}

}  // namespace sms_pdu

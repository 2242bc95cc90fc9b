#ifndef PLATFORM_SMS_PDU_PRINT_H
#define PLATFORM_SMS_PDU_PRINT_H

#include "platform/include/sms_pdu.h"

namespace sms_pdu {

// Output of the codec's debug flags on standard output. kind: "3GPP" or "3GPP2".
void printDecoded(const char* kind, const std::string& pdu, bool decoded, const sms_t& sms);
void printEncoded(const sms_encode_request_t& request, bool encoded,
                  const sms_encode_result_t& result);

}  // namespace sms_pdu

#endif

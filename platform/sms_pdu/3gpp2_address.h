#ifndef PLATFORM_SMS_PDU_3GPP2_ADDRESS_H
#define PLATFORM_SMS_PDU_3GPP2_ADDRESS_H

#include <string>

#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// An address parameter, 3GPP2 C.S0015 section 3.4.3.3: digits with a "+" before an international
// number, or an address of another network (electronic mail) unchanged. Returns false for a
// parameter that is shorter than its own length fields say.
bool read3gpp2Address(const tOctets& parameter, std::string& address);

}  // namespace sms_pdu

#endif

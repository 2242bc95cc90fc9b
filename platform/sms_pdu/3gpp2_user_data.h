#ifndef PLATFORM_SMS_PDU_3GPP2_USER_DATA_H
#define PLATFORM_SMS_PDU_3GPP2_USER_DATA_H

#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// The user data subparameter, 3GPP2 C.S0015 section 4.5.2 with the encodings of C.R1001 table
// 9.1-1. hasHeader: it begins with a header of 3GPP TS 23.040. Returns false for a subparameter
// that is shorter than its own length fields say, and for an encoding whose fields are unknown.
bool read3gpp2UserData(const tOctets& subparameter, bool hasHeader, sms_t& sms);

}  // namespace sms_pdu

#endif

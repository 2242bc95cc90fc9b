#ifndef PLATFORM_SMS_PDU_ADDRESS_H
#define PLATFORM_SMS_PDU_ADDRESS_H

#include <string>

#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// The address field of a transfer PDU, 3GPP TS 23.040 section 9.1.2.5.

// Takes the field from the reader. address: digits with a "+" before an international number, or
// the UTF-8 text of an alphanumeric one. Returns false for a field that is cut off or too long.
bool readAddress(cOctetReader& reader, std::string& address);

// Appends the field for a number of 1 to 20 digits; returns false for another one.
bool appendAddress(const std::string& number, bool international, tOctets& pdu);

}  // namespace sms_pdu

#endif

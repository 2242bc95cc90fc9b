#ifndef PLATFORM_SMS_PDU_USER_DATA_HEADER_H
#define PLATFORM_SMS_PDU_USER_DATA_HEADER_H

#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/language.h"
#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// The header before the user data, 3GPP TS 23.040 section 9.2.3.24. Two kinds of elements are read:
// those of a concatenated message (8-bit and 16-bit reference) and those of national languages
// (single and locking shift).

// Octets of the header with its length octet. 0 if it would be longer than the user data: then it
// is no header, and all of the user data is text.
size_t userDataHeaderOctets(const tOctets& userData);

// Sets reference, part number and number of parts of sms, and returns the languages of its septets.
// Neither changes if no element sets it, or if the elements do not add up to the header; the part
// fields do not change for a message of a single part either. Of several elements of a kind the
// last valid one counts.
sLanguages readUserDataHeader(const tOctets& userData, size_t headerOctets, sms_t& sms);

}  // namespace sms_pdu

#endif

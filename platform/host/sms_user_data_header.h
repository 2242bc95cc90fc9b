#ifndef PLATFORM_HOST_SMS_USER_DATA_HEADER_H
#define PLATFORM_HOST_SMS_USER_DATA_HEADER_H

#include "platform/host/sms_octets.h"
#include "platform/include/sms_pdu.h"

namespace sms_pdu {

// The header in front of the user data, 3GPP TS 23.040 section 9.2.3.24. Of its elements only those
// of a concatenated message (8-bit and 16-bit reference) are read.

// Octets of the header with its length octet. 0 where it would be longer than the user data: it is
// no header then, and all of the user data is text.
size_t userDataHeaderOctets(const tOctets& userData);

// Sets reference, part number and number of parts of sms. They are left alone where no element
// tells them, where the elements do not add up to the header, and for a message of a single part.
// Of several elements the last sound one counts.
void readConcatenation(const tOctets& userData, size_t headerOctets, sms_t& sms);

}  // namespace sms_pdu

#endif

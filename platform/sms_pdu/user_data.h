#ifndef PLATFORM_SMS_PDU_USER_DATA_H
#define PLATFORM_SMS_PDU_USER_DATA_H

#include <string>

#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// How a 3GPP data coding scheme (TS 23.038 section 4) writes the user data: SMS_CODING_TEXT for
// packed septets, SMS_CODING_8BIT, SMS_CODING_16BIT. Compressed text is 8-bit data: its octets
// reach the receiver, who may know what they are. Reserved schemes are septets, as the standard
// wants it.
int codingOfScheme(uint8_t scheme);

// Text goes out as UTF-8 as long as that is no longer than SMS_MAX_TEXT_OCTETS, else as 16-bit
// characters; a 3GPP PDU brings more only where it holds many characters of three octets, which
// national language tables have. text holds no surrogates.
void setText(const std::u16string& text, sms_t& sms);
void setOctets(const tOctets& octets, sms_t& sms);
// Half a character at the end is dropped.
void set16BitText(const tOctets& octets, sms_t& sms);

// The octets from the given one on.
tOctets octetsFrom(const tOctets& octets, size_t first);

}  // namespace sms_pdu

#endif

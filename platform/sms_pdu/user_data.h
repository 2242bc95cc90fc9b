#ifndef PLATFORM_SMS_PDU_USER_DATA_H
#define PLATFORM_SMS_PDU_USER_DATA_H

#include <string>

#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// How a 3GPP data coding scheme (TS 23.038 section 4) writes the user data: SMS_CODING_TEXT for
// packed septets, SMS_CODING_8BIT, SMS_CODING_16BIT. Compressed text counts as 8-bit data, because
// the receiver may be able to read the octets. Reserved schemes are septets, as the standard
// requires.
int codingOfScheme(uint8_t scheme);

// Stores text as UTF-8 if that has at most SMS_MAX_TEXT_OCTETS, else as 16-bit characters. A 3GPP
// PDU exceeds the limit only with many characters of three octets, which only national language
// tables have. text must contain no surrogates.
void setText(const std::u16string& text, sms_t& sms);
void setOctets(const tOctets& octets, sms_t& sms);
// Half a character at the end is dropped.
void set16BitText(const tOctets& octets, sms_t& sms);

// The octets from the given one on.
tOctets octetsFrom(const tOctets& octets, size_t first);

}  // namespace sms_pdu

#endif

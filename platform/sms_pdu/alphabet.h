#ifndef PLATFORM_SMS_PDU_ALPHABET_H
#define PLATFORM_SMS_PDU_ALPHABET_H

#include <string>

#include "platform/sms_pdu/language.h"
#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// The GSM 7-bit default alphabet and its extension table, 3GPP TS 23.038 section 6.2.1, and the
// national language tables that can replace them. A text in a language without a table is read with
// the default ones, as the standard requires of a receiver that does not know the language.

// Every character is one unit; none is NUL.
std::u16string textOfSeptets(const tOctets& septets, const sLanguages& languages);
// The one or two septets of an ASCII character; the septet of '?' for one that is in neither table.
tOctets septetsOfCharacter(char character);

// text must contain no surrogates.
std::string utf8OfText(const std::u16string& text);

}  // namespace sms_pdu

#endif

#include "platform/sms_pdu/user_data.h"

#include <algorithm>

#include "platform/sms_pdu/alphabet.h"

namespace sms_pdu {

namespace {

constexpr uint8_t COMPRESSED = 0x20;

void setUserData(const tOctets& octets, int dataCoding, sms_t& sms) {
    sms.userData = octets;
    sms.userDataLength = octets.size();
    sms.dataCoding = dataCoding;
}

// Bits 3 and 2 of the general groups.
int codingOfAlphabetBits(uint8_t scheme) {
    switch (scheme >> 2 & 0x03) {
        case 1:
            return SMS_CODING_8BIT;
        case 2:
            return SMS_CODING_16BIT;
        default:
            return SMS_CODING_TEXT;
    }
}

}  // namespace

int codingOfScheme(uint8_t scheme) {
    const unsigned group = scheme >> 4;
    if (group < 0x8) {  // 00xx general, 01xx the same, marked for automatic deletion
        return (scheme & COMPRESSED) != 0 ? SMS_CODING_8BIT : codingOfAlphabetBits(scheme);
    }
    if (group == 0xE) return SMS_CODING_16BIT;  // message waiting, with a text in UCS2
    if (group == 0xF && (scheme & 0x04) != 0) return SMS_CODING_8BIT;
    return SMS_CODING_TEXT;  // 1100 and 1101 message waiting, 1111 message class; others reserved
}

void setText(const std::u16string& text, sms_t& sms) {
    const std::string utf8 = utf8OfText(text);
    if (utf8.size() <= SMS_MAX_TEXT_OCTETS) {
        setUserData(tOctets(utf8.begin(), utf8.end()), SMS_CODING_TEXT, sms);
        return;
    }
    tOctets octets;
    for (const char16_t character : text) {
        octets.push_back(static_cast<uint8_t>(character >> 8));
        octets.push_back(static_cast<uint8_t>(character & 0xFF));
    }
    setUserData(octets, SMS_CODING_16BIT, sms);
}

void setOctets(const tOctets& octets, sms_t& sms) {
    setUserData(octets, SMS_CODING_8BIT, sms);
}

void set16BitText(const tOctets& octets, sms_t& sms) {
    tOctets whole = octets;
    if (whole.size() % 2 != 0) whole.pop_back();
    setUserData(whole, SMS_CODING_16BIT, sms);
}

tOctets octetsFrom(const tOctets& octets, size_t first) {
    const size_t begin = std::min(first, octets.size());
    return tOctets(octets.begin() + static_cast<std::ptrdiff_t>(begin), octets.end());
}

}  // namespace sms_pdu

#include "platform/sms_pdu/address.h"

#include <algorithm>

#include "platform/sms_pdu/alphabet.h"
#include "platform/sms_pdu/bits.h"

namespace sms_pdu {

namespace {

constexpr size_t MAX_SEMI_OCTETS = 20;
constexpr uint8_t FILLER = 0x0F;
const char DIGITS[] = "0123456789*#abc";  // by value; 15 is the filler

constexpr uint8_t TYPE_INTERNATIONAL = 1;
constexpr uint8_t TYPE_ALPHANUMERIC = 5;
constexpr uint8_t OCTET_INTERNATIONAL = 0x91;  // with the ISDN numbering plan
constexpr uint8_t OCTET_UNKNOWN = 0x81;

// The first digit of a pair is in the low half. A filler ends the number.
std::string digitsOf(const tOctets& octets, size_t count) {
    std::string digits;
    for (size_t i = 0; i < count; i++) {
        const uint8_t digit = i % 2 == 0 ? octets[i / 2] & 0x0F : octets[i / 2] >> 4;
        if (digit == FILLER) break;
        digits += DIGITS[digit];
    }
    return digits;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

bool readAddress(cOctetReader& reader, std::string& address) {
    uint8_t semiOctets = 0;
    uint8_t type = 0;
    tOctets value;
    if (!reader.readOctet(semiOctets) || semiOctets > MAX_SEMI_OCTETS) return false;
    if (!reader.readOctet(type)) return false;
    if (!reader.readOctets((semiOctets + 1u) / 2, value)) return false;
    const uint8_t typeOfNumber = type >> 4 & 0x07;
    if (typeOfNumber == TYPE_ALPHANUMERIC) {
        address = utf8OfText(textOfSeptets(unpackSeptets(value, 0, semiOctets * 4u / 7), {}));
        return true;
    }
    address = digitsOf(value, semiOctets);
    if (typeOfNumber == TYPE_INTERNATIONAL && !address.empty()) address.insert(0, "+");
    return true;
}

bool appendAddress(const std::string& number, bool international, tOctets& pdu) {
    if (number.empty() || number.size() > MAX_SEMI_OCTETS) return false;
    if (!std::all_of(number.begin(), number.end(), isDigit)) return false;
    pdu.push_back(static_cast<uint8_t>(number.size()));
    pdu.push_back(international ? OCTET_INTERNATIONAL : OCTET_UNKNOWN);
    for (size_t i = 0; i < number.size(); i += 2) {
        const unsigned low = static_cast<unsigned>(number[i] - '0');
        const bool odd = i + 1 == number.size();
        const unsigned high = odd ? FILLER : static_cast<unsigned>(number[i + 1] - '0');
        pdu.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return true;
}

}  // namespace sms_pdu

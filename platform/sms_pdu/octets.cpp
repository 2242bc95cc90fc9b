#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

namespace {

const char HEX_DIGITS[] = "0123456789ABCDEF";

// -1 for anything but a hexadecimal digit.
int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

bool octetsOfHex(const std::string& hex, tOctets& octets) {
    octets.clear();
    if (hex.size() % 2 != 0) return false;
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int high = hexDigitValue(hex[i]);
        const int low = hexDigitValue(hex[i + 1]);
        if (high < 0 || low < 0) {
            octets.clear();
            return false;
        }
        octets.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return true;
}

std::string hexOfOctets(const tOctets& octets) {
    std::string hex;
    for (const uint8_t octet : octets) {
        hex += HEX_DIGITS[octet >> 4];
        hex += HEX_DIGITS[octet & 0x0F];
    }
    return hex;
}

bool cOctetReader::readOctet(uint8_t& value) {
    if (remaining() == 0) return false;
    value = m_octets[m_at++];
    return true;
}

bool cOctetReader::readOctets(size_t count, tOctets& values) {
    if (remaining() < count) return false;
    const auto begin = m_octets.begin() + static_cast<std::ptrdiff_t>(m_at);
    values.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
    m_at += count;
    return true;
}

bool cOctetReader::readElement(uint8_t& identifier, tOctets& data) {
    const size_t begin = m_at;
    uint8_t length = 0;
    if (readOctet(identifier) && readOctet(length) && readOctets(length, data)) return true;
    m_at = begin;
    return false;
}

}  // namespace sms_pdu

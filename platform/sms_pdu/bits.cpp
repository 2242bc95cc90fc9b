#include "platform/sms_pdu/bits.h"

#include <algorithm>

namespace sms_pdu {

namespace {

constexpr size_t SEPTET_BITS = 7;
constexpr unsigned SEPTET_MASK = 0x7F;

}  // namespace

bool cBitReader::readBits(unsigned count, unsigned& value) {
    if (remaining() < count) return false;
    value = 0;
    for (; count > 0; count--, m_at++) {
        value = value << 1 | (m_octets[m_at / 8] >> (7 - m_at % 8) & 1u);
    }
    return true;
}

bool cBitReader::readAligned(size_t count, tOctets& values) {
    if (remaining() < count) return false;
    values.clear();
    while (count > 0) {
        const unsigned width = static_cast<unsigned>(std::min<size_t>(count, 8));
        unsigned value = 0;
        readBits(width, value);
        values.push_back(static_cast<uint8_t>(value << (8 - width)));
        count -= width;
    }
    return true;
}

bool cBitReader::skipBits(size_t count) {
    if (remaining() < count) return false;
    m_at += count;
    return true;
}

tOctets unpackSeptets(const tOctets& packed, size_t firstBit, size_t count) {
    tOctets septets;
    for (size_t bit = firstBit; count > 0 && bit + SEPTET_BITS <= packed.size() * 8; count--) {
        const size_t octet = bit / 8;
        unsigned window = packed[octet];
        if (octet + 1 < packed.size()) window |= static_cast<unsigned>(packed[octet + 1]) << 8;
        septets.push_back(static_cast<uint8_t>(window >> bit % 8 & SEPTET_MASK));
        bit += SEPTET_BITS;
    }
    return septets;
}

tOctets packSeptets(const tOctets& septets, size_t firstBit) {
    tOctets packed((firstBit + septets.size() * SEPTET_BITS + 7) / 8, 0);
    size_t bit = firstBit;
    for (const uint8_t septet : septets) {
        const unsigned window = (septet & SEPTET_MASK) << bit % 8;
        packed[bit / 8] |= static_cast<uint8_t>(window);
        if (window > 0xFF) packed[bit / 8 + 1] |= static_cast<uint8_t>(window >> 8);
        bit += SEPTET_BITS;
    }
    return packed;
}

}  // namespace sms_pdu

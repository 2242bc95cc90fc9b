#ifndef PLATFORM_SMS_PDU_BITS_H
#define PLATFORM_SMS_PDU_BITS_H

#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

// Fields that are not aligned to octets, most significant bit first (3GPP2 C.S0015). If fewer bits
// are left than requested, a read returns false and consumes nothing.
class cBitReader {
  public:
    explicit cBitReader(const tOctets& octets) : m_octets(octets) {}

    size_t remaining() const { return m_octets.size() * 8 - m_at; }
    // At most 16 bits.
    bool readBits(unsigned count, unsigned& value);
    // Reads into octets: the first bit becomes the most significant one, and the last octet is
    // filled with zeros.
    bool readAligned(size_t count, tOctets& values);
    bool skipBits(size_t count);

  private:
    const tOctets& m_octets;
    size_t m_at = 0;
};

// Seven bits per septet, least significant bit first, across octet borders (3GPP TS 23.038 section
// 6.1.2.1). firstBit: where the first septet begins. Returns fewer septets if packed ends early.
tOctets unpackSeptets(const tOctets& packed, size_t firstBit, size_t count);
// The bits before firstBit and those after the last septet are zero.
tOctets packSeptets(const tOctets& septets, size_t firstBit);

}  // namespace sms_pdu

#endif

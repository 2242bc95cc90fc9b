#ifndef PLATFORM_SMS_PDU_OCTETS_H
#define PLATFORM_SMS_PDU_OCTETS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The parts of the short message codec have a namespace of their own because test tools that are
// linked with it define an alphabet and an address too.
namespace sms_pdu {

using tOctets = std::vector<uint8_t>;

// Two hexadecimal digits per octet, in either case. For anything else returns false with octets
// empty.
bool octetsOfHex(const std::string& hex, tOctets& octets);
// Upper case.
std::string hexOfOctets(const tOctets& octets);

// Reads a PDU from front to back. If less is left than requested, a read returns false and consumes
// nothing.
class cOctetReader {
  public:
    explicit cOctetReader(const tOctets& octets) : m_octets(octets) {}

    size_t remaining() const { return m_octets.size() - m_at; }
    bool readOctet(uint8_t& value);
    bool readOctets(size_t count, tOctets& values);
    // An identifier, a length in octets, and data of that length.
    bool readElement(uint8_t& identifier, tOctets& data);

  private:
    const tOctets& m_octets;
    size_t m_at = 0;
};

}  // namespace sms_pdu

#endif

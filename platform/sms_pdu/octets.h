#ifndef PLATFORM_SMS_PDU_OCTETS_H
#define PLATFORM_SMS_PDU_OCTETS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The pieces of the short message codec stand in a namespace of their own: test tools that are
// linked into one program with it know an alphabet and an address, too.
namespace sms_pdu {

using tOctets = std::vector<uint8_t>;

// Two hexadecimal digits of either case an octet. Returns false, with octets empty, for anything
// else.
bool octetsOfHex(const std::string& hex, tOctets& octets);
// Upper case.
std::string hexOfOctets(const tOctets& octets);

// Takes a PDU apart from front to back. Where less is left than is asked for, a read returns false
// and takes nothing.
class cOctetReader {
  public:
    explicit cOctetReader(const tOctets& octets) : m_octets(octets) {}

    size_t remaining() const { return m_octets.size() - m_at; }
    bool readOctet(uint8_t& value);
    bool readOctets(size_t count, tOctets& values);
    // An identifier, the length of what follows in octets, and that.
    bool readElement(uint8_t& identifier, tOctets& data);

  private:
    const tOctets& m_octets;
    size_t m_at = 0;
};

}  // namespace sms_pdu

#endif

#ifndef LE910SIM_ICMP_ECHO_H
#define LE910SIM_ICMP_ECHO_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace le910sim {

// The answer to a ping, RFC 792 and RFC 4443: for an IPv4 or IPv6 packet with an echo request, the
// packet of the reply. Nothing for any other packet or for a source that the network would not
// carry.
std::optional<std::vector<uint8_t>> echoReply(
    const std::vector<uint8_t>& packet,
    const std::function<bool(const std::string& source)>& carries);

// Puts the checksum into an IPv6 packet that holds an ICMPv6 message and nothing else.
void storeIcmpv6Checksum(std::vector<uint8_t>& packet);

// Ones' complement sum, RFC 1071.
uint16_t internetChecksum(const std::vector<uint8_t>& bytes);

}  // namespace le910sim

#endif

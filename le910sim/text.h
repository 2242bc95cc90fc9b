#ifndef LE910SIM_TEXT_H
#define LE910SIM_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/include/text_helpers.h"

namespace le910sim {

// A number in decimal with leading zeros.
std::string padded(int64_t number, size_t digits);
std::string joined(const std::vector<std::string>& pieces, const std::string& separator);
std::string inQuotes(const std::string& text);
// Bytes for a message: control characters escaped, and what is beyond most bytes left out.
std::string printable(const std::string& bytes, size_t most);

// Upper-case hexadecimal.
std::string toHex(const std::vector<uint8_t>& bytes);
// False if text is not pairs of hexadecimal digits.
bool fromHex(const std::string& text, std::vector<uint8_t>& bytes);

// An IPv6 address as sixteen decimal octets, 3GPP TS 27.007 section 10.1.23; empty if the text is
// no address.
std::string ipv6Dotted(const std::string& address);
std::string ipv6MaskDotted(int prefixBits);
bool isIpv4(const std::string& text);
bool isIpv6(const std::string& text);
// The text of an address in a packet; family AF_INET or AF_INET6.
std::string addressText(int family, const uint8_t* bytes);

}  // namespace le910sim

#endif

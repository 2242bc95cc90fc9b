#ifndef INCLUDE_ADDRESS_TEXT_H
#define INCLUDE_ADDRESS_TEXT_H

#include <string>

// Kind of address found in a dotted text.
enum eIpType : int {
    eIP_TYPE_NONE = -1,
    eIP_TYPE_IPV4 = 0,
    eIP_TYPE_IPV6 = 1,
};

// The modem writes addresses as decimal octets separated by dots (3GPP TS 27.007 section 10.1.23):
// 4 for an IPv4 address, 8 with its mask, 16 for an IPv6 address, 32 with its mask.

// Address and mask of an 8- or 32-octet text. Other counts give eIP_TYPE_NONE and leave the outputs
// unchanged.
int parseIpMaskDotted(const std::string& dotted, std::string& address, std::string& mask);

// Address and mask of an 8-octet text. 0, or -1 with both outputs cleared. 255.255.255.255 is
// refused as address and as mask.
int splitIPv4IpMaskdot(const std::string& dotted, std::string& address, std::string& mask);

// Address and mask of a 32-octet text in the compressed form of RFC 5952. 0 or -1.
int convertIPv6IpMaskdotToHex(const std::string& dotted, std::string& address, std::string& mask);

// A 16-octet text as an IPv6 address. 0 or -1.
int convertIPv6IpDotToHex(const std::string& dotted, std::string& address);

// The shortest form of an IPv6 address. 0, or -1 if the text is no IPv6 address.
int compressIPv6Address(const std::string& text, std::string& compressed);

// A 4-octet text unchanged, a 16-octet text as an IPv6 address, otherwise empty.
void decodeIpFormatFromDotted(const std::string& dotted, std::string& address);

#endif

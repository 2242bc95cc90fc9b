#ifndef LE910SIM_GSM7_H
#define LE910SIM_GSM7_H

#include <cstdint>
#include <string>
#include <vector>

namespace le910sim {

// The 7-bit default alphabet and its packing, 3GPP TS 23.038 section 6.

// Code points of a UTF-8 text; false if it is not UTF-8.
bool fromUtf8(const std::string& text, std::vector<uint32_t>& codePoints);
std::string toUtf8(const std::vector<uint32_t>& codePoints);

// Septets of a text, two for a character of the extension table; false if a character is in neither
// table.
bool toSeptets(const std::vector<uint32_t>& codePoints, std::vector<uint8_t>& septets);
std::vector<uint32_t> fromSeptets(const std::vector<uint8_t>& septets);

// Seven bits per septet, low bits first, after fillBits zero bits.
std::vector<uint8_t> packSeptets(const std::vector<uint8_t>& septets, unsigned fillBits);
std::vector<uint8_t> unpackSeptets(const std::vector<uint8_t>& bytes, size_t count,
                                   unsigned fillBits);

}  // namespace le910sim

#endif

#include "le910sim/text.h"

#include <arpa/inet.h>

#include <array>

namespace le910sim {

namespace {

int hexValue(char letter) {
    if (letter >= '0' && letter <= '9') return letter - '0';
    if (letter >= 'A' && letter <= 'F') return letter - 'A' + 10;
    if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
    return -1;
}

std::string dotted(const std::array<uint8_t, 16>& octets) {
    std::string text;
    for (const uint8_t octet : octets)
        text += (text.empty() ? "" : ".") + std::to_string(octet);
    return text;
}

}  // namespace

std::string padded(int64_t number, size_t digits) {
    std::string text = std::to_string(number);
    return text.size() < digits ? std::string(digits - text.size(), '0') + text : text;
}

std::string joined(const std::vector<std::string>& pieces, const std::string& separator) {
    std::string text;
    for (size_t i = 0; i < pieces.size(); ++i)
        text += (i == 0 ? "" : separator) + pieces[i];
    return text;
}

std::string inQuotes(const std::string& text) {
    return "\"" + text + "\"";
}

std::string printable(const std::string& bytes, size_t most) {
    static const char* const DIGITS = "0123456789abcdef";
    std::string text;
    for (const char c : bytes.substr(0, most)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\r')
            text += "\\r";
        else if (c == '\n')
            text += "\\n";
        else if (byte < 0x20 || byte >= 0x7f)
            text += std::string("\\x") + DIGITS[byte >> 4U] + DIGITS[byte & 15U];
        else
            text += c;
    }
    if (bytes.size() > most) text += "... (" + std::to_string(bytes.size()) + " bytes)";
    return text;
}

std::string toHex(const std::vector<uint8_t>& bytes) {
    static const char* const DIGITS = "0123456789ABCDEF";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

bool fromHex(const std::string& text, std::vector<uint8_t>& bytes) {
    bytes.clear();
    if (text.size() % 2 != 0) return false;
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = hexValue(text[i]);
        const int low = hexValue(text[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return true;
}

std::string ipv6Dotted(const std::string& address) {
    std::array<uint8_t, 16> octets = {};
    if (inet_pton(AF_INET6, address.c_str(), octets.data()) != 1) return "";
    return dotted(octets);
}

std::string ipv6MaskDotted(int prefixBits) {
    std::array<uint8_t, 16> octets = {};
    for (int bit = 0; bit < prefixBits && bit < 128; ++bit) {
        octets[static_cast<size_t>(bit / 8)] |= static_cast<uint8_t>(0x80 >> (bit % 8));
    }
    return dotted(octets);
}

bool isIpv4(const std::string& text) {
    in_addr address = {};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool isIpv6(const std::string& text) {
    in6_addr address = {};
    return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

std::string addressText(int family, const uint8_t* bytes) {
    std::array<char, INET6_ADDRSTRLEN> text = {};
    return inet_ntop(family, bytes, text.data(), text.size()) == nullptr ? "" : text.data();
}

}  // namespace le910sim

#include "mqtt/base64.h"

#include <openssl/evp.h>

namespace {

const unsigned char* octets(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* octets(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

}  // namespace

std::string base64Text(const std::string& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // the library ends it with a zero
    const int length = EVP_EncodeBlock(octets(text), octets(bytes), static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return text;
}

std::optional<std::string> base64Bytes(const std::string& text) {
    const size_t end = text.find_last_not_of('=');
    const size_t padding = text.size() - (end == std::string::npos ? 0 : end + 1);
    // The library takes white space at both ends, and '=' anywhere.
    if (text.size() % 4 != 0 || padding > 2 ||
        text.find_first_of("= \t\r\n") < text.size() - padding)
        return std::nullopt;
    std::string bytes(text.size() / 4 * 3, '\0');
    const int length = EVP_DecodeBlock(octets(bytes), octets(text), static_cast<int>(text.size()));
    if (length < 0) return std::nullopt;
    bytes.resize(static_cast<size_t>(length) - padding);
    return bytes;
}

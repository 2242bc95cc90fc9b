#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/decoded_message_check.h"

using tDecoder = int (*)(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput);

inline std::string hexOf(const uint8_t* data, size_t size) {
    static const char DIGITS[] = "0123456789abcdef";
    std::string hex;
    for (size_t i = 0; i < size; i++) {
        hex += DIGITS[data[i] >> 4];
        hex += DIGITS[data[i] & 0x0F];
    }
    return hex;
}

// Aborts the program if the result of a decoder is invalid, or if it accepted a PDU shorter than
// announced.
inline void decodeAndCheck(tDecoder decoder, const std::string& pdu, size_t length) {
    sms_t sms;
    sms.from = "left over";
    sms.userDataLength = 7;
    const int result = decoder(pdu, length, sms, false);
    const char* wrong = wrongInDecoded(result, sms);
    if (wrong == nullptr && result == 0 && pdu.size() < length * 2)
        wrong = "shorter than announced";
    if (wrong == nullptr) return;
    fprintf(stderr, "%s: length %zu, PDU %s\n", wrong, length, pdu.c_str());
    abort();
}

#endif

#ifndef FUZZ_DECODED_MESSAGE_CHECK_H
#define FUZZ_DECODED_MESSAGE_CHECK_H

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/include/sms_pdu.h"

// Invariants of every message that a decoder accepts or refuses.

constexpr size_t MAX_SENDER_OCTETS = 255;
constexpr size_t MAX_USER_DATA_OCTETS = 510;
constexpr size_t TIME_STAMP_CHARACTERS = 19;

inline bool isReset(const sms_t& sms) {
    return sms.from.empty() && sms.timestamp.empty() && sms.timestampUnformatted.empty() &&
           sms.reference == 0 && sms.partNumber == 0 && sms.numberOfParts == 0 &&
           sms.userData.empty() && sms.userDataLength == 0 && sms.dataCoding == SMS_CODING_TEXT;
}

inline const char* wrongInParts(const sms_t& sms) {
    if (sms.numberOfParts == 0) {
        return sms.partNumber != 0 || sms.reference != 0 ? "a part of no message" : nullptr;
    }
    if (sms.numberOfParts < 2 || sms.numberOfParts > 255) return "number of parts out of range";
    if (sms.partNumber < 1 || sms.partNumber > sms.numberOfParts) return "part out of range";
    if (sms.reference < 1 || sms.reference > 65536) return "reference out of range";
    return nullptr;
}

inline const char* wrongInTime(const sms_t& sms) {
    const std::string& seconds = sms.timestampUnformatted;
    if (seconds.empty() || seconds.size() > 10) return "seconds of no length";
    if (seconds.find_first_not_of("0123456789") != std::string::npos) return "seconds not decimal";
    if (strtoull(seconds.c_str(), nullptr, 10) > UINT32_MAX) return "seconds beyond 32 bits";
    if (sms.timestamp.empty()) return seconds != "0" ? "seconds without a time" : nullptr;
    return sms.timestamp.size() != TIME_STAMP_CHARACTERS ? "time of a wrong length" : nullptr;
}

inline const char* wrongInUserData(const sms_t& sms) {
    const auto& data = sms.userData;
    if (sms.userDataLength != data.size()) return "length differs from the data";
    if (data.size() > MAX_USER_DATA_OCTETS) return "data too long";
    switch (sms.dataCoding) {
        case SMS_CODING_TEXT:
            if (data.size() > SMS_MAX_TEXT_OCTETS) return "text too long";
            return std::count(data.begin(), data.end(), 0) != 0 ? "NUL in the text" : nullptr;
        case SMS_CODING_8BIT:
            return nullptr;
        case SMS_CODING_16BIT:
            return data.size() % 2 != 0 ? "half a 16-bit character" : nullptr;
        default:
            return "unknown coding";
    }
}

// What is wrong with the result of a decoder; null if nothing is.
inline const char* wrongInDecoded(int result, const sms_t& sms) {
    if (result == -1) return isReset(sms) ? nullptr : "refused, but not reset";
    if (result != 0) return "neither taken nor refused";
    if (sms.from.size() > MAX_SENDER_OCTETS) return "sender too long";
    if (sms.from.find('\0') != std::string::npos) return "NUL in the sender";
    if (const char* wrong = wrongInParts(sms)) return wrong;
    if (const char* wrong = wrongInTime(sms)) return wrong;
    return wrongInUserData(sms);
}

#endif

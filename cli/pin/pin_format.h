#ifndef CLI_PIN_PIN_FORMAT_H
#define CLI_PIN_PIN_FORMAT_H

#include "cli/pin/secret.h"
#include "published/pin_format.h"

inline bool isPin(const cSecret& secret) {
    return secret.hasDigits(PIN_DIGITS_MIN, PIN_DIGITS_MAX);
}

inline bool isPuk(const cSecret& secret) {
    return secret.hasDigits(PUK_DIGITS, PUK_DIGITS);
}

#endif

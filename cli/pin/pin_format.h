#ifndef CLI_PIN_PIN_FORMAT_H
#define CLI_PIN_PIN_FORMAT_H

#include "cli/pin/secret.h"

inline bool isPin(const cSecret& secret) {
    return secret.hasDigits(4, 8);
}

inline bool isPuk(const cSecret& secret) {
    return secret.hasDigits(8, 8);
}

#endif

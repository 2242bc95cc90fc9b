#ifndef PUBLISHED_PIN_FORMAT_H
#define PUBLISHED_PIN_FORMAT_H

#include <cstddef>

// What the files of PIN, request and PUK (paths.h) hold: digits, or a word as a request. White
// space does not count; of a longer file only the first bytes are read.
constexpr size_t PIN_FILE_MAX = 16;

constexpr size_t PIN_DIGITS_MIN = 4;
constexpr size_t PIN_DIGITS_MAX = 8;
constexpr size_t PUK_DIGITS = 8;

constexpr const char* PIN_REQUEST_ENABLE = "enable";
constexpr const char* PIN_REQUEST_DISABLE = "disable";

#endif

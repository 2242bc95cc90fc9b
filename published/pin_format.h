#ifndef PUBLISHED_PIN_FORMAT_H
#define PUBLISHED_PIN_FORMAT_H

#include <cstddef>

// Content of the files of PIN, request and PUK (paths.h): digits, or a word as a request. White
// space is ignored; only the first bytes of a longer file are read.
constexpr size_t PIN_FILE_MAX = 16;

constexpr size_t PIN_DIGITS_MIN = 4;
constexpr size_t PIN_DIGITS_MAX = 8;
constexpr size_t PUK_DIGITS = 8;

constexpr const char* PIN_REQUEST_ENABLE = "enable";
constexpr const char* PIN_REQUEST_DISABLE = "disable";

#endif

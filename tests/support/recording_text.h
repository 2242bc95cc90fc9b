#ifndef TESTS_SUPPORT_RECORDING_TEXT_H
#define TESTS_SUPPORT_RECORDING_TEXT_H

#include <string>

// The bytes of all "data" of a recording's lines, one after the other, unescaped.
std::string recordedData(const std::string& lines);
// A JSON string without its quotation marks, unescaped.
std::string unescapedJson(const std::string& text);

#endif

#ifndef TESTS_SUPPORT_CAPTURED_LOG_H
#define TESTS_SUPPORT_CAPTURED_LOG_H

#include <functional>
#include <string>
#include <vector>

// Everything this test program sent to the system log, in order, without identity and time. It
// never reaches the host's log.
const std::vector<std::string>& capturedLog();
void clearCapturedLog();

// Runs action once, at the moment when the program logs text: between two of its steps.
void onLogged(const std::string& text, std::function<void()> action);

// How many of the captured messages are exactly text, or contain it.
size_t logCount(const std::string& text);
bool logContains(const std::string& part);

#endif

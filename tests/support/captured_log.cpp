#include "tests/support/captured_log.h"

#include <syslog.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

std::vector<std::string>& messages() {
    static std::vector<std::string> list;
    return list;
}

void keep(const char* format, va_list arguments) {
    char text[8192];
    vsnprintf(text, sizeof text, format, arguments);
    messages().emplace_back(text);
}

}  // namespace

// These take the place of the C library's functions in a test program.
extern "C" void syslog(int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep(format, arguments);
    va_end(arguments);
}

extern "C" void __syslog_chk(int, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep(format, arguments);
    va_end(arguments);
}

const std::vector<std::string>& capturedLog() {
    return messages();
}

void clearCapturedLog() {
    messages().clear();
}

size_t logCount(const std::string& text) {
    return static_cast<size_t>(std::count(messages().begin(), messages().end(), text));
}

bool logContains(const std::string& part) {
    return std::any_of(messages().begin(), messages().end(), [&](const std::string& message) {
        return message.find(part) != std::string::npos;
    });
}

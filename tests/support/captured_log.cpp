#include "tests/support/captured_log.h"

#include <syslog.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {

std::vector<std::string>& messages() {
    static std::vector<std::string> list;
    return list;
}

struct sMoment {
    std::string text;
    std::function<void()> action;
};

sMoment g_moment;

void keep(const char* format, va_list arguments) {
    char text[8192];
    vsnprintf(text, sizeof text, format, arguments);
    messages().emplace_back(text);
    if (g_moment.action && g_moment.text == text) std::exchange(g_moment, {}).action();
}

}  // namespace

// These replace the C library's functions in a test program.
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
    g_moment = {};
}

void onLogged(const std::string& text, std::function<void()> action) {
    g_moment = {text, std::move(action)};
}

size_t logCount(const std::string& text) {
    return static_cast<size_t>(std::count(messages().begin(), messages().end(), text));
}

bool logContains(const std::string& part) {
    return std::any_of(messages().begin(), messages().end(), [&](const std::string& message) {
        return message.find(part) != std::string::npos;
    });
}

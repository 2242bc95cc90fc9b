#include "include/debug.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

uint64_t g_i_debugMode = 0;

namespace {

constexpr size_t MESSAGE_SIZE = 2048;

bool isEnabled(uint64_t category, uint64_t mode) {
    return (category & mode) == category;
}

// Text of the modem and the network stands in messages: no escape sequence of theirs may reach a
// terminal or a log viewer.
void blankEscapes(char* text) {
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        const bool lineText = byte == '\n' || byte == '\r' || byte == '\t';
        if ((byte < 0x20 && !lineText) || byte == 0x7f) *text = ' ';
    }
}

}  // namespace

unsigned char debug(const uint64_t& category, const uint64_t& mode, const char* format, ...) {
    const bool isError = (category & eLOG_ERROR) != 0;
    const bool isNotice = (category & eLOG_NOTICE) != 0;
    const bool enabled = isEnabled(category, mode);
    if (category == 0 || (!isError && !isNotice && !enabled)) return 0;

    char message[MESSAGE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    blankEscapes(message);

    unsigned char done = DEBUG_SENT_TO_SYSLOG;
    const char* prefix = "";
    if (!isError && !isNotice) {
        prefix = "DEBUG: ";
        done |= DEBUG_PREFIXED;
    }
    syslog(LOG_NOTICE, "%s%s", prefix, message);

    if (isError || enabled || (mode != 0 && isNotice)) {
        printf("%s%s\n", prefix, message);
        done |= DEBUG_PRINTED;
    }
    return done;
}

#include "include/debug.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

#include "include/repeated_notices.h"
#include "include/repeated_starts.h"

uint64_t g_i_debugMode = 0;

namespace {

constexpr size_t MESSAGE_SIZE = 2048;

bool isEnabled(uint64_t category, uint64_t mode) {
    return (category & mode) == category;
}

bool isNews(uint64_t category) {
    return (category & (eLOG_ERROR | eLOG_NOTICE)) != 0;
}

// Messages contain text from modem and network. No escape sequence in it may reach a terminal or a
// log viewer.
void blankEscapes(char* text) {
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        const bool lineText = byte == '\n' || byte == '\r' || byte == '\t';
        if ((byte < 0x20 && !lineText) || byte == 0x7f) *text = ' ';
    }
}

// The category of a repeated notice or error: the remaining bits of its own category, or else the
// category of the work that repeats it.
uint64_t withoutRepetition(uint64_t category, const char* message) {
    const uint64_t repeated = categoryOfRepeated(message);
    if (repeated == 0) return category;
    const uint64_t own = category & ~(eLOG_ERROR | eLOG_NOTICE);
    return own != 0 ? own : repeated;
}

unsigned char write(uint64_t category, uint64_t mode, const char* message) {
    const bool isNotice = (category & eLOG_NOTICE) != 0;
    const bool isError = (category & eLOG_ERROR) != 0;
    const bool enabled = isEnabled(category, mode);
    if (!isError && !isNotice && !enabled) return 0;

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

// If the start of a run is missing in the log, the log must say why.
void logStartsInARow(uint64_t mode) {
    const sStartsInARow row = takeStartsInARow();
    if (row.starts == 0) return;
    char line[MESSAGE_SIZE];
    snprintf(line, sizeof line, "Start %u in a row after a reset: %s", row.starts + 1,
             row.isLoggedWhole ? "everything is logged again, once a day"
                               : "what the run before logged, too, is not logged again");
    write(eLOG_NOTICE, mode, line);
}

// A function of its own, so that a message that nobody wants costs debug() no buffer and no page
// for it.
__attribute__((noinline, format(printf, 3, 0))) unsigned char writeMessage(uint64_t category,
                                                                           uint64_t mode,
                                                                           const char* format,
                                                                           va_list arguments) {
    char message[MESSAGE_SIZE];
    vsnprintf(message, sizeof message, format, arguments);
    blankEscapes(message);
    if (!isNews(category)) return write(category, mode, message);
    const uint64_t left = withoutRepetition(category, message);
    if (left == category) logStartsInARow(mode);
    return write(left, mode, message);
}

}  // namespace

unsigned char debug(const uint64_t& category, const uint64_t& mode, const char* format, ...) {
    if (category == 0 || (!isNews(category) && !isEnabled(category, mode))) return 0;
    va_list arguments;
    va_start(arguments, format);
    const unsigned char done = writeMessage(category, mode, format, arguments);
    va_end(arguments);
    return done;
}

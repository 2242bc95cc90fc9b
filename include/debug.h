#ifndef INCLUDE_DEBUG_H
#define INCLUDE_DEBUG_H

#include <cstdint>

// Log categories, one bit each. Errors and notices are always sent to the system log; every other
// category only while all its bits are set in the mode mask (-D, or DEBUG_MODE in the
// configuration file).
enum eLogCategory : uint64_t {
    eLOG_MAIN = 0x1,
    eLOG_UTILITY = 0x8,
    eLOG_CONFIG_DETAIL = 0x10,
    eLOG_CONFIG = 0x80,
    eLOG_PORT = 0x100,
    eLOG_RESPONSE = 0x200,
    eLOG_PORT_POLL = 0x400,
    eLOG_AT_DETAIL = 0x1000,
    eLOG_RADIO_DETAIL = 0x2000,
    eLOG_ADDRESS_DETAIL = 0x4000,
    eLOG_AT_FUNCTION = 0x8000,
    eLOG_MACHINE_ERROR = 0x10000,
    eLOG_POLICY = 0x20000,
    eLOG_PORT_STATE = 0x40000,
    eLOG_STATE = 0x80000,
    eLOG_SMS_PDU = 0x100000,
    eLOG_SMS = 0x200000,
    eLOG_GPS = 0x400000,
    eLOG_STATUS = 0x800000,
    eLOG_NETWORK_TRAFFIC = 0x1000000,
    eLOG_ERROR = 0x1000000000000000,
    eLOG_NOTICE = 0x2000000000000000,
};

// What debug() did with a message.
constexpr unsigned char DEBUG_SENT_TO_SYSLOG = 1;
constexpr unsigned char DEBUG_PRINTED = 2;
constexpr unsigned char DEBUG_PREFIXED = 4;

extern uint64_t g_i_debugMode;

// Logs a message, cut at 2047 bytes, under a category: to the system log, always at LOG_NOTICE, and
// to standard output if it is an error, if its category is enabled in mode, or if it is a notice
// and mode is not 0. Returns the DEBUG_... bits of what was done. A notice or an error that a
// repeated work logs again (include/repeated_notices.h) is logged under the remaining bits of its
// category, or else under the category of the work.
unsigned char debug(const uint64_t& category, const uint64_t& mode, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Logs a text unchanged as a notice.
inline void notice(const char* text) {
    debug(eLOG_NOTICE, g_i_debugMode, "%s", text);
}

// The trace line at the start of every operation.
inline void traceEntry(uint64_t category, const char* function) {
    debug(category, g_i_debugMode, "Entering %s()", function);
}

#endif

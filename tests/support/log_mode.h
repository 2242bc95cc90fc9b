#ifndef TESTS_SUPPORT_LOG_MODE_H
#define TESTS_SUPPORT_LOG_MODE_H

#include <cstdint>

#include "include/debug.h"
#include "tests/support/captured_log.h"

// Empties the captured log and sets a debug mode for one test; afterwards no mode is set.
class cLogMode {
  public:
    explicit cLogMode(uint64_t mode = 0) {
        clearCapturedLog();
        g_i_debugMode = mode;
    }
    ~cLogMode() { g_i_debugMode = 0; }
    cLogMode(const cLogMode&) = delete;
    cLogMode& operator=(const cLogMode&) = delete;
};

#endif

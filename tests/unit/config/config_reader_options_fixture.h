#ifndef TESTS_UNIT_CONFIG_CONFIG_READER_OPTIONS_FIXTURE_H
#define TESTS_UNIT_CONFIG_CONFIG_READER_OPTIONS_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "config/config_reader.h"
#include "include/debug.h"
#include "tests/support/captured_log.h"

using tLines = std::vector<std::string>;

// Calls one option function as readConfig does and keeps record and log.
struct sOptionRun {
    explicit sOptionRun(tConfigOption option, const std::string& key, const std::string& value,
                        const sConfigFileOpts& before = {}, uint64_t mask = 0)
        : opts(before) {
        cConfigReader reader;
        reader.init("unused", mask);
        clearCapturedLog();
        (reader.*option)(key, value, opts);
        lines = capturedLog();
        g_i_debugMode = 0;
    }

    sConfigFileOpts opts;
    tLines lines;
};

struct sIntCase {
    std::string value;
    int64_t expected;
    tLines lines;
};

inline void checkIntCases(tConfigOption option, const std::string& key,
                          const std::function<int64_t(const sConfigFileOpts&)>& field,
                          const std::vector<sIntCase>& cases, const sConfigFileOpts& before = {}) {
    for (const sIntCase& one : cases) {
        const sOptionRun run(option, key, one.value, before);
        EXPECT_EQ(field(run.opts), one.expected) << key << "=" << one.value.substr(0, 80);
        EXPECT_EQ(run.lines, one.lines) << key << "=" << one.value.substr(0, 80);
    }
}

inline std::string withControlCharacter(char control) {
    return std::string("ab") + control + "cd";
}

// All control characters, including tab and DEL.
inline std::string controlCharacters() {
    std::string all("\x7f");
    for (char control = 0; control < ' '; ++control)
        all += control;
    return all;
}

inline const std::string CONTROL_CHARACTERS = controlCharacters();

// The log line for withControlCharacter.
inline std::string controlLine(const std::string& key, char control, const std::string& allowed) {
    char code[8];
    snprintf(code, sizeof code, "0x%02X", static_cast<unsigned char>(control));
    return "Error: Config option " + key + " has a control character (" + code +
           ", character 3 of 5), allowed: " + allowed;
}

#endif

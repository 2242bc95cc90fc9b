#include <gtest/gtest.h>

#include <csignal>

#include "include/debug.h"
#include "include/signal_flags.h"
#include "tests/support/log_mode.h"

namespace {

struct sOutcome {
    unsigned char flags;
    std::string printed;
    std::vector<std::string> logged;
};

sOutcome send(uint64_t category, uint64_t mode, const std::string& text) {
    clearCapturedLog();
    testing::internal::CaptureStdout();
    sOutcome outcome;
    outcome.flags = debug(category, mode, "%s", text.c_str());
    outcome.printed = testing::internal::GetCapturedStdout();
    outcome.logged = capturedLog();
    return outcome;
}

struct sCase {
    const char* name;
    uint64_t category;
    uint64_t mode;
    unsigned char flags;
};

constexpr unsigned char NOTHING = 0;
constexpr unsigned char LOGGED = 1;
constexpr unsigned char LOGGED_AND_PRINTED = 1 | 2;
constexpr unsigned char DEBUG_MESSAGE = 1 | 2 | 4;

const sCase CASES[] = {
    {"category 0", 0, 0, NOTHING},
    {"category 0 with everything on", 0, ~0ULL, NOTHING},
    {"error, no mode", eLOG_ERROR, 0, LOGGED_AND_PRINTED},
    {"error, some mode", eLOG_ERROR, 1, LOGGED_AND_PRINTED},
    {"notice, no mode", eLOG_NOTICE, 0, LOGGED},
    {"notice, some mode", eLOG_NOTICE, 1, LOGGED_AND_PRINTED},
    {"notice, its own bit", eLOG_NOTICE, eLOG_NOTICE, LOGGED_AND_PRINTED},
    {"bit 0, off", 1, 0, NOTHING},
    {"bit 0, on", 1, 1, DEBUG_MESSAGE},
    {"bit 0, mode 3", 1, 3, DEBUG_MESSAGE},
    {"bit 1, mode 1", 2, 1, NOTHING},
    {"bit 1, mode 3", 2, 3, DEBUG_MESSAGE},
    {"two bits, one on", 3, 1, NOTHING},
    {"two bits, the other on", 3, 2, NOTHING},
    {"two bits, both on", 3, 3, DEBUG_MESSAGE},
    {"two bits, all on", 3, ~0ULL, DEBUG_MESSAGE},
    {"notice and a bit, no mode", eLOG_NOTICE | 1, 0, LOGGED},
    {"notice and a bit, both on", eLOG_NOTICE | 1, eLOG_NOTICE | 1, LOGGED_AND_PRINTED},
    {"error and notice", eLOG_ERROR | eLOG_NOTICE, 0, LOGGED_AND_PRINTED},
    {"high debug bit", 1ULL << 59, 1ULL << 59, DEBUG_MESSAGE},
};

}  // namespace

TEST(Debug, CategoryAndMode_DecideWhereTheMessageGoes) {
    for (const sCase& row : CASES) {
        const sOutcome outcome = send(row.category, row.mode, "message");
        const std::string text = (row.flags & DEBUG_PREFIXED) != 0 ? "DEBUG: message" : "message";
        EXPECT_EQ(outcome.flags, row.flags) << row.name;
        EXPECT_EQ(outcome.logged.size(), (row.flags & DEBUG_SENT_TO_SYSLOG) != 0 ? 1u : 0u)
            << row.name;
        if (!outcome.logged.empty()) {
            EXPECT_EQ(outcome.logged[0], text) << row.name;
        }
        EXPECT_EQ(outcome.printed, (row.flags & DEBUG_PRINTED) != 0 ? text + "\n" : "") << row.name;
    }
}

TEST(Debug, LongMessage_IsCutAt2047Bytes) {
    EXPECT_EQ(send(eLOG_NOTICE, 0, std::string(2047, 'x')).logged[0], std::string(2047, 'x'));
    EXPECT_EQ(send(eLOG_NOTICE, 0, std::string(2048, 'x')).logged[0], std::string(2047, 'x'));
    EXPECT_EQ(send(eLOG_NOTICE, 0, std::string(100000, 'x')).logged[0], std::string(2047, 'x'));
}

TEST(Debug, LongDebugMessage_IsCutBeforeThePrefix) {
    EXPECT_EQ(send(1, 1, std::string(5000, 'x')).logged[0], "DEBUG: " + std::string(2047, 'x'));
}

TEST(Debug, PercentInArgument_IsNoFormat) {
    EXPECT_EQ(send(eLOG_NOTICE, 0, "100%s%n").logged[0], "100%s%n");
}

TEST(Debug, EscapeSequence_DoesNotReachTheTerminal) {
    const sOutcome outcome = send(eLOG_ERROR, 0, "a\x1b[2Jb\x7f\x07\tc\xc3\xa4");
    EXPECT_EQ(outcome.logged[0], "a [2Jb  \tc\xc3\xa4");
    EXPECT_EQ(outcome.printed, "a [2Jb  \tc\xc3\xa4\n");
}

TEST(TraceEntry, CategoryOn_NamesTheFunction) {
    const cLogMode mode(eLOG_UTILITY);
    traceEntry(eLOG_UTILITY, "someFunction");
    traceEntry(eLOG_AT_FUNCTION, "otherFunction");
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: Entering someFunction()"});
}

TEST(SignalHandlers, EachHandler_SetsItsOwnFlagOnly) {
    struct sHandlerCase {
        void (*handler)(int);
        volatile std::sig_atomic_t* flag;
        int signal;
    };
    const sHandlerCase cases[] = {
        {signalHandlerSIGINT, &b_got_sigint, SIGINT},
        {signalHandlerSIGTERM, &b_got_sigterm, SIGTERM},
        {signalHandlerSIGHUP, &b_got_sighup, SIGHUP},
        {signalHandlerSIGUSR1, &b_got_sigusr1, SIGUSR1},
        {signalHandlerSIGUSR2, &b_got_sigusr2, SIGUSR2},
    };
    for (const sHandlerCase& row : cases) {
        EXPECT_FALSE(*row.flag);
        const auto before = signal(row.signal, row.handler);
        raise(row.signal);
        signal(row.signal, before);
        for (const sHandlerCase& other : cases)
            EXPECT_EQ(*other.flag != 0, &other == &row);
        *row.flag = false;
    }
}

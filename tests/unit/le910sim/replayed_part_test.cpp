#include "le910sim/replayed_part.h"

#include <gtest/gtest.h>

#include <sstream>

namespace le910sim {

namespace {

constexpr const char* HEADER = R"({"recording":1,"slot":1,"began":"2026-11-22T09:00:00Z"})";

// The lines that are replayed, with their times: "0 start", "10 AT".
std::string replayed(const std::vector<std::string>& lines) {
    std::string text = std::string(HEADER) + "\n";
    for (const std::string& line : lines)
        text += line + "\n";
    std::istringstream input(text);
    std::string part;
    for (const sRecordedEvent& event : replayedPart(readRecording(input, "made")).events) {
        const std::string what =
            event.kind == eRECORDED_MARK ? event.mark.at("mark").get<std::string>() : event.bytes;
        part += std::to_string(event.ms) + " " + what + "\n";
    }
    return part;
}

std::string start(int ms) {
    return R"({"ms":)" + std::to_string(ms) + R"(,"mark":"start","arguments":[]})";
}
std::string state(int ms, const std::string& modem) {
    return R"({"ms":)" + std::to_string(ms) + R"(,"mark":"state","modem":")" + modem + "\"}";
}
std::string signal(int ms, const std::string& name) {
    return R"({"ms":)" + std::to_string(ms) + R"(,"mark":"signal","name":")" + name + "\"}";
}
std::string write(int ms, const std::string& bytes) {
    return R"({"ms":)" + std::to_string(ms) + R"(,"at":"write","data":")" + bytes + "\"}";
}

}  // namespace

TEST(ReplayedPart, OneRun_IsReplayedWhole) {
    EXPECT_EQ(replayed({start(0), state(0, "set-up"), write(10, "AT"), signal(20, "SIGUSR1"),
                        state(30, "connected"), write(40, "ATI")}),
              "0 start\n0 state\n10 AT\n20 signal\n30 state\n40 ATI\n");
    EXPECT_EQ(replayed({write(10, "AT")}), "0 AT\n");
    EXPECT_EQ(replayed({}), "");
}

TEST(ReplayedPart, WhatTheProgramDoesWhenItIsAskedToEnd_IsLeftOut) {
    for (const char* const name : {"SIGTERM", "SIGINT", "SIGHUP"})
        EXPECT_EQ(replayed({start(0), state(0, "set-up"), write(10, "AT"), signal(20, name),
                            write(30, "AT#SLED=0")}),
                  "0 start\n0 state\n10 AT\n");
}

// cellslot record start, then systemctl restart.
TEST(ReplayedPart, RestartOfARunningProgram_IsReplayedFromTheStart) {
    EXPECT_EQ(replayed({start(0), state(0, "connected"), write(10, "AT+CSQ"), signal(20, "SIGTERM"),
                        write(30, "AT#SLED=0"), start(40), state(40, "set-up"), write(50, "AT"),
                        signal(60, "SIGTERM")}),
              "0 start\n0 state\n10 AT\n");
}

TEST(ReplayedPart, SecondRunAfterASignal_IsReplayedAlone) {
    EXPECT_EQ(replayed({start(0), state(0, "set-up"), write(10, "ATI"), signal(20, "SIGTERM"),
                        start(40), state(40, "set-up"), write(50, "AT")}),
              "0 start\n0 state\n10 AT\n");
}

// Killed, so that no signal is recorded.
TEST(ReplayedPart, StartAfterARunningProgramThatWasKilled_IsTheBeginning) {
    EXPECT_EQ(replayed({start(0), state(0, "connected"), write(10, "ATI"), start(40),
                        state(40, "set-up"), write(50, "AT")}),
              "0 start\n0 state\n10 AT\n");
}

// As the service manager does, the replay starts the program again.
TEST(ReplayedPart, RunsThatEndedByThemselves_AreReplayedInARow) {
    EXPECT_EQ(replayed({start(0), state(0, "set-up"), write(10, "ATI"), start(40),
                        state(40, "set-up"), write(50, "AT")}),
              "0 start\n0 state\n10 ATI\n40 start\n40 state\n50 AT\n");
}

}  // namespace le910sim

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"
#include "tests/unit/le910sim/running_program.h"

namespace le910sim {

// le910sim --replay with a recording that somebody wrote by hand.
class Le910simReplay : public ::testing::Test {
  protected:
    std::string at() const { return m_folder / "at"; }
    // The answer is read before the hang-up, and the hang-up is seen, also by a test that stands
    // still for a while. tail: what follows the last line.
    cProgram replay(const std::vector<std::string>& extra = {},
                    const std::string& tail = "") const {
        writeFile(m_folder / "made.recording",
                  R"({"recording":1,"program":"by hand","slot":1,"began":"2026-11-22T09:00:00Z"})"
                  "\n"
                  R"({"ms":0,"at":"open"})"
                  "\n"
                  R"({"ms":10,"at":"write","data":"AT+CSQ"})"
                  "\n"
                  R"({"ms":20,"at":"write","data":"\r"})"
                  "\n"
                  R"({"ms":320,"at":"read","data":"AT+CSQ\r\r\n+CSQ: 9,"})"
                  "\n"
                  R"({"ms":340,"at":"read","data":"99\r\n\r\nOK\r\n"})"
                  "\n"
                  R"({"ms":4400,"at":"hangup","error":5})"
                  "\n"
                  R"({"ms":8400,"at":"open"})"
                  "\n"
                  R"({"ms":8500,"at":"write","data":"ATI\r"})"
                  "\n"
                  R"({"ms":8520,"at":"read","data":"ATI\r\r\n332\r\n\r\nOK\r\n"})"
                  "\n" +
                      tail);
        std::vector<std::string> words = {"--replay",   m_folder / "made.recording",
                                          "--at-link",  at(),
                                          "--gps-link", m_folder / "gps"};
        words.insert(words.end(), extra.begin(), extra.end());
        return cProgram::bare(words);
    }

    cTempFolder m_folder;
};

TEST_F(Le910simReplay, Recording_IsReplayedWithItsTimesAndItsHangUp) {
    cProgram program = replay();
    ASSERT_EQ(program.said("\n"), "ready\n");
    int fd = program.open(at());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(fd, "AT+CSQ", "OK\r\n"), "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\nOK\r\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(310));
    awaitLink(at(), false);
    close(fd);
    awaitLink(at(), true);
    fd = program.open(at());
    EXPECT_EQ(ask(fd, "ATI", "OK\r\n"), "ATI\r\r\n332\r\n\r\nOK\r\n");
    EXPECT_EQ(program.said("over\n"), "over\n");
    EXPECT_EQ(ask(fd, "AT#XYZ", "ERROR\r\n"), "AT#XYZ\r\r\nERROR\r\n");
    EXPECT_EQ(program.said("\n"), "le910sim: " + (m_folder / "made.recording") +
                                      " has no answer to AT#XYZ, so it gets ERROR\n");
    close(fd);
    EXPECT_EQ(program.stop(SIGTERM), 0);
    EXPECT_FALSE(isThere(at()));
}

TEST_F(Le910simReplay, Strict_EndsWithTheDifferenceAndStatusOne) {
    cProgram program = replay({"--strict", "--speed", "10"});
    program.said("ready");
    const int fd = program.open(at());
    EXPECT_GT(write(fd, "AT+CREG?\r", 9), 0);
    const std::string said = program.said("OK\\r\\n\n  8");
    EXPECT_NE(said.find("made.recording:3: the program differs from the recording\n"
                        "  expected  <- AT+CSQ\n"
                        "  seen      <- AT+CREG?\n"),
              std::string::npos)
        << said;
    EXPECT_EQ(program.wait(), 1);
    close(fd);
}

TEST_F(Le910simReplay, LastLineWithoutItsEnd_IsSaidAndTheRestIsReplayed) {
    cProgram program = replay({}, R"({"ms":3030)");
    EXPECT_EQ(program.said("ready\n"),
              "le910sim: " + (m_folder / "made.recording") +
                  ": the last line is not complete, so it is left out\nready\n");
    const int fd = program.open(at());
    EXPECT_EQ(ask(fd, "AT+CSQ", "OK\r\n"), "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\nOK\r\n");
    close(fd);
}

TEST_F(Le910simReplay, EndedBeforeTheEndOfTheRecording_SaysHowFarItCame) {
    cProgram program = replay();
    program.said("ready\n");
    program.stop(SIGTERM);
    EXPECT_EQ(program.said("\n"), "le910sim: ended before this was replayed: " +
                                      (m_folder / "made.recording") + ":3: <- AT+CSQ\n");
}

TEST_F(Le910simReplay, WrongRecordingOrOption_IsNamed) {
    writeFile(m_folder / "empty", "");
    const struct {
        std::vector<std::string> words;
        std::string text;
        int status;
    } cases[] = {
        {{"--replay", m_folder / "empty", "--at-link", at(), "--gps-link", m_folder / "gps"},
         "le910sim: " + (m_folder / "empty") +
             ":1: found the end of the file, expected a first line with \"recording\": 1\n",
         1},
        {{"--replay", m_folder / "", "--at-link", at(), "--gps-link", m_folder / "gps"},
         "le910sim: " + (m_folder / "") + " is a folder, expected a recording\n",
         1},
        {{"--strict"}, "le910sim: --strict requires --replay (see le910sim --help)\n", 2},
        {{"--replay", ""}, "le910sim: --replay: '' is not the name of a file (see", 2},
        {{"--record-from", "", "--recording", "x"},
         "le910sim: --record-from: '' is not the name of a file (see",
         2},
        {{"--record-from", "/dev/null", "--recording", ""},
         "le910sim: --recording: '' is not the name of a file (see",
         2},
        {{"--replay", "x", "--scenario", "y"},
         "le910sim: --scenario excludes --replay (see le910sim --help)\n",
         2},
        {{"--replay", "x", "--speed", "0"}, "le910sim: --speed: Value 0 not in range 0.", 2},
    };
    for (const auto& row : cases) {
        cProgram program = cProgram::bare(row.words);
        EXPECT_EQ(program.said("\n").substr(0, row.text.size()), row.text);
        EXPECT_EQ(program.wait(), row.status);
    }
}

}  // namespace le910sim

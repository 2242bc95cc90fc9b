#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include "tests/support/temp_folder.h"
#include "tests/unit/le910sim/running_program.h"

namespace le910sim {

// le910sim --record-from, between a simulated modem and a program.
TEST(Le910simRecord, ProgramAndModem_UnderstandEachOtherAndAreRecordedWithoutSecrets) {
    cTempFolder folder;
    writeFile(folder / "scenario", R"({"sim": {"pin": "1234", "lock": true}})");
    cProgram modem({"--scenario", folder / "scenario"});
    modem.said("ready");
    cProgram recorder = cProgram::bare({"--record-from", modem.at(), "--recording",
                                        folder / "made.jsonl", "--at-link", folder / "at"});
    ASSERT_EQ(recorder.said("\n"), "ready\n");
    int fd = recorder.open(folder / "at");
    EXPECT_EQ(ask(fd, "AT+CSQ", "OK\r\n"), "AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n");
    EXPECT_EQ(ask(fd, "AT+CPIN=1234", "OK\r\n"), "AT+CPIN=1234\r\r\nOK\r\n");
    // So that the answer is read before the hang-up when it is replayed.
    sleepMs(4000);
    EXPECT_EQ(modem.order(std::string(R"({"op": "hangup", "away_ms": )") + AWAY_MS + "}").at("ok"),
              true);
    close(fd);
    awaitLink(folder / "at", false);
    awaitLink(folder / "at", true);
    fd = recorder.open(folder / "at");
    EXPECT_EQ(ask(fd, "AT", "OK\r\n"), "AT\r\r\nOK\r\n");
    close(fd);
    EXPECT_EQ(recorder.stop(SIGTERM), 0);
    const std::string text = readFile(folder / "made.jsonl");
    EXPECT_EQ(text.find("1234"), std::string::npos) << text;
    for (const char* part :
         {R"("mark":"start")", R"("data":"AT+CSQ)", R"(+CSQ: 17,99)", R"(AT+CPIN=0000)",
          R"("at":"hangup")", R"("mark":"stop","reason":"asked")"})
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    // What was recorded can be replayed.
    cProgram replay = cProgram::bare({"--replay", folder / "made.jsonl", "--at-link", folder / "at",
                                      "--gps-link", folder / "gps"});
    ASSERT_EQ(replay.said("\n"), "ready\n");
    fd = replay.open(folder / "at");
    EXPECT_EQ(ask(fd, "AT+CSQ", "OK\r\n"), "AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n");
    EXPECT_EQ(ask(fd, "AT+CPIN=1234", "OK\r\n"), "AT+CPIN=0000\r\r\nOK\r\n");
    close(fd);
}

TEST(Le910simRecord, OptionThatIsMissing_IsNamed) {
    cProgram program = cProgram::bare({"--record-from", "/dev/null"});
    const std::string said = program.said("\n");
    EXPECT_NE(said.find("--record-from requires --"), std::string::npos) << said;
    EXPECT_EQ(program.wait(), 2);
}

}  // namespace le910sim

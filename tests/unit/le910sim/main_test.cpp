#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "le910sim/modem.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temp_folder.h"
#include "tests/unit/le910sim/running_program.h"

namespace le910sim {

using nlohmann::json;

TEST(Le910simProgram, SaysReady_AndAnswersOnBothPorts) {
    cProgram program;
    ASSERT_EQ(program.said("\n"), "ready\n");
    const int at = program.open(program.at());
    EXPECT_EQ(ask(at, "AT+CMEE=1", "OK\r\n"), "AT+CMEE=1\r\r\nOK\r\n");
    EXPECT_EQ(ask(at, "AT+CSQ", "OK\r\n"), "AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n");
    const int gps = program.open(program.gps());
    EXPECT_EQ(ask(gps, "AT$GPSSW", "OK\r\n"), "AT$GPSSW\r\r\n$GPSSW: \r\n\r\nOK\r\n");
    close(at);
    close(gps);
}

TEST(Le910simProgram, OpenedAndClosedRepeatedly_KeepsAnswering) {
    cProgram program;
    program.said("ready");
    for (int i = 0; i < 20; ++i) {
        const int fd = program.open(program.at());
        EXPECT_EQ(ask(fd, "AT", "OK\r\n"), "AT\r\r\nOK\r\n");
        close(fd);
    }
}

TEST(Le910simProgram, OutputWhileThePortWasClosed_IsReadLater) {
    cProgram program;
    program.said("ready");
    EXPECT_EQ(program.order(R"({"op": "urc", "line": "RING"})").at("ok"), true);
    const int fd = program.open(program.at());
    EXPECT_EQ(readUntil(fd, "RING\r\n"), "\r\nRING\r\n");
    close(fd);
}

TEST(Le910simProgram, SlowReader_GetsEveryByte) {
    cProgram program;
    program.said("ready");
    const int fd = program.open(program.at());
    std::string expected;
    const std::string one = ask(fd, "AT+COPN", "OK\r\n");
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(write(fd, "AT+COPN\r", 8), 8);
        expected += one;
    }
    std::string text;
    std::array<char, 777> buffer = {};
    for (int left = DEADLINE_MS; left > 0 && text.size() < expected.size();) {
        const ssize_t count = read(fd, buffer.data(), buffer.size());
        if (count > 0) text.append(buffer.data(), static_cast<size_t>(count));
        if (count > 0) continue;
        sleepMs(5);
        left -= 5;
    }
    EXPECT_EQ(text, expected);
    close(fd);
}

TEST(Le910simProgram, NobodyReads_KeepsRunning) {
    cProgram program;
    program.said("ready");
    const int fd = program.open(program.at());
    for (int i = 0; i < 3000; ++i) {
        if (write(fd, "AT+COPN\r", 8) != 8) sleepMs(5);
    }
    EXPECT_GT(program.order(R"({"op": "count"})").at("exchanges"), 100);
    close(fd);
}

TEST(Le910simProgram, GivenDevices_AreServedAndPluggedInOnceTheyAre) {
    cTempFolder gadget;
    writeFile(gadget / "UDC", "\n");
    const sPseudoTerminal at = openPseudoTerminal();
    const sPseudoTerminal gps = openPseudoTerminal();
    cProgram program = cProgram::bare({"--at-device", at.path, "--gps-device", gps.path, "--gadget",
                                       gadget.path(), "--controller", "dummy_udc.0"});
    ASSERT_EQ(program.said("\n"), "ready\n");
    EXPECT_EQ(readFile(gadget / "UDC"), "dummy_udc.0\n");
    EXPECT_EQ(ask(at.modemEnd, "AT+GMM", "OK\r\n"), "AT+GMM\r\r\nLE910-NA V2\r\n\r\nOK\r\n");
    EXPECT_EQ(ask(gps.modemEnd, "AT$GPSSW", "OK\r\n"), "AT$GPSSW\r\r\n$GPSSW: \r\n\r\nOK\r\n");
    EXPECT_EQ(program.stop(SIGTERM), 0);
    EXPECT_EQ(readFile(gadget / "UDC"), "\n");
    close(at.modemEnd);
    close(gps.modemEnd);
}

TEST(Le910simProgram, RestartOfAModemWithAGadget_UnplugsItAndPlugsItInAgain) {
    cTempFolder gadget;
    writeFile(gadget / "UDC", "\n");
    cTempFolder folder;
    const sPseudoTerminal at = openPseudoTerminal();
    const sPseudoTerminal gps = openPseudoTerminal();
    writeFile(folder / "scenario.json", std::string(R"({"timings": {"restart_ms": )") + AWAY_MS +
                                            R"(, "restart_grace_ms": 0, "ready_ms": 0}})");
    cProgram program =
        cProgram::bare({"--at-device", at.path, "--gps-device", gps.path, "--gadget", gadget.path(),
                        "--controller", "dummy_udc.0", "--scenario", folder / "scenario.json"});
    program.said("ready");
    ask(at.modemEnd, "AT#REBOOT", "OK\r\n");
    awaitContent(gadget / "UDC", "\n");
    awaitContent(gadget / "UDC", "dummy_udc.0\n");
    EXPECT_EQ(ask(at.modemEnd, "AT", "OK\r\n"), "\r\n+PACSP0\r\nAT\r\r\nOK\r\n");
    close(at.modemEnd);
    close(gps.modemEnd);
}

TEST(Le910simProgram, DeviceThatIsUnpluggedDuringAnAnswer_LosesItsRestAndServesAgain) {
    cTempFolder folder;
    sPseudoTerminal at = openPseudoTerminal();
    const sPseudoTerminal gps = openPseudoTerminal();
    ASSERT_EQ(symlink(at.path.c_str(), (folder / "at").c_str()), 0);
    writeFile(folder / "scenario.json", R"({"timings": {"reply_ms": 300}})");
    cProgram program = cProgram::bare({"--at-device", folder / "at", "--gps-device", gps.path,
                                       "--scenario", folder / "scenario.json"});
    program.said("ready");
    EXPECT_EQ(write(at.modemEnd, "AT+CSQ\r", 7), 7);
    EXPECT_EQ(readUntil(at.modemEnd, "\r"), "AT+CSQ\r");
    close(at.modemEnd);
    at = openPseudoTerminal();
    const std::string again = folder / "again";
    ASSERT_EQ(symlink(at.path.c_str(), again.c_str()), 0);
    ASSERT_EQ(rename(again.c_str(), (folder / "at").c_str()), 0);
    awaitRaw(at.modemEnd);
    EXPECT_EQ(ask(at.modemEnd, "AT", "OK\r\n"), "AT\r\r\nOK\r\n");
    close(at.modemEnd);
    close(gps.modemEnd);
}

TEST(Le910simProgram, RebootCommand_HangsUpAndReturns) {
    cProgram program;
    program.said("ready");
    EXPECT_EQ(program
                  .order(std::string(R"({"op": "set", "timings": {"restart_ms": )") + AWAY_MS +
                         R"(, "restart_grace_ms": 100, "ready_ms": 100}})")
                  .at("ok"),
              true);
    const int fd = program.open(program.at());
    ask(fd, "AT#REBOOT", "OK\r\n");  // a busy machine hangs up before the answer is read
    awaitLink(program.at(), false);
    EXPECT_FALSE(isLink(program.gps()));
    char byte = 0;
    EXPECT_LE(read(fd, &byte, 1), 0);
    EXPECT_EQ(write(fd, "AT\r", 3), -1);
    close(fd);
    awaitLink(program.at(), true);
    const int again = program.open(program.at());
    EXPECT_EQ(readUntil(again, "PACSP0\r\n"), "\r\n+PACSP0\r\n");
    EXPECT_EQ(ask(again, "AT", "OK\r\n"), "AT\r\r\nOK\r\n");
    close(again);
}

TEST(Le910simProgram, ControlSocket_SurvivesBadInput) {
    cProgram program;
    program.said("ready");
    EXPECT_EQ(program.order("nonsense"), (json{{"ok", false}, {"error", "not JSON"}}));
    EXPECT_EQ(program.order("[1]").at("error"), "order: not an object");
    const int half = program.connect();
    EXPECT_EQ(write(half, "{\"op\": ", 7), 7);
    close(half);
    const int two = program.connect();
    const std::string lines = "{\"op\": \"count\"}\n\n{\"op\": \"count\"}\n{\"op\"";
    EXPECT_GT(write(two, lines.data(), lines.size()), 0);
    readUntil(two, "\n");
    EXPECT_GT(write(two, ": 1}\n", 5), 0);
    EXPECT_NE(readUntil(two, "key 'op' is not a text").find("not a text"), std::string::npos);
    close(two);
    EXPECT_EQ(program.order(R"({"op": "count"})").at("ok"), true);
}

TEST(Le910simProgram, Terminated_LeavesOnlyTheLog) {
    cProgram program;
    program.said("ready");
    const int fd = program.open(program.at());
    ask(fd, "AT+BAD", "ERROR\r\n");
    EXPECT_EQ(program.stop(SIGTERM), 0);
    close(fd);
    EXPECT_FALSE(isThere(program.at()));
    EXPECT_FALSE(isThere(program.gps()));
    EXPECT_FALSE(isThere(program.socketPath()));
    std::istringstream log(readFile(program.logPath()));
    std::vector<std::string> events;
    for (std::string line; std::getline(log, line);) {
        events.push_back(json::parse(line).at("event"));
    }
    EXPECT_EQ(events, (std::vector<std::string>{"problem", "exchange"}));
}

TEST(Le910simProgram, Memory_IsWrittenBeforeTheAnswerAndIsAScenario) {
    const cTempFolder folder;
    const std::string path = folder / "memory";
    const auto memory = [&] {
        const std::string text = readFile(path);
        const size_t last = text.rfind('\n', text.size() - 2);
        return json::parse(text.substr(last == std::string::npos ? 0 : last + 1));
    };
    cProgram program({"--memory", path});
    program.said("ready");
    const int fd = program.open(program.at());
    EXPECT_EQ(memory().at("sms").at("stored"), json::array());
    program.order(R"({"op": "inject-sms", "from": "+1", "text": "x"})");
    EXPECT_EQ(memory().at("sms").at("stored").at(0).at("status"), 0);
    ask(fd, "AT+CMGF=0;+CMGL=0", "OK\r\n");
    EXPECT_EQ(memory().at("sms").at("stored").at(0).at("status"), 1);
    ask(fd, "AT+CLCK=\"SC\",1,\"1234\"", "OK\r\n");
    EXPECT_EQ(memory().at("sim").at("lock"), true);
    ask(fd, "AT+CPWD=\"SC\",\"9999\",\"4321\"", "ERROR");
    EXPECT_EQ(memory().at("sim").at("pin_attempts"), 2);
    close(fd);
    le910sim::cModem again(memory());
    EXPECT_EQ(again.memory(), memory());
}

TEST(Le910simProgram, Interrupted_EndsCleanly) {
    cProgram program;
    program.said("ready");
    EXPECT_EQ(program.stop(SIGINT), 0);
    EXPECT_FALSE(isThere(program.at()));
}

TEST(Le910simProgram, Seconds_EndItByItself) {
    cProgram program({"--seconds", "1"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.said("\n"), "ready\n");
}

TEST(Le910simProgram, ModelAndPace_AreThoseGiven) {
    cProgram program({"--model", "LE910-EU V2", "--pace", "115200"});
    program.said("ready");
    const int fd = program.open(program.at());
    EXPECT_EQ(ask(fd, "AT+GMM", "OK\r\n"), "AT+GMM\r\r\nLE910-EU V2\r\n\r\nOK\r\n");
    close(fd);
}

TEST(Le910simProgram, CommandLineThatIsIncompleteOrWrong_NamesTheProgramAndWhatIsMissing) {
    const std::string example =
        "; for example: le910sim --at-link /tmp/at --gps-link /tmp/gps (see le910sim --help)\n";
    const struct {
        std::vector<std::string> words;
        std::string text;
    } cases[] = {
        {{}, "le910sim: --at-link and --gps-link are missing" + example},
        {{"--at-link", "/tmp/at"}, "le910sim: --gps-link is missing" + example},
        {{"--gps-link", "/tmp/gps"}, "le910sim: --at-link is missing" + example},
        {{"--at-device", "/dev/ttyGS0"}, "le910sim: --gps-link is missing" + example},
        {{"--gadget", "/tmp"}, "le910sim: --gadget requires --controller (see le910sim --help)\n"},
        {{"--at-device", "/dev/ttyGS0", "--at-link", "/tmp/at"},
         "le910sim: --at-link excludes --at-device (see le910sim --help)\n"},
        {{"--nonsense"},
         "le910sim: The following argument was not expected: --nonsense (see "
         "le910sim --help)\n"},
    };
    for (const auto& row : cases) {
        cProgram program = cProgram::bare(row.words);
        EXPECT_EQ(program.said("\n"), row.text);
        EXPECT_EQ(program.wait(), 2);
    }
    cProgram help = cProgram::bare({"--help"});
    EXPECT_NE(help.said("--track").find("le910sim"), std::string::npos);
    EXPECT_EQ(help.wait(), 0);
}

TEST(Le910simProgram, WrongScenario_IsNamedAndFails) {
    cTempFolder folder;
    writeFile(folder / "scenario.json", R"({"sim": {"pim": "1234"}})");
    cProgram program({"--scenario", folder / "scenario.json"});
    EXPECT_EQ(program.said("\n"), "le910sim: scenario.sim: unknown key 'pim'\n");
    EXPECT_EQ(program.wait(), 1);
    EXPECT_FALSE(isThere(program.at()));
}

TEST(Le910simProgram, ScenarioThatIsNoJson_IsNamedAndFails) {
    cTempFolder folder;
    writeFile(folder / "scenario.json", "{");
    cProgram program({"--scenario", folder / "scenario.json"});
    EXPECT_EQ(program.said("\n").rfind("le910sim: " + (folder / "scenario.json") + ": ", 0), 0U);
    EXPECT_EQ(program.wait(), 1);
}

TEST(Le910simProgram, FileInPlaceOfTheLink_IsNotTouched) {
    cTempFolder folder;
    writeFile(folder / "at", "mine");
    cProgram program({"--at-link", folder / "at"}, false);
    EXPECT_EQ(program.wait(), 1);
    EXPECT_EQ(readFile(folder / "at"), "mine");
}

}  // namespace le910sim

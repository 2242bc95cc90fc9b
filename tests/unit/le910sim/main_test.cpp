#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "le910sim/modem.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temp_folder.h"

namespace le910sim {

using nlohmann::json;

namespace {

constexpr int DEADLINE_MS = 120000;  // bounds a failure only
// How long a modem is away that a test has to see away: longer than a busy machine stands still.
constexpr const char* AWAY_MS = "4000";

void sleepMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

// Reads up to the wanted part, or until the deadline is over. What follows may have come already or
// not, so it is left for the next reader.
std::string readUntil(int fd, const std::string& wanted) {
    std::string text;
    for (int left = DEADLINE_MS; left > 0 && text.find(wanted) == std::string::npos;) {
        pollfd watched = {fd, POLLIN, 0};
        if (poll(&watched, 1, 10) <= 0) {
            left -= 10;
            continue;
        }
        char byte = 0;
        if (read(fd, &byte, 1) != 1) break;
        text += byte;
    }
    return text;
}

bool isLink(const std::string& path) {
    struct stat info = {};
    return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

bool isThere(const std::string& path) {
    struct stat info = {};
    return lstat(path.c_str(), &info) == 0;
}

void awaitLink(const std::string& path, bool present) {
    for (int left = DEADLINE_MS; left > 0 && isLink(path) != present; left -= 5)
        sleepMs(5);
    EXPECT_EQ(isLink(path), present) << path;
}

void awaitContent(const std::string& path, const std::string& content) {
    for (int left = DEADLINE_MS; left > 0 && readFile(path) != content; left -= 5)
        sleepMs(5);
    EXPECT_EQ(readFile(path), content) << path;
}

// Until the program has opened its end of a terminal and set it up.
void awaitRaw(int fd) {
    const auto isRaw = [&] {
        termios settings = {};
        return tcgetattr(fd, &settings) == 0 && (settings.c_lflag & ICANON) == 0;
    };
    for (int left = DEADLINE_MS; left > 0 && !isRaw(); left -= 5)
        sleepMs(5);
    EXPECT_TRUE(isRaw());
}

// The program, started with its ports in a folder of its own.
class cProgram {
  public:
    // Started with only these arguments.
    static cProgram bare(const std::vector<std::string>& words) { return cProgram(words, sBare()); }
    explicit cProgram(const std::vector<std::string>& extra = {}, bool ownAtLink = true) {
        std::vector<std::string> words = {LE910SIM,     "--gps-link", gps(),    "--control",
                                          socketPath(), "--log",      logPath()};
        if (ownAtLink) words.insert(words.end(), {"--at-link", at()});
        words.insert(words.end(), extra.begin(), extra.end());
        start(words);
    }
    ~cProgram() {
        if (m_pid > 0) stop(SIGKILL);
        close(m_output);
    }
    cProgram(const cProgram&) = delete;
    cProgram& operator=(const cProgram&) = delete;

    std::string at() const { return m_folder / "at"; }
    std::string gps() const { return m_folder / "gps"; }
    std::string socketPath() const { return m_folder / "control"; }
    std::string logPath() const { return m_folder / "log"; }
    std::string said(const std::string& wanted) const { return readUntil(m_output, wanted); }

    int open(const std::string& path) const {
        const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(fd, 0) << path;
        return fd;
    }
    int connect() const {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socketPath().c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        return fd;
    }
    json order(const std::string& line) const {
        const int fd = connect();
        EXPECT_GT(write(fd, (line + "\n").data(), line.size() + 1), 0);
        const std::string answer = readUntil(fd, "\n");
        close(fd);
        return json::parse(answer);
    }
    // Its exit status, or minus the signal that ended it.
    int stop(int signal) {
        kill(m_pid, signal);
        return wait();
    }
    int wait() {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

  private:
    struct sBare {};
    cProgram(const std::vector<std::string>& words, sBare /*bare*/) {
        std::vector<std::string> line = {LE910SIM};
        line.insert(line.end(), words.begin(), words.end());
        start(line);
    }

    void start(const std::vector<std::string>& words) {
        std::vector<char*> argv;
        for (const std::string& word : words)
            argv.push_back(const_cast<char*>(word.c_str()));
        argv.push_back(nullptr);
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        m_pid = fork();
        ASSERT_GE(m_pid, 0);
        if (m_pid == 0) {
            dup2(ends[1], 1);
            dup2(ends[1], 2);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(ends[1]);
        m_output = ends[0];
    }

    cTempFolder m_folder;
    pid_t m_pid = 0;
    int m_output = -1;
};

std::string ask(int fd, const std::string& command, const std::string& until) {
    EXPECT_GT(write(fd, command.data(), command.size()), 0);
    sleepMs(10);
    EXPECT_EQ(write(fd, "\r", 1), 1);
    return readUntil(fd, until);
}

}  // namespace

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

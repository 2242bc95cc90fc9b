#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>

#include "cli/pin/pin_format.h"
#include "cli/pin/pin_outcome.h"
#include "cli/pin/sim_files.h"
#include "tests/unit/cli/empty_host.h"

namespace {

// An input from which secrets are read.
class cPipe {
  public:
    explicit cPipe(const std::string& text) {
        EXPECT_EQ(0, pipe(m_ends));
        EXPECT_EQ(static_cast<ssize_t>(text.size()), write(m_ends[1], text.data(), text.size()));
        close(m_ends[1]);
    }
    ~cPipe() { close(m_ends[0]); }
    cPipe(const cPipe&) = delete;
    cPipe& operator=(const cPipe&) = delete;
    int reader() const { return m_ends[0]; }

  private:
    int m_ends[2]{};
};

std::string textOf(const cSecret& secret) {
    return {secret.data(), secret.size()};
}

bool isEchoing(int terminal) {
    termios settings{};
    tcgetattr(terminal, &settings);
    return (settings.c_lflag & ECHO) != 0;
}

void waitForEcho(int terminal, bool wanted) {
    for (int i = 0; i < 6000 && isEchoing(terminal) != wanted; ++i)
        usleep(10000);
    EXPECT_EQ(wanted, isEchoing(terminal));
}

// A child process that asks for a secret on a terminal; its exit status says what it read.
class cAsking {
  public:
    cAsking() {
        m_pid = forkpty(&m_master, nullptr, nullptr, nullptr);
        if (m_pid != 0) return;
        cSecret secret;
        const bool read = readSecret(STDIN_FILENO, "PIN: ", secret);
        _exit(read && textOf(secret) == "1234" ? 0 : 1);
    }
    ~cAsking() { close(m_master); }
    cAsking(const cAsking&) = delete;
    cAsking& operator=(const cAsking&) = delete;

    void type(const std::string& text) const {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), write(m_master, text.data(), text.size()));
    }
    int end() const {
        int status = 0;
        waitpid(m_pid, &status, 0);
        return status;
    }
    std::string shown() const {
        std::string text;
        char buffer[256];
        for (ssize_t count; (count = read(m_master, buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(count));
        return text;
    }
    int terminal() const { return m_master; }
    pid_t pid() const { return m_pid; }

  private:
    int m_master = -1;
    pid_t m_pid = 0;
};

}  // namespace

TEST(Secret, OneLineIsReadAndNothingAfterIt) {
    const cPipe input("1234\r\n5678\n");
    cSecret secret;
    ASSERT_TRUE(readSecret(input.reader(), "", secret));
    EXPECT_EQ("1234", textOf(secret));
    ASSERT_TRUE(readSecret(input.reader(), "", secret));
    EXPECT_EQ("5678", textOf(secret));
    EXPECT_FALSE(readSecret(input.reader(), "", secret));
}

TEST(Secret, Formats) {
    const struct {
        const char* text;
        bool pin;
        bool puk;
    } cases[] = {{"", false, false},       {"123", false, false},       {"1234", true, false},
                 {"12345678", true, true}, {"123456789", false, false}, {"12a4", false, false},
                 {" 1234", false, false},  {"1234567", true, false}};
    for (const auto& row : cases) {
        const cPipe input(std::string(row.text) + "\n");
        cSecret secret;
        readSecret(input.reader(), "", secret);
        EXPECT_EQ(row.pin, isPin(secret)) << row.text;
        EXPECT_EQ(row.puk, isPuk(secret)) << row.text;
    }
}

TEST(Secret, OverlongLine_IsNeverAPin) {
    const cPipe input(std::string(33, '1') + "\n");
    cSecret secret;
    readSecret(input.reader(), "", secret);
    EXPECT_TRUE(secret.isOverlong());
    EXPECT_FALSE(secret.hasDigits(4, 100));
}

TEST(Secret, Cleared_IsOverwrittenInMemory) {
    cSecret secret;
    for (const char c : std::string("1234"))
        secret.add(c);
    secret.clear();
    EXPECT_EQ(0u, secret.size());
    EXPECT_EQ(std::string(4, '\0'), std::string(secret.data(), 4));
}

TEST(Secret, OnATerminal_IsNotShownAndEchoComesBack) {
    const cAsking asking;
    waitForEcho(asking.terminal(), false);
    asking.type("1234\n");
    EXPECT_EQ(0, asking.end());
    EXPECT_TRUE(isEchoing(asking.terminal()));
    const std::string shown = asking.shown();
    EXPECT_NE(std::string::npos, shown.find("PIN: ")) << shown;
    EXPECT_EQ(std::string::npos, shown.find("1234")) << shown;
}

TEST(Secret, SignalWhileItIsTyped_EndsTheProgramWithEchoBack) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        const cAsking asking;
        waitForEcho(asking.terminal(), false);
        asking.type("12");
        kill(asking.pid(), number);
        const int status = asking.end();
        EXPECT_TRUE(WIFSIGNALED(status)) << number;
        EXPECT_EQ(number, WTERMSIG(status));
        EXPECT_TRUE(isEchoing(asking.terminal())) << number;
    }
}

TEST(SimFiles, WrittenWholeAndForItsOwnerOnly) {
    cEmptyHost host;
    const std::string path = host.places.at("/etc/vuk/cellular_cpin.2");
    EXPECT_EQ("/etc/vuk/cellular_cpin.2", pinFilePath(2));
    host.file("/etc/vuk/cellular_cpin.2", "something much longer", 0644);
    writeSimFile(host.places, pinFilePath(2), "1234", 4);
    EXPECT_EQ("1234", readFile(path));
    struct stat info {};
    stat(path.c_str(), &info);
    EXPECT_EQ(0600u, info.st_mode & 07777);
    EXPECT_TRUE(hasUsablePin(host.places, 2));
    EXPECT_FALSE(hasUsablePin(host.places, 1));
}

TEST(SimFiles, UsablePin_AsTheDaemonReadsIt) {
    cEmptyHost host;
    const struct {
        const char* content;
        bool usable;
    } cases[] = {
        {"", false}, {"1234\n", true}, {" 12 34 \r\n", true}, {"123\n", false}, {"x", false}};
    for (const auto& row : cases) {
        host.file("/etc/vuk/cellular_cpin.1", row.content);
        EXPECT_EQ(row.usable, hasUsablePin(host.places, 1)) << row.content;
    }
}

TEST(PinCommand, PukThatIsNotRequired_WritesNothing) {
    cEmptyHost host;
    host.daemon(1, 42);
    host.status(1, {{"SIM_STATUS", "Available"}});
    const sCommandRun run = runOn(host, {"pin", "puk"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos, run.err.find("does not ask for its PUK")) << run.err;
    EXPECT_FALSE(fileExists(host.places.at("/etc/vuk/cellular_puk.1")));
}

TEST(PinCommand, LastAttempts_AreKept) {
    cEmptyHost host;
    host.daemon(1, 42);
    host.status(1, {{"SIM_STATUS", "PUK Locked"}, {"SIM_REMAIN_PUK", "1"}});
    sCommandRun run = runOn(host, {"pin", "puk"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos, run.out.find("one PUK attempt left")) << run.out;
    EXPECT_NE(std::string::npos, run.err.find("--force")) << run.err;
    host.status(1, {{"SIM_STATUS", "PIN Locked"}, {"SIM_REMAIN_CPIN", "1"}});
    run = runOn(host, {"pin", "set"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos, run.err.find("--force")) << run.err;
}

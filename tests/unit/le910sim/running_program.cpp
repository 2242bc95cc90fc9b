#include "tests/unit/le910sim/running_program.h"

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

#include <chrono>
#include <cstring>
#include <thread>

namespace le910sim {

using nlohmann::json;

void sleepMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

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

std::string ask(int fd, const std::string& command, const std::string& until) {
    EXPECT_GT(write(fd, command.data(), command.size()), 0);
    sleepMs(10);
    EXPECT_EQ(write(fd, "\r", 1), 1);
    return readUntil(fd, until);
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

void awaitRaw(int fd) {
    const auto isRaw = [&] {
        termios settings = {};
        return tcgetattr(fd, &settings) == 0 && (settings.c_lflag & ICANON) == 0;
    };
    for (int left = DEADLINE_MS; left > 0 && !isRaw(); left -= 5)
        sleepMs(5);
    EXPECT_TRUE(isRaw());
}

cProgram::cProgram(const std::vector<std::string>& extra, bool ownAtLink) {
    std::vector<std::string> words = {LE910SIM,     "--gps-link", gps(),    "--control",
                                      socketPath(), "--log",      logPath()};
    if (ownAtLink) words.insert(words.end(), {"--at-link", at()});
    words.insert(words.end(), extra.begin(), extra.end());
    start(words);
}

cProgram::cProgram(const std::vector<std::string>& words, sBare /*bare*/) {
    std::vector<std::string> line = {LE910SIM};
    line.insert(line.end(), words.begin(), words.end());
    start(line);
}

cProgram::~cProgram() {
    if (m_pid > 0) stop(SIGKILL);
    close(m_output);
}

int cProgram::open(const std::string& path) const {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_GE(fd, 0) << path;
    return fd;
}

int cProgram::connect() const {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath().c_str(), sizeof(address.sun_path) - 1);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    return fd;
}

json cProgram::order(const std::string& line) const {
    const int fd = connect();
    EXPECT_GT(write(fd, (line + "\n").data(), line.size() + 1), 0);
    const std::string answer = readUntil(fd, "\n");
    close(fd);
    return json::parse(answer);
}

int cProgram::stop(int signal) {
    kill(m_pid, signal);
    return wait();
}

int cProgram::wait() {
    int status = 0;
    waitpid(m_pid, &status, 0);
    m_pid = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void cProgram::start(const std::vector<std::string>& words) {
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

}  // namespace le910sim

#include "web/history_program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iterator>

#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

constexpr const char* RANGES[] = {"1h", "6h", "24h", "7d", "30d", "365d"};
constexpr size_t OUTPUT_MAX = 512 * 1024;
constexpr size_t PIECE = 4096;
constexpr auto PATIENCE = std::chrono::seconds(10);

using tClock = std::chrono::steady_clock;

// False if it does not end in time, or prints too much.
bool readAll(int pipe, std::string& text) {
    const tClock::time_point end = tClock::now() + PATIENCE;
    std::array<char, PIECE> piece{};
    while (text.size() <= OUTPUT_MAX) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - tClock::now()).count();
        pollfd input = {pipe, POLLIN, 0};
        if (left <= 0 || poll(&input, 1, static_cast<int>(left)) <= 0) return false;
        const ssize_t count = read(pipe, piece.data(), piece.size());
        if (count <= 0) return count == 0;
        text.append(piece.data(), static_cast<size_t>(count));
    }
    return false;
}

// The program gets the pipe as standard output, and no signal blocked. 0, or an errno.
int start(const std::string& program, const std::vector<std::string>& arguments, int output,
          pid_t& child) {
    std::vector<char*> words = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    const int error =
        posix_spawn(&child, program.c_str(), &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

eProgramRun failed(const std::string& program, const std::string& why, std::string& text) {
    text = program + " " + why;
    return eProgramRun::FAILED;
}

}  // namespace

bool isHistoryRange(const std::string& text) {
    return std::find(std::begin(RANGES), std::end(RANGES), text) != std::end(RANGES);
}

bool isSlotNumber(const std::string& text) {
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
        if (text == itos(slot)) return true;
    return false;
}

eProgramRun runHistoryProgram(const std::string& program, const std::vector<std::string>& arguments,
                              std::string& text) {
    text.clear();
    if (access(program.c_str(), F_OK) != 0) return eProgramRun::MISSING;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return failed(program, std::string("gets no pipe: ") + strerror(errno), text);
    pid_t child = 0;
    const int error = start(program, arguments, ends[1], child);
    close(ends[1]);
    const bool isRead = error == 0 && readAll(ends[0], text);
    close(ends[0]);
    if (error != 0)
        return failed(program, std::string("cannot be started: ") + strerror(error), text);
    if (!isRead) kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!isRead) return failed(program, "did not end in time, or printed too much", text);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return failed(program, "failed; see journalctl -u cellslot-web", text);
    return eProgramRun::DONE;
}

#include "web/history_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>

#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

constexpr const char* RANGES[] = {"1h", "6h", "24h", "7d", "30d", "365d"};
constexpr size_t OUTPUT_MAX = 512 * 1024;

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

}  // namespace

bool isHistoryRange(const std::string& text) {
    return std::find(std::begin(RANGES), std::end(RANGES), text) != std::end(RANGES);
}

bool isSlotNumber(const std::string& text) {
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
        if (text == itos(slot)) return true;
    return false;
}

bool hasHistoryProgram(const std::string& program) {
    return access(program.c_str(), F_OK) == 0;
}

sWork startHistoryProgram(const std::string& program, const std::vector<std::string>& arguments) {
    sWork work;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        work.error = std::string("gets no pipe: ") + strerror(errno);
        return work;
    }
    const int error = start(program, arguments, ends[1], work.process);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        work.process = -1;
        work.error = std::string("cannot be started: ") + strerror(error);
        return work;
    }
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    work.output = ends[0];
    work.outputMax = OUTPUT_MAX;
    return work;
}

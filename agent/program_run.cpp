#include "agent/program_run.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>

#include "platform/files/file_descriptor.h"

namespace {

long long nowMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1'000'000;
}

// In a process group of its own, so that what it starts ends with it. -1: errno says why.
pid_t startProgram(const std::vector<std::string>& words, int input, int output) {
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t child = -1;
    const int error =
        posix_spawn(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    errno = error;
    return error == 0 ? child : -1;
}

// From which the program reads its input; -1 if that fails.
int openInput(const std::string& text) {
    int ends[2];
    if (text.size() > INPUT_MAX || pipe2(ends, O_CLOEXEC) != 0) return -1;
    cFileDescriptor input(ends[0]);
    const cFileDescriptor output(ends[1]);
    return writeAll(output.get(), text) ? input.release() : -1;
}

// Until the program and all that it started have closed their output. False: it took too long.
bool readOutput(int output, long long endMs, size_t outputMax, sProgramRun& run) {
    std::array<char, 16 * 1024> buffer;
    while (true) {
        pollfd event{output, POLLIN, 0};
        const long long leftMs = endMs - nowMs();
        if (leftMs <= 0) return false;
        if (poll(&event, 1, static_cast<int>(leftMs)) <= 0) continue;
        const ssize_t count = read(output, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return true;
        const size_t room = outputMax - run.output.size();
        run.isCut = run.isCut || static_cast<size_t>(count) > room;
        run.output.append(buffer.data(), std::min(static_cast<size_t>(count), room));
    }
}

}  // namespace

sProgramRun runProgram(const std::vector<std::string>& words, long long limitS, size_t outputMax,
                       const std::string& input) {
    sProgramRun run;
    int ends[2];
    cFileDescriptor given(openInput(input));
    if (!given.isOpen() || pipe2(ends, O_CLOEXEC) != 0) return run;
    const cFileDescriptor output(ends[0]);
    cFileDescriptor printed(ends[1]);
    const pid_t child = startProgram(words, given.get(), printed.get());
    printed.reset();
    given.reset();
    if (child < 0) return run;
    run.isLate = !readOutput(output.get(), nowMs() + limitS * 1000, outputMax, run);
    // One that has closed its output and stays would otherwise keep us waiting.
    if (run.isLate) kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && !run.isLate) run.exit = WEXITSTATUS(status);
    return run;
}

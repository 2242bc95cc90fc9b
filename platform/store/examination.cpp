#include "platform/store/examination.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>

namespace {

constexpr rlim_t EXAMINATION_CPU_S = 2;  // a damaged tree may contain a circle

// Signals that end the examining child when LMDB meets damaged data.
constexpr int DAMAGE_SIGNALS[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGXCPU};
constexpr int EXIT_SOUND = 0;
constexpr int EXIT_DAMAGED = 1;

void limitChild() {
    for (const int signal : DAMAGE_SIGNALS) {
        std::signal(signal, SIG_DFL);
    }
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const rlimit cpuTime{EXAMINATION_CPU_S, EXAMINATION_CPU_S + 1};
    setrlimit(RLIMIT_CPU, &cpuTime);
}

}  // namespace

bool showsDamage(int result) {
    return result == MDB_INVALID || result == MDB_VERSION_MISMATCH || result == MDB_CORRUPTED ||
           result == MDB_PAGE_NOTFOUND || result == MDB_PANIC || result == MDB_BAD_TXN ||
           result == MDB_CURSOR_FULL || result == MDB_MAP_RESIZED || result == MDB_INCOMPATIBLE;
}

void failOnDamage(MDB_env* environment) {
    mdb_env_set_assert(environment, [](MDB_env*, const char*) { _exit(EXIT_DAMAGED); });
}

bool passesExamination(const std::function<bool()>& isSound) {
    const pid_t child = fork();
    if (child == 0) {
        limitChild();
        _exit(isSound() ? EXIT_SOUND : EXIT_DAMAGED);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return true;
    }
    if (child < 0) return true;
    if (WIFEXITED(status)) return WEXITSTATUS(status) != EXIT_DAMAGED;
    return std::find(std::begin(DAMAGE_SIGNALS), std::end(DAMAGE_SIGNALS), WTERMSIG(status)) ==
           std::end(DAMAGE_SIGNALS);
}

// Preloaded into the daemon: records when it waits for a host command, so that these waits can be
// subtracted from its own time. One line each: begin and end on the steady clock, in seconds.

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

double nowS() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void note(double begin, double end) {
    FILE* log = fopen(getenv("BENCH_HOST_COMMANDS"), "ae");
    if (log == nullptr) return;
    fprintf(log, "%.6f %.6f\n", begin, end);
    fclose(log);
}

// Programs that the daemon starts must not be timed.
__attribute__((constructor)) void keepFromChildren() {
    unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" int system(const char* command) {
    using tSystem = int (*)(const char*);
    static const auto realSystem = reinterpret_cast<tSystem>(dlsym(RTLD_NEXT, "system"));
    const double begin = nowS();
    const int status = realSystem(command);
    note(begin, nowS());
    return status;
}

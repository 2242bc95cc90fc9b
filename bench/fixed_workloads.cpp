// The fixed workloads whose instructions bench/instruction_guard.py counts: this program under
// callgrind with --collect-atstart=no makes one dump for each, named after it.

#include <gnu/libc-version.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <string>

#include "bench/meter.h"
#include "bench/workloads.h"

namespace {

struct sFixedWorkload {
    const char* name;
    sWorkload (*make)();
    int runs;
};

constexpr size_t OPERATORS = 3000;  // 100 kB
constexpr size_t PARTS = 30;

// clang-format off
const sFixedWorkload WORKLOADS[] = {
    {"bring-up",      bringUp,                                                3},
    {"poll",          poll,                                                   5},
    {"status files",  statusFiles,                                            10},
    {"operator list", [] { return readOperatorList(OPERATORS); },             1},
    {"receive parts", [] { return receiveParts(PARTS); },                     1},
    {"recorded poll", recordedPoll,                                           5},
};
// clang-format on

// Prints, as JSON, what the counts depend on.
void printToolchain() {
    printf("{\"compiler\": \"%s\", \"flags\": \"%s\", \"libc\": \"%s\", \"machine\": \"%s\"}\n",
           __VERSION__, BENCH_FLAGS, gnu_get_libc_version(), BENCH_MACHINE);
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc > 1 && std::string(argv[1]) == "--toolchain") {
        printToolchain();
        return 0;
    }
    connectGateway();
    for (const sFixedWorkload& row : WORKLOADS) {
        const sWorkload workload = row.make();
        // The first run is not counted: it makes files and fills tables for the later ones.
        workload.prepare();
        workload.run();
        CALLGRIND_ZERO_STATS;
        for (int i = 0; i < row.runs; ++i) {
            workload.prepare();
            measure(workload.run);
        }
        CALLGRIND_DUMP_STATS_AT(row.name);
        printf("%s: %d runs\n", row.name, row.runs);
    }
}

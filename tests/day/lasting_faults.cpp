#include "tests/day/lasting_faults.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>

#include "tests/day/lasting_fault.h"
#include "tests/matrix/pool.h"

namespace {

constexpr unsigned LINES_MAX = 100;
constexpr size_t SAMPLE = 12;
constexpr size_t JOBS = 2;
constexpr unsigned LIMIT_S = 900;  // on the host's clock, for one of them

std::vector<sSent> healthyCommands() {
    std::vector<sSent> commands;
    for (const eDay day : {eDAY_USUAL, eDAY_GPS_OFF}) {
        sCell cell;
        cell.day = day;
        runCells({cell}, 1, LIMIT_S, [&](const sCell&, const sOutcome& outcome) {
            for (const std::string& failure : outcome.failures)
                printf("a day without a fault fails: %s\n", failure.c_str());
            commands.insert(commands.end(), outcome.sent.begin(), outcome.sent.end());
        });
    }
    return commands;
}

// All faults that do not concern a command, and a sample of those that do.
std::vector<sLastingFault> chosenFaults(const char* name) {
    std::vector<sLastingFault> faults = otherFaults();
    std::vector<sLastingFault> commands = commandFaults(healthyCommands());
    const char* all = getenv("CELLSLOT_TEST_ALL");
    const bool whole = name != nullptr || (all != nullptr && strcmp(all, "1") == 0);
    if (!whole) {
        const char* given = getenv("CELLSLOT_SEED");
        const uint64_t seed =
            given != nullptr ? strtoull(given, nullptr, 10) : std::random_device()();
        printf("seed %llu\n", static_cast<unsigned long long>(seed));
        std::mt19937_64 random(seed);
        std::shuffle(commands.begin(), commands.end(), random);
        commands.resize(std::min(commands.size(), SAMPLE));
    }
    faults.insert(faults.end(), commands.begin(), commands.end());
    if (name == nullptr) return faults;
    const auto exact = std::find_if(faults.begin(), faults.end(),
                                    [&](const sLastingFault& fault) { return fault.name == name; });
    if (exact != faults.end()) return {*exact};
    faults.erase(std::remove_if(faults.begin(), faults.end(),
                                [&](const sLastingFault& fault) {
                                    return fault.name.find(name) == std::string::npos;
                                }),
                 faults.end());
    return faults;
}

pid_t startFault(const sLastingFault& fault, sLastingOutcome* outcome, bool showLog) {
    fflush(stdout);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    alarm(LIMIT_S);
    try {
        *outcome = runLastingFault(fault, showLog);
    } catch (const std::exception& problem) {
        fprintf(stderr, "%s: %s\n", fault.name.c_str(), problem.what());
    }
    fflush(stdout);
    _exit(0);
}

void printRuns(const sLastingOutcome& outcome) {
    printf(", a run each %u s:", outcome.seconds / outcome.runs);
    for (unsigned i = 0; i < outcome.runs; ++i)
        printf(" %u", outcome.runLines[i]);
    printf(" lines");
}

// True if the fault stays below its limit of lines.
bool report(const sLastingFault& fault, const sLastingOutcome& outcome) {
    const unsigned ofDay = linesOfDay(outcome);
    const bool restarts = isStartedAgainAndAgain(outcome);
    const bool good = outcome.finished && ofDay < LINES_MAX;
    printf("%s %-55s %7u a day", good ? "ok    " : "FAILED", fault.name.c_str(), ofDay);
    if (restarts)
        printRuns(outcome);
    else
        printf(" (%u, then %u in %u minutes)", outcome.firstLines, outcome.laterLines,
               LATER_S / 60);
    printf("%s\n", outcome.finished ? "" : ", did not finish");
    fflush(stdout);
    return good;
}

}  // namespace

int runLastingFaults(const char* name) {
    const std::vector<sLastingFault> faults = chosenFaults(name);
    if (faults.empty()) {
        fprintf(stderr, "no fault has such a name\n");
        return 2;
    }
    const size_t bytes = faults.size() * sizeof(sLastingOutcome);
    auto* const outcomes = static_cast<sLastingOutcome*>(
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (outcomes == MAP_FAILED) return 2;
    std::map<pid_t, size_t> running;
    size_t next = 0;
    size_t failed = 0;
    while (next < faults.size() || !running.empty()) {
        for (; next < faults.size() && running.size() < JOBS; ++next)
            running[startFault(faults[next], outcomes + next, faults.size() == 1)] = next;
        const pid_t pid = wait(nullptr);
        const auto job = running.find(pid);
        if (job == running.end()) continue;
        if (!report(faults[job->second], outcomes[job->second])) ++failed;
        running.erase(job);
    }
    printf("%zu of %zu lasting faults stay below %u lines\n", faults.size() - failed, faults.size(),
           LINES_MAX);
    return failed == 0 ? 0 : 1;
}

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

#include "platform/include/text_helpers.h"
#include "tests/matrix/matrix.h"
#include "tests/matrix/pool.h"

// The fault matrix: runs the daemon through days in which one or many commands fail.

namespace {

constexpr const char* USAGE =
    "Usage: fault_matrix [OPTION]...   (in scripts/private_namespace.sh)\n"
    "Runs the daemon against a modem in which each command of a healthy day meets each fault.\n"
    "  --suite NAME   faults (default), pin, unsolicited, or all\n"
    "  --sample N     so many cells, drawn by the seed; all without it\n"
    "  --sample-all N so many with CELLSLOT_TEST_ALL=1\n"
    "  --only TEXT    cells whose name, COMMAND/FAULT/once or /45s, holds TEXT\n"
    "  --seed N       what is drawn, and what the faults are; printed, by chance without it\n"
    "  --jobs N       processes at a time (default: 2)\n"
    "  --limit S      seconds on the host's clock for one cell (default: 300)\n"
    "  --replay       records each day, replays it, and compares commands and published values\n"
    "  --list         prints the cells instead of running them\n"
    "  --verbose      prints each cell as it passes\n";

constexpr size_t TRANSCRIPTS_MAX = 10;

struct sOptions {
    std::string suite = "faults";
    size_t sample = 0;
    size_t sampleOfAll = 0;  // instead, if all tests are to run
    std::string only;
    uint64_t seed = std::random_device()();
    int jobs = 2;
    unsigned limitS = 300;
    bool replay = false;
    bool list = false;
    bool verbose = false;
};

[[noreturn]] void refuse(const std::string& why) {
    fprintf(stderr, "fault_matrix: %s\n%s", why.c_str(), USAGE);
    exit(2);
}

uint64_t number(const std::string& option, const char* text) {
    if (text == nullptr || !isStringNumeric(text)) refuse(option + " needs a number");
    return strtoull(text, nullptr, 10);
}

// True if the option consumed the value after it.
bool takeOption(sOptions& options, const std::string& name, const char* value) {
    if (name == "--replay") return !(options.replay = true);
    if (name == "--list") return !(options.list = true);
    if (name == "--verbose") return !(options.verbose = true);
    if (name == "--help") {
        fputs(USAGE, stdout);
        exit(0);
    }
    if (name == "--suite" && value != nullptr)
        options.suite = value;
    else if (name == "--only" && value != nullptr)
        options.only = value;
    else if (name == "--sample")
        options.sample = number(name, value);
    else if (name == "--seed")
        options.seed = number(name, value);
    else if (name == "--sample-all")
        options.sampleOfAll = number(name, value);
    else if (name == "--jobs")
        options.jobs = static_cast<int>(number(name, value));
    else if (name == "--limit")
        options.limitS = static_cast<unsigned>(number(name, value));
    else
        refuse("unknown option or no value: " + name);
    return true;
}

sOptions readOptions(int argc, char** argv) {
    sOptions options;
    for (int i = 1; i < argc; ++i)
        if (takeOption(options, argv[i], i + 1 < argc ? argv[i + 1] : nullptr)) ++i;
    if (options.suite != "faults" && options.suite != "pin" && options.suite != "unsolicited" &&
        options.suite != "all")
        refuse("unknown suite " + options.suite);
    const char* const all = getenv("CELLSLOT_TEST_ALL");
    if (options.sampleOfAll != 0 && all != nullptr && std::string(all) == "1")
        options.sample = options.sampleOfAll;
    if (options.jobs < 1) refuse("--jobs needs at least 1");
    return options;
}

// A day without a fault: gives the list of commands and the normal values.
sOutcome healthyDay(eDay day, unsigned limitS) {
    sCell cell;
    cell.name = "a healthy day";
    cell.day = day;
    sOutcome healthy;
    runCells({cell}, 1, limitS, [&](const sCell&, const sOutcome& outcome) { healthy = outcome; });
    for (const std::string& failure : healthy.failures) {
        printf("a day without a fault fails: %s\n%s", failure.c_str(), healthy.transcript.c_str());
        exit(1);
    }
    printf("day %d without a fault: %zu commands, CONNECTED after %llu ms\n", day,
           healthy.sent.size(), static_cast<unsigned long long>(healthy.recoveryMs));
    return healthy;
}

std::vector<sCell> allCells(const sOptions& options) {
    std::vector<sCell> cells;
    const auto add = [&](const std::vector<sCell>& more) {
        cells.insert(cells.end(), more.begin(), more.end());
    };
    const auto isWanted = [&](const char* suite) {
        return options.suite == suite || options.suite == "all";
    };
    std::map<eDay, sOutcome> healthy;
    const auto dayOf = [&](eDay day) -> const sOutcome& {
        if (healthy.count(day) == 0) healthy[day] = healthyDay(day, options.limitS);
        return healthy[day];
    };
    if (isWanted("faults")) {
        add(usualCells(dayOf(eDAY_USUAL), options.seed));
        add(gpsCells(dayOf(eDAY_GPS_OFF), options.seed));
    }
    if (isWanted("unsolicited"))
        for (const eDay day : {eDAY_USUAL, eDAY_GPS_OFF, eDAY_PIN})
            add(interjectionCells(day, dayOf(day), options.seed));
    if (!isWanted("pin")) return cells;
    for (const eDay day :
         {eDAY_PIN, eDAY_WRONG_PIN, eDAY_WRONG_OLD_PIN, eDAY_WRONG_PIN_OFF, eDAY_WRONG_PUK})
        add(pinCells(day, dayOf(day), options.seed));
    return cells;
}

std::vector<sCell> chosenCells(const sOptions& options) {
    std::vector<sCell> cells = allCells(options);
    cells.erase(std::remove_if(cells.begin(), cells.end(),
                               [&](const sCell& cell) {
                                   return cell.name.find(options.only) == std::string::npos;
                               }),
                cells.end());
    for (sCell& cell : cells)
        cell.replayed = options.replay;
    if (options.sample == 0 || options.sample >= cells.size()) return cells;
    std::mt19937_64 random(options.seed);
    std::shuffle(cells.begin(), cells.end(), random);
    cells.resize(options.sample);
    return cells;
}

struct sReport {
    size_t passed = 0;
    size_t failed = 0;
    size_t restarted = 0;
    uint64_t recoveryMs = 0;
    std::string slowest;
    uint64_t delayMs = 0;
    std::string delayed;
    size_t interjections = 0;
    uint64_t excessMs = 0;
};

void take(sReport& report, const sCell& cell, const sOutcome& outcome, const sOptions& options) {
    if (outcome.statuses.size() > 1) ++report.restarted;
    if (outcome.recoveryMs > report.recoveryMs) {
        report.recoveryMs = outcome.recoveryMs;
        report.slowest = cell.name;
    }
    if (outcome.delayMs > report.delayMs) {
        report.delayMs = outcome.delayMs;
        report.delayed = cell.name + ": " + outcome.delayedAfter;
    }
    report.interjections += outcome.interjections;
    report.excessMs = std::max(report.excessMs, outcome.excessMs);
    if (outcome.failures.empty()) {
        ++report.passed;
        if (options.verbose)
            printf("ok     %s  %llu ms, %zu starts\n", cell.name.c_str(),
                   static_cast<unsigned long long>(outcome.recoveryMs), outcome.statuses.size());
        return;
    }
    printf("FAILED %s  seed %llu\n", cell.name.c_str(),
           static_cast<unsigned long long>(options.seed));
    for (const std::string& failure : outcome.failures)
        printf("  %s\n", failure.c_str());
    if (report.failed++ < TRANSCRIPTS_MAX) fputs(outcome.transcript.c_str(), stdout);
    fflush(stdout);
}

void printReport(const sReport& report, size_t all) {
    printf("longest from the end of a fault to CONNECTED: %llu ms (%s)\n",
           static_cast<unsigned long long>(report.recoveryMs), report.slowest.c_str());
    printf("longest pause between two commands beyond the wait for the answer: %llu ms (%s)\n",
           static_cast<unsigned long long>(report.delayMs), report.delayed.c_str());
    if (report.interjections != 0)
        printf(
            "%zu unsolicited lines; longest beyond the same pause on a day without them: %llu ms\n",
            report.interjections, static_cast<unsigned long long>(report.excessMs));
    printf("%zu cells with a restart of the daemon\n", report.restarted);
    printf("%zu of %zu cells passed\n", report.passed, all);
}

}  // namespace

int main(int argc, char** argv) {
    const sOptions options = readOptions(argc, argv);
    const char* inside = getenv("CELLSLOT_PRIVATE_NAMESPACE");
    if (inside == nullptr || std::string(inside) != "1")
        refuse("it changes the host's files: run it with scripts/private_namespace.sh");
    setvbuf(stdout, nullptr, _IOLBF, 0);
    printf("seed %llu\n", static_cast<unsigned long long>(options.seed));
    const std::vector<sCell> cells = chosenCells(options);
    if (cells.empty()) refuse("no cell has such a name");
    if (options.list) {
        for (const sCell& cell : cells)
            printf("%s\n", cell.name.c_str());
        return 0;
    }
    sReport report;
    runCells(cells, options.jobs, options.limitS, [&](const sCell& cell, const sOutcome& outcome) {
        take(report, cell, outcome, options);
    });
    printReport(report, cells.size());
    return report.failed == 0 ? 0 : 1;
}

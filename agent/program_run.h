#ifndef AGENT_PROGRAM_RUN_H
#define AGENT_PROGRAM_RUN_H

#include <string>
#include <vector>

// Runs a program with its words as they are, never through a shell: with bounded output and time,
// and with what its input is to be, which every user of the host could read among its words.

struct sProgramRun {
    int exit = -1;       // -1: it could not be started, or did not end by itself
    std::string output;  // standard output and standard error
    bool isCut = false;  // it printed more
    bool isLate = false;
};

// What a pipe takes before anybody reads it.
constexpr size_t INPUT_MAX = 32 * 1024;

// A longer input is not given: the program is not run.
sProgramRun runProgram(const std::vector<std::string>& words, long long limitS, size_t outputMax,
                       const std::string& input = "");

#endif

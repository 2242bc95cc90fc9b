#ifndef AGENT_PROGRAM_RUN_H
#define AGENT_PROGRAM_RUN_H

#include <string>
#include <vector>

// Runs a program with its words as they are, never through a shell: without input, with bounded
// output and time.

struct sProgramRun {
    int exit = -1;       // -1: it could not be started, or did not end by itself
    std::string output;  // standard output and standard error
    bool isCut = false;  // it printed more
    bool isLate = false;
};

sProgramRun runProgram(const std::vector<std::string>& words, long long limitS, size_t outputMax);

#endif

#ifndef TESTS_REPLAY_RECORDED_RUN_H
#define TESTS_REPLAY_RECORDED_RUN_H

#include <cstdint>
#include <string>
#include <vector>

#include "le910sim/recording.h"

// Recordings of runs of the daemon in this process.

// Every run from now on is recorded, whatever its size.
void requestRecording(bool keepIdentities);

// The recording of the run that has ended, or of the one that goes on, so far. Each can be taken
// once.
std::string takeRecording();

struct sRecordedRun {
    uint64_t startMs = 0;  // of the test's clock
    std::string text;
};

// The recordings of the runs of a day as one, with the times of the test's clock.
le910sim::sRecording joinedRuns(const std::vector<sRecordedRun>& runs, const std::string& name);

// As if the daemon had recorded nothing yet; the request stays.
void resetRecording();

#endif

#ifndef TESTS_REPLAY_RECORDED_RUN_H
#define TESTS_REPLAY_RECORDED_RUN_H

#include <string>

// Recordings of runs of the daemon in this process.

// Every run from now on is recorded, whatever its size.
void requestRecording(bool keepIdentities);

// The recording of the run that has ended, or of the one that goes on, so far. Each can be taken
// once.
std::string takeRecording();

// As if the daemon had recorded nothing yet; the request stays.
void resetRecording();

#endif

#ifndef TESTS_REPLAY_PUBLISHED_MARKS_H
#define TESTS_REPLAY_PUBLISHED_MARKS_H

#include <string>
#include <vector>

#include "le910sim/recording.h"

// How a published state (published_state.h) differs from what the recorded daemon had published
// last, before it was asked to end: a text for each key.
std::vector<std::string> differencesFromRecorded(const le910sim::sRecording& recording,
                                                 const std::string& published);

#endif

#ifndef TESTS_REPLAY_VARIATIONS_H
#define TESTS_REPLAY_VARIATIONS_H

#include <random>

#include "le910sim/recording.h"

// The same recording from a slower line and a more talkative modem. The daemon must publish the
// same at the end.

// Answers come in random pieces, each in a read of its own. What the daemon need not wait for stays
// whole: an error number, what follows OK, and an answer that came late.
le910sim::sRecording cutIntoPieces(const le910sim::sRecording& recording, std::mt19937_64& random);

// Unsolicited lines before, inside and after answers.
le910sim::sRecording withUnsolicitedLines(const le910sim::sRecording& recording,
                                          std::mt19937_64& random);

#endif

#ifndef TESTS_REPLAY_REPLAYED_DAY_H
#define TESTS_REPLAY_REPLAYED_DAY_H

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "le910sim/recording.h"

struct sReplayedOutcome {
    std::vector<int> statuses;  // exit statuses of the daemon, the last one on request
    std::string published;      // at the end of the recording, before the daemon was asked to end
    std::vector<std::string> commands;
    size_t differences = 0;  // commands that were not the recorded ones
    std::string firstDifference;
    std::vector<std::string> unknown;  // commands without an answer in the recording
    bool isOver = false;               // everything was replayed
    uint64_t lastedMs = 0;             // on the fake clock
};

// Runs the whole daemon on a recording, on a fake clock, in the folders of this process, which must
// be private and empty. The daemon is given the recorded configuration and signals, and what is
// derived from the commands of the recording: the stand-ins of PIN, PUK and password. A mark "file"
// with "path" and "text", which only made recordings have, writes a file. The host's commands are
// those of host_tools. wallStart: the time of day at the beginning; the host's without it.
sReplayedOutcome runReplayedDay(const le910sim::sRecording& recording,
                                const timespec* wallStart = nullptr);

#endif

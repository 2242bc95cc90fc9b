#ifndef PUBLISHED_RECORDING_REQUEST_H
#define PUBLISHED_RECORDING_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <string>

// A recording is requested by a file (recordRequestPath): as long as it is there, the daemon
// records. It must belong to the daemon's user, with mode 0600. The daemon removes it when the time
// is over or the recording cannot be written.

constexpr size_t RECORDING_BYTES = 1024 * 1024;  // of each of the two files, unless told otherwise
// What is recorded always has the last ten minutes, also just after a file was dropped.
constexpr size_t RECORDING_ALWAYS_BYTES = 5 * RECORDING_BYTES / 2;
constexpr size_t RECORDING_BYTES_MIN = 64 * 1024;
constexpr size_t RECORDING_BYTES_MAX = 64 * 1024 * 1024;
constexpr unsigned RECORDING_MINUTES = 60;
constexpr unsigned RECORDING_MINUTES_MAX = 10080;  // a week

struct sRecordingRequest {
    uint64_t untilS = 0;  // of the monotonic clock; 0: until it is stopped
    size_t fileBytes = RECORDING_BYTES;
    bool keepIdentities = false;
};

// The lines of the file. What is missing or invalid in them has the value above; a size is bounded.
std::string recordingRequestText(const sRecordingRequest& request);
sRecordingRequest parseRecordingRequest(const std::string& text);
constexpr size_t RECORDING_REQUEST_MAX = 512;

// Seconds of the clock that untilS is of.
uint64_t recordingClockS();

#endif

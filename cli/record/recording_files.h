#ifndef CLI_RECORD_RECORDING_FILES_H
#define CLI_RECORD_RECORDING_FILES_H

#include <ctime>
#include <string>
#include <vector>

#include "cli/base/places.h"

// What there is of a slot's recording.
struct sRecordingState {
    bool exists = false;
    bool isEnded = false;  // its last line says so
    std::string began;     // by the host's clock, UTC
    std::string reason;    // why it ended
    bool keepsIdentities = false;
    size_t bytes = 0;  // of both files
};

// A recording that was kept when the daemon ended with status 3.
struct sKeptRecording {
    std::string path;
    size_t bytes;
    time_t time;
};

// The three throw cFailure if this user may not read the files.
sRecordingState recordingState(const sPlaces& places, int slot);
std::vector<sKeptRecording> keptRecordings(const sPlaces& places, int slot);
// Both files, one after the other, up to the last line that is whole. "" if there is none.
std::string joinedRecording(const sPlaces& places, int slot);

#endif

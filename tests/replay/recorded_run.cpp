#include "tests/replay/recorded_run.h"

#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "device/recorder.h"
#include "published/paths.h"
#include "published/recording_request.h"
#include "published/slot.h"
#include "statemachine/recording_control.h"
#include "tests/support/temp_folder.h"

namespace {

const char* const SLOT = "1";

}  // namespace

void requestRecording(bool keepIdentities) {
    std::filesystem::create_directories(RECORD_REQUEST_FOLDER);
    sRecordingRequest request;
    request.fileBytes = RECORDING_BYTES_MAX;
    request.keepIdentities = keepIdentities;
    const std::string path = recordRequestPath(std::string(SLOT));
    writeFile(path, recordingRequestText(request));
    chmod(path.c_str(), S_IRUSR | S_IWUSR);
}

std::string takeRecording() {
    const std::string slot = SLOT;
    for (const std::string& path : {recordingPath(slot), keptRecordingPath(slot, 1)}) {
        const std::string text = readFile(path);
        if (text.empty()) continue;
        std::filesystem::remove(path);
        return text;
    }
    return "";
}

le910sim::sRecording joinedRuns(const std::vector<sRecordedRun>& runs, const std::string& name) {
    le910sim::sRecording joined;
    joined.name = name;
    for (const sRecordedRun& run : runs) {
        std::istringstream input(run.text);
        const le910sim::sRecording recording = le910sim::readRecording(input, name);
        if (joined.header.is_null()) joined.header = recording.header;
        for (le910sim::sRecordedEvent event : recording.events) {
            event.ms += run.startMs;
            joined.events.push_back(event);
        }
    }
    return joined;
}

void resetRecording() {
    resetRecordingControl();
    resetRecorder();
}

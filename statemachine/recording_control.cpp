#include "statemachine/recording_control.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "device/recorder.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/program_version.h"
#include "include/repeated_starts.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/paths.h"
#include "published/recording_request.h"
#include "recording/ring_file.h"
#include "statemachine/recording_marks.h"

namespace {

constexpr mode_t OTHERS = S_IRWXG | S_IRWXO;
constexpr size_t PIN_FILE_MAX = 512;
constexpr uint64_t RETRY_AFTER_S = 60;

// Which request file was seen last. A new one has another inode or time.
struct sSeenFile {
    bool isThere = false;
    ino_t inode = 0;
    time_t changedS = 0;
    long changedNs = 0;

    bool operator==(const sSeenFile& other) const {
        return isThere == other.isThere && inode == other.inode && changedS == other.changedS &&
               changedNs == other.changedNs;
    }
};

struct sRecordingControlState {
    bool hasLooked = false;
    std::string requestPath;
    sSeenFile seen;
    sRecordingRequest request;  // of the recording that runs
    uint64_t retryAtS = 0;      // what is recorded always has failed; 0: it has not
};

sRecordingControlState g_recordingControlState;

const std::string& requestPath() {
    std::string& path = g_recordingControlState.requestPath;
    if (path.empty()) path = recordRequestPath(g_S_options.s_port);
    return path;
}

sSeenFile lookAtRequest(struct stat& info) {
    if (lstat(requestPath().c_str(), &info) != 0) return {};
    return {true, info.st_ino, info.st_ctim.tv_sec, info.st_ctim.tv_nsec};
}

bool readRequest(const struct stat& info, sRecordingRequest& request) {
    std::string text;
    if (!S_ISREG(info.st_mode) || info.st_uid != geteuid() || (info.st_mode & OTHERS) != 0) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Recording request %s is not a file of mode 0600 that belongs to this user, ignoring "
              "it",
              requestPath().c_str());
        return false;
    }
    if (!readFile2StringNoFollow(requestPath(), text, RECORDING_REQUEST_MAX)) return false;
    request = parseRecordingRequest(text);
    return true;
}

// Only this user may write in the folder, so nobody can put a link in a file's place.
bool prepareFolder() {
    struct stat info {};
    if (mkdir(RECORDING_FOLDER, 0700) != 0 && errno != EEXIST) return false;
    if (lstat(RECORDING_FOLDER, &info) != 0) return false;
    if (S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
        (info.st_mode & (S_IWGRP | S_IWOTH)) == 0)
        return true;
    errno = EPERM;
    return false;
}

bool isOver(const sRecordingRequest& request) {
    return request.untilS != 0 && recordingClockS() >= request.untilS;
}

void removeRequest() {
    if (g_recordingControlState.seen.isThere) unlink(requestPath().c_str());
}

// What the daemon may send, and what may come back in any form. The rest it learns when it is sent.
void hideSecrets(const sMachine& machine) {
    const std::string& slot = g_S_options.s_port;
    hideFromRecording(machine.config.password);
    for (const std::string& path :
         {pinFilePath(slot), pinRequestPath(slot), pinChangePath(slot), pukFilePath(slot)}) {
        std::string text;
        if (!readFile2StringNoFollow(path, text, PIN_FILE_MAX)) continue;
        std::replace(text.begin(), text.end(), '\n', ' ');
        for (const std::string& word : tokenstr(text, ' ', eEmptyTokens::DROP))
            hideFromRecording(word);
    }
}

void begin(const sMachine& machine, const sRecordingRequest& request) {
    uint64_t& retryAtS = g_recordingControlState.retryAtS;
    const bool isRetry = retryAtS != 0;
    const std::string& slot = g_S_options.s_port;
    const std::string path = recordingPath(slot);
    const sRecordSettings settings = {path,
                                      olderRecordingPath(slot),
                                      request.fileBytes,
                                      request.keepIdentities,
                                      std::string(DAEMON_NAME) + " " + PROGRAM_VERSION,
                                      textToInt(slot),
                                      isRetry,
                                      markAllPublished};
    if (!prepareFolder() || !startRecording(settings)) {
        const int error = errno;
        debug(isRetry ? eLOG_STATE : eLOG_NOTICE, g_i_debugMode,
              "Cannot record into %s, errno %d (%s)", path.c_str(), error, strerror(error));
        removeRequest();
        retryAtS = recordingClockS() + RETRY_AFTER_S;
        return;
    }
    debug(isRetry ? eLOG_STATE : eLOG_NOTICE, g_i_debugMode, "Recording into %s", path.c_str());
    g_recordingControlState.request = request;
    resetRecordingMarks();
    hideSecrets(machine);
    markStart();
    markConfig(machine.configFile, "begin");
    markStates(outerStateName(machine.outerState), modemStateName(machine.modemState));
    markShellCommands(true);
}

void stop(const char* reason) {
    if (!isRecording()) return;
    stopRecording(reason);
    markShellCommands(false);
    debug(eLOG_NOTICE, g_i_debugMode, "Recording ended: %s", reason);
}

sRecordingRequest alwaysRequest() {
    sRecordingRequest request;
    request.fileBytes = RECORDING_ALWAYS_BYTES;
    return request;
}

// A request, or the end of one.
void actOnRequest(const sMachine& machine, const struct stat& info) {
    stop("asked");
    if (g_recordingControlState.seen.isThere) g_recordingControlState.retryAtS = 0;
    sRecordingRequest request;
    const bool isRequested =
        g_recordingControlState.seen.isThere && readRequest(info, request) && !isOver(request);
    // Its time may have come while no daemon ran.
    if (!isRequested && isOver(request)) removeRequest();
    if (isRequested || g_S_options.b_record_always)
        begin(machine, isRequested ? request : alwaysRequest());
}

// A full disk may have room again. Only the first failure of a row is a notice.
void retryAlways(const sMachine& machine) {
    uint64_t& retryAtS = g_recordingControlState.retryAtS;
    if (retryAtS == 0 || recordingClockS() < retryAtS) return;
    if (isRecording()) {
        // It has lasted.
        retryAtS = 0;
        debug(eLOG_NOTICE, g_i_debugMode, "Recording again");
    } else if (g_S_options.b_record_always) {
        retryAtS = recordingClockS() + RETRY_AFTER_S;
        begin(machine, alwaysRequest());
    }
}

bool copyInto(const std::string& path, int target) {
    return appendFile(path, target) || errno == ENOENT;
}

bool joinFiles(const std::string& slot, const std::string& target) {
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    const int file = open(target.c_str(), FLAGS, 0600);
    if (file == -1) return false;
    const bool isCopied =
        copyInto(olderRecordingPath(slot), file) && copyInto(recordingPath(slot), file);
    const int error = errno;
    close(file);
    if (!isCopied) unlink(target.c_str());
    errno = error;
    return isCopied;
}

// The first run of a series that ends in this way, and the last, are worth more than those between.
void keepRecording() {
    const std::string& slot = g_S_options.s_port;
    if (startsInARow() <= 1)
        for (int number = KEPT_RECORDINGS; number > 1; --number)
            rename(keptRecordingPath(slot, number - 1).c_str(),
                   keptRecordingPath(slot, number).c_str());
    const std::string kept = keptRecordingPath(slot, 1);
    if (!joinFiles(slot, kept)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Cannot keep the recording as %s, errno %d (%s)",
              kept.c_str(), errno, strerror(errno));
        return;
    }
    unlink(olderRecordingPath(slot).c_str());
    unlink(recordingPath(slot).c_str());
    debug(eLOG_NOTICE, g_i_debugMode, "Kept the recording as %s", kept.c_str());
}

}  // namespace

void controlRecording(sMachine& machine) {
    sRecordingControlState& state = g_recordingControlState;
    struct stat info {};
    flushRecording();
    if (takeRecordingFailure() != 0) {
        markShellCommands(false);
        removeRequest();
        state.seen = {};
        state.retryAtS = recordingClockS() + RETRY_AFTER_S;
    }
    retryAlways(machine);
    if (isRecording() && isOver(state.request)) {
        stop("minutes");
        removeRequest();
    }
    const sSeenFile now = lookAtRequest(info);
    if (state.hasLooked && now == state.seen) return;
    state.hasLooked = true;
    state.seen = now;
    actOnRequest(machine, info);
}

void endRecording(const sMachine& machine) {
    if (!isRecording()) return;
    markExit(machine.outerState);
    stop("exit");
    if (machine.outerState == eOUTER_EXIT_RESET) keepRecording();
}

void resetRecordingControl() {
    g_recordingControlState = {};
    resetRecordingMarks();
    markShellCommands(false);
}

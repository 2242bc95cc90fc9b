#include "cli/record/recording_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "published/paths.h"

namespace {

constexpr size_t LAST_LINE_MAX = 200;

void requireReadable(const sPlaces& places) {
    const std::string folder = places.at(RECORDING_FOLDER);
    if (access(folder.c_str(), R_OK | X_OK) != 0 && errno != ENOENT)
        throw systemFailure("read " + folder, errno);
}

bool describe(const std::string& path, struct stat& info) {
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

size_t sizeOf(const std::string& path) {
    struct stat info {};
    return describe(path, info) ? static_cast<size_t>(info.st_size) : 0;
}

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string lastLine(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const size_t size = sizeOf(path);
    const size_t from = size > LAST_LINE_MAX ? size - LAST_LINE_MAX : 0;
    file.seekg(static_cast<std::streamoff>(from));
    std::string text(size - from, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

// The text of a key in a line of a recording; those that are read here have no escapes.
std::string textOf(const std::string& line, const std::string& key) {
    const std::string start = '"' + key + "\":\"";
    const size_t at = line.find(start);
    if (at == std::string::npos) return "";
    const size_t begin = at + start.size();
    return line.substr(begin, line.find('"', begin) - begin);
}

// A header may come later in the file, when the daemon or the recording was started again.
std::string lastHeader(const std::string& text) {
    const std::string start = "{\"recording\":";
    size_t at = text.rfind("\n" + start);
    at = at == std::string::npos ? 0 : at + 1;
    return text.substr(at, text.find('\n', at) - at);
}

}  // namespace

sRecordingState recordingState(const sPlaces& places, int slot) {
    requireReadable(places);
    const std::string path = places.at(recordingPath(slot));
    struct stat info {};
    sRecordingState state;
    if (!describe(path, info)) return state;
    const std::string header = lastHeader(fileText(path));
    const std::string last = lastLine(path);
    state.exists = true;
    state.isEnded = last.find("\"mark\":\"stop\"") != std::string::npos;
    state.reason = textOf(last, "reason");
    state.began = textOf(header, "began");
    state.keepsIdentities = textOf(header, "identities") == "kept";
    state.bytes = static_cast<size_t>(info.st_size) + sizeOf(places.at(olderRecordingPath(slot)));
    return state;
}

std::vector<sKeptRecording> keptRecordings(const sPlaces& places, int slot) {
    requireReadable(places);
    std::vector<sKeptRecording> kept;
    for (int number = 1; number <= KEPT_RECORDINGS; ++number) {
        const std::string path = keptRecordingPath(slot, number);
        struct stat info {};
        if (describe(places.at(path), info))
            kept.push_back({path, static_cast<size_t>(info.st_size), info.st_mtime});
    }
    return kept;
}

std::string joinedRecording(const sPlaces& places, int slot) {
    requireReadable(places);
    const std::string older = places.at(olderRecordingPath(slot));
    const std::string path = places.at(recordingPath(slot));
    std::string text;
    struct stat before {};
    struct stat after {};
    // The daemon may turn to a new file between the two.
    for (int attempt = 0; attempt < 2; ++attempt) {
        describe(older, before);
        text = fileText(older) + fileText(path);
        describe(older, after);
        if (before.st_ino == after.st_ino) break;
    }
    text.resize(text.rfind('\n') + 1);
    return text;
}

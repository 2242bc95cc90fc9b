#include "include/repeated_starts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "platform/include/timer_clock.h"

namespace {

constexpr uint64_t MINUTE_MS = 60000;
constexpr uint64_t KEPT_MS = 30 * MINUTE_MS;  // from an end to the next start
// More than the ten minutes after which a missing SIM resets the modem. A longer run did not end
// because of a fault at its start.
constexpr uint64_t RUN_MAX_MS = 60 * MINUTE_MS;
// Once a day everything is logged, because the log may have been rotated.
constexpr uint64_t WHOLE_EACH_MS = 24 * 60 * MINUTE_MS;

constexpr size_t TEXTS_MAX = 256;
constexpr unsigned COUNT_MAX = 9999;
constexpr unsigned STARTS_MAX = 999999;
constexpr size_t FILE_MAX = 8192;
constexpr mode_t FILE_MODE = 0600;
constexpr mode_t OTHERS_WRITE = S_IWGRP | S_IWOTH;
constexpr const char* BOOT_ID_FILE = "/proc/sys/kernel/random/boot_id";
constexpr size_t BOOT_ID_LENGTH = 36;

struct sLoggedText {
    uint64_t hash = 0;
    unsigned times = 0;
};

// What is in the file.
struct sLoggedRun {
    uint64_t endMs = 0;
    uint64_t wholeMs = 0;  // when a run last logged everything
    unsigned starts = 0;   // starts in a row after a reset, without the first
    std::vector<sLoggedText> texts;
};

struct sRepeatedStartsState {
    bool begun = false;
    bool works = false;
    std::string path;
    uint64_t beginMs = 0;
    sLoggedRun last;
    sLoggedRun now;
    bool startsTaken = false;
};

sRepeatedStartsState g_startsState;

// If /var/run survives a boot, a time of the previous boot means nothing.
std::string bootId() {
    std::string id;
    readFile2String(BOOT_ID_FILE, id, BOOT_ID_LENGTH);
    return id;
}

// One line that identifies the file, then one line per text.
std::string fileTextOf(const sLoggedRun& run) {
    char line[160];
    snprintf(line, sizeof line, "cellslotd 1 %s %" PRIu64 " %" PRIu64 " %u %zu\n", bootId().c_str(),
             run.endMs, run.wholeMs, run.starts, run.texts.size());
    std::string text = line;
    for (const sLoggedText& one : run.texts) {
        snprintf(line, sizeof line, "%016" PRIx64 " %u\n", one.hash, one.times);
        text += line;
    }
    return text;
}

// The next word of a text.
std::string takeWord(const std::string& text, size_t& at) {
    const size_t end = std::min(text.find_first_of(" \n", at), text.size());
    const std::string word = text.substr(at, end - at);
    at = std::min(end + 1, text.size());
    return word;
}

uint64_t takeNumber(const std::string& text, size_t& at, uint64_t maximum) {
    const long long number = textToLong(takeWord(text, at));
    return number < 0 ? 0 : std::min(static_cast<uint64_t>(number), maximum);
}

// Numbers are limited when read. So any file other than a complete one of ours of this boot differs
// from the text that would be written for its content.
bool parseFileText(const std::string& text, sLoggedRun& run) {
    size_t at = 0;
    for (int word = 0; word < 3; ++word)
        takeWord(text, at);
    run.endMs = takeNumber(text, at, INT64_MAX);
    run.wholeMs = takeNumber(text, at, INT64_MAX);
    run.starts = static_cast<unsigned>(takeNumber(text, at, STARTS_MAX));
    run.texts.resize(takeNumber(text, at, TEXTS_MAX));
    for (sLoggedText& one : run.texts) {
        one.hash = strtoull(takeWord(text, at).c_str(), nullptr, 16);
        one.times = static_cast<unsigned>(takeNumber(text, at, COUNT_MAX));
    }
    return fileTextOf(run) == text;
}

// Whether only our own user could have written the file.
bool isOurs(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() &&
           info.st_nlink == 1 && (info.st_mode & OTHERS_WRITE) == 0 &&
           info.st_size <= static_cast<off_t>(FILE_MAX);
}

bool readLastRun(const std::string& path, uint64_t nowMs, sLoggedRun& run) {
    std::string text;
    if (!isOurs(path) || !readFile2StringNoFollow(path, text, FILE_MAX)) return false;
    return parseFileText(text, run) && run.wholeMs <= run.endMs && run.endMs <= nowMs &&
           nowMs - run.endMs <= KEPT_MS;
}

sLoggedText* findText(std::vector<sLoggedText>& texts, uint64_t hash) {
    const auto found = std::find_if(texts.begin(), texts.end(),
                                    [hash](const sLoggedText& one) { return one.hash == hash; });
    return found == texts.end() ? nullptr : &*found;
}

// A text that does not fit is logged by the next run too.
void noteText(std::vector<sLoggedText>& texts, uint64_t hash) {
    sLoggedText* const known = findText(texts, hash);
    if (known != nullptr)
        known->times = std::min(known->times + 1, COUNT_MAX);
    else if (texts.size() < TEXTS_MAX)
        texts.push_back({hash, 1});
}

bool takeText(std::vector<sLoggedText>& texts, uint64_t hash) {
    sLoggedText* const known = findText(texts, hash);
    if (known == nullptr || known->times == 0) return false;
    --known->times;
    return true;
}

}  // namespace

void beginStart(const std::string& path) {
    sRepeatedStartsState& state = g_startsState;
    state = {};
    state.begun = true;
    state.path = path;
    state.beginMs = timerClockMs();
    state.now.wholeMs = state.beginMs;
    const bool isKnown = readLastRun(state.path, state.beginMs, state.last);
    unlink(state.path.c_str());
    if (!isKnown) {
        state.last = {};
        return;
    }
    state.now.starts = std::min(state.last.starts + 1, STARTS_MAX);
    if (state.beginMs - state.last.wholeMs >= WHOLE_EACH_MS)
        state.last.texts.clear();
    else
        state.now.wholeMs = state.last.wholeMs;
}

bool wasLoggedByLastRun(uint64_t hash) {
    sRepeatedStartsState& state = g_startsState;
    if (!state.begun || state.works) return false;
    noteText(state.now.texts, hash);
    return takeText(state.last.texts, hash);
}

sStartsInARow takeStartsInARow() {
    sRepeatedStartsState& state = g_startsState;
    if (state.startsTaken) return {};
    state.startsTaken = true;
    return {state.now.starts, state.now.wholeMs == state.beginMs};
}

unsigned startsInARow() {
    return g_startsState.now.starts;
}

void noteWorkingRun() {
    sRepeatedStartsState& state = g_startsState;
    state.works = true;
    state.last = {};
    state.now = {};
}

void keepForNextStart() {
    sRepeatedStartsState& state = g_startsState;
    state.now.endMs = timerClockMs();
    if (!state.begun || state.works || state.now.endMs - state.beginMs > RUN_MAX_MS) return;
    // A new file, so that mode and owner of a foreign one are not kept.
    unlink(state.path.c_str());
    cFileVector file(state.path, FILE_MODE);
    file.AppendLine(fileTextOf(state.now), false);
    file.Write();
}

void resetRepeatedStarts() {
    g_startsState = {};
}

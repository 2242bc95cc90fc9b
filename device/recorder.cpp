#include "device/recorder.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

#include "device/link_state.h"
#include "include/debug.h"
#include "include/options.h"
#include "platform/include/timer_clock.h"
#include "recording/hidden_exchange.h"
#include "recording/json_line.h"
#include "recording/ring_file.h"

bool g_b_recording = false;

namespace {

constexpr int FORMAT_VERSION = 1;

// When bytes are written: a write() for each of them would be half of what a recording costs.
constexpr size_t FLUSH_BYTES = 16384;
constexpr uint64_t FLUSH_AFTER_MS = 1000;
// Looks at a silent port, 10 ms apart.
constexpr unsigned FLUSH_AFTER_LOOKS = 100;

// Not that of a failed open(), which may be read from.
constexpr int NO_PORT = -2;

struct sRecorderState {
    // It stays when a recording ends: stand-ins are the same as long as the process runs.
    std::unique_ptr<cHiddenExchange> exchange;
    cRingFile file;
    sRecordSettings settings;
    uint64_t beganMs = 0;
    std::string began;
    int failure = 0;
    bool isFileNew = false;  // the older one has what is published
    uint64_t flushedMs = 0;
    unsigned silentLooks = 0;
    cTextBuffer markMemory;  // of the last mark, for the next one
    // Known without a recording too.
    int atPort = NO_PORT;
    int gpsPort = NO_PORT;
    bool isHungUp[2] = {};
    int openErrors[2] = {};  // as recorded
};

sRecorderState g_recorderState;

uint64_t elapsedMs() {
    return timerClockMs() - g_recorderState.beganMs;
}

eRecordedPort portOf(int port) {
    return port == g_recorderState.gpsPort ? eRecordedPort::GPS : eRecordedPort::AT;
}

const char* keyOf(eRecordedPort port) {
    return port == eRecordedPort::GPS ? ",\"gps\":" : ",\"at\":";
}

std::string utcText(time_t now) {
    tm utc{};
    char text[32] = "";
    gmtime_r(&now, &utc);
    strftime(text, sizeof text, "%FT%TZ", &utc);
    return text;
}

cTextBuffer headerLine() {
    const sRecorderState& state = g_recorderState;
    cTextBuffer line;
    line.append("{\"recording\":");
    appendNumber(line, FORMAT_VERSION);
    line.append(",\"program\":");
    appendJsonText(line, state.settings.program);
    line.append(",\"slot\":");
    appendNumber(line, static_cast<uint64_t>(state.settings.slot));
    line.append(",\"began\":");
    appendJsonText(line, state.began);
    line.append(",\"identities\":");
    appendJsonText(line, state.settings.keepIdentities ? "kept" : "replaced");
    line.append("}\n");
    return line;
}

bool writeText(const cTextBuffer& text) {
    return g_recorderState.file.write(text.data(), text.size());
}

void fail() {
    sRecorderState& state = g_recorderState;
    state.failure = errno;
    g_b_recording = false;
    state.file.close();
    debug(state.settings.isRetry ? eLOG_STATE : eLOG_NOTICE, g_i_debugMode,
          "Recording ended: cannot write %s, errno %d (%s)", state.settings.path.c_str(),
          state.failure, strerror(state.failure));
}

// A full file becomes the older one, and a new one begins like the first.
bool turnFile() {
    sRecorderState& state = g_recorderState;
    if (!state.file.turn() || !writeText(headerLine())) return false;
    state.isFileNew = true;
    return true;
}

void addLine(const cTextBuffer& rest) {
    g_recorderState.exchange->addLine(rest, elapsedMs());
    flushRecording();
}

// error 0: there is none.
void addErrorLine(eRecordedPort port, const char* event, int error) {
    cTextBuffer line;
    line.append(keyOf(port));
    appendJsonText(line, event);
    if (error != 0) {
        line.append(",\"error\":");
        appendNumber(line, static_cast<uint64_t>(error));
    }
    addLine(line);
}

void addPortLine(eRecordedPort port, const char* event) {
    addErrorLine(port, event, 0);
}

bool isGpsPath(const std::string& path) {
    return path == g_S_options.s_gps_device && path != g_S_options.s_device;
}

void recordOpenPort(int port) {
    if (port != NO_PORT) addPortLine(portOf(port), "open");
}

// The echo of a command that was written before may have a secret.
void recordPortInUse(int port) {
    if (port == NO_PORT) return;
    if (isAnswerOwed(port)) g_recorderState.exchange->expectUnknownEcho(portOf(port));
    recordOpenPort(port);
}

void flushWhenDue(uint64_t nowMs) {
    sRecorderState& state = g_recorderState;
    state.silentLooks = 0;
    if (state.exchange->ready().size() >= FLUSH_BYTES || nowMs - state.flushedMs >= FLUSH_AFTER_MS)
        flushRecording();
}

}  // namespace

bool startRecording(const sRecordSettings& settings) {
    sRecorderState& state = g_recorderState;
    stopRecording("asked");
    state.settings = settings;
    state.beganMs = timerClockMs();
    state.began = utcText(time(nullptr));
    if (!state.exchange) state.exchange = std::make_unique<cHiddenExchange>();
    state.exchange->begin(settings.keepIdentities);
    state.failure = 0;
    state.isFileNew = false;
    state.flushedMs = 0;
    state.silentLooks = 0;
    state.openErrors[0] = state.openErrors[1] = 0;
    if (!state.file.open(settings.path, settings.olderPath, settings.fileBytes) ||
        !writeText(headerLine())) {
        const int error = errno;
        state.file.close();
        errno = error;
        return false;
    }
    g_b_recording = true;
    recordPortInUse(state.atPort);
    if (isRecording()) recordPortInUse(state.gpsPort);
    return true;
}

void flushRecording() {
    sRecorderState& state = g_recorderState;
    if (!isRecording()) return;
    state.flushedMs = elapsedMs();
    cTextBuffer& ready = state.exchange->ready();
    if (ready.empty()) return;
    const bool isTurned = !state.file.isFullFor(ready.size()) || turnFile();
    if (!isTurned || !writeText(ready)) fail();
    ready.clear();
    if (!state.isFileNew) return;
    state.isFileNew = false;
    if (isRecording() && state.settings.markState != nullptr) state.settings.markState();
}

void stopRecording(const char* reason) {
    if (!isRecording()) return;
    g_recorderState.exchange->endAllLines();
    {
        cRecordMark mark("stop");
        mark.text("reason", reason);
    }
    g_b_recording = false;
    g_recorderState.file.close();
}

int takeRecordingFailure() {
    const int failure = g_recorderState.failure;
    g_recorderState.failure = 0;
    return failure;
}

void hideFromRecording(const std::string& secret) {
    if (isRecording()) g_recorderState.exchange->secrets().add(secret);
}

void noteOpenPort(int port, const std::string& path) {
    sRecorderState& state = g_recorderState;
    const bool isGps = isGpsPath(path);
    (isGps ? state.gpsPort : state.atPort) = port;
    state.isHungUp[isGps ? 1 : 0] = false;
    state.openErrors[isGps ? 1 : 0] = 0;
    if (isRecording()) recordOpenPort(port);
}

void noteFailedOpen(const std::string& path, int error) {
    if (!isRecording()) return;
    const bool isGps = isGpsPath(path);
    int& recorded = g_recorderState.openErrors[isGps ? 1 : 0];
    if (recorded == error) return;
    recorded = error;
    addErrorLine(isGps ? eRecordedPort::GPS : eRecordedPort::AT, "open", error);
}

void noteClosedPort(int port) {
    sRecorderState& state = g_recorderState;
    const eRecordedPort recorded = portOf(port);
    if (isRecording()) {
        state.exchange->endLines(recorded);
        addPortLine(recorded, "close");
    }
    (recorded == eRecordedPort::GPS ? state.gpsPort : state.atPort) = NO_PORT;
}

void recordWrite(int port, const char* data, size_t size) {
    const uint64_t nowMs = elapsedMs();
    g_recorderState.exchange->addBytes(portOf(port), eRecordedWay::WRITE, data, size, nowMs);
    flushWhenDue(nowMs);
}

void recordRead(int port, const char* data, size_t size) {
    const uint64_t nowMs = elapsedMs();
    g_recorderState.exchange->addBytes(portOf(port), eRecordedWay::READ, data, size, nowMs);
    flushWhenDue(nowMs);
}

void recordCommand(int port, const char* text, size_t size, uint64_t textMs) {
    const uint64_t beganMs = g_recorderState.beganMs;
    const uint64_t nowMs = timerClockMs();
    g_recorderState.exchange->addCommand(portOf(port), text, size, textMs - beganMs,
                                         nowMs - beganMs);
    // The answer flushes, and so does silence.
}

void recordSilence() {
    unsigned& looks = g_recorderState.silentLooks;
    if (++looks % FLUSH_AFTER_LOOKS == 0) flushRecording();
}

void recordHangUp(int port, int error) {
    const eRecordedPort recorded = portOf(port);
    bool& isHungUp = g_recorderState.isHungUp[static_cast<size_t>(recorded)];
    if (isHungUp) return;
    isHungUp = true;
    g_recorderState.exchange->endLines(recorded);
    addErrorLine(recorded, "hangup", error);
}

// ---- Marks ----------------------------------------------------------------------------------

namespace {

void appendHidden(cTextBuffer& line, const std::string& value) {
    const cSecrets& secrets = g_recorderState.exchange->knownSecrets();
    if (secrets.isEmpty()) return appendJsonText(line, value);
    std::string hidden = value;
    secrets.hideIn(hidden.data(), hidden.size());
    appendJsonText(line, hidden);
}

}  // namespace

cRecordMark::cRecordMark(const char* name) {
    std::swap(m_line, g_recorderState.markMemory);
    m_line.clear();
    m_line.append(",\"mark\":\"");
    m_line.append(name);
    m_line.add('"');
}

cRecordMark::~cRecordMark() {
    if (isRecording()) addLine(m_line);
    std::swap(m_line, g_recorderState.markMemory);
}

void cRecordMark::key(std::string_view name) {
    constexpr size_t OTHERS = 4;
    char* end = m_line.room(name.size() + OTHERS);
    const char* const begin = end;
    if (m_line.last() != '{') *end++ = ',';
    *end++ = '"';
    memcpy(end, name.data(), name.size());
    end += name.size();
    *end++ = '"';
    *end++ = ':';
    m_line.used(static_cast<size_t>(end - begin));
}

void cRecordMark::text(std::string_view name, const std::string& value) {
    key(name);
    appendHidden(m_line, value);
}

void cRecordMark::number(std::string_view name, long long value) {
    key(name);
    m_line.append(std::to_string(value));
}

void cRecordMark::beginList(std::string_view name) {
    key(name);
    m_line.add('[');
}

void cRecordMark::add(const std::string& element) {
    if (m_line.last() != '[') m_line.add(',');
    appendHidden(m_line, element);
}

void cRecordMark::beginValues(std::string_view name) {
    key(name);
    m_line.add('{');
}

void cRecordMark::identity(std::string_view name, const std::string& value) {
    std::string hidden = value;
    g_recorderState.exchange->rules().hideIdentity(hidden.data(), hidden.size());
    text(name, hidden);
}

void cRecordMark::nothing(std::string_view name) {
    key(name);
    m_line.append("null");
}

void resetRecorder() {
    sRecorderState& state = g_recorderState;
    g_b_recording = false;
    state.file.close();
    state.exchange.reset();
    state.settings = {};
    state.markMemory = {};
    state.failure = 0;
    state.atPort = NO_PORT;
    state.gpsPort = NO_PORT;
    state.isHungUp[0] = state.isHungUp[1] = false;
    state.openErrors[0] = state.openErrors[1] = 0;
}

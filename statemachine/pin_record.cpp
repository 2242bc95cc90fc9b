#include "statemachine/pin_record.h"

#include <sys/stat.h>

#include <array>
#include <ctime>

#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "published/host_boot.h"
#include "published/store_keys.h"
#include "statemachine/sim_pin_files.h"

namespace {

constexpr size_t RECORD_TEXT_MAX = 192;

// A PIN that was read, and which writing of its file it was.
struct sPinFile {
    sFileStamp stamp;
    std::string pin;
};

struct sPinRecordState {
    bool isLoaded = false;
    sPinRecord record;
    bool isStored = true;      // else it lasts as long as the process only
    sFileStamp atStart;        // the writing that an earlier process may have sent
    sPinFile used;             // by the command that is under way
    sPinRecord before;         // as it was before that
    int outages = 0;           // in this process
    int settledAt = 0;         // value of outages up to which an outage allows nothing
    bool isWaitedFor = false;  // the PIN was set by the daemon and may be used without an outage
};

sPinRecordState g_pinRecordState;

// The name is that of the versions that noted a PIN without a sure outcome.
std::string recordKey() {
    return slotStoreKey(g_S_options.s_port, STORE_PIN_TRIED);
}

sPinRecord& pinRecord() {
    sPinRecordState& state = g_pinRecordState;
    if (state.isLoaded) return state.record;
    std::array<char, RECORD_TEXT_MAX> text{};
    if (skvs_get(recordKey().c_str(), text.data(), text.size()) > 0)
        state.record = parsePinRecord(text.data());
    state.isLoaded = true;
    state.settledAt = -1;  // what an earlier process did was before an outage
    return state.record;
}

bool storeRecord(const sPinRecord& record) {
    sPinRecordState& state = g_pinRecordState;
    if (state.isStored && pinRecord() == record) return true;
    state.record = record;
    state.isStored = skvs_set(recordKey().c_str(), pinRecordText(record).c_str()) == 0;
    return state.isStored;
}

int attemptsOf(const sSimInfo& sim) {
    return sim.b_attempts_read ? sim.i_pin_attempts : ATTEMPTS_NOT_READ;
}

// A record that ends with the process allows one more sending at each start. No attempt but the
// first is spent so, where the SIM reports them: a SIM that reports none would stay locked for
// good. A writing that this process has seen is known to be new.
bool mayBeSentWithoutStore(const sFileStamp& file, int attempts) {
    return file != g_pinRecordState.atStart || attempts == ATTEMPTS_NOT_READ ||
           attempts >= PIN_ATTEMPTS_FULL;
}

// By the wall clock, which the daemon may have set meanwhile: a stamp in the future is of an
// earlier start.
bool isOlderThanHost(const sFileStamp& file) {
    const int64_t now = time(nullptr);
    const int64_t started = now - static_cast<int64_t>(hostUptimeS());
    return file.modifiedS < started || file.modifiedS > now;
}

// No file when it was written while it was read.
sPinFile readPinFile(const std::string& path) {
    const sFileStamp stamp = fileStamp(path);
    const std::string pin = readCpinFile(path);
    // cppcheck-suppress knownConditionTrueFalse  ; others write the file
    if (fileStamp(path) != stamp) return {};
    return {stamp, pin};
}

// A second writing within a tick of the file system's clock has the stamp of the first.
bool isRewrittenUnderItsStamp(const std::string& path, const sPinFile& file) {
    return fileStamp(path) == file.stamp && readCpinFile(path) != file.pin;
}

}  // namespace

sFileStamp fileStamp(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
    return {info.st_ino, info.st_size, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
}

void notePinFileAtStart(const sSimInfo& sim) {
    g_pinRecordState.atStart = fileStamp(sim.s_cpin_path);
}

sPinSituation pinSituation(const sSimInfo& sim) {
    sPinSituation situation{};
    situation.record = pinRecord();
    situation.file = fileStamp(sim.s_cpin_path);
    situation.isOlderThanHost = isOlderThanHost(situation.file);
    situation.lockClass = sim.i_lock_class;
    situation.attempts = attemptsOf(sim);
    const sPinRecordState& state = g_pinRecordState;
    situation.outages = state.isWaitedFor ? 1 : state.outages - state.settledAt;
    return situation;
}

ePinNote notePinSent(const sSimInfo& sim, const std::string& pin, bool opens) {
    sPinRecordState& state = g_pinRecordState;
    state.used = readPinFile(sim.s_cpin_path);
    if (state.used.pin != pin) state.used = {};
    if (!state.used.stamp.exists()) return opens ? ePinNote::FILE_CHANGED : ePinNote::DONE;
    state.before = pinRecord();
    const bool isStored =
        storeRecord(pinSent(state.before, state.used.stamp, attemptsOf(sim), opens));
    // A request is gone from its file and cannot come back.
    if (!isStored && opens && !mayBeSentWithoutStore(state.used.stamp, attemptsOf(sim))) {
        state.record = state.before;
        return ePinNote::NOT_STORED;
    }
    state.settledAt = state.outages;
    state.isWaitedFor = false;
    return ePinNote::DONE;
}

void notePinAnswer(const sSimInfo& sim, ePortReturn result) {
    sPinRecordState& state = g_pinRecordState;
    if (!state.used.stamp.exists()) return;
    sPinRecord record = pinAnswered(state.record, state.before, result);
    if (isRewrittenUnderItsStamp(sim.s_cpin_path, state.used)) record.file = {};
    storeRecord(record);
    // The port of a modem that did not answer is closed: that is no outage of its own.
    if (result == ePORT_NO_FINAL_RESULT) state.settledAt = state.outages + 1;
    state.used = {};
}

void takeOutPin(const sSimInfo& sim, const std::string& pin) {
    const sPinFile file = readPinFile(sim.s_cpin_path);
    if (file.pin != pin) return;
    sPinRecord record = pinRecord();
    record.state = ePinState::FAILED;
    record.file = file.stamp;
    if (clearCpinFile(sim.s_cpin_path)) {
        const sFileStamp emptied = fileStamp(sim.s_cpin_path);
        if (emptied.size != 0) return;  // written anew already
        record.file = emptied;
    }
    storeRecord(record);
}

void notePinWritten(const sSimInfo& sim, const std::string& pin, bool isWaitedFor) {
    const sPinFile file = readPinFile(sim.s_cpin_path);
    const bool isWritten = file.stamp.exists() && file.pin == pin;
    sPinRecord record = pinRecord();
    if (isWritten) record = {file.stamp, ePinState::GOOD, ATTEMPTS_NOT_READ, 0, false};
    // What the file still holds is not the SIM's any more.
    if (!isWritten) record.state = ePinState::FAILED;
    if (isWritten && sim.i_lock_class == eSIM_READY) record.attempts = attemptsOf(sim);
    storeRecord(record);
    g_pinRecordState.settledAt = g_pinRecordState.outages;
    g_pinRecordState.isWaitedFor = isWaitedFor;
}

void notePinSimReady(const sSimInfo& sim) {
    storeRecord(pinSimReady(pinRecord(), attemptsOf(sim)));
    g_pinRecordState.settledAt = g_pinRecordState.outages;
}

void notePinOutage() {
    ++g_pinRecordState.outages;
}

void resetPinRecord() {
    g_pinRecordState = {};
}

#include "statemachine/pin_record.h"

#include <sys/stat.h>

#include <array>
#include <ctime>

#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "published/host_boot.h"
#include "published/store_keys.h"
#include "statemachine/sim_pin_files.h"

namespace {

constexpr size_t RECORD_TEXT_MAX = 192;

// A PIN as read, and the version of its file.
struct sPinFile {
    sFileStamp stamp;
    std::string pin;
};

struct sPinRecordState {
    bool isLoaded = false;
    sPinRecord record;
    bool isStored = true;      // otherwise it is lost at the end of the process
    sFileStamp atStart;        // the version that an earlier process may have sent
    sPinFile used;             // by the current command
    sPinRecord before;         // the record before that command
    int outages = 0;           // in this process
    int settledAt = 0;         // outages up to this number do not permit a sending
    bool isWaitedFor = false;  // the PIN was set by the daemon and may be used without an outage
};

sPinRecordState g_pinRecordState;

// Earlier versions noted a PIN without a certain outcome under the same name.
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
    state.settledAt = -1;  // an outage followed what an earlier process did
    return state.record;
}

bool storeRecord(const sPinRecord& record) {
    sPinRecordState& state = g_pinRecordState;
    if (state.isStored && pinRecord() == record) return true;
    state.record = record;
    state.isStored = skvs_set(recordKey().c_str(), pinRecordText(record).c_str()) == 0;
    return state.isStored;
}

// If the record could not be stored, each start of the daemon sends the PIN once more. If the SIM
// reports its attempts, that may cost no more than the first one; a SIM that does not report them
// would otherwise stay locked for good. A file that was written while this process ran is new.
bool mayBeSentWithoutStore(const sFileStamp& file, int attempts) {
    return file != g_pinRecordState.atStart || attempts == ATTEMPTS_NOT_READ ||
           attempts >= PIN_ATTEMPTS_FULL;
}

// Compares with the wall clock, which the daemon may have set meanwhile: a time stamp in the future
// is from an earlier start of the host.
bool isOlderThanHost(const sFileStamp& file) {
    const int64_t now = time(nullptr);
    const int64_t started = now - static_cast<int64_t>(hostUptimeS());
    return file.modifiedS < started || file.modifiedS > now;
}

// Returns no file if it was written while it was read.
sPinFile readPinFile(const std::string& path) {
    const sFileStamp stamp = fileStamp(path);
    const std::string pin = readCpinFile(path);
    // cppcheck-suppress knownConditionTrueFalse  ; others write the file
    if (fileStamp(path) != stamp) return {};
    return {stamp, pin};
}

// Two versions within one tick of the file system's clock have the same stamp.
bool isRewrittenUnderItsStamp(const std::string& path, const sPinFile& file) {
    return fileStamp(path) == file.stamp && readCpinFile(path) != file.pin;
}

}  // namespace

int attemptsOf(const sSimInfo& sim) {
    return sim.b_attempts_read ? sim.i_pin_attempts : ATTEMPTS_NOT_READ;
}

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
    // A request is already deleted from its file and does not come back.
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
    // After a time-out the port is closed; that close is not another outage.
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
        if (emptied.size != 0) return;  // already written again
        record.file = emptied;
    }
    storeRecord(record);
}

void notePinWritten(const sSimInfo& sim, const std::string& pin, bool isWaitedFor) {
    const sPinFile file = readPinFile(sim.s_cpin_path);
    const bool isWritten = file.stamp.exists() && file.pin == pin;
    sPinRecord record = pinRecord();
    if (isWritten) record = {file.stamp, ePinState::GOOD, ATTEMPTS_NOT_READ, 0, false};
    // The PIN that the file still holds is no longer that of the SIM.
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

void notePinOfChangeRefused() {
    sPinRecord record = pinRecord();
    if (record.attempts <= 0) return;
    --record.attempts;
    storeRecord(record);
}

void notePinOutage() {
    ++g_pinRecordState.outages;
}

void resetPinRecord() {
    g_pinRecordState = {};
}

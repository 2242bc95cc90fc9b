#include "statemachine/tried_pin.h"

#include <sys/stat.h>

#include <array>

#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr int PIN_ATTEMPTS_FULL = 3;
constexpr size_t MARK_MAX = 128;

struct sTriedPinState {
    bool mayBeNoted = true;  // an earlier run may have left a note
};

sTriedPinState g_triedPinState;

std::string triedKey() {
    return "CELLULAR_SLOT" + g_S_options.s_port + "_CPIN_TRIED";
}

// Another text after each writing of the file; empty without one.
std::string fileMark(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return "";
    return ltos(static_cast<long long>(info.st_ino)) + "." + ltos(info.st_size) + "." +
           ltos(info.st_mtim.tv_sec) + "." + ltos(info.st_mtim.tv_nsec);
}

// Empty without a note.
std::string notedMark() {
    std::array<char, MARK_MAX> mark{};
    if (skvs_get(triedKey().c_str(), mark.data(), mark.size()) <= 0) return "";
    return mark.data();
}

}  // namespace

void noteTriedCpin(const sSimInfo& sim) {
    skvs_set(triedKey().c_str(), fileMark(sim.s_cpin_path).c_str());
    g_triedPinState.mayBeNoted = true;
}

void forgetTriedCpin(const sSimInfo& sim) {
    if (!g_triedPinState.mayBeNoted || sim.i_lock_class != eSIM_READY || !hasAllAttempts(sim))
        return;
    if (!notedMark().empty()) skvs_set(triedKey().c_str(), "");
    g_triedPinState.mayBeNoted = false;
}

bool isTriedCpin(const sSimInfo& sim) {
    const std::string mark = notedMark();
    return !mark.empty() && mark == fileMark(sim.s_cpin_path);
}

bool hasAllAttempts(const sSimInfo& sim) {
    return sim.b_attempts_read && sim.i_pin_attempts == PIN_ATTEMPTS_FULL;
}

bool hasLostAttempt(const sSimInfo& sim) {
    return sim.b_attempts_read && sim.i_pin_attempts < PIN_ATTEMPTS_FULL;
}

void resetTriedPinState() {
    g_triedPinState = {};
}

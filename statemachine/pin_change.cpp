#include "statemachine/pin_change.h"

#include <unistd.h>

#include <utility>

#include "include/debug.h"
#include "include/options.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/paths.h"
#include "statemachine/pin_rule.h"
#include "statemachine/sim_pin_files.h"

namespace {

constexpr size_t CHANGE_MAX = 64;
constexpr const char* TRIED = "tried";

struct sPinChangeState {
    bool isTriedAgain = false;
};

sPinChangeState g_pinChangeState;

// "1234\n4321\n3\n": the PINs and the attempts, and a line more when the new PIN was tried.
bool parseChange(const std::string& text, sPinChange& change) {
    const tokenstr lines(text, '\n', eEmptyTokens::KEEP);
    if (lines.size() < 4 || verifyCpinFormat(lines[1]) == 0) return false;
    change.oldPin = lines[0];
    change.newPin = lines[1];
    change.attempts = textToInt(lines[2]);
    change.isTried = lines[3] == TRIED;
    return true;
}

std::string changePath() {
    return pinChangePath(g_S_options.s_port);
}

}  // namespace

bool notePinChange(const sPinChange& change) {
    const std::string text = change.oldPin + "\n" + change.newPin + "\n" + itos(change.attempts) +
                             (change.isTried ? std::string("\n") + TRIED : "");
    return writePinFile(changePath(), text);
}

void endPinChange() {
    if (unlink(changePath().c_str()) == 0) flushFolderOf(changePath());
}

bool findPinChange(const sSimInfo& sim, sPinChange& change) {
    std::string text;
    if (!readFile2StringNoFollow(changePath(), text, CHANGE_MAX)) return false;
    const std::string pin = readCpinFile(sim.s_cpin_path);
    if (parseChange(text, change) && (pin.empty() || pin == change.oldPin)) return true;
    endPinChange();
    return false;
}

bool mayTryNewPin(const sPinChange& change, int attempts) {
    if (attempts == ATTEMPTS_NOT_READ) return !change.isTried;
    const bool isTriedUnseen = change.isTried && change.attempts == ATTEMPTS_NOT_READ;
    return attempts > 1 && attempts >= change.attempts && !isTriedUnseen;
}

bool mayNewPinBeTriedAgain() {
    return !std::exchange(g_pinChangeState.isTriedAgain, true);
}

void resetPinChangeState() {
    g_pinChangeState = {};
}

void requestPinChangeAgain(const sSimInfo& sim, const sPinChange& change) {
    debug(eLOG_NOTICE, g_i_debugMode, "SIM PIN was not changed to '%s', requesting it again",
          change.newPin.c_str());
    // A request that was written meanwhile is newer.
    if (!readCpinFile(sim.s_cpin_new_path).empty() ||
        writePinFile(sim.s_cpin_new_path, change.newPin))
        endPinChange();
}

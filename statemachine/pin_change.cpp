#include "statemachine/pin_change.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "include/debug.h"
#include "include/device_records.h"
#include "include/flush.h"
#include "include/options.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/paths.h"
#include "statemachine/pin_rule.h"
#include "statemachine/sim_pin_files.h"

namespace {

constexpr size_t CHANGE_MAX = 64;
constexpr const char* TRIED = "tried";

constexpr int SENDINGS_MAX = 2;

struct sPinChangeState {
    int sendings = 0;           // of the new PIN, to a SIM that asked for its PIN
    bool isUnanswered = false;  // the last one
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

bool writeChange(const sPinChange& change) {
    const std::string text = change.oldPin + "\n" + change.newPin + "\n" + itos(change.attempts) +
                             (change.isTried ? std::string("\n") + TRIED : "");
    return writePinFile(changePath(), text);
}

// A SIM with fewer attempts than before has refused the old PIN, or the new one. One that does not
// report them gets the new PIN once.
bool mayTryNewPin(const sPinChange& change, int attempts) {
    if (g_pinChangeState.sendings >= SENDINGS_MAX) return false;
    if (attempts == ATTEMPTS_NOT_READ) return !change.isTried;
    const bool isTriedUnseen = change.isTried && change.attempts == ATTEMPTS_NOT_READ;
    return attempts > 1 && attempts >= change.attempts && !isTriedUnseen;
}

// Not written again if the SIM's attempts will show that the new PIN was refused.
bool noteTrial(sPinChange change, int attempts) {
    if (attempts != ATTEMPTS_NOT_READ && attempts == change.attempts) return true;
    change.isTried = true;
    change.attempts = attempts;
    return writeChange(change);
}

}  // namespace

bool notePinChange(const sPinChange& change) {
    g_pinChangeState = {};
    return writeChange(change);
}

void endPinChange() {
    if (unlink(changePath().c_str()) == 0)
        flushFolderOf(changePath());
    else if (errno != ENOENT)
        return;
    g_pinChangeState = {};
}

bool findPinChange(const sSimInfo& sim, sPinChange& change) {
    std::string text;
    if (!readFile2StringNoFollow(changePath(), text, CHANGE_MAX)) return false;
    const std::string pin = readCpinFile(sim.s_cpin_path);
    if (parseChange(text, change) && (pin.empty() || pin == change.oldPin)) return true;
    endPinChange();
    return false;
}

bool noteNewPinSent(const sPinChange& change, int attempts) {
    if (!mayTryNewPin(change, attempts) || !noteTrial(change, attempts)) return false;
    ++g_pinChangeState.sendings;
    return true;
}

void noteNewPinAnswer(ePortReturn result) {
    g_pinChangeState.isUnanswered = result == ePORT_NO_FINAL_RESULT;
    if (isBadPassword(result)) g_pinChangeState.sendings = SENDINGS_MAX;
}

bool findAcceptedPinChange(const sSimInfo& sim, sPinChange& change) {
    return std::exchange(g_pinChangeState.isUnanswered, false) && findPinChange(sim, change);
}

void requestPinChangeAgain(const sSimInfo& sim, const sPinChange& change) {
    g_pinChangeState.isUnanswered = false;
    // A request that was written meanwhile is newer.
    const bool isReplaced = !readCpinFile(sim.s_cpin_new_path).empty();
    if (!isReplaced && !writePinFile(sim.s_cpin_new_path, change.newPin)) return;
    endPinChange();
    if (!isReplaced)
        debug(eLOG_NOTICE, g_i_debugMode,
              "The change of the SIM PIN to '%s' was cut off, requesting it again",
              change.newPin.c_str());
}

void resetPinChangeState() {
    g_pinChangeState = {};
}

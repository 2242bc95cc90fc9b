#ifndef STATEMACHINE_PIN_RULE_H
#define STATEMACHINE_PIN_RULE_H

#include <cstdint>
#include <string>

#include "include/result_codes.h"

// The rule for the PIN in the PIN file, without files, store or modem: what is recorded, how each
// event changes the record, and whether the PIN may be sent. Each version of the file is sent once;
// once more if it was not answered; again after each outage if it was good; never again if the SIM
// refused it.

// Identifies a version of a file, without its content: there are so few PINs that a digest would
// reveal one. A chmod does not make another version.
struct sFileStamp {
    uint64_t inode = 0;  // 0: there is no file
    int64_t size = 0;
    int64_t modifiedS = 0;
    int64_t modifiedNs = 0;

    bool exists() const { return inode != 0; }
    bool operator==(const sFileStamp& other) const;
    bool operator!=(const sFileStamp& other) const { return !(*this == other); }
};

enum class ePinState {
    NEW,  // nothing is known: the store is empty after a start of the host
    SENT,
    GOOD,
    FAILED,
};

constexpr int ATTEMPTS_NOT_READ = -1;
constexpr int PIN_ATTEMPTS_FULL = 3;

struct sPinRecord {
    sFileStamp file;  // any other version is new
    ePinState state = ePinState::NEW;
    int attempts = ATTEMPTS_NOT_READ;  // before the PIN was sent, or when it was last good
    int sendings = 0;                  // without an answer, since it was new or good
    bool opens = false;  // sent to a locked SIM: if it is ready afterwards, the PIN was right
};

bool operator==(const sPinRecord& left, const sPinRecord& right);

enum class ePinDecision {
    SEND,
    NOT_ASKED,     // the SIM does not wait for its PIN
    NO_FILE,       // there is no PIN file
    USED,          // already sent, and no outage since
    FAILED,        // refused, or not answered twice
    ATTEMPT_LOST,  // the SIM has fewer attempts than when the PIN was sent or last good
    LAST_ATTEMPT,  // the file is old and without a record, and the SIM has one attempt left
};

struct sPinSituation {
    sPinRecord record;
    sFileStamp file;       // as it is now
    bool isOlderThanHost;  // the file was written before the host was started
    int lockClass;         // eSIM_...
    int attempts;          // as the SIM reports them, or ATTEMPTS_NOT_READ
    int outages;           // since the PIN was sent or the SIM was ready; a start counts as one
};

ePinDecision decidePin(const sPinSituation& situation);

// The record to store before a command that sends the PIN to the SIM. opens: AT+CPIN; otherwise a
// command to a ready SIM.
sPinRecord pinSent(const sPinRecord& before, const sFileStamp& file, int attempts, bool opens);

// Changes the stored record according to the answer of the command; silence does not change it.
// before: the record before the command.
sPinRecord pinAnswered(const sPinRecord& sent, const sPinRecord& before, ePortReturn result);

// The SIM was found ready.
sPinRecord pinSimReady(const sPinRecord& record, int attempts);

bool isBadPassword(ePortReturn result);

// The record as text, for the store. The text of an earlier version, for a PIN whose outcome was
// not known, is read as sent with all attempts left. A text that is not understood gives a NEW
// record.
std::string pinRecordText(const sPinRecord& record);
sPinRecord parsePinRecord(const std::string& text);

// Why a PIN is not sent, for the operator; empty if the last outcome already says it.
std::string pinRefusalText(ePinDecision decision, const sPinSituation& situation);

#endif

#ifndef STATEMACHINE_PIN_RULE_H
#define STATEMACHINE_PIN_RULE_H

#include <cstdint>
#include <string>

#include "include/result_codes.h"

// The life of the PIN in the PIN file, without files, store or modem: what is recorded of it, what
// each event makes of the record, and whether the PIN may be sent. A writing of the file is sent
// once; once more when it was not answered; again after each outage when it was good; and never
// again when the SIM refused it.

// Which writing of a file it is, never what stands in it: there are only so many PINs that a digest
// would give one away. A chmod is no writing.
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
    sFileStamp file;  // any other writing is new
    ePinState state = ePinState::NEW;
    int attempts = ATTEMPTS_NOT_READ;  // before the PIN was sent, or when it was last good
    int sendings = 0;                  // since it was new or good, without an answer
    bool opens = false;  // sent to a SIM that asked for it: one that is ready afterwards took it
};

bool operator==(const sPinRecord& left, const sPinRecord& right);

enum class ePinDecision {
    SEND,
    NOT_ASKED,     // the SIM does not wait for its PIN
    NO_FILE,       // nor is there one
    USED,          // sent already, and no outage since
    FAILED,        // refused, or twice not answered
    ATTEMPT_LOST,  // the SIM has fewer attempts than before the PIN was sent, or when it was good
    LAST_ATTEMPT,  // nothing is known of an old file, and the SIM has one attempt left
};

struct sPinSituation {
    sPinRecord record;
    sFileStamp file;       // as it is now
    bool isOlderThanHost;  // the file was written before the host was started
    int lockClass;         // eSIM_...
    int attempts;          // that the SIM reports, or ATTEMPTS_NOT_READ
    int outages;           // since the PIN was sent or the SIM was ready; a start counts as one
};

ePinDecision decidePin(const sPinSituation& situation);

// The record to store before a command that shows the SIM the PIN. opens: AT+CPIN; otherwise a
// command to a SIM that is ready.
sPinRecord pinSent(const sPinRecord& before, const sFileStamp& file, int attempts, bool opens);

// What an answer makes of the record that was stored before the command. Silence leaves it.
// before: as it was before that.
sPinRecord pinAnswered(const sPinRecord& sent, const sPinRecord& before, ePortReturn result);

// The SIM was found ready.
sPinRecord pinSimReady(const sPinRecord& record, int attempts);

bool isBadPassword(ePortReturn result);

// For the store. A text of an earlier version, which stood for a PIN whose outcome was not known,
// is read as sent with all attempts left; any text that is not understood is a record that is NEW.
std::string pinRecordText(const sPinRecord& record);
sPinRecord parsePinRecord(const std::string& text);

// Why a PIN is not sent, for the operator; empty where the last outcome says it already.
std::string pinRefusalText(ePinDecision decision, const sPinSituation& situation);

#endif

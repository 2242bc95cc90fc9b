#include "statemachine/pin_rule.h"

#include "include/modem_types.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"

namespace {

// Silence does not say whether the SIM has seen the PIN.
constexpr int SENDINGS_MAX = 2;

struct sStateName {
    ePinState state;
    const char* name;
};

const sStateName STATE_NAMES[] = {
    {ePinState::NEW, "new"},
    {ePinState::SENT, "sent"},
    {ePinState::GOOD, "good"},
    {ePinState::FAILED, "failed"},
};

bool isFewer(int attempts, int than) {
    return attempts != ATTEMPTS_NOT_READ && attempts < than;
}

std::string attemptsText(int attempts) {
    return itos(attempts) + (attempts == 1 ? " attempt" : " attempts");
}

// "131.5.1790000000.123456789": inode, size, seconds and nanoseconds of the last writing.
std::string stampText(const sFileStamp& file) {
    return ltos(static_cast<long long>(file.inode)) + "." + ltos(file.size) + "." +
           ltos(file.modifiedS) + "." + ltos(file.modifiedNs);
}

bool parseStamp(const std::string& text, sFileStamp& file) {
    const tokenstr fields(text, '.', eEmptyTokens::KEEP);
    if (fields.size() != 4) return false;
    for (const std::string& field : fields)
        if (!isNumericValue(field)) return false;
    file = {static_cast<uint64_t>(textToLong(fields[0])), textToLong(fields[1]),
            textToLong(fields[2]), textToLong(fields[3])};
    return true;
}

bool parseState(const std::string& text, ePinState& state) {
    for (const sStateName& row : STATE_NAMES) {
        if (text != row.name) continue;
        state = row.state;
        return true;
    }
    return false;
}

}  // namespace

bool sFileStamp::operator==(const sFileStamp& other) const {
    return inode == other.inode && size == other.size && modifiedS == other.modifiedS &&
           modifiedNs == other.modifiedNs;
}

bool operator==(const sPinRecord& left, const sPinRecord& right) {
    return left.file == right.file && left.state == right.state &&
           left.attempts == right.attempts && left.sendings == right.sendings &&
           left.opens == right.opens;
}

bool isBadPassword(ePortReturn result) {
    return result == CME_INCORRECT_PASSWORD || result == CME_SIM_PUK_REQUIRED;
}

ePinDecision decidePin(const sPinSituation& situation) {
    const sPinRecord& record = situation.record;
    if (situation.lockClass != eSIM_PIN_REQUIRED) return ePinDecision::NOT_ASKED;
    if (!situation.file.exists()) return ePinDecision::NO_FILE;
    // A file from before the host's start may have been tried before. If its PIN were right, the
    // SIM would have more than one attempt left.
    if (record.state == ePinState::NEW)
        return situation.isOlderThanHost && isFewer(situation.attempts, 2)
                   ? ePinDecision::LAST_ATTEMPT
                   : ePinDecision::SEND;
    if (record.file != situation.file) return ePinDecision::SEND;
    if (record.state == ePinState::FAILED || record.sendings >= SENDINGS_MAX)
        return ePinDecision::FAILED;
    if (isFewer(situation.attempts, record.attempts)) return ePinDecision::ATTEMPT_LOST;
    return situation.outages > 0 ? ePinDecision::SEND : ePinDecision::USED;
}

sPinRecord pinSent(const sPinRecord& before, const sFileStamp& file, int attempts, bool opens) {
    const bool isKnown = before.state != ePinState::NEW && before.file == file;
    // A request with a PIN that failed: only an answer can change that.
    if (isKnown && before.state == ePinState::FAILED) return before;
    sPinRecord sent;
    sent.file = file;
    sent.state = ePinState::SENT;
    sent.attempts = isKnown && attempts == ATTEMPTS_NOT_READ ? before.attempts : attempts;
    sent.sendings = isKnown ? before.sendings + 1 : 1;
    sent.opens = opens;
    return sent;
}

sPinRecord pinAnswered(const sPinRecord& sent, const sPinRecord& before, ePortReturn result) {
    sPinRecord record = sent;
    if (result == ePORT_NO_FINAL_RESULT) return record;
    if (result == ePORT_OK) {
        record.state = ePinState::GOOD;
        record.sendings = 0;
        record.opens = false;
        return record;
    }
    if (sent.opens || isBadPassword(result)) {
        record.state = ePinState::FAILED;
        return record;
    }
    // Another error, such as a busy modem, does not discredit a PIN that has opened the SIM.
    const bool wasGood = before.state == ePinState::GOOD && before.file == sent.file;
    return wasGood ? before : record;
}

sPinRecord pinSimReady(const sPinRecord& record, int attempts) {
    sPinRecord good = record;
    const bool isProven = record.state == ePinState::SENT && record.opens;
    if (!isProven && record.state != ePinState::GOOD) return record;
    good.state = ePinState::GOOD;
    good.sendings = 0;
    good.opens = false;
    if (attempts != ATTEMPTS_NOT_READ) good.attempts = attempts;
    return good;
}

// "131.5.1790000000.123456789 sent 3 1 1": the file version, its state, attempts, sendings, opens.
std::string pinRecordText(const sPinRecord& record) {
    std::string name;
    for (const sStateName& row : STATE_NAMES)
        if (row.state == record.state) name = row.name;
    return stampText(record.file) + " " + name + " " + itos(record.attempts) + " " +
           itos(record.sendings) + " " + (record.opens ? "1" : "0");
}

sPinRecord parsePinRecord(const std::string& text) {
    const tokenstr fields(text, ' ', eEmptyTokens::KEEP);
    sPinRecord record;
    if (!parseStamp(fields[0], record.file)) return {};
    if (fields.size() == 1) {
        // An earlier version stored the stamp alone. A request may have sent that PIN.
        record.state = ePinState::SENT;
        record.attempts = PIN_ATTEMPTS_FULL;
        record.sendings = 1;
        return record;
    }
    if (fields.size() != 5 || !parseState(fields[1], record.state)) return {};
    for (const size_t number : {2, 3, 4})
        if (!isNumericValue(fields[number])) return {};
    record.attempts = textToInt(fields[2]);
    record.sendings = textToInt(fields[3]);
    record.opens = fields[4] == "1";
    return record;
}

std::string pinRefusalText(ePinDecision decision, const sPinSituation& situation) {
    const std::string left = "the SIM has " + attemptsText(situation.attempts) + " left";
    const std::string wayOut = "; write the PIN file again to use it";
    switch (decision) {
        case ePinDecision::FAILED:
            return situation.file.size == 0
                       ? "Error: Cannot unlock SIM, CPIN is not set"
                       : "Error: SIM PIN not sent, it failed before; write the right PIN";
        case ePinDecision::ATTEMPT_LOST:
            return "Error: SIM PIN not sent, " + left + " and had " +
                   itos(situation.record.attempts) +
                   (situation.record.state == ePinState::GOOD ? " when the PIN was last good"
                                                              : " before the PIN was sent") +
                   wayOut;
        case ePinDecision::LAST_ATTEMPT:
            return "Error: SIM PIN not sent, " + left +
                   " and the file is older than the host's start" + wayOut;
        case ePinDecision::SEND:
        case ePinDecision::NOT_ASKED:
        case ePinDecision::NO_FILE:
        case ePinDecision::USED:
            break;
    }
    return "";
}

#ifndef SMS_SMS_RECORDS_H
#define SMS_SMS_RECORDS_H

#include <cstdint>
#include <queue>
#include <string>
#include <tuple>

#include "sms/spool.h"

// The records of messages, of their parts, and of the files they are in.

// A received message, or one part of it.
struct S_smsRecordRx {
    uint32_t index = 0;           // storage index in the modem
    std::string from;             // sender
    std::string time;             // service centre's time stamp, formatted
    std::string timeUnformatted;  // seconds since the epoch
    std::string message;
    int32_t msgId = 0;       // reference of a multi-part message
    int32_t partNumber = 0;  // 1-based
    int32_t partTotal = 0;   // below 2: a message of one part
    std::string journal;     // file that holds the message until /recv/ has it; empty: none
};

using tSmsQueue = std::queue<S_smsRecordRx>;

// What a part file of /recv_parts/ holds.
struct S_partsFileAttributes {
    std::string fileName;  // full path
    std::string from;      // digits only
    std::string time;
    std::string message;
    uint32_t timeUnformatted = 0;
    int32_t msgId = 0;
    int32_t partTotal = 0;
    int32_t partNumber = 0;
};

// A part file as it was read.
struct sPartFile {
    S_partsFileAttributes attributes;
    std::string fromAsWritten;
    sFileIdentity identity;
    // If false, the file could not be read and nothing above counts.
    bool isRead = false;
    uint64_t lastLookedAt = 0;
};

// What the parts of one message have in common.
struct sPartGroup {
    int32_t msgId = 0;
    int32_t partTotal = 0;
    std::string from;
};

inline bool operator<(const sPartGroup& a, const sPartGroup& b) {
    return std::tie(a.msgId, a.partTotal, a.from) < std::tie(b.msgId, b.partTotal, b.from);
}

inline bool operator==(const sPartGroup& a, const sPartGroup& b) {
    return a.msgId == b.msgId && a.partTotal == b.partTotal && a.from == b.from;
}

#endif

#ifndef SMS_PART_PAIRING_H
#define SMS_PART_PAIRING_H

#include <deque>
#include <vector>

#include "sms/part_file.h"

// A part that waits for the rest of its message. Its file's time orders parts of the same second.
struct sWaitingPart {
    S_partsFileAttributes attributes;
    std::string fromAsWritten;
    int64_t modifiedNs = 0;
};

using tParts = std::deque<sWaitingPart>;

sWaitingPart waitingPart(const sPartFile& file);

// Compares the service centre's time, which has seconds only, then the arrival.
bool isOlder(const sWaitingPart& a, const sWaitingPart& b);

// Divides the parts of one group into messages: senders count their messages to 255 and start
// again, so a group may hold several. First come complete messages whose parts have the same sender
// as written and were sent within an hour, so that an old leftover part does not spoil them. The
// other parts follow: the oldest part of each number makes the first message, the next oldest the
// second, and so on. Parts keep their order within a message. No message has more parts than the
// one before.
std::vector<tParts> pairParts(const tParts& parts);

#endif

#ifndef SMS_PART_PAIRING_H
#define SMS_PART_PAIRING_H

#include <deque>
#include <vector>

#include "sms/part_file.h"

// A part that waits, with what tells its age beside its time stamp.
struct sWaitingPart {
    S_partsFileAttributes attributes;
    std::string fromAsWritten;
    int64_t modifiedNs = 0;
};

using tParts = std::deque<sWaitingPart>;

sWaitingPart waitingPart(const sPartFile& file);

// By the service centre's time, which has seconds only; then by arrival.
bool isOlder(const sWaitingPart& a, const sWaitingPart& b);

// The parts of one group as those of several messages, since senders count their messages to 255
// and begin again. First come whole messages whose parts have the same sender as written and were
// sent within an hour, then those made of the others; of each number the oldest belongs to the
// first message, the next to the second. So a part that was left from long ago spoils no whole
// message. Within a message parts keep their order; none has more parts than the one before it.
std::vector<tParts> pairParts(const tParts& parts);

#endif

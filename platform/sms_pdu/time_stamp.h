#ifndef PLATFORM_SMS_PDU_TIME_STAMP_H
#define PLATFORM_SMS_PDU_TIME_STAMP_H

#include <string>

#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

struct sTimeStamp {
    std::string local;  // "%Y-%m-%d %H:%M:%S" in the stamp's own zone; empty where unreadable
    std::string secondsSinceEpoch = "0";  // in decimal, of UTC; "0" where unreadable
};

// A stamp that is no date (digits above nine, a 30th of February) is unreadable; the message that
// bears it is not for that.

// 3GPP TS 23.040 section 9.2.3.11: seven octets with the first digit in the low half, the last one
// the zone in quarters of an hour. A zone that is no number counts as UTC. Years 90 to 99 are those
// of the 20th century, in which the service began.
sTimeStamp readServiceCentreTime(const tOctets& stamp);

// 3GPP2 C.S0015 section 4.5.4: six octets with the first digit in the high half. Years 96 to 99 are
// those of the 20th century. The stamp tells no zone: its seconds are counted as though it were
// UTC. Octets behind the sixth are not read.
sTimeStamp readMessageCentreTime(const tOctets& stamp);

}  // namespace sms_pdu

#endif

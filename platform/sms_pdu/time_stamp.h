#ifndef PLATFORM_SMS_PDU_TIME_STAMP_H
#define PLATFORM_SMS_PDU_TIME_STAMP_H

#include <string>

#include "platform/sms_pdu/octets.h"

namespace sms_pdu {

struct sTimeStamp {
    std::string local;  // "%Y-%m-%d %H:%M:%S" in the stamp's own zone; empty if unreadable
    std::string secondsSinceEpoch = "0";  // in decimal, of UTC; "0" if unreadable
};

// A stamp that is no date (digits above nine, a 30th of February) is unreadable; its message is
// still readable.

// 3GPP TS 23.040 section 9.2.3.11: seven octets with the first digit in the low half; the last one
// is the zone in quarters of an hour. A zone that is no number counts as UTC. Years 90 to 99 are
// 1990 to 1999, when the service began.
sTimeStamp readServiceCentreTime(const tOctets& stamp);

// 3GPP2 C.S0015 section 4.5.4: six octets with the first digit in the high half. Years 96 to 99 are
// 1996 to 1999. The stamp has no zone: its seconds are counted as if it were UTC. Octets after the
// sixth are not read.
sTimeStamp readMessageCentreTime(const tOctets& stamp);

}  // namespace sms_pdu

#endif

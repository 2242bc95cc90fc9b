#include <gtest/gtest.h>

#include "tests/unit/platform/sms_pdu/support.h"

namespace {

struct sCase {
    const char* stamp;
    const char* local;
    const char* seconds;
};

void expectTime(const sDecoded& decoded, const sCase& expected) {
    SCOPED_TRACE(expected.stamp);
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.timestamp, expected.local);
    EXPECT_EQ(decoded.sms.timestampUnformatted, expected.seconds);
}

void expectStamps3gpp(const std::vector<sCase>& cases) {
    for (const sCase& expected : cases) {
        sTestDeliver deliver;
        deliver.stamp = expected.stamp;
        const sDecoded decoded = decode(deliver);
        expectTime(decoded, expected);
        EXPECT_EQ(decoded.text(), "hellohello");
    }
}

}  // namespace

TEST(SmsTimeStamp, Zones) {
    expectStamps3gpp({
        {"02606251013500", "2020-06-26 15:10:53", "1593184253"},
        {"02606251013540", "2020-06-26 15:10:53", "1593180653"},  // +1 h
        {"02606251013580", "2020-06-26 15:10:53", "1593177053"},  // +2 h
        {"02606251013522", "2020-06-26 15:10:53", "1593164453"},  // +5:30
        {"02606251013565", "2020-06-26 15:10:53", "1593133853"},  // +14 h
        {"02606251013597", "2020-06-26 15:10:53", "1593113153"},  // the greatest possible
        {"02606251013508", "2020-06-26 15:10:53", "1593184253"},  // -0
        {"0260625101354A", "2020-06-26 15:10:53", "1593205853"},  // -6 h
        {"0260625101352B", "2020-06-26 15:10:53", "1593213053"},  // -8 h
        {"0260625101359F", "2020-06-26 15:10:53", "1593255353"},
    });
}

TEST(SmsTimeStamp, ZoneThatIsNoNumber_CountsAsUtc) {
    expectStamps3gpp({
        {"026062510135FF", "2020-06-26 15:10:53", "1593184253"},
        {"026062510135A0", "2020-06-26 15:10:53", "1593184253"},
    });
}

TEST(SmsTimeStamp, Calendar) {
    expectStamps3gpp({
        {"00209200000000", "2000-02-29 00:00:00", "951782400"},
        {"42209232959500", "2024-02-29 23:59:59", "1709251199"},
        {"99211332959500", "1999-12-31 23:59:59", "946684799"},
        {"09101000000000", "1990-01-01 00:00:00", "631152000"},
        {"83109141417000", "2038-01-19 14:14:07", "2147523247"},
        {"98211332959500", "2089-12-31 23:59:59", "3786911999"},
    });
}

TEST(SmsTimeStamp, NoDate_LosesNothingButTheTime) {
    expectStamps3gpp({
        {"00000000000000", "", "0"},  // month and day 0
        {"02006200000000", "", "0"},  // month 0
        {"02316200000000", "", "0"},  // month 13
        {"02600000000000", "", "0"},  // day 0
        {"02601300000000", "", "0"},  // 31st of June
        {"32209200000000", "", "0"},  // 29th of February 2023
        {"02606242013500", "", "0"},  // hour 24
        {"02606251063500", "", "0"},  // minute 60
        {"02606251010600", "", "0"},  // second 60
        {"A2606251013500", "", "0"},  // digits above nine
        {"0260625101F500", "", "0"},
        {"FFFFFFFFFFFFFF", "", "0"},
    });
}

TEST(SmsTimeStamp, MessageCentre) {
    const std::vector<sCase> cases = {
        {"200626151053", "2020-06-26 15:10:53", "1593184253"},
        {"960101000000", "1996-01-01 00:00:00", "820454400"},
        {"991231235959", "1999-12-31 23:59:59", "946684799"},
        {"000229000000", "2000-02-29 00:00:00", "951782400"},
        {"951231235959", "2095-12-31 23:59:59", "3976214399"},
        {"20062615105320", "2020-06-26 15:10:53", "1593184253"},  // more than the six octets
        {"2006261510", "", "0"},
        {"200631151053", "", "0"},
        {"2006261A1053", "", "0"},
        {"", "", "0"},
    };
    for (const sCase& expected : cases) {
        sTest3gpp2 message;
        message.stamp = expected.stamp;
        message.userData = userData3gpp2(2, 7, {'h', 'i'});
        const sDecoded decoded = decode3gpp2(message);
        expectTime(decoded, expected);
        EXPECT_EQ(decoded.text(), "hi");
    }
}

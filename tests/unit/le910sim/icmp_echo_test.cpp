#include <gtest/gtest.h>

#include "le910sim/icmp_echo.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

// 10.0.0.9 pings 10.0.0.1: identifier 0x1234, sequence 1, data "ping"; checksums computed
// separately.
const char* const PING4 =
    "45000020000100004001"
    "66d3"
    "0a0000090a000001"
    "080006fa"
    "12340001"
    "70696e67";
// 2001:db8::1 pings 2001:db8::2 with the same.
const char* const PING6 =
    "60000000000c3a40"
    "20010db8000000000000000000000001"
    "20010db8000000000000000000000002"
    "8000"
    "333e"
    "12340001"
    "70696e67";

std::vector<uint8_t> bytes(const std::string& hex) {
    std::vector<uint8_t> result;
    EXPECT_TRUE(fromHex(hex, result));
    return result;
}

bool everybody(const std::string&) {
    return true;
}

}  // namespace

TEST(Le910simIcmp, Ipv4Request_GivesItsReply) {
    std::string asked;
    const auto reply = echoReply(bytes(PING4), [&asked](const std::string& source) {
        asked = source;
        return true;
    });
    ASSERT_TRUE(reply);
    EXPECT_EQ(asked, "10.0.0.9");
    EXPECT_EQ(toHex(*reply),
              "45000020000100004001"
              "66D3"
              "0A0000010A000009"
              "00000EFA"
              "12340001"
              "70696E67");
}

TEST(Le910simIcmp, Ipv6Request_GivesItsReply) {
    std::string asked;
    const auto reply = echoReply(bytes(PING6), [&asked](const std::string& source) {
        asked = source;
        return true;
    });
    ASSERT_TRUE(reply);
    EXPECT_EQ(asked, "2001:db8::1");
    EXPECT_EQ(toHex(*reply).substr(0, 80),
              "60000000000C3A40"
              "20010DB8000000000000000000000002"
              "20010DB8000000000000000000000001");
    EXPECT_EQ(toHex(*reply).substr(80),
              "8100"
              "323E"
              "12340001"
              "70696E67");
}

TEST(Le910simIcmp, ForeignSource_IsNotAnswered) {
    EXPECT_FALSE(echoReply(bytes(PING4), [](const std::string&) { return false; }));
    EXPECT_FALSE(echoReply(bytes(PING6), [](const std::string&) { return false; }));
}

TEST(Le910simIcmp, CutAnywhere_GivesNothing) {
    for (const char* ping : {PING4, PING6}) {
        const std::vector<uint8_t> whole = bytes(ping);
        for (size_t length = 0; length < whole.size(); ++length) {
            const std::vector<uint8_t> part(whole.begin(),
                                            whole.begin() + static_cast<long>(length));
            EXPECT_FALSE(echoReply(part, everybody)) << length;
        }
    }
}

TEST(Le910simIcmp, OtherPackets_GiveNothing) {
    std::vector<uint8_t> packet = bytes(PING4);
    packet[9] = 17;
    EXPECT_FALSE(echoReply(packet, everybody));
    packet = bytes(PING4);
    packet[20] = 0;
    EXPECT_FALSE(echoReply(packet, everybody));
    packet = bytes(PING4);
    packet[6] = 0x20;
    EXPECT_FALSE(echoReply(packet, everybody));
    packet = bytes(PING4);
    packet[0] = 0x4F;
    EXPECT_FALSE(echoReply(packet, everybody));
    packet = bytes(PING6);
    packet[40] = 135;
    EXPECT_FALSE(echoReply(packet, everybody));
}

}  // namespace le910sim

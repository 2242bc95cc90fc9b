#include "le910sim/ethernet.h"

#include <gtest/gtest.h>

#include "le910sim/icmp_echo.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

const tHardwareAddress MODEM = {2, 0, 0, 0, 1, 2};

// The host 10.64.1.8 asks for its gateway 10.64.1.1.
const std::string ARP =
    "FFFFFFFFFFFF"
    "020000000101"
    "0806"
    "0001080006040001"
    "020000000101"
    "0A400108"
    "000000000000"
    "0A400101";
// The host 2001:db8::8 asks for fe80::1.
const std::string SOLICITATION =
    "3333FF000001"
    "020000000101"
    "86DD"
    "6000000000203AFF"
    "20010DB8000000000000000000000008"
    "FF0200000000000000000001FF000001"
    "8700000000000000"
    "FE800000000000000000000000000001"
    "0101020000000101";

std::vector<uint8_t> bytes(const std::string& hex) {
    std::vector<uint8_t> result;
    EXPECT_TRUE(fromHex(hex, result));
    return result;
}

bool nobodys(const std::string&) {
    return false;
}

std::string replyTo(const std::string& frame,
                    const std::function<bool(const std::string&)>& own = nobodys) {
    const auto reply = neighbourReply(bytes(frame), MODEM, own);
    return reply ? toHex(*reply) : "";
}

std::string changed(std::string frame, size_t octet, const std::string& octets) {
    return frame.replace(2 * octet, octets.size(), octets);
}

}  // namespace

TEST(Le910simEthernet, ArpRequest_GetsTheModemsAddress) {
    EXPECT_EQ(replyTo(ARP),
              "020000000101"
              "020000000102"
              "0806"
              "0001080006040002"
              "020000000102"
              "0A400101"
              "020000000101"
              "0A400108");
}

TEST(Le910simEthernet, ArpRequestForAnAddressOfTheHost_GetsNoAnswer) {
    EXPECT_EQ(replyTo(ARP, [](const std::string& address) { return address == "10.64.1.1"; }), "");
}

TEST(Le910simEthernet, ArpOfAHostThatLooksWhetherItsAddressIsFree_GetsNoAnswer) {
    EXPECT_EQ(replyTo(changed(ARP, 28, "00000000")), "") << "probe";
    EXPECT_EQ(replyTo(changed(ARP, 38, "0A400108")), "") << "announcement";
}

TEST(Le910simEthernet, ArpThatIsNoRequest_GetsNoAnswer) {
    EXPECT_EQ(replyTo(changed(ARP, 21, "02")), "");
    EXPECT_EQ(replyTo(changed(ARP, 15, "06")), "") << "another hardware";
}

TEST(Le910simEthernet, NeighbourSolicitation_GetsTheModemsAddress) {
    const std::string reply = replyTo(SOLICITATION);
    EXPECT_EQ(reply.substr(0, 28), "02000000010102000000010286DD");
    EXPECT_EQ(reply.substr(28, 16), "6000000000203AFF");
    EXPECT_EQ(reply.substr(44, 64),
              "FE80000000000000000000000000000120010DB8000000000000000000000008");
    EXPECT_EQ(reply.substr(108, 4), "8800");
    EXPECT_EQ(reply.substr(116), "60000000FE8000000000000000000000000000010201020000000102");
}

// RFC 8200 section 8.1: with its checksum the sum over addresses, length, protocol and message is
// 0.
TEST(Le910simEthernet, Advertisement_HasTheRightChecksum) {
    const auto reply = neighbourReply(bytes(SOLICITATION), MODEM, nobodys);
    ASSERT_TRUE(reply);
    std::vector<uint8_t> covered(reply->begin() + 22, reply->end());
    covered.insert(covered.end(), {0, 0, 0, 32, 0, 0, 0, 58});
    EXPECT_EQ(internetChecksum(covered), 0);
}

TEST(Le910simEthernet, SolicitationForAnAddressOfTheHost_GetsNoAnswer) {
    EXPECT_EQ(replyTo(SOLICITATION, [](const std::string& a) { return a == "fe80::1"; }), "");
    EXPECT_EQ(replyTo(changed(SOLICITATION, 22, std::string(32, '0'))), "") << "address is tried";
}

TEST(Le910simEthernet, FrameThatIsCutAnywhere_GetsNoAnswerAndHarmsNobody) {
    for (const std::string& frame : {ARP, SOLICITATION.substr(0, 2 * 78)}) {
        for (size_t length = 0; length < frame.size(); length += 2) {
            EXPECT_EQ(replyTo(frame.substr(0, length)), "") << length;
        }
    }
}

TEST(Le910simEthernet, Packet_ComesOutOfItsFrameAndIntoOne) {
    const std::vector<uint8_t> ipv4 = bytes("45000014000100004001000000000000");
    const std::vector<uint8_t> frame = frameOf(ipv4, {2, 0, 0, 0, 1, 1}, MODEM);
    EXPECT_EQ(toHex(frame).substr(0, 28), "0200000001010200000001020800");
    EXPECT_EQ(packetOf(frame), ipv4);
    EXPECT_EQ(toHex(frameOf(bytes("60000000"), MODEM, MODEM)).substr(24, 4), "86DD");
    EXPECT_FALSE(packetOf(bytes(ARP)));
    EXPECT_FALSE(packetOf({}));
}

}  // namespace le910sim

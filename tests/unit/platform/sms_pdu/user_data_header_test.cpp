#include <gtest/gtest.h>

#include "tests/unit/platform/sms_pdu/support.h"

namespace {

struct sExpected {
    int reference, partNumber, numberOfParts;
};

constexpr sExpected SINGLE = {0, 0, 0};

void expectParts(const std::string& header, const sExpected& expected) {
    SCOPED_TRACE(header);
    const sDecoded decoded = decode(deliverWithHeader(header, plainSeptets("text")));
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.reference, expected.reference);
    EXPECT_EQ(decoded.sms.partNumber, expected.partNumber);
    EXPECT_EQ(decoded.sms.numberOfParts, expected.numberOfParts);
    EXPECT_EQ(decoded.text(), "text");
}

}  // namespace

TEST(SmsHeader, EightBitReference) {
    expectParts("0003010201", {1, 1, 2});
    expectParts("0003FFFFFF", {255, 255, 255});
    expectParts("0003800302", {128, 2, 3});
}

TEST(SmsHeader, SixteenBitReference) {
    expectParts("080400010201", {1, 1, 2});
    expectParts("0804FFFFFFFF", {65535, 255, 255});
    expectParts("080412340D0D", {0x1234, 13, 13});
}

TEST(SmsHeader, ReferenceZero_IsReportedAs65536) {
    expectParts("0003000201", {65536, 1, 2});
    expectParts("080400000202", {65536, 2, 2});
}

TEST(SmsHeader, OtherElementsBefore_AreSkipped) {
    expectParts("050423F0000000032A0302", {0x2A, 2, 3});
    expectParts(
        "24010125010170007F0008041234"
        "0201",
        {0x1234, 1, 2});
    expectParts(
        "00032A0302"
        "050423F00000",
        {0x2A, 2, 3});
}

TEST(SmsHeader, NationalLanguageElements_DoNotMakeParts) {
    expectParts("240101", SINGLE);
    expectParts("250103", SINGLE);
    expectParts("2401FF25010000032A0302", {0x2A, 2, 3});
}

TEST(SmsHeader, ImpossiblePart_IsIgnored) {
    expectParts("0003010200", SINGLE);
    expectParts("0003010203", SINGLE);
    expectParts("0003010000", SINGLE);
    expectParts("0003010001", SINGLE);
    expectParts("080400010200", SINGLE);
    expectParts("080400010203", SINGLE);
    expectParts(
        "00032A0302"
        "0003010200",
        {0x2A, 2, 3});  // the valid one stays
}

TEST(SmsHeader, PartOneOfOne_IsASingleMessage) {
    expectParts("00032A0101", SINGLE);
    expectParts("0804002A0101", SINGLE);
}

TEST(SmsHeader, Repeated_LastCounts) {
    expectParts(
        "00032A0302"
        "0003010201",
        {1, 1, 2});
    expectParts(
        "00032A0302"
        "080412340201",
        {0x1234, 1, 2});
    expectParts(
        "080412340201"
        "00032A0302",
        {0x2A, 2, 3});
}

TEST(SmsHeader, ElementOfAWrongLength_IsIgnored) {
    expectParts("00022A03", SINGLE);
    expectParts("00042A030200", SINGLE);
    expectParts("0000", SINGLE);
    expectParts("0803120302", SINGLE);
    expectParts(
        "080512340201"
        "00",
        SINGLE);
}

TEST(SmsHeader, ElementsThatDoNotAddUp_AreAllIgnored) {
    expectParts(
        "00032A0302"
        "00",
        SINGLE);
    expectParts(
        "00032A0302"
        "7005AA",
        SINGLE);
    expectParts("00042A0302", SINGLE);
    expectParts("00032A03", SINGLE);
    expectParts("00", SINGLE);
    expectParts("FFFF", SINGLE);
}

TEST(SmsHeader, Empty_IsAHeader) {
    expectParts("", SINGLE);
}

TEST(SmsHeader, FillBits_ForEveryHeaderLength) {
    for (unsigned length = 0; length <= 130; length++) {
        const std::string filler =
            length < 2 ? std::string(length * 2, '7')
                       : "70" + hexOctet(length - 2) + std::string((length - 2) * 2, '5');
        expectParts(filler, SINGLE);
    }
}

TEST(SmsHeader, LongerThanTheUserData_IsText) {
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    EXPECT_EQ(decode(deliver).text(), "hellohello");  // E8 would be its length
    deliver.scheme = "04";
    deliver.length = 9;
    EXPECT_EQ(decode(deliver).hex(), "E8329BFD4697D9EC37");
    deliver.scheme = "08";
    EXPECT_EQ(decode(deliver).hex(), "E8329BFD4697D9EC");
    deliver.length = 3;
    deliver.userData = "030041";
    EXPECT_EQ(decode(deliver).hex(), "0300");
}

TEST(SmsHeader, FillsTheUserData_LeavesAnEmptyText) {
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    deliver.userData = "0500032A0302";
    for (const char* scheme : {"00", "04", "08"}) {
        deliver.scheme = scheme;
        deliver.length = scheme[1] == '0' ? 7 : 6;
        if (scheme[1] == '0') deliver.userData += "00";
        const sDecoded decoded = decode(deliver);
        EXPECT_EQ(decoded.result, 0);
        EXPECT_EQ(decoded.sms.userDataLength, 0u);
        EXPECT_EQ(decoded.sms.partNumber, 2);
        deliver.userData = "0500032A0302";
    }
}

// The announced septets end within the header, although all octets of the header exist.
TEST(SmsHeader, LongerThanTheSeptetsButNotTheOctets_LeavesAnEmptyText) {
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    deliver.userData = "0500032A0302";
    deliver.length = 6;
    const sDecoded decoded = decode(deliver);
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.userDataLength, 0u);
    EXPECT_EQ(decoded.sms.numberOfParts, 3);
}

TEST(SmsHeader, AnnouncedWithoutUserData_IsAnEmptyMessage) {
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    deliver.length = 0;
    deliver.userData = "";
    const sDecoded decoded = decode(deliver);
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.userDataLength, 0u);
}

TEST(SmsHeader, BeforeOctetsAndWideText_IsRead) {
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    deliver.scheme = "04";
    deliver.userData = "0500032A0302FF00";
    deliver.length = 8;
    EXPECT_EQ(decode(deliver).hex(), "FF00");
    deliver.scheme = "08";
    deliver.userData =
        "06080412340302"
        "00E9"
        "D83D";
    deliver.length = 11;
    const sDecoded decoded = decode(deliver);
    EXPECT_EQ(decoded.hex(), "00E9D83D");
    EXPECT_EQ(decoded.sms.reference, 0x1234);
}

TEST(SmsHeader, NotAnnounced_IsText) {
    sTestDeliver deliver = deliverWithHeader("00032A0302", plainSeptets("text"));
    deliver.firstOctet = "04";
    const sDecoded decoded = decode(deliver);
    EXPECT_EQ(decoded.sms.numberOfParts, 0);
    EXPECT_GE(decoded.sms.userDataLength, deliver.length);
    EXPECT_EQ(decoded.text().substr(decoded.text().size() - 4), "text");
}

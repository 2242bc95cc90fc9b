#include <gtest/gtest.h>

#include "tests/unit/platform/sms_pdu/support.h"

namespace {

sTest3gpp2 messageWith(const std::string& userData, bool hasHeader = false) {
    sTest3gpp2 message;
    message.userData = userData;
    message.hasHeader = hasHeader;
    return message;
}

const std::string HELLO = userData3gpp2(2, 7, {'h', 'e', 'l', 'l', 'o'});

// Septets packed from the low end, after the bits of the encoding.
std::string packedUserData(const std::string& encodingBits, size_t fields,
                           const std::string& packed) {
    std::string bits = encodingBits + bitsOf(static_cast<unsigned>(fields), 8);
    for (const unsigned char octet : octetsOfHexText(packed))
        bits += bitsOf(octet, 8);
    return hexOfBits(bits);
}

std::string dtmfAddress(const std::vector<unsigned>& codes) {
    std::string bits = "00" + bitsOf(static_cast<unsigned>(codes.size()), 8);
    for (const unsigned code : codes)
        bits += bitsOf(code, 4);
    return hexOfBits(bits);
}

std::string eightBitAddress(const std::string& mode, const std::string& typeAndPlan,
                            const std::string& text) {
    std::string bits = "1" + mode + typeAndPlan + bitsOf(static_cast<unsigned>(text.size()), 8);
    for (const unsigned char character : text)
        bits += bitsOf(character, 8);
    return hexOfBits(bits);
}

std::string senderOf(const std::string& address) {
    sTest3gpp2 message = messageWith(HELLO);
    message.address = address;
    const sDecoded decoded = decode3gpp2(message);
    EXPECT_EQ(decoded.result, 0) << address;
    EXPECT_EQ(decoded.text(), "hello") << address;
    return decoded.sms.from;
}

}  // namespace

TEST(Sms3gpp2, Examples_GiveTheirFields) {
    for (const sExample& example : examples3gpp2())
        expectExample(example, decode3gpp2(example.pdu, example.length));
}

TEST(Sms3gpp2, Line_ThatIsNotAsAnnounced) {
    const std::string pdu = messageWith(HELLO).pdu();
    const size_t length = pdu.size() / 2;
    expectRefused(decode3gpp2(pdu, length + 1));
    expectRefused(decode3gpp2(pdu, length - 1));
    expectRefused(decode3gpp2(pdu, 0));
    expectRefused(decode3gpp2(pdu + "0", length));
    expectRefused(decode3gpp2("x" + pdu.substr(1), length));
    EXPECT_EQ(decode3gpp2(pdu + "0D0D", length).text(), "hello");
}

TEST(Sms3gpp2, OtherThanPointToPoint_IsRefused) {
    const std::string pdu = messageWith(HELLO).pdu();
    for (unsigned type = 1; type < 256; type++) {
        expectRefused(decode3gpp2(hexOctet(type) + pdu.substr(2), pdu.size() / 2));
    }
}

TEST(Sms3gpp2, OtherThanDeliver_IsRefused) {
    for (unsigned type = 0; type < 16; type++) {
        const std::string bearer =
            element(0x00, hexOfBits(bitsOf(type, 4) + bitsOf(1, 20))) + element(0x01, HELLO);
        const std::string pdu = transportMessage(dtmfAddress({1, 2}), bearer);
        EXPECT_EQ(decode3gpp2(pdu, pdu.size() / 2).result, type == 1 ? 0 : -1) << type;
    }
}

TEST(Sms3gpp2, MessageIdentifier_MissingOrShortIsRefused) {
    for (const char* identifier : {"", "0000", "000110", "00021ABC"}) {
        const std::string pdu =
            transportMessage(dtmfAddress({1, 2}), identifier + element(0x01, HELLO));
        expectRefused(decode3gpp2(pdu, pdu.size() / 2));
    }
    expectRefused(decode3gpp2("000002100202024048", 9));  // no bearer data at all
}

TEST(Sms3gpp2, MessageIdentifier_MayComeAfterTheUserData) {
    const std::string bits = "00010" + bitsOf(12, 8) + bitsOf(0x05, 8) + bitsOf(0x00, 8) +
                             bitsOf(0x03, 8) + bitsOf(0x2A, 8) + bitsOf(0x03, 8) + bitsOf(0x02, 8) +
                             "0" + bitsOf('h', 7) + bitsOf('e', 7) + bitsOf('l', 7) +
                             bitsOf('l', 7) + bitsOf('o', 7);
    const std::string bearer = element(0x01, hexOfBits(bits)) + element(0x00, "1ABCD8");
    const std::string pdu = transportMessage(dtmfAddress({1, 2}), bearer);
    const sDecoded decoded = decode3gpp2(pdu, pdu.size() / 2);
    EXPECT_EQ(decoded.text(), "hello");
    EXPECT_EQ(decoded.sms.reference, 42);
    EXPECT_EQ(decoded.sms.partNumber, 2);
    EXPECT_EQ(decoded.sms.numberOfParts, 3);
}

TEST(Sms3gpp2, ElementsThatExceedTheEnd_AreRefused) {
    const std::string pdu = messageWith(HELLO).pdu();
    expectRefused(decode3gpp2(pdu + "0A", pdu.size() / 2 + 1));
    expectRefused(decode3gpp2(pdu + "0A01", pdu.size() / 2 + 2));
    for (const char* rest : {"0E", "0E01", "0E05AABBCCDD"}) {
        const std::string bad =
            transportMessage(dtmfAddress({1, 2}), messageWith(HELLO).bearerData() + rest);
        expectRefused(decode3gpp2(bad, bad.size() / 2));
    }
}

TEST(Sms3gpp2, WithoutUserData_IsAnEmptyMessage) {
    const sDecoded decoded = decode3gpp2(messageWith(""));
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.userDataLength, 0u);
    EXPECT_EQ(decoded.sms.timestamp, "2003-06-22 10:15:30");
}

TEST(Sms3gpp2, WithoutSender_IsAMessage) {
    const std::string pdu = "00" + element(0x08, messageWith(HELLO).bearerData());
    const sDecoded decoded = decode3gpp2(pdu, pdu.size() / 2);
    EXPECT_EQ(decoded.text(), "hello");
    EXPECT_EQ(decoded.sms.from, "");
}

TEST(Sms3gpp2, Sender_Digits) {
    EXPECT_EQ(senderOf(dtmfAddress({1, 2, 3, 4, 5, 6, 7, 8, 9, 10})), "1234567890");
    EXPECT_EQ(senderOf(dtmfAddress({11, 12, 1})), "*#1");
    EXPECT_EQ(senderOf(dtmfAddress({0, 1, 13, 14, 15})), "1");  // reserved codes
    EXPECT_EQ(senderOf(dtmfAddress({})), "");
}

TEST(Sms3gpp2, Sender_EightBit) {
    EXPECT_EQ(senderOf(eightBitAddress("0", "0010001", "1202555")), "+1202555");
    EXPECT_EQ(senderOf(eightBitAddress("0", "0010001", "+1202555")), "+1202555");
    EXPECT_EQ(senderOf(eightBitAddress("0", "0100001", "202555")), "202555");
    EXPECT_EQ(senderOf(eightBitAddress("0", "0000000", "7250")), "7250");
    EXPECT_EQ(senderOf(eightBitAddress("0", "0010001", "")), "");
    EXPECT_EQ(senderOf(eightBitAddress("1", "010", "a@b.example")), "a@b.example");
    EXPECT_EQ(senderOf(eightBitAddress("1", "001", "127")), "127");  // an address, no "+"
    EXPECT_EQ(senderOf(eightBitAddress("0", "0000001", std::string("1\0\n2\x7F\xB1", 6))), "12");
}

TEST(Sms3gpp2, Sender_CutOffIsRefused) {
    for (const char* address : {"00", "3F", "02", "0280", "0284C0", "C0", "8201", "82018"}) {
        sTest3gpp2 message = messageWith(HELLO);
        message.address = std::string(address).substr(0, std::string(address).size() / 2 * 2);
        expectRefused(decode3gpp2(message));
    }
}

TEST(Sms3gpp2, SevenBitText) {
    for (const unsigned encoding : {2u, 3u}) {
        const sDecoded decoded =
            decode3gpp2(messageWith(userData3gpp2(encoding, 7, {'@', 'a', '\n', '~', '`'})));
        EXPECT_EQ(decoded.text(), "@a\n~`");
        EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_TEXT);
    }
    EXPECT_EQ(decode3gpp2(messageWith(userData3gpp2(2, 7, {'a', 0, 'b', 0}))).text(), "ab");
}

TEST(Sms3gpp2, SevenBitText_OfEveryLength) {
    for (unsigned count = 0; count <= 255; count++) {
        std::vector<unsigned> fields;
        for (unsigned i = 0; i < count; i++)
            fields.push_back('A' + i % 26);
        const sDecoded decoded = decode3gpp2(messageWith(userData3gpp2(2, 7, fields)));
        EXPECT_EQ(decoded.text(), std::string(fields.begin(), fields.end()));
    }
}

TEST(Sms3gpp2, OctetsAndScriptsOfEightBits_AreKept) {
    for (const unsigned encoding : {0u, 5u, 6u, 7u}) {
        const sDecoded decoded =
            decode3gpp2(messageWith(userData3gpp2(encoding, 8, {0x00, 0x82, 0xA0, 0xFF})));
        EXPECT_EQ(decoded.hex(), "0082A0FF");
        EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_8BIT);
    }
}

TEST(Sms3gpp2, WideText_IsKept) {
    const sDecoded decoded =
        decode3gpp2(messageWith(userData3gpp2(4, 16, {0x0041, 0x0000, 0xD83D, 0xDE00})));
    EXPECT_EQ(decoded.hex(), "00410000D83DDE00");
    EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_16BIT);
}

TEST(Sms3gpp2, LatinText_BecomesUtf8) {
    const sDecoded decoded =
        decode3gpp2(messageWith(userData3gpp2(8, 8, {'G', 'r', 0xFC, 0xDF, 'e', 0, 0xA9})));
    EXPECT_EQ(decoded.text(), "Grüße©");
    EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_TEXT);
}

TEST(Sms3gpp2, TextBeyondTheLimit_IsGivenIn16Bits) {
    const sDecoded fits =
        decode3gpp2(messageWith(userData3gpp2(8, 8, std::vector<unsigned>(160, 0xE9))));
    EXPECT_EQ(fits.sms.dataCoding, SMS_CODING_TEXT);
    EXPECT_EQ(fits.sms.userDataLength, SMS_MAX_TEXT_OCTETS);
    const sDecoded tooLong =
        decode3gpp2(messageWith(userData3gpp2(8, 8, std::vector<unsigned>(161, 0xE9))));
    EXPECT_EQ(tooLong.sms.dataCoding, SMS_CODING_16BIT);
    EXPECT_EQ(tooLong.sms.userDataLength, 322u);
    EXPECT_EQ(tooLong.hex().substr(640), "00E9");
}

TEST(Sms3gpp2, GsmText_ArePackedSeptets) {
    const std::vector<uint8_t> septets = {0x00, 'a', 0x1B, 0x65, 0x10, 'b', 'c', 'd', 'e'};
    for (size_t count = 0; count <= septets.size(); count++) {
        const std::vector<uint8_t> some(septets.begin(),
                                        septets.begin() + static_cast<std::ptrdiff_t>(count));
        const char* const texts[] = {"",     "@",     "@a",     "@a ",     "@a€",
                                     "@a€Δ", "@a€Δb", "@a€Δbc", "@a€Δbcd", "@a€Δbcde"};
        const sDecoded decoded =
            decode3gpp2(messageWith(packedUserData("01001", count, packedHex(some))));
        EXPECT_EQ(decoded.text(), texts[count]);
    }
}

TEST(Sms3gpp2, GsmScheme_DecidesHowTheFieldsAreRead) {
    const std::string septets = packedHex(plainSeptets("hello"));
    EXPECT_EQ(decode3gpp2(messageWith(packedUserData("0101000000000", 5, septets))).text(),
              "hello");
    const sDecoded octets = decode3gpp2(messageWith(packedUserData("0101000000100", 2, "00FF")));
    EXPECT_EQ(octets.hex(), "00FF");
    EXPECT_EQ(octets.sms.dataCoding, SMS_CODING_8BIT);
    const sDecoded wide = decode3gpp2(messageWith(packedUserData("0101000001000", 2, "00410042")));
    EXPECT_EQ(wide.hex(), "00410042");
    EXPECT_EQ(wide.sms.dataCoding, SMS_CODING_16BIT);
}

TEST(Sms3gpp2, UnknownEncodings_AreRefused) {
    for (unsigned encoding = 0; encoding < 32; encoding++) {
        const bool known = encoding != 1 && encoding <= 10;
        const sDecoded decoded =
            decode3gpp2(messageWith(userData3gpp2(encoding, 16, {0, 0, 0, 0})));
        EXPECT_EQ(decoded.result, known ? 0 : -1) << encoding;
    }
}

TEST(Sms3gpp2, MissingFields_AreRefused) {
    for (const char* userData :
         {"10", "1008", "1010", "1020834C", "001000", "20100041", "4808", "50", "5000", "500008"}) {
        expectRefused(decode3gpp2(messageWith(userData)));
    }
}

TEST(Sms3gpp2, HeaderIndicator_MakesAHeaderOfTheFirstFields) {
    const std::string gsm = deliverWithHeader("080412340302", plainSeptets("text")).userData;
    const sDecoded septets = decode3gpp2(messageWith(packedUserData("01001", 12, gsm), true));
    EXPECT_EQ(septets.text(), "text");
    EXPECT_EQ(septets.sms.reference, 0x1234);
    EXPECT_EQ(septets.sms.partNumber, 2);
    EXPECT_EQ(septets.sms.numberOfParts, 3);

    const std::vector<unsigned> fields = {5, 0, 3, 42, 2, 1, 0xFF, 0xE9};
    const sDecoded octets = decode3gpp2(messageWith(userData3gpp2(0, 8, fields), true));
    EXPECT_EQ(octets.hex(), "FFE9");
    EXPECT_EQ(octets.sms.reference, 42);
    const sDecoded latin = decode3gpp2(messageWith(userData3gpp2(8, 8, fields), true));
    EXPECT_EQ(latin.text(), "ÿé");
    EXPECT_EQ(latin.sms.partNumber, 1);
    const sDecoded without = decode3gpp2(messageWith(userData3gpp2(0, 8, fields), false));
    EXPECT_EQ(without.hex(), "0500032A0201FFE9");
    EXPECT_EQ(without.sms.numberOfParts, 0);
}

TEST(Sms3gpp2, HeaderIndicator_WithoutAHeaderThatFits) {
    EXPECT_EQ(decode3gpp2(messageWith(HELLO, true)).text(), "hello");
    EXPECT_EQ(decode3gpp2(messageWith("1000", true)).result, 0);
}

TEST(Sms3gpp2, DebugOutput_PrintsTheDecodedMessage) {
    const std::string pdu = messageWith(HELLO).pdu();
    sms_t sms;
    testing::internal::CaptureStdout();
    sms_decode_3gpp2_pdu(pdu, pdu.size() / 2, sms, true);
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("3GPP2 PDU: " + pdu), std::string::npos) << output;
    EXPECT_NE(output.find("5 octets: 68656C6C6F"), std::string::npos) << output;
}

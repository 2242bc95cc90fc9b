#include <gtest/gtest.h>

#include "tests/unit/platform/sms_pdu/support.h"

namespace {

std::string senderOf(const std::string& address) {
    sTestDeliver deliver;
    deliver.address = address;
    const sDecoded decoded = decode(deliver);
    EXPECT_EQ(decoded.result, 0) << address;
    EXPECT_EQ(decoded.text(), "hellohello") << address;
    return decoded.sms.from;
}

sDecoded decodeSeptets(const std::vector<uint8_t>& septets) {
    sTestDeliver deliver;
    deliver.length = septets.size();
    deliver.userData = packedHex(septets);
    return decode(deliver);
}

sDecoded decodeOctets(const std::string& scheme, const std::string& hex) {
    sTestDeliver deliver;
    deliver.scheme = scheme;
    deliver.length = hex.size() / 2;
    deliver.userData = hex;
    return decode(deliver);
}

}  // namespace

TEST(SmsDeliver, Examples_GiveTheirFields) {
    for (const sExample& example : examples3gpp()) {
        expectExample(example, decode(example.pdu, example.length));
    }
}

TEST(SmsDeliver, ServiceCentre_OfAnyLengthIsSkipped) {
    const std::string centres[] = {"07917283010010F5", "00", "", "0181",
                                   "0B91729912345678901234F5"};
    for (const std::string& centre : centres) {
        sTestDeliver deliver;
        deliver.serviceCentre = centre;
        const sDecoded decoded = decode(deliver);
        EXPECT_EQ(decoded.result, 0) << centre;
        EXPECT_EQ(decoded.sms.from, "+27838890001") << centre;
        EXPECT_EQ(decoded.text(), "hellohello") << centre;
    }
}

TEST(SmsDeliver, ServiceCentre_LongerThanTheLineIsRefused) {
    const sTestDeliver deliver;
    std::string pdu = deliver.pdu();
    for (const char* length : {"08", "0B", "7F", "FF"}) {
        expectRefused(decode(pdu.replace(0, 2, length), deliver.announced()));
    }
}

TEST(SmsDeliver, Line_ThatIsNotAsAnnounced) {
    const sTestDeliver deliver;
    expectRefused(decode(deliver.pdu(), deliver.announced() + 1));
    expectRefused(decode(deliver.pdu(), deliver.announced() - 1));
    expectRefused(decode(deliver.pdu(), 0));
    expectRefused(decode(deliver.pdu(), SIZE_MAX));
    EXPECT_EQ(decode(deliver.pdu() + "0D0D", deliver.announced()).text(), "hellohello");
}

TEST(SmsDeliver, NotHexadecimal_IsRefused) {
    const sTestDeliver deliver;
    const std::string pdu = deliver.pdu();
    expectRefused(decode("", 0));
    expectRefused(decode("", 28));
    expectRefused(decode(pdu + "0", deliver.announced()));
    for (const char* wrong : {"G", " ", "\n", "/", ":", "@", "`", "g", "\xB1"}) {
        std::string changed = pdu;
        expectRefused(decode(changed.replace(20, 1, wrong), deliver.announced()));
    }
    expectRefused(decode(std::string(pdu).replace(20, 1, 1, '\0'), deliver.announced()));
}

TEST(SmsDeliver, FirstOctet_OfAnotherKindIsRefused) {
    for (unsigned octet = 0; octet < 256; octet++) {
        if ((octet & 0x40) != 0) continue;  // announces a header
        sTestDeliver deliver;
        deliver.firstOctet = hexOctet(octet);
        const sDecoded decoded = decode(deliver);
        EXPECT_EQ(decoded.result, (octet & 0x03) == 0 ? 0 : -1) << octet;
        if (decoded.result == 0) {
            EXPECT_EQ(decoded.text(), "hellohello") << octet;
        }
    }
}

TEST(SmsDeliver, StatusReport_IsRefused) {
    expectRefused(
        decode("07917283010010F506280B917238880900F19930925161950099309251619500"
               "00",
               25));
}

TEST(SmsDeliver, Protocol_IsIgnored) {
    for (unsigned protocol = 0; protocol < 256; protocol++) {
        sTestDeliver deliver;
        deliver.protocol = hexOctet(protocol);
        EXPECT_EQ(decode(deliver).text(), "hellohello") << protocol;
    }
}

TEST(SmsDeliver, Sender_Numbers) {
    EXPECT_EQ(senderOf("0B917238880900F1"), "+27838890001");
    EXPECT_EQ(senderOf("0BA17238880900F1"), "27838890001");   // national
    EXPECT_EQ(senderOf("0B817238880900F1"), "27838890001");   // unknown
    EXPECT_EQ(senderOf("0BB17238880900F1"), "27838890001");   // network specific
    EXPECT_EQ(senderOf("0BC87238880900F1"), "27838890001");   // subscriber, another plan
    EXPECT_EQ(senderOf("0B117238880900F1"), "+27838890001");  // highest bit missing
    EXPECT_EQ(senderOf("04812705"), "7250");
    EXPECT_EQ(senderOf("0191F7"), "+7");
    EXPECT_EQ(senderOf("0081"), "");
    EXPECT_EQ(senderOf("0091"), "");
    EXPECT_EQ(senderOf("0681BADCFE"), "*#abc");  // a filler ends it
    EXPECT_EQ(senderOf("0681210F43"), "12");
    EXPECT_EQ(senderOf("038121F3"), "123");
    EXPECT_EQ(senderOf("03812143"), "123");  // half an octet too many
    EXPECT_EQ(senderOf("149121436587092143658709"), "+12345678901234567890");
}

TEST(SmsDeliver, Sender_Names) {
    EXPECT_EQ(senderOf("0DD0E474D81C0EBB01"), "diafaan");
    // Seven septets are 13 halves of an octet; senders that round up announce an eighth septet.
    EXPECT_EQ(senderOf("0ED0E474D81C0EBB01"), "diafaan@");
    EXPECT_EQ(senderOf("02D041"), "A");
    EXPECT_EQ(senderOf("01D001"), "");
    EXPECT_EQ(senderOf("14D0" + packedHex(plainSeptets("ABCDEFGHIJK"))), "ABCDEFGHIJK");
    EXPECT_EQ(senderOf("0BD1" + packedHex(plainSeptets("../x/y"))), "../x/y");
    EXPECT_EQ(senderOf("07D0" + packedHex({0x00, 0x1B, 0x65, 0x7F})), "@€à");
}

TEST(SmsDeliver, Sender_ThatIsTooLongIsRefused) {
    for (unsigned length = 21; length < 256; length++) {
        sTestDeliver deliver;
        deliver.address = hexOctet(length) + "91" + std::string((length + 1) / 2 * 2, '1');
        expectRefused(decode(deliver));
    }
}

TEST(SmsDeliver, DefaultAlphabet_WholeTable) {
    std::vector<uint8_t> septets;
    for (uint8_t septet = 0; septet < 128; septet++) {
        if (septet != 0x1B) septets.push_back(septet);
    }
    const sDecoded decoded = decodeSeptets(septets);
    EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_TEXT);
    EXPECT_EQ(decoded.text(),
              "@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
              "¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà");
}

TEST(SmsDeliver, ExtensionTable) {
    EXPECT_EQ(decodeSeptets({0x1B, 0x0A, 0x1B, 0x14, 0x1B, 0x28, 0x1B, 0x29, 0x1B, 0x2F,
                             0x1B, 0x3C, 0x1B, 0x3D, 0x1B, 0x3E, 0x1B, 0x40, 0x1B, 0x65})
                  .text(),
              "\f^{}\\[~]|€");
    EXPECT_EQ(decodeSeptets({0x1B, 'a', 0x1B, 0x00, 'b'}).text(), "a@b");  // not in it
    EXPECT_EQ(decodeSeptets({'a', 0x1B}).text(), "a ");
    EXPECT_EQ(decodeSeptets({'a', 0x1B, 0x1B, 0x65}).text(), "a e");
}

TEST(SmsDeliver, AtSign_IsNotTreatedAsNul) {
    const sDecoded decoded = decodeSeptets({0x00, 'a', 0x00, 0x00});
    EXPECT_EQ(decoded.text(), "@a@@");
    EXPECT_EQ(decoded.sms.userDataLength, 4u);
}

TEST(SmsDeliver, Septets_OfEveryLength) {
    for (size_t count = 0; count <= 160; count++) {
        std::string text;
        for (size_t i = 0; i < count; i++)
            text += static_cast<char>('A' + i % 26);
        EXPECT_EQ(decodeSeptets(plainSeptets(text)).text(), text);
    }
}

TEST(SmsDeliver, LongestText_FitsIntoTheLimit) {
    const sDecoded decoded = decodeSeptets(std::vector<uint8_t>(160, 0x10));
    EXPECT_EQ(decoded.sms.userDataLength, SMS_MAX_TEXT_OCTETS);
    EXPECT_EQ(decoded.text().substr(316), "ΔΔ");
}

TEST(SmsDeliver, UserData_LongerThanAMessageIsRefused) {
    expectRefused(decodeSeptets(std::vector<uint8_t>(161, 'a')));
    expectRefused(decodeSeptets(std::vector<uint8_t>(255, 'a')));
    EXPECT_EQ(decodeOctets("04", std::string(280, '4')).sms.userDataLength, 140u);
    expectRefused(decodeOctets("04", std::string(282, '4')));
    EXPECT_EQ(decodeOctets("08", std::string(280, '4')).sms.userDataLength, 140u);
    expectRefused(decodeOctets("08", std::string(282, '4')));
}

TEST(SmsDeliver, UserData_LongerThanTheLineIsRefused) {
    for (const char* scheme : {"00", "04", "08"}) {
        sTestDeliver deliver;
        deliver.scheme = scheme;
        deliver.length = scheme[1] == '0' ? 11 : 10;
        expectRefused(decode(deliver));
    }
}

TEST(SmsDeliver, EightBitData_IsKept) {
    const sDecoded decoded = decodeOctets("04", "00FF1B8040");
    EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_8BIT);
    EXPECT_EQ(decoded.hex(), "00FF1B8040");
}

TEST(SmsDeliver, SixteenBitText_IsKeptInWholeCharacters) {
    EXPECT_EQ(decodeOctets("08", "00000041D83DDE00").hex(), "00000041D83DDE00");
    EXPECT_EQ(decodeOctets("08", "0041DE00D83D").hex(), "0041DE00D83D");  // pairs are not judged
    EXPECT_EQ(decodeOctets("08", "004100").hex(), "0041");
    EXPECT_EQ(decodeOctets("08", "00").sms.userDataLength, 0u);
    EXPECT_EQ(decodeOctets("08", "").sms.dataCoding, SMS_CODING_16BIT);
}

TEST(SmsDeliver, CodingSchemes_AllOfThem) {
    struct sGroup {
        unsigned first, last;
        int codings[4];  // by bits 3 and 2
    };
    const int TEXT = SMS_CODING_TEXT, OCTETS = SMS_CODING_8BIT, WIDE = SMS_CODING_16BIT;
    const sGroup groups[] = {
        {0x00, 0x1F, {TEXT, OCTETS, WIDE, TEXT}},        // general, without and with a class
        {0x20, 0x3F, {OCTETS, OCTETS, OCTETS, OCTETS}},  // compressed
        {0x40, 0x5F, {TEXT, OCTETS, WIDE, TEXT}},        // automatic deletion
        {0x60, 0x7F, {OCTETS, OCTETS, OCTETS, OCTETS}},
        {0x80, 0xBF, {TEXT, TEXT, TEXT, TEXT}},      // reserved
        {0xC0, 0xDF, {TEXT, TEXT, TEXT, TEXT}},      // message waiting
        {0xE0, 0xEF, {WIDE, WIDE, WIDE, WIDE}},      // message waiting, UCS2
        {0xF0, 0xFF, {TEXT, OCTETS, TEXT, OCTETS}},  // class; bit 3 reserved
    };
    unsigned tried = 0;
    for (const sGroup& group : groups) {
        for (unsigned scheme = group.first; scheme <= group.last; scheme++, tried++) {
            const sDecoded decoded = decodeOctets(hexOctet(scheme), "00410042");
            EXPECT_EQ(decoded.result, 0) << scheme;
            EXPECT_EQ(decoded.sms.dataCoding, group.codings[scheme >> 2 & 3]) << scheme;
        }
    }
    EXPECT_EQ(tried, 256u);
}

TEST(SmsDeliver, Empty_IsAMessage) {
    const sDecoded decoded = decodeSeptets({});
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.userDataLength, 0u);
    EXPECT_EQ(decoded.sms.from, "+27838890001");
}

TEST(SmsDeliver, ResultOfAnEarlierCall_IsReset) {
    const sExample& part = examples3gpp()[7];
    sms_t sms;
    ASSERT_EQ(sms_decode_pdu(part.pdu, part.length, sms, false), 0);
    ASSERT_EQ(sms.numberOfParts, 3);
    const sTestDeliver deliver;
    ASSERT_EQ(sms_decode_pdu(deliver.pdu(), deliver.announced(), sms, false), 0);
    EXPECT_EQ(sms.numberOfParts, 0);
    EXPECT_EQ(sms.partNumber, 0);
    EXPECT_EQ(sms.reference, 0);
    EXPECT_EQ(sms.userDataLength, 10u);
}

TEST(SmsDeliver, DebugOutput_HasNoControlCharacters) {
    sTestDeliver deliver;
    deliver.address = "07D0" + packedHex({'A', 0x0A, 'B', 0x0D});
    sms_t sms;
    testing::internal::CaptureStdout();
    sms_decode_pdu(deliver.pdu(), deliver.announced(), sms, true);
    sms_decode_pdu("07\x1B", 28, sms, true);
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("from 'A_B_', time '1999-03-29 15:16:59' (922720619)"), std::string::npos)
        << output;
    EXPECT_NE(output.find("10 octets: 68656C6C6F68656C6C6F"), std::string::npos) << output;
    EXPECT_NE(output.find("refused: 07_\n"), std::string::npos) << output;
    testing::internal::CaptureStdout();
    sms_decode_pdu(deliver.pdu(), deliver.announced(), sms, false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

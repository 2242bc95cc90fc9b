#include "sms/receive.h"

#include "tests/support/reply_torture.h"
#include "tests/unit/platform/sms_pdu/support.h"
#include "tests/unit/sms/fixture.h"

// Which messages the parser finds in the text of a listing.

namespace {

sms_t decoded(int coding, const std::string& data) {
    sms_t sms;
    sms.dataCoding = coding;
    sms.userData.assign(data.begin(), data.end());
    sms.userDataLength = data.size();
    return sms;
}

std::string textOf(const sms_t& sms) {
    std::string text = "left over";
    decodePduUserdata(sms, text);
    return text;
}

class SmsListing : public cSmsFixture {
  protected:
    std::vector<S_smsRecordRx> parse(const std::string& response, e3gppType type = eSMS_3GPP) {
        tSmsQueue queue;
        parseSmsPduMessages(type, response, queue);
        return recordsOf(queue);
    }
    // A listing with another header before the PDU.
    std::vector<S_smsRecordRx> parseWithHeader(const std::string& header) {
        return parse("\r\n" + header + "\r\n" + pdu + "\r\n\r\nOK\r\n");
    }

    const std::string pdu = deliverPdu("+12025550123", "hello");
    const std::string length = "24";
};

}  // namespace

TEST(SmsUserData, SixteenBit_BeyondLatin1_BecomesQuestionMarks) {
    // "Привет", then "é!" and a NUL.
    EXPECT_EQ(
        textOf(decoded(SMS_CODING_16BIT, {"\x04\x1f\x04\x40\x04\x38\x04\x32\x04\x35\x04\x42", 12})),
        "??????");
    EXPECT_EQ(textOf(decoded(SMS_CODING_16BIT, {"\0\xe9\0!\0\0", 6})), std::string("\xe9!\0", 3));
    EXPECT_EQ(textOf(decoded(SMS_CODING_16BIT, {"\0A\0", 3})), "A") << "half a character";
    EXPECT_EQ(textOf(decoded(SMS_CODING_16BIT, {"\xd8\x3d\xde\x00", 4})), "??");
}

TEST(SmsUserData, EightBit_AboveAscii_BecomesQuestionMarks) {
    EXPECT_EQ(textOf(decoded(SMS_CODING_8BIT, {"A~\x7f\x80\xff\n\0z", 8})),
              std::string("A~???\n\0z", 8));
}

TEST(SmsUserData, UnpackedText_IsReadToItsEnd) {
    EXPECT_EQ(textOf(decoded(SMS_CODING_TEXT, "caf\xc3\xa9 @")), "caf\xc3\xa9 @");
    EXPECT_EQ(textOf(decoded(SMS_CODING_TEXT, {"ab\0cd", 5})), "ab");
    EXPECT_EQ(textOf(decoded(SMS_CODING_TEXT, std::string(1000, 'x'))).size(), 321U);
    EXPECT_EQ(textOf(decoded(1, "any other")), "any other");
}

TEST(SmsUserData, LengthBeyondTheData_IsLimitedToTheData) {
    sms_t sms = decoded(SMS_CODING_TEXT, "abc");
    sms.userDataLength = 100;
    EXPECT_EQ(textOf(sms), "abc");
    sms.userDataLength = 2;
    EXPECT_EQ(textOf(sms), "ab");
    sms.userDataLength = 0;
    EXPECT_EQ(textOf(sms), "");
    for (const int coding : {SMS_CODING_TEXT, SMS_CODING_8BIT, SMS_CODING_16BIT})
        EXPECT_EQ(textOf(decoded(coding, "")), "");
}

TEST_F(SmsListing, TwoMessages_AreBothRead) {
    const std::vector<S_smsRecordRx> records =
        parse("AT+CMGL=0\r" + listing({pdu, deliverPdu("MyBank", "part", 5, 2, 3)}));
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].index, 1U);
    EXPECT_EQ(records[0].from, "+12025550123");
    EXPECT_EQ(records[0].time, "2020-06-15 20:32:05");
    EXPECT_EQ(records[0].timeUnformatted, "1592253125");
    EXPECT_EQ(records[0].message, "hello");
    EXPECT_EQ(records[0].msgId + records[0].partNumber + records[0].partTotal, 0);
    EXPECT_EQ(records[1].index, 2U);
    EXPECT_EQ(records[1].from, "MyBank");
    EXPECT_EQ(records[1].msgId, 5);
    EXPECT_EQ(records[1].partNumber, 2);
    EXPECT_EQ(records[1].partTotal, 3);
}

TEST_F(SmsListing, Header_WithAndWithoutQuotes_HasFourTokens) {
    ASSERT_EQ(pdu.size() / 2 - 8, 24U);
    EXPECT_EQ(parseWithHeader("+CMGL: 1,0,\"\"," + length).size(), 1U);
    EXPECT_EQ(parseWithHeader("+CMGL: 1,0,," + length).size(), 1U);
    EXPECT_EQ(parseWithHeader("+CMGL:1,0,\"Ann\", " + length + " ").size(), 1U);
}

// In 3GPP TS 27.005 the name of a phone book entry may contain any text.
TEST_F(SmsListing, Header_NameWithCommas_HasFourTokens) {
    g_i_debugMode = eLOG_SMS;
    const std::vector<S_smsRecordRx> records =
        parseWithHeader("+CMGL: 7,0,\"Doe, John, Jr.\"," + length);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].index, 7U);
    EXPECT_EQ(records[0].message, "hello");
    EXPECT_TRUE(logContains("Found a message header, token count is 4"));
    EXPECT_EQ(parseWithHeader("+CMGL: 1,0,\",\"," + length).size(), 1U);
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0,\"Doe, John," + length).empty()) << "no second quote";
}

TEST_F(SmsListing, Header_WithAnotherTokenCount_IsNotUsed) {
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0," + length).empty());
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0,\"\",0," + length).empty());
    EXPECT_TRUE(parseWithHeader("+CMGL:").empty());
    EXPECT_TRUE(parseWithHeader("x +CMGL: 1,0,\"\"," + length).empty());
}

TEST_F(SmsListing, Header_LengthZero_SkipsTheMessage) {
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0,\"\",0").empty());
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0,\"\",-1").empty());
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0,\"\",x").empty());
    EXPECT_EQ(logCount("parseSmsPduMessages(): Error: Received SMS in PDU format, but length was "
                       "0. skipping"),
              3U);
}

TEST_F(SmsListing, Length_LongerThanThePdu_IsRefused) {
    EXPECT_TRUE(parseWithHeader("+CMGL: 1,0,\"\",25").empty());
    EXPECT_EQ(logCount("Error: Unable to decode SMS PDU message (3GPP)"), 1U);
    EXPECT_TRUE(logContains(pdu)) << "the log is the only place that keeps it";
}

// The deletion removes everything that was listed.
TEST_F(SmsListing, UnreadableMessage_IsLoggedWithItsLines) {
    const auto timesLogged = [](const std::string& line) {
        return logCount("SMS listing, not understood: " + line);
    };
    const char* const headers[] = {"+CMGL: 1,0,24", "+CMGL: 1,0,\"\",0,24",
                                   "+CMGL:", "x +CMGL: 1,0,\"\",24", "+CMGL: 1,0,\"\",0"};
    for (const std::string header : headers) {
        clearCapturedLog();
        EXPECT_TRUE(parseWithHeader(header).empty());
        EXPECT_EQ(timesLogged(header), 1U) << header;
        EXPECT_EQ(timesLogged(pdu), 1U) << header;
    }
    clearCapturedLog();
    EXPECT_TRUE(parse(pdu + "\r\nOK\r\n").empty()) << "no header at all";
    EXPECT_EQ(timesLogged(pdu), 1U);
    EXPECT_EQ(capturedLog().size(), 1U);
}

// A quote within the name: commas after it still separate fields.
TEST_F(SmsListing, NameWithAnOddQuote_IsRead) {
    EXPECT_EQ(parseWithHeader("+CMGL: 1,0,\"5\" TV\",24").size(), 1U);
    EXPECT_EQ(parseWithHeader("+CMGL: 1,0,\"Doe,24").size(), 1U);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsListing, NameThatLooksLikeAnAnswer_IsRead) {
    for (const char* name : {"OK", "ERROR", "+CMGL: 2,0,", "+CME ERROR: 3", ",,,"})
        EXPECT_EQ(parseWithHeader("+CMGL: 1,0,\"" + std::string(name) + "\",24").size(), 1U)
            << name;
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsListing, DamagedPdu_IsLoggedWithItsHeader) {
    std::string damaged = pdu;
    damaged[10] = 'x';
    damaged += "\x07";
    const std::string header = "+CMGL: 1,0,\"\"," + length;
    EXPECT_EQ(parse(header + "\r\n" + damaged + "\r\n+CMGL: 2,0,\"\"," + length + "\r\n" + pdu +
                    "\r\n\r\nOK\r\n")
                  .size(),
              1U);
    damaged.back() = '_';
    EXPECT_EQ(logCount("SMS listing, not understood: " + header), 1U);
    EXPECT_EQ(logCount("SMS listing, not understood: " + damaged), 1U);
    EXPECT_EQ(capturedLog().size(), 2U);
}

TEST_F(SmsListing, HeaderWithoutItsPdu_IsLogged) {
    const std::string header = "+CMGL: 1,0,\"\"," + length;
    EXPECT_TRUE(parse(header + "\r\n\r\nOK\r\n").empty());
    EXPECT_EQ(capturedLog(), tNames{"SMS listing, not understood: " + header});
}

TEST_F(SmsListing, InTextMode_EveryLineIsLogged) {
    const std::string header = "+CMGL: 1,\"REC UNREAD\",\"+12025550123\",,\"20/06/15,20:32:05-24\"";
    EXPECT_TRUE(parse(header + "\r\nHello, world\r\nsecond\r\n\r\nOK\r\n").empty());
    EXPECT_EQ(capturedLog(), (tNames{"SMS listing, not understood: " + header,
                                     "SMS listing, not understood: Hello, world",
                                     "SMS listing, not understood: second"}));
}

TEST_F(SmsListing, LoggedTextIsBounded) {
    std::string response = "+CMGL: 1," + std::string(5000, 'x') + "\r\n";
    for (int i = 0; i < 100; ++i)
        response += std::string(5000, 'y') + "\r\n";
    EXPECT_TRUE(parse(response + "OK\r\n").empty());
    EXPECT_LE(capturedLog().size(), 20U);
    for (const std::string& line : capturedLog())
        EXPECT_LE(line.size(), 1100U);
}

TEST_F(SmsListing, UnsolicitedLineBetweenHeaderAndPdu_IsNotLogged) {
    EXPECT_EQ(parse("RING\r\n+CMGL: 1,0,\"\"," + length + "\r\n+CREG: 1\r\n" + pdu +
                    "\r\nRING\r\n\r\nOK\r\n")
                  .size(),
              1U);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsListing, Header_AppliesUntilTheNextHeader) {
    EXPECT_EQ(
        parse("+CMGL: 1,0,\"\"," + length + "\r\n+CREG: 1\r\n" + pdu + "\r\n" + pdu + "\r\nOK\r\n")
            .size(),
        2U);
    EXPECT_EQ(parse("+CMGL: 1,0,\"\"," + length + "\r\n" + pdu + "\r\n+CMGL: 2,0,\"\",0\r\n" + pdu +
                    "\r\nOK\r\n")
                  .size(),
              1U);
    EXPECT_EQ(parse("+CMGL: 1,0,\"\"," + length + "\r\n+CMGL: 2,0\r\n" + pdu + "\r\nOK\r\n").size(),
              1U)
        << "one that is not used does not count";
}

TEST_F(SmsListing, LineBeforeAnyHeader_IsLogged) {
    g_i_debugMode = eLOG_SMS;
    EXPECT_TRUE(parse(pdu + "\r\nOK\r\n").empty());
    EXPECT_TRUE(logContains("SMS start (+CMGL:) not found yet"));
}

TEST_F(SmsListing, DebugMaskOfTheCodec_ShowsWhatWasDecoded) {
    testing::internal::CaptureStdout();
    parse(listing({pdu}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    g_i_debugMode = eLOG_SMS_PDU;
    testing::internal::CaptureStdout();
    parse(listing({pdu}));
    parse(listing({pdu}), eSMS_3GPP2);
    const std::string shown = testing::internal::GetCapturedStdout();
    EXPECT_NE(shown.find("3GPP PDU: " + pdu), std::string::npos);
    EXPECT_NE(shown.find("3GPP2 PDU refused: " + pdu), std::string::npos);
}

TEST_F(SmsListing, NotDecodable3gpp2_IsLogged) {
    EXPECT_TRUE(parse(listing({pdu}), eSMS_3GPP2).empty());
    EXPECT_EQ(logCount("Error: Unable to decode SMS PDU message (3GPP2)"), 1U);
}

TEST_F(SmsListing, Decoded3gpp2_IsRead) {
    sTest3gpp2 message;
    message.address = hexOfBits("00" + bitsOf(5, 8) + "00010010001101000101");  // 12345
    message.userData = userData3gpp2(2, 7, {'H', 'i'});                         // 7-bit ASCII
    const std::string hex = message.pdu();
    const std::vector<S_smsRecordRx> records =
        parse("+CMGL: 3,0,\"\"," + std::to_string(hex.size() / 2) + "\r\n" + hex + "\r\nOK\r\n",
              eSMS_3GPP2);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].index, 3U);
    EXPECT_EQ(records[0].message, "Hi");
    EXPECT_EQ(records[0].from, "12345");
    EXPECT_EQ(records[0].time, "2003-06-22 10:15:30");
}

TEST_F(SmsListing, DamagedListings_GiveNoInvalidMessage) {
    tortureReply(listing({pdu}), [&](const std::string& reply) {
        for (const S_smsRecordRx& record : parse(reply)) {
            EXPECT_LE(record.message.size(), 512U);
            EXPECT_LE(record.from.size(), 64U);
        }
        clearCapturedLog();
    });
}

#include "sms/receive.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "device/link_state.h"
#include "sms/listing_marker.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"
#include "tests/support/in_pass.h"
#include "tests/support/reply_torture.h"
#include "tests/unit/platform/sms_pdu/support.h"
#include "tests/unit/sms/fixture.h"

namespace {

using tNames = std::vector<std::string>;

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
    // A listing with another header in front of the PDU.
    std::vector<S_smsRecordRx> parseBehind(const std::string& header) {
        return parse("\r\n" + header + "\r\n" + pdu + "\r\n\r\nOK\r\n");
    }

    const std::string pdu = deliverPdu("+12025550123", "hello");
    const std::string length = "24";
};

class SmsReceive : public cSmsFixture {
  protected:
    eGeneralErrors check() { return checkReceiveSmS(port.handle(), device.modem, root); }
    // One check with this listing; its result and the number of commands.
    eGeneralErrors receive(const tNames& pdus) {
        port.answer(OK_REPLY).answer(listing(pdus));
        return check();
    }
    tNames commands() {
        tNames fresh(port.commands().begin() + static_cast<long>(m_seen), port.commands().end());
        m_seen = port.commands().size();
        return fresh;
    }
    void leaveMarker() {
        bool leftOver;
        ASSERT_TRUE(openListing(root, leftOver));
    }

    cFakePort port;

  private:
    size_t m_seen = 0;
};

const tNames USUAL = {"AT+CMGF=0", "AT+CMGL=0"};
const tNames RECOVERING = {"AT+CMGF=0", "AT+CMGL=0", "AT+CMGL=1"};

std::string file(const std::string& from, const std::string& text) {
    return "FROM=" + from + "\nTIME=2020-06-15 20:32:05\nMSG=" + text;
}

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

TEST(SmsUserData, Unpacked_IsTakenUpToItsEnd) {
    EXPECT_EQ(textOf(decoded(SMS_CODING_TEXT, "caf\xc3\xa9 @")), "caf\xc3\xa9 @");
    EXPECT_EQ(textOf(decoded(SMS_CODING_TEXT, {"ab\0cd", 5})), "ab");
    EXPECT_EQ(textOf(decoded(SMS_CODING_TEXT, std::string(1000, 'x'))).size(), 321U);
    EXPECT_EQ(textOf(decoded(1, "any other")), "any other");
}

TEST(SmsUserData, Length_IsNotBelievedBeyondTheData) {
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

TEST_F(SmsListing, TwoMessages_AreBothTaken) {
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
    EXPECT_EQ(parseBehind("+CMGL: 1,0,\"\"," + length).size(), 1U);
    EXPECT_EQ(parseBehind("+CMGL: 1,0,," + length).size(), 1U);
    EXPECT_EQ(parseBehind("+CMGL:1,0,\"Ann\", " + length + " ").size(), 1U);
}

// 3GPP TS 27.005 lets the name of a phone book entry hold anything.
TEST_F(SmsListing, Header_NameWithCommas_HasFourTokens) {
    g_i_debugMode = eLOG_SMS;
    const std::vector<S_smsRecordRx> records =
        parseBehind("+CMGL: 7,0,\"Doe, John, Jr.\"," + length);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].index, 7U);
    EXPECT_EQ(records[0].message, "hello");
    EXPECT_TRUE(logContains("Found a message header, token count is 4"));
    EXPECT_EQ(parseBehind("+CMGL: 1,0,\",\"," + length).size(), 1U);
    EXPECT_TRUE(parseBehind("+CMGL: 1,0,\"Doe, John," + length).empty()) << "no second quote";
}

TEST_F(SmsListing, Header_WithAnotherTokenCount_IsNotUsed) {
    EXPECT_TRUE(parseBehind("+CMGL: 1,0," + length).empty());
    EXPECT_TRUE(parseBehind("+CMGL: 1,0,\"\",0," + length).empty());
    EXPECT_TRUE(parseBehind("+CMGL:").empty());
    EXPECT_TRUE(parseBehind("x +CMGL: 1,0,\"\"," + length).empty());
}

TEST_F(SmsListing, Header_LengthZero_SkipsTheMessage) {
    EXPECT_TRUE(parseBehind("+CMGL: 1,0,\"\",0").empty());
    EXPECT_TRUE(parseBehind("+CMGL: 1,0,\"\",-1").empty());
    EXPECT_TRUE(parseBehind("+CMGL: 1,0,\"\",x").empty());
    EXPECT_EQ(logCount("parseSmsPduMessages(): Error: Received SMS in PDU format, but length was "
                       "0. skipping"),
              3U);
}

TEST_F(SmsListing, Length_LongerThanThePdu_IsRefused) {
    EXPECT_TRUE(parseBehind("+CMGL: 1,0,\"\",25").empty());
    EXPECT_EQ(logCount("Error: Unable to decode SMS PDU message (3GPP)"), 1U);
    EXPECT_TRUE(logContains(pdu)) << "the log is the only place that keeps it";
}

// The deletion takes everything that was listed.
TEST_F(SmsListing, NotUnderstood_IsToldWithItsLines) {
    const auto told = [](const std::string& line) {
        return logCount("SMS listing, not understood: " + line);
    };
    const char* const headers[] = {"+CMGL: 1,0,24", "+CMGL: 1,0,\"\",0,24",
                                   "+CMGL:", "x +CMGL: 1,0,\"\",24", "+CMGL: 1,0,\"\",0"};
    for (const std::string header : headers) {
        clearCapturedLog();
        EXPECT_TRUE(parseBehind(header).empty());
        EXPECT_EQ(told(header), 1U) << header;
        EXPECT_EQ(told(pdu), 1U) << header;
    }
    clearCapturedLog();
    EXPECT_TRUE(parse(pdu + "\r\nOK\r\n").empty()) << "no header at all";
    EXPECT_EQ(told(pdu), 1U);
    EXPECT_EQ(capturedLog().size(), 1U);
}

// A quote within the name: the commas behind it separate all the same.
TEST_F(SmsListing, NameWithAnOddQuote_IsTaken) {
    EXPECT_EQ(parseBehind("+CMGL: 1,0,\"5\" TV\",24").size(), 1U);
    EXPECT_EQ(parseBehind("+CMGL: 1,0,\"Doe,24").size(), 1U);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsListing, NameLikeAnAnswer_IsTaken) {
    for (const char* name : {"OK", "ERROR", "+CMGL: 2,0,", "+CME ERROR: 3", ",,,"})
        EXPECT_EQ(parseBehind("+CMGL: 1,0,\"" + std::string(name) + "\",24").size(), 1U) << name;
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsListing, PduDamagedOnItsWay_IsToldWithItsHeader) {
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

TEST_F(SmsListing, HeaderWithoutItsPdu_IsTold) {
    const std::string header = "+CMGL: 1,0,\"\"," + length;
    EXPECT_TRUE(parse(header + "\r\n\r\nOK\r\n").empty());
    EXPECT_EQ(capturedLog(), tNames{"SMS listing, not understood: " + header});
}

TEST_F(SmsListing, InTextMode_EveryLineIsTold) {
    const std::string header = "+CMGL: 1,\"REC UNREAD\",\"+12025550123\",,\"20/06/15,20:32:05-24\"";
    EXPECT_TRUE(parse(header + "\r\nHello, world\r\nsecond\r\n\r\nOK\r\n").empty());
    EXPECT_EQ(capturedLog(), (tNames{"SMS listing, not understood: " + header,
                                     "SMS listing, not understood: Hello, world",
                                     "SMS listing, not understood: second"}));
}

TEST_F(SmsListing, WhatIsToldIsBounded) {
    std::string response = "+CMGL: 1," + std::string(5000, 'x') + "\r\n";
    for (int i = 0; i < 100; ++i)
        response += std::string(5000, 'y') + "\r\n";
    EXPECT_TRUE(parse(response + "OK\r\n").empty());
    EXPECT_LE(capturedLog().size(), 20U);
    for (const std::string& line : capturedLog())
        EXPECT_LE(line.size(), 1100U);
}

TEST_F(SmsListing, UnsolicitedLineBetweenHeaderAndPdu_IsNotTold) {
    EXPECT_EQ(parse("RING\r\n+CMGL: 1,0,\"\"," + length + "\r\n+CREG: 1\r\n" + pdu +
                    "\r\nRING\r\n\r\nOK\r\n")
                  .size(),
              1U);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsListing, MarkStaysUntilTheNextHeader) {
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

TEST_F(SmsListing, LineBeforeAnyHeader_IsTold) {
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

TEST_F(SmsListing, NotDecodable3gpp2_IsTold) {
    EXPECT_TRUE(parse(listing({pdu}), eSMS_3GPP2).empty());
    EXPECT_EQ(logCount("Error: Unable to decode SMS PDU message (3GPP2)"), 1U);
}

TEST_F(SmsListing, Decoded3gpp2_IsTaken) {
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

TEST_F(SmsListing, TorturedListing_GivesNothingWrong) {
    tortureReply(listing({pdu}), [&](const std::string& reply) {
        for (const S_smsRecordRx& record : parse(reply)) {
            EXPECT_LE(record.message.size(), 512U);
            EXPECT_LE(record.from.size(), 64U);
        }
        clearCapturedLog();
    });
}

TEST_F(SmsReceive, Commands_OfEveryType) {
    tSmsQueue queue;
    const struct {
        eSmsReadType type;
        const char* command;
    } reads[] = {{eSMS_READ_UNREAD, "AT+CMGL=0"},
                 {eSMS_READ_READ, "AT+CMGL=1"},
                 {eSMS_READ_ALL, "AT+CMGL=4"}};
    for (const auto& row : reads) {
        port.answer(OK_REPLY);
        EXPECT_EQ(getSmsMsg(port.handle(), eSMS_3GPP, row.type, queue), ePORT_OK);
        EXPECT_EQ(commands(), tNames{row.command});
    }
    const struct {
        eSmsDelType type;
        const char* command;
    } deletes[] = {{eSMS_DELETE_READ, "AT+CMGD=1,1"},
                   {eSMS_DELETE_READ_SENT, "AT+CMGD=1,2"},
                   {eSMS_DELETE_READ_SENT_UNSENT, "AT+CMGD=1,3"},
                   {eSMS_DELETE_ALL, "AT+CMGD=1,4"}};
    for (const auto& row : deletes) {
        port.answer(OK_REPLY);
        EXPECT_EQ(deleteSmsMsg(port.handle(), row.type), ePORT_OK);
        EXPECT_EQ(commands(), tNames{row.command});
    }
}

TEST_F(SmsReceive, UnknownTypes_Give303) {
    tSmsQueue queue;
    EXPECT_EQ(getSmsMsg(port.handle(), eSMS_3GPP, static_cast<eSmsReadType>(3), queue), 303);
    EXPECT_EQ(deleteSmsMsg(port.handle(), static_cast<eSmsDelType>(-1)), 303);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("getSmsMsg(): Error: Unknown SMS read command Command 3"), 1U);
    EXPECT_EQ(logCount("deleteSmsMsg(): Error: Unknown SMS delete command Command -1"), 1U);
}

TEST_F(SmsReceive, Timeouts_AreThoseOfTheCommands) {
    tSmsQueue queue;
    port.silence();
    EXPECT_EQ(getSmsMsg(port.handle(), eSMS_3GPP, eSMS_READ_UNREAD, queue), ePORT_NO_FINAL_RESULT);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs()), 11000, 50);
    EXPECT_EQ(logCount("getSmsMsg(): Command 'AT+CMGL=0' TIMEOUT"), 1U);
    resetLinkState();  // nothing is left of the one before
    const uint64_t before = port.elapsedMs();
    port.silence();
    EXPECT_EQ(deleteSmsMsg(port.handle(), eSMS_DELETE_READ), ePORT_NO_FINAL_RESULT);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs() - before), 3000, 50);
}

TEST_F(SmsReceive, Refusals_AreTurnedIntoTheirNumber) {
    tSmsQueue queue;
    const auto refuse = [&](const std::string& line) {
        port.answer(modemReply({}, line));
        return getSmsMsg(port.handle(), eSMS_3GPP, eSMS_READ_UNREAD, queue);
    };
    const std::string told = "getSmsMsg(): Command 'AT+CMGL=0' reported CME/CMS ERROR 10";
    EXPECT_EQ(refuse("+CME ERROR: 10"), 10);
    EXPECT_EQ(refuse("+CME ERROR: 10"), 10);
    EXPECT_EQ(logCount(told), 2U);
    EXPECT_EQ(refuse("ERROR"), ePORT_ERROR);
    EXPECT_EQ(logCount("getSmsMsg(): Command 'AT+CMGL=0' reported ERROR"), 1U);
    EXPECT_EQ(refuse("OK"), ePORT_OK);
    port.answer(modemReply({}, "+CMS ERROR: 321"));
    EXPECT_EQ(deleteSmsMsg(port.handle(), eSMS_DELETE_READ), 321);
}

TEST_F(SmsReceive, SingleMessages_AreWrittenAndCounted) {
    EXPECT_EQ(receive({deliverPdu("+12025550123", "one"), deliverPdu("+12025550123", "two")}),
              eSUCCESS);
    EXPECT_EQ(commands(), USUAL);
    EXPECT_EQ(contents("recv"), (tNames{file("+12025550123", "one"), file("+12025550123", "two")}));
    EXPECT_EQ(device.modem.i_sms_received, 2U);
    EXPECT_EQ(names("").size(), 6U) << "no marker is left";
}

TEST_F(SmsReceive, ThreePartsInOneListing_AreJoinedAndAllCounted) {
    EXPECT_EQ(
        receive({deliverPdu("+12025550123", "c", 7, 3, 3), deliverPdu("+12025550123", "a", 7, 1, 3),
                 deliverPdu("+12025550123", "b", 7, 2, 3)}),
        eSUCCESS);
    EXPECT_EQ(contents("recv"), tNames{file("12025550123", "abc")});
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_EQ(device.modem.i_sms_received, 4U) << "three parts and the message";
}

TEST_F(SmsReceive, PartsInSeveralChecks_AreJoinedWhenTheLastCame) {
    receive({deliverPdu("+12025550123", "b", 7, 2, 2)});
    EXPECT_TRUE(names("recv").empty());
    receive({deliverPdu("+12025550199", "x", 7, 1, 2)});
    EXPECT_TRUE(names("recv").empty());
    receive({deliverPdu("+12025550123", "a", 7, 1, 2)});
    EXPECT_EQ(contents("recv"), tNames{file("12025550123", "ab")});
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsReceive, PartsThatAreThereAlready_AreJoinedWithoutAnyMessage) {
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    receive({});
    EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=time of a\nMSG=ab"});
}

TEST_F(SmsReceive, DuplicateParts_DoNotHarmTheMessage) {
    for (const int first : {0, 1, 2}) {
        std::filesystem::remove_all(in("recv"));
        tNames pdus = {
            deliverPdu("+12025550123", "a", 7, 1, 3), deliverPdu("+12025550123", "a", 7, 1, 3),
            deliverPdu("+12025550123", "b", 7, 2, 3), deliverPdu("+12025550123", "b", 7, 2, 3),
            deliverPdu("+12025550123", "c", 7, 3, 3)};
        std::rotate(pdus.begin(), pdus.begin() + first, pdus.end());
        receive({pdus[0], pdus[1]});
        receive({pdus[2]});
        receive({pdus[3], pdus[4]});
        EXPECT_EQ(contents("recv"), tNames{file("12025550123", "abc")}) << first;
        EXPECT_TRUE(names("recv_parts").empty());
    }
    EXPECT_FALSE(logContains("Missing message ID pieces"));
}

TEST_F(SmsReceive, DuplicatePartsLeftByAKill_DoNotHarmTheMessage) {
    setFileTime(putPart("1a", 7, 1, 3, "22255", "a"), START_S);
    setFileTime(putPart("1b", 7, 1, 3, "22255", "a"), START_S + 1);
    putPart("2", 7, 2, 3, "22255", "b");
    receive({deliverPdu("22255", "c", 7, 3, 3)});
    EXPECT_EQ(contents("recv"), tNames{"FROM=22255\nTIME=time of 1b\nMSG=abc"});
    EXPECT_TRUE(names("recv_parts").empty());
}

// A start is no reason to look through what waits.
TEST_F(SmsReceive, WaitingParts_NothingReceived_AreNotTouched) {
    putPart("1a", 7, 1, 3, "1", "a");
    putPart("1b", 7, 1, 3, "1", "a");
    putPart("1c", 7, 1, 3, "1", "c", "1592253130");
    putPart("2", 7, 2, 3, "1", "b");
    const tNames before = names("recv_parts");
    for (int start = 0; start < 3; ++start) {
        resetSmsState();
        initSMS(root);
        receive({});
        receive({deliverPdu("22255", "single")});
    }
    EXPECT_EQ(names("recv_parts"), before);
}

TEST_F(SmsReceive, TwoMessagesOfOneReferenceInOneListing_BothArrive) {
    EXPECT_EQ(receive({deliverPdu("22255", "A1", 7, 1, 2, "20/06/15,20:32:00+00"),
                       deliverPdu("22255", "B2", 7, 2, 2, "20/06/15,20:32:03+00"),
                       deliverPdu("22255", "A2", 7, 2, 2, "20/06/15,20:32:01+00"),
                       deliverPdu("22255", "B1", 7, 1, 2, "20/06/15,20:32:02+00")}),
              eSUCCESS);
    EXPECT_EQ(contents("recv"), (tNames{"FROM=22255\nTIME=2020-06-15 20:32:01\nMSG=A1A2",
                                        "FROM=22255\nTIME=2020-06-15 20:32:03\nMSG=B1B2"}));
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_FALSE(logContains("came twice"));
}

TEST_F(SmsReceive, TwoMessagesOfOneReferenceInOneSecond_BothArrive) {
    receive({deliverPdu("22255", "A1", 7, 1, 2), deliverPdu("22255", "A2", 7, 2, 2),
             deliverPdu("22255", "B1", 7, 1, 2), deliverPdu("22255", "B2", 7, 2, 2)});
    EXPECT_EQ(contents("recv"), (tNames{file("22255", "A1A2"), file("22255", "B1B2")}));
}

TEST_F(SmsReceive, PartThatComesAgainWhileItWaits_IsOnePart) {
    receive({deliverPdu("22255", "a", 7, 1, 2)});
    receive({deliverPdu("22255", "a", 7, 1, 2)});
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_TRUE(logContains("SMS part came twice, deleting older file"));
    receive({deliverPdu("22255", "b", 7, 2, 2)});
    EXPECT_EQ(contents("recv"), tNames{file("22255", "ab")});
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsReceive, DuplicatePartAfterTheClockWentBack_OlderOneGoes) {
    receive({deliverPdu("+12025550123", "a", 7, 1, 2)});
    const std::string older = in("recv_parts", names("recv_parts")[0]);
    setFileTime(older, wallClockNow().tv_sec + 1000000000);
    receive({deliverPdu("+12025550123", "a", 7, 1, 2)});
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_FALSE(fileExists(older));
}

TEST_F(SmsReceive, SingleAndJoinedOfOneSender_DoNotMeetInOneName) {
    EXPECT_EQ(receive({deliverPdu("22255", "single"), deliverPdu("22255", "a", 7, 1, 2),
                       deliverPdu("22255", "b", 7, 2, 2)}),
              eSUCCESS);
    EXPECT_EQ(contents("recv"), (tNames{file("22255", "ab"), file("22255", "single")}));
}

TEST_F(SmsReceive, LongMessageOfANamedSender_IsNotThrownAway) {
    receive({deliverPdu("MyBank", "one", 7, 1, 2), deliverPdu("MyBank", "two", 7, 2, 2)});
    EXPECT_EQ(contents("recv"), (tNames{file("MyBank", "one"), file("MyBank", "two")}));
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_EQ(names("").size(), 6U);
}

TEST_F(SmsReceive, LongMessageOfANamedSender_ComesInTheOrderOfItsNumbers) {
    receive({deliverPdu("MyBank", "four", 7, 4, 4), deliverPdu("MyBank", "three", 7, 3, 4),
             deliverPdu("MyBank", "two", 7, 2, 4), deliverPdu("MyBank", "one", 7, 1, 4)});
    tNames texts;
    for (const std::string& name : names("recv"))  // "...1" to "...4"
        texts.push_back(readFile(in("recv", name)));
    EXPECT_EQ(texts, (tNames{file("MyBank", "one"), file("MyBank", "two"), file("MyBank", "three"),
                             file("MyBank", "four")}));
}

TEST_F(SmsReceive, HostileNamedSenders_StayInTheSpool) {
    receive({deliverPdu("../../x", "one"), deliverPdu("/", "two"), deliverPdu("..", "three"),
             deliverPdu("a\nMSG_ID=1", "four"), deliverPdu("$(id)", "five", 7, 1, 2)});
    EXPECT_EQ(contents("recv"),
              (tNames{file("$(id)", "five"), file("..", "three"), file("../../x", "one"),
                      file("/", "two"), file("a_MSG_ID=1", "four")}));
    EXPECT_EQ(names("").size(), 6U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST_F(SmsReceive, ReferenceZero_IsNotLost) {
    receive({deliverPdu("22255", "a", 0, 1, 2), deliverPdu("22255", "b", 0, 2, 2)});
    EXPECT_EQ(contents("recv"), tNames{file("22255", "ab")});
}

TEST_F(SmsReceive, ModemRefuses_IsASuccessWithoutMessages) {
    port.answer(OK_REPLY).answer(ERROR_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), USUAL);
    EXPECT_FALSE(isListingOpen(root));
}

TEST_F(SmsReceive, ListingCutOff_IsListedAgainWithTheReadOnes) {
    const std::string pdu = deliverPdu("22255", "precious");
    const std::string whole = listing({pdu});
    port.answer(OK_REPLY).answer(whole.substr(0, whole.size() / 2));
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands(), USUAL);
    EXPECT_TRUE(isListingOpen(root));
    EXPECT_TRUE(names("recv").empty());

    port.answer(OK_REPLY).answer(OK_REPLY).answer(whole);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), RECOVERING);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "precious")});
    EXPECT_FALSE(isListingOpen(root));

    receive({});
    EXPECT_EQ(commands(), USUAL);
}

// The first listing marks as read, so the second has it again.
TEST_F(SmsReceive, Recovery_MessageInBothListings_IsWrittenOnce) {
    leaveMarker();
    const std::string fresh = deliverPdu("22255", "fresh");
    const std::string old = deliverPdu("22255", "old");
    port.answer(OK_REPLY).answer(listing({fresh})).answer(listing({fresh, old}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(contents("recv"), (tNames{file("22255", "fresh"), file("22255", "old")}));
    EXPECT_EQ(device.modem.i_sms_received, 2U);
}

TEST_F(SmsReceive, Recovery_TwoEqualMessages_AreTwo) {
    leaveMarker();
    const std::string pdu = deliverPdu("22255", "alarm");
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({pdu, pdu}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(contents("recv"), (tNames{file("22255", "alarm"), file("22255", "alarm")}));
}

TEST_F(SmsReceive, Recovery_MessageWrittenBeforeTheKill_IsNotWrittenAgain) {
    leaveMarker();
    tSmsQueue queue = queueOf({singleRecord("22255", "alarm")});
    writeSmsMessages(queue, root);
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({deliverPdu("22255", "alarm")}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "alarm")});
}

TEST_F(SmsReceive, Recovery_TimesOut_KeepsWhatIsThereAndTheMarker) {
    leaveMarker();
    const std::string fresh = deliverPdu("22255", "fresh");
    port.answer(OK_REPLY).answer(listing({fresh})).silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "fresh")});
    EXPECT_TRUE(isListingOpen(root));
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({fresh}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("recv").size(), 1U);
    EXPECT_FALSE(isListingOpen(root));
}

TEST_F(SmsReceive, Recovery_Refused_KeepsTheMarker) {
    leaveMarker();
    port.answer(OK_REPLY).answer(OK_REPLY).answer(ERROR_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(isListingOpen(root));
}

TEST_F(SmsReceive, Recovery_Refused_JoinsWhatIsComplete) {
    leaveMarker();
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    port.answer(OK_REPLY).answer(OK_REPLY).answer(ERROR_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("recv").size(), 1U);
}

TEST_F(SmsReceive, Recovery_WithoutTheMessageThatCouldNotBeWritten_KeepsTheMarker) {
    leaveMarker();
    const std::string recv = root + "/recv";
    std::filesystem::remove(recv);
    writeFile(recv, "in the way");
    onLogged("A listing of SMS messages did not end well, listing the read ones as well",
             [&] { std::filesystem::remove(recv); });
    port.answer(OK_REPLY).answer(listing({deliverPdu("22255", "precious")})).answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(isListingOpen(root));
}

TEST_F(SmsReceive, Recovery_IsToldOnceUntilItSucceeded) {
    const std::string told =
        "A listing of SMS messages did not end well, listing the read ones as well";
    for (int outage = 1; outage <= 2; ++outage) {
        leaveMarker();
        port.answer(OK_REPLY).answer(OK_REPLY).answer(ERROR_REPLY);
        inPass(eWORK_SMS, [&] { check(); });
        leaveMarker();
        port.answer(OK_REPLY).answer(OK_REPLY).answer(ERROR_REPLY);
        inPass(eWORK_SMS, [&] { check(); });
        port.answer(OK_REPLY).answer(OK_REPLY).answer(OK_REPLY);
        inPass(eWORK_SMS, [&] { check(); });
        port.answer(OK_REPLY).answer(OK_REPLY);
        inPass(eWORK_SMS, [&] { check(); });
        EXPECT_EQ(logCount(told), static_cast<size_t>(outage));
        EXPECT_FALSE(isListingOpen(root));
    }
}

TEST_F(SmsReceive, ListingEndsInAnError_IsListedAgainWithTheReadOnes) {
    tNames expected;
    for (const char* error : {"\r\nERROR", "\r\n+CMS ERROR: 500"}) {
        const std::string pdu = deliverPdu("22255", error + 2);
        std::string broken = listing({pdu});
        broken.replace(broken.find("\r\nOK"), 4, error);
        port.answer(OK_REPLY).answer(broken).answer(listing({pdu}));
        EXPECT_EQ(check(), eSUCCESS);
        EXPECT_EQ(commands(), RECOVERING);
        expected.insert(expected.begin(), file("22255", error + 2));
        EXPECT_EQ(contents("recv"), expected);
    }
}

// The late OK of the first command is taken for the listing's end; the listing comes with the next.
TEST_F(SmsReceive, ModeAnswerIsLate_ListingIsNotLost) {
    const std::string pdu = deliverPdu("22255", "precious");
    port.silence().answer(OK_REPLY).answer(listing({pdu}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), RECOVERING);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "precious")});
}

TEST_F(SmsReceive, MessageThatCannotBeWritten_StaysOnTheModemUntilItCan) {
    std::filesystem::remove(root + "/recv");
    writeFile(root + "/recv", "in the way");
    const std::string single = deliverPdu("22255", "precious");
    const std::string part = deliverPdu("22255", "part", 7, 1, 2);
    EXPECT_EQ(receive({single, part}), eSUCCESS);
    EXPECT_TRUE(isListingOpen(root));
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_EQ(device.modem.i_sms_received, 1U);

    std::filesystem::remove(root + "/recv");
    makeSmsDirs(root);
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({single, part}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "precious")});
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_EQ(device.modem.i_sms_received, 2U);
    EXPECT_FALSE(isListingOpen(root));
}

TEST_F(SmsReceive, SpoolIsDeletedWhileAMessageIsHeld_MessageComesNevertheless) {
    std::filesystem::remove(root + "/recv");
    writeFile(root + "/recv", "in the way");
    const std::string pdu = deliverPdu("22255", "precious");
    EXPECT_EQ(receive({pdu}), eSUCCESS);
    std::filesystem::remove_all(root);
    EXPECT_TRUE(isListingOpen(root)) << "nothing may be deleted on the modem";

    makeSmsDirs(root);
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({pdu}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "precious")});
    EXPECT_FALSE(isListingOpen(root));
}

TEST_F(SmsReceive, JoinedMessageThatCannotBeWritten_ComesWithALaterCheck) {
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    std::filesystem::remove(root + "/recv");
    writeFile(root + "/recv", "in the way");
    receive({});
    EXPECT_TRUE(names("recv_parts").empty());
    std::filesystem::remove(root + "/recv");
    makeSmsDirs(root);
    receive({});
    EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=time of a\nMSG=ab"});
    EXPECT_EQ(device.modem.i_sms_received, 1U);
}

TEST_F(SmsReceive, SpoolCannotBeWritten_NothingIsListed) {
    std::filesystem::remove_all(root);
    writeFile(root, "in the way");
    port.answer(OK_REPLY);
    inPass(eWORK_SMS, [&] { EXPECT_EQ(check(), eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE); });
    EXPECT_EQ(commands(), tNames{"AT+CMGF=0"});
    port.answer(OK_REPLY);
    inPass(eWORK_SMS, [&] { check(); });
    EXPECT_TRUE(logContains("Error: Cannot write SMS folder"));
    EXPECT_EQ(capturedLog().size(), 1U) << "told once";
    std::filesystem::remove(root);
    makeSmsDirs(root);
    inPass(eWORK_SMS, [&] { receive({}); });
    std::filesystem::remove_all(root);
    writeFile(root, "in the way");
    port.answer(OK_REPLY);
    inPass(eWORK_SMS, [&] { check(); });
    EXPECT_EQ(capturedLog().size(), 2U) << "and again the next time";
}

TEST_F(SmsReceive, Family3gpp2_UsesItsDecoder) {
    device.modem.i_sms_network_family = 2;
    receive({deliverPdu("22255", "x")});
    EXPECT_TRUE(logContains("Unable to decode SMS PDU message (3GPP2)"));
}

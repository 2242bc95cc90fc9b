#include "sms/receive.h"

#include <filesystem>

#include "device/link_state.h"
#include "include/device_records.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"
#include "tests/support/in_pass.h"
#include "tests/unit/sms/receive_fixture.h"

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
        EXPECT_EQ(getSmsMsg(port.descriptor(), eSMS_3GPP, row.type, queue), ePORT_OK);
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
        EXPECT_EQ(deleteSmsMsg(port.descriptor(), row.type), ePORT_OK);
        EXPECT_EQ(commands(), tNames{row.command});
    }
}

TEST_F(SmsReceive, UnknownTypes_Give303) {
    tSmsQueue queue;
    EXPECT_EQ(getSmsMsg(port.descriptor(), eSMS_3GPP, static_cast<eSmsReadType>(3), queue), 303);
    EXPECT_EQ(deleteSmsMsg(port.descriptor(), static_cast<eSmsDelType>(-1)), 303);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("getSmsMsg(): Error: Unknown SMS read command Command 3"), 1U);
    EXPECT_EQ(logCount("deleteSmsMsg(): Error: Unknown SMS delete command Command -1"), 1U);
}

TEST_F(SmsReceive, Timeouts_AreThoseOfTheCommands) {
    tSmsQueue queue;
    port.silence();
    EXPECT_EQ(getSmsMsg(port.descriptor(), eSMS_3GPP, eSMS_READ_UNREAD, queue),
              ePORT_NO_FINAL_RESULT);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs()), 11000, 50);
    EXPECT_EQ(logCount("getSmsMsg(): Command 'AT+CMGL=0' TIMEOUT"), 1U);
    resetLinkState();  // forgets the previous port
    const uint64_t before = port.elapsedMs();
    port.silence();
    EXPECT_EQ(deleteSmsMsg(port.descriptor(), eSMS_DELETE_READ), ePORT_NO_FINAL_RESULT);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs() - before), 3000, 50);
}

TEST_F(SmsReceive, Refusals_AreTurnedIntoTheirNumber) {
    tSmsQueue queue;
    const auto refuse = [&](const std::string& line) {
        port.answer(modemReply({}, line));
        return getSmsMsg(port.descriptor(), eSMS_3GPP, eSMS_READ_UNREAD, queue);
    };
    const std::string logLine = "getSmsMsg(): Command 'AT+CMGL=0' reported CME/CMS ERROR 10";
    EXPECT_EQ(refuse("+CME ERROR: 10"), 10);
    EXPECT_EQ(refuse("+CME ERROR: 10"), 10);
    EXPECT_EQ(logCount(logLine), 2U);
    EXPECT_EQ(refuse("ERROR"), ePORT_ERROR);
    EXPECT_EQ(logCount("getSmsMsg(): Command 'AT+CMGL=0' reported ERROR"), 1U);
    EXPECT_EQ(refuse("OK"), ePORT_OK);
    port.answer(modemReply({}, "+CMS ERROR: 321"));
    EXPECT_EQ(deleteSmsMsg(port.descriptor(), eSMS_DELETE_READ), 321);
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

TEST_F(SmsReceive, PartsInSeveralChecks_AreJoinedAfterTheLastOne) {
    receive({deliverPdu("+12025550123", "b", 7, 2, 2)});
    EXPECT_TRUE(names("recv").empty());
    receive({deliverPdu("+12025550199", "x", 7, 1, 2)});
    EXPECT_TRUE(names("recv").empty());
    receive({deliverPdu("+12025550123", "a", 7, 1, 2)});
    EXPECT_EQ(contents("recv"), tNames{file("12025550123", "ab")});
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsReceive, CompletePartsInTheSpool_AreJoinedWithoutANewMessage) {
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

// A start alone does not cause a check of the waiting parts.
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

TEST_F(SmsReceive, PartReceivedTwiceWhileItWaits_IsOnePart) {
    receive({deliverPdu("22255", "a", 7, 1, 2)});
    receive({deliverPdu("22255", "a", 7, 1, 2)});
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_TRUE(logContains("SMS part came twice, deleting older file"));
    receive({deliverPdu("22255", "b", 7, 2, 2)});
    EXPECT_EQ(contents("recv"), tNames{file("22255", "ab")});
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsReceive, DuplicatePartAfterTheClockWentBack_OlderOneIsRemoved) {
    receive({deliverPdu("+12025550123", "a", 7, 1, 2)});
    const std::string older = in("recv_parts", names("recv_parts")[0]);
    setFileTime(older, wallClockNow().tv_sec + 1000000000);
    receive({deliverPdu("+12025550123", "a", 7, 1, 2)});
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_FALSE(fileExists(older));
}

TEST_F(SmsReceive, SingleAndJoinedMessageOfOneSender_HaveDifferentNames) {
    EXPECT_EQ(receive({deliverPdu("22255", "single"), deliverPdu("22255", "a", 7, 1, 2),
                       deliverPdu("22255", "b", 7, 2, 2)}),
              eSUCCESS);
    EXPECT_EQ(contents("recv"), (tNames{file("22255", "ab"), file("22255", "single")}));
}

TEST_F(SmsReceive, LongMessageOfANamedSender_IsNotLost) {
    receive({deliverPdu("MyBank", "one", 7, 1, 2), deliverPdu("MyBank", "two", 7, 2, 2)});
    EXPECT_EQ(contents("recv"), (tNames{file("MyBank", "one"), file("MyBank", "two")}));
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_EQ(names("").size(), 6U);
}

TEST_F(SmsReceive, LongMessageOfANamedSender_IsDeliveredInTheOrderOfItsNumbers) {
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

TEST_F(SmsReceive, SpoolIsDeletedWhileAMessageWaits_MessageIsStillDelivered) {
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

TEST_F(SmsReceive, JoinedMessageThatCannotBeWritten_IsDeliveredByALaterCheck) {
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
    EXPECT_EQ(capturedLog().size(), 1U) << "logged once";
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

#include <filesystem>

#include "include/device_records.h"
#include "tests/support/in_pass.h"
#include "tests/unit/sms/receive_fixture.h"

// Listings that were cut off, by the modem or by the end of the daemon: the next check lists the
// read messages too.

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

// The first listing marks the message as read, so the second lists it again.
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

TEST_F(SmsReceive, Recovery_TimesOut_KeepsMessagesAndMarker) {
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

TEST_F(SmsReceive, Recovery_Refused_JoinsCompleteMessages) {
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
    onLogged("A listing of SMS messages may have been cut off, listing the read ones as well",
             [&] { std::filesystem::remove(recv); });
    port.answer(OK_REPLY).answer(listing({deliverPdu("22255", "precious")})).answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(isListingOpen(root));
}

TEST_F(SmsReceive, Recovery_IsLoggedOnceUntilItSucceeded) {
    const std::string logLine =
        "A listing of SMS messages may have been cut off, listing the read ones as well";
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
        EXPECT_EQ(logCount(logLine), static_cast<size_t>(outage));
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

// The late OK of the first command is taken for the end of the listing; the listing itself is read
// with the next command.
TEST_F(SmsReceive, ModeAnswerIsLate_ListingIsNotLost) {
    const std::string pdu = deliverPdu("22255", "precious");
    port.silence().answer(OK_REPLY).answer(listing({pdu}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), RECOVERING);
    EXPECT_EQ(contents("recv"), tNames{file("22255", "precious")});
}

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "include/device_records.h"
#include "sms/joined_journal.h"
#include "sms/listing_marker.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "tests/unit/sms/fixture.h"

namespace {

class SmsCheck : public cSmsFixture {
  protected:
    eGeneralErrors check() { return checkSMS(port.descriptor(), device); }

    cFakePort port;
};

const tNames USUAL = {"AT+CMGF=0", "AT+CMGL=0", "AT+CMGD=1,1", "AT+CMGD=1,2"};

class SmsInit : public cSmsFixture {
  protected:
    // Older than files that another process may still be writing.
    static void makeOlder(const std::string& path) {
        std::filesystem::last_write_time(
            path, std::filesystem::file_time_type::clock::now() - std::chrono::seconds(70));
    }
};

}  // namespace

TEST_F(SmsCheck, Usual_ReceivesDeletesSendsDeletes) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(listing({deliverPdu("22255", "in")})).answer(OK_REPLY);
    port.answer(OK_REPLY).silence().answer(OK_REPLY).answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands(),
              (tNames{"AT+CMGF=0", "AT+CMGL=0", "AT+CMGD=1,1", "AT+CMGF=0", "AT+CMGS=18",
                      "0001000B912120550521F3000005C8329BFD06\x1a", "AT+CMGD=1,2"}));
    EXPECT_EQ(names("recv").size(), 1U);
    EXPECT_EQ(names("send_ok").size(), 1U);
}

TEST_F(SmsCheck, SecondCheckWithinFiveSeconds_DoesNothing) {
    for (int i = 0; i < 4; ++i)
        port.answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands(), USUAL);
    EXPECT_EQ(g_Cp_CheckSMS->GetTimeout(), 5U);
    EXPECT_TRUE(g_Cp_CheckSMS->IsTimerRunning());
}

TEST_F(SmsCheck, NotRegistered_Gives201AndStillMakesTheFolders) {
    device.network.b_registered = false;
    std::filesystem::remove_all(root);
    EXPECT_EQ(check(), eERROR_DEVICE_NETWORK_NOT_REGISTERED);
    EXPECT_TRUE(port.commands().empty());
    EXPECT_EQ(names("").size(), 6U);
    EXPECT_TRUE(g_C_deleteOldSmsFiles.IsTimerRunning()) << "the sweep has run";
    EXPECT_EQ(check(), eSUCCESS) << "the next check comes after five seconds here, too";
}

TEST_F(SmsCheck, NoImsOn3gpp2_Gives202) {
    device.modem.i_sms_network_family = 2;
    EXPECT_EQ(check(), eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED);
    EXPECT_TRUE(port.commands().empty());
    device.modem.i_sms_network_family = 1;
    device.network.e_psnt_service_type = ePS_NET_WCDMA;
    for (int i = 0; i < 4; ++i)
        port.answer(OK_REPLY);
    g_Cp_CheckSMS->Stop();
    EXPECT_EQ(check(), eSUCCESS) << "the radio technology is no network family";
    device.modem.i_sms_network_family = 2;
    device.network.b_ims_registered = true;
    for (int i = 0; i < 4; ++i)
        port.answer(OK_REPLY);
    g_Cp_CheckSMS->Stop();
    EXPECT_EQ(check(), eSUCCESS);
}

TEST_F(SmsCheck, ListingTimesOut_EndsTheCheck) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGF=0", "AT+CMGL=0"}));
    EXPECT_EQ(names("send"), tNames{"file"});
}

TEST_F(SmsCheck, FirstDeletionTimesOut_SendsAndGives6) {
    port.answer(OK_REPLY).answer(OK_REPLY).silence().answer(OK_REPLY);
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands(), USUAL);
}

TEST_F(SmsCheck, SendTimesOut_SkipsTheSecondDeletion) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(OK_REPLY).answer(OK_REPLY);
    port.answer(OK_REPLY).silence().silence().silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands().back(), "\x1b");
}

TEST_F(SmsCheck, ResultOfTheSecondDeletion_IsIgnored) {
    port.answer(OK_REPLY).answer(OK_REPLY).answer(OK_REPLY).silence();
    EXPECT_EQ(check(), eSUCCESS);
}

TEST_F(SmsCheck, OtherSendResults_DoNotChangeTheResult) {
    writeFile(in("send", "file"), "nothing");
    for (int i = 0; i < 4; ++i)
        port.answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands(), USUAL);
    EXPECT_TRUE(names("send").empty());
}

TEST_F(SmsCheck, ModemRefusesTheListing_StillDeletes) {
    port.answer(OK_REPLY).answer(ERROR_REPLY).answer(ERROR_REPLY).answer(ERROR_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands(), USUAL);
}

// A message that was listed but not written is only on the modem.
TEST_F(SmsCheck, RecoveryRefused_DeletesNothing) {
    bool leftOver;
    openListing(root, leftOver);
    port.answer(OK_REPLY).answer(OK_REPLY).answer(ERROR_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGF=0", "AT+CMGL=0", "AT+CMGL=1"}));
    g_Cp_CheckSMS->Stop();
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({deliverPdu("22255", "precious")}));
    port.answer(OK_REPLY).answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands().back(), "AT+CMGD=1,2");
    EXPECT_EQ(names("recv").size(), 1U);
}

TEST_F(SmsCheck, MessageNotWritten_DeletesNothing) {
    std::filesystem::remove(root + "/recv");
    writeFile(root + "/recv", "in the way");
    port.answer(OK_REPLY).answer(listing({deliverPdu("22255", "precious")}));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGF=0", "AT+CMGL=0"}));
}

TEST_F(SmsCheck, SpoolCannotBeWritten_DeletesNothing) {
    std::filesystem::remove_all(root);
    writeFile(root, "in the way");
    port.answer(OK_REPLY);
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE);
    EXPECT_EQ(port.commands(), tNames{"AT+CMGF=0"});
}

// The same text in the same second at the same index of the modem is still another message.
TEST_F(SmsCheck, EqualMessageAfterTheDeletion_IsANewMessage) {
    const std::string pdu = deliverPdu("22255", "alarm");
    port.answer(OK_REPLY).answer(listing({pdu})).answer(OK_REPLY).answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    ASSERT_EQ(names("recv").size(), 1U);
    std::filesystem::remove(in("recv", names("recv")[0]));
    g_Cp_CheckSMS->Stop();
    port.answer(OK_REPLY).silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    g_Cp_CheckSMS->Stop();
    port.answer(OK_REPLY).answer(OK_REPLY).answer(listing({pdu})).answer(OK_REPLY).answer(OK_REPLY);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("recv").size(), 1U);
}

TEST_F(SmsInit, Init_StartsTheTimersAndMakesTheFolders) {
    std::filesystem::remove_all(root);
    g_Cp_DelaySendSMS->Start();
    initSMS(root);
    EXPECT_EQ(names("").size(), 6U);
    EXPECT_TRUE(g_Cp_CheckSMS->IsTimerRunning());
    EXPECT_TRUE(g_C_deleteOldSmsFiles.IsTimerRunning());
    EXPECT_FALSE(g_Cp_DelaySendSMS->IsTimerEnabled());
    EXPECT_EQ(checkSMS(-1, device), eSUCCESS) << "the first check comes after five seconds";
    EXPECT_TRUE(capturedLog().empty());
}

// A folder that is a separate file system has its own temporary files.
TEST_F(SmsInit, TemporaryFilesOfAKilledDaemon_AreRemovedFromEveryFolder) {
    const char* const dirs[] = {"",     "recv",      "recv_parts", "recv_post",
                                "send", "send_fail", "send_ok"};
    for (const char* dir : dirs) {
        writeFile(in(dir, ".cellslot-tmp-abcdef"), "half a fi");
        makeOlder(in(dir, ".cellslot-tmp-abcdef"));
        writeFile(in(dir, ".cellslot-tmp-ghijkl"), "another slot is writing it");
    }
    writeFile(in("send", ".hidden"), "TO=12345\nMSG=x");
    initSMS(root);
    for (const char* dir : dirs) {
        EXPECT_FALSE(fileExists(in(dir, ".cellslot-tmp-abcdef"))) << dir;
        EXPECT_TRUE(fileExists(in(dir, ".cellslot-tmp-ghijkl"))) << dir;
    }
    EXPECT_TRUE(fileExists(in("send", ".hidden")));
}

TEST_F(SmsInit, MessagesOfAKilledDaemon_AreDelivered) {
    const std::string left = root + "/.cellslot-tmp-abcdef";
    writeFile(left, "half a fi");
    makeOlder(left);
    // The daemon of another slot is writing this one.
    writeFile(root + "/.cellslot-tmp-ghijkl", "half a fi");
    writeFile(root + "/somebody's file", "");
    putPart("b", 7, 2, 2, "1", "y");
    S_smsRecordRx record = singleRecord("1", "xy");
    ASSERT_TRUE(writeJournal(record, {in("recv_parts", "a"), in("recv_parts", "b")}, root));
    initSMS(root);
    EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=2020-06-15 20:32:05\nMSG=xy"});
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_EQ(names(""), (tNames{".cellslot-tmp-ghijkl", "recv", "recv_parts", "recv_post", "send",
                                 "send_fail", "send_ok", "somebody's file"}));
    initSMS(root);
    EXPECT_EQ(names("recv").size(), 1U);
}

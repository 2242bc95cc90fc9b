#include "sms/send.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "include/device_records.h"
#include "sms/spool.h"
#include "tests/support/simulated_port.h"
#include "tests/unit/sms/send_fixture.h"

// Files that other programs replace, change or delete while the modem sends them.

namespace {

// Something happens in the folder while the daemon waits for the modem.
class SmsSendMeanwhile : public cSmsFixture {
  protected:
    eGeneralErrors check() { return checkSendSmS(port.descriptor(), device.modem, root); }
    // The texts that the modem got to send.
    tNames sentTexts() {
        tNames texts;
        const nlohmann::json dump = port.modem().control({{"op", "dump"}});
        for (const nlohmann::json& sms : dump.at("state").at("sms").at("sent"))
            texts.push_back(sms.at("text").get<std::string>());
        return texts;
    }
    void TearDown() override { EXPECT_TRUE(port.modem().problems().empty()); }

    cSimulatedPort port{nlohmann::json::object()};
};

}  // namespace

TEST_F(SmsSendMeanwhile, LongMessage_ArrivesAsItsFirst918Characters) {
    const std::string first = std::string(459, 'a') + std::string(459, 'b');
    putSend("long", first + std::string(82, 'c'));
    EXPECT_EQ(check(), eSUCCESS);
    std::string arrived;
    for (const std::string& text : sentTexts())
        arrived += text;
    EXPECT_EQ(arrived, first);
}

// The writer renames its next message over the file that is being sent.
TEST_F(SmsSendMeanwhile, FileReplacedWhileItIsSent_IsSentAsWell) {
    putSend("alarm", "first");
    writeFile(folder / "next", "TO=+12025550123\nMSG=second\n");
    port.onTurn([&] {
        if (port.modem().commands().size() == 2 && fileExists(folder / "next"))
            std::filesystem::rename(folder / "next", in("send", "alarm"));
    });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("send"), tNames{"alarm"});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), (tNames{"first", "second"}));
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(device.modem.i_sms_sent, 2U);
}

TEST_F(SmsSendMeanwhile, FileChangedInPlaceWhileItIsSent_IsSentOnceAndMoved) {
    int turns = 0;
    const auto change = [&] {
        const std::string path = in("send", "alarm");
        if (!fileExists(path)) return;
        ++turns;
        if (turns % 2 == 0)
            putSend("alarm", "changed " + std::to_string(turns));
        else
            setFileTime(path, START_S + turns);
    };
    putSend("alarm", "once");
    port.onTurn(change);
    for (int call = 0; call < 5; ++call)
        EXPECT_EQ(check(), eSUCCESS);
    EXPECT_GT(turns, 2);
    EXPECT_EQ(sentTexts(), tNames{"once"});
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(names("send_ok").size(), 1U);
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
}

TEST_F(SmsSendMeanwhile, FileChangedInPlaceWhileItFails_IsGivenUpAfterThreeAttempts) {
    int turns = 0;
    putSend("alarm", "never");
    port.onTurn([&] {
        if (fileExists(in("send", "alarm"))) setFileTime(in("send", "alarm"), START_S + ++turns);
    });
    port.order({{"op", "fault"}, {"prefix", "AT+CMGS"}, {"kind", "error"}, {"count", 5}});
    for (int i = 0; i < 5; ++i) {
        check();
        g_Cp_DelaySendSMS->Stop();
    }
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(names("send_fail").size(), 1U);
}

// Some file systems give the inode number of a deleted file to the next one.
TEST_F(SmsSendMeanwhile, FileDeletedAndWrittenAgainWhileItIsSent_IsANewMessage) {
    putSend("alarm", "first");
    bool replaced = false;
    port.onTurn([&] {
        if (replaced || port.modem().commands().size() != 2) return;
        replaced = true;
        std::filesystem::remove(in("send", "alarm"));
        putSend("alarm", "other");
    });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("send"), tNames{"alarm"});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), (tNames{"first", "other"}));
    EXPECT_TRUE(names("send").empty());
}

TEST_F(SmsSendMeanwhile, FileDeletedWhileItIsSent_LeavesNothing) {
    putSend("alarm", "once");
    port.onTurn([&] { std::filesystem::remove(in("send", "alarm")); });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
    EXPECT_TRUE(names("send_ok").empty());
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
}

TEST_F(SmsSendMeanwhile, FileReplacedJustBeforeItIsRead_IsSentOnce) {
    putSend("alarm", "first");
    writeFile(folder / "next", "TO=+12025550123\nMSG=second\n");
    onLogged("Reading SMS File " + in("send", "alarm"),
             [&] { std::filesystem::rename(folder / "next", in("send", "alarm")); });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(sentTexts(), tNames{"second"});
}

TEST_F(SmsSendMeanwhile, FileWhoseModeChangesWhileItIsSent_IsSentOnce) {
    putSend("alarm", "once");
    port.onTurn([&] {
        if (port.modem().commands().size() == 2) chmod(in("send", "alarm").c_str(), 0440);
    });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), tNames{"once"});
}

TEST_F(SmsSendMeanwhile, FileReplacedWhileItFails_StaysForItsOwnAttempts) {
    putSend("alarm", "first");
    for (int i = 0; i < 3; ++i) {
        if (i == 2) {
            writeFile(folder / "next", "TO=+12025550123\nMSG=second\n");
            const size_t before = port.modem().commands().size();
            port.onTurn([&, before] {
                if (port.modem().commands().size() == before + 2 && fileExists(folder / "next"))
                    std::filesystem::rename(folder / "next", in("send", "alarm"));
            });
        }
        port.order({{"op", "fault"}, {"match", "AT+CMGS=18"}, {"kind", "error"}, {"count", 1}});
        EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
        g_Cp_DelaySendSMS->Stop();
    }
    EXPECT_EQ(names("send"), tNames{"alarm"});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), tNames{"second"});
}

#include "sms/send.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>

#include "include/device_records.h"
#include "sms/open_prompt.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "tests/unit/sms/send_fixture.h"

// The dialogue with the modem: the prompt, the PDU or text that is entered there, and the answers.

namespace {

class SmsSendText : public SmsSend {
  protected:
    SmsSendText() { device.modem.i_sms_network_family = 2; }
    void modemSendsText() { port.answer(OK_REPLY).answer(OK_REPLY).answer(PROMPT).answer(SENT); }
};

}  // namespace

TEST_F(SmsSend, Prompt_IsMarkedWhileItMayBeOpen) {
    const std::string marker = root + "/.cellslot-prompt.1";
    putSend("file", "Hello");
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_NE(inotify_add_watch(watch, root.c_str(), IN_CREATE | IN_DELETE), -1);
    EXPECT_EQ(checkSent(), eSUCCESS);
    char events[4096];
    const ssize_t length = read(watch, events, sizeof events);
    close(watch);
    EXPECT_NE(std::string(events, std::max<ssize_t>(length, 0)).find(".cellslot-prompt."),
              std::string::npos);
    EXPECT_FALSE(fileExists(marker));
    endLeftPrompt(port.descriptor());
    EXPECT_EQ(port.commands().back().back(), '\x1a') << "nothing is sent without a reason";
}

TEST_F(SmsSend, PromptOpenAfterAKill_IsEndedOnce) {
    const std::string marker = root + "/.cellslot-prompt.1";
    writeFile(marker, "");
    initSMS(root);
    port.silence();
    endLeftPrompt(port.descriptor());
    endLeftPrompt(port.descriptor());
    EXPECT_EQ(port.commands(), tNames{ESC});
    EXPECT_FALSE(fileExists(marker));
}

TEST_F(SmsSend, PromptThatCannotBeEndedYet_IsEndedOnTheNextPort) {
    writeFile(root + "/.cellslot-prompt.1", "");
    initSMS(root);
    endLeftPrompt(-1);
    port.silence();
    endLeftPrompt(port.descriptor());
    EXPECT_EQ(port.commands(), tNames{ESC});
}

TEST_F(SmsSend, PromptRefused_EndsTheAttempt) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(modemReply({}, "+CMS ERROR: 500"));
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGF=0", "AT+CMGS=18"}));
    EXPECT_TRUE(logContains("sendSmsPdu(): AT command AT+CMGS=18 returned CME error 500 (" +
                            mapText(CMEE_Map, static_cast<ePortReturn>(500)) + ")"));
    EXPECT_EQ(logCount("Error: Sending PDU encoded SMS message returned an error"), 1U);
}

TEST_F(SmsSend, PromptRefusedWithAnUnknownNumber_EndsTheAttemptToo) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(modemReply({}, "+CMS ERROR: 9999"));
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(port.commands().back(), "AT+CMGS=18");
    EXPECT_EQ(logCount("sendSmsPdu(): AT command AT+CMGS=18 returned CME error -1 ()"), 1U);
}

TEST_F(SmsSend, DebugMaskOfTheCodec_ShowsWhatWasEncoded) {
    putSend("file", "Hello");
    g_i_debugMode = eLOG_SMS_PDU;
    testing::internal::CaptureStdout();
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("1 PDUs for a message of 5 characters"),
              std::string::npos);
}

TEST_F(SmsSend, PromptAnsweredByError_ReturnsIt) {
    port.answer(ERROR_REPLY);
    EXPECT_EQ(sendSmsPdu(port.descriptor(), 36, "00"), ePORT_ERROR);
    EXPECT_EQ(port.commands(), tNames{"AT+CMGS=17"}) << "36 digits";
}

TEST_F(SmsSend, PromptAnsweredByOk_PduFollows) {
    port.answer(OK_REPLY).answer(SENT);
    EXPECT_EQ(sendSmsPdu(port.descriptor(), 4, "0001"), ePORT_OK);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGS=1", "0001" + CTRL_Z}));
}

TEST_F(SmsSend, NetworkRefuses_GivesTheNumberAndTheLog) {
    port.answer(PROMPT).answer(modemReply({}, "+CMS ERROR: 500"));
    EXPECT_EQ(sendSmsPdu(port.descriptor(), 4, "0001"), 500);
    EXPECT_TRUE(logContains("sendSmsPdu(): AT command 'AT+CMGS=10001' returned CME error 500 ("));
}

TEST_F(SmsSend, NoAnswerToThePdu_IsAbortedWithEsc) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(PROMPT).silence().silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands().back(), ESC);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs()), 63000, 200);
    EXPECT_EQ(logCount("Error: Sending PDU encoded SMS message timed out"), 1U);
    EXPECT_EQ(names("send"), tNames{"file"});
}

TEST_F(SmsSend, DirectCall_SendsNoWhiteSpaceAtTheEnd) {
    modemSends();
    EXPECT_EQ(sendSmSMessage(port.descriptor(), "12345", "", "Hello \t\r\n", eSMS_3GPP), eSUCCESS);
    EXPECT_EQ(port.commands().back(), "00010005812143F5000005C8329BFD06" + CTRL_Z);
}

TEST_F(SmsSend, ControlCharactersInAPdu_BecomeQuestionMarks) {
    putSend("file", "a\x1a");
    EXPECT_EQ(checkSent(), eSUCCESS);
    // 'a' and '?'.
    EXPECT_EQ(port.commands().back(), "0001000B912120550521F3000002E11F" + CTRL_Z);
}

TEST_F(SmsSend, TextModes_HaveTheirNames) {
    const char* const names[] = {"GSM", "IRA", "8859-1", "PCCP437", "UCS2", "HEX"};
    for (int mode = 0; mode < 6; ++mode) {
        port.answer(OK_REPLY);
        EXPECT_EQ(setSmsTextMode(port.descriptor(), static_cast<eTextMode>(mode)), ePORT_OK);
        EXPECT_EQ(port.commands().back(), std::string("AT+CSCS=\"") + names[mode] + "\"");
    }
    EXPECT_EQ(setSmsTextMode(port.descriptor(), static_cast<eTextMode>(6)), 303);
    EXPECT_EQ(logCount("setSmsTextMode(): Error: Unknown SMS Text command Command 6"), 1U);
    const uint64_t before = port.elapsedMs();
    port.silence();
    EXPECT_EQ(setSmsTextMode(port.descriptor(), eSMS_TEXT_IRA), ePORT_NO_FINAL_RESULT);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs() - before), 3000, 50);
    port.answer(modemReply({}, "+CME ERROR: 3"));
    EXPECT_EQ(setSmsTextMode(port.descriptor(), eSMS_TEXT_IRA), 3);
}

TEST_F(SmsSendText, Message_IsSentInTextMode) {
    putSend("file", "a\r\nb\r\n\r\nc");
    modemSendsText();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.written(),
              "AT+CMGF=1\rAT+CSCS=\"IRA\"\rAT+CMGS=\"12025550123\"\ra\n\nb\n\n\n\nc\x1a\r");
    EXPECT_EQ(names("send_ok").size(), 1U);
}

TEST_F(SmsSendText, CharactersThatEndThePrompt_BecomeQuestionMarks) {
    putSend("file", std::string("a\x1a") + "AT+CFUN=0\rb\x1b\x08\t\x7f" + "end");
    modemSendsText();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands().back(),
              "a?AT+CFUN=0\nb??\t\x7f"
              "end" +
                  CTRL_Z);
}

TEST_F(SmsSendText, DirectCall_ReplacesCharactersThatEndThePrompt) {
    port.answer(PROMPT).answer(SENT);
    EXPECT_EQ(sendSmsText(port.descriptor(), "12345", "x\x1aY"), ePORT_OK);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGS=\"12345\"", "x?Y" + CTRL_Z}));
}

TEST_F(SmsSendText, LongMessage_IsTruncated) {
    const std::string first = std::string(917, 'x') + "y";
    putSend("file", first + std::string(82, 'z'));
    modemSendsText();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands().back(), first + CTRL_Z);
    EXPECT_EQ(logCount("SMS Message too long (1000 chars), truncating to 918 chars"), 1U);
}

TEST_F(SmsSendText, ModeTimesOut_Gives6) {
    putSend("file", "x");
    port.silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(logCount("Error: Setting SMS text 'send mode' timed out"), 1U);
    g_Cp_DelaySendSMS->Stop();
    port.answer(ERROR_REPLY).silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT) << "a refused mode is no obstacle";
    EXPECT_EQ(logCount("Error: Setting SMS text 'send mode type' timed out"), 1U);
}

TEST_F(SmsSendText, NoAnswerToTheText_IsAbortedWithEsc) {
    putSend("file", "x");
    port.answer(OK_REPLY).answer(OK_REPLY).answer(PROMPT).silence().silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands().back(), ESC);
}

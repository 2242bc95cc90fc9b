#include "statemachine/custom_at.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "device/link_state.h"
#include "include/device_records.h"
#include "include/options.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "statemachine/custom_at_log.h"
#include "tests/support/captured_log.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/no_unlink.h"
#include "tests/support/simulated_port.h"
#include "tests/support/temp_folder.h"

namespace {

const std::string DIVIDER = "=================================================\n";
const std::string INVALID = "\nINVALID AT COMMAND";

// The folder with the marker of an open prompt.
class cSpoolRoot {
  public:
    explicit cSpoolRoot(const std::string& path) { g_s_root_sms_path = path; }
    ~cSpoolRoot() { g_s_root_sms_path = m_saved; }
    cSpoolRoot(const cSpoolRoot&) = delete;
    cSpoolRoot& operator=(const cSpoolRoot&) = delete;

  private:
    const std::string m_saved = g_s_root_sms_path;
};

// A shared folder, the folder of the log and that of the marker.
class cCustomAtFixture : public ::testing::Test {
  protected:
    cCustomAtFixture() {
        clearCapturedLog();
        savedLogFolder = g_s_at_cmd_log_dir;
        g_s_at_cmd_log_dir = logs / "system/logs/";
        g_S_options = {"", "", "", "2"};
        device.modem.s_model = "LE910-NA V2";
        device.modem.s_manufacturer = "Telit";
        device.modem.s_imei = "356938035643809";
    }
    ~cCustomAtFixture() override { g_s_at_cmd_log_dir = savedLogFolder; }

    std::string logText() const { return readFile(logs / "system/logs/at_cmdlog.txt"); }

    cTempFolder shared;
    cTempFolder logs;
    cTempFolder spool;
    const cSpoolRoot spoolRoot{spool.path()};
    const std::string in = shared / "at_cmd_in";
    const std::string out = shared / "at_cmd_out";
    const std::string raw = shared / "at_cmd_out_raw";
    std::string savedLogFolder;
    sDeviceInfo device;
};

class CustomAt : public cCustomAtFixture {
  protected:
    eGeneralErrors request(const std::string& text) {
        writeFile(in, text);
        return checkCustomAtFile(port.descriptor(), device, shared.path());
    }

    cFakePort port;
};

// Something happens in the shared folder while the daemon waits for the modem.
class CustomAtMeanwhile : public cCustomAtFixture {
  protected:
    cSimulatedPort port{nlohmann::json::object()};
};

std::string record(const std::string& command, const std::string& output) {
    return DIVIDER + " Sending : " + command + "\n Output : \n\n" + output + DIVIDER;
}

std::string csqResponse() {
    return "AT+CSQ\r" + modemReply({"+CSQ: 20,99"});
}

std::vector<std::string> list(const std::string& command, size_t count) {
    return std::vector<std::string>(count, command);
}

std::string repeated(const std::string& text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

}  // namespace

TEST_F(CustomAt, Paths) {
    EXPECT_EQ(g_s_at_cmd_custom_path, "/tmp");
    EXPECT_EQ(savedLogFolder, "/storage/vault/system/logs/");
}

TEST_F(CustomAt, NoRequest_DoesNothing) {
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_TRUE(capturedLog().empty());
    EXPECT_TRUE(std::filesystem::is_empty(shared.path()));
}

TEST_F(CustomAt, RequestOfOneSlot_IsHandledByItsDaemonOnly) {
    writeFile(in + ".2", "AT+CSQ\n");
    writeFile(in + ".1", "AT+CGMI\n");
    writeFile(raw, "of another request\n");
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_EQ(port.commands(), std::vector<std::string>());
    port.answer(modemReply({"+CSQ: 20,99"}));
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path(), ".2"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT+CSQ", 1));
    EXPECT_FALSE(fileExists(in + ".2"));
    EXPECT_EQ(readFile(in + ".1"), "AT+CGMI\n");
    EXPECT_EQ(readFile(out + ".2"), record("AT+CSQ", csqResponse()) + "\n");
    EXPECT_EQ(readFile(raw + ".2"), csqResponse() + "\n");
    // The answers of the shared request stay.
    EXPECT_EQ(readFile(raw), "of another request\n");
    EXPECT_FALSE(fileExists(out));
}

TEST_F(CustomAt, OneCommand_AnswerFilesAndLog) {
    port.answer(modemReply({"+CSQ: 20,99"}));
    EXPECT_EQ(request("AT+CSQ\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT+CSQ", 1));
    EXPECT_FALSE(fileExists(in));
    EXPECT_EQ(readFile(out), record("AT+CSQ", csqResponse()) + "\n");
    EXPECT_EQ(readFile(raw), csqResponse() + "\n");
    const std::string log = logText();
    // The time of a record is on a line of its own.
    const size_t stampEnd = log.find('\n');
    std::string stamp = log.substr(0, stampEnd);
    for (char& letter : stamp)
        if (letter >= '0' && letter <= '9') letter = '9';
    EXPECT_EQ(stamp, "99/99/9999 99:99:99  ");
    EXPECT_EQ(log.substr(stampEnd), "\n\nDevice: LE910-NA V2\nIMEI: 356938035643809\nSlot #2\n" +
                                        record("AT+CSQ", csqResponse()) + "\n");
    EXPECT_EQ(logCount("Processing custom AT command file"), 1U);
    EXPECT_EQ(logCount("- Sending AT command AT+CSQ, extra timeout 0"), 1U);
}

TEST_F(CustomAt, AnswerFiles_ReadableByEveryone) {
    const mode_t mask = umask(077);
    EXPECT_EQ(request("+CSQ\n"), eSUCCESS);
    umask(mask);
    for (const std::string& path : {out, raw}) {
        struct stat info;
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777U, 0644U) << path;
    }
}

TEST_F(CustomAt, SeveralCommands_InOrderAndRawWithoutSeparators) {
    port.answer(OK_REPLY).answer(ERROR_REPLY).answer("\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(request("  AT+ONE  \r\n\n\tAT+TWO::1\r\nAT+CPIN?"), eSUCCESS);
    EXPECT_EQ(port.commands(), (std::vector<std::string>{"AT+ONE", "AT+TWO", "AT+CPIN?"}));
    const std::string one = "AT+ONE\r\r\nOK\r\n";
    const std::string two = "AT+TWO\r\r\nERROR\r\n";
    const std::string pin = "AT+CPIN?\r\r\n+CME ERROR: 10\r\n";
    EXPECT_EQ(readFile(out),
              record("AT+ONE", one) + record("AT+TWO", two) + record("AT+CPIN?", pin) + "\n");
    EXPECT_EQ(readFile(raw), one + two + pin + "\n");
}

TEST_F(CustomAt, Silence_EndsTheRequestThere) {
    port.answer(OK_REPLY).silence();
    EXPECT_EQ(request("AT+ONE\nAT+TWO\nAT+THREE\n"), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands(), (std::vector<std::string>{"AT+ONE", "AT+TWO"}));
    const std::string one = "AT+ONE\r\r\nOK\r\n";
    EXPECT_EQ(readFile(out), record("AT+ONE", one) + record("AT+TWO", "TIMEOUT") + "\n");
    EXPECT_EQ(readFile(raw), one + "AT+TWO\nTIMEOUT\n");
    EXPECT_NE(logText().find(record("AT+TWO", "\nTIMEOUT\n")), std::string::npos);
    EXPECT_EQ(logText().find("AT+THREE"), std::string::npos);
}

TEST_F(CustomAt, PromptForAText_IsEndedSoThatTheModemAcceptsCommands) {
    port.answer("\r\n> ").answer("\r\nOK\r\n");
    EXPECT_EQ(request("AT+CMGS=\"12345\"\nAT\n"), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands(), (std::vector<std::string>{"AT+CMGS=\"12345\"", "\x1b"}));
    EXPECT_EQ(readFile(raw), "AT+CMGS=\"12345\"\nTIMEOUT\n");
}

TEST_F(CustomAt, TextThatOnlyLooksLikeAPrompt_IsNotEnded) {
    for (const char* text : {">", "\r\n+X: a>", "\r\n> x", "\r\nCONNECT\r\n"}) {
        port.answer(text);
        EXPECT_EQ(request("AT+X\n"), eERROR_DEVICE_RESPONSE_TIMEOUT);
        EXPECT_EQ(port.commands().back(), "AT+X") << text;
    }
}

TEST_F(CustomAtMeanwhile, PromptForAText_IsEndedAndTheNextRequestAnswered) {
    writeFile(in, "AT+CMGF=1\nAT+CMGS=\"12345\"\n");
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()),
              eERROR_DEVICE_RESPONSE_TIMEOUT);
    writeFile(in, "AT+CSQ\n");
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_NE(readFile(raw).find("+CSQ: "), std::string::npos);
}

// If the daemon were killed there, the modem would ignore the commands of the next one.
TEST_F(CustomAtMeanwhile, PromptForAText_IsMarkedUntilItIsEnded) {
    const std::string marker = spool / ".cellslot-prompt.2";
    writeFile(in, "AT+CMGF=1\nAT+CMGS=\"12345\"\n");
    int turnsAtPrompt = 0;
    port.onTurn([&] {
        const std::vector<le910sim::sExchange>& exchanges = port.modem().exchanges();
        if (exchanges.empty() || exchanges.back().command != "AT+CMGS=\"12345\"") return;
        ++turnsAtPrompt;
        EXPECT_TRUE(fileExists(marker));
    });
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()),
              eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_GT(turnsAtPrompt, 0);
    EXPECT_FALSE(fileExists(marker));
}

TEST_F(CustomAt, LowerCase_IsSentUnchanged) {
    port.answer(modemReply({"Telit"}));
    EXPECT_EQ(request("at+cgmi\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("at+cgmi", 1));
}

TEST_F(CustomAt, ControlCharacters_AreSentUnchangedButNotLogged) {
    port.answer(OK_REPLY);
    EXPECT_EQ(request("AT+X=\t\x1b[2J\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT+X=\t\x1b[2J", 1));
    EXPECT_EQ(logCount("- Sending AT command AT+X=  [2J, extra timeout 0"), 1U);
}

TEST_F(CustomAt, DebugMask_ShowsTheCheck) {
    const cLogMode mode(0x80000);
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_EQ(capturedLog(), list("DEBUG: Entering checkCustomAtFile()", 1));
}

TEST_F(CustomAt, NoCommand_IsReportedThreeTimesAndNotSent) {
    port.answer(OK_REPLY);
    EXPECT_EQ(request("+CSQ\nAT\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT", 1));
    const std::string at = "AT\r\r\nOK\r\n";
    EXPECT_EQ(readFile(out), record("+CSQ", INVALID) + record("AT", at) + "\n");
    EXPECT_EQ(readFile(raw), "+CSQ" + INVALID + at + "\n");
    EXPECT_NE(logText().find(record("+CSQ", INVALID + "\n")), std::string::npos);
}

TEST_F(CustomAt, CommandThatIsEmpty_IsNeverSent) {
    EXPECT_EQ(request("::5\n::\n ::::\n"), eSUCCESS);
    EXPECT_TRUE(port.commands().empty());
    EXPECT_EQ(readFile(out),
              record("5", INVALID) + record("", INVALID) + record("", INVALID) + "\n");
}

TEST_F(CustomAt, Timeout_IsTheRequestedTimeAndASecond) {
    struct sCase {
        const char* line;
        const char* command;
        uint64_t waitMs;
    };
    // 10 ms pass between a command and its carriage return.
    for (const sCase& test :
         {sCase{"AT+CSQ", "AT+CSQ", 1010}, sCase{"AT+CSQ::x", "AT+CSQ", 1010},
          sCase{"AT+CSQ::0", "AT+CSQ", 1010}, sCase{"AT+CSQ::5", "AT+CSQ", 6010},
          sCase{"AT+CSQ::45", "AT+CSQ", 31010}, sCase{"AT+CSQ ::30", "AT+CSQ ", 31010}}) {
        SCOPED_TRACE(test.line);
        resetLinkState();  // forgets the previous port
        const uint64_t before = port.elapsedMs();
        port.silence();
        EXPECT_EQ(request(std::string(test.line) + "\n"), eERROR_DEVICE_RESPONSE_TIMEOUT);
        EXPECT_EQ(port.elapsedMs() - before, test.waitMs);
        EXPECT_EQ(port.commands().back(), test.command);
    }
    EXPECT_EQ(logCount("- Sending AT command AT+CSQ, extra timeout 30"), 1U);
    EXPECT_EQ(logCount("parseAtCmdCustomLine(): Line 'AT+CSQ::45' timeout > 30, setting it to 30"),
              1U);
}

TEST_F(CustomAt, LateAnswer_IsReceived) {
    port.answerLate(10900, OK_REPLY);
    EXPECT_EQ(request("AT+COPS=?::10\n"), eSUCCESS);
    EXPECT_NE(readFile(raw).find("OK"), std::string::npos);
}

TEST_F(CustomAt, ParseLine) {
    struct sCase {
        const char* line;
        const char* command;
        int extra;
    };
    for (const sCase& test : {sCase{"AT", "AT", 0},
                              sCase{" AT \r", "AT", 0},
                              sCase{"AT::7", "AT", 7},
                              sCase{"AT::7::9", "AT", 7},
                              sCase{"AT::30", "AT", 30},
                              sCase{"AT::31", "AT", 30},
                              sCase{"AT::99999999999999999999", "AT", 30},
                              sCase{"AT::007", "AT", 7},
                              sCase{"AT::-1", "AT", 0},
                              sCase{"AT::+1", "AT", 0},
                              sCase{"AT:: 5", "AT", 0},
                              sCase{"AT::5 ", "AT", 5},
                              sCase{"AT::5s", "AT", 0},
                              sCase{"AT::", "AT", 0},
                              sCase{"AT:5", "AT:5", 0},
                              sCase{"AT:::5", "AT", 0},
                              sCase{"::5", "5", 0},
                              sCase{"::", "", 0},
                              sCase{"", "", 0},
                              sCase{" \t", "", 0}}) {
        std::string command = "before";
        int extra = 99;
        parseAtCmdCustomLine(test.line, command, extra);
        EXPECT_EQ(command, test.command) << test.line;
        EXPECT_EQ(extra, test.extra) << test.line;
    }
    EXPECT_EQ(logCount("parseAtCmdCustomLine(): Line 'AT::31' timeout > 30, setting it to 30"), 1U);
    EXPECT_FALSE(logContains("'AT::30'"));
}

TEST_F(CustomAt, Validate_NeedsAtAtTheStart) {
    for (const char* good : {"AT", "at", "aT+x", "At"})
        EXPECT_TRUE(validateAtCmdFormat(good)) << good;
    for (const char* bad : {"", "A", "T", " AT", "+CSQ", "TA", "XAT"})
        EXPECT_FALSE(validateAtCmdFormat(bad)) << bad;
}

TEST_F(CustomAt, TwelveLines_TheFirstTenAreSent) {
    for (int i = 0; i < 10; ++i)
        port.answer(OK_REPLY);
    EXPECT_EQ(request(repeated("AT\n", 12)), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT", 10));
    EXPECT_EQ(logCount("Custom AT command count >10, not processing remaining commands"), 1U);
}

TEST_F(CustomAt, TenLines_AreNotTooMany) {
    for (int i = 0; i < 20; ++i)
        port.answer(OK_REPLY);
    EXPECT_EQ(request(repeated("AT\n", 10)), eSUCCESS);
    EXPECT_EQ(request(repeated("AT\n", 9) + "AT"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT", 20));
    EXPECT_FALSE(logContains("command count"));
}

TEST_F(CustomAt, EmptyLines_CountToo) {
    port.answer(OK_REPLY);
    EXPECT_EQ(request(repeated("\n", 9) + "AT+A\nAT+B\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), list("AT+A", 1));
    EXPECT_EQ(logCount("Custom AT command count >10, not processing remaining commands"), 1U);
}

TEST_F(CustomAt, ShortRequest_IsDeletedAndTheAnswersStay) {
    writeFile(out, "old");
    writeFile(raw, "old raw");
    EXPECT_EQ(request("AT"), eERROR_BUFFER_EMPTY);
    EXPECT_FALSE(fileExists(in));
    EXPECT_EQ(readFile(out), "old");
    EXPECT_EQ(readFile(raw), "old raw");
    EXPECT_EQ(logCount("Error: Custom AT command file does not contain enough characters"), 1U);
    port.answer(OK_REPLY);
    EXPECT_EQ(request("AT\n"), eSUCCESS);
    EXPECT_NE(readFile(out), "old");
}

TEST_F(CustomAt, EmptyRequest_IsDeleted) {
    EXPECT_EQ(request(""), eERROR_BUFFER_EMPTY);
    EXPECT_FALSE(fileExists(in));
    EXPECT_FALSE(fileExists(out));
    EXPECT_EQ(logCount("Error: Custom AT command file is empty, nothing to do"), 1U);
}

TEST_F(CustomAt, NothingToSend_StillWritesBothFiles) {
    EXPECT_EQ(request(" \n\n "), eSUCCESS);
    EXPECT_EQ(readFile(out), "\n");
    EXPECT_EQ(readFile(raw), "\n");
    EXPECT_TRUE(port.commands().empty());
}

TEST_F(CustomAt, RequestOf512Bytes_IsReadCompletely) {
    const std::string command = "AT+X=" + std::string(506, '1');
    port.answer(OK_REPLY);
    EXPECT_EQ(request(command + "\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), list(command, 1));
    EXPECT_FALSE(logContains("longer than"));
}

TEST_F(CustomAt, LongerRequest_IsCutInsideItsLine) {
    port.answer(OK_REPLY).answer(OK_REPLY);
    const std::string first = "AT+X=" + std::string(500, '1');
    EXPECT_EQ(request(first + "\nAT+CSQ;+CMGF=0\n"), eSUCCESS);
    EXPECT_EQ(port.commands(), (std::vector<std::string>{first, "AT+CSQ"}));
    EXPECT_EQ(logCount("Custom AT command file is longer than 512 bytes, the rest is lost"), 1U);
}

TEST_F(CustomAt, HugeRequest_IsReadOnlyInPart) {
    port.answer(OK_REPLY);
    EXPECT_EQ(request("AT\n" + repeated(" ", 10000000)), eSUCCESS);
    std::string text = "before";
    writeFile(in, std::string(5000, 'A'));
    EXPECT_EQ(readAtCommandFile(text, shared.path()), 512U);
    EXPECT_EQ(text, std::string(512, 'A'));
    EXPECT_FALSE(atCommandFilesExist(shared.path()));
    EXPECT_EQ(readAtCommandFile(text, shared.path()), 0U);
    EXPECT_EQ(text, "");
}

TEST_F(CustomAt, LongOutput_IsWholeInTheAnswerAndCutInTheLog) {
    const std::string response = "AT+X\r" + modemReply({std::string(300 - 5 - 10, 'x')});
    ASSERT_EQ(response.size(), 300U);
    port.answer(response.substr(5));
    EXPECT_EQ(request("AT+X\n"), eSUCCESS);
    EXPECT_EQ(readFile(out), record("AT+X", response) + "\n");
    EXPECT_NE(logText().find(record("AT+X", response.substr(0, 256) + "\n(truncated)\n")),
              std::string::npos);
}

TEST_F(CustomAt, LogOutput_OfExactly256IsNotCut) {
    const std::string output(256, 'y');
    writeAtCmdLog("AT", output, device, logs.path());
    writeAtCmdLog("AT", output + "z", device, logs.path());
    const std::string log = readFile(logs / "at_cmdlog.txt");
    EXPECT_NE(log.find(record("AT", output)), std::string::npos);
    EXPECT_NE(log.find(record("AT", output + "\n(truncated)\n")), std::string::npos);
}

TEST_F(CustomAt, Reply100Kilobytes_IsAnsweredCompletely) {
    std::string lines;
    while (lines.size() < 100 * 1024)
        lines += "+COPN: \"310410\",\"AT&T\"\r\n";
    port.answer("\r\n" + lines + "\r\nOK\r\n");
    EXPECT_EQ(request("AT+COPN::5\n"), eSUCCESS);
    EXPECT_EQ(readFile(raw), "AT+COPN\r\r\n" + lines + "\r\nOK\r\n\n");
    EXPECT_EQ(readFile(out), record("AT+COPN", "AT+COPN\r\r\n" + lines + "\r\nOK\r\n") + "\n");
    EXPECT_LT(logText().size(), 1024U);
}

TEST_F(CustomAt, TwoRequestsOneAfterTheOther_AnswersAreOfTheLast) {
    port.answer(OK_REPLY).answer(OK_REPLY);
    EXPECT_EQ(request("AT+A\n"), eSUCCESS);
    EXPECT_EQ(request("AT+B\n"), eSUCCESS);
    EXPECT_EQ(readFile(raw), "AT+B\r\r\nOK\r\n\n");
    EXPECT_EQ(readFile(out).find("AT+A"), std::string::npos);
    EXPECT_NE(logText().find(" Sending : AT+A\n"), std::string::npos);
    EXPECT_NE(logText().find(" Sending : AT+B\n"), std::string::npos);
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_EQ(port.commands().size(), 2U);
}

// A program that waits for an answer file must find neither an old nor an incomplete one.
TEST_F(CustomAtMeanwhile, AnswerFiles_AppearAfterTheLastCommand) {
    writeFile(out, "old");
    writeFile(raw, "old");
    writeFile(in, "AT\nAT+CSQ\n");
    int looks = 0;
    port.onTurn([this, &looks] {
        ++looks;
        for (const auto& entry : std::filesystem::directory_iterator(shared.path()))
            ADD_FAILURE() << entry.path() << " is there";
    });
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_GT(looks, 0);
    EXPECT_EQ(port.takeCommands(), (std::vector<std::string>{"AT", "AT+CSQ"}));
    EXPECT_NE(readFile(out).find("Sending : AT+CSQ"), std::string::npos);
    EXPECT_NE(readFile(raw).find("+CSQ: "), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(shared.path()), {}), 2);
}

TEST_F(CustomAt, RequestIsALink_IsRemovedNotFollowed) {
    const std::string target = logs / "secret";
    writeFile(target, "AT+CFUN=0\n");
    ASSERT_EQ(symlink(target.c_str(), in.c_str()), 0);
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eERROR_BUFFER_EMPTY);
    EXPECT_FALSE(std::filesystem::is_symlink(in));
    EXPECT_EQ(readFile(target), "AT+CFUN=0\n");
    EXPECT_TRUE(port.commands().empty());
    // A dangling link is removed too.
    ASSERT_EQ(symlink("nowhere", in.c_str()), 0);
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eERROR_BUFFER_EMPTY);
    EXPECT_FALSE(std::filesystem::is_symlink(in));
}

TEST_F(CustomAt, AnswersAreLinks_AreReplacedNotFollowed) {
    const std::string target = logs / "shadow";
    writeFile(target, "precious");
    ASSERT_EQ(symlink(target.c_str(), out.c_str()), 0);
    ASSERT_EQ(symlink(target.c_str(), raw.c_str()), 0);
    port.answer(OK_REPLY);
    EXPECT_EQ(request("AT\n"), eSUCCESS);
    EXPECT_EQ(readFile(target), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(out));
    EXPECT_FALSE(std::filesystem::is_symlink(raw));
    EXPECT_EQ(readFile(raw), "AT\r\r\nOK\r\n\n");
}

TEST_F(CustomAtMeanwhile, AnswersBecomeLinks_AreReplacedNotFollowed) {
    const std::string target = logs / "shadow";
    writeFile(target, "precious");
    writeFile(in, "AT\n");
    port.onTurn([&] {
        for (const std::string& path : {out, raw}) {
            if (!std::filesystem::is_symlink(path)) std::filesystem::create_symlink(target, path);
        }
    });
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_EQ(readFile(target), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(out));
    EXPECT_NE(readFile(raw).find("OK"), std::string::npos);
}

// A request that comes while another one is processed is handled in the next poll.
TEST_F(CustomAtMeanwhile, SecondRequest_IsNotLost) {
    writeFile(in, "AT\n");
    bool written = false;
    port.onTurn([&] {
        if (!written) writeFile(in, "AT+CSQ\n");
        written = true;
    });
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_EQ(port.takeCommands(), std::vector<std::string>{"AT"});
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_EQ(port.takeCommands(), std::vector<std::string>{"AT+CSQ"});
}

// Otherwise it would be sent again at every poll.
TEST_F(CustomAt, RequestThatCannotBeDeleted_IsNotCarriedOut) {
    const cNoUnlink readOnly;
    EXPECT_EQ(request("AT+CFUN=4\n"), eERROR_BUFFER_EMPTY);
    EXPECT_TRUE(port.commands().empty());
    EXPECT_EQ(logCount("Error: Cannot delete '" + in + "', errno 30 (Read-only file system)"), 1U);
}

TEST_F(CustomAt, RequestIsAFifo_DoesNotHang) {
    ASSERT_EQ(mkfifo(in.c_str(), 0666), 0);
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eERROR_BUFFER_EMPTY);
    EXPECT_FALSE(fileExists(in));
}

TEST_F(CustomAt, RequestIsAFolder_IsIgnored) {
    std::filesystem::create_directory(in);
    EXPECT_FALSE(atCommandFilesExist(shared.path()));
    EXPECT_EQ(checkCustomAtFile(port.descriptor(), device, shared.path()), eSUCCESS);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(CustomAt, ClosedPort_IsAnAnswerWithoutText) {
    writeFile(in, "AT\n");
    EXPECT_EQ(checkCustomAtFile(-1, device, shared.path()), eSUCCESS);
    EXPECT_EQ(readFile(out), record("AT", "") + "\n");
}

TEST_F(CustomAt, LogGrowsOverRequestsAndKeepsOneOldFile) {
    for (int i = 0; i < 400; ++i)
        writeAtCmdLog("AT+X", std::string(256, 'x'), device, logs.path());
    EXPECT_LE(std::filesystem::file_size(logs / "at_cmdlog.txt"), 100U * 1024U);
    EXPECT_LE(std::filesystem::file_size(logs / "at_cmdlog.txt.1"), 100U * 1024U);
    EXPECT_GT(std::filesystem::file_size(logs / "at_cmdlog.txt.1"), 99U * 1024U);
    EXPECT_FALSE(fileExists(logs / "at_cmdlog.txt.2"));
}

TEST_F(CustomAt, LogCannotBeWritten_StillAnswers) {
    writeFile(logs / "file", "");
    g_s_at_cmd_log_dir = logs / "file/logs/";
    port.answer(OK_REPLY);
    EXPECT_EQ(request("AT\n"), eSUCCESS);
    EXPECT_EQ(readFile(raw), "AT\r\r\nOK\r\n\n");
}

#include "statemachine/recording_control.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "device/recorder.h"
#include "include/options.h"
#include "include/repeated_starts.h"
#include "platform/include/timer_clock.h"
#include "published/paths.h"
#include "published/recording_request.h"
#include "tests/support/captured_log.h"
#include "tests/support/mounted_folder.h"
#include "tests/support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

const char* const SLOT = "1";
const char* const CONFIG_FILE = "/etc/vuk/cellular1.conf";
constexpr uint64_t RETRY_AFTER_S = 60;

uint64_t g_nowMs = 0;

class RecordingControl : public testing::Test {
  protected:
    void SetUp() override {
        const char* inside = getenv("CELLSLOT_PRIVATE_NAMESPACE");
        ASSERT_TRUE(inside != nullptr && std::string(inside) == "1")
            << "changes the host's files: run it with scripts/private_namespace.sh";
        fs::remove_all(RECORDING_FOLDER);
        fs::remove_all(RECORD_REQUEST_FOLDER);
        fs::create_directories(RECORD_REQUEST_FOLDER);
        fs::remove(CONFIG_FILE);
        reset();
        g_nowMs = 1000000;
        setTimerClock([] { return g_nowMs; });
        g_S_options = {"/dev/at", "/dev/gps", "wwan0", SLOT};
        m_machine.configFile = CONFIG_FILE;
        clearCapturedLog();
    }
    void TearDown() override {
        reset();
        setTimerClock(nullptr);
        g_S_options = {};
    }

    void control() { controlRecording(m_machine); }
    void passSeconds(uint64_t seconds) {
        g_nowMs += seconds * 1000;
        control();
    }

    // As `cellslot record start` does it: another file in the place of the old one.
    void request(const std::string& text = "UNTIL=0\n", mode_t mode = 0600) {
        const std::string draft = std::string(RECORD_REQUEST_FOLDER) + "/draft";
        writeFile(draft, text);
        chmod(draft.c_str(), mode);
        fs::rename(draft, m_request);
    }
    void requestUntil(uint64_t seconds) {
        request("UNTIL=" + std::to_string(recordingClockS() + seconds) + "\n");
    }

    bool isRequested() const { return fileExists(m_request); }
    std::string recorded() const {
        flushRecording();
        return readFile(m_path);
    }
    bool hasRecorded(const std::string& part) const {
        return recorded().find(part) != std::string::npos;
    }
    std::string kept(int number) const { return readFile(keptRecordingPath(SLOT, number)); }

    sMachine m_machine;
    const std::string m_request = recordRequestPath(SLOT);
    const std::string m_path = recordingPath(SLOT);
    const std::string m_older = olderRecordingPath(SLOT);

  private:
    static void reset() {
        resetRecordingControl();
        resetRecorder();
        resetRepeatedStarts();
    }
};

}  // namespace

TEST_F(RecordingControl, NoRequest_RecordsNothingAndMakesNoFolder) {
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_FALSE(fileExists(RECORDING_FOLDER));
    EXPECT_EQ(capturedLog().size(), 0U);
}

TEST_F(RecordingControl, Request_BeginsWithWhatTheDaemonIsAndDoes) {
    writeFile(m_machine.configFile, "CM_APN=internet\n");
    m_machine.modemState = eMODEM_CONNECTED;
    control();
    request();
    control();
    ASSERT_TRUE(isRecording());
    EXPECT_TRUE(isRequested());
    EXPECT_EQ(logCount("Recording into " + m_path), 1U);
    EXPECT_TRUE(hasRecorded("\"mark\":\"start\",\"arguments\":[\"-d\",\"/dev/at\""));
    EXPECT_TRUE(hasRecorded("\"mark\":\"config\",\"result\":\"begin\",\"values\":{\"CM_APN\""));
    EXPECT_TRUE(hasRecorded("\"mark\":\"state\",\"outer\":\"running\",\"modem\":\"connected\""))
        << recorded();
    struct stat info {};
    ASSERT_EQ(stat(RECORDING_FOLDER, &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700U);
}

TEST_F(RecordingControl, RequestThatStays_BeginsOnce) {
    request();
    for (int pass = 0; pass < 5; ++pass)
        control();
    EXPECT_EQ(logCount("Recording into " + m_path), 1U);
}

TEST_F(RecordingControl, RequestThatGoes_EndsIt) {
    request();
    control();
    unlink(m_request.c_str());
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_EQ(logCount("Recording ended: asked"), 1U);
    EXPECT_TRUE(hasRecorded("\"mark\":\"stop\",\"reason\":\"asked\""));
}

TEST_F(RecordingControl, AnotherRequest_BeginsAnewWithItsOptions) {
    request();
    control();
    EXPECT_TRUE(hasRecorded("\"identities\":\"replaced\""));
    request("UNTIL=0\nIDENTITIES=kept\n");
    control();
    EXPECT_TRUE(isRecording());
    EXPECT_TRUE(hasRecorded("\"reason\":\"asked\""));
    EXPECT_TRUE(hasRecorded("\"identities\":\"kept\""));
}

TEST_F(RecordingControl, TimeThatIsOver_EndsItAndRemovesTheRequest) {
    requestUntil(300);
    control();
    passSeconds(299);
    EXPECT_TRUE(isRecording());
    passSeconds(1);
    EXPECT_FALSE(isRecording());
    EXPECT_FALSE(isRequested());
    EXPECT_EQ(logCount("Recording ended: minutes"), 1U);
    passSeconds(RETRY_AFTER_S);
    EXPECT_FALSE(isRecording());
}

TEST_F(RecordingControl, RequestWhoseTimeWasOverBeforeTheStart_IsRemoved) {
    request("UNTIL=1\n");
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_FALSE(isRequested());
    EXPECT_FALSE(fileExists(m_path));
}

TEST_F(RecordingControl, RequestOfAnotherModeKindOrUser_IsIgnoredWithOneNotice) {
    const std::string notice = "is not a file of mode 0600 that belongs to this user";
    for (const mode_t mode : {0640U, 0604U, 0620U, 0666U}) {
        clearCapturedLog();
        request("UNTIL=0\n", mode);
        control();
        control();
        EXPECT_FALSE(isRecording()) << mode;
        EXPECT_EQ(capturedLog().size(), 1U);
        EXPECT_TRUE(logContains(notice));
    }
    clearCapturedLog();
    unlink(m_request.c_str());
    control();
    writeFile("/tmp/elsewhere", "UNTIL=0\n");
    chmod("/tmp/elsewhere", 0600);
    ASSERT_EQ(symlink("/tmp/elsewhere", m_request.c_str()), 0);
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_TRUE(logContains(notice));
    unlink(m_request.c_str());
    control();
    clearCapturedLog();
    ASSERT_EQ(mkdir(m_request.c_str(), 0700), 0);
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_TRUE(logContains(notice));
    rmdir(m_request.c_str());
    control();
    request();
    if (chown(m_request.c_str(), 1, 1) != 0) GTEST_SKIP() << "may not give files away";
    control();
    EXPECT_FALSE(isRecording());
}

TEST_F(RecordingControl, RequestWithoutValues_RecordsUntilItIsStopped) {
    for (const char* text : {"", "UNTIL=x\nSIZE=-1\n\x01\xFF", "\n\n\n"}) {
        request(text);
        control();
        EXPECT_TRUE(isRecording()) << text;
        EXPECT_TRUE(hasRecorded("\"identities\":\"replaced\""));
    }
}

TEST_F(RecordingControl, RequestThatIsTooLong_IsReadUpToItsLimit) {
    request("UNTIL=0\n" + std::string(RECORDING_REQUEST_MAX, 'x') + "\nIDENTITIES=kept\n");
    control();
    EXPECT_TRUE(isRecording());
    EXPECT_TRUE(hasRecorded("\"identities\":\"replaced\""));
}

TEST_F(RecordingControl, FolderThatOthersMayWrite_OrALink_IsNotUsed) {
    const std::string refusal =
        "Cannot record into " + m_path + ", errno 1 (Operation not permitted)";
    fs::create_directories(RECORDING_FOLDER);
    chmod(RECORDING_FOLDER, 0777);
    request();
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_FALSE(isRequested());
    EXPECT_EQ(logCount(refusal), 1U);
    fs::remove_all(RECORDING_FOLDER);
    fs::create_directories("/tmp/target");
    ASSERT_EQ(symlink("/tmp/target", RECORDING_FOLDER), 0);
    control();
    request();
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_EQ(fs::directory_iterator("/tmp/target"), fs::directory_iterator());
}

TEST_F(RecordingControl, PasswordAndPinsOfTheFiles_AreHiddenFromTheFirstLine) {
    m_machine.config.password = "s3cret-Pump7";
    writeFile(pinFilePath(SLOT), "4711\n");
    writeFile(pinRequestPath(SLOT), "8642\n");
    writeFile(pinChangePath(SLOT), "2468 9753\n");
    writeFile(pukFilePath(SLOT), "13572468");
    g_S_options.s_device = "/dev/s3cret-Pump7-4711-8642-9753";
    g_S_options.s_gps_device = "/dev/13572468";
    request();
    control();
    for (const std::string& path :
         {pinFilePath(SLOT), pinRequestPath(SLOT), pinChangePath(SLOT), pukFilePath(SLOT)})
        unlink(path.c_str());
    for (const char* secret : {"s3cret-Pump7", "4711", "8642", "9753", "13572468"})
        EXPECT_FALSE(hasRecorded(secret)) << secret;
    EXPECT_TRUE(hasRecorded("/dev/x0xxxx_xxxx0-0000-0000-0000")) << recorded();
}

TEST_F(RecordingControl, FullDisk_EndsItWithOneNoticeAndRemovesTheRequest) {
    fs::create_directories(RECORDING_FOLDER);
    const cMountedFolder disk(RECORDING_FOLDER, "size=16k,mode=0700");
    request();
    control();
    ASSERT_TRUE(isRecording());
    const std::string bytes(1000, 'x');
    for (int i = 0; i < 100 && isRecording(); ++i) {
        recordRead(3, bytes.data(), bytes.size());
        passSeconds(1);
    }
    control();
    EXPECT_FALSE(isRecording());
    EXPECT_FALSE(isRequested());
    EXPECT_TRUE(logContains("Recording ended: cannot write " + m_path + ", errno 28"));
    passSeconds(RETRY_AFTER_S);
    passSeconds(RETRY_AFTER_S);
    EXPECT_FALSE(isRecording());
    EXPECT_EQ(capturedLog().size(), 2U);  // the beginning and the end
}

TEST_F(RecordingControl, Always_RecordsWithoutARequestAndAfterOne) {
    g_S_options.b_record_always = true;
    control();
    EXPECT_TRUE(isRecording());
    requestUntil(10);
    control();
    EXPECT_TRUE(isRecording());
    passSeconds(10);
    control();
    EXPECT_TRUE(isRecording());
    EXPECT_FALSE(isRequested());
    passSeconds(100000);
    EXPECT_TRUE(isRecording());
}

TEST_F(RecordingControl, AlwaysThatFails_IsTriedEachMinuteWithOneNotice) {
    g_S_options.b_record_always = true;
    writeFile(RECORDING_FOLDER, "a file");
    control();
    for (int minute = 0; minute < 10; ++minute)
        passSeconds(RETRY_AFTER_S);
    EXPECT_FALSE(isRecording());
    EXPECT_EQ(capturedLog().size(), 1U);
    unlink(RECORDING_FOLDER);
    passSeconds(RETRY_AFTER_S - 1);
    EXPECT_FALSE(isRecording());
    passSeconds(1);
    EXPECT_TRUE(isRecording());
    EXPECT_EQ(capturedLog().size(), 1U);
    passSeconds(RETRY_AFTER_S);
    EXPECT_EQ(logCount("Recording again"), 1U);
    passSeconds(RETRY_AFTER_S);
    EXPECT_EQ(capturedLog().size(), 2U);
}

TEST_F(RecordingControl, EndOfARunOnASignal_EndsTheRecordingAndKeepsNone) {
    request();
    control();
    m_machine.outerState = eOUTER_EXIT;
    endRecording(m_machine);
    EXPECT_FALSE(isRecording());
    EXPECT_TRUE(hasRecorded("\"mark\":\"exit\",\"status\":2"));
    EXPECT_TRUE(hasRecorded("\"reason\":\"exit\""));
    EXPECT_EQ(kept(1), "");
    EXPECT_TRUE(isRequested());
}

TEST_F(RecordingControl, EndWithoutARecording_DoesNothing) {
    m_machine.outerState = eOUTER_EXIT_RESET;
    endRecording(m_machine);
    EXPECT_EQ(capturedLog().size(), 0U);
    EXPECT_FALSE(fileExists(RECORDING_FOLDER));
}

TEST_F(RecordingControl, EndWithStatus3_KeepsBothFilesAsOne) {
    request();
    control();
    writeFile(m_older, "older\n");
    m_machine.outerState = eOUTER_EXIT_RESET;
    endRecording(m_machine);
    EXPECT_EQ(kept(1).rfind("older\n{\"recording\":1", 0), 0U) << kept(1);
    EXPECT_NE(kept(1).find("\"mark\":\"exit\",\"status\":3"), std::string::npos);
    EXPECT_FALSE(fileExists(m_path));
    EXPECT_FALSE(fileExists(m_older));
    EXPECT_EQ(logCount("Kept the recording as " + keptRecordingPath(SLOT, 1)), 1U);
}

TEST_F(RecordingControl, ManyEndsWithStatus3_KeepTheLastThree) {
    for (int run = 1; run <= 4; ++run) {
        request();
        control();
        { const cRecordMark mark(("run-" + std::to_string(run)).c_str()); }
        m_machine.outerState = eOUTER_EXIT_RESET;
        endRecording(m_machine);
    }
    EXPECT_NE(kept(1).find("\"run-4\""), std::string::npos);
    EXPECT_NE(kept(2).find("\"run-3\""), std::string::npos);
    EXPECT_NE(kept(3).find("\"run-2\""), std::string::npos);
    EXPECT_FALSE(fileExists(keptRecordingPath(SLOT, 4)));
}

TEST_F(RecordingControl, KeepingThatFails_IsReportedAndLeavesTheRecording) {
    request();
    control();
    for (int number = 1; number <= KEPT_RECORDINGS; ++number)
        fs::create_directories(keptRecordingPath(SLOT, number) + "/not-empty");
    m_machine.outerState = eOUTER_EXIT_RESET;
    endRecording(m_machine);
    EXPECT_TRUE(logContains("Cannot keep the recording as " + keptRecordingPath(SLOT, 1)));
    EXPECT_TRUE(hasRecorded("\"status\":3"));
}

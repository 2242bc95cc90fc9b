#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <regex>
#include <sstream>

#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "statemachine/bring_up.h"
#include "statemachine/cleanup.h"
#include "statemachine/data_session.h"
#include "statemachine/polling.h"
#include "statemachine/status_files.h"
#include "statemachine/timers.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/heap_peak.h"
#include "tests/support/recorded_text.h"

// Complete status files of modems in different states, as other programs read them.

namespace {

constexpr const char* SLOT_FILE_1 = "/var/log/wireless.cardstats.1";
constexpr const char* SLOT_FILE_2 = "/var/log/wireless.cardstats.2";
constexpr const char* PLAIN_FILE = "/var/log/wireless.cardstats";

class StatusFile : public cFlowFixture {
  protected:
    // A modem that was set up, polled and connected a while ago.
    void startConnected(const nlohmann::json& scenario, const std::string& slot) {
        start(scenario);
        g_S_options.s_device = "/dev/ttyACM0";
        g_S_options.s_gps_device = "/dev/ttyACM3";
        g_S_options.s_port = slot;
        ASSERT_EQ(setupModem(port(), device, config), eSUCCESS);
        ASSERT_EQ(pollDevice(port(), device, config), eSUCCESS);
        ASSERT_EQ(maybeStartDataSession(port(), device, config, g_C_netConDelayTimer), eSUCCESS);
        g_Cp_connectedTimer->Start();
        passSeconds(3661);
        ASSERT_TRUE(isDataConnectionGood(port(), device, config));
        device.modem.i_sms_sent = 3;
        device.modem.i_sms_sent_fail = 1;
        device.modem.i_sms_received = 7;
    }

    void write() { doWriteOutStatusFiles(device, config); }

    // The file without the values of its two time keys, which are checked against the clock.
    static std::string withoutTime(const std::string& path) {
        const std::string text = readFile(path);
        static const std::regex TIME(
            "(CELLMODEM[12]?_STATS_LAST_UPDATE)=([0-9-]{10} [0-9:]{8})\n"
            "(CELLMODEM[12]?_STATS_LAST_UPDATE_E)=([0-9]+)\n");
        std::smatch match;
        EXPECT_TRUE(std::regex_search(text, match, TIME));
        const time_t written = std::stoll(match[4]);
        EXPECT_LE(std::abs(static_cast<long>(time(nullptr) - written)), 60);
        tm local{};
        localtime_r(&written, &local);
        char shown[32];
        strftime(shown, sizeof shown, "%Y-%m-%d %H:%M:%S", &local);
        EXPECT_EQ(match[2], shown);
        return std::regex_replace(text, TIME, "$1=\n$3=\n");
    }

    // Every key line of a file is in the store with the same value; comments are not.
    static void expectStored(const std::string& path) {
        std::istringstream text(readFile(path));
        size_t lines = 0;
        for (std::string line; std::getline(text, line);) {
            if (line[0] == '#') continue;
            const size_t at = line.find('=');
            EXPECT_EQ(stored(line.substr(0, at)), line.substr(at + 1)) << line;
            ++lines;
        }
        EXPECT_GE(lines, 100u);
    }
};

// A roaming modem at a low temperature.
const nlohmann::json WCDMA = {{"model", "LE910-EU V2"},
                              {"sim", {{"imsi", "204040000000001"}, {"own_number", "31600000001"}}},
                              {"registration",
                               {{"tech", "HSDPA"},
                                {"state", "roaming"},
                                {"plmn", "26202"},
                                {"operator", "vodafone.de"},
                                {"area", "00AF"},
                                {"cell", "2DDBDAB"},
                                {"rac", "FF"},
                                {"channel", 10564},
                                {"ims", true}}},
                              {"signal",
                               {{"rssi", 21},
                                {"ber", 2},
                                {"rscp_dbm", -64},
                                {"rssi_dbm", -62},
                                {"ecio_db", "-1.5"},
                                {"active_set", {"10564,176,-1.5", "10564,284,-12"}},
                                {"hspa", {1, 0, 1, 1}}}},
                              {"temperature", {{"celsius", -32}, {"level", -1}}}};

}  // namespace

TEST_F(StatusFile, ConnectedLteModem_GivesTheRecordedTextInBothFilesOfSlotOne) {
    startConnected(nlohmann::json::object(), "1");
    write();
    const std::string text = withoutTime(SLOT_FILE_1);
    expectRecorded("status_file/lte.status", text);
    const std::string plain = std::regex_replace(text, std::regex("CELLMODEM1"), "CELLMODEM");
    EXPECT_EQ(withoutTime(PLAIN_FILE), plain);
    EXPECT_EQ(readFile("/var/log/wireless.serialno"), "356938035643809\n");
    EXPECT_EQ(readFile("/var/log/wireless.mdn"), "12025550101\n");
    expectStored(SLOT_FILE_1);
}

TEST_F(StatusFile, ConnectedWcdmaModem_GivesTheRecordedTextInTheFileOfSlotTwo) {
    startConnected(WCDMA, "2");
    write();
    expectRecorded("status_file/wcdma.status", withoutTime(SLOT_FILE_2));
    EXPECT_EQ(readFile("/var/log/wireless.mdn"), "31600000001\n");
    expectStored(SLOT_FILE_2);
}

TEST_F(StatusFile, LastFileBeforeTheEnd_EmptiesEveryContextAndForgetsTheNetwork) {
    startConnected(nlohmann::json::object(), "1");
    write();
    ASSERT_EQ(stored("CELLMODEM1_SIM_CONT_APN0"), "1:internet");
    device.b_shutting_down = true;
    disconnectNetwork(port(), device, config);
    resetDeviceInfo(device, false);
    g_Cp_connectedTimer->Stop();
    writeOutStatusFiles(device, config, true);
    const std::string text = readFile(SLOT_FILE_1);
    std::string contexts;
    for (int i = 0; i < 15; ++i) {
        const std::string key = "CELLMODEM1_SIM_CONT_APN" + std::to_string(i);
        contexts += key + "=\n";
        EXPECT_EQ(stored(key), "");
    }
    EXPECT_NE(text.find("\nCELLMODEM1_SIM_SLOT=1\n" + contexts + "CELLMODEM1_SIM_CONT_CURRENT=1\n"),
              std::string::npos);
    for (const char* line :
         {"_MODEL=LE910-NA V2", "_IMEI=356938035643809", "_MDN=0000000000",
          "_SIM_APN_CURRENT=", "_CARRIER=Unknown", "_CREG_REGISTERED=0", "_QMI_STATE=Unknown",
          "_QMI_CALL_TIME=0", "_QMI_CALL_FORMAT_TIME=N/A", "_SMS_RECV=7", "_SIM_STATUS=Unknown"})
        EXPECT_NE(text.find(std::string("\nCELLMODEM1") + line + "\n"), std::string::npos) << line;
    // What remains after the files are removed.
    cleanup();
    for (const char* path :
         {SLOT_FILE_1, PLAIN_FILE, "/var/log/wireless.mdn", "/var/log/wireless.serialno"})
        EXPECT_FALSE(fileExists(path)) << path;
    EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "Unknown");
}

TEST_F(StatusFile, FailedStart_IsNamedUntilTheNextAttempt) {
    start();
    device.network.b_registered = true;
    fault("AT+CGATT=1", "error");
    EXPECT_EQ(maybeStartDataSession(port(), device, config, g_C_netConDelayTimer),
              eERROR_DEVICE_NETWORK_ATTACH_FAILURE);
    EXPECT_EQ(maybeStartDataSession(port(), device, config, g_C_netConDelayTimer),
              eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING);
    write();
    EXPECT_NE(readFile(SLOT_FILE_1)
                  .find("\nCELLMODEM1_LAST_CONNECT_ERROR_E=200\n"
                        "CELLMODEM1_LAST_CONNECT_ERROR=eERROR_DEVICE_NETWORK_ATTACH_FAILURE\n"),
              std::string::npos);
}

TEST_F(StatusFile, LockOfTheSim_IsShownAsEnabledOnlyWhenItIsKnownToBe) {
    start();
    for (const auto& [lock, shown] : {std::pair<int, const char*>{-1, "0"}, {0, "0"}, {1, "1"}}) {
        device.sim.i_pin_lock_enabled = lock;
        write();
        EXPECT_EQ(stored("CELLMODEM1_SIM_CPIN_ENABLED"), shown);
    }
}

TEST_F(StatusFile, OutcomeOfThePinOperation_IsPublished) {
    start();
    device.sim.s_outcome = "Error: Unable to unlock SIM PIN, bad password '1234'";
    write();
    EXPECT_EQ(stored("CELLMODEM1_SIM_EXTENDED_STATUS"), device.sim.s_outcome);
}

TEST_F(StatusFile, FullContextAndActiveSetLists_HaveALineForEach) {
    start();
    for (size_t i = 0; i < CONTEXT_LIST_MAX; ++i) {
        device.modem.context_list[i].s_cid = std::to_string(i + 1);
        device.modem.context_list[i].s_apn = "a" + std::to_string(i);
    }
    device.network.i_active_set_count = 1000000;  // more than possible
    write();
    EXPECT_EQ(stored("CELLMODEM1_SIM_CONT_APN14"), "15:a14");
    EXPECT_EQ(stored("CELLMODEM1_ACT5_PSC"), "0");
    EXPECT_EQ(stored("CELLMODEM1_ACT6_PSC"), "(no such key)");
}

TEST_F(StatusFile, Readers_NeverSeeHalfAFile) {
    start();
    write();
    const int reader = open(SLOT_FILE_1, O_RDONLY | O_CLOEXEC);
    ASSERT_NE(reader, -1);
    struct stat before;
    ASSERT_EQ(fstat(reader, &before), 0);
    const std::string old = readFile(SLOT_FILE_1);
    device.modem.s_model = "another model";
    write();
    // A program with the old file open still reads all of it; the name points to the new file.
    std::string text(static_cast<size_t>(before.st_size) + 1, '\0');
    EXPECT_EQ(read(reader, text.data(), text.size()), before.st_size);
    text.resize(static_cast<size_t>(before.st_size));
    EXPECT_EQ(text, old);
    struct stat after;
    ASSERT_EQ(stat(SLOT_FILE_1, &after), 0);
    EXPECT_NE(after.st_ino, before.st_ino);
    close(reader);
}

TEST_F(StatusFile, FolderThatCannotBeWritten_DoesNotKeepTheStoreFromBeingFilled) {
    start();
    const std::string blocked = std::string(SLOT_FILE_1) + "/full";
    ASSERT_EQ(mkdir(SLOT_FILE_1, 0700), 0);
    writeFile(blocked, "x");
    device.modem.s_model = "value from the store";
    write();
    EXPECT_EQ(stored("CELLMODEM1_MODEL"), "value from the store");
    EXPECT_NE(readFile(PLAIN_FILE).find("\nCELLMODEM_MODEL=value from the store\n"),
              std::string::npos);
}

TEST_F(StatusFile, ForcedWrite_RestartsTheTwoSeconds) {
    start();
    writeOutStatusFiles(device, config, true);
    passSeconds(1);
    writeOutStatusFiles(device, config, true);
    unlink(SLOT_FILE_1);
    passSeconds(1);
    writeOutStatusFiles(device, config, false);
    EXPECT_FALSE(fileExists(SLOT_FILE_1));
    passSeconds(1);
    writeOutStatusFiles(device, config, false);
    EXPECT_TRUE(fileExists(SLOT_FILE_1));
}

// What other programs do to files and store between two writes, while no value changes.
class TouchedStatus : public StatusFile {
  protected:
    void SetUp() override {
        StatusFile::SetUp();
        start();
        write();
        write();
        m_text = withoutTime(SLOT_FILE_1);
    }

    void expectAllPublished() {
        EXPECT_EQ(withoutTime(SLOT_FILE_1), m_text);
        EXPECT_EQ(withoutTime(PLAIN_FILE),
                  std::regex_replace(m_text, std::regex("CELLMODEM1"), "CELLMODEM"));
        EXPECT_EQ(readFile("/var/log/wireless.serialno"), "000000000000000\n");
        EXPECT_EQ(readFile("/var/log/wireless.mdn"), "0000000000\n");
        expectStored(SLOT_FILE_1);
    }

    // As another process does it.
    static void elsewhere(const std::function<void()>& action) {
        const pid_t child = fork();
        ASSERT_NE(child, -1);
        if (child == 0) {
            setKeyValueStorePath("/run/cellslot/skvs");
            action();
            _exit(0);
        }
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
    }

    std::string m_text;
};

TEST_F(TouchedStatus, RemovedFiles_ComeBackAtTheNextWrite) {
    for (const char* path :
         {SLOT_FILE_1, PLAIN_FILE, "/var/log/wireless.mdn", "/var/log/wireless.serialno"})
        ASSERT_EQ(unlink(path), 0) << path;
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, ChangedFiles_AreReplacedAtTheNextWrite) {
    for (const char* path :
         {SLOT_FILE_1, PLAIN_FILE, "/var/log/wireless.mdn", "/var/log/wireless.serialno"})
        writeFile(path, "of somebody else");
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, EachWrite_ReplacesEveryFile) {
    for (const char* path :
         {SLOT_FILE_1, PLAIN_FILE, "/var/log/wireless.mdn", "/var/log/wireless.serialno"}) {
        const int old = open(path, O_RDONLY | O_CLOEXEC);
        write();
        struct stat before;
        struct stat after;
        ASSERT_EQ(fstat(old, &before), 0);
        ASSERT_EQ(stat(path, &after), 0);
        EXPECT_NE(before.st_ino, after.st_ino) << path;
        close(old);
    }
}

TEST_F(TouchedStatus, ModeOfAFile_IsKept) {
    ASSERT_EQ(chmod(SLOT_FILE_1, 0640), 0);
    write();
    write();
    struct stat info;
    ASSERT_EQ(stat(SLOT_FILE_1, &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
}

TEST_F(TouchedStatus, ValueThatAnotherProgramStored_IsReplacedAtTheNextWrite) {
    elsewhere([] { skvs_set("CELLMODEM1_MODEL", "of somebody else"); });
    ASSERT_EQ(stored("CELLMODEM1_MODEL"), "of somebody else");
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, ValueThatAnotherPartOfTheDaemonStored_IsReplacedAtTheNextWrite) {
    skvs_set("CELLMODEM1_MODEL", "of somebody else");
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, KeysOfOthers_AreLeftAlone) {
    elsewhere([] { skvs_set("OTHER", "stays"); });
    write();
    write();
    EXPECT_EQ(stored("OTHER"), "stays");
    expectAllPublished();
}

TEST_F(TouchedStatus, RemovedStore_IsFilledAtTheNextWrite) {
    std::filesystem::remove_all("/run/cellslot/skvs");
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, StoreThatAnotherProgramMadeAnew_IsFilledAtTheNextWrite) {
    std::filesystem::remove_all("/run/cellslot/skvs");
    elsewhere([] { skvs_set("OTHER", "stays"); });
    write();
    expectAllPublished();
    EXPECT_EQ(stored("OTHER"), "stays");
}

TEST_F(TouchedStatus, EarlierCopyOfTheStore_IsBroughtUpToDateAtTheNextWrite) {
    const std::string data = "/run/cellslot/skvs/data.mdb";
    const std::string copy = readFile(data);
    device.modem.s_model = "LE910-NA V2";
    write();
    m_text = withoutTime(SLOT_FILE_1);
    // In place, as cp does it.
    const int file = open(data.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(pwrite(file, copy.data(), copy.size(), 0), static_cast<ssize_t>(copy.size()));
    close(file);
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, DamagedStore_IsPutAsideAndFilledAtTheNextWrite) {
    writeFile("/run/cellslot/skvs/data.mdb", "damaged");
    write();
    expectAllPublished();
}

TEST_F(TouchedStatus, ValuesThatChange_AreInEveryFileAndInTheStore) {
    for (const char* model : {"LE910-NA V2 with a long name", "x", "", "LE910-EU V2"}) {
        device.modem.s_model = model;
        device.network.i_rssi = static_cast<int8_t>(strlen(model));
        write();
        m_text = withoutTime(SLOT_FILE_1);
        EXPECT_NE(m_text.find(std::string("\nCELLMODEM1_MODEL=") + model + "\n"),
                  std::string::npos);
        expectAllPublished();
    }
}

TEST_F(TouchedStatus, KeysThatComeAndGo_AreInEveryFileAtTheirPlace) {
    const std::string without = m_text;
    device.network.i_active_set_count = 2;
    device.modem.context_list[3].s_cid = "4";
    device.modem.context_list[3].s_apn = "ims";
    write();
    m_text = withoutTime(SLOT_FILE_1);
    EXPECT_NE(m_text.find("\nCELLMODEM1_SIM_CONT_APN3=4:ims\nCELLMODEM1_SIM_CONT_CURRENT="),
              std::string::npos);
    EXPECT_NE(m_text.find("\nCELLMODEM1_ACT1_UARFCN=0\nCELLMODEM1_LOCATION_AREA_CODE="),
              std::string::npos);
    expectAllPublished();
    // Another context in the same number of lines.
    std::swap(device.modem.context_list[3], device.modem.context_list[4]);
    write();
    m_text = withoutTime(SLOT_FILE_1);
    EXPECT_NE(m_text.find("\nCELLMODEM1_SIM_CONT_APN4=4:ims\n"), std::string::npos);
    EXPECT_EQ(m_text.find("_SIM_CONT_APN3"), std::string::npos);
    expectAllPublished();
    device.network.i_active_set_count = 0;
    device.modem.context_list[4] = {};
    write();
    EXPECT_EQ(withoutTime(SLOT_FILE_1), without);
    m_text = without;
    expectAllPublished();
}

TEST_F(TouchedStatus, OnlyTheTimeHasChanged_AllocatesNothing) {
    device.modem.context_list[0].s_cid = "1";
    device.modem.context_list[0].s_apn = "an.access.point.with.a.long.name";
    device.e_last_connect_error = eERROR_DEVICE_NETWORK_ATTACH_FAILURE;
    for (int second = 0; second < 3; ++second) {
        write();
        passSeconds(1);
        sleep(1);
    }
    EXPECT_EQ(heapPeakOf([this] { write(); }), 0u);
    EXPECT_EQ(stored("CELLMODEM1_SIM_CONT_APN0"), "1:an.access.point.with.a.long.name");
}

class HostileStatus : public StatusFile, public ::testing::WithParamInterface<std::string> {};

TEST_P(HostileStatus, TextInAnyField_AddsNoLine) {
    start();
    const std::string& text = GetParam();
    write();
    const std::string quiet = readFile(SLOT_FILE_1);
    for (std::string* field :
         {&device.modem.s_manufacturer, &device.modem.s_model, &device.modem.s_firmware_version,
          &device.modem.s_apn, &device.sim.s_outcome, &device.sim.s_status, &device.sim.s_carrier,
          &device.network.s_network_name, &device.network.s_mm, &device.network.s_cell_id_hex,
          &config.operatorName, &device.modem.s_gps_chipset})
        *field = text;
    device.modem.context_list[0].s_cid = text;
    device.modem.context_list[0].s_apn = text;
    write();
    const std::string loud = readFile(SLOT_FILE_1);
    EXPECT_EQ(std::count(loud.begin(), loud.end(), '\n'),
              std::count(quiet.begin(), quiet.end(), '\n') + 1);  // the context
    for (const char c : loud)
        EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20) << static_cast<int>(c);
    EXPECT_EQ(loud.find('\x7f'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Each, HostileStatus,
                         ::testing::Values("x\nCELLMODEM1_QMI_STATE=CONNECTED", "x\r\ny", "\n",
                                           std::string("a\0b\nc", 5), "\x1b[2J\x7f\x0b\x0c"));

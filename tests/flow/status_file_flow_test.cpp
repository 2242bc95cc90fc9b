#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <regex>
#include <sstream>

#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "statemachine/bring_up.h"
#include "statemachine/cleanup.h"
#include "statemachine/data_session.h"
#include "statemachine/polling.h"
#include "statemachine/status_files.h"
#include "statemachine/timers.h"
#include "tests/support/flow_fixture.h"

// Whole status files as other programs read them, of modems in different states.

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
        ASSERT_EQ(setupModem(handle(), device, config), eSUCCESS);
        ASSERT_EQ(pollDevice(handle(), device, config), eSUCCESS);
        ASSERT_EQ(maybeStartDataSession(handle(), device, config, g_C_netConDelayTimer), eSUCCESS);
        g_Cp_connectedTimer->Start();
        passSeconds(3661);
        ASSERT_TRUE(isDataConnectionGood(handle(), device, config));
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
        EXPECT_LE(std::abs(static_cast<long>(time(nullptr) - written)), 5);
        tm local{};
        localtime_r(&written, &local);
        char told[32];
        strftime(told, sizeof told, "%Y-%m-%d %H:%M:%S", &local);
        EXPECT_EQ(match[2], told);
        return std::regex_replace(text, TIME, "$1=\n$3=\n");
    }

    // Every key line of a file stands in the store with the same value, and no comment does.
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

// A modem in LTE at home, in slot 1.
constexpr const char* LTE_FILE = R"(#File generated 
CELLMODEM1_STATS_LAST_UPDATE=
CELLMODEM1_STATS_LAST_UPDATE_E=
#Device Properties:
CELLMODEM1_MODEL=LE910-NA V2
CELLMODEM1_MANU=Telit
CELLMODEM1_ESN=356938035643809
CELLMODEM1_IMEI=356938035643809
CELLMODEM1_MDN=12025550101
CELLMODEM1_FIRMWARE_V=20.00.402
CELLMODEM1_FIRMWARE_CFG_V=1
CELLMODEM1_FIRMWARE_CARRIER=Generic NA
CELLMODEM1_FIRMWARE_CARRIER_E=1
CELLMODEM1_FIRMWARE_SLOT=-1
CELLMODEM1_DUAL_FIRMWARE=0
CELLMODEM1_TEMPERATURE=28
CELLMODEM1_TEMPERATURE_LEVEL=Normal temperature
CELLMODEM1_TEMPERATURE_LEVEL_E=0
CELLMODEM1_CONF_OPERATOR_MODE=0
CELLMODEM1_CONF_OPERATOR=
CELLMODEM1_CONF_NETPREF=
CELLMODEM1_SUPPORTED_NETPREF=3G4G
CELLMODEM1_SUPPORTED_NETPREF_BITS=6
CELLMODEM1_CURRENT_NETPREF=3G4G
CELLMODEM1_CURRENT_NETPREF_VALUE=31
CELLMODEM1_SUPPORTED_3G_BANDS=1,2,4
CELLMODEM1_SUPPORTED_4G_BANDS=B2,B4,B5,B12,B13,B17
CELLMODEM1_SIM_ID=89014100000000000015
CELLMODEM1_SIM_IMSI=310410000000001
CELLMODEM1_SIM_CARRIER_NUMBER=310410
CELLMODEM1_SIM_CARRIER=AT&T
CELLMODEM1_SIM_STATUS=Available
CELLMODEM1_SIM_EXTENDED_STATUS=
CELLMODEM1_SIM_CPIN_ENABLED=0
CELLMODEM1_SIM_REMAIN_CPIN=3
CELLMODEM1_SIM_REMAIN_PUK=10
CELLMODEM1_SIM_SLOT=1
CELLMODEM1_SIM_CONT_APN0=1:internet
CELLMODEM1_SIM_CONT_CURRENT=1
CELLMODEM1_SIM_APN_CURRENT=internet
#Network Service Info :
CELLMODEM1_CARRIER=AT&T
CELLMODEM1_CARRIER_PLMN=310410
CELLMODEM1_CARRIER_MCC=310
CELLMODEM1_CARRIER_MNC=410
CELLMODEM1_SERVICE_TYPE=LTE
CELLMODEM1_SERVICE_TYPE_E=4
CELLMODEM1_HSUPA_AVAIL=0
CELLMODEM1_HSUPA_USED=0
CELLMODEM1_HSDPA_AVAIL=0
CELLMODEM1_HSDPA_USED=0
CELLMODEM1_BAND=4
CELLMODEM1_CURRENT_CSQ=17
CELLMODEM1_CURRENT_CSQ_BER=99
CELLMODEM1_CURRENT_RSSI=-68
CELLMODEM1_CURRENT_RSRQ=-9
CELLMODEM1_CURRENT_RSRP=-98
CELLMODEM1_CURRENT_RSCP=
CELLMODEM1_LTE_RSSI=-68
CELLMODEM1_LTE_RSRQ=-9
CELLMODEM1_LTE_RSRP=-98
CELLMODEM1_CURRENT_ECIO=
CELLMODEM1_CURRENT_TXPWR=
CELLMODEM1_CURRENT_PSC=
CELLMODEM1_CURRENT_DRX=128
CELLMODEM1_CURRENT_MM=19
CELLMODEM1_CURRENT_MM_E=19
CELLMODEM1_CURRENT_RRC=0
CELLMODEM1_CURRENT_RRC_E=0
CELLMODEM1_CURRENT_NOM=
CELLMODEM1_CURRENT_BLER=
CELLMODEM1_SERVSYS_CELL_ID=471
CELLMODEM1_SERVSYS_CELL_ID_HEX=00001D7
CELLMODEM1_LOCATION_AREA_CODE=700D
CELLMODEM1_SERVSYS_LAC=700D
CELLMODEM1_CURRENT_LAC_TAC=700D
CELLMODEM1_CURRENT_TAC=700D
CELLMODEM1_CURRENT_T3402_TIMER=0
CELLMODEM1_CURRENT_T3412_TIMER=0
CELLMODEM1_SERVICE_DOMAIN=3
CELLMODEM1_IMS_REG_STATE=0
CELLMODEM1_CREG=Registered, Home Network
CELLMODEM1_CREG_ABR=Reg Home
CELLMODEM1_CREG_REGISTERED=1
CELLMODEM1_CREG_ACCESS_TECH=
CELLMODEM1_CREG_SERVING_CELL=
CELLMODEM1_CREG_LAC=
CELLMODEM1_CURRENT_CHAN=2225
CELLMODEM1_QMI_STATE=CONNECTED
CELLMODEM1_QMI_CALL_TIME=3661
CELLMODEM1_QMI_CALL_FORMAT_TIME=0D 1H 1M 1S
CELLMODEM1_LAST_CONNECT_ERROR_E=0
CELLMODEM1_LAST_CONNECT_ERROR=eSUCCESS
CELLMODEM1_GPS_CHIPSET=
CELLMODEM1_GPS_STREAM_ON=0
CELLMODEM1_GPS_LAST_STATUS_E=534
CELLMODEM1_GPS_LAST_STATUS=eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS
#Config args :
CELLMODEM1_DEV_HANDLE_MAIN=/dev/ttyACM0
CELLMODEM1_DEV_HANDLE_GPS=/dev/ttyACM3
CELLMODEM1_NETWORK_INTERFACE=wwan0
CELLMODEM1_SLED_SLOT=1
#SMS Info :
CELLMODEM1_SMS_SENT=3
CELLMODEM1_SMS_SENT_FAIL=1
CELLMODEM1_SMS_RECV=7
)";

// A roaming modem in WCDMA in the cold, in slot 2.
constexpr const char* WCDMA_FILE = R"(#File generated 
CELLMODEM2_STATS_LAST_UPDATE=
CELLMODEM2_STATS_LAST_UPDATE_E=
#Device Properties:
CELLMODEM2_MODEL=LE910-EU V2
CELLMODEM2_MANU=Telit
CELLMODEM2_ESN=356938035643809
CELLMODEM2_IMEI=356938035643809
CELLMODEM2_MDN=31600000001
CELLMODEM2_FIRMWARE_V=20.00.412
CELLMODEM2_FIRMWARE_CFG_V=1
CELLMODEM2_FIRMWARE_CARRIER=Generic EU
CELLMODEM2_FIRMWARE_CARRIER_E=4
CELLMODEM2_FIRMWARE_SLOT=-1
CELLMODEM2_DUAL_FIRMWARE=0
CELLMODEM2_TEMPERATURE=-32
CELLMODEM2_TEMPERATURE_LEVEL=Operating temperature lower bound
CELLMODEM2_TEMPERATURE_LEVEL_E=-1
CELLMODEM2_CONF_OPERATOR_MODE=0
CELLMODEM2_CONF_OPERATOR=
CELLMODEM2_CONF_NETPREF=
CELLMODEM2_SUPPORTED_NETPREF=2G3G4G
CELLMODEM2_SUPPORTED_NETPREF_BITS=7
CELLMODEM2_CURRENT_NETPREF=2G3G4G
CELLMODEM2_CURRENT_NETPREF_VALUE=25
CELLMODEM2_SUPPORTED_3G_BANDS=0,5,6
CELLMODEM2_SUPPORTED_4G_BANDS=B1,B3,B7,B8,B20
CELLMODEM2_SIM_ID=89014100000000000015
CELLMODEM2_SIM_IMSI=204040000000001
CELLMODEM2_SIM_CARRIER_NUMBER=20404
CELLMODEM2_SIM_CARRIER=vodafone NL
CELLMODEM2_SIM_STATUS=Available
CELLMODEM2_SIM_EXTENDED_STATUS=
CELLMODEM2_SIM_CPIN_ENABLED=0
CELLMODEM2_SIM_REMAIN_CPIN=3
CELLMODEM2_SIM_REMAIN_PUK=10
CELLMODEM2_SIM_SLOT=1
CELLMODEM2_SIM_CONT_APN0=1:internet
CELLMODEM2_SIM_CONT_CURRENT=1
CELLMODEM2_SIM_APN_CURRENT=internet
#Network Service Info :
CELLMODEM2_CARRIER=vodafone.de
CELLMODEM2_CARRIER_PLMN=26202
CELLMODEM2_CARRIER_MCC=262
CELLMODEM2_CARRIER_MNC=02
CELLMODEM2_SERVICE_TYPE=HSDPA
CELLMODEM2_SERVICE_TYPE_E=3
CELLMODEM2_HSUPA_AVAIL=1
CELLMODEM2_HSUPA_USED=0
CELLMODEM2_HSDPA_AVAIL=1
CELLMODEM2_HSDPA_USED=1
CELLMODEM2_BAND=
CELLMODEM2_CURRENT_CSQ=21
CELLMODEM2_CURRENT_CSQ_BER=2
CELLMODEM2_CURRENT_RSSI=-62
CELLMODEM2_CURRENT_RSRQ=
CELLMODEM2_CURRENT_RSRP=
CELLMODEM2_CURRENT_RSCP=-64
CELLMODEM2_LTE_RSSI=
CELLMODEM2_LTE_RSRQ=
CELLMODEM2_LTE_RSRP=
CELLMODEM2_CURRENT_ECIO=-1.5
CELLMODEM2_CURRENT_TXPWR=24
CELLMODEM2_CURRENT_PSC=284
CELLMODEM2_CURRENT_DRX=64
CELLMODEM2_CURRENT_MM=19
CELLMODEM2_CURRENT_MM_E=19
CELLMODEM2_CURRENT_RRC=4
CELLMODEM2_CURRENT_RRC_E=4
CELLMODEM2_CURRENT_NOM=2
CELLMODEM2_CURRENT_BLER=000
CELLMODEM2_SERVSYS_CELL_ID=48086443
CELLMODEM2_SERVSYS_CELL_ID_HEX=2DDBDAB
CELLMODEM2_ACT0_F_ECIO=-1.5
CELLMODEM2_ACT0_PSC=176
CELLMODEM2_ACT0_UARFCN=10564
CELLMODEM2_ACT1_F_ECIO=-12
CELLMODEM2_ACT1_PSC=284
CELLMODEM2_ACT1_UARFCN=10564
CELLMODEM2_LOCATION_AREA_CODE=00AF
CELLMODEM2_SERVSYS_LAC=00AF
CELLMODEM2_CURRENT_LAC_TAC=00AF
CELLMODEM2_CURRENT_TAC=
CELLMODEM2_CURRENT_T3402_TIMER=0
CELLMODEM2_CURRENT_T3412_TIMER=0
CELLMODEM2_SERVICE_DOMAIN=3
CELLMODEM2_IMS_REG_STATE=1
CELLMODEM2_CREG=Registered, Roaming
CELLMODEM2_CREG_ABR=Reg Roaming
CELLMODEM2_CREG_REGISTERED=1
CELLMODEM2_CREG_ACCESS_TECH=
CELLMODEM2_CREG_SERVING_CELL=
CELLMODEM2_CREG_LAC=
CELLMODEM2_CURRENT_CHAN=10564
CELLMODEM2_QMI_STATE=CONNECTED
CELLMODEM2_QMI_CALL_TIME=3661
CELLMODEM2_QMI_CALL_FORMAT_TIME=0D 1H 1M 1S
CELLMODEM2_LAST_CONNECT_ERROR_E=0
CELLMODEM2_LAST_CONNECT_ERROR=eSUCCESS
CELLMODEM2_GPS_CHIPSET=
CELLMODEM2_GPS_STREAM_ON=0
CELLMODEM2_GPS_LAST_STATUS_E=534
CELLMODEM2_GPS_LAST_STATUS=eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS
#Config args :
CELLMODEM2_DEV_HANDLE_MAIN=/dev/ttyACM0
CELLMODEM2_DEV_HANDLE_GPS=/dev/ttyACM3
CELLMODEM2_NETWORK_INTERFACE=wwan0
CELLMODEM2_SLED_SLOT=2
#SMS Info :
CELLMODEM2_SMS_SENT=3
CELLMODEM2_SMS_SENT_FAIL=1
CELLMODEM2_SMS_RECV=7
)";

}  // namespace

TEST_F(StatusFile, ConnectedLteModem_ReadsWordForWordInBothFilesOfSlotOne) {
    startConnected(nlohmann::json::object(), "1");
    write();
    EXPECT_EQ(withoutTime(SLOT_FILE_1), LTE_FILE);
    const std::string plain =
        std::regex_replace(std::string(LTE_FILE), std::regex("CELLMODEM1"), "CELLMODEM");
    EXPECT_EQ(withoutTime(PLAIN_FILE), plain);
    EXPECT_EQ(readFile("/var/log/wireless.serialno"), "356938035643809\n");
    EXPECT_EQ(readFile("/var/log/wireless.mdn"), "12025550101\n");
    expectStored(SLOT_FILE_1);
}

TEST_F(StatusFile, ConnectedWcdmaModem_ReadsWordForWordInTheFileOfSlotTwo) {
    startConnected(WCDMA, "2");
    write();
    EXPECT_EQ(withoutTime(SLOT_FILE_2), WCDMA_FILE);
    EXPECT_EQ(readFile("/var/log/wireless.mdn"), "31600000001\n");
    expectStored(SLOT_FILE_2);
}

TEST_F(StatusFile, LastFileBeforeTheEnd_EmptiesEveryContextAndForgetsTheNetwork) {
    startConnected(nlohmann::json::object(), "1");
    write();
    ASSERT_EQ(stored("CELLMODEM1_SIM_CONT_APN0"), "1:internet");
    device.b_shutting_down = true;
    disconnectNetwork(handle(), device, config);
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
    // What is left behind when the files are gone.
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
    EXPECT_EQ(maybeStartDataSession(handle(), device, config, g_C_netConDelayTimer),
              eERROR_DEVICE_NETWORK_ATTACH_FAILURE);
    EXPECT_EQ(maybeStartDataSession(handle(), device, config, g_C_netConDelayTimer),
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
    device.network.i_active_set_count = 1000000;  // more than there can be
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
    // Whoever had the old file open still reads all of it; the name leads to a new one.
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
    device.modem.s_model = "told by the store";
    write();
    EXPECT_EQ(stored("CELLMODEM1_MODEL"), "told by the store");
    EXPECT_NE(readFile(PLAIN_FILE).find("\nCELLMODEM_MODEL=told by the store\n"),
              std::string::npos);
}

TEST_F(StatusFile, ForcedWrite_StartsTheTwoSecondsAnew) {
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

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "atcmd/radio_status.h"
#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "published/status_keys.h"
#include "statemachine/polling.h"
#include "statemachine/status_files.h"
#include "statemachine/status_keys.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/in_pass.h"
#include "tests/support/recorded_text.h"

namespace {

tStatusList statusList(const sDeviceInfo& device, const sConfigFileOpts& config, long long now,
                       unsigned connectedS) {
    cStatusLines lines;
    updateStatusLines(lines, device, config, now, connectedS);
    return lines.list();
}

class Status : public cFlowFixture {
  protected:
    void useSlot(const std::string& slot) { g_S_options.s_port = slot; }
};

constexpr const char* SLOT_FILE = "/var/log/wireless.cardstats.";
constexpr const char* PLAIN_FILE = "/var/log/wireless.cardstats";

constexpr const char* NO_SUCH_KEY = "(no such key)";

std::string valueOf(const tStatusList& list, const std::string& key) {
    for (const auto& [suffix, value] : list)
        if (suffix == key) return value;
    return NO_SUCH_KEY;
}

// The keys that have a name in published/status_keys.h. There is no list of them to walk, so they
// are read from the text of the header.
std::vector<std::string> namedKeys() {
    const std::string header = readFile(SOURCE_FOLDER "/published/status_keys.h");
    static const std::regex KEY("constexpr sStatusKey \\w+ =\\s*(\\{\\s*\"(\\w+)\"\\}|\\w+);");
    static const std::regex DECLARATION("constexpr sStatusKey \\w+ ");
    std::vector<std::string> keys;
    std::ptrdiff_t declarations = 0;
    for (std::sregex_iterator at(header.begin(), header.end(), KEY), end; at != end; ++at) {
        ++declarations;
        if ((*at)[2].matched) keys.push_back((*at)[2]);  // otherwise another name of a key
    }
    EXPECT_EQ(declarations,
              std::distance(std::sregex_iterator(header.begin(), header.end(), DECLARATION), {}))
        << "a declaration in status_keys.h is not in the form that this test reads";
    return keys;
}

}  // namespace

TEST_F(Status, Keys_AreInTheirOrder) {
    std::string keys;
    for (const auto& [key, value] : statusList(device, config, 0, 0))
        keys += key + "\n";
    expectRecorded("status_file/keys", keys);
}

TEST_F(Status, EveryNamedKey_IsWritten) {
    const tStatusList list = statusList(device, config, 0, 0);
    const std::vector<std::string> keys = namedKeys();
    ASSERT_FALSE(keys.empty());
    for (const std::string& key : keys)
        EXPECT_NE(valueOf(list, STATUS_KEY_SEPARATOR + key), NO_SUCH_KEY)
            << key << " of published/status_keys.h has no row in statemachine/status_keys.cpp";
}

TEST_F(Status, Defaults_SayNotKnown) {
    const tStatusList list = statusList(device, config, 0, 0);
    const std::pair<const char*, const char*> expected[] = {{"_MODEL", "Unknown"},
                                                            {"_IMEI", "000000000000000"},
                                                            {"_ESN", "000000000000000"},
                                                            {"_MDN", "0000000000"},
                                                            {"_FIRMWARE_V", "00.00.00"},
                                                            {"_FIRMWARE_CFG_V", "-1"},
                                                            {"_FIRMWARE_SLOT", "-1"},
                                                            {"_TEMPERATURE", "-999"},
                                                            {"_TEMPERATURE_LEVEL_E", "-3"},
                                                            {"_SUPPORTED_NETPREF", "Ignore"},
                                                            {"_SIM_ID", "0000000000000000000000"},
                                                            {"_SIM_CARRIER_NUMBER", "000000"},
                                                            {"_SIM_CPIN_ENABLED", "0"},
                                                            {"_SIM_REMAIN_PUK", "255"},
                                                            {"_SIM_SLOT", "-1"},
                                                            {"_SIM_CONT_CURRENT", "1"},
                                                            {"_CARRIER", "Unknown"},
                                                            {"_SERVICE_TYPE", "UNKNOWN"},
                                                            {"_SERVICE_TYPE_E", "5"},
                                                            {"_CURRENT_CSQ", "99"},
                                                            {"_CURRENT_MM_E", "-1"},
                                                            {"_LTE_RSSI", ""},
                                                            {"_CREG", "Unknown"},
                                                            {"_QMI_STATE", "Unknown"},
                                                            {"_QMI_CALL_TIME", "0"},
                                                            {"_QMI_CALL_FORMAT_TIME", "N/A"},
                                                            {"_LAST_CONNECT_ERROR", "eSUCCESS"},
                                                            {"_SLED_SLOT", "1"},
                                                            {"_SMS_RECV", "0"}};
    for (const auto& [key, value] : expected)
        EXPECT_EQ(valueOf(list, key), value) << key;
}

TEST_F(Status, LteCell_FillsSummaryAndLteKeysAlike) {
    start();
    ASSERT_EQ(pollDevice(port(), device, config), eSUCCESS);
    const tStatusList list = statusList(device, config, 0, 90061);
    const std::pair<const char*, const char*> expected[] = {
        {"_CARRIER", "AT&T"},
        {"_CARRIER_PLMN", "310410"},
        {"_CARRIER_MCC", "310"},
        {"_CARRIER_MNC", "410"},
        {"_SERVICE_TYPE", "LTE"},
        {"_BAND", "4"},
        {"_CURRENT_RSSI", "-68"},
        {"_LTE_RSSI", "-68"},
        {"_CURRENT_RSRQ", "-9"},
        {"_LTE_RSRQ", "-9"},
        {"_CURRENT_RSRP", "-98"},
        {"_LTE_RSRP", "-98"},
        {"_CURRENT_TAC", "700D"},
        {"_CURRENT_LAC_TAC", "700D"},
        {"_LOCATION_AREA_CODE", "700D"},
        {"_SERVSYS_LAC", "700D"},
        {"_SERVSYS_CELL_ID_HEX", "00001D7"},
        {"_SERVSYS_CELL_ID", "471"},
        {"_CURRENT_CHAN", "2225"},
        {"_CURRENT_CSQ", "17"},
        {"_CREG_ABR", "Reg Home"},
        {"_CREG_REGISTERED", "1"},
        {"_QMI_CALL_FORMAT_TIME", "1D 1H 1M 1S"},
        {"_SIM_CONT_APN0", "1:broadband"}};
    for (const auto& [key, value] : expected)
        EXPECT_EQ(valueOf(list, key), value) << key;
}

// Recorded: LE910C1-EUX, with a test IMSI.
TEST_F(Status, LteCellOfANewerModule_ShowsItsBandAndItsCell) {
    device.network.e_psnt_service_type = ePS_NET_LTE;
    parseModemNetworkStatus(
        "#RFSTS: \"286 01\",1795,-101,-67,-15,2242,,128,3,1,0B5D121,\"286010000000008\","
        "\"Turkcell\",3,3,108\r\n",
        device.network);
    const tStatusList list = statusList(device, config, 0, 0);
    const std::pair<const char*, const char*> expected[] = {
        {"_CARRIER_PLMN", "28601"},       {"_BAND", "3"},
        {"_CURRENT_RSSI", "-67"},         {"_CURRENT_RSRQ", "-15"},
        {"_CURRENT_RSRP", "-101"},        {"_CURRENT_TXPWR", ""},
        {"_CURRENT_DRX", "128"},          {"_CURRENT_MM_E", "3"},
        {"_CURRENT_RRC_E", "1"},          {"_SERVSYS_CELL_ID_HEX", "0B5D121"},
        {"_SERVSYS_CELL_ID", "11915553"}, {"_CURRENT_TAC", "2242"},
        {"_SERVICE_DOMAIN", "3"}};
    for (const auto& [key, value] : expected)
        EXPECT_EQ(valueOf(list, key), value) << key;
}

TEST_F(Status, ActiveSet_HasThreeKeysPerCellAfterTheServingCell) {
    device.network.i_active_set_count = 2;
    device.network.active_set[1] = {10564, 176, -1.5};
    const tStatusList list = statusList(device, config, 0, 0);
    const auto at = std::find_if(list.begin(), list.end(),
                                 [](const auto& row) { return row.first == "_ACT0_F_ECIO"; });
    ASSERT_NE(at, list.end());
    EXPECT_EQ((at - 1)->first, "_SERVSYS_CELL_ID_HEX");
    EXPECT_EQ((at + 3)->first, "_ACT1_F_ECIO");
    EXPECT_EQ((at + 3)->second, "-1.5");
    EXPECT_EQ((at + 4)->first, "_ACT1_PSC");
    EXPECT_EQ((at + 4)->second, "176");
    EXPECT_EQ((at + 5)->first, "_ACT1_UARFCN");
    EXPECT_EQ((at + 5)->second, "10564");
    EXPECT_EQ((at + 6)->first, "_LOCATION_AREA_CODE");
}

TEST_F(Status, ContextWithoutIdentifierOrApn_GivesNoLine) {
    device.modem.context_list[0].s_apn = "lost";
    device.modem.context_list[1].s_cid = "2";
    device.modem.context_list[2].s_cid = "3";
    device.modem.context_list[2].s_apn = "ims";
    device.modem.i_context_count = 3;
    const tStatusList list = statusList(device, config, 0, 0);
    EXPECT_EQ(valueOf(list, "_SIM_CONT_APN0"), "(no such key)");
    EXPECT_EQ(valueOf(list, "_SIM_CONT_APN1"), "(no such key)");
    EXPECT_EQ(valueOf(list, "_SIM_CONT_APN2"), "3:ims");
    device.b_shutting_down = true;
    const tStatusList last = statusList(device, config, 0, 0);
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(valueOf(last, "_SIM_CONT_APN" + std::to_string(i)), "");
}

TEST_F(Status, SlotOne_WritesBothFilesWithTheirPrefixes) {
    start();
    device.modem.s_serial_number = "123";
    device.modem.s_own_number = "12025550101";
    doWriteOutStatusFiles(device, config);
    EXPECT_NE(readFile(std::string(SLOT_FILE) + "1").find("\nCELLMODEM1_MODEL=Unknown\n"),
              std::string::npos);
    EXPECT_NE(readFile(PLAIN_FILE).find("\nCELLMODEM_MODEL=Unknown\n"), std::string::npos);
    EXPECT_EQ(readFile(PLAIN_FILE).find("#File generated \nCELLMODEM_STATS_LAST_UPDATE="), 0u);
    EXPECT_EQ(readFile("/var/log/wireless.serialno"), "123\n");
    EXPECT_EQ(readFile("/var/log/wireless.mdn"), "12025550101\n");
    EXPECT_EQ(stored("CELLMODEM1_MODEL"), "Unknown");
    EXPECT_EQ(stored("CELLMODEM1#Device Properties:"), "(no such key)");
}

TEST_F(Status, SlotTwo_DoesNotWriteThePlainFile) {
    start();
    useSlot("2");
    writeFile(PLAIN_FILE, "of slot 1");
    doWriteOutStatusFiles(device, config);
    EXPECT_EQ(readFile(PLAIN_FILE), "of slot 1");
    EXPECT_NE(readFile(std::string(SLOT_FILE) + "2").find("\nCELLMODEM2_MODEL=Unknown\n"),
              std::string::npos);
    EXPECT_EQ(stored("CELLMODEM2_SLED_SLOT"), "2");
}

TEST_F(Status, RequestsWithinTwoSeconds_WriteOnceUnlessForced) {
    start();
    const std::string file = std::string(SLOT_FILE) + "1";
    writeOutStatusFiles(device, config, false);
    unlink(file.c_str());
    writeOutStatusFiles(device, config, false);
    EXPECT_FALSE(fileExists(file));
    writeOutStatusFiles(device, config, true);
    EXPECT_TRUE(fileExists(file));
    unlink(file.c_str());
    passSeconds(2);
    writeOutStatusFiles(device, config, false);
    EXPECT_TRUE(fileExists(file));
}

TEST_F(Status, ControlCharactersInValues_ForgeNoLine) {
    start();
    device.network.s_network_name = "Nice\nCELLMODEM1_QMI_STATE=CONNECTED\r\x1b[2J";
    doWriteOutStatusFiles(device, config);
    const std::string text = readFile(std::string(SLOT_FILE) + "1");
    EXPECT_EQ(text.find("\nCELLMODEM1_QMI_STATE=CONNECTED"), std::string::npos);
    EXPECT_NE(text.find("\nCELLMODEM1_QMI_STATE=Unknown\n"), std::string::npos);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST_F(Status, ValueThatCannotBeStored_IsLoggedOnceAndNothingElseIsLost) {
    start();
    const auto write = [this] {
        inPass(eWORK_STATUS, [this] { doWriteOutStatusFiles(device, config); });
    };
    const std::string message =
        "doWriteOutStatusFiles(): Error writing SKVS CELLMODEM1_SIM_EXTENDED_STATUS";
    device.sim.s_outcome = std::string(5000, 'x');
    device.network.s_network_name = "stored nevertheless";
    write();
    write();
    EXPECT_EQ(logCount(message), 1u);
    EXPECT_EQ(stored("CELLMODEM1_CARRIER"), "stored nevertheless");
    EXPECT_NE(readFile(PLAIN_FILE).find("\nCELLMODEM_SIM_EXTENDED_STATUS=xxx"), std::string::npos);
    device.sim.s_outcome.clear();
    write();
    device.sim.s_outcome = std::string(5000, 'x');
    write();
    EXPECT_EQ(logCount(message), 2u);
}

// A store that other programs have filled: values that still fit are stored, the others are named
// in the log.
TEST_F(Status, FullStore_StoresWhatFitsAndLogsTheRest) {
    start();
    const auto write = [this] {
        inPass(eWORK_STATUS, [this] { doWriteOutStatusFiles(device, config); });
    };
    doWriteOutStatusFiles(device, config);
    int filler = 0;
    while (skvs_set(("FILLER" + std::to_string(filler)).c_str(), std::string(4000, 'x').c_str()) ==
           0)
        ++filler;
    clearCapturedLog();
    device.sim.s_outcome = std::string(4000, 'x');
    device.network.s_network_name = "stored all the same";
    write();
    write();
    EXPECT_EQ(stored("CELLMODEM1_CARRIER"), "stored all the same");
    EXPECT_EQ(stored("CELLMODEM1_SIM_EXTENDED_STATUS"), "");
    EXPECT_EQ(
        logCount("doWriteOutStatusFiles(): Error writing SKVS CELLMODEM1_SIM_EXTENDED_STATUS"), 1u);
    EXPECT_EQ(logCount("doWriteOutStatusFiles(): Error writing SKVS CELLMODEM1"), 0u);

    // A key that fails later is named then.
    device.modem.s_firmware_version = std::string(4000, 'x');
    write();
    write();
    EXPECT_EQ(logCount("doWriteOutStatusFiles(): Error writing SKVS CELLMODEM1_FIRMWARE_V"), 1u);
    EXPECT_EQ(
        logCount("doWriteOutStatusFiles(): Error writing SKVS CELLMODEM1_SIM_EXTENDED_STATUS"), 1u);
}

TEST_F(Status, StoreThatCannotBeWritten_IsReportedInOneLine) {
    start();
    const auto write = [this] {
        inPass(eWORK_STATUS, [this] { doWriteOutStatusFiles(device, config); });
    };
    std::filesystem::create_directories("/run/cellslot");
    std::filesystem::remove_all("/run/cellslot/skvs");
    writeFile("/run/cellslot/skvs", "no folder");
    clearCapturedLog();
    write();
    write();
    EXPECT_EQ(logCount("doWriteOutStatusFiles(): Error writing SKVS CELLMODEM1_* (every key)"), 1u);
    const std::vector<std::string> log = capturedLog();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& line) {
                                return line.find("Error writing SKVS") != std::string::npos;
                            }),
              1);
}

TEST_F(Status, StatusLine_ReplacesOrAppends) {
    bool append = false;
    updateStatusFile("/storage/status", "one", append);
    append = true;
    updateStatusFile("/storage/status", "two", append);
    EXPECT_EQ(readFile("/storage/status"), "one\ntwo\n");
    append = false;
    updateStatusFile("/storage/status", "three", append);
    EXPECT_EQ(readFile("/storage/status"), "three\n");
}

#include <regex>
#include <set>

#include "include/options.h"
#include "tests/support/recorded_text.h"
#include "tests/support/temp_folder.h"
#include "tests/support/whole_daemon.h"

// The status files that the tests of cellslot read (tests/data/status), as the daemon writes them.

namespace {

constexpr const char* PIN_FILE = "/etc/vuk/cellular_cpin.1";
constexpr double NEVER_S = 1e9;

struct sRecording {
    const char* name;
    nlohmann::json scenario;
    double atS;             // when the file is taken
    std::string more = "";  // configuration
    std::string pin = "";   // that the daemon is given
    double unplugAtS = NEVER_S;
};

void PrintTo(const sRecording& recording, std::ostream* out) {
    *out << recording.name;
}

std::vector<sRecording> recordings() {
    return {
        {"healthy", nlohmann::json::object(), 10},
        {"wcdma",
         {{"registration", {{"tech", "WCDMA"}}},
          {"signal", {{"rscp_dbm", -92}, {"rssi_dbm", -80}}}},
         11},
        {"searching", {{"registration", {{"state", "searching"}}}}, 10},
        {"denied", {{"registration", {{"state", "denied"}}}}, 10},
        {"no_sim", {{"sim", {{"present", false}}}}, 10},
        {"roaming",
         {{"registration", {{"state", "roaming"}, {"plmn", "26201"}, {"operator", "Telekom.de"}}}},
         10,
         "CM_ROAMING=home\n"},
        {"pin_locked", {{"sim", {{"pin", "1234"}, {"lock", true}}}}, 10, "", "9999"},
        {"puk_locked",
         {{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}, {"puk_attempts", 9}}}},
         10},
        {"modem_gone", nlohmann::json::object(), 12, "", "", 10},
        {"session_refused", {{"registration", {{"accepts_activation", false}}}}, 10},
    };
}

class StatusRecording : public cWholeDaemon, public ::testing::WithParamInterface<sRecording> {};

// One time stamp for all, so that a recording made again differs only in what is meant to differ.
std::string withOneTime(const std::string& text) {
    static const std::regex TIME(
        "_STATS_LAST_UPDATE=[^\n]*\nCELLMODEM1_STATS_LAST_UPDATE_E=[0-9]+\n");
    return std::regex_replace(text, TIME,
                              "_STATS_LAST_UPDATE=2026-11-21 07:42:18\n"
                              "CELLMODEM1_STATS_LAST_UPDATE_E=1795246938\n");
}

std::string withPorts(std::string text) {
    text = std::regex_replace(text, std::regex("_DEV_HANDLE_MAIN=[^\n]*"),
                              "_DEV_HANDLE_MAIN=/dev/ttyCELL1");
    return std::regex_replace(text, std::regex("_DEV_HANDLE_GPS=[^\n]*"),
                              "_DEV_HANDLE_GPS=/dev/ttyGPS1");
}

}  // namespace

TEST_P(StatusRecording, IsWhatTheDaemonWrites) {
    const sRecording& recording = GetParam();
    writeFile(CONFIG_FILE, CONFIG + recording.more);
    if (!recording.pin.empty()) writeFile(PIN_FILE, recording.pin + "\n");
    startOnTerminal(recording.scenario);
    at(recording.unplugAtS, [this] { simulatedPort().unplug(); });
    std::string text;
    at(recording.atS, [&text] { text = readFile(STATUS_FILE); });
    run(recording.atS + 1);
    expectRecorded(std::string("status/") + recording.name + ".status",
                   withPorts(withOneTime(text)));
}

INSTANTIATE_TEST_SUITE_P(Each, StatusRecording, ::testing::ValuesIn(recordings()),
                         [](const ::testing::TestParamInfo<sRecording>& recording) {
                             return std::string(recording.param.name);
                         });

TEST(StatusRecordings, EachFile_HasAScenario) {
    std::set<std::string> names;
    for (const sRecording& recording : recordings())
        names.insert(recording.name);
    EXPECT_EQ(recordedNames("status", ".status"), names);
}

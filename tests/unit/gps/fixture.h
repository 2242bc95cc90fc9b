#ifndef TESTS_UNIT_GPS_FIXTURE_H
#define TESTS_UNIT_GPS_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "gps/gps.h"
#include "tests/support/captured_log.h"
#include "tests/support/gps_terminal.h"
#include "tests/support/temp_folder.h"

using tTexts = std::vector<std::string>;

// Key (without "CELLULAR_SLOT") and value of an entry of the store.
using tEntry = std::pair<std::string, std::string>;
using tEntries = std::vector<tEntry>;

// The daemon's GPS port for slot 2 with a store of its own. Writes to the store and shell commands
// are recorded; the commands are not run. At the end no descriptor may be left open.
class cGpsFixture : public ::testing::Test {
  public:
    cGpsFixture();
    ~cGpsFixture() override;

    // Results of the next writes to the store and of the next shell commands.
    static std::set<std::string> s_failingKeys;
    static int s_shellStatus;
    static tEntries s_writes;
    static tTexts s_shellCommands;

  protected:
    void SetUp() override;
    void TearDown() override;

    // Connects the simulated modem and gives its path to the port.
    void start(const nlohmann::json& scenario = nlohmann::json::object());
    cGpsTerminal& terminal() { return *m_terminal; }
    // Uses any other path for the port.
    void initOn(const std::string& path);
    // Restarts the daemon: only the store survives.
    void restartDaemon();

    eGeneralErrors gpsStart() { return gps.gpsStart(chipset, streamFlag); }
    eGeneralErrors gpsStop() { return gps.gpsStop(streamFlag); }

    tTexts sent() { return m_terminal->takeSent(); }
    static tEntries writes() { return std::exchange(s_writes, {}); }
    static tTexts shellCommands() { return std::exchange(s_shellCommands, {}); }
    static std::string storedValue(const std::string& name);
    static void storeValue(const std::string& name, const std::string& value);
    std::string gpsdctl(const char* action) const;

    cTelitGps& gps = g_C_telitGps;
    std::string chipset = "before";
    bool streamFlag = false;

  private:
    cTempFolder m_folder;
    std::unique_ptr<cGpsTerminal> m_terminal;
    std::string m_path;
    size_t m_descriptors = 0;
};

// A receiver that is on.
extern const nlohmann::json ENABLED_RECEIVER;
// A modem that is streaming.
void startStreamAtModem(cGpsTerminal& terminal);

// Commands up to the query of the chipset, if no stream runs.
extern const tTexts STOP_COMMANDS;
extern const tTexts QUERY_COMMANDS;    // one
extern const tTexts QUERIES_COMMANDS;  // all five
extern const tTexts START_COMMANDS;
extern const tTexts ENABLE_COMMANDS;

template <typename... tLists>
tTexts joined(const tLists&... lists) {
    tTexts all;
    (all.insert(all.end(), lists.begin(), lists.end()), ...);
    return all;
}

// Every wrong answer that the modem can give to a command, with a name.
struct sBadAnswer {
    const char* name;
    nlohmann::json fault;
};
const std::vector<sBadAnswer>& badAnswers();

#endif

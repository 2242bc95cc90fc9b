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

// Key, without "CELLULAR_SLOT", and value of an entry of the store.
using tEntry = std::pair<std::string, std::string>;
using tEntries = std::vector<tEntry>;

// The daemon's GPS port for slot 2 with a store of its own. Every write to the store is noted, and
// so is every shell command, none of which is run. At the end no descriptor may be left open.
class cGpsFixture : public ::testing::Test {
  public:
    cGpsFixture();
    ~cGpsFixture() override;

    // What the next writes to the store and the next shell commands come to.
    static std::set<std::string> s_failingKeys;
    static int s_shellStatus;
    static tEntries s_writes;
    static tTexts s_shellCommands;

  protected:
    void SetUp() override;
    void TearDown() override;

    // Connects the simulated modem, and tells the port its path.
    void start(const nlohmann::json& scenario = nlohmann::json::object());
    cGpsTerminal& terminal() { return *m_terminal; }
    // The port on any other path.
    void initOn(const std::string& path);
    // As after a restart of the daemon: only the store is left.
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
// Its modem in the middle of a stream.
void startStreamAtModem(cGpsTerminal& terminal);

// What is sent up to the chipset's query, when no stream runs.
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

// Every way in which the modem can answer a command other than it should, with a name.
struct sBadAnswer {
    const char* name;
    nlohmann::json fault;
};
const std::vector<sBadAnswer>& badAnswers();

#endif

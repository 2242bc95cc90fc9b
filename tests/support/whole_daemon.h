#ifndef TESTS_SUPPORT_WHOLE_DAEMON_H
#define TESTS_SUPPORT_WHOLE_DAEMON_H

#include <functional>
#include <string>
#include <vector>

#include "tests/support/flow_fixture.h"

// The whole daemon on a simulated terminal. Events during its run are scheduled beforehand, with
// their time on the daemon's clock.
class cWholeDaemon : public cFlowFixture {
  protected:
    void SetUp() override;

    void startOnTerminal(const nlohmann::json& scenario = nlohmann::json::object()) {
        start(scenario, cSimulatedPort::TERMINAL);
    }

    void at(double seconds, std::function<void()> action);

    // After each turn of the modem.
    void onEachTurn(std::function<void()> action) { m_onEachTurn = std::move(action); }

    // Runs the daemon and ends it with SIGTERM after this time unless it ends before.
    int run(double seconds);

    // A value of the status file.
    static std::string statusOf(const std::string& key);

    static const char* const CONFIG_FILE;
    static const char* const STATUS_FILE;
    static const std::string CONFIG;

  private:
    struct sAction {
        uint64_t timeMs;
        std::function<void()> run;
        bool done;
    };
    std::vector<sAction> m_actions;
    std::function<void()> m_onEachTurn;
};

#endif

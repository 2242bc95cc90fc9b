#ifndef TESTS_SUPPORT_FLOW_FIXTURE_H
#define TESTS_SUPPORT_FLOW_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "include/config_options.h"
#include "tests/support/captured_log.h"
#include "tests/support/shell_stubs.h"
#include "tests/support/simulated_port.h"

struct sDeviceInfo;

using tCommands = std::vector<std::string>;

// The state of a daemon for slot 1 that has just started, the simulated modem on its port, and host
// tools that only record their calls. A scenario states only what differs from a healthy modem. At
// the end the modem must have understood every command.
// Before the first test of a program, a set-up and a poll of a healthy modem are compared with
// set_up_commands.h. If they differ, the first test names the command and no other test runs,
// because all would fail.
class cFlowFixture : public ::testing::Test {
    // Behind a pointer: a change of the records concerns only tests that look into them.
    const std::unique_ptr<sDeviceInfo> m_device;

  public:
    cFlowFixture();
    ~cFlowFixture() override;

  protected:
    void TearDown() override;

    // Must be called before anything is sent.
    void start(const nlohmann::json& scenario = nlohmann::json::object(),
               cSimulatedPort::eKind kind = cSimulatedPort::SOCKET);

    int port() const { return m_port->descriptor(); }
    cSimulatedPort& simulatedPort() { return *m_port; }
    tCommands commands() { return m_port->takeCommands(); }
    void order(const nlohmann::json& request) { m_port->order(request); }
    // A command that the modem received earlier: its answer is discarded, and commands() does not
    // show it.
    void sendEarlier(const std::string& command);
    // Lets seconds pass on the daemon's clock.
    void passSeconds(unsigned seconds) { m_port->pass(uint64_t{seconds} * 1000000); }
    // A fault for the next count commands that match exactly.
    void fault(const std::string& command, const std::string& kind, int number = 0, int count = 1);
    // A value of the store.
    static std::string stored(const std::string& key);
    // The modem may receive commands that it does not understand.
    void allowProblems() { m_problemsAllowed = true; }

    sDeviceInfo& device;
    sConfigFileOpts config;
    cShellStubs shell;

  private:
    void prepare();
    std::string trySetUp();

    std::unique_ptr<cSimulatedPort> m_port;
    bool m_problemsAllowed = false;
};

// Joins commands and lists of them.
inline void append(tCommands& list, const char* command) {
    list.emplace_back(command);
}
inline void append(tCommands& list, const tCommands& more) {
    list.insert(list.end(), more.begin(), more.end());
}
template <typename... tItems>
tCommands sequence(const tItems&... items) {
    tCommands list;
    (append(list, items), ...);
    return list;
}

#endif

#include "tests/support/whole_daemon.h"

#include "include/signal_flags.h"
#include "statemachine/state_machine.h"

const char* const cWholeDaemon::CONFIG_FILE = "/etc/vuk/cellular1.conf";
const char* const cWholeDaemon::STATUS_FILE = "/var/log/wireless.cardstats.1";
const std::string cWholeDaemon::CONFIG =
    "CM_ENABLE_INTERFACE=yes\n"
    "CM_APN=internet\n"
    "CM_GPS_ENABLE=no\n"
    "CM_SYNC_TIME=no\n";

void cWholeDaemon::SetUp() {
    writeFile(CONFIG_FILE, CONFIG);
    writeFile("/run/poststart", "");
}

void cWholeDaemon::at(double seconds, std::function<void()> action) {
    m_actions.push_back({static_cast<uint64_t>(seconds * 1000), std::move(action), false});
}

int cWholeDaemon::run(double seconds) {
    at(seconds, [] { b_got_sigterm = true; });
    simulatedPort().onTurn([this] {
        if (m_onEachTurn) m_onEachTurn();
        for (sAction& action : m_actions) {
            if (action.done || simulatedPort().nowMs() < action.timeMs) continue;
            action.done = true;
            action.run();
        }
    });
    return runStateMachine();
}

std::string cWholeDaemon::statusOf(const std::string& key) {
    const std::string text = readFile(STATUS_FILE);
    const std::string start = "CELLMODEM1" + key + "=";
    const size_t at = text.find(start);
    if (at == std::string::npos) return "(no such key)";
    const size_t value = at + start.size();
    return text.substr(value, text.find('\n', value) - value);
}

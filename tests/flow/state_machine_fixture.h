#ifndef TESTS_FLOW_STATE_MACHINE_FIXTURE_H
#define TESTS_FLOW_STATE_MACHINE_FIXTURE_H

#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "include/options.h"
#include "include/signal_flags.h"
#include "tests/support/whole_daemon.h"

constexpr const char* DOWN = "setup_cellint.sh -i wwan0 --down";

// The whole daemon, with common checks of its runs.
class StateMachine : public cWholeDaemon {
  protected:
    // Stores the status of a key at a time while the daemon runs.
    void recordStatus(double seconds, const std::string& key, std::string& value) {
        at(seconds, [key, &value] { value = statusOf(key); });
    }

    static void reconfigure(const std::string& more) {
        writeFile(CONFIG_FILE, CONFIG + more);
        b_got_sigusr2 = true;
    }

    static size_t placeInLog(const std::string& message) {
        const std::vector<std::string>& log = capturedLog();
        EXPECT_GT(logCount(message), 0u) << message;
        return static_cast<size_t>(std::find(log.begin(), log.end(), message) - log.begin());
    }

    // As after simulatedPort().unplug(): under another name, since no udev is here to give it the
    // same.
    void plugInAgain() {
        simulatedPort().plugIn();
        g_S_options.s_device = simulatedPort().path();
    }

    void silenceOnce(const std::string& command) { fault(command, "silence"); }

    size_t countOf(const tCommands& list, const std::string& command) const {
        return static_cast<size_t>(std::count(list.begin(), list.end(), command));
    }

    std::vector<std::string> callsStartingWith(const std::string& start) const {
        std::vector<std::string> found;
        for (const std::string& call : shell.calls())
            if (call.compare(0, start.size(), start) == 0) found.push_back(call);
        return found;
    }

    // A tool that still runs in the background when the daemon ends.
    void expectLastCall(const std::string& call) const {
        for (int i = 0; i < 2000 && callsStartingWith(call).empty(); ++i)
            usleep(10000);
        EXPECT_EQ(callsStartingWith(call).size(), 1u);
    }

    // A reset without an open port.
    void expectPowerCycle() const { expectLastCall("ResetCellular now force -s 1"); }
};

#endif

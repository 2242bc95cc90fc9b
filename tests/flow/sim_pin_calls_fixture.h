#ifndef TESTS_FLOW_SIM_PIN_CALLS_FIXTURE_H
#define TESTS_FLOW_SIM_PIN_CALLS_FIXTURE_H

#include <string>
#include <vector>

#include "include/device_records.h"
#include "statemachine/sim_pin_requests.h"
#include "tests/flow/sim_pin_fixture.h"

// The operations on PIN and PUK, called one by one.
class SimPinCalls : public cSimPinFixture {
  protected:
    eGeneralErrors manage() { return manageCpin(port(), device.sim); }
    // Time from the command to the next one, in milliseconds.
    uint64_t pauseAfter(const std::string& command) {
        const std::vector<le910sim::sExchange>& all = simulatedPort().modem().exchanges();
        for (size_t i = 0; i + 1 < all.size(); ++i)
            if (all[i].command == command) return all[i + 1].timeMs - all[i].timeMs;
        return 0;
    }
    void forgetPin() { order({{"op", "set"}, {"sim", {{"verified", false}}}}); }
};

#endif

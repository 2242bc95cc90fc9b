#ifndef TESTS_FLOW_BRING_UP_STEPS_FIXTURE_H
#define TESTS_FLOW_BRING_UP_STEPS_FIXTURE_H

#include <string>
#include <tuple>

#include "include/device_records.h"
#include "statemachine/bring_up.h"
#include "statemachine/polling.h"
#include "tests/support/set_up_commands.h"

// Bring-up and polling with a fault at one command of their lists.
class BringUpSteps : public cFlowFixture {
  protected:
    eGeneralErrors setup() { return setupModem(port(), device, config); }
    eGeneralErrors poll() { return pollDevice(port(), device, config); }

    // A fault at the index-th command of list; earlier commands with the same text succeed.
    void faultAt(const tCommands& list, size_t index, const std::string& kind) {
        nlohmann::json request = {{"op", "fault"},
                                  {"match", list[index]},
                                  {"kind", kind},
                                  {"skip", earlierOccurrences(list, index)},
                                  {"count", 1}};
        if (kind == "cme") request["number"] = 3;
        order(request);
    }

    void startRegistered() {
        start();
        device.network.b_registered = true;
        device.network.i_reg_state = eREG_HOME;
    }
};

constexpr const char* CURRENT_PIN = "/etc/vuk/cellular_cpin.1";
inline const nlohmann::json LOCKED_SIM = {{"sim", {{"pin", "1234"}, {"lock", true}}}};

inline std::string placeName(const ::testing::TestParamInfo<sPlace>& place) {
    return testName(place.param.command) + "_at_" + std::to_string(place.param.index);
}

using tRefusalCase = std::tuple<sStep, const char*>;

inline std::string refusalName(const ::testing::TestParamInfo<tRefusalCase>& test) {
    return testName(std::get<0>(test.param).command) + "_" + std::get<1>(test.param);
}

inline eGeneralErrors refusalResult(const sStep& step, const std::string& kind) {
    if (step.refusal == eRefusal::GOES_ON) return eSUCCESS;
    if (step.refusal == eRefusal::OWN_NUMBER && kind == "cme") return eERROR_DEVICE_SIM_LOCKED_CNUM;
    return eERROR_DEVICE_RESPONSE_ERROR;
}

#endif

#ifndef TESTS_FLOW_SIM_PIN_FIXTURE_H
#define TESTS_FLOW_SIM_PIN_FIXTURE_H

#include <string>

#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "statemachine/pin_record.h"
#include "statemachine/sim_pin.h"
#include "statemachine/sim_query.h"
#include "statemachine/sim_status.h"
#include "tests/support/flow_fixture.h"

constexpr const char* CURRENT = "/etc/vuk/cellular_cpin.1";
constexpr const char* REQUEST = "/etc/vuk/cellular_cpin_new.1";
constexpr const char* PUK = "/etc/vuk/cellular_puk.1";

inline const nlohmann::json LOCKED = {{"sim", {{"pin", "1234"}, {"lock", true}}}};
inline const nlohmann::json OPEN = {{"sim", {{"pin", "1234"}, {"lock", false}}}};
inline const nlohmann::json READY_WITH_LOCK = {
    {"sim", {{"pin", "1234"}, {"lock", true}, {"verified", true}}}};
inline const nlohmann::json BLOCKED = {
    {"sim", {{"pin", "1234"}, {"puk", "12345678"}, {"lock", true}, {"pin_attempts", 0}}}};

class cSimPinFixture : public cFlowFixture {
  protected:
    // A modem that reports its errors by number, and a SIM that has been read once.
    void startWith(const nlohmann::json& scenario) {
        start(scenario);
        sendEarlier("AT+CMEE=1");
        getDeviceSimInfo(port(), device.sim);
        commands();
    }
    eGeneralErrors look() { return getSimStatus(port(), device.sim); }
    size_t unlocksSent() {
        size_t count = 0;
        for (const std::string& command : commands())
            if (startsWith(command, "AT+CPIN=")) ++count;
        return count;
    }
};

#endif

#include "statemachine/bring_up.h"

#include "tests/support/flow_fixture.h"

namespace {

class BringUp : public cFlowFixture {};

const tCommands IDENTITY = {"ATI3", "AT+CGMR", "AT#CFVR", "AT#FWSWITCH=?", "ATI5"};
const tCommands MODEM = {"AT+GMM", "AT+CMEE=1", "AT#GPIO=1,0,2", "AT#SLED=3,5,30"};

tCommands pollInfoCommands() {
    return sequence("AT+CGSN", "AT#TEMPMON=1", simCommands(), simCommands(), "AT+CNUM",
                    simCommands(), "AT+CGDCONT?");
}

}  // namespace

TEST_F(BringUp, HealthyModem_SendsTheWholeSequenceAndSucceeds) {
    start();
    EXPECT_EQ(setupModem(handle(), device, config), eSUCCESS);
    EXPECT_EQ(commands(), sequence(MODEM, IDENTITY, "AT#GPIO=2,2", simCommands(), simCommands(),
                                   "AT+COPN", simCommands(), pollInfoCommands(), "AT+CMGF=0",
                                   simCommands(), simCommands(), "AT+CGATT?", "AT#PSNT=0",
                                   "AT+CGACT=0,1", "AT+CGDCONT=1,\"IPV4V6\",\"internet\"",
                                   "AT+WS46?", "AT+COPS=0", "AT#AUTOBND=0"));
    EXPECT_EQ(device.modem.s_imei, "356938035643809");
    EXPECT_EQ(device.sim.s_carrier, "AT&T");
}

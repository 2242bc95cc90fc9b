#include "include/device_records.h"
#include "include/options.h"
#include "statemachine/bands.h"
#include "statemachine/radio_policy.h"
#include "tests/support/flow_fixture.h"

// How the radio policies react to silence and refusal, and what they then do not send.

namespace {

class RadioResults : public cFlowFixture {
  protected:
    void startWithNumericErrors(const nlohmann::json& scenario = nlohmann::json::object()) {
        start(scenario);
        sendEarlier("AT+CMEE=1");
    }
    void manualBands(uint32_t bits3g, uint64_t bits4g) {
        device.modem.e_model = eTELIT_MODEL_LE910_NA_V2;
        device.modem.s_model = "LE910-NA V2";
        config.bandMode = eBAND_MODE_MANUAL;
        config.band3gBits = bits3g;
        config.band3gText = "1";
        config.band4gBits = bits4g;
        config.band4gText = "B2";
    }
    ePortReturn speed() { return maybeSetNetworkSpeed(port(), config, device); }
    eGeneralErrors bands() { return maybeSetBands(port(), device.modem, config); }
    eGeneralErrors image(eFirmwareSlot slot) {
        return maybeSwitchDeviceFirmware(port(), device, slot);
    }
};

constexpr const char* SWITCH_TO_SLOT_2 =
    "AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1";

}  // namespace

// ---- technology -------------------------------------------------------------------------------

TEST_F(RadioResults, PreferenceThatCannotBeRead_IsStillSet) {
    startWithNumericErrors();
    config.netPref = eNET_PREF_4G;
    device.modem.i_supported_net_bits = NET_BIT_3G | NET_BIT_4G;
    device.modem.i_net_pref = 22;
    device.modem.s_net_pref = "3G";
    fault("AT+WS46?", "error");
    EXPECT_EQ(speed(), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT+WS46?", "AT+WS46=28"}));
    // The last known value stays.
    EXPECT_EQ(device.modem.i_net_pref, 22);
    EXPECT_EQ(device.modem.s_net_pref, "3G");
}

TEST_F(RadioResults, RefusedPreference_GivesTheModemsResult) {
    startWithNumericErrors();
    config.netPref = eNET_PREF_4G;
    device.modem.i_supported_net_bits = NET_BIT_4G;
    fault("AT+WS46=28", "cme", 3);
    EXPECT_EQ(speed(), 3);
    fault("AT+WS46=28", "error");
    EXPECT_EQ(speed(), ePORT_ERROR);
    fault("AT+WS46=28", "silence");
    EXPECT_EQ(speed(), ePORT_NO_FINAL_RESULT);
}

TEST_F(RadioResults, NothingToChange_IsASuccessEvenWhenTheQueryFailed) {
    startWithNumericErrors();
    config.netPref = eNET_PREF_AUTO;
    device.modem.i_supported_net_bits = NET_BIT_4G;
    fault("AT+WS46?", "cme", 3);
    EXPECT_EQ(speed(), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT+WS46?"}));
    EXPECT_EQ(logCount("Device supports 4G only"), 1u);
    EXPECT_EQ(logCount("maybeSetNetworkSpeed(): No new network pref setting to change"), 1u);
}

TEST_F(RadioResults, AllThreeTechnologies_AreSetAsOneMode) {
    startWithNumericErrors({{"model", "LE910-EU V2"}});
    config.netPref = eNET_PREF_2G_3G_4G;
    device.modem.i_supported_net_bits = NET_BIT_2G | NET_BIT_3G | NET_BIT_4G;
    EXPECT_EQ(speed(), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT+WS46?"}));
    EXPECT_EQ(logCount("Network preference already set to WS46=25"), 1u);
    config.netPref = eNET_PREF_2G;
    EXPECT_EQ(speed(), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT+WS46?", "AT+WS46=12"}));
    EXPECT_EQ(logCount("maybeSetNetworkSpeed(): Current setting: 25, new setting 12"), 1u);
}

TEST_F(RadioResults, EveryModeAndMask_HasItsName) {
    for (const auto& [mode, name] : {std::pair<int, const char*>{12, "2G"},
                                     {22, "3G"},
                                     {25, "2G3G4G"},
                                     {28, "4G"},
                                     {29, "2G3G"},
                                     {30, "2G4G"},
                                     {31, "3G4G"},
                                     {0, "Unknown"},
                                     {-1, "Unknown"}})
        EXPECT_EQ(decodeCurrentTech(mode), name);
    const char* const masks[] = {"Ignore", "2G", "3G", "2G3G", "4G", "2G4G", "3G4G", "2G3G4G"};
    for (unsigned mask = 0; mask < 8; ++mask)
        EXPECT_EQ(decodeNetBits(mask), masks[mask]);
}

// ---- firmware image ---------------------------------------------------------------------------

TEST_F(RadioResults, AutomaticImage_FollowsTheSim) {
    startWithNumericErrors({{"firmware", {{"dual", true}, {"slot", 1}}}});
    device.modem.b_dual_firmware = true;
    device.modem.i_firmware_slot = 1;
    device.sim.e_slot = eSIM_SLOT_1;
    device.sim.i_present = 1;
    device.sim.i_lock_class = eSIM_READY;
    device.sim.s_imsi = "310410000000001";
    device.sim.s_carrier = "AT&T";
    EXPECT_EQ(image(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#FWSWITCH=0,1"}));
    EXPECT_EQ(logCount("Firmware Slot is Auto, SIM carrier is AT&T, setting FW Slot 0"), 1u);
    EXPECT_EQ(logCount("Notice: Device Firmware switched, device should reset"), 1u);
}

TEST_F(RadioResults, AutomaticImage_WaitsForAReadySimThatWasRead) {
    startWithNumericErrors({{"firmware", {{"dual", true}, {"slot", 1}}}});
    device.modem.b_dual_firmware = true;
    device.modem.i_firmware_slot = 1;
    const sSimInfo fresh = device.sim;
    const auto sim = [&](int present, int state, const char* imsi) {
        device.sim = fresh;
        device.sim.e_slot = eSIM_SLOT_2;
        device.sim.i_present = present;
        device.sim.i_lock_class = state;
        device.sim.s_imsi = imsi;
    };
    sim(0, eSIM_READY, "310410000000001");
    EXPECT_EQ(image(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_SWITCH_SIM_NOT_READY);
    sim(1, eSIM_PIN_REQUIRED, "310410000000001");
    EXPECT_EQ(image(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_SWITCH_SIM_NOT_READY);
    sim(1, eSIM_READY, "000000000000000");
    EXPECT_EQ(image(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_SWITCH_SIM_NOT_READY);
    EXPECT_TRUE(commands().empty());
    // A configured image does not wait.
    EXPECT_EQ(image(eFIRMWARE_SLOT_0), eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS);
}

// ---- SIM slot ---------------------------------------------------------------------------------

TEST_F(RadioResults, UnknownSimSlot_IsSwitchedToTheConfiguredOne) {
    startWithNumericErrors();
    config.simSlot = 2;
    order(
        {{"op", "fault"}, {"match", "AT#GPIO=2,2"}, {"kind", "answer"}, {"lines", {"#GPIO: 1,7"}}});
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands(), (tCommands{"AT#GPIO=2,2", SWITCH_TO_SLOT_2}));
    EXPECT_EQ(logCount(" Error: Could not determine current SIM slot, trying to switch to SIM Slot "
                       "#2"),
              1u);
}

TEST_F(RadioResults, SimSlotSwitch_PassesOnTheModemsResult) {
    startWithNumericErrors();
    config.simSlot = 2;
    fault(SWITCH_TO_SLOT_2, "silence");
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eERROR_DEVICE_RESPONSE_TIMEOUT);
    fault(SWITCH_TO_SLOT_2, "cme", 3);
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eERROR_DEVICE_RESPONSE_ERROR);
    fault(SWITCH_TO_SLOT_2, "error");
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(device.sim.e_slot, eSIM_SLOT_1);
}

// ---- context and operator ---------------------------------------------------------------------

TEST_F(RadioResults, DeactivationBeforeTheApn_MayGoUnanswered) {
    startWithNumericErrors();
    device.sim.e_slot = eSIM_SLOT_1;
    config.profileContext = "3";
    for (const char* kind : {"silence", "error", "cme"}) {
        fault("AT+CGACT=0,3", kind, 3);
        EXPECT_EQ(setAPN(port(), config, device.sim), eSUCCESS);
        EXPECT_EQ(commands(), (tCommands{"AT+CGACT=0,3", "AT+CGDCONT=3,\"IPV4V6\",\"internet\""}));
    }
    EXPECT_EQ(config.apn, "internet");  // not write-once
}

TEST_F(RadioResults, FailedApn_KeepsAWriteOnceApn) {
    startWithNumericErrors();
    device.sim.e_slot = eSIM_SLOT_1;
    config.apnDirective = 1;
    fault("AT+CGDCONT=1,\"IPV4V6\",\"internet\"", "error");
    EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Error setting APN 'internet', error -2 ()"), 1u);
    EXPECT_EQ(config.apn, "internet");
    fault("AT+CGDCONT=1,\"IPV4V6\",\"internet\"", "silence");
    EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(logCount("Timeout while setting APN 'internet'"), 1u);
    EXPECT_EQ(config.apn, "internet");
}

TEST_F(RadioResults, Families_OfTheContext) {
    startWithNumericErrors();
    device.sim.e_slot = eSIM_SLOT_1;
    for (const auto& [family, text] :
         {std::pair<int, const char*>{1, "IPV4"}, {2, "IPV6"}, {3, "IPV4V6"}}) {
        config.ipFamily = family;
        EXPECT_EQ(setAPN(port(), config, device.sim), eSUCCESS);
        EXPECT_EQ(commands().back(), std::string("AT+CGDCONT=1,\"") + text + "\",\"internet\"");
    }
}

TEST_F(RadioResults, RefusedAuthentication_GivesTheModemsResult) {
    startWithNumericErrors();
    config.authType = ePDP_AUTH_PAP;
    config.username = "user";
    config.password = "a=b";
    fault("AT#PDPAUTH=1,1,user,a=b", "cme", 50);
    EXPECT_EQ(maybeSetUsernamePassword(port(), config), 50);
    fault("AT#PDPAUTH=1,1,user,a=b", "silence");
    EXPECT_EQ(maybeSetUsernamePassword(port(), config), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(logCount("Setting PDP username 'user', password 'a=b', auth type '1' for profile "
                       "context 1"),
              2u);
}

TEST_F(RadioResults, OperatorRefusedByNumber_IsLoggedDifferently) {
    startWithNumericErrors();
    fault("AT+COPS=0", "cme", 30);
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("CME Error setting Network Operator Mode"), 1u);
    fault("AT+COPS=0", "silence");
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(logCount("maybeSetNetworkOperator(): setCOPS() call timeout"), 1u);
}

// ---- bands ------------------------------------------------------------------------------------

TEST_F(RadioResults, UnsupportedBands_AreLoggedAndNothingIsSent) {
    startWithNumericErrors();
    manualBands(6, 2);
    EXPECT_EQ(bands(), eERROR_DEVICE_INVALID_OPTION);
    EXPECT_EQ(logCount("Error: Device LE910-NA V2 (Slot 1) does not support 3G/UMTS Band setting 1 "
                       "( 6 / 22 )"),
              1u);
    manualBands(2, 1);
    EXPECT_EQ(bands(), eERROR_DEVICE_INVALID_OPTION);
    EXPECT_EQ(
        logCount("Error: Device LE910-NA V2 (Slot 1) does not support 4G/LTE Band setting B2( "
                 "1 / 71706 )"),
        1u);
    device.modem.e_model = eTELIT_MODEL_LE910_SV_V2;
    config.bandMode = eBAND_MODE_AUTO;
    EXPECT_EQ(bands(), eERROR_DEVICE_NOT_SUPPORTED);
    EXPECT_TRUE(commands().empty());
}

TEST_F(RadioResults, RefusedSelection_IsLoggedWithItsMode) {
    startWithNumericErrors();
    manualBands(2, 2);
    fault("AT#AUTOBND=2", "cme", 3);
    EXPECT_EQ(bands(), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(commands(), (tCommands{"AT#AUTOBND=2"}));
    EXPECT_EQ(logCount("Error: Device returned an error when setting AutoBand to Manual"), 1u);
    fault("AT#BND=0,1,2", "error");
    EXPECT_EQ(bands(), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Error: Device returned an error when setting Manual Band 3G: 1, 4G B2"),
              1u);
    fault("AT#BND=0,1,2", "silence");
    EXPECT_EQ(bands(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(logCount("Last Cmd: AT#BND=0,1,2"), 2u);
    EXPECT_EQ(bands(), eSUCCESS);
    EXPECT_EQ(logCount("Success setting device Band settings to Manual, 3G: 1, 4G: B2"), 1u);
    config.bandMode = eBAND_MODE_AUTO;
    fault("AT#AUTOBND=0", "error");
    EXPECT_EQ(bands(), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Error: Device returned an error when setting AutoBand to Auto"), 1u);
    EXPECT_EQ(bands(), eSUCCESS);
    EXPECT_EQ(logCount("Success setting device Band settings to Auto"), 1u);
}

TEST_F(RadioResults, EveryModel_HasItsBands) {
    struct sRow {
        eTelitModel model;
        eFirmwareCarrier carrier;
        const char* list3g;
        uint32_t mask3g;
        const char* list4g;
        uint64_t mask4g;
    };
    const sRow rows[] = {
        {eTELIT_MODEL_LE910_NA1, eFIRMWARE_CARRIER_GENERIC_NA, "1,2,4", 22, "B2,B4,B5,B12,B13,B17",
         71706},
        {eTELIT_MODEL_LE910_NA_V2, eFIRMWARE_CARRIER_UNKNOWN, "1,2,4", 22, "B2,B4,B5,B12,B13,B17",
         71706},
        {eTELIT_MODEL_LE910_NA1, eFIRMWARE_CARRIER_VERIZON, "", 0, "B2,B4,B13", 4106},
        {eTELIT_MODEL_LE910_NA_V2, eFIRMWARE_CARRIER_VERIZON, "", 0, "B2,B4,B13", 4106},
        {eTELIT_MODEL_LE910_EU_V2, eFIRMWARE_CARRIER_GENERIC_EU, "0,5,6", 97, "B1,B3,B7,B8,B20",
         524485},
        {eTELIT_MODEL_LE910_EU_V2, eFIRMWARE_CARRIER_VERIZON, "0,5,6", 97, "B1,B3,B7,B8,B20",
         524485},
    };
    for (const sRow& row : rows) {
        device.modem.e_model = row.model;
        device.modem.e_firmware_carrier = row.carrier;
        EXPECT_EQ(getSupportedBands(device.modem, config), eSUCCESS);
        EXPECT_EQ(device.modem.s_supported_3g_bands, row.list3g);
        EXPECT_EQ(device.modem.i_supported_3g_mask, row.mask3g);
        EXPECT_EQ(device.modem.s_supported_4g_bands, row.list4g);
        EXPECT_EQ(device.modem.i_supported_4g_mask, row.mask4g);
    }
    for (const eTelitModel model :
         {eTELIT_MODEL_UNKNOWN, eTELIT_MODEL_NOT_INITED, eTELIT_MODEL_TELIT_UNKNOWN,
          eTELIT_MODEL_LE910_SV_V2, eTELIT_MODEL_LE910B4_NA, eTELIT_MODEL_LE910_AU_V2}) {
        device.modem.e_model = model;
        EXPECT_EQ(getSupportedBands(device.modem, config), eERROR_DEVICE_NOT_SUPPORTED);
        EXPECT_EQ(device.modem.i_supported_3g_mask, 0u);
        EXPECT_EQ(device.modem.i_supported_4g_mask, 0u);
    }
}

TEST_F(RadioResults, BitsOfAMask_AreCounted) {
    for (const auto& [mask, count] : {std::pair<int, int>{0, 0},
                                      {1, 1},
                                      {6, 2},
                                      {0x7FFFFFFF, 31},
                                      {-1, 32},
                                      {static_cast<int>(0x80000000), 1}})
        EXPECT_EQ(countSetBits(mask), count);
}

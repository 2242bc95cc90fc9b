#include "statemachine/radio_policy.h"

#include "include/debug.h"
#include "include/device_records.h"
#include "statemachine/bands.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/shown_case.h"

namespace {

class RadioPolicy : public cFlowFixture {
  protected:
    int speed(eNetPref preference, unsigned bits) {
        config.netPref = preference;
        device.modem.i_supported_net_bits = bits;
        return determineSupportedNetSpeed(config, device);
    }
    void model(eTelitModel value, eFirmwareCarrier carrier) {
        device.modem.e_model = value;
        device.modem.e_firmware_carrier = carrier;
    }
};

struct sSpeedCase {
    eNetPref preference;
    unsigned bits;
    int ws46;
    const char* log;
};

SHOW_CASE(sSpeedCase, "preference " << row.preference << ", bits " << row.bits)

class NetSpeed : public RadioPolicy, public ::testing::WithParamInterface<sSpeedCase> {};

constexpr unsigned ALL = NET_BIT_2G | NET_BIT_3G | NET_BIT_4G;
constexpr unsigned NA = NET_BIT_3G | NET_BIT_4G;

}  // namespace

TEST_P(NetSpeed, Preference_ChoosesItsValueOrNone) {
    EXPECT_EQ(speed(GetParam().preference, GetParam().bits), GetParam().ws46);
    tCommands expected;
    if (GetParam().log[0] != '\0') expected.emplace_back(GetParam().log);
    EXPECT_EQ(capturedLog(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Each, NetSpeed,
    ::testing::Values(
        sSpeedCase{
            eNET_PREF_IGNORE, ALL, 0,
            "determineSupportedNetSpeed(): Network speed config is set to ignore, nothing to do"},
        sSpeedCase{eNET_PREF_2G, ALL, 12, ""},
        sSpeedCase{eNET_PREF_2G, NA, 0,
                   "determineSupportedNetSpeed(): Device does not support 2G, cannot set network "
                   "preference"},
        sSpeedCase{eNET_PREF_3G, NA, 22, ""},
        sSpeedCase{eNET_PREF_3G, NET_BIT_4G, 0,
                   "determineSupportedNetSpeed(): Device does not support 3G, cannot set network "
                   "preference"},
        sSpeedCase{eNET_PREF_2G_3G, ALL, 29, ""},
        sSpeedCase{eNET_PREF_2G_3G, NA, 0,
                   "determineSupportedNetSpeed(): Device does not support 2G/3G combo, cannot set "
                   "network preference"},
        sSpeedCase{eNET_PREF_4G, NA, 28, ""},
        sSpeedCase{eNET_PREF_4G, NET_BIT_3G, 0,
                   "determineSupportedNetSpeed(): Device does not support 4G, cannot set network "
                   "preference"},
        sSpeedCase{eNET_PREF_2G_4G, ALL, 30, ""},
        sSpeedCase{eNET_PREF_2G_4G, NA, 0,
                   "determineSupportedNetSpeed(): Device does not support 2G/4G combo, cannot set "
                   "network preference"},
        sSpeedCase{eNET_PREF_3G_4G, NA, 31, "Setting Network preference to 3G/4G (auto)"},
        sSpeedCase{eNET_PREF_3G_4G, NET_BIT_4G, 0,
                   "determineSupportedNetSpeed(): Device does not support 3G/4G mode, cannot set "
                   "network preference"},
        sSpeedCase{eNET_PREF_2G_3G_4G, NET_BIT_4G, 0, "Device supports 4G only"},
        sSpeedCase{eNET_PREF_AUTO, ALL, 25, "Setting Network preference to 2G/3G/4G (auto)"},
        sSpeedCase{eNET_PREF_AUTO, NA, 31, "Setting Network preference to 3G/4G (auto)"},
        sSpeedCase{eNET_PREF_AUTO, NET_BIT_3G, 0,
                   "determineSupportedNetSpeed(): Device does not support 3G/4G or 2G/3G/4G (Auto "
                   "Mode), cannot set network preference"},
        sSpeedCase{eNET_PREF_AUTO, NET_BIT_2G | NET_BIT_4G, 0,
                   "determineSupportedNetSpeed(): Device does not support 3G/4G or 2G/3G/4G (Auto "
                   "Mode), cannot set network preference"}));

TEST_F(RadioPolicy, Names_OfMasksAndModes) {
    EXPECT_EQ(decodeNetBits(0), "Ignore");
    EXPECT_EQ(decodeNetBits(255), "AUTO");
    EXPECT_EQ(decodeNetBits(NA), "3G4G");
    EXPECT_EQ(decodeCurrentTech(25), "2G3G4G");
    EXPECT_EQ(decodeCurrentTech(29), "2G3G");
    EXPECT_EQ(decodeCurrentTech(7), "Unknown");
}

TEST_F(RadioPolicy, NetworkSpeed_IsSetOnlyWhenItDiffers) {
    start();
    config.netPref = eNET_PREF_4G;
    device.modem.i_supported_net_bits = NA;
    EXPECT_EQ(maybeSetNetworkSpeed(port(), config, device), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT+WS46?", "AT+WS46=28"}));
    EXPECT_EQ(device.modem.s_net_pref, "3G4G");
    EXPECT_EQ(maybeSetNetworkSpeed(port(), config, device), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT+WS46?"}));
    EXPECT_EQ(logCount("Network preference already set to WS46=28"), 1u);
    fault("AT+WS46?", "silence");
    EXPECT_EQ(maybeSetNetworkSpeed(port(), config, device), ePORT_NO_FINAL_RESULT);
}

// ---- firmware image and SIM slot --------------------------------------------------------------

TEST_F(RadioPolicy, FirmwareImage_FollowsConfigurationOrTheSimsCarrier) {
    start({{"firmware", {{"dual", true}, {"slot", 0}}}});
    const auto change = [this](eFirmwareSlot slot) {
        return maybeSwitchDeviceFirmware(port(), device, slot);
    };
    EXPECT_EQ(change(eFIRMWARE_SLOT_1), eERROR_DEVICE_FIRMWARE_SWITCH_NOT_SUPPORTED);
    device.modem.b_dual_firmware = true;
    device.modem.i_firmware_slot = 0;
    EXPECT_EQ(change(eFIRMWARE_SLOT_PREVIOUS_ERROR), eERROR_DEVICE_FIRMWARE_SWITCH_PREV_ERROR);
    EXPECT_EQ(change(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_WONT_SWITCH_INVALID_SIM_SLOT);
    device.sim.e_slot = eSIM_SLOT_1;
    EXPECT_EQ(change(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_SWITCH_SIM_NOT_READY);
    device.sim.i_present = 1;
    device.sim.i_lock_class = eSIM_READY;
    device.sim.s_imsi = "310410000000001";
    EXPECT_EQ(change(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_ALREADY_SET);
    EXPECT_TRUE(commands().empty());
    const tCommands expectedLog = {
        "maybeSwitchDeviceFirmware(): Dual firmware is not supported on this device",
        "maybeSwitchDeviceFirmware(): firmware_slot previous error switching",
        "Firmware Slot is Auto, but SIM is not present or not ready, cannot determine needed "
        "Firmware slot",
        "Firmware Slot is Auto, SIM carrier is Unknown, setting FW Slot 0",
        "Firmware slot is already set to 0"};
    EXPECT_EQ(capturedLog(), expectedLog);
    fault("AT#FWSWITCH=1,1", "error");
    EXPECT_EQ(change(eFIRMWARE_SLOT_1), eERROR_DEVICE_RESPONSE_ERROR);
    fault("AT#FWSWITCH=1,1", "silence");
    EXPECT_EQ(change(eFIRMWARE_SLOT_1), eERROR_DEVICE_RESPONSE_TIMEOUT);
    device.sim.b_verizon = true;
    EXPECT_EQ(change(eFIRMWARE_SLOT_AUTO), eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS);
}

TEST_F(RadioPolicy, FirmwareMismatch_IsVerizonOnOneSideOnly) {
    const auto mismatch = [this](bool sim, eFirmwareCarrier firmware) {
        device.sim.b_verizon = sim;
        device.modem.e_firmware_carrier = firmware;
        isFirmwareSimMismatched(device);
        return device.modem.b_firmware_sim_mismatch;
    };
    EXPECT_FALSE(mismatch(true, eFIRMWARE_CARRIER_VERIZON));
    EXPECT_TRUE(mismatch(true, eFIRMWARE_CARRIER_GENERIC_NA));
    EXPECT_TRUE(mismatch(false, eFIRMWARE_CARRIER_VERIZON));
    EXPECT_FALSE(mismatch(false, eFIRMWARE_CARRIER_ATT));
}

TEST_F(RadioPolicy, SimSlot_IsQueriedOnlyWhenConfiguredAndSwitchedOnlyWhenWrong) {
    start();
    config.simSlot = 0;
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eSUCCESS);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("maybeSwitchSimSlot(): SIM Slot not set in config, ignoring"), 1u);
    config.simSlot = 1;
    g_i_debugMode = eLOG_POLICY;
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eSUCCESS);
    EXPECT_EQ(logCount("DEBUG: maybeSwitchSimSlot(): Current SIM Slot matches config (1)"), 1u);
    EXPECT_EQ(device.sim.e_slot, eSIM_SLOT_1);
    config.simSlot = 2;
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eSUCCESS_DEVICE_UNLOCK);
    fault("AT#GPIO=2,2", "silence");
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eERROR_DEVICE_RESPONSE_TIMEOUT);
    fault("AT#GPIO=2,2", "cme", 3);
    EXPECT_EQ(maybeSwitchSimSlot(port(), device.sim, config), eERROR_DEVICE_RESPONSE_ERROR);
}

// ---- context and operator ---------------------------------------------------------------------

TEST_F(RadioPolicy, Apn_DependsOnTheSlotOfTheSim) {
    start();
    config.apn = "first";
    config.apn2 = "second one";
    EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_TRUE(commands().empty());
    device.sim.e_slot = eSIM_SLOT_2;
    config.ipFamily = eIP_FAMILY_IPV4;
    EXPECT_EQ(setAPN(port(), config, device.sim), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT+CGACT=0,1", "AT+CGDCONT=1,\"IPV4\",\"second one\""}));
    config.apn2.clear();
    EXPECT_EQ(setAPN(port(), config, device.sim), eSUCCESS);
    EXPECT_TRUE(commands().empty());
    const tCommands expectedLog = {"Notice: Current SIM slot unknown, not setting APN",
                                   "Success setting APN 'second one'",
                                   "Notice: APN is empty, nothing to set"};
    EXPECT_EQ(capturedLog(), expectedLog);
}

TEST_F(RadioPolicy, WriteOnceApn_IsClearedAfterTheFirstSuccess) {
    start();
    device.sim.e_slot = eSIM_SLOT_1;
    config.apnDirective = 1;
    EXPECT_EQ(setAPN(port(), config, device.sim), eSUCCESS);
    EXPECT_EQ(config.apn, "");
    EXPECT_EQ(config.apn2, "");
    EXPECT_EQ(logCount("Config APN directive is write-once, clearing APN from config buffer"), 1u);
    commands();
    EXPECT_EQ(setAPN(port(), config, device.sim), eSUCCESS);
    EXPECT_TRUE(commands().empty());
}

TEST_F(RadioPolicy, RefusedApn_NamesTheModemsReason) {
    start();
    device.sim.e_slot = eSIM_SLOT_1;
    fault("AT+CGDCONT=1,\"IPV4V6\",\"internet\"", "cme", 50);
    EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Error setting APN 'internet', error 50 (INCORRECT PARAMETERS)"), 1u);
    fault("AT+CGDCONT=1,\"IPV4V6\",\"internet\"", "silence");
    EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_TIMEOUT);
}

TEST_F(RadioPolicy, Authentication_IsSentOnlyWhenConfigured) {
    start();
    EXPECT_EQ(maybeSetUsernamePassword(port(), config), ePORT_OK);
    EXPECT_TRUE(commands().empty());
    config.username = "user";
    config.password = "secret";
    config.authType = ePDP_AUTH_CHAP;
    EXPECT_EQ(maybeSetUsernamePassword(port(), config), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT#PDPAUTH=1,2,user,secret"}));
    config.authType = ePDP_AUTH_OFF;
    EXPECT_EQ(maybeSetUsernamePassword(port(), config), ePORT_OK);
    EXPECT_EQ(commands(), (tCommands{"AT#PDPAUTH=1,0,,"}));
    EXPECT_EQ(config.username, "");
    EXPECT_EQ(config.password, "");
    const tCommands expectedLog = {
        "Not setting PDP auth type, not configured",
        "Setting PDP username 'user', password 'secret', auth type '2' for profile context 1",
        "PDP Auth settings are Off, clearing them for profile context 1"};
    EXPECT_EQ(capturedLog(), expectedLog);
}

TEST_F(RadioPolicy, Operator_IsSetByConfiguration) {
    start();
    config.operatorMode = "1";
    config.operatorName = "310410";
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eSUCCESS);
    config.operatorMode = "4";
    config.operatorName = "AT&T";
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT+COPS=1,2,\"310410\"", "AT+COPS=4,0,\"AT&T\""}));
    config.operatorMode = "3";
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Unsupported Network Operator Mode given"), 1u);
    config.operatorMode = "0";
    fault("AT+COPS=0", "error");
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eERROR_DEVICE_RESPONSE_ERROR);
    fault("AT+COPS=0", "silence");
    EXPECT_EQ(maybeSetNetworkOperator(port(), config), eERROR_DEVICE_RESPONSE_TIMEOUT);
}

// ---- bands ------------------------------------------------------------------------------------

TEST_F(RadioPolicy, Bands_DependOnModelAndImage) {
    model(eTELIT_MODEL_LE910_NA1, eFIRMWARE_CARRIER_GENERIC_NA);
    EXPECT_EQ(getSupportedBands(device.modem, config), eSUCCESS);
    EXPECT_EQ(device.modem.s_supported_3g_bands, "1,2,4");
    EXPECT_EQ(device.modem.i_supported_4g_mask, 71706u);
    model(eTELIT_MODEL_LE910_NA_V2, eFIRMWARE_CARRIER_VERIZON);
    EXPECT_EQ(getSupportedBands(device.modem, config), eSUCCESS);
    EXPECT_EQ(device.modem.s_supported_3g_bands, "");
    EXPECT_EQ(device.modem.i_supported_4g_mask, 4106u);
    model(eTELIT_MODEL_LE910_EU_V2, eFIRMWARE_CARRIER_GENERIC_EU);
    EXPECT_EQ(getSupportedBands(device.modem, config), eSUCCESS);
    EXPECT_EQ(device.modem.i_supported_3g_mask, 97u);
    EXPECT_EQ(device.modem.s_supported_4g_bands, "B1,B3,B7,B8,B20");
    model(eTELIT_MODEL_LE910B4_NA, eFIRMWARE_CARRIER_ATT);
    EXPECT_EQ(getSupportedBands(device.modem, config), eERROR_DEVICE_NOT_SUPPORTED);
    EXPECT_EQ(device.modem.s_supported_4g_bands, "");
}

TEST_F(RadioPolicy, ManualBands_MustBeThoseOfTheModem) {
    model(eTELIT_MODEL_LE910_NA_V2, eFIRMWARE_CARRIER_GENERIC_NA);
    config.bandMode = eBAND_MODE_MANUAL;
    const auto check = [this](uint32_t bits3g, uint64_t bits4g) {
        config.band3gBits = bits3g;
        config.band4gBits = bits4g;
        return getSupportedBands(device.modem, config);
    };
    EXPECT_EQ(check(2, 2), eSUCCESS);
    EXPECT_EQ(check(2, 0), eSUCCESS);  // no LTE band configured: nothing to check
    EXPECT_EQ(check(6, 2), eERROR_DEVICE_INVALID_OPTION);  // two bands, though both are supported
    EXPECT_EQ(check(0, 2), eERROR_DEVICE_INVALID_OPTION);
    EXPECT_EQ(check(1, 2), eERROR_DEVICE_INVALID_OPTION);
    EXPECT_EQ(check(2, 3), eERROR_DEVICE_INVALID_OPTION);
    EXPECT_EQ(check(2, 0xFFFFFFFF80000000), eERROR_DEVICE_INVALID_OPTION);
    model(eTELIT_MODEL_LE910_NA_V2, eFIRMWARE_CARRIER_VERIZON);
    EXPECT_EQ(check(1, 2), eSUCCESS);  // no UMTS bands: any value passes
    EXPECT_EQ(countSetBits(0xF0), 4);
}

TEST_F(RadioPolicy, ManualBands_AreSentAfterTheSelectionMode) {
    start();
    model(eTELIT_MODEL_LE910_NA_V2, eFIRMWARE_CARRIER_GENERIC_NA);
    config.bandMode = eBAND_MODE_MANUAL;
    config.band3gText = "1";
    config.band3gBits = 2;
    config.band4gText = "B2,B4";
    config.band4gBits = 10;
    EXPECT_EQ(maybeSetBands(port(), device.modem, config), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#AUTOBND=2", "AT#BND=0,1,10"}));
    const tCommands expectedLog = {
        "getSupportedBands(): Manual Mode - 3G Band option 2/22 is Valid",
        "getSupportedBands(): Manual Mode - 4G Band option 10/71706 is Valid",
        "Last Cmd: AT#BND=0,1,10",
        "Success setting device Band settings to Manual, 3G: 1, 4G: B2,B4"};
    EXPECT_EQ(capturedLog(), expectedLog);
    fault("AT#BND=0,1,10", "error");
    EXPECT_EQ(maybeSetBands(port(), device.modem, config), eERROR_DEVICE_RESPONSE_ERROR);
    fault("AT#AUTOBND=2", "silence");
    EXPECT_EQ(maybeSetBands(port(), device.modem, config), eERROR_DEVICE_RESPONSE_TIMEOUT);
}

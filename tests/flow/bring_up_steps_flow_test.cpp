#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "statemachine/modem_control.h"
#include "statemachine/status_files.h"
#include "tests/flow/bring_up_steps_fixture.h"
#include "tests/support/in_pass.h"

// Each step of bring-up: what a silent or refusing modem leads to, what is then not sent, and the
// whole list of commands where the sequence differs.

namespace {

constexpr const char* IMS_APN_COMMAND = "AT#IMSPDPSET=vzwims";
constexpr const char* SWITCH_TO_SLOT_2 =
    "AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1";

const nlohmann::json VERIZON_IMAGE = {{"firmware", {{"dual", true}, {"slot", 1}}}};

tCommands verizonSetupUpToTheSim() {
    return sequence(commandsBeforeTheSim(true), simCommands(), simCommands(),
                    commandsOf(operatorSteps()), pollInfoCommands(), IMS_APN_COMMAND, "AT+CMGF=0",
                    simCommands(), simCommands());
}

tCommands without(tCommands list, const std::string& command) {
    list.erase(std::find(list.begin(), list.end(), command));
    return list;
}

tCommands verizonContextAndRadio() {
    return {"AT#PSNT=0", "AT+CGACT=0,3", "AT+CGDCONT=3,\"IPV4V6\",\"internet\"",
            "AT+WS46?",  "AT+COPS=0",    "AT#AUTOBND=0"};
}

}  // namespace

// ---- set-up, every command silent -------------------------------------------------------------

class SetupSilence : public BringUpSteps, public ::testing::WithParamInterface<sPlace> {};

TEST_P(SetupSilence, AtAnyCommand_EndsThereAsATimeOut) {
    const tCommands healthy = setupCommands();
    start();
    faultAt(healthy, GetParam().index, "silence");
    // Deactivating an inactive context is refused, so that answer means nothing.
    if (GetParam().command == "AT+CGACT=0,1") {
        EXPECT_EQ(setup(), eSUCCESS);
        EXPECT_EQ(commands(), healthy);
        return;
    }
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands(), firstOf(healthy, GetParam().index + 1));
}

INSTANTIATE_TEST_SUITE_P(Each, SetupSilence, ::testing::ValuesIn(placesOf(setupCommands())),
                         placeName);

TEST_F(BringUpSteps, Setup_LogsEachStepThatChangesTheModem) {
    start();
    EXPECT_EQ(setup(), eSUCCESS);
    const std::vector<std::string> expectedLog = {
        "Setup device CMEE reporting",
        "Enabled STAT_LED GPIO",
        "Set STAT_LED NOT_REG",
        "maybeSwitchDeviceFirmware(): Dual firmware is not supported on this device",
        "gpsStop(): Stream already stopped",
        "getModemInfo(): maybeEnableGps() returned eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS (534)",
        "Setup device for SMS PDU mode",
        "Detached from the network",
        "Setup device PSNT reporting",
        "Success setting APN 'internet'",
        "Not setting PDP auth type, not configured",
        "Set PDP username/password/auth",
        "determineSupportedNetSpeed(): Network speed config is set to ignore, nothing to do",
        "maybeSetNetworkSpeed(): No new network pref setting to change",
        "Success setting device Band settings to Auto"};
    EXPECT_EQ(capturedLog(), expectedLog);
}

TEST_F(BringUpSteps, SetupThatWaitsForThePin_LogsItsStepsOnce) {
    start(LOCKED_SIM);
    for (int i = 0; i < 3; ++i)
        inPass(eWORK_PASS, [this] { EXPECT_EQ(setup(), eFAILURE); });
    for (const char* step :
         {"Setup device CMEE reporting", "Enabled STAT_LED GPIO", "Set STAT_LED NOT_REG"})
        EXPECT_EQ(logCount(step), 1u) << step;
    order({{"op", "set"}, {"sim", {{"verified", true}}}});
    inPass(eWORK_PASS, [this] { EXPECT_EQ(setup(), eSUCCESS); });
    inPass(eWORK_PASS, [] {});
    inPass(eWORK_PASS, [this] { EXPECT_EQ(setup(), eSUCCESS); });
    EXPECT_EQ(logCount("Setup device CMEE reporting"), 2u);
}

TEST_F(BringUpSteps, RefusedReports_AreLogged) {
    start();
    fault("AT+CMGF=0", "error");
    fault("AT#PSNT=0", "error");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Error setting up device for SMS PDU mode, might not support this mode"),
              1u);
    EXPECT_EQ(logCount("Error setting device PSNT reporting (-2)"), 1u);
}

// ---- set-up, every command refused ------------------------------------------------------------

class SetupRefusal : public BringUpSteps, public ::testing::WithParamInterface<tRefusalCase> {};

TEST_P(SetupRefusal, AtACommand_EndsThereOrContinues) {
    const auto& [test, kind] = GetParam();
    const tCommands healthy = setupCommands();
    const auto found = std::find(healthy.begin(), healthy.end(), test.command);
    ASSERT_NE(found, healthy.end());
    start();
    faultAt(healthy, static_cast<size_t>(found - healthy.begin()), kind);
    EXPECT_EQ(setup(), refusalResult(test, kind));
    EXPECT_EQ(commands(),
              test.refusal == eRefusal::GOES_ON ? healthy : tCommands(healthy.begin(), found + 1));
}

INSTANTIATE_TEST_SUITE_P(Each, SetupRefusal,
                         ::testing::Combine(::testing::ValuesIn(refusalsOf(setupSteps())),
                                            ::testing::Values("error", "cme")),
                         refusalName);

TEST_F(BringUpSteps, Identity_IsPublishedAtOnceWhateverTheStateOfTheSim) {
    start();
    writeOutStatusFiles(device, config, true);
    EXPECT_EQ(stored("CELLMODEM1_MANU"), "Unknown");
    fault("AT#QSS?", "silence");
    EXPECT_EQ(getModemInfo(port(), device, config), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(stored("CELLMODEM1_MANU"), "Telit");
}

TEST_F(BringUpSteps, SimSlotQueryRefused_LeavesTheSlotUnknownSoThatNoApnIsSet) {
    start();
    fault("AT#GPIO=2,2", "error");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_ERROR);
    const tCommands healthy = setupCommands();
    EXPECT_EQ(commands(), firstOf(healthy, healthy.size() - 5));  // up to AT#PSNT=0
    EXPECT_EQ(logCount("ERROR: Unable to switch SIM Slot to Slot #1, query error"), 1u);
    EXPECT_EQ(logCount("Notice: Current SIM slot unknown, not setting APN"), 1u);
}

// ---- set-up, every SIM query refused ----------------------------------------------------------

// The SIM is queried eight times. A query that only serves getSimStatus may fail: what counts is
// the state that the second of its two queries found. The other two queries must succeed.
struct sLook {
    size_t look;
    sPlace query;
};

void PrintTo(const sLook& look, std::ostream* out) {
    *out << look.query.command << " of look " << look.look;
}

// Where set-up queries the SIM, as often as in its list.
std::vector<sLook> looksAtTheSim() {
    const tCommands sent = setupCommands();
    const tCommands queries = simCommands();
    std::vector<sLook> looks;
    const auto count = static_cast<size_t>(std::count(sent.begin(), sent.end(), queries.front()));
    for (size_t look = 0; look < count; ++look)
        for (const sPlace& query : placesOf(queries))
            looks.push_back({look, query});
    return looks;
}

class SetupSimRefusal : public BringUpSteps, public ::testing::WithParamInterface<sLook> {
  protected:
    // simCommands() of a query, cut after the refused command.
    tCommands look(size_t index) const {
        const auto& [refusedLook, query] = GetParam();
        return index == refusedLook ? firstOf(simCommands(), query.index + 1) : simCommands();
    }
    bool isStateLost(size_t index) const {
        const auto& [refusedLook, query] = GetParam();
        return index == refusedLook && query.index < 2;
    }
};

TEST_P(SetupSimRefusal, AtAQuery_CountsOnlyIfTheStateOfTheSimIsNeeded) {
    const auto& [refusedLook, query] = GetParam();
    start();
    order({{"op", "fault"},
           {"match", query.command},
           {"kind", "cme"},
           {"number", 13},
           {"skip", refusedLook},
           {"count", 1}});
    // If the state is unknown, later queries are left out.
    tCommands expected = sequence(commandsBeforeTheSim(), look(0));
    eGeneralErrors result = eSUCCESS;
    append(expected, look(1));
    const bool withoutOperators = isStateLost(1);
    if (!withoutOperators) append(expected, sequence("AT+COPN", look(2)));
    if (refusedLook == 2) result = eERROR_DEVICE_RESPONSE_ERROR;
    size_t next = withoutOperators ? 2 : 3;
    const size_t first = next;  // of the poll information
    if (result == eSUCCESS) {
        append(expected,
               sequence(commandsOf(numberAndTemperatureSteps()), look(first), look(first + 1)));
        next = first + 2;
        if (!isStateLost(4) || withoutOperators) {
            append(expected, sequence("AT+CNUM", look(first + 2)));
            next = first + 3;
            if (refusedLook == 5) result = eERROR_DEVICE_RESPONSE_ERROR;
            if (result == eSUCCESS) append(expected, "AT+CGDCONT?");
        }
    }
    if (result == eSUCCESS) {
        append(expected, sequence("AT+CMGF=0", look(next), look(next + 1)));
        if (!isStateLost(next + 1))
            append(expected, sequence("AT+CGATT?", commandsOf(contextAndRadioSteps())));
    }
    EXPECT_EQ(setup(), result);
    EXPECT_EQ(commands(), expected);
}

INSTANTIATE_TEST_SUITE_P(Each, SetupSimRefusal, ::testing::ValuesIn(looksAtTheSim()),
                         [](const ::testing::TestParamInfo<sLook>& look) {
                             return testName(look.param.query.command) + "_in_look_" +
                                    std::to_string(look.param.look);
                         });

// ---- other ways through set-up ----------------------------------------------------------------

TEST_F(BringUpSteps, LockedSimWithoutPinFile_ReturnsTwoAfterThePollInformation) {
    start(LOCKED_SIM);
    EXPECT_EQ(setup(), eFAILURE);
    EXPECT_EQ(commands(),
              sequence(commandsBeforeTheSim(), simCommands(), simCommands(),
                       commandsOf(numberAndTemperatureSteps()), simCommands(), simCommands()));
}

TEST_F(BringUpSteps, SimUnlockedInSetup_EndsAfterAnotherCheckOfIt) {
    writeFile(CURRENT_PIN, "1234\n");
    start(LOCKED_SIM);
    EXPECT_EQ(setup(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands(), sequence(commandsBeforeTheSim(), simCommands(), simCommands(),
                                   "AT+CPIN=1234", simCommands()));
    EXPECT_TRUE(logContains("Modem Ready after "));
}

TEST_F(BringUpSteps, SimMissingForTenMinutes_RequestsAReset) {
    start({{"sim", {{"present", false}}}});
    const tCommands withoutSim =
        sequence(commandsBeforeTheSim(), "AT#QSS?", "AT#QSS?",
                 commandsOf(numberAndTemperatureSteps()), "AT#QSS?", "AT#QSS?");
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(withoutSim, "AT+CMGF=0", "AT#QSS?", "AT#QSS?"));
    passSeconds(590);
    EXPECT_EQ(setup(), eSUCCESS);
    commands();
    passSeconds(10);
    EXPECT_EQ(setup(), eERROR_DEVICE_REQUIRES_RESET);
    // The LED already shows "not registered", so it is not set again.
    const tCommands expected = without(withoutSim, "AT#SLED=3,5,30");
    EXPECT_EQ(commands(), expected);
    EXPECT_EQ(logCount("SIM not detected after 10 minutes, device requires reset"), 2u);
}

TEST_F(BringUpSteps, VerizonImage_UsesContextThreeAndStaysAttached) {
    config.firmwareSlot = 1;
    start(VERIZON_IMAGE);
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(verizonSetupUpToTheSim(), verizonContextAndRadio()));
    EXPECT_EQ(logCount("Device LE910-NA V2/Verizon supports 4G only"), 1u);
    EXPECT_EQ(device.modem.s_supported_4g_bands, "B2,B4,B13");
}

TEST_F(BringUpSteps, VerizonImageAfterAnUnlock_IsDetachedOnce) {
    writeFile(CURRENT_PIN, "1234\n");
    config.firmwareSlot = 1;
    nlohmann::json scenario = VERIZON_IMAGE;
    scenario.update(LOCKED_SIM);
    start(scenario);
    ASSERT_EQ(setup(), eSUCCESS_DEVICE_UNLOCK);
    commands();
    order({{"op", "set"}, {"attached", true}});
    EXPECT_EQ(setup(), eSUCCESS);
    // The LED needs no change.
    EXPECT_EQ(commands(), without(sequence(verizonSetupUpToTheSim(), "AT+CGATT?", "AT+CGATT=0",
                                           verizonContextAndRadio()),
                                  "AT#SLED=3,5,30"));
}

TEST_F(BringUpSteps, VerizonImageWhoseDetachIsRefused_IsNotDetachedAgain) {
    config.firmwareSlot = 1;
    start(VERIZON_IMAGE);
    fault("ATI5", "silence");
    ASSERT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    order({{"op", "set"}, {"attached", true}});
    fault("AT+CGATT=0", "error");
    ASSERT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(logCount("Detached from the network"), 1u);
    commands();
    ASSERT_EQ(setup(), eSUCCESS);
    for (const std::string& command : commands())
        EXPECT_NE(command, "AT+CGATT?");
}

TEST_F(BringUpSteps, VerizonImageWhoseDetachIsNotAnswered_IsDetachedNextTime) {
    config.firmwareSlot = 1;
    start(VERIZON_IMAGE);
    fault("ATI5", "error");
    ASSERT_EQ(setup(), eERROR_DEVICE_RESPONSE_ERROR);
    order({{"op", "set"}, {"attached", true}});
    fault("AT+CGATT=0", "silence");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands().back(), "AT+CGATT=0");
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(logCount("Detached from the network"), 1u);
}

TEST_F(BringUpSteps, ImsApnRefusedOrNotAnswered_Is202) {
    config.firmwareSlot = 1;
    start(VERIZON_IMAGE);
    for (const char* kind : {"cme", "silence"}) {
        fault(IMS_APN_COMMAND, kind, 3);
        EXPECT_EQ(setup(), eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED);
        EXPECT_EQ(commands().back(), IMS_APN_COMMAND);
    }
}

TEST_F(BringUpSteps, VerizonSimOnTheOtherImage_SwitchesTheImage) {
    start({{"firmware", {{"dual", true}, {"slot", 0}}}, {"sim", {{"imsi", "311480000000001"}}}});
    g_i_debugMode = eLOG_POLICY | eLOG_STATE;
    EXPECT_EQ(setup(), eERROR_DEVICE_SHOULD_RESET);
    EXPECT_TRUE(logContains("DEBUG: getDeviceSimInfo(): SIM carrier is Verizon"));
    EXPECT_EQ(logCount("DEBUG: getModemInfo() SIM Slot not changed"), 1u);
    EXPECT_EQ(commands(), sequence(commandsBeforeTheSim(true), simCommands(), simCommands(),
                                   commandsOf(operatorSteps()), "AT#FWSWITCH=1,1"));
    EXPECT_TRUE(device.modem.b_firmware_sim_mismatch);
    EXPECT_EQ(logCount("Firmware Slot is Auto, SIM carrier is Verizon Wireless, setting FW Slot 1"),
              1u);
}

TEST_F(BringUpSteps, ImageSwitchNotAnswered_IsATimeOutAndARefusedOneIsIgnored) {
    config.firmwareSlot = 1;
    start({{"firmware", {{"dual", true}, {"slot", 0}}}});
    fault("AT#FWSWITCH=1,1", "silence");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    fault("AT#FWSWITCH=1,1", "error");
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(logCount("Error: Device Firmware switch to FW slot 1 had an error"), 1u);
}

TEST_F(BringUpSteps, WrongSimSlot_IsSwitchedBeforeTheSimIsQueried) {
    config.simSlot = 2;
    config.apn2 = "second";
    start({{"sim2", {{"imsi", "310260000000001"}}}});
    EXPECT_EQ(setup(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands(), sequence(commandsBeforeTheSim(), SWITCH_TO_SLOT_2));
    EXPECT_EQ(logCount("Switched SIM Slot to Slot #2"), 1u);
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(device.sim.s_carrier, "T-Mobile");
    EXPECT_EQ(device.sim.e_slot, eSIM_SLOT_2);
    const tCommands sent = commands();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "AT+CGDCONT=1,\"IPV4V6\",\"second\""), 1);
}

TEST_F(BringUpSteps, SimSlotSwitchNotAnswered_IsATimeOutAndARefusedOneKeepsTheSlot) {
    config.simSlot = 2;
    start();
    fault(SWITCH_TO_SLOT_2, "silence");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands().back(), SWITCH_TO_SLOT_2);
    EXPECT_EQ(logCount("ERROR: Unable to switch SIM Slot to Slot #2, command timeout"), 1u);
    fault(SWITCH_TO_SLOT_2, "error");
    EXPECT_EQ(setup(), eSUCCESS);
    // The APN is that of the active slot.
    const tCommands sent = commands();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "AT+CGDCONT=1,\"IPV4V6\",\"internet\""), 1);
}

TEST_F(BringUpSteps, UnknownModel_SucceedsWithoutTechnologiesAndBands) {
    config.netPref = eNET_PREF_AUTO;
    start();
    order({{"op", "fault"}, {"match", "AT+GMM"}, {"kind", "answer"}, {"lines", {"LE910B4-NA"}}});
    EXPECT_EQ(setup(), eSUCCESS);
    tCommands expected = setupCommands();
    expected.insert(expected.begin(), "AT+GMM");
    expected.pop_back();  // no band list, so no band selection
    EXPECT_EQ(commands(), expected);
}

TEST_F(BringUpSteps, WholeConfiguration_IsAppliedInItsOrder) {
    config.username = "user";
    config.password = "secret";
    config.authType = ePDP_AUTH_PAP;
    config.netPref = eNET_PREF_4G;
    config.netPrefText = "4g";
    config.netPrefChanged = true;
    config.operatorMode = "1";
    config.operatorName = "310410";
    config.bandMode = eBAND_MODE_MANUAL;
    config.band3gText = "1";
    config.band3gBits = 2;
    config.band4gText = "B2,B4";
    config.band4gBits = 10;
    start();
    EXPECT_EQ(setup(), eSUCCESS);
    const tCommands sent = commands();
    EXPECT_EQ(tCommands(sent.end() - 9, sent.end()),
              (tCommands{"AT#PSNT=0", "AT+CGACT=0,1", "AT+CGDCONT=1,\"IPV4V6\",\"internet\"",
                         "AT#PDPAUTH=1,1,user,secret", "AT+WS46?", "AT+WS46=28",
                         "AT+COPS=1,2,\"310410\"", "AT#AUTOBND=2", "AT#BND=0,1,10"}));
    EXPECT_EQ(logCount("Set PDP username/password/auth"), 1u);
    EXPECT_EQ(logCount("Set network speed preference to 4g"), 1u);
}

TEST_F(BringUpSteps, RefusedPreferences_AreLoggedAndDoNotEndSetup) {
    config.username = "user";
    config.password = "secret";
    config.authType = ePDP_AUTH_PAP;
    config.netPref = eNET_PREF_4G;
    config.netPrefText = "4g";
    config.netPrefChanged = true;
    config.bandMode = eBAND_MODE_MANUAL;
    config.band3gText = "1";
    config.band3gBits = 2;
    start();
    fault("AT#PDPAUTH=1,1,user,secret", "cme", 50);
    fault("AT+WS46=28", "error");
    fault("AT+COPS=0", "error");
    fault("AT#BND=0,1,0", "error");
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(logCount("Notice: Got an error setting PDP username/password/auth (50)"), 1u);
    EXPECT_EQ(logCount("Notice: Got an error setting network speed preference to 4g (-2)"), 1u);
    EXPECT_EQ(logCount("Error setting Network Operator Mode"), 1u);
}

class SetupPreferenceSilence : public BringUpSteps,
                               public ::testing::WithParamInterface<const char*> {};

TEST_P(SetupPreferenceSilence, AtAPreference_EndsThereAsATimeOut) {
    config.username = "user";
    config.password = "secret";
    config.authType = ePDP_AUTH_PAP;
    config.netPref = eNET_PREF_4G;
    config.bandMode = eBAND_MODE_MANUAL;
    config.band3gText = "1";
    config.band3gBits = 2;
    start();
    fault(GetParam(), "silence");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands().back(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Each, SetupPreferenceSilence,
                         ::testing::Values("AT#PDPAUTH=1,1,user,secret", "AT+WS46=28",
                                           "AT#AUTOBND=2", "AT#BND=0,1,0"));

TEST_F(BringUpSteps, Identity_IsPublishedBeforeTheSimIsQueried) {
    start();
    fault("AT#QSS?", "silence");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    const std::string status = readFile("/var/log/wireless.cardstats.1");
    EXPECT_NE(status.find("\nCELLMODEM1_FIRMWARE_V=20.00.402\n"), std::string::npos);
    EXPECT_NE(status.find("\nCELLMODEM1_SIM_STATUS=Unknown\n"), std::string::npos);
}

TEST_F(BringUpSteps, OperatorNames_ArePublishedInSetup) {
    start({{"operator_names", {{{"plmn", "310410"}, {"name", "AT&T"}}}}});
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(readFile("/var/log/carrier_list.json"), "{\n\"310410\":\"AT&T\"\n}\n");
}

TEST_F(BringUpSteps, GpsWithoutAPort_IsLoggedAndIgnored) {
    config.gpsEnable = true;
    g_S_options.s_gps_device = "/dev/no-such-port";
    start();
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(commands(), setupCommands());
    EXPECT_EQ(
        logCount(
            "getModemInfo(): maybeEnableGps() returned eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID "
            "(525)"),
        1u);
}

TEST_F(BringUpSteps, TestModeNotAnswered_IsStillReported) {
    start({{"test_mode", true}});
    fault("AT#TESTMODE=\"OM\"", "silence");
    EXPECT_EQ(setup(), eERROR_DEVICE_IN_TEST_MODE);
    EXPECT_EQ(
        logCount("Error: Device is in TEST MODE, which must be turned off and the device reset"),
        1u);
}

// ---- the modem as a whole ---------------------------------------------------------------------

TEST_F(BringUpSteps, PowerOff_SwitchesTheSlotOffInTheBackground) {
    EXPECT_EQ(powerOffDevice(), 0);
    EXPECT_EQ(shell.waitForCalls(1), (std::vector<std::string>{"sledctl 1 off"}));
    EXPECT_EQ(logCount("Powering off device with 'sledctl 1 off &'"), 1u);
}

TEST_F(BringUpSteps, ResetWithoutAPort_PowerCyclesTheSlot) {
    start();
    resetDevice(-1);
    EXPECT_EQ(shell.waitForCalls(1), (std::vector<std::string>{"ResetCellular now force -s 1"}));
    EXPECT_EQ(logCount("Resetting device with 'ResetCellular now force -s 1 &'"), 1u);
    EXPECT_TRUE(commands().empty());
}

TEST_F(BringUpSteps, WaitingWithoutAPort_EndsToo) {
    start();
    const uint64_t before = simulatedPort().nowMs();
    waitModemReady(-1);
    EXPECT_LE(simulatedPort().nowMs() - before, 10200u);
    EXPECT_FALSE(logContains("Modem Ready"));
}

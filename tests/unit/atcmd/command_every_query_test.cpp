#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "atcmd/basic_commands.h"
#include "atcmd/catalogue.h"
#include "atcmd/command.h"
#include "atcmd/identity.h"
#include "atcmd/operators.h"
#include "atcmd/packet_data.h"
#include "atcmd/radio_config.h"
#include "atcmd/radio_status.h"
#include "atcmd/registration.h"
#include "atcmd/sim_commands.h"
#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/unit/atcmd/every_command.h"

// Every get and set function against a port: the bytes that it sends, how long it waits, and its
// result for each kind of answer. All replies here are made up. The rows of identity are in
// identity_test.cpp.

namespace {

class cCatalogue : public testing::Environment {
  public:
    void SetUp() override { setupVariableMaps(); }
};

const testing::Environment* const CATALOGUE =
    testing::AddGlobalTestEnvironment(new cCatalogue);  // owned by the test framework

sNetworkInfo registeredNetwork() {
    sNetworkInfo network;
    network.b_registered = true;
    return network;
}

sSimInfo presentSim() {
    sSimInfo sim;
    sim.i_present = 1;
    return sim;
}

sConfigFileOpts configuration() {
    sConfigFileOpts config;
    config.profileContext = "3";
    config.authType = ePDP_AUTH_CHAP;
    config.username = "user";
    config.password = "secret";
    config.bandGsm = 5;
    config.band3gText = "11";
    config.band4gBits = 0x80000000000ULL | 4;
    config.operatorMode = "1";
    config.operatorName = "310410";
    return config;
}

sConfigFileOpts operatorChoice(const std::string& mode, const std::string& name) {
    sConfigFileOpts config;
    config.operatorMode = mode;
    config.operatorName = name;
    return config;
}

const sCommand COMMANDS[] = {
    {"sendAT", [](int fd) { return sendAT(fd); }, "AT", 0, eErrors::AS_IS},
    {"setCmee", setCmee, "AT+CMEE=1", 0, eErrors::CONVERTED},
    {"setPsnt", setPsnt, "AT#PSNT=0", 0, eErrors::CONVERTED},

    {"getCSQ", on(getCSQ), "AT+CSQ", 0, eErrors::AS_IS},
    {"setCREG", setCREG, "AT+CREG=2", 0, eErrors::AS_IS},
    {"setCEREG", setCEREG, "AT+CEREG=2", 0, eErrors::AS_IS},
    {"getCREG", on(getCREG), "AT+CREG?", 0, eErrors::AS_IS},
    {"getCEREG", on(getCEREG), "AT+CEREG?", 0, eErrors::AS_IS},
    {"getCIREG", on(getCIREG), "AT+CIREG?", 0, eErrors::AS_IS},
    {"getModemNetworkInfo", on(getModemNetworkInfo, registeredNetwork()), "AT#PSNT?;#RFSTS", 0,
     eErrors::AS_IS},
    {"getCopsAct", on(getCopsAct), "AT+COPS?", 0, eErrors::CONVERTED},
    {"getCarrierList",
     [](int fd) {
         telitCarrier_list_Map.clear();
         return getCarrierList(fd);
     },
     "AT+COPN", 10, eErrors::AS_IS},

    {"getDeviceSimPresent", on(getDeviceSimPresent), "AT#QSS?", 0, eErrors::CONVERTED},
    {"getDeviceSimStatus", on(getDeviceSimStatus, presentSim()), "AT+CPIN?;#PCT", 0,
     eErrors::CONVERTED},
    {"getDeviceSimIMSI", on(getDeviceSimIMSI), "AT+CIMI", 0, eErrors::CONVERTED},
    {"getDeviceSimId", on(getDeviceSimId), "AT+CCID?", 0, eErrors::CONVERTED},
    {"getCpinState", on(getCpinState), "AT+CLCK=\"SC\",2", 0, eErrors::CMX_ONLY},
    {"setCpinStateOn", [](int fd) { return setCpinState(fd, "1234", true); },
     "AT+CLCK=\"SC\",1,\"1234\"", 0, eErrors::CONVERTED},
    {"setCpinStateOff", [](int fd) { return setCpinState(fd, "1234", false); },
     "AT+CLCK=\"SC\",0,\"1234\"", 0, eErrors::CONVERTED},
    {"changeCpin", [](int fd) { return changeCpin(fd, "1234", "56789"); },
     "AT+CPWD=\"SC\",1234,56789", 0, eErrors::CONVERTED},
    {"unlockCpin", [](int fd) { return unlockCpin(fd, "1234"); }, "AT+CPIN=1234", 0,
     eErrors::CONVERTED},
    {"unlockPuk", [](int fd) { return unlockPuk(fd, "12345678", "1234"); }, "AT+CPIN=12345678,1234",
     0, eErrors::CONVERTED},
    {"getSimSlot",
     [](int fd) {
         eSimSlot slot;
         return getSimSlot(fd, slot);
     },
     "AT#GPIO=2,2", 2, eErrors::CMX_ONLY},
    {"setSimSlot1", [](int fd) { return setSimSlot(fd, eSIM_SLOT_1); },
     "AT#GPIO=2,1,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1", 10, eErrors::CMX_ONLY},
    {"setSimSlot2", [](int fd) { return setSimSlot(fd, eSIM_SLOT_2); },
     "AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1", 10, eErrors::CMX_ONLY},

    {"getCGATT", on(getCGATT), "AT+CGATT?", 0, eErrors::CONVERTED},
    {"setCGATTOn", [](int fd) { return setCGATT(fd, true); }, "AT+CGATT=1", 15, eErrors::AS_IS},
    {"setCGATTOff", [](int fd) { return setCGATT(fd, false); }, "AT+CGATT=0", 15, eErrors::AS_IS},
    {"getCGACT",
     [](int fd) {
         bool active;
         std::string list;
         return getCGACT(fd, active, "3", list);
     },
     "AT+CGACT?", 0, eErrors::CONVERTED},
    {"setCGACTOn", [](int fd) { return setCGACT(fd, "3", true); }, "AT+CGACT=1,3", 5,
     eErrors::EVERY},
    {"setCGACTOff", [](int fd) { return setCGACT(fd, "3", false); }, "AT+CGACT=0,3", 5,
     eErrors::EVERY},
    {"getCGPADDR",
     [](int fd) {
         std::string address;
         return getCGPADDR(fd, "3", address);
     },
     "AT+CGPADDR=3", 0, eErrors::CONVERTED},
    {"getCGCONTRDP",
     [](int fd) {
         sDeviceInfo device;
         return getCGCONTRDP(fd, device, "3");
     },
     "AT+CGCONTRDP=3", 0, eErrors::CONVERTED},
    {"setNcmModeOn", [](int fd) { return setNcmMode(fd, "3", true); }, "AT#NCM=1,3", 0,
     eErrors::EVERY},
    {"setNcmModeOff", [](int fd) { return setNcmMode(fd, "3", false); }, "AT#NCM=0,3", 0,
     eErrors::EVERY},
    {"setCgdataMode", [](int fd) { return setCgdataMode(fd, "3"); }, "AT+CGDATA=\"M-RAW_IP\",3", 0,
     eErrors::EVERY},
    {"getCGDCONT",
     [](int fd) {
         sDeviceInfo device;
         return getCGDCONT(fd, device, configuration());
     },
     "AT+CGDCONT?", 0, eErrors::AS_IS},
    {"setCGDCONT4", [](int fd) { return setCGDCONT(fd, "3", "internet", eIP_FAMILY_IPV4); },
     "AT+CGDCONT=3,\"IPV4\",\"internet\"", 0, eErrors::REFUSAL},
    {"setCGDCONT6", [](int fd) { return setCGDCONT(fd, "1", "a b", eIP_FAMILY_IPV6); },
     "AT+CGDCONT=1,\"IPV6\",\"a b\"", 0, eErrors::REFUSAL},
    {"setCGDCONT46", [](int fd) { return setCGDCONT(fd, "1", "", eIP_FAMILY_IPV4V6); },
     "AT+CGDCONT=1,\"IPV4V6\",\"\"", 0, eErrors::REFUSAL},
    {"setCGDCONT0",
     [](int fd) { return setCGDCONT(fd, "1", "internet", static_cast<eIPvFamilyPref>(0)); },
     "AT+CGDCONT=1,\"IPV4V6\",\"internet\"", 0, eErrors::REFUSAL},
    {"setPDPAUTH", [](int fd) { return setPDPAUTH(fd, configuration()); },
     "AT#PDPAUTH=3,2,user,secret", 0, eErrors::EVERY},
    {"setPDPAUTHOff",
     [](int fd) {
         sConfigFileOpts config;
         config.authType = ePDP_AUTH_OFF;
         return setPDPAUTH(fd, config);
     },
     "AT#PDPAUTH=1,0,,", 0, eErrors::EVERY},
    {"setIMSPDPAPN", setIMSPDPAPN, "AT#IMSPDPSET=vzwims", 0, eErrors::EVERY},

    {"setReboot", setReboot, "AT#REBOOT", 2, eErrors::CONVERTED},
    {"getWS46",
     [](int fd) {
         int value;
         return getWS46(fd, value);
     },
     "AT+WS46?", 0, eErrors::CONVERTED},
    {"setWS46", [](int fd) { return setWS46(fd, 31); }, "AT+WS46=31", 0, eErrors::CONVERTED},
    {"setCOPSManualNumber",
     [](int fd) { return setCOPS(fd, operatorChoice("1", "310410"), eNET_OPERATOR_FROM_CONFIG); },
     "AT+COPS=1,2,\"310410\"", 2, eErrors::CONVERTED},
    {"setCOPSManualName",
     [](int fd) { return setCOPS(fd, operatorChoice("1", "AT&T"), eNET_OPERATOR_FROM_CONFIG); },
     "AT+COPS=1,0,\"AT&T\"", 2, eErrors::CONVERTED},
    {"setCOPSManualThenAutomatic",
     [](int fd) { return setCOPS(fd, operatorChoice("4", "26201"), eNET_OPERATOR_FROM_CONFIG); },
     "AT+COPS=4,2,\"26201\"", 2, eErrors::CONVERTED},
    {"setCOPSManualNoOperator",
     [](int fd) { return setCOPS(fd, operatorChoice("4", ""), eNET_OPERATOR_FROM_CONFIG); },
     "AT+COPS=4,0,\"\"", 2, eErrors::CONVERTED},
    {"setCOPSAutomaticByConfig",
     [](int fd) { return setCOPS(fd, operatorChoice("0", "AT&T"), eNET_OPERATOR_FROM_CONFIG); },
     "AT+COPS=0", 2, eErrors::CONVERTED},
    {"setCOPSAutomatic", [](int fd) { return setCOPS(fd, configuration(), eNET_OPERATOR_AUTO); },
     "AT+COPS=0", 2, eErrors::CONVERTED},
    {"setCOPSDeregister",
     [](int fd) { return setCOPS(fd, configuration(), eNET_OPERATOR_DEREGISTER); }, "AT+COPS=2", 2,
     eErrors::CONVERTED},
    {"setAUTOBNDManual", [](int fd) { return setAUTOBND(fd, eBAND_MODE_MANUAL); }, "AT#AUTOBND=2",
     2, eErrors::CONVERTED},
    {"setAUTOBNDAutomatic", [](int fd) { return setAUTOBND(fd, eBAND_MODE_AUTO); }, "AT#AUTOBND=0",
     2, eErrors::CONVERTED},
    {"setBND", [](int fd) { return setBND(fd, configuration()); }, "AT#BND=5,11,8796093022212", 2,
     eErrors::CONVERTED},
    {"setTestModeOn", [](int fd) { return setTestMode(fd, true); }, "AT#TESTMODE=\"TM\"", 2,
     eErrors::CONVERTED},
    {"setTestModeOff", [](int fd) { return setTestMode(fd, false); }, "AT#TESTMODE=\"OM\"", 2,
     eErrors::CONVERTED},
    {"setStatLedGpioEnable", [](int fd) { return setStatLedGpioEnable(fd); }, "AT#GPIO=1,0,2", 2,
     eErrors::CONVERTED},
    {"setATSTATBlink", [](int fd) { return setATSTAT(fd, eSTAT_LED_BLINK, 1, 9); }, "AT#SLED=3,1,9",
     2, eErrors::CONVERTED},
    {"setATSTATBlinkTooShort", [](int fd) { return setATSTAT(fd, eSTAT_LED_BLINK, 0, 255); },
     "AT#SLED=3,1,100", 2, eErrors::CONVERTED},
    {"setATSTATOn", [](int fd) { return setATSTAT(fd, eSTAT_LED_ON, 1, 9); }, "AT#SLED=1", 2,
     eErrors::CONVERTED},
    {"setATSTATOff", [](int fd) { return setATSTAT(fd, eSTAT_LED_OFF, 1, 9); }, "AT#SLED=0", 2,
     eErrors::CONVERTED},
    {"setATSTAT2", [](int fd) { return setATSTAT(fd, static_cast<eStatLedMode>(2), 1, 9); },
     "AT#SLED=2", 2, eErrors::CONVERTED},
    {"setATSTATSAV", [](int fd) { return setATSTATSAV(fd); }, "AT#SLEDSAV", 2, eErrors::CONVERTED},
};

constexpr const char* NOT_SENT = "the daemon does not send it";
constexpr const char* NOT_ALONE = "sent only together with another command";
constexpr const char* OF_CLOCK = "getCCLK sends four commands; its tests are in radio_config_test";
constexpr const char* OF_SMS = "sms/ sends it; its tests are in tests/unit/sms";

// The commands of the catalogue without a row, and why.
// clang-format off
const std::map<eAtCmd, const char*> WITHOUT_ROW = {
    {eAT_CMD_QSS_SET, NOT_SENT},
    {eAT_CMD_CPIN_GET, NOT_ALONE},
    {eAT_CMD_PCT, NOT_ALONE},
    {eAT_CMD_RFSTS, NOT_ALONE},
    {eAT_CMD_PSNT_GET, NOT_ALONE},
    {eAT_CMD_SERVINFO, NOT_SENT},
    {eAT_CMD_MONI, NOT_SENT},
    {eAT_CMD_MONI_SET, NOT_SENT},
    {eAT_CMD_COPS_TEST, NOT_SENT},
    {eAT_CMD_CSDF_SET, OF_CLOCK},
    {eAT_CMD_CCLK_GET, OF_CLOCK},
    {eAT_CMD_CCLKMODE_SET, OF_CLOCK},
    {eAT_CMD_NITZ_SET, OF_CLOCK},
    {eAT_CMD_PDPAUTH_GET, NOT_SENT},
    {eAT_CMD_CSCS_SET, OF_SMS},
    {eAT_CMD_CMGS_SET, OF_SMS},
    {eAT_CMD_CMGF_SET, OF_SMS},
    {eAT_CMD_CMGD_READ, OF_SMS},
    {eAT_CMD_CMGD_READ_SENT, OF_SMS},
    {eAT_CMD_CMGD_READ_SENT_UNSENT, OF_SMS},
    {eAT_CMD_CMGD_ALL, OF_SMS},
    {eAT_CMD_CMGL_PDU_UNREAD, OF_SMS},
    {eAT_CMD_CMGL_PDU_READ, OF_SMS},
    {eAT_CMD_CMGL_PDU_ALL, OF_SMS},
    {eAT_CMD_CMGL_TEXT_UNREAD, NOT_SENT},
    {eAT_CMD_CMGL_TEXT_READ, NOT_SENT},
    {eAT_CMD_CMGL_TEXT_ALL, NOT_SENT},
    {eAT_CMD_AUTOBND_GET, NOT_SENT},
    {eAT_CMD_ENS_GET, NOT_SENT},
    {eAT_CMD_ENS_SET, NOT_SENT},
    {eAT_CMD_BND_GET, NOT_SENT},
};
// clang-format on

// A text that ends with '=' is followed by arguments.
bool isCommand(const std::string& sent, const std::string& text) {
    return text.back() == '=' ? sent.compare(0, text.size(), text) == 0 : sent == text;
}

bool hasRow(const std::string& text) {
    const std::set<std::string>& commands = commandsWithRow();
    return std::any_of(commands.begin(), commands.end(),
                       [&](const std::string& sent) { return isCommand(sent, text); });
}

void expectRow(eAtCmd command, const char* name, const char* text) {
    const auto exception = WITHOUT_ROW.find(command);
    const bool isExpected = exception == WITHOUT_ROW.end();
    if (text == nullptr || hasRow(text) == isExpected) return;
    if (isExpected)
        ADD_FAILURE() << name << " (" << text << ") is in no row of EveryCommand";
    else
        ADD_FAILURE() << name << " has a row now: remove it from WITHOUT_ROW, where it says \""
                      << exception->second << "\"";
}

struct sAnswerCase {
    const char* reply;
    ePortReturn asIs;
    ePortReturn converted;
    const char* cmxText;
};

const sAnswerCase ERRORS[] = {
    {"\r\nERROR\r\n", ePORT_ERROR, ePORT_ERROR, ""},
    {"\r\n+CME ERROR: 10\r\n", ePORT_CMX_ERROR, static_cast<ePortReturn>(10), "SIM NOT INSERTED"},
    {"\r\n+CME ERROR: 0\r\n", ePORT_CMX_ERROR, static_cast<ePortReturn>(0), "PHONE FAILURE"},
    {"\r\n+CME ERROR: 19\r\n", ePORT_CMX_ERROR, ePORT_CMX_ERROR, ""},
    {"\r\n+CME ERROR: SIM not inserted\r\n", ePORT_CMX_ERROR, ePORT_CMX_ERROR, ""},
    {"\r\n+CMS ERROR: 500\r\n", ePORT_CMX_ERROR, static_cast<ePortReturn>(500), "UNKNOWN ERROR"},
};

ePortReturn expected(eErrors errors, ePortReturn asIs, ePortReturn converted) {
    switch (errors) {
        case eErrors::AS_IS:
            return asIs;
        case eErrors::CONVERTED:
        case eErrors::CMX_ONLY:
        case eErrors::REFUSAL:
        case eErrors::EVERY:
            return converted;
        case eErrors::SUCCESS:
            return asIs == ePORT_NO_FINAL_RESULT ? asIs : ePORT_OK;
        case eErrors::ALWAYS_ERROR:
            return ePORT_ERROR;
    }
    return asIs;
}

bool isParsed(eErrors errors, ePortReturn result) {
    switch (errors) {
        case eErrors::EVERY:
            return true;
        case eErrors::CONVERTED:
            return result != ePORT_OK;
        case eErrors::REFUSAL:
            return isPortError(result);
        case eErrors::CMX_ONLY:
            return result >= ePORT_CMX_ERROR;
        case eErrors::AS_IS:
        case eErrors::SUCCESS:
        case eErrors::ALWAYS_ERROR:
            return false;
    }
    return false;
}

constexpr ePortReturn BEFORE = static_cast<ePortReturn>(77);

void forgetLastError() {
    g_s_last_cmx_error = "before";
    g_e_last_cmx_error = BEFORE;
}

void expectLastError(eErrors errors, ePortReturn result, const char* text) {
    const bool parsed = isParsed(errors, result);
    EXPECT_EQ(g_e_last_cmx_error, parsed ? result : BEFORE);
    EXPECT_EQ(g_s_last_cmx_error, parsed ? text : "before");
}

}  // namespace

TEST_P(EveryCommand, Ok_IsSentOnceAndReturnsOk) {
    cFakePort port;
    port.answer(OK_REPLY);
    forgetLastError();
    EXPECT_EQ(GetParam().call(port.descriptor()), ePORT_OK);
    expectLastError(GetParam().errors, ePORT_OK, "");
    EXPECT_EQ(port.written(), GetParam().command + std::string("\r"));
    EXPECT_EQ(port.elapsedMs(), 20u);
}

TEST_P(EveryCommand, Errors_AreConvertedOrNot) {
    for (const sAnswerCase& row : ERRORS) {
        cFakePort port;
        SCOPED_TRACE(row.reply);
        port.answer(row.reply);
        forgetLastError();
        EXPECT_EQ(GetParam().call(port.descriptor()),
                  expected(GetParam().errors, row.asIs, row.converted));
        expectLastError(GetParam().errors, row.converted, row.cmxText);
        EXPECT_EQ(port.elapsedMs(), 20u);
    }
}

TEST_P(EveryCommand, Silence_WaitsItsTimeoutAndReturnsNoFinalResult) {
    cFakePort port;
    port.silence();
    forgetLastError();
    EXPECT_EQ(GetParam().call(port.descriptor()),
              expected(GetParam().errors, ePORT_NO_FINAL_RESULT, ePORT_NO_FINAL_RESULT));
    expectLastError(GetParam().errors, ePORT_NO_FINAL_RESULT, "");
    EXPECT_EQ(port.elapsedMs(), 10u + (GetParam().timeoutS + 1) * 1000u);
    EXPECT_EQ(port.commands().size(), 1u);
}

TEST_P(EveryCommand, ClosedPort_IsAnErrorAtOnce) {
    const cFakePort port;
    EXPECT_EQ(GetParam().call(-1), expected(GetParam().errors, ePORT_ERROR, ePORT_ERROR));
    EXPECT_TRUE(port.sleepsUs().empty());
}

TEST_P(EveryCommand, TraceCategory_NamesTheFunctionOnEntry) {
    cFakePort port;
    port.answer(OK_REPLY);
    const cLogMode mode(eLOG_AT_FUNCTION);
    GetParam().call(port.descriptor());
    ASSERT_FALSE(capturedLog().empty());
    const std::string entry = capturedLog()[0];
    ASSERT_EQ(entry.find("DEBUG: Entering "), 0u) << entry;
    const std::string function = entry.substr(16, entry.size() - 18);
    EXPECT_EQ(std::string(GetParam().function).find(function), 0u) << entry;
    EXPECT_EQ(entry.substr(entry.size() - 2), "()");
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryCommand, everyRow(COMMANDS), functionOf);

TEST(CatalogueRows, EachCommand_HasARowOrAReason) {
#define EXPECT_ROW(name, number, text) expectRow(name, #name, text);
    AT_COMMANDS(EXPECT_ROW)
#undef EXPECT_ROW
}

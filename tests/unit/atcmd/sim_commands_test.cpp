#include "atcmd/sim_commands.h"

#include <gtest/gtest.h>

#include "atcmd/catalogue.h"
#include "device/at_transaction.h"
#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

// Replies are made up unless a case says that it was recorded.

namespace {

void torture(void (*parse)(const std::string&, sSimInfo&), const std::string& reply) {
    tortureReply(reply, [=](const std::string& response) {
        sSimInfo sim;
        parse(response, sim);
        expectBounded(sim);
    });
}

struct sCpinCase {
    const char* text;
    int lockClass;
    int lockCode;
    const char* status;
};

const sCpinCase CPIN_CASES[] = {
    {"READY", 0, 0, "Available"},  // recorded
    {"SIM PIN", 3, 3, "PIN Locked"},
    {"sim pin", 3, 3, "PIN Locked"},
    {"SIM PUK", 5, 5, "PUK Locked"},
    {"PH-SIM PIN", 3, 8, "Phone-to-SIM First SIM PIN"},
    {"PH-FSIM PIN", 3, 10, "Phone-to-very First SIM PIN"},
    {"PH-FSIM PUK", 5, 11, "Phone-to-very First SIM PUK"},
    {"SIM PIN2", 3, 4, "PIN2 Locked"},
    {"SIM PUK2", 5, 6, "PUK2 Locked"},
    {"PH-NET PIN", 3, 12, "Network Personalization PIN"},
    {"PH-NET PUK", 5, 13, "Network Personalization PUK"},
    {"PH-NETSUB PIN", 3, 14, "Network Subnet Personalization PIN"},
    {"PH-NETSUB PUK", 5, 15, "Network Subnet Personalization PUK"},
    {"PH-SP PIN", 3, 16, "Service Provider PIN"},
    {"PH-SP PUK", 5, 17, "Service Provider PUK"},
    {"PH-CORP PIN", 3, 18, "Corp Personalization PIN"},
    {"PH-CORP PUK", 5, 19, "Corp Personalization PUK"},
    // not in the table
    {"PH-MCL PIN", 3, 3, "PH-MCL PIN"},
    {"ph-mcl puk", 5, 5, "PH-MCL PUK"},
    {"PUK or PIN", 3, 3, "PUK OR PIN"},
    {"READY  NOW", 255, 255, "READY  NOW"},
    {"SIM  PIN", 3, 3, "SIM  PIN"},
};

// Every value is known and differs from its value after a reset.
sSimInfo usedSim() {
    sSimInfo sim;
    sim.i_present = 1;
    sim.i_qss_mode = 0;
    sim.i_lock_class = eSIM_READY;
    sim.i_lock_code = 0;
    sim.s_status = "Available";
    sim.i_pin_attempts = 3;
    sim.i_puk_attempts = 10;
    sim.b_attempts_read = true;
    sim.s_imsi = "310410000000002";
    sim.s_iccid = "89010100000000000002";
    sim.s_home_plmn = "310410";
    sim.s_carrier = "AT&T";
    sim.i_pin_lock_enabled = 1;
    return sim;
}

class Carriers : public testing::Test {
  protected:
    void SetUp() override {
        telitCarrier_list_Map = {
            {"310410", "AT&T"}, {"31041", "Short"}, {"26201", "Telekom.de"}, {"000000", "Zero"}};
    }
    void TearDown() override { telitCarrier_list_Map.clear(); }
};

}  // namespace

TEST(ParseDeviceSimPresent, Lines_OnlyExactlyOneIsPresent) {
    const struct {
        const char* line;
        int mode;
        int present;
    } cases[] = {
        {"#QSS: 0,1", 0, 1},  // recorded
        {"#QSS: 2,3", 2, 0},  // a fixture's form
        {"#QSS: 2", -1, 0},   // a fixture's form, unasked
        {"#QSS: 0,0", 0, 0}, {"#QSS: 1,2", 1, 0},    {"#QSS: 0,01", 0, 0},
        {"#QSS: 0,", 0, 0},  {"#QSS: 300,1", 44, 1}, {"#QSS: x,1", 0, 1},
        {"#QSS: 0", -1, 0},  {"#QSS: 0,1,1", -1, 0}, {"#QSS:", -1, 0},
    };
    for (const auto& row : cases) {
        sSimInfo sim;
        parseDeviceSimPresent(modemReply({row.line}), sim);
        EXPECT_EQ(sim.i_qss_mode, row.mode) << row.line;
        EXPECT_EQ(sim.i_present, row.present) << row.line;
    }
    torture(parseDeviceSimPresent, modemReply({"#QSS: 0,1"}));
}

TEST(GetDeviceSimPresent, NoSim_SetsTheMissingState) {
    for (const char* line : {"#QSS: 0,0", "#QSS: 2,3", "nothing"}) {
        cFakePort port;
        port.answer(modemReply({line}));
        sSimInfo sim = usedSim();
        EXPECT_EQ(getDeviceSimPresent(port.descriptor(), sim), ePORT_OK);
        EXPECT_EQ(sim.i_present, 0) << line;
        EXPECT_EQ(sim.i_lock_class, 2) << line;
        EXPECT_EQ(sim.i_lock_code, 2) << line;
        EXPECT_EQ(sim.s_status, "Not Present") << line;
    }
}

TEST(GetDeviceSimPresent, Sim_LeavesTheLock) {
    cFakePort port;
    port.answer(modemReply({"#QSS: 0,1"}));
    sSimInfo sim = usedSim();
    EXPECT_EQ(getDeviceSimPresent(port.descriptor(), sim), ePORT_OK);
    EXPECT_EQ(sim.i_present, 1);
    EXPECT_EQ(sim.s_status, "Available");
}

TEST(GetDeviceSimPresent, Failure_DoesNotCountAsAMissingSim) {
    cFakePort port;
    port.answer(ERROR_REPLY);
    sSimInfo sim = usedSim();
    EXPECT_EQ(getDeviceSimPresent(port.descriptor(), sim), ePORT_ERROR);
    EXPECT_EQ(sim.i_present, 0);
    EXPECT_EQ(sim.i_qss_mode, -1);
    EXPECT_NE(sim.i_lock_class, eSIM_MISSING);
}

// Recorded: a modem without SIM.
TEST(GetDeviceSimPresent, LineWithACmeError_IsNotRead) {
    cFakePort port;
    port.answer(modemReply({"#QSS: 0,1"}, "+CME ERROR: 10"));
    sSimInfo sim;
    EXPECT_EQ(getDeviceSimPresent(port.descriptor(), sim), static_cast<ePortReturn>(10));
    EXPECT_EQ(sim.i_present, 0);
}

TEST(GetDeviceSimStatus, NotPresent_SendsNothingAndKeepsTheMissingState) {
    cFakePort port;
    port.answer(modemReply({"#QSS: 2,3"}));
    sSimInfo sim;
    getDeviceSimPresent(port.descriptor(), sim);
    EXPECT_EQ(getDeviceSimStatus(port.descriptor(), sim), ePORT_OK);
    EXPECT_EQ(port.commands(), std::vector<std::string>{"AT#QSS?"});
    EXPECT_EQ(sim.i_lock_class, 2);
    EXPECT_EQ(sim.s_status, "Not Present");
}

TEST(GetDeviceSimStatus, Failure_LeavesUnknown) {
    cFakePort port;
    port.answer("\r\n+CME ERROR: 14\r\n");
    sSimInfo sim = usedSim();
    EXPECT_EQ(getDeviceSimStatus(port.descriptor(), sim), static_cast<ePortReturn>(14));
    EXPECT_EQ(sim.i_lock_class, 255);
    EXPECT_EQ(sim.i_lock_code, 255);
    EXPECT_EQ(sim.s_status, "Unknown");
    EXPECT_EQ(sim.i_pin_attempts, 255);
    EXPECT_EQ(sim.i_puk_attempts, 255);
    EXPECT_FALSE(sim.b_attempts_read);
}

TEST(ParseDeviceSimStatus, CpinTexts_GiveClassCodeAndStatus) {
    for (const sCpinCase& row : CPIN_CASES) {
        sSimInfo sim;
        parseDeviceSimStatus(
            "AT+CPIN?;#PCT\r" + modemReply({"+CPIN: " + std::string(row.text) + " "}), sim);
        EXPECT_EQ(sim.i_lock_class, row.lockClass) << row.text;
        EXPECT_EQ(sim.i_lock_code, row.lockCode) << row.text;
        EXPECT_EQ(sim.s_status, row.status) << row.text;
    }
}

TEST(ParseDeviceSimStatus, Attempts_FollowTheLockClass) {
    const struct {
        const char* cpin;
        const char* pct;
        int pin;
        int puk;
        bool areRead;  // otherwise assumed
    } cases[] = {
        {"+CPIN: READY", "#PCT: 3", 3, 10, true},
        {"+CPIN: READY", "#PCT: 2", 2, 10, true},
        {"+CPIN: SIM PIN", "#PCT: 1", 1, 10, true},
        {"+CPIN: SIM PUK", "#PCT: 7", 0, 7, true},
        {"+CPIN: SIM PUK", "#PCT: 1 0", 0, 10, true},
        {"+CPIN: ANOTHER", "#PCT: 3", 255, 255, true},
        {"x", "#PCT: 3", 255, 255, true},
        {"+CPIN: SIM PUK", "x", 3, 10, false},
        {"+CPIN: SIM PIN", "#PCT:", 3, 10, false},
        {"+CPIN: SIM PIN", "#PCT: x", 3, 10, false},
        {"+CPIN: SIM PIN", "#PCT: 258", 2, 10, true},
        {"x", "x", 3, 10, false},
    };
    for (const auto& row : cases) {
        sSimInfo sim;
        parseDeviceSimStatus(modemReply({row.cpin, "", row.pct}), sim);
        EXPECT_EQ(sim.i_pin_attempts, row.pin) << row.cpin << " " << row.pct;
        EXPECT_EQ(sim.i_puk_attempts, row.puk) << row.cpin << " " << row.pct;
        EXPECT_EQ(sim.b_attempts_read, row.areRead) << row.cpin << " " << row.pct;
    }
    torture(parseDeviceSimStatus, modemReply({"+CPIN: SIM PIN", "", "#PCT: 3"}));
    torture(parseDeviceSimStatus, modemReply({"+CPIN: PH-OTHER PUK", "", "#PCT: 10"}));
}

TEST_F(Carriers, ParseDeviceSimIMSI_FirstLineThatBeginsWithADigit) {
    const struct {
        std::string reply;
        const char* imsi;
    } cases[] = {
        {"AT+CIMI\r" + modemReply({"310410000000002"}), "310410000000002"},
        {modemReply({"3104 1000 0000 002"}), "310410000000002"},
        {modemReply({"x", "1x", "2"}), "1x"},
        {modemReply({"#CIMI: 310410000000002"}), "000000000000000"},
    };
    for (const auto& row : cases) {
        sSimInfo sim;
        parseDeviceSimIMSI(row.reply, sim);
        EXPECT_EQ(sim.s_imsi, row.imsi) << row.reply;
    }
    tortureReply(modemReply({"310410000000002"}), [](const std::string& response) {
        sSimInfo sim;
        parseDeviceSimIMSI(response, sim);
        getCarrierFromImsi(sim);
        expectBounded(sim);
    });
}

TEST_F(Carriers, GetCarrierFromImsi_SixDigitsWinOverFive) {
    const struct {
        const char* imsi;
        const char* plmn;
        const char* carrier;
    } cases[] = {
        {"310410000000002", "310410", "AT&T"},
        {"262010000000002", "26201", "Telekom.de"},
        {"310411000000002", "31041", "Short"},
        {"999990000000002", "000000", "Unknown"},
        {"31041", "31041", "Short"},
        {"3104", "000000", "Unknown"},
        {"", "000000", "Unknown"},
        {"31041x000000002", "31041", "Short"},
        {"x", "000000", "Unknown"},
    };
    for (const auto& row : cases) {
        sSimInfo sim;
        sim.s_imsi = row.imsi;
        getCarrierFromImsi(sim);
        EXPECT_EQ(sim.s_home_plmn, row.plmn) << row.imsi;
        EXPECT_EQ(sim.s_carrier, row.carrier) << row.imsi;
    }
}

TEST_F(Carriers, GetDeviceSimIMSI_ReadsImsiAndCarrier) {
    cFakePort port;
    port.answer(modemReply({"262010000000002"}));
    sSimInfo sim = usedSim();
    EXPECT_EQ(getDeviceSimIMSI(port.descriptor(), sim), ePORT_OK);
    EXPECT_EQ(sim.s_imsi, "262010000000002");
    EXPECT_EQ(sim.s_home_plmn, "26201");
    EXPECT_EQ(sim.s_carrier, "Telekom.de");
}

TEST_F(Carriers, GetDeviceSimIMSI_FailureLeavesTheDefaults) {
    cFakePort port;
    port.answer(ERROR_REPLY);
    sSimInfo sim = usedSim();
    EXPECT_EQ(getDeviceSimIMSI(port.descriptor(), sim), ePORT_ERROR);
    EXPECT_EQ(sim.s_imsi, "000000000000000");
    EXPECT_EQ(sim.s_home_plmn, "000000");
    EXPECT_EQ(sim.s_carrier, "Unknown");
}

TEST(ParseDeviceSimId, Lines_DigitsOnly) {
    const std::string none(22, '0');
    const struct {
        const char* line;
        std::string iccid;
    } cases[] = {
        {"+CCID: 89010100000000000002", "89010100000000000002"},
        {"+CCID: 8901 0100 0000 0000 0002", "89010100000000000002"},
        {"+CCID: 8901010000000000000F", none},
        {"+CCID: \"89010100000000000002\"", none},
        {"+CCID:", none},
        {"#CCID: 89010100000000000002", none},  // recorded, of another command
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(modemReply({row.line}));
        sSimInfo sim = usedSim();
        EXPECT_EQ(getDeviceSimId(port.descriptor(), sim), ePORT_OK);
        EXPECT_EQ(sim.s_iccid, row.iccid) << row.line;
    }
    torture(parseDeviceSimId, modemReply({"+CCID: 89010100000000000002"}));
}

TEST(ParseCpinState, Lines_ZeroOrOne) {
    const struct {
        const char* line;
        int state;
    } cases[] = {
        {"+CLCK: 0", 0},   {"+CLCK: 1", 1}, {"+CLCK:1 ", 1}, {"+CLCK: 2", -1},   {"+CLCK: 1,1", -1},
        {"+CLCK: 01", -1}, {"+CLCK:", -1},  {"nothing", -1}, {"+CLCK: 1 0", -1},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parseCpinState(modemReply({row.line})), row.state) << row.line;
    tortureReply(modemReply({"+CLCK: 1"}), [](const std::string& response) {
        const int state = parseCpinState(response);
        EXPECT_TRUE(state >= -1 && state <= 1);
    });
}

TEST(GetCpinState, Answers_SetTheStateAndAreLogged) {
    const std::string command = "Command 'AT+CLCK=\"SC\",2' ";
    const struct {
        std::string reply;
        ePortReturn result;
        int state;
        const char* log;
    } cases[] = {
        {modemReply({"+CLCK: 1"}), ePORT_OK, 1, nullptr},
        {modemReply({"+CLCK: 0"}), ePORT_OK, 0, nullptr},
        {OK_REPLY, ePORT_OK, -1, nullptr},
        {"", ePORT_NO_FINAL_RESULT, -1, "TIMEOUT"},
        {ERROR_REPLY, ePORT_ERROR, -1, "reported ERROR"},
        {"\r\n+CME ERROR: 19\r\n", ePORT_CMX_ERROR, -1, "reported CME_ERROR"},
        {"\r\n+CME ERROR: 11\r\n", static_cast<ePortReturn>(11), -1, "reported CME_ERROR"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        const cLogMode mode;
        sSimInfo sim = usedSim();
        EXPECT_EQ(getCpinState(port.descriptor(), sim), row.result) << row.reply;
        EXPECT_EQ(sim.i_pin_lock_enabled, row.state) << row.reply;
        if (row.log == nullptr) {
            EXPECT_TRUE(capturedLog().empty());
        } else {
            EXPECT_EQ(logCount("getCpinState(): " + command + row.log), 1u) << row.reply;
        }
    }
}

// Only the trace of the port shows what is sent.
TEST(LockOperations, AnyResult_LogNoSecret) {
    for (const char* reply : {OK_REPLY, ERROR_REPLY, "\r\n+CME ERROR: 16\r\n", ""}) {
        cFakePort port;
        port.setEcho(false);
        port.answer(reply).answer(reply).answer(reply).answer(reply);
        const cLogMode mode(~(eLOG_PORT | eLOG_RESPONSE));
        setCpinState(port.descriptor(), "4711", true);
        changeCpin(port.descriptor(), "4711", "0815");
        unlockCpin(port.descriptor(), "4711");
        unlockPuk(port.descriptor(), "47110815", "0815");
        EXPECT_FALSE(logContains("4711"));
        EXPECT_FALSE(logContains("0815"));
        EXPECT_FALSE(capturedLog().empty());
    }
}

TEST(LockOperations, WrongPassword_IsItsNumber) {
    cFakePort port;
    port.answer("\r\n+CME ERROR: 16\r\n").answer("\r\n+CME ERROR: 12\r\n");
    EXPECT_EQ(unlockCpin(port.descriptor(), "1234"),
              static_cast<ePortReturn>(CME_INCORRECT_PASSWORD));
    EXPECT_EQ(unlockCpin(port.descriptor(), "1234"),
              static_cast<ePortReturn>(CME_SIM_PUK_REQUIRED));
}

TEST(GetSimSlot, Lines_GiveTheSlot) {
    const struct {
        const char* line;
        int slot;
    } cases[] = {
        {"#GPIO: 1,1", 1},  {"#GPIO: 1,0", 2}, {"#GPIO: 0, 1 ", 1},
        {"#GPIO: 1,2", -1}, {"#GPIO: 1", -1},  {"#GPIO: 1,1,1", -1},
        {"#GPIO:", -1},     {"#GPIO: 1,", -1}, {"nothing", -1},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(modemReply({row.line}));
        eSimSlot slot = eSIM_SLOT_2;
        EXPECT_EQ(getSimSlot(port.descriptor(), slot), ePORT_OK);
        EXPECT_EQ(slot, row.slot) << row.line;
    }
    tortureReply(modemReply({"#GPIO: 1,1"}), [](const std::string& response) {
        const int slot = parseSimSlot(response);
        EXPECT_TRUE(slot == -1 || slot == 1 || slot == 2);
    });
}

TEST(GetSimSlot, Failures_AreLoggedByKind) {
    const struct {
        const char* reply;
        const char* log;
    } cases[] = {
        {"", "getSimSlot(): Command 'AT#GPIO=2,2' TIMEOUT"},
        {ERROR_REPLY, "getSimSlot(): Command 'AT#GPIO=2,2' reported ERROR"},
        {"\r\n+CME ERROR: 4\r\n", "getSimSlot(): Command 'AT#GPIO=2,2' reported CME_ERROR"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        const cLogMode mode;
        eSimSlot slot = eSIM_SLOT_1;
        getSimSlot(port.descriptor(), slot);
        EXPECT_EQ(slot, eSIM_SLOT_UNKNOWN);
        EXPECT_EQ(logCount(row.log), 1u);
    }
}

TEST(SetSimSlot, OtherSlot_SendsNothing) {
    for (const int slot : {3, 0, -1}) {
        cFakePort port;
        const cLogMode mode;
        g_s_lastAtCmd = "before";
        EXPECT_EQ(setSimSlot(port.descriptor(), static_cast<eSimSlot>(slot)),
                  static_cast<ePortReturn>(21));
        EXPECT_EQ(capturedLog(), std::vector<std::string>{"setSimSlot(): Invalid SIM slot"});
        EXPECT_TRUE(port.sleepsUs().empty());
        EXPECT_EQ(g_s_lastAtCmd, "before");
    }
}

TEST(SetSimSlot, Results_AreLoggedByKind) {
    const std::string command =
        "setSimSlot(): Command 'AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1' ";
    const struct {
        const char* reply;
        const char* log;
    } cases[] = {
        {"", "TIMEOUT"},
        {ERROR_REPLY, "reported ERROR"},
        {OK_REPLY, "SUCCESS"},
        {"\r\n+CME ERROR: 4\r\n", "reported CME_ERROR"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        const cLogMode mode;
        setSimSlot(port.descriptor(), eSIM_SLOT_2);
        EXPECT_EQ(logCount(command + row.log), 1u) << row.log;
    }
}

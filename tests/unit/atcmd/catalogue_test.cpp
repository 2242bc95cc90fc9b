#include "atcmd/catalogue.h"

#include <gtest/gtest.h>

#include <set>

#include "atcmd/command.h"

namespace {

using tTable = std::map<int, std::string>;

// clang-format off
// Commands that no function sends. The texts of all others are compared in the tests that send them
// (command_every_query_test.cpp and the flow tests).
const tTable UNSENT_COMMANDS = {
    {14, "AT#QSS="},
    {16, "AT+CPIN?"},
    {18, "AT#PCT"},
    {22, "AT#RFSTS"},
    {23, "AT#PSNT?"},
    {28, "AT#SERVINFO"},
    {29, "AT#MONI"},
    {30, "AT#MONI="},
    {34, "AT+COPS=?"},
    {54, "AT#PDPAUTH?"},
    {70, "AT+CMGL=\"REC UNREAD\""},
    {71, "AT+CMGL=\"REC READ\""},
    {72, "AT+CMGL=\"ALL\""},
    {76, "AT#AUTOBND?"},
    {78, "AT#ENS?"},
    {79, "AT#ENS="},
    {80, "AT#BND?"},
};

const tTable MODEM_ERRORS = {
    {0, "PHONE FAILURE"},
    {1, "NO CONNECTION TO PHONE"},
    {2, "PHONE ADAPTOR LINK RESERVED"},
    {3, "OPERATION NOT ALLOWED"},
    {4, "OPERATION NOT SUPPORTED"},
    {5, "PH SIM PIN REQUIRED"},
    {10, "SIM NOT INSERTED"},
    {11, "SIM PIN REQUIRED"},
    {12, "SIM PUK REQUIRED"},
    {13, "SIM FAILURE"},
    {14, "SIM BUSY"},
    {15, "SIM WRONG"},
    {16, "INCORRECT PASSWORD"},
    {17, "SIM PIN2 REQUIRED"},
    {18, "SIM PUK2 REQUIRED"},
    {20, "MEMORY FULL"},
    {21, "INVALID INDEX"},
    {22, "NOT FOUND"},
    {23, "MEMORY FAILURE"},
    {24, "TEXT STRING TOO LONG"},
    {25, "INVALID CHARS IN TEXT STRING"},
    {26, "DIAL STRING TOO LONG"},
    {27, "INVALID CHARS IN DIAL STRING"},
    {30, "NO NETWORK SERVICE"},
    {31, "NETWORK TIMED OUT"},
    {32, "NETWORK NOT ALLOWED EMERGENCY CALLS ONLY"},
    {40, "NETWORK PERSONALIZATION PIN REQUIRED"},
    {41, "NETWORK PERSONALIZATION PUK REQUIRED"},
    {42, "NETWORK SUBSET PERSONALIZATION PIN REQUIRED"},
    {43, "NETWORK SUBSET PERSONALIZATION PUK REQUIRED"},
    {44, "NETWORK SERVICE PROVIDER PERSONALIZATION PIN REQUIRED"},
    {45, "NETWORK SERVICE PROVIDER PERSONALIZATION PUK REQUIRED"},
    {48, "HIDDEN KEY REQUIRED"},
    {49, "EAP METHOD NOT SUPPORTED"},
    {50, "INCORRECT PARAMETERS"},
    {100, "UNKNOWN"},
    {103, "ILLEGAL MS"},
    {106, "ILLEGAL ME"},
    {107, "GPRS SERVICE NOT ALLOWED"},
    {111, "PLMN NOT ALLOWED"},
    {112, "LOCATION AREA NOT ALLOWED"},
    {113, "ROAMING NOT ALLOWED IN THIS LOCATION AREA"},
    {132, "SERVICE OPTION NOT SUPPORTED"},
    {133, "REQUESTED SERVICE OPTION NOT SUBSCRIBED"},
    {134, "SERVICE OPTION TEMPORARILY OUT OF ORDER"},
    {148, "UNSPECIFIED GPRS ERROR"},
    {149, "PDP AUTHENTICATION FAILURE"},
    {150, "INVALID MOBILE CLASS"},
    {300, "ME FAILURE"},
    {301, "SMS SERVICE OF ME RESERVED"},
    {302, "OPERATION NOT ALLOWED"},
    {303, "OPERATION NOT SUPPORTED"},
    {304, "INVALID PDU MODE PARAMETER"},
    {305, "INVALID TEXT MODE PARAMETER"},
    {310, "SIM NOT INSERTED"},
    {311, "SIM PIN REQUIRED"},
    {312, "PH SIM PIN REQUIRED"},
    {313, "SIM FAILURE"},
    {314, "SIM BUSY"},
    {315, "SIM WRONG"},
    {316, "SIM PUK REQUIRED"},
    {317, "SIM PIN2 REQUIRED"},
    {318, "SIM PUK2 REQUIRED"},
    {320, "MEMORY FAILURE"},
    {321, "INVALID MEMORY INDEX"},
    {322, "MEMORY FULL"},
    {330, "SMSC ADDRESS UNKNOWN"},
    {331, "NO NETWORK SERVICE"},
    {332, "NETWORK TIME OUT"},
    {340, "NO CNMA ACKNOWLEDGEMENT EXPECTED"},
    {500, "UNKNOWN ERROR"},
    {512, "FND NOT ALLOWED NUMBER"},
    {550, "GENERIC UNDOCUMENTED ERROR"},
    {551, "WRONG STATE"},
    {552, "WRONG MODE"},
    {553, "CONTEXT ALREADY ACTIVATED"},
    {554, "STACK ALREADY ACTIVE"},
    {555, "ACTIVATION FAILED"},
    {556, "CONTEXT NOT OPENED"},
    {557, "CANNOT SETUP SOCKET"},
    {558, "CANNOT RESOLVE DN"},
    {559, "TIMEOUT OPENING SOCKET"},
    {560, "CANNOT OPEN SOCKET"},
    {561, "REMOTE DISCONNECT OR TIME OUT"},
    {562, "CONNECTION FAILED"},
    {563, "TX ERROR"},
    {564, "ALREADY LISTENING"},
    {566, "CANNOT RESUME SOCKET"},
    {567, "WRONG APN"},
    {568, "WRONG PDP"},
    {569, "SERVICE NOT SUPPORTED"},
    {570, "QOS NOT ACCEPTED"},
    {571, "NSAPI ALREADY USED"},
    {572, "LLC OR SNDCP FAILURE"},
    {573, "NETWORK REJECT"},
    {586, "MCL PERSONALIZATION PIN REQUIRED"},
    {600, "FTP GENERIC UNDOCUMENTED ERROR"},
    {601, "FTP WRONG STATE"},
    {602, "FTP CAN NOT ACTIVATE"},
    {603, "FTP CAN NOT RESOLVE NAME"},
    {604, "FTP CAN NOT ALLOCATE CONTROL SOCKET"},
    {605, "FTP CAN NOT CONNECT CONTROL SOCKET"},
    {606, "FTP BAD OR NO RESPONSE FROM SERVER"},
    {607, "FTP NOT CONNECTED"},
    {608, "FTP ALREADY CONNECTED"},
    {609, "FTP CONTEXT DOWN"},
    {610, "FTP NO PHOTO AVAILABLE"},
    {611, "FTP CAN NOT SEND PHOTO"},
    {612, "FTP RESOURCE USED BY OTHER INSTANCE"},
    {700, "ADN MEMORY EXCEEDED"},
    {701, "ANR MEMORY EXCEEDED"},
    {702, "SNE MEMORY EXCEEDED"},
    {703, "EMAIL MEMORY EXCEEDED"},
    {704, "EXTENSION MEMORY EXCEEDED"},
};

const tTable RESULTS = {
    {0, "eSUCCESS"},
    {1, "eSUCCESS_DEVICE_UNLOCK"},
    {2, "eFAILURE"},
    {3, "eUNKNOWN_ERROR"},
    {4, "eERROR_DEVICE_NOT_SUPPORTED"},
    {5, "eERROR_DEVICE_INVALID_OPTION"},
    {6, "eERROR_DEVICE_RESPONSE_TIMEOUT"},
    {7, "eERROR_DEVICE_RESPONSE_ERROR"},
    {8, "eERROR_DEVICE_REQUIRES_RESET"},
    {9, "eERROR_DEVICE_SHOULD_RESET"},
    {10, "eERROR_DEVICE_IN_TEST_MODE"},
    {11, "eERROR_BUFFER_EMPTY"},
    {100, "eERROR_DEVICE_SIM_NOT_READY"},
    {101, "eERROR_DEVICE_SIM_NOT_PRESENT"},
    {102, "eERROR_DEVICE_SIM_LOCKED"},
    {103, "eERROR_DEVICE_SIM_LOCKED"},
    {104, "eERROR_DEVICE_NOT_CPIN_LOCKED"},
    {105, "eERROR_DEVICE_CLEAR_CPIN_FAILED"},
    {106, "eERROR_DEVICE_SET_CPIN_FAILED"},
    {107, "eERROR_DEVICE_ENABLE_CPIN_FAILED"},
    {108, "eERROR_DEVICE_DISABLE_CPIN_FAILED"},
    {109, "eERROR_DEVICE_CHANGE_CPIN_FAILED"},
    {110, "eERROR_DEVICE_UNLOCK_CPIN_FAILED"},
    {111, "eERROR_DEVICE_CPIN_FORMAT_INVALID"},
    {112, "eERROR_DEVICE_CPIN_BAD_PASSWORD"},
    {113, "eERROR_DEVICE_NOT_PUK_LOCKED"},
    {114, "eERROR_DEVICE_PUK_FORMAT_INVALID"},
    {115, "eERROR_DEVICE_PUK_BAD_PASSWORD"},
    {116, "eERROR_DEVICE_UNLOCK_PUK_FAILED"},
    {200, "eERROR_DEVICE_NETWORK_ATTACH_FAILURE"},
    {201, "eERROR_DEVICE_NETWORK_NOT_REGISTERED"},
    {202, "eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED"},
    {203, "eERROR_DEVICE_NETWORK_NOT_ATTACHED"},
    {204, "eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE"},
    {205, "eERROR_DEVICE_PDP_CONTEXT_NOT_ACTIVE"},
    {206, "eERROR_DEVICE_GET_PDP_NETWORK_INFO_ERROR"},
    {207, "eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE"},
    {208, "eERROR_DEVICE_NMC_DATA_SET_ERROR"},
    {209, "eERROR_DEVICE_RAW_DATA_SET_ERROR"},
    {210, "eERROR_DEVICE_RAW_DATA_SET_NO_CONNECT"},
    {300, "eERROR_DEVICE_NETWORK_SETUP_FAILURE"},
    {301, "eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE"},
    {302, "eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING"},
    {303, "eERROR_DEVICE_NETWORK_IPV4_IP_SET_FAILURE"},
    {304, "eERROR_DEVICE_NETWORK_IPV6_IP_SET_FAILURE"},
    {305, "eERROR_DEVICE_NETWORK_IPV4_GATEWAY_SET_FAILURE"},
    {306, "eERROR_DEVICE_NETWORK_IPV6_GATEWAY_SET_FAILURE"},
    {400, "eERROR_DEVICE_SMS_GENERAL_ERROR"},
    {401, "eERROR_DEVICE_SMS_DELAY_TIMER_RUNNING"},
    {402, "eERROR_DEVICE_SMS_READ_SEND_DIR_FAILURE"},
    {403, "eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE"},
    {404, "eERROR_DEVICE_SMS_OUT_FILE_PARSE_FAILURE"},
    {405, "eERROR_DEVICE_SMS_PDU_ENCODE_FAILURE"},
    {406, "eERROR_DEVICE_SMS_PDU_SEND_ERROR"},
    {407, "eERROR_DEVICE_SMS_PDU_SEND_TIMEOUT"},
    {500, "eERROR_DEVICE_FIRMWARE_INVALID_SLOT"},
    {501, "eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS"},
    {502, "eERROR_DEVICE_FIRMWARE_SWITCH_NOT_SUPPORTED"},
    {503, "eERROR_DEVICE_FIRMWARE_SWITCH_ERROR"},
    {504, "eERROR_DEVICE_FIRMWARE_SWITCH_PREV_ERROR"},
    {505, "eERROR_DEVICE_FIRMWARE_SWITCH_SIM_NOT_READY"},
    {506, "eERROR_DEVICE_FIRMWARE_ALREADY_SET"},
    {507, "eERROR_DEVICE_FIRMWARE_WONT_SWITCH_INVALID_SIM_SLOT"},
    {525, "eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID"},
    {526, "eERROR_DEVICE_GPS_DEV_OPEN_FAILURE"},
    {527, "eERROR_DEVICE_GPS_SET_SKVS_FAILURE"},
    {528, "eERROR_DEVICE_GPS_ENABLE_FAILURE"},
    {529, "eERROR_DEVICE_GPS_ENABLE_MAX_COUNT"},
    {530, "eERROR_DEVICE_GPS_OK_TO_ENABLE"},
    {531, "eERROR_DEVICE_GPS_START_STREAM_FAILURE"},
    {532, "eERROR_DEVICE_GPS_START_STREAM_SUCCESS"},
    {533, "eERROR_DEVICE_GPS_STOP_STREAM_FAILURE"},
    {534, "eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS"},
    {535, "eERROR_DEVICE_GPS_ENABLED"},
    {536, "eERROR_DEVICE_GPS_DISABLED"},
    {900, "eERROR_DEVICE_NOT_RESPONDING"},
};
// clang-format on

const eAtCmd COMMAND_NUMBERS[] = {
#define AT_COMMAND_NAME(name, number, text) name,
    AT_COMMANDS(AT_COMMAND_NAME)
#undef AT_COMMAND_NAME
};

template <typename tKey>
tTable asTable(const std::map<tKey, std::string>& map) {
    tTable table;
    for (const auto& row : map)
        table[static_cast<int>(row.first)] = row.second;
    return table;
}

}  // namespace

TEST(SetupVariableMaps, Commands_AreNumberedFromZeroAndEachHasItsOwnText) {
    int next = 0;
    std::set<std::string> texts;
    for (const eAtCmd number : COMMAND_NUMBERS) {
        EXPECT_EQ(number, next++);
        if (number == eAT_CMD_CIREG_SET) continue;
        const std::string text = mapText(atCmd_Map, number);
        EXPECT_EQ(text.find("AT"), 0u) << number;
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
    EXPECT_EQ(atCmd_Map.size(), texts.size());
    EXPECT_EQ(atCmd_Map.count(eAT_CMD_CIREG_SET), 0u);
}

TEST(SetupVariableMaps, CommandsThatNothingSends_HaveTheirText) {
    const tTable commands = asTable(atCmd_Map);
    for (const auto& [number, text] : UNSENT_COMMANDS)
        EXPECT_EQ(commands.at(number), text);
}

TEST(SetupVariableMaps, ModemErrors_AreComplete) {
    EXPECT_EQ(CMEE_Map.size(), 114u);
    EXPECT_EQ(asTable(CMEE_Map), MODEM_ERRORS);
}

TEST(SetupVariableMaps, Results_AreComplete) {
    EXPECT_EQ(asTable(GeneralError_Map), RESULTS);
    EXPECT_EQ(GeneralError_Map[eERROR_DEVICE_SIM_LOCKED], "eERROR_DEVICE_SIM_LOCKED");
    EXPECT_EQ(GeneralError_Map[eERROR_DEVICE_SIM_LOCKED_CNUM], "eERROR_DEVICE_SIM_LOCKED");
    EXPECT_EQ(GeneralError_Map[static_cast<eGeneralErrors>(527)],
              "eERROR_DEVICE_GPS_SET_SKVS_FAILURE");
}

TEST(SetupVariableMaps, SmallTables_AreComplete) {
    EXPECT_EQ(asTable(telitModelList_Map), (tTable{{0, "Unknown"},
                                                   {2, "Telit Unknown"},
                                                   {3, "LE910-NA1"},
                                                   {4, "LE910-NA V2"},
                                                   {5, "LE910-SV V2"},
                                                   {6, "LE910B4-NA"},
                                                   {7, "LE910-AU V2"},
                                                   {8, "LE910-EU V2"}}));
    EXPECT_EQ(
        asTable(telitNetType_Map),
        (tTable{
            {0, "GPRS"}, {1, "EGPRS"}, {2, "WCDMA"}, {3, "HSDPA"}, {4, "LTE"}, {5, "UNKNOWN"}}));
    EXPECT_EQ(asTable(telitCopsAct_Map), (tTable{{-1, "UNKNOWN"},
                                                 {0, "GSM"},
                                                 {2, "UTRAN"},
                                                 {3, "GSM w/EGPRS"},
                                                 {4, "UTRAN w/HSDPA"},
                                                 {5, "UTRAN w/HSUPA"},
                                                 {6, "UTRAN w/HSDPA and HSUPA"},
                                                 {7, "E-UTRAN"}}));
    EXPECT_EQ(asTable(telitTempLevel_Map), (tTable{{-3, "Unknown"},
                                                   {-2, "Extreme temperature lower bound"},
                                                   {-1, "Operating temperature lower bound"},
                                                   {0, "Normal temperature"},
                                                   {1, "Operating temperature upper bound"},
                                                   {2, "Extreme temperature upper bound"}}));
    EXPECT_EQ(asTable(telitCarrierFirmware_Map), (tTable{{0, "Unknown"},
                                                         {1, "Generic NA"},
                                                         {2, "Verizon"},
                                                         {3, "AT&T"},
                                                         {4, "Generic EU"},
                                                         {5, "Telstra"}}));
}

TEST(SetupVariableMaps, CalledAgain_LeavesTheSameContentAndTheOperatorNames) {
    telitCarrier_list_Map = {{"310410", "AT&T"}};
    const tTable commands = asTable(atCmd_Map);
    setupVariableMaps();
    EXPECT_EQ(asTable(atCmd_Map), commands);
    EXPECT_EQ(asTable(CMEE_Map), MODEM_ERRORS);
    EXPECT_EQ(asTable(GeneralError_Map), RESULTS);
    EXPECT_EQ(telitCarrier_list_Map.size(), 1u);
    telitCarrier_list_Map.clear();
}

TEST(CommandText, IdentifierWithoutText_GivesArgumentsOnlyAndAddsTheRow) {
    EXPECT_EQ(commandText(eAT_CMD_CIREG_SET, "2"), "2");
    EXPECT_EQ(atCmd_Map.count(eAT_CMD_CIREG_SET), 1u);
    atCmd_Map.erase(eAT_CMD_CIREG_SET);
    EXPECT_EQ(commandText(eAT_CMD_CREG_SET, "2"), "AT+CREG=2");
}

TEST(MapText, CodeWithoutText_IsEmptyAndAddsNoRow) {
    const size_t rows = telitNetType_Map.size();
    EXPECT_EQ(mapText(telitNetType_Map, static_cast<ePS_NET_TYPE>(99)), "");
    EXPECT_EQ(telitNetType_Map.size(), rows);
    EXPECT_EQ(mapText(telitModelList_Map, eTELIT_MODEL_NOT_INITED), "");
    EXPECT_EQ(mapText(telitCopsAct_Map, static_cast<eCOPS_ACCESS_TECH>(1)), "");
}

TEST(ResultCodes, Values_AreThoseOfTheTables) {
    EXPECT_EQ(ePORT_CONNECT, -5);
    EXPECT_EQ(ePORT_NO_FINAL_RESULT, -4);
    EXPECT_EQ(ePORT_OK, -3);
    EXPECT_EQ(ePORT_ERROR, -2);
    EXPECT_EQ(ePORT_CMX_ERROR, -1);
    EXPECT_TRUE(isPortError(ePORT_ERROR));
    EXPECT_TRUE(isPortError(static_cast<ePortReturn>(10)));
    EXPECT_FALSE(isPortError(ePORT_OK));
    EXPECT_FALSE(isPortError(ePORT_NO_FINAL_RESULT));
}

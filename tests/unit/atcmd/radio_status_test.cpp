#include "atcmd/radio_status.h"

#include <gtest/gtest.h>

#include "atcmd/catalogue.h"
#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

// Replies are made up unless a case says that it was recorded.

namespace {

// Recorded: LE910-NAG, 17.00.503, with a test IMSI.
const std::string LTE_LINE =
    "\"310 410\",2225,-116,-86,-8,700D,1,,128,19,0,00001D7,\"310410000000002\",\"AT&T\",3,4";

// Recorded: LE910C1-EUX, with a test IMSI. RAC and transmit power share one empty field; SINR last.
const std::string LTE_LINE_WITH_SINR =
    "\"286 01\",1795,-101,-67,-15,2242,,128,3,1,0B5D121,\"286010000000008\",\"Turkcell\",3,3,108";

const std::string WCDMA_LINE =
    "\"204 04\",10564,176,-1.5,-64,-62,00AF,FF,-19,128,24,4,2,000,2DDBDAB,\"204040000000000\","
    "\"vodafone NL\",3,0";

// Recorded: an older WCDMA module; most fields are empty.
const std::string WCDMA_SPARSE_LINE =
    "\"204 04\",,,,,,,,0,64,0,4,2,,2DDC1C3,\"204040000000000\",\"vodafone NL\",1,0";

// Recorded: an older WCDMA module, a connection with one cell in its active set.
const std::string WCDMA_CELL_LINE =
    "\"204 04\",,,,,,,,24,64,19,4,2,000,2DDBDAB,\"204040000000000\",\"vodafone NL\",1,1,10564,176,"
    "-1.5";

std::string wcdmaLine(const std::string& count, int cells) {
    std::string line = WCDMA_LINE.substr(0, WCDMA_LINE.size() - 1) + count;
    for (int cell = 0; cell < cells; ++cell)
        line += "," + std::to_string(10000 + cell) + "," + std::to_string(100 + cell) + ",-" +
                std::to_string(cell) + ".5";
    return line;
}

std::string rfsts(int type, const std::string& line) {
    return modemReply({"#PSNT: 0," + std::to_string(type), "", "#RFSTS: " + line});
}

sNetworkInfo parsedStatus(int type, const std::string& line) {
    sNetworkInfo network;
    const std::string response = rfsts(type, line);
    parseModemPsNetType(response, network);
    parseModemNetworkStatus(response, network);
    return network;
}

void tortureStatus(int type, const std::string& line) {
    tortureReply(rfsts(type, line), [](const std::string& response) {
        sNetworkInfo network;
        parseModemPsNetType(response, network);
        parseModemNetworkStatus(response, network);
        expectBounded(network);
    });
    tortureReply(line, [=](const std::string& damaged) {
        sNetworkInfo network;
        network.e_psnt_service_type = static_cast<ePS_NET_TYPE>(type);
        parseModemNetworkStatus("#RFSTS: " + damaged, network);
        expectBounded(network);
    });
}

}  // namespace

TEST(ParseCSQ, Lines_NeedExactlyTwoFields) {
    const struct {
        const char* line;
        int rssi;
        int ber;
    } cases[] = {
        {"+CSQ: 17,0", 17, 0},    {"+CSQ: 99,99", 99, 99}, {"+CSQ:31,7", 31, 7},
        {"+CSQ: 1,2,3", 99, 99},  {"+CSQ: 17", 99, 99},    {"+CSQ:", 99, 99},
        {"+CSQ: ,", 0, 0},        {"+CSQ: 17,", 17, 0},    {"+CSQ: -1,5", -1, 5},
        {"+CSQ: 199,0", -57, 0},  {"+CSQ: x,1", 0, 1},     {"nothing", 99, 99},
        {"+CSQ: 1 7 , 0", 17, 0},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(modemReply({row.line}));
        sNetworkInfo network;
        network.i_rssi = 1;
        network.i_ber = 1;
        EXPECT_EQ(getCSQ(port.descriptor(), network), ePORT_OK);
        EXPECT_EQ(network.i_rssi, row.rssi) << row.line;
        EXPECT_EQ(network.i_ber, row.ber) << row.line;
    }
    tortureReply(modemReply({"+CSQ: 17,0"}), [](const std::string& response) {
        sNetworkInfo network;
        parseCSQ(response, network);
        expectBounded(network);
    });
}

TEST(ParseCSQ, ThreeFields_LeavesRecordAlone) {
    sNetworkInfo network;
    network.i_rssi = 17;
    network.i_ber = 3;
    parseCSQ(modemReply({"+CSQ: 1,2,3"}), network);
    EXPECT_EQ(network.i_rssi, 17);
    EXPECT_EQ(network.i_ber, 3);
}

TEST(GetCSQ, Failure_LeavesUnknown) {
    cFakePort port;
    port.answer(ERROR_REPLY);
    sNetworkInfo network;
    network.i_rssi = 17;
    network.i_ber = 3;
    EXPECT_EQ(getCSQ(port.descriptor(), network), ePORT_ERROR);
    EXPECT_EQ(network.i_rssi, 99);
    EXPECT_EQ(network.i_ber, 99);
}

TEST(ParseModemPsNetType, Lines_GiveTypeAndHspa) {
    const struct {
        const char* line;
        int type;
        const char* text;
        int hspa[4];  // HSUPA available, used; HSDPA available, used
    } cases[] = {
        {"#PSNT: 0,4", 4, "LTE", {0, 0, 0, 0}},    // recorded
        {"#PSNT: 4", 5, "UNKNOWN", {0, 0, 0, 0}},  // recorded, unasked
        {"#PSNT: 0,0", 0, "GPRS", {0, 0, 0, 0}},
        {"#PSNT: 0,1", 1, "EGPRS", {0, 0, 0, 0}},
        {"#PSNT: 0,2,1,0,1,1", 2, "WCDMA", {1, 0, 1, 1}},
        {"#PSNT: 0,3,1,2,3,4,5", 3, "HSDPA", {1, 2, 3, 4}},
        {"#PSNT: 0,2,1,0,1", 2, "WCDMA", {0, 0, 0, 0}},
        {"#PSNT: 0,5", 5, "UNKNOWN", {0, 0, 0, 0}},
        {"#PSNT: 0,9", 9, "", {0, 0, 0, 0}},
        {"#PSNT: 0,-1", -1, "", {0, 0, 0, 0}},
        {"#PSNT: 0,", 0, "GPRS", {0, 0, 0, 0}},
        {"#PSNT:", 5, "UNKNOWN", {0, 0, 0, 0}},
        {"nothing", 5, "UNKNOWN", {0, 0, 0, 0}},
    };
    for (const auto& row : cases) {
        sNetworkInfo network;
        network.e_psnt_service_type = ePS_NET_HSDPA;
        network.s_psnt_service_type = "before";
        network.i_psnt_is_hsupa_available = 7;
        network.i_psnt_is_hsupa_used = 7;
        network.i_psnt_is_hsdpa_available = 7;
        network.i_psnt_is_hsdpa_used = 7;
        parseModemPsNetType(modemReply({row.line}), network);
        EXPECT_EQ(network.e_psnt_service_type, row.type) << row.line;
        EXPECT_EQ(network.s_psnt_service_type, row.text) << row.line;
        EXPECT_EQ(network.i_psnt_is_hsupa_available, row.hspa[0]) << row.line;
        EXPECT_EQ(network.i_psnt_is_hsupa_used, row.hspa[1]) << row.line;
        EXPECT_EQ(network.i_psnt_is_hsdpa_available, row.hspa[2]) << row.line;
        EXPECT_EQ(network.i_psnt_is_hsdpa_used, row.hspa[3]) << row.line;
    }
    EXPECT_EQ(telitNetType_Map.size(), 6u) << "a type of the modem adds no row";
}

TEST(ParseModemPsNetType, OneField_IsLoggedAsTooShort) {
    for (const char* response : {"#PSNT: 4\n", "#PSNT: 4\r\n", "#PSNT:\t4 \r\r\n"}) {
        const cLogMode mode;
        sNetworkInfo network;
        parseModemPsNetType(response, network);
        EXPECT_EQ(capturedLog(),
                  std::vector<std::string>{"parseModemPsNetType(): Error: Did not find the "
                                           "expected number of tokens. Expected 2+, found 1 from "
                                           "text '4'"});
    }
}

TEST(ParseModemPsNetType, MissingOrEmptyLine_LogsNothing) {
    for (const char* response : {"", "#PSNT:", "#PSNT:\r\n", "#PSNT: \r\nOK\r\n"}) {
        const cLogMode mode;
        sNetworkInfo network;
        parseModemPsNetType(response, network);
        EXPECT_TRUE(capturedLog().empty()) << response;
    }
}

TEST(ParseModemPsNetType, RadioDetail_LogsEachValue) {
    const cLogMode mode(eLOG_RADIO_DETAIL);
    sNetworkInfo network;
    parseModemPsNetType("#PSNT: 0,2,1,0,1,0\n", network);
    EXPECT_EQ(capturedLog(),
              (std::vector<std::string>{
                  "DEBUG: parseModemPsNetType(): Match ' 0,2,1,0,1,0' from '#PSNT: 0,2,1,0,1,0\n'",
                  "DEBUG: parseModemPsNetType(): e_psnt_service_type set to '2'",
                  "DEBUG: parseModemPsNetType(): s_psnt_service_type set to 'WCDMA'",
                  "DEBUG: parseModemPsNetType(): i_psnt_is_hsupa_available set to '1'",
                  "DEBUG: parseModemPsNetType(): i_psnt_is_hsupa_used set to '0'",
                  "DEBUG: parseModemPsNetType(): i_psnt_is_hsdpa_available set to '1'",
                  "DEBUG: parseModemPsNetType(): i_psnt_is_hsdpa_used set to '0'",
              }));
}

TEST(ParseModemNetworkStatus, LteLine_FillsTheCell) {
    const sNetworkInfo network = parsedStatus(4, LTE_LINE);
    EXPECT_EQ(network.s_plmn, "310410");
    EXPECT_EQ(network.s_mcc, "310");
    EXPECT_EQ(network.s_mnc, "410");
    EXPECT_EQ(network.s_channel, "2225");
    EXPECT_EQ(network.s_rsrp, "-116");
    EXPECT_EQ(network.s_rssi, "-86");
    EXPECT_EQ(network.s_lte_rssi, "-86");
    EXPECT_EQ(network.s_rsrq, "-8");
    EXPECT_EQ(network.s_tac, "700D");
    EXPECT_EQ(network.s_lac, "700D");
    EXPECT_EQ(network.s_lac_tac, "700D");
    EXPECT_EQ(network.s_rac, "1");
    EXPECT_EQ(network.s_tx_power, "");
    EXPECT_EQ(network.s_drx, "128");
    EXPECT_EQ(network.i_mm, 19);
    EXPECT_EQ(network.s_mm, "19");
    EXPECT_EQ(network.i_rrc, 0);
    EXPECT_EQ(network.s_rrc, "0");
    EXPECT_EQ(network.s_cell_id_hex, "00001D7");
    EXPECT_EQ(network.s_cell_id, "471");
    EXPECT_EQ(network.s_imsi, "310410000000002");
    EXPECT_EQ(network.s_network_name, "AT&T");
    EXPECT_EQ(network.s_service_domain, "3");
    EXPECT_EQ(network.s_band, "4");
    EXPECT_EQ(network.i_t3402, 0);
    EXPECT_EQ(network.i_t3412, 0);
}

TEST(ParseModemNetworkStatus, LteTimers_NeedEighteenFields) {
    EXPECT_EQ(parsedStatus(4, LTE_LINE + ",720").i_t3402, 0);
    const sNetworkInfo network = parsedStatus(4, LTE_LINE + ",720,3240");
    EXPECT_EQ(network.i_t3402, 720);
    EXPECT_EQ(network.i_t3412, 3240);
}

TEST(ParseModemNetworkStatus, LteLineWithoutTransmitPower_FillsTheCell) {
    const sNetworkInfo network = parsedStatus(4, LTE_LINE_WITH_SINR);
    EXPECT_EQ(network.s_plmn, "28601");
    EXPECT_EQ(network.s_channel, "1795");
    EXPECT_EQ(network.s_rsrp, "-101");
    EXPECT_EQ(network.s_rssi, "-67");
    EXPECT_EQ(network.s_lte_rssi, "-67");
    EXPECT_EQ(network.s_rsrq, "-15");
    EXPECT_EQ(network.s_tac, "2242");
    EXPECT_EQ(network.s_rac, "");
    EXPECT_EQ(network.s_tx_power, "");
    EXPECT_EQ(network.s_drx, "128");
    EXPECT_EQ(network.i_mm, 3);
    EXPECT_EQ(network.s_mm, "3");
    EXPECT_EQ(network.i_rrc, 1);
    EXPECT_EQ(network.s_rrc, "1");
    EXPECT_EQ(network.s_cell_id_hex, "0B5D121");
    EXPECT_EQ(network.s_cell_id, "11915553");
    EXPECT_EQ(network.s_imsi, "286010000000008");
    EXPECT_EQ(network.s_network_name, "Turkcell");
    EXPECT_EQ(network.s_service_domain, "3");
    EXPECT_EQ(network.s_band, "3");
}

TEST(ParseModemNetworkStatus, LteLineWithoutTransmitPower_HasNoTimers) {
    const sNetworkInfo network = parsedStatus(4, LTE_LINE_WITH_SINR + ",720,3240");
    EXPECT_EQ(network.s_band, "3");
    EXPECT_EQ(network.i_t3402, 0);
    EXPECT_EQ(network.i_t3412, 0);
}

// Only an IMSI in the twelfth place moves the fields. With any other oddity they stay where the
// first modules of the family have them.
TEST(ParseModemNetworkStatus, PlaceOfTheImsi_DecidesWhereTheBandIs) {
    const struct {
        const char* twelfth;
        const char* thirteenth;
        const char* band;
    } cases[] = {
        {"00001D7", "\"310410000000002\"", "16th"},
        {"\"310410000000002\"", "\"AT&T\"", "15th"},
        {" \"310410000000002\" ", "\"\"", "15th"},
        {"\"310410000000002\"", "", "15th"},
        {"\"00001\"", "\"310410000000002\"", "16th"},
        {"\"\"", "\"\"", "16th"},
        {"00001", "\"AT&T\"", "16th"},
        {"\"00001D7\"", "\"AT&T\"", "16th"},
        {"\"", "\"", "16th"},
        {"00001D7", "", "16th"},
    };
    for (const auto& row : cases) {
        const std::string line = std::string("\"310 410\",2225,-116,-86,-8,700D,1,,128,19,0,") +
                                 row.twelfth + "," + row.thirteenth + ",14th,15th,16th";
        EXPECT_EQ(parsedStatus(4, line).s_band, row.band) << line;
    }
}

TEST(ParseModemNetworkStatus, ShortLines_AreLoggedAndIgnored) {
    const struct {
        int type;
        std::string line;
        const char* log;
    } cases[] = {
        {4, "\"310 410\",2225,-116",
         "parseLteNetworkStatus(): Error: Did not find the expected number of tokens. Expected 16 "
         "or higher, found 3 from '\"310 410\",2225,-116'"},
        {2, "\"310 410\",2225",
         "parseWcdmaNetworkStatus(): Error: Did not find the expected number of tokens. Expected "
         "19 or higher, found 2 from '\"310 410\",2225'"},
        {0, "\"310 410\"",
         "parseGsmNetworkStatus(): Error: Did not find the expected number of tokens. Expected "
         "14+, found 1 from '\"310 410\"'"},
        {1, "",
         "parseGsmNetworkStatus(): Error: Did not find the expected number of tokens. Expected "
         "14+, found 0 from ''"},
        {9, LTE_LINE, "parseModemNetworkStatus(): Error: Unknown Network Technology type '9'"},
        {-1, LTE_LINE, "parseModemNetworkStatus(): Error: Unknown Network Technology type '-1'"},
    };
    for (const auto& row : cases) {
        const cLogMode mode;
        const sNetworkInfo network = parsedStatus(row.type, row.line);
        EXPECT_EQ(capturedLog(), std::vector<std::string>{row.log});
        EXPECT_EQ(network.s_plmn, "");
        EXPECT_EQ(network.s_channel, "");
    }
}

TEST(ParseModemNetworkStatus, FifteenLteFieldsAreTooFew_SixteenAreEnough) {
    EXPECT_EQ(parsedStatus(4, LTE_LINE.substr(0, LTE_LINE.size() - 2)).s_channel, "");
    EXPECT_EQ(parsedStatus(4, LTE_LINE).s_channel, "2225");
}

TEST(ParseModemNetworkStatus, UnknownType_ChangesNothing) {
    const cLogMode mode(eLOG_RADIO_DETAIL);
    sNetworkInfo network;
    parseModemNetworkStatus("#RFSTS: " + LTE_LINE + "\n", network);
    EXPECT_EQ(network.s_channel, "");
    EXPECT_TRUE(capturedLog().empty());
}

TEST(ParseModemNetworkStatus, WcdmaLineWithoutActiveSet_FillsTheNineteenFields) {
    const sNetworkInfo network = parsedStatus(2, WCDMA_LINE);
    EXPECT_EQ(network.s_plmn, "20404");
    EXPECT_EQ(network.s_mcc, "204");
    EXPECT_EQ(network.s_mnc, "04");
    EXPECT_EQ(network.s_channel, "10564");
    EXPECT_EQ(network.s_psc, "176");
    EXPECT_EQ(network.s_ecio, "-1.5");
    EXPECT_EQ(network.s_rscp, "-64");
    EXPECT_EQ(network.s_rssi, "-62");
    EXPECT_EQ(network.s_lac, "00AF");
    EXPECT_EQ(network.s_lac_tac, "00AF");
    EXPECT_EQ(network.s_tac, "");
    EXPECT_EQ(network.s_lte_rssi, "");
    EXPECT_EQ(network.s_rsrp, "");
    EXPECT_EQ(network.s_rsrq, "");
    EXPECT_EQ(network.s_rac, "FF");
    EXPECT_EQ(network.s_tx_power, "-19");
    EXPECT_EQ(network.s_drx, "128");
    EXPECT_EQ(network.i_mm, 24);
    EXPECT_EQ(network.s_mm, "24");
    EXPECT_EQ(network.i_rrc, 4);
    EXPECT_EQ(network.s_rrc, "4");
    EXPECT_EQ(network.s_nom, "2");
    EXPECT_EQ(network.s_bler, "000");
    EXPECT_EQ(network.s_cell_id_hex, "2DDBDAB");
    EXPECT_EQ(network.s_cell_id, "48086443");
    EXPECT_EQ(network.s_imsi, "204040000000000");
    EXPECT_EQ(network.s_network_name, "vodafone NL");
    EXPECT_EQ(network.s_service_domain, "3");
    EXPECT_EQ(network.s_band, "");
    EXPECT_EQ(network.i_active_set_reported, 0);
    EXPECT_EQ(network.i_active_set_count, 0u);
}

TEST(ParseModemNetworkStatus, WcdmaLineWithEmptyLacAndRac_KeepsTheirValues) {
    sNetworkInfo network;
    network.e_psnt_service_type = ePS_NET_HSDPA;
    network.s_lac = "1234";
    network.s_lac_tac = "1234";
    network.s_rac = "5";
    network.s_channel = "before";
    parseModemNetworkStatus("#RFSTS: " + WCDMA_SPARSE_LINE + "\r\n", network);
    EXPECT_EQ(network.s_lac, "1234");
    EXPECT_EQ(network.s_lac_tac, "1234");
    EXPECT_EQ(network.s_rac, "5");
    EXPECT_EQ(network.s_channel, "");
    EXPECT_EQ(network.s_cell_id, "48087491");
    EXPECT_EQ(network.i_mm, 0);
}

TEST(ParseModemNetworkStatus, WcdmaActiveSet_NeedsItsExactFieldCount) {
    const struct {
        const char* count;
        int cells;
        size_t stored;
    } cases[] = {
        {"0", 0, 0}, {"1", 1, 1}, {"2", 2, 2},  {"6", 6, 6},  {"7", 7, 0},           {"2", 1, 0},
        {"1", 2, 0}, {"0", 1, 0}, {"-1", 0, 0}, {"-1", 1, 0}, {"99999999999", 1, 0},
    };
    for (const auto& row : cases) {
        const sNetworkInfo network = parsedStatus(3, wcdmaLine(row.count, row.cells));
        EXPECT_EQ(network.i_active_set_count, row.stored) << row.count << " " << row.cells;
        EXPECT_EQ(network.s_channel, "10564") << "the other fields are stored all the same";
        for (size_t cell = 0; cell < row.stored; ++cell) {
            EXPECT_EQ(network.active_set[cell].i_uarfcn, 10000 + static_cast<int>(cell));
            EXPECT_EQ(network.active_set[cell].i_psc, 100 + static_cast<int>(cell));
            EXPECT_DOUBLE_EQ(network.active_set[cell].f_ecio, -(static_cast<double>(cell) + 0.5));
        }
    }
}

// Two cells need twenty-five fields.
TEST(ParseModemNetworkStatus, WcdmaCountTwoWithTwentyFourFields_StoresNoActiveSet) {
    const std::string line = wcdmaLine("2", 2);
    EXPECT_EQ(parsedStatus(2, line.substr(0, line.rfind(','))).i_active_set_count, 0u);
    EXPECT_EQ(parsedStatus(2, line).i_active_set_count, 2u);
}

TEST(ParseModemNetworkStatus, RecordedWcdmaCell_IsStored) {
    const sNetworkInfo network = parsedStatus(2, WCDMA_CELL_LINE);
    ASSERT_EQ(network.i_active_set_count, 1u);
    EXPECT_EQ(network.active_set[0].i_uarfcn, 10564);
    EXPECT_EQ(network.active_set[0].i_psc, 176);
    EXPECT_DOUBLE_EQ(network.active_set[0].f_ecio, -1.5);
    EXPECT_EQ(network.s_lac, "");
}

// Recorded: a GSM cell, and no service.
TEST(ParseModemNetworkStatus, GsmLines_AreNotKept) {
    for (const char* line :
         {"\"204 04\",1020,-63,00DE,FF,0,19,29,,C1AD,\"204040000000009\",\"vodafone NL(\",1,2",
          ",32767,-47,,,19,27,,,\"204040000000005\",\"\",0,2"}) {
        const sNetworkInfo network = parsedStatus(0, line);
        EXPECT_EQ(network.s_plmn, "");
        EXPECT_EQ(network.s_channel, "");
        EXPECT_EQ(network.s_imsi, "");
    }
    const cLogMode mode;
    parsedStatus(1, "\"204 04\",1020,-63,00DE,FF,0,19,29,,C1AD,\"204040000000009\",\"x\",1,2");
    EXPECT_TRUE(capturedLog().empty());
}

TEST(ParseModemNetworkStatus, DamagedReplies_GiveAValidRecord) {
    const cLogMode mode;
    tortureStatus(4, LTE_LINE + ",720,3240");
    tortureStatus(4, LTE_LINE_WITH_SINR);
    tortureStatus(2, wcdmaLine("2", 2));
    tortureStatus(0, "\"204 04\",1020,-63,00DE");
    clearCapturedLog();
}

TEST(ParsePlmn, Texts_NeedTwoParts) {
    const struct {
        const char* text;
        const char* plmn;
        const char* mcc;
        const char* mnc;
    } cases[] = {
        {"\"310 410\"", "310410", "310", "410"},
        {"\"262 25\"", "26225", "262", "25"},
        {"310  410", "310410", "310", "410"},
        {"", "before", "before", "before"},
        {"\"310410\"", "before", "before", "before"},
        {"\"310 410 5\"", "before", "before", "before"},
        {"\"\"", "before", "before", "before"},
        {"a b", "", "", ""},
    };
    for (const auto& row : cases) {
        sNetworkInfo network;
        network.s_plmn = network.s_mcc = network.s_mnc = "before";
        parsePlmn(row.text, network);
        EXPECT_EQ(network.s_plmn, row.plmn) << row.text;
        EXPECT_EQ(network.s_mcc, row.mcc) << row.text;
        EXPECT_EQ(network.s_mnc, row.mnc) << row.text;
    }
}

TEST(ParsePlmn, TwoLongCodes_AreBounded) {
    sNetworkInfo network;
    parsePlmn(std::string(1000, '1') + " " + std::string(1000, '2'), network);
    expectBounded(network);
}

TEST(GetModemNetworkInfo, NotRegistered_SendsNothingAndShowsDefaults) {
    for (const int state : {0, 2, 4}) {
        cFakePort port;
        sNetworkInfo network;
        network.i_reg_state = state;
        network.s_channel = "before";
        network.e_psnt_service_type = ePS_NET_LTE;
        EXPECT_EQ(getModemNetworkInfo(port.descriptor(), network), ePORT_OK);
        EXPECT_TRUE(port.sleepsUs().empty());
        EXPECT_EQ(network.s_channel, "");
        EXPECT_EQ(network.e_psnt_service_type, ePS_NET_UNKNOWN);
        EXPECT_EQ(network.i_reg_state, state);
    }
}

TEST(GetModemNetworkInfo, RegisteredOrDenied_ReadsTypeAndCell) {
    for (const bool registered : {true, false}) {
        cFakePort port;
        port.answer(rfsts(4, LTE_LINE));
        sNetworkInfo network;
        network.b_registered = registered;
        network.i_reg_state = registered ? eREG_HOME : eREG_DENIED;
        EXPECT_EQ(getModemNetworkInfo(port.descriptor(), network), ePORT_OK);
        EXPECT_EQ(port.commands(), std::vector<std::string>{"AT#PSNT?;#RFSTS"});
        EXPECT_EQ(network.s_psnt_service_type, "LTE");
        EXPECT_EQ(network.s_channel, "2225");
    }
}

TEST(GetModemNetworkInfo, Failure_ShowsDefaults) {
    cFakePort port;
    port.answer(modemReply({"#PSNT: 0,4", "#RFSTS: " + LTE_LINE}, "ERROR"));
    sNetworkInfo network;
    network.b_registered = true;
    network.s_channel = "before";
    EXPECT_EQ(getModemNetworkInfo(port.descriptor(), network), ePORT_ERROR);
    EXPECT_EQ(network.s_channel, "");
    EXPECT_EQ(network.e_psnt_service_type, ePS_NET_UNKNOWN);
}

#include "atcmd/operators.h"

#include <gtest/gtest.h>

#include "atcmd/catalogue.h"
#include "device/at_transaction.h"
#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

// Replies are made up unless a case says that it was recorded.

namespace {

class CarrierList : public testing::Test {
  protected:
    void SetUp() override { telitCarrier_list_Map.clear(); }
    void TearDown() override { telitCarrier_list_Map.clear(); }
};

using tNames = std::map<std::string, std::string>;

}  // namespace

TEST(ParseCopsAct, Lines_GiveModeOperatorAndTechnology) {
    const struct {
        const char* line;
        int mode;
        const char* name;
        int technology;
        const char* text;
    } cases[] = {
        {"+COPS: 1,2,\"310410\",7", 1, "310410", 7, "E-UTRAN"},  // recorded
        {"+COPS: 0,0,\"AT&T\",2", 0, "AT&T", 2, "UTRAN"},
        {"+COPS: 0,0,\"AT&T\",0", 0, "AT&T", 0, "GSM"},
        {"+COPS: 0,0,\"Two Words\",9", 0, "Two Words", -1, "UNKNOWN"},
        {"+COPS: 0,0,\"AT&T\",1", 0, "AT&T", -1, "UNKNOWN"},
        {"+COPS: 0,0,\" AT&T \"", 0, "AT&T", -1, "UNKNOWN"},
        {"+COPS: 0,0", 0, "Unknown", -1, "UNKNOWN"},
        {"+COPS: 0", 0, "Unknown", -1, "UNKNOWN"},
        {"+COPS: 4x", 4, "Unknown", -1, "UNKNOWN"},
        {"+COPS: -1,0,\"x\"", -1, "x", -1, "UNKNOWN"},
        {"+COPS:", -1, "Unknown", -1, "UNKNOWN"},
        {"nothing", -1, "Unknown", -1, "UNKNOWN"},
        {"+COPS: 0,0,\"x\", 7 ,1", 0, "x", 7, "E-UTRAN"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(modemReply({row.line}));
        sNetworkInfo network;
        network.i_cops_mode = 8;
        network.s_operator = "before";
        network.e_cops_act = eCOPS_ACT_GSM;
        network.s_cops_act = "before";
        EXPECT_EQ(getCopsAct(port.descriptor(), network), ePORT_OK);
        EXPECT_EQ(network.i_cops_mode, row.mode) << row.line;
        EXPECT_EQ(network.s_operator, row.name) << row.line;
        EXPECT_EQ(network.e_cops_act, row.technology) << row.line;
        EXPECT_EQ(network.s_cops_act, row.text) << row.line;
    }
    EXPECT_EQ(telitCopsAct_Map.size(), 8u);
    tortureReply(modemReply({"+COPS: 1,2,\"310410\",7"}), [](const std::string& response) {
        sNetworkInfo network;
        parseCopsAct(response, network);
        expectBounded(network);
    });
}

TEST(GetCopsAct, Failure_LeavesTheDefaults) {
    cFakePort port;
    port.answer("\r\n+CME ERROR: 30\r\n");
    sNetworkInfo network;
    network.i_cops_mode = 0;
    network.s_operator = "before";
    network.e_cops_act = eCOPS_ACT_GSM;
    network.s_cops_act = "GSM";
    EXPECT_EQ(getCopsAct(port.descriptor(), network), static_cast<ePortReturn>(30));
    EXPECT_EQ(network.i_cops_mode, -1);
    EXPECT_EQ(network.s_operator, "Unknown");
    EXPECT_EQ(network.e_cops_act, -1);
    EXPECT_EQ(network.s_cops_act, "UNKNOWN");
}

TEST_F(CarrierList, Lines_WithTwoFieldsAreKept) {
    cFakePort port;
    port.answer(modemReply({
        "+COPN: \"310410\",\"AT&T\"",
        "+COPN: 26201 , Telekom.de ",
        "+COPN:\"20404\",\"vodafone NL\"",
        "+COPN: \"26202\" , \" Blank \" ",  // a blank inside the quotes belongs to the name
        "+COPN: \"1\",\"One, Two\"",
        "+COPN: \"2\"",
        "x+COPN: \"3\",\"Three\"",
        "+COPN: \"310410\",\"Later\"",
    }));
    const cLogMode mode(eLOG_AT_DETAIL);
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_OK);
    EXPECT_EQ(telitCarrier_list_Map, (tNames{{"310410", "Later"},
                                             {"26201", "Telekom.de"},
                                             {"20404", "vodafone NL"},
                                             {"26202", " Blank "}}));
    EXPECT_EQ(logCount("DEBUG: getCarrierList() adding telitCarrier_list_Map[20404]='vodafone NL'"),
              1u);
}

TEST_F(CarrierList, CalledTwice_QueriesOnce) {
    cFakePort port;
    port.answer(modemReply({"+COPN: \"310410\",\"AT&T\""}));
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_OK);
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_OK);
    EXPECT_EQ(getCarrierList(-1), ePORT_OK);
    EXPECT_EQ(port.commands(), std::vector<std::string>{"AT+COPN"});
}

TEST_F(CarrierList, EmptyAnswerOrFailure_IsQueriedAgain) {
    cFakePort port;
    port.answer(OK_REPLY).answer(ERROR_REPLY).answer(modemReply({"+COPN: \"310410\",\"AT&T\""}));
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_OK);
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_ERROR);
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_OK);
    EXPECT_EQ(telitCarrier_list_Map.size(), 1u);
}

TEST_F(CarrierList, LinesWithAnError_AreNotKept) {
    cFakePort port;
    port.answer(modemReply({"+COPN: \"310410\",\"AT&T\""}, "ERROR"));
    EXPECT_EQ(getCarrierList(port.descriptor()), ePORT_ERROR);
    EXPECT_TRUE(telitCarrier_list_Map.empty());
}

TEST_F(CarrierList, EndlessList_IsBounded) {
    std::string list;
    for (int plmn = 0; plmn < 20000; ++plmn)
        list += "+COPN: \"" + std::to_string(plmn) + "\",\"" + std::string(300, 'x') + "\"\r\n";
    parseCarrierList(list);
    EXPECT_EQ(telitCarrier_list_Map.size(), 8192u);
    for (const auto& row : telitCarrier_list_Map)
        expectBounded(row.second);
}

TEST_F(CarrierList, DamagedReplies_GiveAValidRecord) {
    tortureReply(modemReply({"+COPN: \"310410\",\"AT&T\""}), [](const std::string& response) {
        telitCarrier_list_Map.clear();
        parseCarrierList(response);
        EXPECT_LE(telitCarrier_list_Map.size(), 8192u);
        for (const auto& row : telitCarrier_list_Map) {
            expectBounded(row.first);
            expectBounded(row.second);
        }
    });
}

TEST_F(CarrierList, GetCarrierFromPLMN_FindsNamesOfNumbers) {
    telitCarrier_list_Map = {{"310410", "AT&T"}, {"", "empty"}, {"x", "letter"}};
    const struct {
        const char* plmn;
        const char* name;
        const char* log;
    } cases[] = {
        {"310410", "AT&T", "DEBUG: getCarrierFromPLMN(): Found match 310410->AT&T"},
        {"", "Unknown", "DEBUG: getCarrierFromPLMN(): Passed PLMN is empty"},
        {"x", "Unknown", "DEBUG: getCarrierFromPLMN(): Passed PLMN 'x' is not a number string"},
        {"-1", "Unknown", "DEBUG: getCarrierFromPLMN(): Passed PLMN '-1' is not a number string"},
        {"99999", "Unknown", nullptr},
    };
    for (const auto& row : cases) {
        const cLogMode mode(eLOG_AT_DETAIL);
        EXPECT_EQ(getCarrierFromPLMN(row.plmn), row.name);
        EXPECT_EQ(capturedLog(), row.log == nullptr ? std::vector<std::string>{}
                                                    : std::vector<std::string>{row.log});
    }
    EXPECT_EQ(telitCarrier_list_Map.size(), 3u);
}

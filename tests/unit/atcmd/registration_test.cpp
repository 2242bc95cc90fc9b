#include "atcmd/registration.h"

#include <gtest/gtest.h>

#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

// Replies are made up unless a case says that it was recorded.

namespace {

struct sRegistrationCase {
    const char* line;  // the text after the prefix
    int mode;
    int state;
    const char* area;
    const char* cell;
    const char* technology;
};

// The content of the record before.
sNetworkInfo usedNetwork() {
    sNetworkInfo network;
    network.i_reg_mode = 9;
    network.i_reg_state = 9;
    network.s_reg_area = "area";
    network.s_reg_cell = "cell";
    network.s_reg_access_tech = "tech";
    return network;
}

const sRegistrationCase CASES[] = {
    {" 2,5,\"1A2B\",\"01A2B3C4\",7", 2, 5, "1A2B", "01A2B3C4", "7"},
    {" 0,1", 0, 1, "area", "cell", "tech"},                           // recorded
    {" 2,0", 2, 0, "area", "cell", "tech"},                           // recorded
    {" 2,1,\"00AF\",\"ABCDEF01\",7", 2, 1, "00AF", "ABCDEF01", "7"},  // a fixture's form
    {" 0,1,\"5E25\",\"605F\",2", 0, 1, "5E25", "605F", "2"},          // recorded, HE910
    {" 2,0,\"\",\"\"", 2, 0, "area", "cell", "tech"},
    {" 2,1,\"00AF\"", 2, 1, "area", "cell", "tech"},
    {" 2,1,,,", 2, 1, "", "", ""},
    {" 2,1,\"00AF\",\"01\",7,0,0", 2, 1, "00AF", "01", "7"},
    {" 1", 9, 9, "area", "cell", "tech"},  // an unsolicited report
    {"", 9, 9, "area", "cell", "tech"},
    {" x,y", 9, 9, "area", "cell", "tech"},
    {" 1,\"CE00\",\"00005449\",7", 9, 9, "area", "cell", "tech"},  // a report of mode 2
    {" 2,99999999999", 2, 2147483647, "area", "cell", "tech"},
};

void expectParsed(void (*parse)(const std::string&, sNetworkInfo&), const std::string& prefix) {
    for (const sRegistrationCase& row : CASES) {
        sNetworkInfo network = usedNetwork();
        parse("AT" + prefix + "?\r" + modemReply({prefix + ":" + row.line}), network);
        EXPECT_EQ(network.i_reg_mode, row.mode) << row.line;
        EXPECT_EQ(network.i_reg_state, row.state) << row.line;
        EXPECT_EQ(network.s_reg_area, row.area) << row.line;
        EXPECT_EQ(network.s_reg_cell, row.cell) << row.line;
        EXPECT_EQ(network.s_reg_access_tech, row.technology) << row.line;
    }
    tortureReply(modemReply({prefix + ": 2,1,\"00AF\",\"ABCDEF01\",7"}),
                 [=](const std::string& response) {
                     sNetworkInfo network;
                     parse(response, network);
                     expectBounded(network);
                 });
}

struct sStateCase {
    int state;
    const char* text;
    const char* shortText;
    bool registered;
};

const sStateCase STATES[] = {
    {0, "Not Registered, Not Searching", "Not Reg", false},
    {1, "Registered, Home Network", "Reg Home", true},
    {2, "Not registered, Searching", "Searching", false},
    {3, "Registration Denied", "Reg Denied", false},
    {4, "Unknown", "Unknown", false},
    {5, "Registered, Roaming", "Reg Roaming", true},
    {6, "Unknown", "Unknown", false},
    {-1, "Unknown", "Unknown", false},
    {2147483647, "Unknown", "Unknown", false},
};

// Passes through the states and returns the log.
std::vector<std::string> logOfStates(const std::vector<int>& states, uint64_t debugMode) {
    resetRegistrationState();
    const cLogMode mode(debugMode);
    sNetworkInfo network;
    for (const int state : states) {
        network.i_reg_state = state;
        updateNetworkRegistrationInfo(network);
    }
    resetRegistrationState();
    return capturedLog();
}

}  // namespace

// Unsolicited reports of modes 1 and 2 before the answer. The form is documented (3GPP TS 27.007
// section 7.2), the numbers are made up.
TEST(ParseRegistration, ReportsBeforeTheAnswer_AreNotTheAnswer) {
    const struct {
        const char* prefix;
        void (*parse)(const std::string&, sNetworkInfo&);
    } queries[] = {{"+CREG:", parseCREG}, {"+CEREG:", parseCEREG}};
    const char* const reports[] = {" 1",
                                   " 1,\"CE00\",\"00005449\"",
                                   " 5,\"CE00\",\"00005449\",7",
                                   " 1,\"1234\",\"5678\",0",
                                   " 1,CE00,00005449",
                                   " 1,"};
    for (const auto& query : queries) {
        for (const std::string report : reports) {
            SCOPED_TRACE(query.prefix + report);
            const std::string line = query.prefix + report;
            const std::string answer = query.prefix + std::string(" 2,3,\"CE01\",\"00005450\",7");
            const std::vector<std::string> responses = {
                line + "\r\n" + modemReply({answer}), modemReply({line, line, answer}),
                modemReply({line + " ", "RING", answer}), modemReply({answer, line})};
            for (const std::string& response : responses) {
                sNetworkInfo network = usedNetwork();
                query.parse(response, network);
                EXPECT_EQ(network.i_reg_mode, 2) << response;
                EXPECT_EQ(network.i_reg_state, 3) << response;
                EXPECT_EQ(network.s_reg_area, "CE01") << response;
                EXPECT_EQ(network.s_reg_cell, "00005450") << response;
            }
        }
    }
}

TEST(ParseCIREG, ReportBeforeTheAnswer_IsNotTheAnswer) {
    for (const std::string report : {"+CIREG: 1", "+CIREG: 1,\"5\""}) {
        sNetworkInfo network;
        parseCIREG(modemReply({report, "+CIREG: 2,1"}), network);
        EXPECT_TRUE(network.b_ims_registered) << report;
        parseCIREG(modemReply({report, "+CIREG: 2,0"}), network);
        EXPECT_FALSE(network.b_ims_registered) << report;
    }
}

// A line of nothing but prefixes is searched once, not once per prefix.
TEST(ParseCREG, LongLineOfPrefixes_IsParsedQuickly) {
    std::string line;
    while (line.size() < size_t{1} << 20)
        line += "+CREG:";
    sNetworkInfo network = usedNetwork();
    parseCREG(modemReply({line, "+CREG: 0,1"}), network);
    EXPECT_EQ(network.i_reg_state, 1);
}

TEST(ParseCREG, Lines_GiveModeStateAndPlace) {
    expectParsed(parseCREG, "+CREG");
}

TEST(ParseCEREG, Lines_GiveModeStateAndPlace) {
    expectParsed(parseCEREG, "+CEREG");
}

TEST(ParseCEREG, OtherPrefix_ChangesNothing) {
    sNetworkInfo network = usedNetwork();
    parseCEREG(modemReply({"+CREG: 0,1"}), network);
    EXPECT_EQ(network.i_reg_state, 9);
    parseCREG(modemReply({"+CEREG: 0,1"}), network);
    EXPECT_EQ(network.i_reg_state, 9);
}

TEST(GetCREG, OkWithoutLine_KeepsTheOldState) {
    cFakePort port;
    port.answer(OK_REPLY);
    sNetworkInfo network = usedNetwork();
    EXPECT_EQ(getCREG(port.descriptor(), network), ePORT_OK);
    EXPECT_EQ(network.i_reg_state, 9);
}

TEST(GetCEREG, ThenCreg_TheLastOneDecides) {
    cFakePort port;
    port.answer(modemReply({"+CEREG: 2,1,\"00AF\",\"ABCDEF01\",7"}))
        .answer(modemReply({"+CREG: 0,2"}));
    sNetworkInfo network;
    getCEREG(port.descriptor(), network);
    EXPECT_EQ(network.i_reg_state, 1);
    getCREG(port.descriptor(), network);
    EXPECT_EQ(network.i_reg_state, 2);
    EXPECT_EQ(network.s_reg_area, "00AF") << "a location that is not reported again stays";
    EXPECT_EQ(port.commands(), (std::vector<std::string>{"AT+CEREG?", "AT+CREG?"}));
}

TEST(ParseCIREG, Lines_SetTheFlagWithExactlyTwoFields) {
    const struct {
        const char* line;
        bool registered;
    } cases[] = {
        {"+CIREG: 0,1", true},    {"+CIREG: 0,0", false}, {"+CIREG: 0,2", true},
        {"+CIREG: 2,1,5", false}, {"+CIREG: 1", false},   {"+CIREG:", false},
        {"+CIREG: 0,x", false},   {"+CIREG: 0,-1", true},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(modemReply({row.line}));
        sNetworkInfo network;
        network.b_ims_registered = true;
        EXPECT_EQ(getCIREG(port.descriptor(), network), ePORT_OK);
        EXPECT_EQ(network.b_ims_registered, row.registered) << row.line;
    }
    tortureReply(modemReply({"+CIREG: 0,1"}), [](const std::string& response) {
        sNetworkInfo network;
        parseCIREG(response, network);
        expectBounded(network);
    });
}

TEST(GetCIREG, Failure_ClearsTheFlag) {
    cFakePort port;
    port.answer(ERROR_REPLY);
    sNetworkInfo network;
    network.b_ims_registered = true;
    EXPECT_EQ(getCIREG(port.descriptor(), network), ePORT_ERROR);
    EXPECT_FALSE(network.b_ims_registered);
}

TEST(UpdateNetworkRegistrationInfo, States_GiveTextsAndFlag) {
    for (const sStateCase& row : STATES) {
        resetRegistrationState();
        const cLogMode mode;
        sNetworkInfo network;
        network.b_registered = !row.registered;
        network.i_reg_state = row.state;
        updateNetworkRegistrationInfo(network);
        EXPECT_EQ(network.s_registration, row.text) << row.state;
        EXPECT_EQ(network.s_registration_short, row.shortText) << row.state;
        EXPECT_EQ(network.b_registered, row.registered) << row.state;
        EXPECT_EQ(isRegisteredState(row.state), row.registered) << row.state;
        EXPECT_EQ(network.i_reg_previous_state, row.state);
        EXPECT_EQ(network.s_previous_registration, row.text);
    }
    resetRegistrationState();
}

TEST(UpdateNetworkRegistrationInfo, FirstUnknownState_LogsNothing) {
    EXPECT_TRUE(logOfStates({4}, eLOG_AT_DETAIL).empty());
}

TEST(UpdateNetworkRegistrationInfo, Change_IsLoggedOnceWithBothTexts) {
    EXPECT_EQ(
        logOfStates({5, 5, 5}, 0),
        std::vector<std::string>{"Registration switched from 'Unknown' to 'Registered, Roaming'"});
    EXPECT_EQ(logOfStates({1, 3}, 0),
              (std::vector<std::string>{
                  "Registration switched from 'Unknown' to 'Registered, Home Network'",
                  "Registration switched from 'Registered, Home Network' to 'Registration Denied'",
              }));
}

TEST(UpdateNetworkRegistrationInfo, AlternatingSearchingStates_AreDebugMessages) {
    EXPECT_EQ(logOfStates({2, 0, 2, 0}, 0),
              std::vector<std::string>{
                  "Registration switched from 'Unknown' to 'Not registered, Searching'"});
    EXPECT_EQ(logOfStates({2, 0}, eLOG_AT_DETAIL)[1],
              "DEBUG: Registration switched from 'Not registered, Searching' to 'Not Registered, "
              "Not Searching'");
}

TEST(UpdateNetworkRegistrationInfo, EndOfSearch_IsLoggedAsANotice) {
    EXPECT_EQ(logOfStates({2, 0, 1, 2, 0}, 0),
              (std::vector<std::string>{
                  "Registration switched from 'Unknown' to 'Not registered, Searching'",
                  "Registration switched from 'Not Registered, Not Searching' to 'Registered, Home "
                  "Network'",
                  "Registration switched from 'Registered, Home Network' to 'Not registered, "
                  "Searching'",
              }));
}

// The flag of the previous call is kept although that call logged nothing.
TEST(UpdateNetworkRegistrationInfo, SearchingWithoutAChange_MakesTheNextOneADebugMessage) {
    EXPECT_EQ(logOfStates({2, 2, 0}, 0).size(), 1u);
    EXPECT_EQ(logOfStates({2, 4, 0}, 0).size(), 3u) << "4 is not searching";
    EXPECT_EQ(logOfStates({2, 3, 0}, 0).size(), 3u) << "nor is denied";
}

TEST(UpdateNetworkRegistrationInfo, CeregLine_GivesRoaming) {
    resetRegistrationState();
    sNetworkInfo network;
    parseCEREG(modemReply({"+CEREG: 2,5,\"1A2B\",\"01A2B3C4\",7"}), network);
    updateNetworkRegistrationInfo(network);
    EXPECT_EQ(network.s_registration, "Registered, Roaming");
    EXPECT_EQ(network.s_registration_short, "Reg Roaming");
    EXPECT_TRUE(network.b_registered);
    resetRegistrationState();
}

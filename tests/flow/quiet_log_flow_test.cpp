#include <filesystem>

#include "statemachine/state_machine.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/shown_case.h"

// The log of a daemon without a debug mode during a lasting fault: the fault is logged once, and
// again if it comes back later.

namespace {

using nlohmann::json;

struct sQuietCase {
    const char* name;
    json scenario;
    const char* notice;  // part of a line
    size_t times;        // in 60 seconds
};

SHOW_CASE(sQuietCase, row.name)

json answersWith(const char* command, const json& fault) {
    json order = fault;
    order["match"] = command;
    return {{"faults", {order}}};
}

json otherAnswer(const std::vector<std::string>& lines) {
    return {{"kind", "answer"}, {"lines", lines}, {"final", "OK"}};
}

const sQuietCase QUIET_CASES[] = {
    {"LockedSim", {{"sim", {{"pin", "1234"}, {"lock", true}}}}, "Modem reported CME Error", 4},
    {"OwnNumberRefused", answersWith("AT+CNUM", {{"kind", "cme"}, {"number", 11}}),
     "Setup device CMEE reporting", 1},
    {"SimQueryRefused", answersWith("AT+CPIN?;#PCT", {{"kind", "cme"}, {"number", 13}}),
     "Modem reported CME Error 'SIM FAILURE' (13)", 8},
    {"ShortNetworkStatus",
     answersWith("AT#PSNT?;#RFSTS", otherAnswer({"#PSNT: 0,4", "#RFSTS: \"310 410\",5110"})),
     "Did not find the expected number of tokens", 1},
    {"UnknownNetworkType", answersWith("AT#PSNT?;#RFSTS", otherAnswer({"#PSNT: 0,17"})),
     "Unknown Network Technology type", 1},
};

class QuietLog : public StateMachine, public ::testing::WithParamInterface<sQuietCase> {};

TEST_P(QuietLog, LastingFault_LogsNothingAfterItsFirstPasses) {
    startOnTerminal(GetParam().scenario);
    size_t first = 0;
    at(15, [&first] { first = capturedLog().size(); });
    size_t last = 0;
    at(75, [&last] { last = capturedLog().size(); });
    run(76);
    EXPECT_GT(first, 0u);
    EXPECT_EQ(last, first);
    size_t times = 0;
    for (const std::string& line : capturedLog())
        if (line.find(GetParam().notice) != std::string::npos) ++times;
    EXPECT_LE(times, GetParam().times);
    EXPECT_GE(times, 1u);
}

INSTANTIATE_TEST_SUITE_P(Each, QuietLog, ::testing::ValuesIn(QUIET_CASES),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_F(StateMachine, FaultThatComesBack_IsLoggedAgain) {
    startOnTerminal();
    const std::string notice =
        "parseModemNetworkStatus(): Error: Unknown Network Technology type '17'";
    json odd = otherAnswer({"#PSNT: 0,17"});
    odd["op"] = "fault";
    odd["match"] = "AT#PSNT?;#RFSTS";
    odd["count"] = 3;
    const auto answerOddly = [this, &odd] { order(odd); };
    at(20, answerOddly);
    at(40, answerOddly);
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_EQ(logCount(notice), 2u) << notice;
}

TEST_F(StateMachine, SessionLostAgain_IsLoggedAgainWithItsStart) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CGACT=1,1"}, {"kind", "error"}, {"count", 3}});
    const auto drop = [this] { order({{"op", "deactivate"}, {"cid", 1}}); };
    at(200, drop);
    at(400, drop);
    EXPECT_EQ(run(600), eOUTER_EXIT);
    EXPECT_EQ(logCount("runStateMachine(): startDataSession() PDP Context Activation failure"), 1u);
    EXPECT_EQ(logCount("Profile 1 no longer connected"), 2u);
    EXPECT_GE(logCount("SUCCESS Setting up interface IP info"), 1u);
}

TEST_F(StateMachine, SpoolThatCannotBeWritten_IsLoggedOncePerMessage) {
    startOnTerminal();
    at(10, [this] {
        std::filesystem::remove_all("/tmp/sms/recv");
        writeFile("/tmp/sms/recv", "in the way");
        for (const char* text : {"one", "two"})
            order({{"op", "inject-sms"}, {"from", "+12025550123"}, {"text", text}});
    });
    size_t first = 0;
    at(30, [&first] { first = capturedLog().size(); });
    EXPECT_EQ(run(89), eOUTER_EXIT);
    EXPECT_LE(capturedLog().size(), first + 10) << "those of the end";
    size_t tried = 0;
    for (const std::string& line : capturedLog())
        if (line.find("could not be written") != std::string::npos) ++tried;
    EXPECT_EQ(tried, 2u);
}

TEST_F(StateMachine, RequestsOfOperators_AreLoggedEachTime) {
    startOnTerminal();
    for (const double second : {20.0, 23.0, 26.0})
        at(second, [] { b_got_sigusr2 = true; });
    for (const double second : {30.0, 32.0, 34.0})
        at(second, [] { writeFile("/tmp/at_cmd_in", "AT+CSQ\n"); });
    EXPECT_EQ(run(40), eOUTER_EXIT);
    EXPECT_EQ(logCount("Received SIGUSR2"), 3u);
    EXPECT_EQ(logCount("Processing custom AT command file"), 3u);
    EXPECT_EQ(logCount("- Sending AT command AT+CSQ, extra timeout 0"), 3u);
}

}  // namespace

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

struct sStep {
    const char* command;
    std::string reply;
};

void expectSteps(cModemDriver& sim, const std::vector<sStep>& steps) {
    for (const sStep& step : steps)
        EXPECT_EQ(sim.reply(step.command), step.reply) << step.command;
    EXPECT_TRUE(sim.modem.problems().empty());
}

}  // namespace

TEST(Le910simHealth, BringUp_OfTheDefaultModem) {
    cModemDriver sim;
    expectSteps(sim, {{"AT", OK},
                      {"AT+GMM", "\r\nLE910-NA V2\r\n" + OK},
                      {"AT+CMEE=1", OK},
                      {"AT#GPIO=1,0,2", OK},
                      {"AT#SLED=3,1,9", OK},
                      {"ATI3", "\r\nTelit\r\n" + OK},
                      {"AT+CGMR", "\r\n20.00.402\r\n" + OK},
                      {"AT#CFVR", "\r\n#CFVR: 1\r\n" + OK},
                      {"AT#FWSWITCH=?", "\r\nERROR\r\n"},
                      {"ATI5", "\r\nDOB 1.10\r\n" + OK},
                      {"AT#GPIO=2,2", "\r\n#GPIO: 1,1\r\n" + OK},
                      {"AT#QSS?", "\r\n#QSS: 0,1\r\n" + OK},
                      {"AT+CPIN?;#PCT", "\r\n+CPIN: READY\r\n#PCT: 3\r\n" + OK},
                      {"AT+CLCK=\"SC\",2", "\r\n+CLCK: 0\r\n" + OK},
                      {"AT+CCID?", "\r\n+CCID: 89014100000000000015\r\n" + OK},
                      {"AT+CIMI", "\r\n310410000000001\r\n" + OK},
                      {"AT+CGSN", "\r\n356938035643809\r\n" + OK},
                      {"AT#TEMPMON=1", "\r\n#TEMPMEAS: 0,28\r\n" + OK},
                      {"AT+CSDF=1", OK},
                      {"AT#CCLKMODE=0", OK},
                      {"AT#NITZ=3,0", OK},
                      {"AT+CNUM", "\r\n+CNUM: \"\",\"12025550101\",129\r\n" + OK},
                      {"AT+CGDCONT?", "\r\n+CGDCONT: 1,\"IP\",\"broadband\",\"\",0,0\r\n" + OK},
                      {"AT+CMGF=0", OK},
                      {"AT#PSNT=0", OK},
                      {"AT+CGACT=0,1", OK},
                      {"AT+CGDCONT=1,\"IPV4V6\",\"test.apn\"", OK},
                      {"AT#PDPAUTH=1,0,,", OK},
                      {"AT+WS46?", "\r\n+WS46: 31\r\n" + OK},
                      {"AT+WS46=28", OK},
                      {"AT+COPS=0", OK},
                      {"AT#AUTOBND=0", OK},
                      {"AT#BND=0,4,26", OK},
                      {"AT#SLEDSAV", OK}});
}

TEST(Le910simHealth, Polling_OfTheDefaultModem) {
    cModemDriver sim;
    expectSteps(
        sim,
        {{"AT+CEREG?", "\r\n+CEREG: 0,1\r\n" + OK},
         {"AT+CREG?", "\r\n+CREG: 0,1\r\n" + OK},
         {"AT+CIREG?", "\r\n+CIREG: 0,0\r\n" + OK},
         {"AT#PSNT?;#RFSTS",
          "\r\n#PSNT: 0,4\r\n#RFSTS: \"310 "
          "410\",2225,-98,-68,-9,700D,1,,128,19,0,00001D7,\"310410000000001\",\"AT&T\",3,4\r\n" +
              OK},
         {"AT+CSQ", "\r\n+CSQ: 17,99\r\n" + OK},
         {"AT+COPS?", "\r\n+COPS: 0,0,\"AT&T\",7\r\n" + OK},
         {"AT+CMGL=0", OK},
         {"AT+CMGD=1,1", OK},
         {"AT$GPSSW", "\r\n$GPSSW: \r\n" + OK}});
}

TEST(Le910simHealth, DataSession_OfTheDefaultModem) {
    cModemDriver sim;
    expectSteps(sim, {{"AT+CGATT?", "\r\n+CGATT: 0\r\n" + OK},
                      {"AT+CGATT=1", OK},
                      {"AT+CGATT?", "\r\n+CGATT: 1\r\n" + OK},
                      {"AT#NCM=1,1", OK},
                      {"AT+CGACT?", "\r\n+CGACT: 1,0\r\n" + OK},
                      {"AT+CGACT=1,1", OK},
                      {"AT+CGACT?", "\r\n+CGACT: 1,1\r\n" + OK},
                      {"AT+CGCONTRDP=1",
                       "\r\n+CGCONTRDP: "
                       "1,5,\"broadband\",\"10.64.1.8.255.255.255.0\",\"10.64.1.1\",\"10.0.0.1\","
                       "\"10.0.0.2\"\r\n" +
                           OK},
                      {"AT+CGDATA=\"M-RAW_IP\",1", "\r\nCONNECT\r\n" + OK},
                      {"AT+CGPADDR=1", "\r\n+CGPADDR: 1,\"10.64.1.8\"\r\n" + OK}});
}

TEST(Le910simHealth, OperatorNames_AreTwentyAndHoldTheOwnPlmn) {
    cModemDriver sim;
    const std::string reply = sim.reply("AT+COPN");
    EXPECT_NE(reply.find("\r\n+COPN: \"310410\",\"AT&T\"\r\n"), std::string::npos);
    size_t lines = 0;
    for (size_t at = reply.find("+COPN:"); at != std::string::npos;
         at = reply.find("+COPN:", at + 1)) {
        ++lines;
    }
    EXPECT_EQ(lines, 20U);
}

}  // namespace le910sim

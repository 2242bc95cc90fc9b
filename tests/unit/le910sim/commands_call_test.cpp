#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

const std::string CONNECT = "\r\nCONNECT\r\n";
const std::string NO_CARRIER = "\r\nNO CARRIER\r\n";
const std::string CALL = "ATD*99***1#";

bool isActive(cModemDriver& sim, size_t index = 0) {
    return sim.state().at("contexts").at(index).at("active").get<bool>();
}

}  // namespace

TEST(Le910simCall, DataCall_AttachesActivatesTheContextAndTakesThePort) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply(CALL), CONNECT);
    EXPECT_TRUE(isActive(sim));
    EXPECT_TRUE(sim.state().at("attached").get<bool>());
    EXPECT_EQ(sim.at("AT", 1000), "");
    EXPECT_EQ(sim.gps("AT+CGACT?\r"), "AT+CGACT?\r\r\n+CGACT: 1,1\r\n\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simCall, DataCallWithoutAContext_CallsTheFirst) {
    cModemDriver sim;
    sim.reply("AT+CGDCONT=2,\"IP\",\"internet\"");
    EXPECT_EQ(sim.reply("ATD*99#"), CONNECT);
    EXPECT_TRUE(isActive(sim, 0));
    EXPECT_FALSE(isActive(sim, 1));
}

TEST(Le910simCall, EscapeAndHangUp_EndTheCallAndItsContext) {
    cModemDriver sim;
    sim.reply(CALL);
    sim.wait(1000);
    sim.modem.receiveAt("+++", sim.nowMs);
    EXPECT_EQ(sim.readAt(990), "");
    EXPECT_EQ(sim.readAt(10), OK);
    EXPECT_TRUE(isActive(sim));
    EXPECT_EQ(sim.reply("ATH"), OK);
    EXPECT_FALSE(isActive(sim));
    EXPECT_EQ(sim.reply(CALL), CONNECT);
}

TEST(Le910simCall, HangUpOnTheOtherPort_EndsTheCall) {
    cModemDriver sim;
    sim.reply(CALL);
    EXPECT_EQ(sim.gps("AT+CHUP\r"), "AT+CHUP\r" + OK);
    EXPECT_EQ(sim.readAt(0), NO_CARRIER);
    EXPECT_FALSE(isActive(sim));
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simCall, ContextDroppedByTheNetwork_EndsTheCall) {
    cModemDriver sim;
    sim.reply(CALL);
    EXPECT_TRUE(sim.order(R"({"op": "deactivate", "cid": 1})").at("ok").get<bool>());
    EXPECT_EQ(sim.readAt(10), NO_CARRIER);
    EXPECT_EQ(sim.reply("AT+CEER"), "\r\n+CEER: Normal call clearing\r\n\r\nOK\r\n");
}

TEST(Le910simCall, MessageDuringACall_IsAnnouncedOnTheOtherPort) {
    cModemDriver sim;
    sim.reply("AT+CNMI=2,1");
    sim.reply(CALL);
    sim.order(R"({"op": "inject-sms", "from": "+12025550123", "text": "hello"})");
    EXPECT_EQ(sim.readAt(10), "");
    EXPECT_EQ(sim.gps(""), "\r\n+CMTI: \"SM\",1\r\n");
}

TEST(Le910simCall, Unplug_EndsTheCall) {
    cModemDriver sim;
    sim.reply(CALL);
    sim.order(R"({"op": "hangup", "away_ms": 100})");
    sim.wait(200);
    EXPECT_FALSE(isActive(sim));
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simCall, CallThatCannotBeMade_GetsNoCarrier) {
    for (const char* scenario :
         {R"({"sim": {"present": false}})", R"({"registration": {"state": "searching"}})",
          R"({"registration": {"accepts_attach": false}})",
          R"({"registration": {"accepts_activation": false}})"}) {
        cModemDriver sim(scenario);
        EXPECT_EQ(sim.reply(CALL), NO_CARRIER) << scenario;
        EXPECT_EQ(sim.reply("AT"), OK) << scenario;
        EXPECT_TRUE(sim.modem.problems().empty()) << scenario;
    }
    cModemDriver sim;
    EXPECT_EQ(sim.reply("ATD*99***7#"), NO_CARRIER);
}

TEST(Le910simCall, OtherNumbers_AreProblems) {
    for (const char* number : {"", "0123", "*99", "*99***#", "*99***x#", "*99***17#", "*98#"}) {
        cModemDriver sim;
        EXPECT_EQ(sim.reply(std::string("ATD") + number), "\r\nERROR\r\n") << number;
        EXPECT_EQ(sim.modem.problems().size(), 1U) << number;
    }
}

}  // namespace le910sim

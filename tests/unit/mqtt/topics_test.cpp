#include "mqtt/topics.h"

#include <gtest/gtest.h>

namespace {

sTopic topic(const std::string& gateway, eTopic kind, int slot = 0) {
    return {gateway, kind, slot};
}

}  // namespace

TEST(Topics, EachKindHasItsText) {
    EXPECT_EQ(topicText(topic("pump-7", eTopic::AVAILABILITY)), "cellslot/1/pump-7/availability");
    EXPECT_EQ(topicText(topic("pump-7", eTopic::STATUS, 2)), "cellslot/1/pump-7/slot/2/status");
    EXPECT_EQ(topicText(topic("pump-7", eTopic::EVENT, 1)), "cellslot/1/pump-7/slot/1/event");
    EXPECT_EQ(topicText(topic("pump-7", eTopic::SMS, 3)), "cellslot/1/pump-7/slot/3/sms");
    EXPECT_EQ(topicText(topic("pump-7", eTopic::COMMAND)), "cellslot/1/pump-7/command");
    EXPECT_EQ(topicText(topic("pump-7", eTopic::RESULT)), "cellslot/1/pump-7/result");
}

TEST(Topics, TextOfATopic_IsReadBack) {
    for (const eTopic kind : {eTopic::AVAILABILITY, eTopic::STATUS, eTopic::EVENT, eTopic::SMS,
                              eTopic::COMMAND, eTopic::RESULT}) {
        const bool isOfSlot =
            kind == eTopic::STATUS || kind == eTopic::EVENT || kind == eTopic::SMS;
        const sTopic written = topic("A_b-9", kind, isOfSlot ? 3 : 0);
        const std::optional<sTopic> read = parseTopic(topicText(written));
        ASSERT_TRUE(read) << topicText(written);
        EXPECT_EQ(read->gateway, written.gateway);
        EXPECT_EQ(read->kind, written.kind);
        EXPECT_EQ(read->slot, written.slot);
    }
}

TEST(Topics, ForeignTopics_AreNotRead) {
    for (const char* text :
         {"", "cellslot", "cellslot/1/", "cellslot/1/a", "cellslot/1//availability",
          "cellslot/2/a/availability", "cellslot/1/a/slot/0/status", "cellslot/1/a/slot/4/status",
          "cellslot/1/a/slot/01/status", "cellslot/1/a/slot//status", "cellslot/1/a/slot/1/command",
          "cellslot/1/a/status", "cellslot/1/a/availability/", "cellslot/1/a b/availability",
          "cellslot/1/a.b/availability", "/cellslot/1/a/availability", "cellslot/1/+/availability"})
        EXPECT_FALSE(parseTopic(text)) << text;
}

TEST(Topics, NameOfAGateway_IsWhatEveryBrokerTakes) {
    EXPECT_TRUE(isGatewayName("a"));
    EXPECT_TRUE(isGatewayName(std::string(GATEWAY_NAME_MAX, 'Z')));
    EXPECT_FALSE(isGatewayName(std::string(GATEWAY_NAME_MAX + 1, 'Z')));
    for (const char* name : {"", "a.b", "a/b", "+", "#", "$a", "a b", "\xc3\xa4", "a\n"})
        EXPECT_FALSE(isGatewayName(name)) << name;
}

TEST(Topics, FilterOfAKind_HasItsWildcards) {
    EXPECT_EQ(everyGateway(eTopic::STATUS), "cellslot/1/+/slot/+/status");
    EXPECT_EQ(everyGateway(eTopic::RESULT), "cellslot/1/+/result");
}

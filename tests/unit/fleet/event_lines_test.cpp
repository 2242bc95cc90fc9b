#include "fleet/event_lines.h"

#include <gtest/gtest.h>

namespace {

const sTopic EVENT{"pump-1", eTopic::EVENT, 2};
const sTopic SMS{"pump-1", eTopic::SMS, 1};

std::string made(uint64_t number, const std::string& text = "The modem is searching.") {
    sWireEvent event;
    event.id = {"1f0c9a2b", number};
    event.time = 1795246938;
    event.kind = "offline";
    event.text = text;
    event.seconds = 90;
    return eventText(event);
}

}  // namespace

TEST(EventLines, Event_IsOneLine) {
    cSeenIds seen;
    EXPECT_EQ(eventLine(EVENT, made(1), seen),
              "2026-11-21T07:42:18Z  pump-1/2  offline: The modem is searching. (1 min)");
}

TEST(EventLines, Message_IsOneLineWithoutControlCharacters) {
    cSeenIds seen;
    const sTextMessage message{{"1f0c9a2b", 4}, 1795246938, "+49", "two\nlines \x1b[2J", ""};
    EXPECT_EQ(eventLine(SMS, textMessageText(message), seen),
              "2026-11-21T07:42:18Z  pump-1/1  sms: from +49: two lines ?[2J");
}

TEST(EventLines, Repetition_IsLeftOutOfOneGatewayOnly) {
    cSeenIds seen;
    EXPECT_NE(eventLine(EVENT, made(1), seen), "");
    EXPECT_EQ(eventLine(EVENT, made(1), seen), "");
    EXPECT_NE(eventLine({"pump-2", eTopic::EVENT, 1}, made(1), seen), "");
    for (uint64_t number = 2; number <= cSeenIds::KEPT; ++number)
        EXPECT_NE(eventLine(EVENT, made(number), seen), "");
    EXPECT_EQ(eventLine(EVENT, made(1), seen), "");
}

TEST(EventLines, Json_NamesTheGateway) {
    cSeenIds seen;
    const std::string line = eventJson(EVENT, made(1), seen);
    EXPECT_EQ(line.substr(0, 29), "{\"gateway\":\"pump-1\",\"slot\":2,");
    EXPECT_EQ(line.find('\n'), std::string::npos);
}

TEST(EventLines, Rubbish_IsNoLine) {
    cSeenIds seen;
    for (const char* rubbish : {"", "{", "[]", "{\"id\":\"x\"}", "{\"id\":\"1f0c9a2b-1\"}"}) {
        EXPECT_EQ(eventLine(EVENT, rubbish, seen), "");
        EXPECT_EQ(eventJson(SMS, rubbish, seen), "");
    }
}

TEST(EventLines, GatewayThatClaimsAnotherName_IsNamedByItsTopic) {
    cSeenIds seen;
    const std::string forged =
        R"({"gateway":"pump-9","slot":7,"id":"1f0c9a2b-1","time":"2026-11-21T07:42:18Z",)"
        R"("kind":"offline","text":"x"})";
    const std::string line = eventJson(EVENT, forged, seen);
    EXPECT_EQ(line.substr(0, 29), R"({"gateway":"pump-1","slot":2,)") << line;
    EXPECT_EQ(line.find("pump-9"), std::string::npos) << line;
}

TEST(EventLines, NumbersInAnyOrderAndANewStream_AreEachNewOnce) {
    cSeenIds seen;
    for (const uint64_t number : {5u, 3u, 4u, 900u, 899u}) {
        EXPECT_TRUE(seen.isNew("pump-1", {"1f0c9a2b", number})) << number;
        EXPECT_FALSE(seen.isNew("pump-1", {"1f0c9a2b", number})) << number;
    }
    EXPECT_TRUE(seen.isNew("pump-1", {"00000001", 900}));
    EXPECT_FALSE(seen.isNew("pump-1", {"00000001", 900}));
    EXPECT_TRUE(seen.isNew("pump-1", {"00000001", UINT64_MAX}));
    EXPECT_FALSE(seen.isNew("pump-1", {"00000001", UINT64_MAX}));
}

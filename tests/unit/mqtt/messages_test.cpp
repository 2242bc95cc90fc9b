#include "mqtt/messages.h"

#include <gtest/gtest.h>

#include "cli/base/utc_time.h"

namespace {

const time_t NOON = *parseUtcText("2026-11-22T12:00:00Z");
const sMessageId ID{"1f0c9a2b", 7};

std::string nested(int depth) {
    std::string text = R"({"online":true,"time":"2026-11-22T12:00:00Z","x":)";
    for (int level = 0; level < depth; ++level)
        text += "[";
    for (int level = 0; level < depth; ++level)
        text += "]";
    return text + "}";
}

}  // namespace

TEST(Messages, AvailabilityOnline_IsReadBack) {
    sAvailability written;
    written.isOnline = true;
    written.time = NOON;
    written.version = "1.0.17";
    written.everyS = 900;
    written.waiting = 3;
    written.stream = "1f0c9a2b";
    EXPECT_EQ(availabilityText(written),
              R"({"online":true,"time":"2026-11-22T12:00:00Z","version":"1.0.17",)"
              R"("every_seconds":900,"waiting":3,"stream":"1f0c9a2b"})");
    const std::optional<sAvailability> read = parseAvailability(availabilityText(written));
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->isOnline);
    EXPECT_EQ(read->time, NOON);
    EXPECT_EQ(read->version, "1.0.17");
    EXPECT_EQ(read->everyS, 900);
    EXPECT_EQ(read->waiting, 3);
    EXPECT_EQ(read->stream, "1f0c9a2b");
}

TEST(Messages, AvailabilityOffline_SaysWhy) {
    sAvailability written;
    written.time = NOON;
    written.reason = AVAILABILITY_LOST;
    EXPECT_EQ(availabilityText(written),
              R"({"online":false,"time":"2026-11-22T12:00:00Z","reason":"lost"})");
    const std::optional<sAvailability> read = parseAvailability(availabilityText(written));
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->isOnline);
    EXPECT_EQ(read->reason, "lost");
}

TEST(Messages, OddAvailability_IsNotRead) {
    for (const char* text :
         {"", "{}", "[]", "true", R"({"online":true})", R"({"time":"2026-11-22T12:00:00Z"})",
          R"({"online":1,"time":"2026-11-22T12:00:00Z"})",
          R"({"online":true,"time":"2026-02-30T12:00:00Z"})",
          R"({"online":true,"time":"2026-11-22 12:00:00"})",
          R"({"online":true,"time":1795246938})"})
        EXPECT_FALSE(parseAvailability(text)) << text;
}

TEST(Messages, NumbersBeyondTheirBounds_CountAsMissing) {
    const std::optional<sAvailability> read =
        parseAvailability(R"({"online":true,"time":"2026-11-22T12:00:00Z","every_seconds":604801,)"
                          R"("waiting":18446744073709551615})");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->everyS, 0);
    EXPECT_EQ(read->waiting, 0);
}

TEST(Messages, DeepOrLongText_IsNotRead) {
    EXPECT_TRUE(parseAvailability(nested(6)));
    EXPECT_FALSE(parseAvailability(nested(20)));
    EXPECT_FALSE(parseAvailability(nested(30000)));
    const std::string padding(64 * 1024, ' ');
    EXPECT_FALSE(parseAvailability(R"({"online":true,"time":"2026-11-22T12:00:00Z"})" + padding));
}

TEST(Messages, Status_IsTheSlotOfTheCommandWithItsTime) {
    const std::string text = slotStatusText(NOON, R"({"slots":[{"slot":2,"state":"connected"}]})");
    EXPECT_EQ(text, R"({"time":"2026-11-22T12:00:00Z","slots":[{"slot":2,"state":"connected"}]})");
    const std::optional<sSlotStatus> read = parseSlotStatus(text);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->time, NOON);
    EXPECT_EQ(read->slotJson, R"({"slot":2,"state":"connected"})");
}

TEST(Messages, OddStatus_IsNotRead) {
    for (const char* text : {R"({"slots":[{}]})", R"({"time":"2026-11-22T12:00:00Z"})",
                             R"({"time":"2026-11-22T12:00:00Z","slots":[]})",
                             R"({"time":"2026-11-22T12:00:00Z","slots":{"a":{}}})",
                             R"({"time":"2026-11-22T12:00:00Z","slots":[1]})",
                             R"({"time":"2026-11-22T12:00:00Z","slots":[{},{}]})"})
        EXPECT_FALSE(parseSlotStatus(text)) << text;
}

TEST(Messages, Event_IsReadBack) {
    sWireEvent written;
    written.id = ID;
    written.time = NOON;
    written.kind = "offline";
    written.text = "No connection.";
    written.cause = "searching";
    written.seconds = 77;
    EXPECT_EQ(eventText(written),
              R"({"id":"1f0c9a2b-7","time":"2026-11-22T12:00:00Z","kind":"offline",)"
              R"("text":"No connection.","cause":"searching","seconds":77})");
    const std::optional<sWireEvent> read = parseEvent(eventText(written));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id.number, 7u);
    EXPECT_EQ(read->time, NOON);
    EXPECT_EQ(read->kind, "offline");
    EXPECT_EQ(read->text, "No connection.");
    EXPECT_EQ(read->cause, "searching");
    EXPECT_EQ(read->seconds, 77);
    EXPECT_FALSE(read->count);
}

TEST(Messages, EventsOfSignalAndOfLoss_HaveTheirFields) {
    sWireEvent written;
    written.id = ID;
    written.time = NOON;
    written.kind = WIRE_EVENT_SIGNAL;
    written.signalJson = R"({"rsrp_dbm":-97.0})";
    std::optional<sWireEvent> read = parseEvent(eventText(written));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->signalJson, R"({"rsrp_dbm":-97.0})");

    written.kind = WIRE_EVENT_DROPPED;
    written.signalJson.clear();
    written.first = 3;
    written.last = 6;
    written.count = 2;
    read = parseEvent(eventText(written));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->first, 3u);
    EXPECT_EQ(read->last, 6u);
    EXPECT_EQ(read->count, 2u);
}

TEST(Messages, EventWithOctetsThatAreNoText_StaysJson) {
    sWireEvent written;
    written.id = ID;
    written.time = NOON;
    written.kind = "network";
    written.text = "Operator \xff\x01\"";
    const std::optional<sWireEvent> read = parseEvent(eventText(written));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->text, "Operator \xef\xbf\xbd\x01\"");
}

TEST(Messages, OddEvent_IsNotRead) {
    for (const char* text : {R"({"time":"2026-11-22T12:00:00Z","kind":"offline"})",
                             R"({"id":"1f0c9a2b-7","kind":"offline"})",
                             R"({"id":"1f0c9a2b-7","time":"2026-11-22T12:00:00Z"})",
                             R"({"id":7,"time":"2026-11-22T12:00:00Z","kind":"offline"})"})
        EXPECT_FALSE(parseEvent(text)) << text;
}

TEST(Messages, LongWords_AreCutByTheSenderAndIgnoredByTheReader) {
    sWireEvent written;
    written.id = ID;
    written.time = NOON;
    written.kind = "network";
    written.text = std::string(1000, 'x');
    EXPECT_EQ(parseEvent(eventText(written))->text, std::string(400, 'x'));
    const std::string foreign = R"({"id":"1f0c9a2b-7","time":"2026-11-22T12:00:00Z",)"
                                R"("kind":"network","text":")" +
                                std::string(401, 'x') + "\"}";
    ASSERT_TRUE(parseEvent(foreign));
    EXPECT_EQ(parseEvent(foreign)->text, "");
}

// Otherwise an octet of a character is replaced by three, and the reader finds it too long.
TEST(Messages, LongTextOfOtherLetters_IsCutBetweenTwoCharacters) {
    std::string letters = "x";
    while (letters.size() < 20000)
        letters += "\u00e9";
    sWireEvent written;
    written.id = ID;
    written.time = NOON;
    written.kind = "network";
    written.text = letters;
    EXPECT_EQ(parseEvent(eventText(written))->text, letters.substr(0, 399));
    const sTextMessage message{ID, NOON, letters, letters, ""};
    const auto read = parseTextMessage(textMessageText(message));
    EXPECT_EQ(read->text, letters.substr(0, 16 * 1024 - 1));
    EXPECT_EQ(read->from, letters.substr(0, 79));
}

TEST(Messages, TextMessage_IsReadBack) {
    const sTextMessage written{ID, NOON, "+491701234567", "Pump\nstopped", "26/11/22,11:59:58+04"};
    const std::optional<sTextMessage> read = parseTextMessage(textMessageText(written));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->id.number, 7u);
    EXPECT_EQ(read->from, "+491701234567");
    EXPECT_EQ(read->text, "Pump\nstopped");
    EXPECT_EQ(read->received, "26/11/22,11:59:58+04");
}

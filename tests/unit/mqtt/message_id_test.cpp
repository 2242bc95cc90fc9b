#include "mqtt/message_id.h"

#include <gtest/gtest.h>

TEST(MessageId, Text_IsReadBack) {
    const std::optional<sMessageId> id = parseMessageId(messageIdText({"1f0c9a2b", 42}));
    ASSERT_TRUE(id);
    EXPECT_EQ(id->stream, "1f0c9a2b");
    EXPECT_EQ(id->number, 42u);
}

TEST(MessageId, GreatestNumber_IsRead) {
    const std::optional<sMessageId> id = parseMessageId("1f0c9a2b-999999999999999999");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->number, 999999999999999999u);
}

TEST(MessageId, OtherTexts_AreNotRead) {
    for (const char* text :
         {"", "1f0c9a2b", "1f0c9a2b-", "1f0c9a2b-0", "1f0c9a2b-01", "1f0c9a2b--1", "1F0C9A2B-1",
          "1f0c9a2-1", "1f0c9a2b1-1", "1f0c9a2b-1x", "1f0c9a2b- 1", "1f0c9a2b-1000000000000000000"})
        EXPECT_FALSE(parseMessageId(text)) << text;
}

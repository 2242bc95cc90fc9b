#include "published/at_request.h"

#include <gtest/gtest.h>

TEST(PublishedAtRequest, Files_AreThoseThatOtherProgramsKnow) {
    EXPECT_EQ(atRequestFile("/tmp", ""), "/tmp/at_cmd_in");
    EXPECT_EQ(atRequestFile("/tmp", atSlotSuffix(2)), "/tmp/at_cmd_in.2");
    EXPECT_EQ(atAnswerFile("/tmp", atSlotSuffix(2)), "/tmp/at_cmd_out.2");
    EXPECT_EQ(atRawAnswerFile("/tmp", atSlotSuffix(2)), "/tmp/at_cmd_out_raw.2");
}

TEST(PublishedAtRequest, Line_HasTheTimeOnlyWhereThereIsOne) {
    EXPECT_EQ(atRequestLine("AT+CSQ", 0), "AT+CSQ\n");
    EXPECT_EQ(atRequestLine("AT+COPS=?", 30), "AT+COPS=?::30\n");
}

TEST(PublishedAtRequest, Command_BeginsWithAtInAnyCase) {
    for (const char* command : {"AT", "at+csq", "aT#QSS?"})
        EXPECT_TRUE(isAtCommand(command)) << command;
    for (const char* command : {"", "A", " AT", "+++", "BT"})
        EXPECT_FALSE(isAtCommand(command)) << command;
}

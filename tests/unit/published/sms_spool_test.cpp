#include "published/sms_spool.h"

#include <gtest/gtest.h>

TEST(PublishedSmsSpool, Folders_AreThoseThatOtherProgramsKnow) {
    EXPECT_EQ(smsFolder(SMS_SPOOL_ROOT, SMS_DIR_RECV), "/tmp/sms/recv");
    EXPECT_EQ(smsFolder(SMS_SPOOL_ROOT, SMS_DIR_RECV_PARTS), "/tmp/sms/recv_parts");
    EXPECT_EQ(smsFolder(SMS_SPOOL_ROOT, SMS_DIR_RECV_POST), "/tmp/sms/recv_post");
    EXPECT_EQ(smsFolder(SMS_SPOOL_ROOT, SMS_DIR_SEND), "/tmp/sms/send");
    EXPECT_EQ(smsFolder(SMS_SPOOL_ROOT, SMS_DIR_SEND_FAIL), "/tmp/sms/send_fail");
    EXPECT_EQ(smsFolder(SMS_SPOOL_ROOT, SMS_DIR_SEND_OK), "/tmp/sms/send_ok");
}

TEST(PublishedSmsSpool, FiledName_IsTheNameWithTheTimeAfterIt) {
    EXPECT_EQ(filedSmsName("pump", "1592253125"), "pump.1592253125");
    EXPECT_TRUE(isFiledSmsName("pump.1592253125", "pump"));
    EXPECT_FALSE(isFiledSmsName("pump2.1592253125", "pump"));
    EXPECT_FALSE(isFiledSmsName("pump", "pump"));
    const std::string longest(SMS_NAME_MAX, 'n');
    EXPECT_EQ(filedSmsName(longest, "12345"), longest.substr(0, SMS_NAME_MAX - 6) + ".12345");
}

TEST(PublishedSmsSpool, FileToBeSent_HasNumberAndText) {
    EXPECT_EQ(sendFileText("+12025550123", "two\nlines"), "TO=+12025550123\nMSG=two\nlines\n");
}

TEST(PublishedSmsSpool, FieldsOfParts_AreThoseThatOtherProgramsKnow) {
    EXPECT_EQ(smsFieldStart(SMS_FIELD_TIME_UNFORMATTED), "TIMEUF=");
    EXPECT_EQ(smsFieldStart(SMS_FIELD_ID), "MSG_ID=");
    EXPECT_EQ(smsFieldStart(SMS_FIELD_PART_NUMBER), "MSG_PART_NUMBER=");
    EXPECT_EQ(smsFieldStart(SMS_FIELD_PART_TOTAL), "MSG_PART_TOTAL=");
}

TEST(PublishedSmsSpool, ReceivedFile_IsRead) {
    struct sCase {
        const char* content;
        sReceivedText expected;
    };
    const sCase cases[] = {
        {"", {"", "", ""}},
        {"FROM=+1\nTIME=2020\nMSG=hello", {"+1", "2020", "hello"}},
        {"TIME=2020\nFROM=+1\nMSG=a\nMSG=b\nFROM=c\n", {"+1", "2020", "a\nMSG=b\nFROM=c\n"}},
        {"FROM=+1\nTIMEUF=7\nMSG_ID=7\nMSG=", {"+1", "", ""}},
        {"FROM=+1", {"+1", "", ""}},
        {"MSG=FROM=x", {"", "", "FROM=x"}},
    };
    for (const sCase& test : cases) {
        const sReceivedText message = parseReceivedText(test.content);
        EXPECT_EQ(message.from, test.expected.from) << test.content;
        EXPECT_EQ(message.time, test.expected.time) << test.content;
        EXPECT_EQ(message.text, test.expected.text) << test.content;
    }
}

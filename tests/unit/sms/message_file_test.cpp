#include "sms/message_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "sms/sms.h"
#include "tests/unit/sms/fixture.h"

namespace {

class SmsWrite : public cSmsFixture {};

class SmsParseFile : public cSmsFixture {
  protected:
    bool parse(const std::string& content) {
        writeFile(path, content);
        return parseSmsFile(path, number, message);
    }

    const std::string path = in("send", "file");
    std::string number;
    std::string message;
};

}  // namespace

TEST_F(SmsWrite, SingleMessage_HasItsNameAndItsLines) {
    tSmsQueue queue = queueOf({singleRecord("+12025550123", "line 1\nline 2")});
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    EXPECT_TRUE(queue.empty());
    const std::string name = std::string("sms_msg_+12025550123_") + START_TEXT + ".1";
    EXPECT_EQ(names("recv"), tNames{name});
    EXPECT_EQ(readFile(in("recv", name)),
              "FROM=+12025550123\nTIME=2020-06-15 20:32:05\nMSG=line 1\nline 2");
    struct stat info {};
    ASSERT_EQ(stat(in("recv", name).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    EXPECT_EQ(logCount("Received SMS from +12025550123 at 2020-06-15 20:32:05, Message: line "
                       "1_line 2"),
              1U);
}

TEST_F(SmsWrite, Part_HasItsNameAndItsLines) {
    tSmsQueue queue = queueOf({partRecord("+12025550123", 7, 2, 3, "text")});
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    const std::string name = std::string("sms_msg.7.2.3.") + START_TEXT + ".1";
    EXPECT_EQ(names("recv_parts"), tNames{name});
    EXPECT_EQ(readFile(in("recv_parts", name)),
              "FROM=+12025550123\nTIME=2020-06-15 20:32:05\nTIMEUF=1592253125\nMSG_ID=7\n"
              "MSG_PART_NUMBER=2\nMSG_PART_TOTAL=3\nMSG=text");
    EXPECT_EQ(logCount("Received SMS Part 2/3 (ID: 7) from +12025550123 at 2020-06-15 20:32:05, "
                       "Message: text"),
              1U);
}

TEST_F(SmsWrite, TotalOfOne_IsASingleMessage) {
    tSmsQueue queue = queueOf({partRecord("+12025550123", 7, 1, 1, "text")});
    writeSmsMessages(queue, root);
    EXPECT_EQ(names("recv").size(), 1U);
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsWrite, TwoMessagesOfOneSenderInABatch_AreNumberedOneAndTwo) {
    tSmsQueue queue = queueOf({singleRecord("1", "a"), singleRecord("1", "b")});
    EXPECT_EQ(writeSmsMessages(queue, root), 2U);
    const std::string base = std::string("sms_msg_1_") + START_TEXT;
    EXPECT_EQ(names("recv"), (tNames{base + ".1", base + ".2"}));
}

TEST_F(SmsWrite, TwoBatchesInASecond_SecondReplacesTheFirst) {
    tSmsQueue queue = queueOf({singleRecord("1", "a")});
    writeSmsMessages(queue, root);
    queue = queueOf({singleRecord("1", "b")});
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    EXPECT_EQ(names("recv"), tNames{std::string("sms_msg_1_") + START_TEXT + ".1"});
    EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=2020-06-15 20:32:05\nMSG=b"});
}

TEST_F(SmsWrite, WaitForFreeNames_NameTaken_WaitsForTheNextSecond) {
    tSmsQueue queue = queueOf({singleRecord("1", "a")});
    waitForFreeNames(queue, root);
    writeSmsMessages(queue, root);
    queue = queueOf({singleRecord("2", "x"), singleRecord("1", "b")});
    waitForFreeNames(queue, root);
    writeSmsMessages(queue, root);
    const std::string base = std::string("sms_msg_1_") + START_TEXT;
    EXPECT_TRUE(fileExists(in("recv", base + ".1")));
    EXPECT_TRUE(fileExists(in("recv", base + ".2"))) << "no name was taken: no wait";
    queue = queueOf({singleRecord("1", "c")});
    waitForFreeNames(queue, root);
    writeSmsMessages(queue, root);
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_1_20200615-203206.1")));
}

TEST_F(SmsWrite, HostileSenders_StayInTheFolderAndInTheirLine) {
    const std::string nul("a\0b", 3);
    tSmsQueue queue = queueOf({singleRecord("/", "1"), singleRecord("..", "2"),
                               singleRecord("../../x", "3"), singleRecord("a\nMSG_ID=9\nb", "4"),
                               singleRecord(nul, "5"), singleRecord("$(id) `id`;\"'", "6"),
                               singleRecord("", "7"), singleRecord(std::string(400, 'n'), "8")});
    EXPECT_EQ(writeSmsMessages(queue, root), 8U);
    const std::string end = std::string("_") + START_TEXT + ".";
    EXPECT_TRUE(fileExists(in("recv", "sms_msg__" + end + "1")));
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_.." + end + "2")));
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_.._.._x" + end + "3")));
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_a_MSG_ID=9_b" + end + "4")));
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_a_b" + end + "5")));
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_$(id) `id`;\"'" + end + "6")));
    EXPECT_TRUE(fileExists(in("recv", "sms_msg_" + end + "7")));
    EXPECT_EQ(names("recv").size(), 8U);
    EXPECT_EQ(names("").size(), 6U) << "nothing else in the root";
    EXPECT_EQ(readFile(in("recv", "sms_msg_a_MSG_ID=9_b" + end + "4")),
              "FROM=a_MSG_ID=9_b\nTIME=2020-06-15 20:32:05\nMSG=4");
    EXPECT_EQ(readFile(in("recv", "sms_msg__" + end + "1")),
              "FROM=/\nTIME=2020-06-15 20:32:05\nMSG=1");
    for (const std::string& line : capturedLog())
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
}

TEST_F(SmsWrite, TextWithNulAndKeys_IsKeptWhole) {
    const std::string text("a\0b\nMSG=c\nFROM=d", 17);
    tSmsQueue queue = queueOf({singleRecord("1", text)});
    writeSmsMessages(queue, root);
    EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=2020-06-15 20:32:05\nMSG=" + text});
}

TEST_F(SmsWrite, FolderIsALink_NothingIsWrittenNorCounted) {
    const std::string outside = folder / "outside";
    std::filesystem::create_directory(outside);
    std::filesystem::remove(root + "/recv");
    std::filesystem::create_directory_symlink(outside, root + "/recv");
    tSmsQueue queue = queueOf({singleRecord("1", "a"), partRecord("1", 7, 1, 2, "b")});
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    EXPECT_TRUE(queue.empty());
    EXPECT_TRUE(std::filesystem::is_empty(outside));
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsWrite, LinkInPlaceOfTheFile_IsReplaced) {
    const std::string outside = folder / "outside";
    writeFile(outside, "untouched");
    const std::string name = std::string("sms_msg_1_") + START_TEXT + ".1";
    std::filesystem::create_symlink(outside, in("recv", name));
    tSmsQueue queue = queueOf({singleRecord("1", "a")});
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    EXPECT_EQ(readFile(outside), "untouched");
    EXPECT_FALSE(std::filesystem::is_symlink(in("recv", name)));
}

TEST_F(SmsWrite, RemovedFolders_AreMadeAgain) {
    std::filesystem::remove_all(root);
    tSmsQueue queue = queueOf({singleRecord("1", "a")});
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    EXPECT_EQ(names("recv").size(), 1U);
}

TEST_F(SmsWrite, WriteToAnotherRoot_MakesTheDaemonsFoldersAgain) {
    std::filesystem::remove_all(root);
    tSmsQueue queue = queueOf({singleRecord("1", "a")});
    EXPECT_EQ(writeSmsMessages(queue, folder / "other"), 0U);
    EXPECT_TRUE(fileExists(in("recv")));
    EXPECT_FALSE(fileExists(folder / "other"));
}

TEST_F(SmsWrite, EmptyQueue_DoesNothing) {
    std::filesystem::remove_all(root);
    tSmsQueue queue;
    EXPECT_EQ(writeSmsMessages(queue, root), 0U);
    EXPECT_FALSE(fileExists(root));
}

TEST_F(SmsWrite, ResetSmsRecord_LeavesTheUnformattedTime) {
    S_smsRecordRx record = partRecord("1", 7, 2, 3, "text");
    record.index = 4;
    resetSmsRecord(record);
    EXPECT_EQ(record.index, 0U);
    EXPECT_EQ(record.from + record.time + record.message, "");
    EXPECT_EQ(record.msgId + record.partNumber + record.partTotal, 0);
    EXPECT_EQ(record.timeUnformatted, "1592253125");
}

TEST_F(SmsParseFile, PlainFile_GivesNumberAndText) {
    EXPECT_TRUE(parse("TO=12025550123\nX=1\nMSG=Hello\nthere  \r\n\n"));
    EXPECT_EQ(number, "12025550123");
    EXPECT_EQ(message, "Hello\nthere");
    EXPECT_FALSE(isInternationalNumber(number));
}

TEST_F(SmsParseFile, DecoratedNumber_IsReducedToItsDigits) {
    EXPECT_TRUE(parse("TO = +1 (202) 555-01 23\r\nMSG=x"));
    EXPECT_EQ(number, "12025550123");
    EXPECT_TRUE(isInternationalNumber(number));
    EXPECT_FALSE(isInternationalNumber("99999"));
    EXPECT_TRUE(parse("TO=0 202 55501+23\nMSG=x"));
    EXPECT_FALSE(isInternationalNumber(number)) << "the plus is not at the beginning";
}

TEST_F(SmsParseFile, NumberLength_FromFiveToFiftyDigits) {
    const struct {
        size_t digits;
        bool valid;
        const char* why;
    } cases[] = {
        {4, false, "is too short"}, {5, true, ""}, {50, true, ""}, {51, false, "is too long"}};
    for (const auto& row : cases) {
        clearCapturedLog();
        const std::string digits(row.digits, '7');
        EXPECT_EQ(parse("TO=" + digits + "\nMSG=x"), row.valid) << row.digits;
        if (!row.valid) {
            EXPECT_EQ(logCount("SMS send file " + path + " is invalid, number '" + digits + "' " +
                               row.why),
                      1U);
        }
    }
}

TEST_F(SmsParseFile, NoDestination_IsLogged) {
    EXPECT_FALSE(parse("NUMBER=12345\nMSG=x"));
    EXPECT_EQ(logCount("SMS send file " + path + " is invalid, does not contain a 'TO' field."),
              1U);
    EXPECT_FALSE(parse("TO=\nMSG=x"));
    EXPECT_TRUE(logContains("number '' is too short"));
}

TEST_F(SmsParseFile, EmptyText_IsLogged) {
    EXPECT_FALSE(parse("TO=12345\nMSG= \t\r\n \n"));
    EXPECT_EQ(logCount("SMS send file " + path + " is invalid, Contains an empty 'MSG=' field"),
              1U);
}

TEST_F(SmsParseFile, NoText_IsInvalid) {
    EXPECT_FALSE(parse("TO=12345\n"));
    EXPECT_FALSE(parse(""));
}

TEST_F(SmsParseFile, AccentedLetter_BecomesTwoQuestionMarks) {
    EXPECT_TRUE(parse("TO=12345\nMSG=caf\xC3\xA9."));
    EXPECT_EQ(message, "caf??.");
    EXPECT_EQ(logCount("Notice: Some incompatible SMS characters replaced with '?'"), 1U);
}

TEST_F(SmsParseFile, SecondMsgKey_IsText) {
    EXPECT_TRUE(parse("TO=12345\nMSG=a MSG=b"));
    EXPECT_EQ(message, "a MSG=b");
}

TEST_F(SmsParseFile, LinkMissingFileAndFolder_AreInvalid) {
    writeFile(folder / "outside", "TO=12345\nMSG=secret");
    std::filesystem::create_symlink(folder / "outside", in("send", "link"));
    EXPECT_FALSE(parseSmsFile(in("send", "link"), number, message));
    EXPECT_FALSE(parseSmsFile(in("send", "missing"), number, message));
    EXPECT_FALSE(parseSmsFile(root, number, message));
    ASSERT_EQ(mkfifo(in("send", "fifo").c_str(), 0600), 0);
    EXPECT_FALSE(parseSmsFile(in("send", "fifo"), number, message)) << "and does not wait";
}

TEST_F(SmsParseFile, LongFile_IsReadUpToItsLimit) {
    EXPECT_TRUE(parse("TO=12345\nMSG=" + std::string(200000, 'x')));
    EXPECT_EQ(message.size(), 131072 - strlen("TO=12345\nMSG="));
}

TEST(SmsText, StripNonLatinBasic_ReplacesTheUpperHalf) {
    const cLogMode log;
    std::string text = "a\x7f\x80\xff";
    EXPECT_TRUE(stripNonLatinBasic(text));
    EXPECT_EQ(text, "a\x7f??");
    EXPECT_FALSE(stripNonLatinBasic(text));
    EXPECT_EQ(capturedLog().size(), 1U);
}

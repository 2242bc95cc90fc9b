#include "sms/assembly.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <optional>

#include "include/utilities.h"
#include "sms/joined_journal.h"
#include "sms/part_file.h"
#include "sms/repeated_parts.h"
#include "sms/spool.h"
#include "tests/unit/sms/fixture.h"

namespace {

using tNames = std::vector<std::string>;

class SmsAssembly : public cSmsFixture {
  protected:
    std::vector<S_smsRecordRx> join() {
        tSmsQueue queue;
        checkSmsParts(queue, root);
        return recordsOf(queue);
    }
    // Names as the system lists them, which is the order the daemon meets them in.
    tNames listed() const {
        tNames found;
        readFilesInDir(in("recv_parts"), found);
        return found;
    }
    // Puts parts so that they are listed in the order of numbers, whatever that order is here.
    tNames putInListingOrder(const std::vector<int>& numbers, int id, int total,
                             const std::string& from) {
        for (size_t i = 0; i < numbers.size(); ++i)
            writeFile(in("recv_parts", "f" + std::to_string(i)), "");
        const tNames order = listed();
        for (size_t i = 0; i < numbers.size(); ++i)
            putPart(order[i], id, numbers[i], total, from, "<" + std::to_string(numbers[i]) + ">",
                    std::to_string(numbers[i]));
        return order;
    }
    // The part numbers of the file "f" texts joined, "<1><2>...".
    static std::string sequence(int total) {
        std::string text;
        for (int i = 1; i <= total; ++i)
            text += "<" + std::to_string(i) + ">";
        return text;
    }
    // How many files a check looked at, one that is looked at twice counted twice, and how often it
    // tried to put a message together.
    struct sEffort {
        size_t looks = 0;
        size_t assemblies = 0;
    };
    sEffort effortOfCheck() {
        clearCapturedLog();
        g_i_debugMode = eLOG_SMS;
        testing::internal::CaptureStdout();  // which shows the log, too
        join();
        testing::internal::GetCapturedStdout();
        g_i_debugMode = 0;
        sEffort effort;
        for (const std::string& line : capturedLog()) {
            effort.looks += line.find("Checking file") != std::string::npos ? 1 : 0;
            effort.assemblies += line.find("- Have ") != std::string::npos ? 1 : 0;
        }
        return effort;
    }
};

// No file can be opened.
class cNoFiles {
  public:
    cNoFiles() {
        getrlimit(RLIMIT_NOFILE, &m_saved);
        const rlimit none = {0, m_saved.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~cNoFiles() { setrlimit(RLIMIT_NOFILE, &m_saved); }
    cNoFiles(const cNoFiles&) = delete;
    cNoFiles& operator=(const cNoFiles&) = delete;

  private:
    rlimit m_saved{};
};

const char* const MISSING =
    "Error: checkSmsParts(): Missing message ID pieces.  Cannot Assemble message.";

}  // namespace

TEST_F(SmsAssembly, ThreePartsListedAsThreeOneTwo_AreJoinedInOrderByRequeueing) {
    g_i_debugMode = eLOG_SMS;
    const tNames order = putInListingOrder({3, 1, 2}, 7, 3, "+1 (202) 5550123");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "<1><2><3>");
    EXPECT_EQ(records[0].from, "12025550123");
    EXPECT_EQ(records[0].time, "time of " + order[0]) << "the greatest time stamp is part 3's";
    EXPECT_EQ(records[0].msgId + records[0].partNumber + records[0].partTotal, 0);
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_EQ(logCount("DEBUG:  checkSmsParts(): - Requeueing Group ID 7, Message part #3"), 1U);
    EXPECT_EQ(logCount("DEBUG:  checkSmsParts(): - Have 3 files for message ID group 7"), 1U);
    EXPECT_EQ(
        logCount("DEBUG:  checkSmsParts(): - Adding Group ID 7, Message part #2, Message '<2>'"),
        1U);
    EXPECT_EQ(logCount("DEBUG:  checkSmsParts(): - Enqueueing message"), 1U);
}

TEST_F(SmsAssembly, Time_IsThatOfTheLatestPart) {
    putPart("a", 7, 1, 3, "1", "a", "300");
    putPart("b", 7, 2, 3, "1", "b", "4294967295");
    putPart("c", 7, 3, 3, "1", "c", "99999999999");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].time, "time of b") << "a later one is only as great: it is bounded";
}

TEST_F(SmsAssembly, Time_NoTimeStamps_IsThatOfTheFirstPart) {
    putPart("a", 7, 1, 2, "1", "a", "");
    putPart("b", 7, 2, 2, "1", "b", "x");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].time, "time of a");
}

TEST_F(SmsAssembly, SameReferenceOfTwoSenders_AreNotJoined) {
    putPart("a", 7, 1, 2, "+111", "a");
    putPart("b", 7, 2, 2, "+222", "b");
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 2U);
}

TEST_F(SmsAssembly, SameReferenceOfTwoSenders_BothComplete_AreTwoMessages) {
    putPart("a", 7, 1, 2, "+111", "a1 ");
    putPart("b", 7, 1, 2, "+222", "b1 ");
    putPart("c", 7, 2, 2, "+222", "b2");
    putPart("d", 7, 2, 2, "+111", "a2");
    tNames texts;
    for (const S_smsRecordRx& record : join())
        texts.push_back(record.from + " " + record.message);
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (tNames{"111 a1 a2", "222 b1 b2"}));
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsAssembly, SameReferenceOfMessagesOfOtherLengths_AreNotJoined) {
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 3, "1", "b");
    putPart("c", 7, 3, 3, "1", "c");
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 3U);
}

TEST_F(SmsAssembly, TwoOfThreeParts_TellsNotEnoughAndDeletesNothing) {
    g_i_debugMode = eLOG_SMS;
    putPart("a", 7, 1, 3, "1", "a");
    putPart("b", 7, 2, 3, "1", "b");
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 2U);
    EXPECT_EQ(logCount("DEBUG:  checkSmsParts(): Not enough files present (2 files, need 3 parts)"),
              1U);
    EXPECT_FALSE(logContains(MISSING));
}

// 1, 1', 2 of three fill the queue: 1 and 2 are taken, then the takes run out.
TEST_F(SmsAssembly, DuplicatePart_IsRequeuedUntilTheTakesAreUsedUpAndAllWait) {
    g_i_debugMode = eLOG_SMS;
    putInListingOrder({1, 1, 2}, 7, 3, "1");
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(logCount("DEBUG:  checkSmsParts(): - Requeueing Group ID 7, Message part #1"), 20U)
        << "22 takes, two of which found their part";
    EXPECT_EQ(logCount(MISSING), 1U);
    EXPECT_EQ(names("recv_parts").size(), 3U) << "no part is lost with the attempt";
    g_i_debugMode = 0;
    putPart("three", 7, 3, 3, "1", "<3>");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "<1><2><3>");
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsAssembly, DuplicatePartOfACompleteMessage_DoesNotHarmIt) {
    putInListingOrder({1, 1, 2, 3}, 7, 3, "1");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "<1><2><3>");
    EXPECT_EQ(names("recv_parts").size(), 1U);
    EXPECT_FALSE(logContains(MISSING));
}

// Senders count their messages to 255 and begin again.
TEST_F(SmsAssembly, TwoMessagesOfOneReference_ListedInAnyOrder_ArePairedByTime) {
    std::vector<std::string> order = {"A1", "A2", "B1", "B2"};
    do {
        std::filesystem::remove_all(in("recv_parts"));
        makeSmsDirs(root);
        const tNames places = putInListingOrder({1, 1, 1, 1}, 7, 2, "1");
        for (size_t i = 0; i < order.size(); ++i)
            putPart(places[i], 7, order[i][1] - '0', 2, "1", order[i],
                    order[i][0] == 'A' ? "100" : "101");
        const std::vector<S_smsRecordRx> records = join();
        ASSERT_EQ(records.size(), 2U);
        EXPECT_EQ(records[0].message + " " + records[1].message, "A1A2 B1B2");
        EXPECT_TRUE(names("recv_parts").empty());
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_FALSE(logContains(MISSING));
}

TEST_F(SmsAssembly, MessagesOfOneReferenceInOneSecond_ArePairedByTheirArrival) {
    for (const char* text : {"A1", "A2", "B1", "B2", "C1", "C2"}) {
        static int s_count = 8;
        const std::string path = putPart("sms_msg.7." + std::string(text + 1) +
                                             ".2.20200615-203205." + std::to_string(++s_count),
                                         7, text[1] - '0', 2, "1", text);
        setFileTime(path, START_S);
    }
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].message + records[1].message + records[2].message, "A1A2B1B2C1C2")
        << "9 comes before 10";
}

TEST_F(SmsAssembly, SecondMessageOfOneReference_WaitsForItsOwnParts) {
    putPart("b1", 7, 1, 2, "1", "B1", "101");
    putPart("a1", 7, 1, 2, "1", "A1", "100");
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 2U);
    putPart("a2", 7, 2, 2, "1", "A2", "100");
    std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "A1A2");
    EXPECT_EQ(names("recv_parts"), tNames{"b1"});
    putPart("b2", 7, 2, 2, "1", "B2", "101");
    records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "B1B2");
}

// A network repeats a part after its message was joined; the sender comes to the same reference.
TEST_F(SmsAssembly, PartLeftFromLongAgo_IsNotJoinedWithAMessageThatIsWhole) {
    putPart("a2", 7, 2, 2, "1", "A2", "10000");
    putPart("b2", 7, 2, 2, "1", "B2", "50000");
    putPart("b1", 7, 1, 2, "1", "B1", "50000");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "B1B2");
    EXPECT_EQ(names("recv_parts"), tNames{"a2"});
}

TEST_F(SmsAssembly, PartLeftFromJustOverAnHour_IsNotJoinedWithAMessageThatIsWhole) {
    putPart("a2", 7, 2, 2, "1", "A2", "10000");
    putPart("b2", 7, 2, 2, "1", "B2", "13601");
    putPart("b1", 7, 1, 2, "1", "B1", "13601");
    ASSERT_EQ(join().size(), 1U);
    EXPECT_EQ(names("recv_parts"), tNames{"a2"});
}

TEST_F(SmsAssembly, PartsOfSeveralDays_TheWholeMessageIsJoinedFirstAndTheOthersAfterIt) {
    const tNames places = putInListingOrder({1, 1, 1, 1, 1, 1}, 7, 3, "1");
    const char* const texts[] = {"C3", "B2", "A1", "B3", "A2", "B1"};
    for (size_t i = 0; i < places.size(); ++i)
        putPart(places[i], 7, texts[i][1] - '0', 3, "1", texts[i],
                std::to_string(100000 * (texts[i][0] - '@') + i * 100));
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].message, "B1B2B3");
    EXPECT_EQ(records[1].message, "A1A2C3") << "every part ends up in a message";
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsAssembly, PartsWithinTheHour_TheOldestOfEachNumberAreJoined) {
    putPart("b1", 7, 1, 2, "1", "B1", "13700");
    putPart("a2", 7, 2, 2, "1", "A2", "13600");
    putPart("a1", 7, 1, 2, "1", "A1", "10000");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "A1A2") << "its parts need not be the nearest ones";
    EXPECT_EQ(names("recv_parts"), tNames{"b1"});
}

TEST_F(SmsAssembly, OneReferenceOfANumberWithAndWithoutPlus_EachHasItsOwnParts) {
    putPart("a1", 7, 1, 2, "+111", "A1", "100");
    putPart("b1", 7, 1, 2, "111", "B1", "101");
    putPart("b2", 7, 2, 2, "111", "B2", "101");
    putPart("a2", 7, 2, 2, "+111", "A2", "102");
    tNames texts;
    for (const S_smsRecordRx& record : join())
        texts.push_back(record.from + " " + record.message);
    EXPECT_EQ(texts, (tNames{"111 A1A2", "111 B1B2"}));
}

TEST_F(SmsAssembly, OneReferenceOfTwoNamesWithTheSameDigits_AreNotJoined) {
    putPart("a1", 7, 1, 2, "Shop24", "A1", "100");
    putPart("b2", 7, 2, 2, "Bank24", "B2", "100");
    EXPECT_TRUE(join().empty());
    putPart("b1", 7, 1, 2, "Bank24", "B1", "100");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].from + " " + records[0].message, "24 B1B2");
    EXPECT_EQ(names("recv_parts"), tNames{"a1"});
}

// The limit of takes is for missing pieces, whatever waits beside them.
TEST_F(SmsAssembly, TwoLongMessagesOfOneReferenceInReverse_AreJoined) {
    std::vector<int> numbers;
    for (int i = 10; i >= 1; --i)
        numbers.insert(numbers.end(), {i, i});
    const tNames places = putInListingOrder(numbers, 7, 10, "1");
    for (size_t i = 0; i < places.size(); ++i)
        putPart(places[i], 7, numbers[i], 10, "1", "<" + std::to_string(numbers[i]) + ">",
                i % 2 == 0 ? "101" : "100");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].message, sequence(10));
    EXPECT_EQ(records[1].message, sequence(10));
}

TEST_F(SmsAssembly, PartNumberBeyondTheTotal_IsNoPieceOfTheMessage) {
    putInListingOrder({9, 2, 1}, 7, 2, "1");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "<1><2>");
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

// It stays until the day sweep and would be told every five seconds.
TEST_F(SmsAssembly, GroupThatCannotBeJoined_IsToldOnce) {
    putInListingOrder({2, 2, 3}, 7, 3, "1");
    join();
    join();
    EXPECT_EQ(logCount(MISSING), 1U);
    EXPECT_EQ(names("recv_parts").size(), 3U);
    std::filesystem::remove_all(in("recv_parts"));
    makeSmsDirs(root);
    putPart("other", 1, 1, 2, "1", "x");
    join();
    putInListingOrder({2, 2, 3}, 7, 3, "1");
    join();
    EXPECT_EQ(logCount(MISSING), 2U);
}

TEST_F(SmsAssembly, UpToTenPartsInReverseOrder_AreJoined) {
    for (int total = 2; total <= 10; ++total) {
        std::vector<int> numbers;
        for (int i = total; i >= 1; --i)
            numbers.push_back(i);
        putInListingOrder(numbers, 7, total, "1");
        const std::vector<S_smsRecordRx> records = join();
        ASSERT_EQ(records.size(), 1U) << total;
        EXPECT_EQ(records[0].message, sequence(total));
        EXPECT_TRUE(names("recv_parts").empty());
    }
    EXPECT_FALSE(logContains(MISSING));
}

TEST_F(SmsAssembly, LongestMessage_IsJoined) {
    std::vector<int> numbers;
    for (int i = 255; i >= 1; --i)
        numbers.push_back(i);
    putInListingOrder(numbers, 65536, 255, "1");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, sequence(255));
}

TEST_F(SmsAssembly, OrphanAsFirstFile_DoesNotBlockTheOthers) {
    putInListingOrder({1, 1, 1, 1, 1, 1}, 9, 2, "1");
    const tNames order = listed();
    putPart(order[1], 7, 2, 2, "5", "B");
    putPart(order[2], 7, 1, 2, "5", "A");
    putPart(order[3], 8, 1, 2, "5", "C");
    putPart(order[4], 8, 2, 2, "5", "D");
    putPart(order[5], 10, 1, 3, "5", "x");
    tNames texts;
    for (const S_smsRecordRx& record : join())
        texts.push_back(record.message);
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (tNames{"AB", "CD"}));
    EXPECT_EQ(names("recv_parts").size(), 2U);
}

TEST_F(SmsAssembly, TwoMessagesOfOneGroup_AreBothJoined) {
    putInListingOrder({2, 1, 1, 2}, 7, 2, "1");
    EXPECT_EQ(join().size(), 2U);
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsAssembly, MissingFields_DeleteTheFileAndAreTold) {
    const char* const lines[] = {"MSG_ID=7\n", "MSG_PART_NUMBER=1\n", "MSG_PART_TOTAL=2\n",
                                 "FROM=123\n"};
    const char* const keys[] = {"MSG_ID", "MSG_PART_NUMBER", "MSG_PART_TOTAL", "FROM"};
    for (size_t missing = 0; missing < 4; ++missing) {
        clearCapturedLog();
        std::string content;
        for (size_t i = 0; i < 4; ++i)
            if (i != missing) content += lines[i];
        const std::string path = in("recv_parts", "file");
        writeFile(path, content + "MSG=text");
        EXPECT_TRUE(join().empty());
        EXPECT_EQ(
            logCount("Error: File " + path + " missing field '" + keys[missing] + "', deleting"),
            1U);
        EXPECT_TRUE(names("recv_parts").empty()) << keys[missing];
    }
}

TEST_F(SmsAssembly, ZeroFields_DeleteTheFile) {
    putPart("a", 0, 1, 2, "1", "x");
    putPart("b", 7, 0, 2, "1", "x");
    putPart("c", 7, 1, 0, "1", "x");
    putPart("d", 7, 1, 2, "", "x");
    EXPECT_TRUE(join().empty());
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsAssembly, NumbersAreReducedToNineDigits) {
    const std::string path = in("recv_parts", "file");
    writeFile(path,
              "FROM=1\nMSG_ID=-3\nMSG_PART_NUMBER= 1 \nMSG_PART_TOTAL=99999999999999999999\nMSG=x");
    const sPartFile* part = lookAtPartFile(path);
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(part->attributes.msgId, 3);
    EXPECT_EQ(part->attributes.partNumber, 1);
    EXPECT_EQ(part->attributes.partTotal, 999999999);
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsAssembly, FieldsInTheText_DoNotCount) {
    putPart("a", 7, 1, 2, "1", "text\nMSG_ID=8\nFROM=9\nMSG=more");
    putPart("b", 7, 2, 2, "1", "end");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "text\nMSG_ID=8\nFROM=9\nMSG=moreend");
    EXPECT_EQ(records[0].from, "1");
}

// No group can have it, since digits are all that counts of a sender.
TEST_F(SmsAssembly, PartOfASenderWithoutDigits_IsHandedOverAsAMessage) {
    putPart("a", 7, 1, 3, "My/Bank", "first part");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].from, "My/Bank");
    EXPECT_EQ(records[0].message, "first part");
    EXPECT_EQ(records[0].time, "time of a");
    EXPECT_EQ(records[0].partTotal, 0);
    EXPECT_TRUE(fileExists(records[0].journal));
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsAssembly, PartsOfSendersWithoutDigits_ComeInTheOrderOfTheirNumbers) {
    const tNames places = putInListingOrder({4, 3, 2, 1, 4, 3, 2, 1}, 7, 4, "MyBank");
    const char* const texts[] = {"B4", "A3", "B2", "A1", "A4", "B3", "A2", "B1"};
    for (size_t i = 0; i < places.size(); ++i)
        putPart(places[i], texts[i][0] == 'A' ? 9 : 7, texts[i][1] - '0', 4, "MyBank", texts[i],
                texts[i][0] == 'A' ? "100" : "101");
    std::string got;
    for (const S_smsRecordRx& record : join())
        got += record.message + " ";
    EXPECT_EQ(got, "A1 A2 A3 A4 B1 B2 B3 B4 ") << "the older message first";
}

TEST_F(SmsAssembly, OneReferenceOfTwoSendersWithoutDigits_AreTwoMessages) {
    putPart("a2", 7, 2, 2, "Carrier", "A2", "103");
    putPart("b1", 7, 1, 2, "MyBank", "B1", "101");
    putPart("b2", 7, 2, 2, "MyBank", "B2", "102");
    putPart("a1", 7, 1, 2, "Carrier", "A1", "100");
    std::string got;
    for (const S_smsRecordRx& record : join())
        got += record.message + " ";
    EXPECT_EQ(got, "A1 A2 B1 B2 ");
}

TEST_F(SmsAssembly, TwoMessagesOfOneReferenceWithoutDigits_ComeOneAfterTheOther) {
    const tNames places = putInListingOrder({1, 1, 1, 1}, 7, 2, "MyBank");
    const char* const texts[] = {"B2", "A1", "A2", "B1"};
    for (size_t i = 0; i < places.size(); ++i)
        putPart(places[i], 7, texts[i][1] - '0', 2, "MyBank", texts[i],
                texts[i][0] == 'A' ? "100" : "101");
    std::string got;
    for (const S_smsRecordRx& record : join())
        got += record.message + " ";
    EXPECT_EQ(got, "A1 A2 B1 B2 ");
}

TEST_F(SmsAssembly, PartThatCannotBeRead_StaysAndIsReadTheNextTime) {
    const std::string path = putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    {
        std::optional<cNoFiles> noFiles;
        g_i_debugMode = eLOG_SMS;
        onLogged("DEBUG:  checkSmsParts(): Checking file " + in("recv_parts", listed()[0]),
                 [&] { noFiles.emplace(); });
        EXPECT_TRUE(join().empty());
        g_i_debugMode = 0;
        EXPECT_TRUE(noFiles.has_value());
        for (int i = 0; i < 3; ++i) {
            beginPartCheck();
            EXPECT_FALSE(lookAtPartFile(path)->isRead);
        }
    }
    EXPECT_EQ(names("recv_parts"), (tNames{"a", "b"}));
    EXPECT_FALSE(logContains("missing field"));
    EXPECT_EQ(logCount("Error: Cannot read SMS file " + path + ", errno 24 (Too many open files)"),
              1U)
        << "told once";
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "ab");
}

TEST_F(SmsAssembly, NotARegularFile_IsNeitherReadNorWaitedFor) {
    const std::string outside = folder / "outside";
    writeFile(outside, "FROM=1\nMSG_ID=7\nMSG_PART_NUMBER=1\nMSG_PART_TOTAL=1\nMSG=secret");
    std::filesystem::create_symlink(outside, in("recv_parts", "link"));
    ASSERT_EQ(mkfifo(in("recv_parts", "fifo").c_str(), 0600), 0);
    std::filesystem::create_directory(in("recv_parts", "folder"));
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts"), tNames{"folder"}) << "which cannot be unlinked";
    EXPECT_TRUE(fileExists(outside));
    const size_t logged = capturedLog().size();
    join();
    EXPECT_EQ(capturedLog().size(), logged) << "told once";
}

// Another slot's daemon is writing it just now.
TEST_F(SmsAssembly, TemporaryFile_IsNoPart) {
    writeFile(in("recv_parts", ".cellslot-tmp-abcdef"), "FROM=1\nTI");
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    EXPECT_EQ(join().size(), 1U);
    EXPECT_EQ(names("recv_parts"), tNames{".cellslot-tmp-abcdef"});
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsAssembly, FolderIsALink_IsNotRead) {
    const std::string outside = folder / "outside";
    std::filesystem::create_directory(outside);
    writeFile(outside + "/part", "MSG=x");
    std::filesystem::remove(root + "/recv_parts");
    std::filesystem::create_directory_symlink(outside, root + "/recv_parts");
    EXPECT_TRUE(join().empty());
    EXPECT_TRUE(fileExists(outside + "/part"));
}

TEST_F(SmsAssembly, ChangedFile_IsReadAgain) {
    const std::string path = putPart("a", 7, 1, 2, "1", "old");
    setFileTime(path, START_S);
    putPart("b", 7, 3, 2, "1", "b");
    join();
    putPart("a", 7, 2, 2, "1", "new text");
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "new text");
    const std::string other = putPart("c", 7, 1, 2, "1", "NEW TEXT");
    setFileTime(other, lookAtPartFile(path)->identity.modifiedNs / 1000000000);
    std::filesystem::rename(other, path);
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "NEW TEXT") << "another file of its size";
    std::filesystem::remove(path);
    EXPECT_EQ(lookAtPartFile(path), nullptr);
}

TEST_F(SmsAssembly, UnchangedFile_IsNotReadAgain) {
    const std::string path = putPart("a", 7, 1, 2, "1", "aaaa");
    setFileTime(path, START_S);
    join();
    putPart("a", 7, 1, 2, "1", "bbbb");
    setFileTime(path, START_S);
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "aaaa")
        << "same inode, size and time of change";
}

TEST_F(SmsAssembly, FileThatWasAwayForACheck_IsReadAgain) {
    const std::string path = putPart("a", 7, 1, 2, "1", "aaaa");
    putPart("other", 8, 1, 2, "1", "x");
    setFileTime(path, START_S);
    join();
    std::filesystem::rename(path, folder / "a");
    join();
    std::filesystem::rename(folder / "a", path);
    putPart("a", 7, 1, 2, "1", "bbbb");
    setFileTime(path, START_S);
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "bbbb");
}

TEST_F(SmsAssembly, Journal_HoldsTheMessageUntilItIsWritten) {
    putPart("a", 7, 1, 2, "1", "x\n");
    putPart("b", 7, 2, 2, "1", "y");
    tSmsQueue queue;
    checkSmsParts(queue, root);
    ASSERT_EQ(queue.size(), 1U);
    const std::string journal = queue.front().journal;
    EXPECT_EQ(readFile(journal), "a/b//FROM=1\nTIME=time of a\nMSG=x\ny");
    EXPECT_EQ(writeSmsMessages(queue, root), 1U);
    EXPECT_FALSE(fileExists(journal));
    EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=time of a\nMSG=x\ny"});
}

TEST_F(SmsAssembly, Journals_LeftBehind_AreTakenWithTheirParts) {
    putPart("b\nc", 7, 2, 2, "1", "y");
    S_smsRecordRx record = singleRecord("1", "x/y\nMSG=z");
    ASSERT_TRUE(writeJournal(record, {in("recv_parts", "a"), in("recv_parts", "b\nc")}, root));
    S_smsRecordRx second = singleRecord("2", "");
    ASSERT_TRUE(writeJournal(second, {in("recv_parts", "d")}, root));
    tSmsQueue queue;
    takeJournals(queue, root);
    const std::vector<S_smsRecordRx> records = recordsOf(queue);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].message, "x/y\nMSG=z");
    EXPECT_EQ(records[0].from, "1");
    EXPECT_EQ(records[0].time, record.time);
    EXPECT_EQ(records[1].from, "2");
    EXPECT_TRUE(names("recv_parts").empty());
    EXPECT_EQ(writeSmsMessages(queue, root), 2U);
    EXPECT_EQ(names("").size(), 6U) << "no journal is left";
}

TEST_F(SmsAssembly, Journals_LeftBehind_AreTakenInTheOrderTheyWereWritten) {
    std::string expected;
    for (int i = 1; i <= 12; ++i) {
        S_smsRecordRx record = singleRecord("MyBank", std::to_string(i) + " ");
        ASSERT_TRUE(writeJournal(record, {}, root));
        expected += record.message;
    }
    tSmsQueue queue;
    takeJournals(queue, root);
    std::string got;
    for (const S_smsRecordRx& record : recordsOf(queue))
        got += record.message;
    EXPECT_EQ(got, expected);
}

TEST_F(SmsAssembly, Journal_OfAMessageThatArrived_IsOnlyRemoved) {
    S_smsRecordRx record = singleRecord("1", "text");
    tSmsQueue queue = queueOf({record});
    writeSmsMessages(queue, root);
    ASSERT_TRUE(writeJournal(record, {}, root));
    takeJournals(queue, root);
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(names("").size(), 6U);
}

TEST_F(SmsAssembly, Journal_Unusable_IsRemoved) {
    for (const char* content : {"", "a", "/", "a/b//FROM=1\nTIME=2\n", "/FROM=1\nMSG=x"}) {
        writeFile(root + "/.cellslot-joined.1.1", content);
        tSmsQueue queue;
        takeJournals(queue, root);
        EXPECT_TRUE(queue.empty()) << content;
        EXPECT_EQ(names("").size(), 6U);
    }
}

TEST_F(SmsAssembly, Journal_OfAnotherSlot_IsLeftAlone) {
    writeFile(root + "/.cellslot-joined.2.1", "a//FROM=1\nTIME=2\nMSG=x");
    tSmsQueue queue;
    takeJournals(queue, root);
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(names("").size(), 7U);
}

TEST_F(SmsAssembly, RepeatedParts_TheNewestStays) {
    setFileTime(putPart("old", 7, 1, 2, "+1", "a"), START_S - 10);
    setFileTime(putPart("new", 7, 1, 2, "+1", "a"), START_S);
    setFileTime(putPart("two", 7, 2, 2, "+1", "b"), START_S - 20);
    setFileTime(putPart("other", 7, 1, 2, "1", "c"), START_S - 20);
    const std::string longer = putPart("longer", 7, 1, 3, "+1", "a");
    removeRepeatedParts(root, {in("recv_parts", "two")});
    EXPECT_TRUE(fileExists(longer)) << "a part of another message";
    std::filesystem::remove(longer);
    EXPECT_EQ(names("recv_parts"), (tNames{"new", "other", "two"}))
        << "one digit string is not one sender";
    setFileTime(in("recv_parts", "new"), START_S - 100);
    setFileTime(putPart("third", 7, 1, 2, "+1", "a"), START_S);
    removeRepeatedParts(root, {in("recv_parts", "new")});
    EXPECT_EQ(names("recv_parts"), (tNames{"new", "other", "two"})) << "just written is newer";
}

TEST_F(SmsAssembly, RepeatedParts_OnlyEqualOnesAre) {
    putPart("a", 7, 1, 2, "+1", "text");
    putPart("other text", 7, 1, 2, "+1", "Text");
    putPart("other time", 7, 1, 2, "+1", "text", "1592253126");
    putPart("other number", 7, 2, 2, "+1", "text");
    putPart("other reference", 8, 1, 2, "+1", "text");
    removeRepeatedParts(root, {in("recv_parts", "a"), in("recv_parts", "other reference")});
    EXPECT_EQ(names("recv_parts").size(), 5U);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsAssembly, RepeatedParts_OfMessagesThatNothingWasWrittenOf_AreLeftAlone) {
    for (const char* name : {"a", "b"})
        putPart(name, 7, 1, 2, "+1", "text");
    for (const char* name : {"c", "d"})
        putPart(name, 8, 1, 2, "+1", "text");
    removeRepeatedParts(root, {});
    EXPECT_EQ(names("recv_parts").size(), 4U);
    removeRepeatedParts(root, {in("recv_parts", "d")});
    EXPECT_EQ(names("recv_parts"), (tNames{"a", "b", "d"}));
}

TEST_F(SmsAssembly, HopelessGroup_WithANewFile_IsTriedAgain) {
    putInListingOrder({9, 9}, 8, 3, "5");
    putPart("x", 7, 2, 2, "1", "b");
    putPart("y", 7, 3, 2, "1", "b");
    join();
    join();
    EXPECT_EQ(names("recv_parts").size(), 4U);
    std::filesystem::remove(in("recv_parts", "y"));
    putPart("z", 7, 1, 2, "1", "a");
    EXPECT_EQ(join().size(), 1U);
}

TEST_F(SmsAssembly, SpoolCannotTakeTheMessage_KeepsThePartsAndTriesAgain) {
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    putPart("c", 8, 1, 2, "1", "c");
    putPart("d", 8, 2, 2, "1", "d");
    {
        const cNoSpace noSpace;
        EXPECT_TRUE(join().empty());
        EXPECT_EQ(names("recv_parts").size(), 4U);
    }
    EXPECT_EQ(join().size(), 2U);
}

namespace {

// 40 groups of three files none of which can be joined: two are the same part.
void putHopelessGroups(const cSmsFixture& fixture) {
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::to_string(i);
        fixture.putPart(name + "a", i + 1, 2, 3, "1", "x");
        fixture.putPart(name + "b", i + 1, 2, 3, "1", "x");
        fixture.putPart(name + "c", i + 1, 3, 3, "1", "x");
    }
}

}  // namespace

TEST_F(SmsAssembly, PartsOfHopelessGroups_AreLookedAtOnceAfterTheFirstCheck) {
    putHopelessGroups(*this);
    const sEffort first = effortOfCheck();
    EXPECT_EQ(first.looks, 120U * 40U) << "each group is tried in a pass of its own";
    EXPECT_EQ(first.assemblies, 40U);
    const sEffort later = effortOfCheck();
    EXPECT_EQ(later.looks, 120U);
    EXPECT_EQ(later.assemblies, 1U) << "that of the first file";
    EXPECT_EQ(names("recv_parts").size(), 120U);
}

TEST_F(SmsAssembly, Orphans_AreLookedAtOnce) {
    for (int i = 0; i < 100; ++i)
        putPart("sms_msg." + std::to_string(i) + ".1.2.20200615-203205.1", i + 1, 1, 2,
                "+1202555" + std::to_string(100 + i), "x");
    for (int check = 1; check <= 2; ++check) {
        const sEffort effort = effortOfCheck();
        EXPECT_EQ(effort.looks, 100U) << check;
        EXPECT_EQ(effort.assemblies, 0U) << check;
    }
    EXPECT_EQ(names("recv_parts").size(), 100U);
}

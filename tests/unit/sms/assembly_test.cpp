#include "sms/assembly.h"

#include <filesystem>

#include "sms/spool.h"
#include "tests/support/no_unlink.h"
#include "tests/unit/sms/assembly_fixture.h"

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

TEST_F(SmsAssembly, TwoOfThreeParts_LogsNotEnoughAndDeletesNothing) {
    g_i_debugMode = eLOG_SMS;
    putPart("a", 7, 1, 3, "1", "a");
    putPart("b", 7, 2, 3, "1", "b");
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 2U);
    EXPECT_EQ(logCount("DEBUG:  checkSmsParts(): Not enough files present (2 files, need 3 parts)"),
              1U);
    EXPECT_FALSE(logContains(MISSING));
}

// 1, 1', 2 of three fill the queue: 1 and 2 are used, then the limit of takes is reached.
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

// It stays until the daily clean-up and would be logged every five seconds.
TEST_F(SmsAssembly, GroupThatCannotBeJoined_IsLoggedOnce) {
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

TEST_F(SmsAssembly, IncompleteMessageListedFirst_DoesNotBlockTheOthers) {
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

// It fits no group, because only the digits of a sender count.
TEST_F(SmsAssembly, PartOfASenderWithoutDigits_IsDeliveredAsAMessage) {
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

TEST_F(SmsAssembly, PartsOfSendersWithoutDigits_AreDeliveredInTheOrderOfTheirNumbers) {
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

TEST_F(SmsAssembly, GroupThatCannotBeJoined_IsTriedAgainWithANewFile) {
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

TEST_F(SmsAssembly, MessageCannotBeWritten_PartsAreKeptAndTriedAgain) {
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

// 40 groups of three files that cannot be joined: two are the same part.
void putHopelessGroups(const cSmsFixture& fixture) {
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::to_string(i);
        fixture.putPart(name + "a", i + 1, 2, 3, "1", "x");
        fixture.putPart(name + "b", i + 1, 2, 3, "1", "x");
        fixture.putPart(name + "c", i + 1, 3, 3, "1", "x");
    }
}

}  // namespace

TEST_F(SmsAssembly, PartsOfGroupsThatCannotBeJoined_AreReadOnceAfterTheFirstCheck) {
    putHopelessGroups(*this);
    const sEffort first = effortOfCheck();
    EXPECT_EQ(first.looks, 120U * 40U) << "each group is tried in a pass of its own";
    EXPECT_EQ(first.assemblies, 40U);
    const sEffort later = effortOfCheck();
    EXPECT_EQ(later.looks, 120U);
    EXPECT_EQ(later.assemblies, 1U) << "that of the first file";
    EXPECT_EQ(names("recv_parts").size(), 120U);
}

TEST_F(SmsAssembly, PartsWithoutTheRest_AreReadOncePerCheck) {
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

TEST_F(SmsAssembly, MessageWhosePartsCannotBeDeleted_IsJoinedOnce) {
    putPart("a", 7, 1, 2, "+12025550123", "one ");
    putPart("b", 7, 2, 2, "+12025550123", "two");
    const cNoUnlink readOnly;
    ASSERT_EQ(join().size(), 1U);
    EXPECT_TRUE(join().empty());
    putPart("a", 8, 1, 2, "+12025550123", "another ");
    putPart("b", 8, 2, 2, "+12025550123", "message");
    EXPECT_EQ(join().size(), 1U) << "the same names hold other parts";
}

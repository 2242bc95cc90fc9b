#include "sms/part_pairing.h"

#include <algorithm>
#include <filesystem>

#include "sms/spool.h"
#include "tests/unit/sms/assembly_fixture.h"

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

// Senders number their messages up to 255 and start again.
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

// A network repeats a part after its message was joined, and later the sender uses the same
// reference again.
TEST_F(SmsAssembly, OldPart_IsNotJoinedWithACompleteMessage) {
    putPart("a2", 7, 2, 2, "1", "A2", "10000");
    putPart("b2", 7, 2, 2, "1", "B2", "50000");
    putPart("b1", 7, 1, 2, "1", "B1", "50000");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "B1B2");
    EXPECT_EQ(names("recv_parts"), tNames{"a2"});
}

TEST_F(SmsAssembly, PartJustOverAnHourOld_IsNotJoinedWithACompleteMessage) {
    putPart("a2", 7, 2, 2, "1", "A2", "10000");
    putPart("b2", 7, 2, 2, "1", "B2", "13601");
    putPart("b1", 7, 1, 2, "1", "B1", "13601");
    ASSERT_EQ(join().size(), 1U);
    EXPECT_EQ(names("recv_parts"), tNames{"a2"});
}

TEST_F(SmsAssembly, PartsOfSeveralDays_CompleteMessageIsJoinedFirstThenTheOthers) {
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

// The limit of takes applies to missing pieces, whatever else waits.
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

TEST_F(SmsAssembly, PartNumberBeyondTheTotal_IsNotPartOfTheMessage) {
    putInListingOrder({9, 2, 1}, 7, 2, "1");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "<1><2>");
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsAssembly, TwoMessagesOfOneGroup_AreBothJoined) {
    putInListingOrder({2, 1, 1, 2}, 7, 2, "1");
    EXPECT_EQ(join().size(), 2U);
    EXPECT_TRUE(names("recv_parts").empty());
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

TEST_F(SmsAssembly, TwoMessagesOfOneReferenceWithoutDigits_AreDeliveredOneAfterTheOther) {
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

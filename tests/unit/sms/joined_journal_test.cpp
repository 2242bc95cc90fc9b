#include "sms/joined_journal.h"

#include "tests/unit/sms/assembly_fixture.h"

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

TEST_F(SmsAssembly, JournalsOfAKilledDaemon_AreDeliveredAndTheirPartsRemoved) {
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

TEST_F(SmsAssembly, JournalsOfAKilledDaemon_AreDeliveredInTheOrderOfTheirWriting) {
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

TEST_F(SmsAssembly, JournalOfADeliveredMessage_IsOnlyRemoved) {
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

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "include/device_records.h"
#include "include/sleep.h"
#include "sms/assembly.h"
#include "sms/listing_marker.h"
#include "sms/receive.h"
#include "sms/sms.h"
#include "tests/unit/sms/fixture.h"

// The daemon is killed at every single system call of an operation, and started again.

namespace {

class SmsKill : public cSmsFixture {
  protected:
    // A new spool, and a daemon that has just started.
    void renew() {
        std::filesystem::remove_all(root);
        resetSmsState();
        makeSpool();
    }
    void makeSpool() const {
        for (const char* dir : {"recv", "recv_parts", "recv_post", "send", "send_fail", "send_ok"})
            std::filesystem::create_directories(root + "/" + dir);
    }

    // Younger files may belong to another slot.
    void passAMinute() const {
        for (const auto& entry : std::filesystem::directory_iterator(root))
            if (entry.is_regular_file())
                std::filesystem::last_write_time(
                    entry, entry.last_write_time() - std::chrono::seconds(70));
    }

    void restart() {
        resetSmsState();
        passAMinute();
        initSMS(root);
    }
};

}  // namespace

TEST_F(SmsKill, KilledWhileAMessageIsJoined_MessageExistsExactlyOnce) {
    int calls = 0;
    for (bool killed = true; killed;) {
        renew();
        for (int part = 1; part <= 3; ++part)
            putPart("p" + std::to_string(part), 7, part, 3, "1", std::to_string(part), "5");
        killed = killedAtCall(++calls, [&] {
            tSmsQueue queue;
            checkSmsParts(queue, root);
            writeSmsMessages(queue, root);
        });
        restart();
        tSmsQueue queue;
        checkSmsParts(queue, root);
        writeSmsMessages(queue, root);
        EXPECT_EQ(contents("recv"), tNames{"FROM=1\nTIME=time of p1\nMSG=123"}) << calls;
        EXPECT_TRUE(names("recv_parts").empty()) << calls;
        EXPECT_EQ(names("").size(), 6U) << calls;
        ASSERT_LT(calls, 1000);
    }
    EXPECT_GT(calls, 20) << "the work was seen call by call";
}

TEST_F(SmsKill, KilledWhileTwoMessagesOfOneReferenceAreJoined_BothExistExactlyOnce) {
    int calls = 0;
    for (bool killed = true; killed;) {
        renew();
        for (const char* part : {"A2", "B1", "A1", "B2"})
            putPart(part, 7, part[1] - '0', 2, "1", part, part[0] == 'A' ? "5" : "6");
        const auto work = [&] {
            tSmsQueue queue;
            checkSmsParts(queue, root);
            writeSmsMessages(queue, root);
        };
        killed = killedAtCall(++calls, work);
        restart();
        // The next check comes seconds later.
        sleepMicroseconds(5000000);
        work();
        EXPECT_EQ(contents("recv"), (tNames{"FROM=1\nTIME=time of A1\nMSG=A1A2",
                                            "FROM=1\nTIME=time of B1\nMSG=B1B2"}))
            << calls;
        EXPECT_TRUE(names("recv_parts").empty()) << calls;
        EXPECT_EQ(names("").size(), 6U) << calls;
        ASSERT_LT(calls, 1000);
    }
    EXPECT_GT(calls, 20) << "the work was seen call by call";
}

TEST_F(SmsKill, KilledWhileAListingIsWritten_EveryMessageExists) {
    const tNames pdus = {deliverPdu("22255", "single"), deliverPdu("22255", "a", 7, 1, 2),
                         deliverPdu("22255", "b", 7, 2, 2)};
    const tNames expected = {"FROM=22255\nTIME=2020-06-15 20:32:05\nMSG=ab",
                             "FROM=22255\nTIME=2020-06-15 20:32:05\nMSG=single"};
    int calls = 0;
    for (bool killed = true; killed;) {
        renew();
        // The modem answers in advance, so that the work is the same in every run.
        killed = killedAtCall(++calls, [&] {
            cFakePort port;
            port.answer(OK_REPLY).answer(listing(pdus));
            checkReceiveSmS(port.descriptor(), device.modem, root);
        });
        restart();
        {
            // Messages that were not listed are still unread; the others are listed as read.
            cFakePort port;
            port.answer(OK_REPLY);
            if (isListingOpen(root))
                port.answer(OK_REPLY).answer(listing(pdus));
            else if (names("recv").empty() && names("recv_parts").empty())
                port.answer(listing(pdus));
            else
                port.answer(OK_REPLY);
            checkReceiveSmS(port.descriptor(), device.modem, root);
        }
        EXPECT_EQ(contents("recv"), expected) << calls;
        EXPECT_TRUE(names("recv_parts").empty()) << calls;
        EXPECT_EQ(names("").size(), 6U) << calls;
        ASSERT_LT(calls, 5000);
    }
    EXPECT_GT(calls, 40) << "the work was seen call by call";
}

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "include/device_records.h"
#include "include/sleep.h"
#include "platform/include/text_helpers.h"
#include "sms/receive.h"
#include "sms/sms.h"
#include "tests/unit/platform/sms_pdu/support.h"
#include "tests/unit/sms/fixture.h"

// Parts of long messages in random order over several checks and restarts; several messages share a
// reference. CELLSLOT_SEED=<number> repeats a run.

namespace {

constexpr int ROUNDS = 60;

using tTexts = std::vector<std::string>;

struct sLongMessage {
    std::string from;
    int reference;
    int total;
    std::string clock;

    static std::string partText(int message, int number) {
        return "[" + std::to_string(message) + "." + std::to_string(number) + "]";
    }
};

class SmsRandomParts : public cSmsFixture {
  protected:
    size_t below(size_t end) { return randomBelow(random, end); }

    // Two senders, two references and few lengths, so that most messages share them.
    void makeMessages(bool inOneSecond) {
        messages.clear();
        const size_t count = 2 + below(8);
        for (size_t i = 0; i < count; ++i) {
            char clock[32];
            snprintf(clock, sizeof clock, "20/06/15,20:32:%02d+00",
                     inOneSecond ? 5 : static_cast<int>(i));
            messages.push_back({below(3) == 0 ? "+4917012345678" : "22255",
                                static_cast<int>(7 + below(2)),
                                static_cast<int>(below(4) == 0 ? 8 : 2 + below(2)), clock});
        }
    }

    tTexts makePdus() {
        tTexts pdus;
        for (size_t i = 0; i < messages.size(); ++i) {
            const sLongMessage& message = messages[i];
            for (int number = 1; number <= message.total; ++number)
                pdus.push_back(deliverPdu(message.from, sLongMessage::partText(i, number),
                                          message.reference, number, message.total, message.clock));
        }
        std::shuffle(pdus.begin(), pdus.end(), random);
        return pdus;
    }

    void receive(const tTexts& pdus) {
        sleepMicroseconds(5000000);
        port.answer(OK_REPLY).answer(listing(pdus));
        ASSERT_EQ(checkReceiveSmS(port.descriptor(), device.modem, root), eSUCCESS);
    }

    // The next few parts. The network delivers some twice: at once, or while the first one still
    // waits.
    tTexts nextListing(tTexts& pdus) {
        tTexts batch;
        for (size_t left = below(7); left > 0 && !pdus.empty(); --left) {
            batch.push_back(pdus.back());
            pdus.pop_back();
            if (below(6) == 0) batch.push_back(batch.back());
        }
        if (!waiting.empty() && below(4) == 0) batch.push_back(waiting[below(waiting.size())]);
        return batch;
    }

    // The delivered parts that are not yet in a message.
    void findWaiting(const tTexts& delivered) {
        const tTexts files = contents("recv_parts");
        waiting.clear();
        for (const std::string& pdu : delivered) {
            tSmsQueue queue;
            parseSmsPduMessages(eSMS_3GPP, listing({pdu}), queue);
            ASSERT_EQ(queue.size(), 1U);
            const std::string text = "MSG=" + queue.front().message;
            if (std::any_of(files.begin(), files.end(), [&](const std::string& file) {
                    return file.find(text) != std::string::npos;
                }))
                waiting.push_back(pdu);
        }
    }

    void takeAway() {
        for (const std::string& name : names("recv")) {
            arrived.push_back(findNeedleString(readFile(in("recv", name)), "MSG=", ""));
            std::filesystem::remove(in("recv", name));
        }
    }

    // Every part is in one message, and every message has each number once, in order.
    void expectEveryPartOnce() {
        takeAway();
        std::map<std::string, int> parts;
        for (const std::string& text : arrived) {
            int expected = 0;
            for (size_t at = 0; at < text.size(); at = text.find(']', at) + 1) {
                const std::string part = text.substr(at, text.find(']', at) + 1 - at);
                ++parts[part];
                EXPECT_EQ(textToInt(part.substr(part.find('.') + 1)), ++expected) << text;
            }
        }
        for (size_t i = 0; i < messages.size(); ++i)
            for (int number = 1; number <= messages[i].total; ++number)
                EXPECT_EQ(parts[sLongMessage::partText(i, number)], 1)
                    << sLongMessage::partText(i, number);
        EXPECT_EQ(arrived.size(), messages.size());
        EXPECT_TRUE(names("recv_parts").empty());
    }

    void renew() {
        std::filesystem::remove_all(root);
        resetSmsState();
        initSMS(root);
        arrived.clear();
        waiting.clear();
    }

    std::mt19937 random = seededRandom();
    cFakePort port;
    std::vector<sLongMessage> messages;
    tTexts arrived;
    tTexts waiting;
};

}  // namespace

TEST_F(SmsRandomParts, OverChecksAndRestarts_EveryPartEndsInExactlyOneMessage) {
    for (int round = 0; round < ROUNDS && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        renew();
        makeMessages(below(3) == 0);
        tTexts pdus = makePdus();
        tTexts delivered;
        while (!pdus.empty()) {
            const tTexts batch = nextListing(pdus);
            receive(batch);
            delivered.insert(delivered.end(), batch.begin(), batch.end());
            if (below(3) == 0) takeAway();
            if (below(3) == 0) {
                resetSmsState();
                initSMS(root);
            }
            findWaiting(delivered);
        }
        expectEveryPartOnce();
    }
}

TEST_F(SmsRandomParts, InOneListing_EveryMessageHasItsOwnParts) {
    for (int round = 0; round < ROUNDS && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        renew();
        makeMessages(false);
        receive(makePdus());
        expectEveryPartOnce();
        std::sort(arrived.begin(), arrived.end());
        tTexts expected;
        for (size_t i = 0; i < messages.size(); ++i) {
            expected.emplace_back();
            for (int number = 1; number <= messages[i].total; ++number)
                expected.back() += sLongMessage::partText(i, number);
        }
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(arrived, expected);
    }
}

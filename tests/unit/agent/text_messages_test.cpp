#include "agent/text_messages.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "agent/outcome.h"
#include "agent/root_protocol.h"
#include "published/sms_spool.h"
#include "tests/support/temp_folder.h"

namespace {

class TextMessages : public testing::Test {
  protected:
    TextMessages() { std::filesystem::create_directories(inbox()); }
    std::string inbox() const {
        return folder / (std::string(SMS_SPOOL_ROOT) + SMS_DIR_RECV).substr(1);
    }
    void receive(int number, const std::string& text) {
        const std::string path = inbox() + "m" + std::to_string(1000 + number);
        writeFile(path, "FROM=+12025550123\nTIME=2020-06-15 20:32:05\nMSG=" + text);
        const timespec times[2] = {{1600000000 + number, 0}, {1600000000 + number, 0}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }
    // As the service of root's says it to an agent that knows these.
    sFoundMessages find() {
        const std::string answer =
            foundMessagesJson({folder.path()}, parseMessageKeys(messageKeysJson(known)));
        EXPECT_LE(answer.size(), OUTPUT_MAX);
        return parseFoundMessages(answer).value();
    }
    // What the agent gets until there is no more.
    std::vector<std::string> takeAll() {
        std::vector<std::string> texts;
        for (bool isMore = true; isMore;) {
            const sFoundMessages found = find();
            isMore = !found.messages.empty();
            for (const sFoundMessage& message : found.messages) {
                texts.push_back(message.text);
                known.insert(message.key);
            }
            for (auto it = known.begin(); it != known.end();)
                it = found.keys.count(*it) == 0 ? known.erase(it) : std::next(it);
        }
        return texts;
    }

    cTempFolder folder;
    tMessageKeys known;
};

}  // namespace

TEST_F(TextMessages, ManyMessages_EachComesOnceInItsOrder) {
    for (int i = 0; i < 350; ++i)
        receive(i, std::to_string(i));
    const auto texts = takeAll();
    ASSERT_EQ(texts.size(), 350u);
    for (int i = 0; i < 350; ++i)
        EXPECT_EQ(texts[i], std::to_string(i));
}

TEST_F(TextMessages, NewestOfManyIsRemoved_NoOldOneComesAgain) {
    for (int i = 0; i < 101; ++i)
        receive(i, std::to_string(i));
    takeAll();
    unlink((inbox() + "m1100").c_str());
    EXPECT_TRUE(takeAll().empty());
    EXPECT_EQ(known.size(), 100u);
}

// As many long messages of quotes as somebody likes to send.
TEST_F(TextMessages, LongTexts_StayWithinAnAnswerAndComeWhole) {
    const std::string text(16 * 1024, '"');
    for (int i = 0; i < 100; ++i)
        receive(i, text);
    const auto texts = takeAll();
    ASSERT_EQ(texts.size(), 100u);
    EXPECT_EQ(texts[99], text);
}

TEST_F(TextMessages, TextIsCutBetweenTwoCharacters_StaysReadable) {
    std::string text = "x";
    while (text.size() < 40000)
        text += "\u00e9";
    receive(0, text);
    const auto texts = takeAll();
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_LE(texts[0].size(), 16u * 1024);
    EXPECT_EQ(texts[0], text.substr(0, texts[0].size()));
}

TEST_F(TextMessages, NamesOfMessagesAreLong_RequestStaysWithinItsBound) {
    const std::string name(240, 'n');
    for (int i = 0; i < 2000; ++i)
        writeFile(inbox() + name + std::to_string(i), "FROM=1\nMSG=x");
    EXPECT_EQ(takeAll().size(), 2000u);
    EXPECT_LE(messageKeysJson(known).size(), REQUEST_MAX - 100);
}

TEST_F(TextMessages, OtherAnswers_AreNone) {
    for (const char* text : {"", "[]", "{}", "{\"keys\":[5],\"messages\":[]}", "{\"keys\":[]}"})
        EXPECT_FALSE(parseFoundMessages(text)) << text;
    EXPECT_TRUE(parseMessageKeys("{").empty());
    EXPECT_TRUE(parseMessageKeys("[5]").empty());
}

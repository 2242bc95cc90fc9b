#include "agent/root_protocol.h"

#include <gtest/gtest.h>

TEST(RootProtocol, Answer_ComesBackAsItWas) {
    sRootAnswer answer;
    answer.outcome = {eResult::DONE, "It is done.", 0, std::string("a\n\0b", 4), true};
    const sRootAnswer read = parseRootAnswer(rootAnswerText(answer));
    EXPECT_EQ(read.outcome.status, eResult::DONE);
    EXPECT_EQ(read.outcome.text, "It is done.");
    EXPECT_EQ(read.outcome.output, answer.outcome.output);
    EXPECT_TRUE(read.outcome.isBinary);
    EXPECT_EQ(read.outcome.exit, 0);
}

TEST(RootProtocol, AnswerThatIsCutAnywhere_IsAFailure) {
    sRootAnswer answer;
    answer.outcome = {eResult::DONE, "It is done.", 0, "output", false};
    const std::string text = rootAnswerText(answer);
    for (size_t size = 0; size < text.size(); ++size)
        EXPECT_EQ(parseRootAnswer(text.substr(0, size)).outcome.status, eResult::FAILED) << size;
}

TEST(RootProtocol, WhatIsNoAnswer_IsAFailure) {
    for (const char* text : {"\n", "{}\n", "[]\n", "x\n", "{\"status\":5}\n"})
        EXPECT_EQ(parseRootAnswer(text).outcome.status, eResult::FAILED) << text;
}

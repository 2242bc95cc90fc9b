#include "agent/outcome.h"

#include <gtest/gtest.h>

namespace {

constexpr size_t ROOM = 2 * 1024 * 1024;

std::vector<sResult> resultsOf(const sOutcome& outcome, size_t room = ROOM) {
    sCommand command;
    command.id = "c1";
    command.by = "anna";
    command.name = COMMAND_DOCTOR;
    std::vector<sResult> results;
    uint64_t number = 0;
    for (const sDraft& draft : resultDrafts(command, outcome, 1795305600, room)) {
        const std::string text = draft.text({"12345678", ++number});
        EXPECT_LE(text.size(), 64u * 1024);
        const auto result = parseResult(text);
        EXPECT_TRUE(result) << text.substr(0, 200);
        if (result) results.push_back(*result);
    }
    return results;
}

std::string together(const std::vector<sResult>& results) {
    std::string output;
    for (const sResult& result : results)
        output += result.output;
    return output;
}

}  // namespace

TEST(Outcome, ShortOutput_IsOneResult) {
    const auto results = resultsOf({eResult::DONE, "ok", 0, "all is well\n", false});
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].output, "all is well\n");
    EXPECT_EQ(results[0].parts, 1);
}

TEST(Outcome, LongOutput_ComesWholeInParts) {
    for (const char* piece : {"x", "\n", "\"", "\xc3\xa4", "line of text\n"}) {
        std::string output;
        while (output.size() < 200'000)
            output += piece;
        const auto results = resultsOf({eResult::DONE, "ok", 0, output, false});
        EXPECT_GT(results.size(), 3u);
        EXPECT_EQ(together(results), output) << piece;
        EXPECT_EQ(results.back().part, results.back().parts);
    }
}

TEST(Outcome, BinaryOutput_ComesWhole) {
    std::string output;
    for (int i = 0; i < 300'000; ++i)
        output += static_cast<char>(i * 31);
    const auto results = resultsOf({eResult::DONE, "ok", 0, output, true});
    EXPECT_EQ(together(results), output);
    EXPECT_TRUE(results[0].isBinary);
}

TEST(Outcome, NoRoom_ResultSaysSoWithoutTheOutput) {
    const auto results =
        resultsOf({eResult::DONE, "ok", 0, std::string(300'000, 'x'), false}, 100'000);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].output, "");
    EXPECT_NE(results[0].text.find("too long"), std::string::npos);
}

TEST(Outcome, ControlCharactersAndWrongUtf8_AreMadePrintable) {
    const auto results = resultsOf({eResult::DONE, "ok", 0, "\x1b[2J\xff\xfe", false});
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].output.find('\x1b'), std::string::npos);
}

#include <gtest/gtest.h>

#include "platform/include/tokenstr.h"

namespace {

using tTexts = std::vector<std::string>;

tTexts split(const std::string& text, const std::string& separator, eEmptyTokens emptyTokens) {
    const tokenstr tokens(text, separator, emptyTokens);
    EXPECT_EQ(tokens.size(), static_cast<size_t>(tokens.end() - tokens.begin()));
    EXPECT_EQ(tokens.empty(), tokens.size() == 0);
    return {tokens.begin(), tokens.end()};
}

struct sCase {
    std::string text;
    std::string separator;
    tTexts kept;
    tTexts dropped;
};

const sCase CASES[] = {
    {"a,b,c", ",", {"a", "b", "c"}, {"a", "b", "c"}},
    {"1,,3", ",", {"1", "", "3"}, {"1", "3"}},
    {"1,\"IP\",\"apn\",,,",
     ",",
     {"1", "\"IP\"", "\"apn\"", "", "", ""},
     {"1", "\"IP\"", "\"apn\""}},
    {",\"123\",145", ",", {"", "\"123\"", "145"}, {"\"123\"", "145"}},
    {"alone", ",", {"alone"}, {"alone"}},
    {"", ",", {}, {}},
    {",", ",", {"", ""}, {}},
    {"a,", ",", {"a", ""}, {"a"}},
    {" a , b ", ",", {" a ", " b "}, {" a ", " b "}},
    {"line\r\n\r\nnext\r\n", "\n", {"line\r", "\r", "next\r", ""}, {"line\r", "\r", "next\r"}},
    {"AT+CSQ::45", "::", {"AT+CSQ", "45"}, {"AT+CSQ", "45"}},
    {"AT+CSQ:::45", "::", {"AT+CSQ", ":45"}, {"AT+CSQ", ":45"}},
    {"::5", "::", {"", "5"}, {"5"}},
    {"a:b", "::", {"a:b"}, {"a:b"}},
    {"whole", "", {"whole"}, {"whole"}},
    {std::string("a\0b,c", 5), ",", {std::string("a\0b", 3), "c"}, {std::string("a\0b", 3), "c"}},
};

}  // namespace

TEST(Tokenstr, Texts_AreSplitWithTheirEmptyTokensKept) {
    for (const sCase& testCase : CASES) {
        EXPECT_EQ(split(testCase.text, testCase.separator, eEmptyTokens::KEEP), testCase.kept)
            << testCase.text;
    }
}

TEST(Tokenstr, Texts_AreSplitWithTheirEmptyTokensDropped) {
    for (const sCase& testCase : CASES) {
        EXPECT_EQ(split(testCase.text, testCase.separator, eEmptyTokens::DROP), testCase.dropped)
            << testCase.text;
    }
}

TEST(Tokenstr, SeparatorCharacter_SplitsAsText) {
    const tokenstr tokens("a..b", '.', eEmptyTokens::DROP);
    ASSERT_EQ(tokens.size(), 2u);
    EXPECT_EQ(tokens[0], "a");
    EXPECT_EQ(tokens[1], "b");
    EXPECT_EQ(tokenstr("a..b", '.', eEmptyTokens::KEEP).size(), 3u);
}

TEST(Tokenstr, TokenBeyondTheEnd_IsEmpty) {
    const tokenstr tokens("a,b", ',', eEmptyTokens::KEEP);
    EXPECT_EQ(tokens[2], "");
    EXPECT_EQ(tokens[static_cast<size_t>(-1)], "");
    EXPECT_EQ(tokenstr()[0], "");
}

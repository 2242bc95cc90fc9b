#include <gtest/gtest.h>

#include "atcmd/catalogue.h"
#include "atcmd/command.h"
#include "device/at_transaction.h"
#include "tests/support/heap_peak.h"
#include "tests/support/reply_parsers.h"

// What the longest response of a transaction costs the parsers.

namespace {

// The lines, and the text after their prefixes: two copies of the response.
constexpr size_t HEAP_MAX = 2 * RESPONSE_MAX;

std::string repeated(const std::string& text) {
    std::string result;
    while (result.size() + text.size() <= RESPONSE_MAX)
        result += text;
    return result;
}

// The text before the first field.
std::string prefixOf(const sReplyParser& parser) {
    const std::string reply = parser.reply;
    return reply.substr(0, reply.find_first_of(":\"") + 1);
}

}  // namespace

TEST(HeapPeak, Allocation_IsCounted) {
    EXPECT_GE(heapPeakOf([] { std::string(100000, 'x'); }), 100000u);
    EXPECT_LT(heapPeakOf([] {}), 1000u);
}

TEST(ReplySize, HostileLine_CostsNoMoreThanTwiceItsLength) {
    setupVariableMaps();
    for (const char* piece : {",", "9,", "a ", "1.", "\"", "9"}) {
        const std::string fields = repeated(piece);
        for (const sReplyParser& parser : replyParsers()) {
            const std::string response = prefixOf(parser) + fields;
            EXPECT_LT(heapPeakOf([&] { parser.parse(response); }), HEAP_MAX)
                << parser.name << " " << piece;
        }
    }
}

TEST(ReplySize, HostileLines_CostNoMoreThanTwiceTheirLength) {
    setupVariableMaps();
    for (const char* piece : {"\n", "a\n", ",\n", " \r\n", "a\r\n\r\n"}) {
        const std::string response = repeated(piece);
        for (const sReplyParser& parser : replyParsers())
            EXPECT_LT(heapPeakOf([&] { parser.parse(response); }), HEAP_MAX)
                << parser.name << " " << piece;
    }
}

TEST(ReplySize, ReplyRepeated_CostsNoMoreThanTwiceItsLength) {
    setupVariableMaps();
    for (const sReplyParser& parser : replyParsers()) {
        const std::string response = repeated(parser.reply);
        EXPECT_LT(heapPeakOf([&] { parser.parse(response); }), HEAP_MAX) << parser.name;
    }
}

TEST(ReplyParsers, ValidReply_GivesAValidRecord) {
    setupVariableMaps();
    for (const sReplyParser& parser : replyParsers())
        EXPECT_STREQ(parser.parse(parser.reply), nullptr) << parser.name;
}

TEST(ResponseLines, MoreLinesThanAnyValidReply_AreDropped) {
    EXPECT_EQ(responseLines(repeated("a\r\n")).size(), RESPONSE_LINES_MAX);
    EXPECT_EQ(responseLinesAfter(repeated("a\r\n"), "a").size(), RESPONSE_LINES_MAX);
    EXPECT_EQ(responseLines(repeated("\r\n").substr(10) + "a\r\n"), std::vector<std::string>{"a"});
}

TEST(ResponseLines, LongLine_IsCut) {
    EXPECT_EQ(responseLines(std::string(RESPONSE_LINE_MAX, 'a')),
              std::vector<std::string>{std::string(RESPONSE_LINE_MAX, 'a')});
    EXPECT_EQ(responseLines(std::string(RESPONSE_LINE_MAX + 1, 'a') + "\nb"),
              (std::vector<std::string>{std::string(RESPONSE_LINE_MAX, 'a'), "b"}));
}

TEST(ResponseField, LongLine_IsCut) {
    EXPECT_EQ(responseField("+X:" + std::string(RESPONSE_LINE_MAX + 1, ',') + "\r\n", "+X:"),
              std::string(RESPONSE_LINE_MAX, ','));
    EXPECT_EQ(responseRest("+X: 1 2\r\nOK\r\n", "+X:"), " 1 2\r");
    EXPECT_EQ(responseRest("+X: 1 2", "+X:"), " 1 2");
    EXPECT_EQ(responseRest("+Y: 1 2", "+X:"), "");
}

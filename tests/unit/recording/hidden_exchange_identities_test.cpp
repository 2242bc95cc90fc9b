#include "recording/hidden_exchange.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/recording/exchange.h"

namespace {

constexpr const char* TEXT_HEADER =
    "\r\n+CMGL: 1,\"REC READ\",\"+12025550123\",\"\",\"20/06/15,20:32:05-20\"\r\n";
const std::string MESSAGE_PDU =
    "07917283010010F5040B917238880900F10000993092516195000AE8329BFD4697D9EC37";

}  // namespace

// A line may say which SIM card this is although nobody knows its name.
TEST(HiddenExchange, IdentitiesInUnknownLines_AreReplaced) {
    cExchange exchange;
    exchange.read(
        "my number is 5550101\r\n#FOO: \"89014100000000000015\"\r\n"
        "07917283010010F5040B917238880900F10000993092516195000AE8329BFD4697D9EC37\r\n");
    const std::string data = exchange.data();
    for (const char* const part : {"5550101", "0000000015", "7238880900F1", "E8329BFD"})
        EXPECT_EQ(data.find(part), std::string::npos) << data;
    EXPECT_EQ(data.find("my number is "), 0U);
}

// The shortest of each kind that is one. What is shorter stays.
TEST(HiddenExchange, IdentitiesOfTheLeastLength_AreReplaced) {
    struct sLimit {
        const char* command;
        const char* before;
        std::string identity;
        const char* after;
    };
    const sLimit limits[] = {
        {"AT+COPS?", "+COPS: 0,0,", "1234567890", ",7"},
        {"AT+CSCA?", "+CSCA: ", "12345", ",129"},
        {"AT#FOO?", "#FOO: ", "1234567", ",7"},
        {"AT#FOO?", "#FOO: ", "A1234567890123", ",7"},
        {"AT+CGSN", "", "AB12", ""},
    };
    for (const sLimit& limit : limits) {
        for (const bool isShorter : {false, true}) {
            const std::string identity =
                limit.identity.substr(0, limit.identity.size() - isShorter);
            cExchange exchange;
            exchange.write(std::string(limit.command) + "\r");
            exchange.read(limit.before + identity + limit.after + "\r\n");
            const std::string data = exchange.data();
            EXPECT_EQ(data.find(identity) != std::string::npos, isShorter) << data;
        }
    }
}

// A name or a number in an answer, and in the command before it.
TEST(HiddenExchange, NumbersWhereTelephoneNumbersAre_AreReplaced) {
    struct sPlace {
        const char* command;
        const char* answer;
    };
    for (const sPlace& place :
         {sPlace{"AT+CUSD=1", "+CUSD: 0,\"my number is 5550\",15"},
          sPlace{"AT+CSCA=\"5550\"", "+CSCA: \"5550\",129"},
          sPlace{"AT+CLIP=1", "+CLIP: \"5550\",129"}, sPlace{"AT+CCWA=1", "+CCWA: \"5550\",129"},
          sPlace{"AT+CPBR=1", "+CPBR: 1,\"5550\",129,\"A5550\""},
          sPlace{"AT+CPBF=\"5550\"", "+CPBF: 1,\"5550\",129,\"A5550\""},
          sPlace{"AT+CNUM", "+CNUM: \"A5550\",\"5550\",129"},
          sPlace{"AT+CRSM=176,28589", "+CRSM: 144,0,\"5550\""},
          sPlace{"AT+CSIM=10,\"A0A40\"", "+CSIM: 4,\"5550\""}}) {
        cExchange exchange;
        exchange.write(std::string(place.command) + "\r");
        exchange.read(place.answer + std::string("\r\n"));
        const std::string data = exchange.data();
        EXPECT_EQ(data.find("5550"), std::string::npos) << data;
        EXPECT_NE(data.find(std::string(place.answer, 6)), std::string::npos) << data;
    }
}

TEST(HiddenExchange, AnswersWithoutAName_AreIdentitiesAfterTheirCommands) {
    for (const char* const command :
         {"AT+CGSN", "AT#CGSN", "AT+GSN", "AT+CIMI", "AT#CIMI", "AT+CCID", "AT#CCID"}) {
        cExchange exchange;
        exchange.write(std::string(command) + "\r");
        exchange.read("\r\n31041\r\n\r\nOK\r\n");
        const std::string data = exchange.data();
        EXPECT_EQ(data.find("31041"), std::string::npos) << data;
    }
}

// The message of each comes in the line after it.
TEST(HiddenExchange, MessagesThatComeUnasked_AreReplaced) {
    for (const char* const header :
         {"+CMT: ,24", "+CDS: 24", "+CBM: 24", "+CMGR: 1,,24", "+CMGL: 1,1,,24"}) {
        cExchange exchange;
        exchange.read("\r\n" + std::string(header) +
                      "\r\nthe combination is fourhundred\r\n+CSQ: 1,2\r\n");
        const std::string data = exchange.data();
        EXPECT_EQ(data.find("combination"), std::string::npos) << data;
        EXPECT_EQ(data.find("fourhundred"), std::string::npos) << data;
        EXPECT_NE(data.find(header), std::string::npos) << data;
    }
}

TEST(HiddenExchange, LineAfterAPduThatCameUnasked_StaysAsItCame) {
    cExchange exchange;
    exchange.read("\r\n+CMT: ,24\r\n" + MESSAGE_PDU + "\r\n+CSQ: 1,2\r\nhello\r\n");
    const std::string data = exchange.data();
    EXPECT_NE(data.find("\r\n+CSQ: 1,2\r\nhello\r\n"), std::string::npos) << data;
}

// A hexadecimal line of a text is no PDU after which it ends.
TEST(HiddenExchange, FurtherLinesOfATextWithOneLikeAPdu_AreHidden) {
    for (const std::string& begin :
         {"+CMT: \"+12025550123\",,\"20/06/15,20:32:05-20\"\r\nhello\r\n" + MESSAGE_PDU,
          "+CMT: \"+12025550123\",,\"20/06/15,20:32:05-20\"\r\nOK\r\n" + MESSAGE_PDU}) {
        cExchange exchange;
        exchange.read("\r\n+CMT: ,24\r\n" + MESSAGE_PDU + "\r\n");
        exchange.read(begin + "\r\nOK\r\nthe combination is fourhundred\r\n");
        EXPECT_EQ(exchange.data().find("fourhundred"), std::string::npos);
    }
}

TEST(HiddenExchange, TextOfASentMessageWithALineLikeItsAnswer_IsHiddenAfterIt) {
    cExchange exchange;
    exchange.write("AT+CMGS=\"+12025550123\"\r");
    exchange.read("\r\n> ");
    exchange.write("+CMGS: 1\nthe combination is fourhundred\x1A");
    exchange.read("+CMGS: 1\r\nthe combination is fourhundred\x1A\r\n+CMGS: 12\r\n\r\nOK\r\n");
    EXPECT_EQ(exchange.data().find("fourhundred"), std::string::npos);
}

// A listing that was cut off has no result.
TEST(HiddenExchange, AnswerToTheNextCommandAfterACutListing_StaysAsItCame) {
    cExchange exchange;
    exchange.write("AT+CMGL=4\r");
    exchange.read("\r\n+CMGL: 1,1,,24\r\n");
    exchange.write("AT+CSQ\r");
    exchange.read("\r\n+CSQ: 1,2\r\n");
    const std::string data = exchange.data();
    EXPECT_NE(data.find("\r\n+CSQ: 1,2\r\n"), std::string::npos) << data;
}

TEST(HiddenExchange, AnswerAfterIdentification_IsNoIdentity) {
    cExchange exchange;
    exchange.write("ATI4\r");
    exchange.read("\r\n1234567\r\n");
    EXPECT_EQ(exchange.data(), "ATI4\r\r\n1234567\r\n");
}

TEST(HiddenExchange, NumberWithItsSign_HasTheSameStandInAsWithout) {
    cExchange exchange;
    exchange.read("+CNUM: \"\",\"+12025550123\",145\r\n+COPS: 12025550123\r\n");
    const std::string data = exchange.data();
    const std::string standIn = data.substr(data.find("\"+") + 2, 11);
    EXPECT_NE(standIn, "12025550123");
    EXPECT_NE(data.find("+COPS: " + standIn + "\r\n"), std::string::npos) << data;
}

TEST(HiddenExchange, Identities_AreStableAndKeepTheirForm) {
    cExchange exchange;
    exchange.write("AT+CGSN\r");
    exchange.read("\r\n356938035643809\r\n");
    exchange.write("AT+CIMI\r");
    exchange.read("\r\n310410123456789\r\n");
    exchange.write("AT+CNUM\r");
    exchange.read("\r\n+CNUM: \"Line\",\"+12025550101\",145\r\n");
    exchange.write("AT#RFSTS\r");
    exchange.read("\r\n#RFSTS: \"310 410\",310410123456789,\"AT&T\"\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("035643809"), std::string::npos);
    EXPECT_EQ(data.find("123456789"), std::string::npos);
    EXPECT_EQ(data.find("2025550101"), std::string::npos);
    EXPECT_NE(data.find("\r\n356938"), std::string::npos);
    const size_t imsi = data.find("\r\n310410") + 2;
    EXPECT_NE(data.find("\"310 410\"," + data.substr(imsi, 15) + ",\"AT&T\""), std::string::npos);
    EXPECT_EQ(data.size(),
              std::string("AT+CGSN\r\r\n356938035643809\r\nAT+CIMI\r\r\n310410123456789"
                          "\r\nAT+CNUM\r\r\n+CNUM: \"Line\",\"+12025550101\",145\r\n"
                          "AT#RFSTS\r\r\n#RFSTS: \"310 410\",310410123456789,\"AT&T\""
                          "\r\n")
                  .size());
}

TEST(HiddenExchange, TextMessage_ShowsNeitherTextNorNumber) {
    cExchange exchange;
    exchange.write("AT+CMGS=\"+12025550123\"\r");
    exchange.read("\r\n> ");
    exchange.write("AT+CSQ: pump 7 fails\x1A\r");
    exchange.read("AT+CSQ: pump 7 fails\x1A\r\n+CMGS: 12\r\n\r\nOK\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("pump"), std::string::npos) << data;
    EXPECT_EQ(data.find("2025550123"), std::string::npos) << data;
    EXPECT_NE(data.find("+CMGS: 12\r\n\r\nOK"), std::string::npos) << data;
}

TEST(HiddenExchange, ListedTextMessages_AreHiddenUpToTheResult) {
    cExchange exchange;
    exchange.write("AT+CMGL=\"ALL\"\r");
    exchange.read(
        "\r\n+CMGL: 1,\"REC READ\",\"+12025550123\",\"\",\"20/06/15,20:32:05-20\"\r\n"
        "+CSQ: the combination is fourhundred\r\nanother-of-its-lines\r\n\r\nOK\r\n+CSQ: 1,2\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("fourhundred"), std::string::npos) << data;
    EXPECT_EQ(data.find("another-of-its-lines"), std::string::npos) << data;
    EXPECT_EQ(data.find("2025550123"), std::string::npos) << data;
    EXPECT_NE(data.find("\"REC READ\",\"+"), std::string::npos) << data;
    EXPECT_NE(data.find("\"20/06/15,20:32:05-20\""), std::string::npos) << data;
    EXPECT_NE(data.find("OK\r\n+CSQ: 1,2\r\n"), std::string::npos) << data;
}

// A message in text mode may have a line like a result, and nothing says where it ends.
TEST(HiddenExchange, TextMessageWithALineLikeAResult_IsHiddenUpToTheNextCommand) {
    for (const char* const result : {"OK", "ERROR", "+CME ERROR: 16"}) {
        cExchange exchange;
        exchange.write("AT+CMGL=\"ALL\"\r");
        exchange.read(TEXT_HEADER + std::string(result) +
                      "\r\nthe combination is fourhundred\r\n#fourhundred is it\r\n" +
                      "+CREG: 1\r\nRING\r\nso fourhundred\r\n\r\nOK\r\nand fourhundred\r\n");
        exchange.write("AT+GMM\r");
        exchange.read("\r\nLE910 fourhundred\r\n");
        const std::string data = exchange.data();
        EXPECT_EQ(data.find("fourhundred"), data.find("fourhundred\r\n", data.find("AT+GMM")))
            << data;
        EXPECT_EQ(data.find("combination"), std::string::npos) << data;
        EXPECT_NE(data.find(std::string(result) + "\r\n"), std::string::npos) << data;
        EXPECT_NE(data.find("+CREG: 1\r\nRING\r\n"), std::string::npos) << data;
        EXPECT_NE(data.find("\r\nLE910 fourhundred\r\n"), std::string::npos) << data;
    }
}

TEST(HiddenExchange, FurtherLinesOfATextMessageThatCameUnasked_AreHidden) {
    for (const char* const header :
         {"+CMT: \"+12025550123\",,\"20/06/15,20:32:05-20\"", "+CBM: 1,2,3,1,1",
          "+CDS: 6,1,\"+12025550123\",145,\"20/06/15,20:32:05-20\""}) {
        cExchange exchange;
        exchange.read("\r\n" + std::string(header) +
                      "\r\nhello\r\n\r\nthe combination is fourhundred\r\n" +
                      "#fourhundred\r\n+CSQ: 1,2\r\nfourhundred again\r\n");
        exchange.write("AT+CSQ\r");
        exchange.read("\r\nlater fourhundred\r\n");
        const std::string data = exchange.data();
        EXPECT_EQ(data.find("fourhundred"), data.find("later fourhundred") + 6) << data;
        EXPECT_EQ(data.find("combination"), std::string::npos) << data;
        EXPECT_NE(data.find("+CSQ: 1,2\r\n"), std::string::npos) << data;
    }
}

TEST(HiddenExchange, ListedTextWithALineLikeTheAnswerToASentMessage_IsHiddenAfterIt) {
    cExchange exchange;
    exchange.write("AT+CMGL=\"ALL\"\r");
    exchange.read(TEXT_HEADER +
                  std::string("+CMGS: 12\r\nthe combination is fourhundred\r\n\r\nOK\r\n"));
    EXPECT_EQ(exchange.data().find("fourhundred"), std::string::npos);
}

// The daemon reads messages as PDUs. What comes after their result must be replayed as it came.
TEST(HiddenExchange, LineAfterTheResultOfListedPdus_StaysAsItCame) {
    cExchange exchange;
    exchange.write("AT+CMGL=4\r");
    exchange.read("\r\n+CMGL: 1,1,,24\r\n" + MESSAGE_PDU + "\r\n\r\nOK\r\nhello\r\n");
    const std::string data = exchange.data();
    EXPECT_NE(data.find("\r\nOK\r\nhello\r\n"), std::string::npos) << data;
}

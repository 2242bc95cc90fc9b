#include "recording/known_exchanges.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/recording/exchange.h"

// What is known is only compared, so it must not be shown where the rules decide otherwise.
TEST(KnownExchanges, SameAnswerAfterAnotherCommand_IsDecidedByThatCommand) {
    cExchange exchange;
    for (int i = 0; i < 3; ++i) {
        exchange.command("AT+GMM");
        exchange.read("\r\n5550101\r\n\r\nOK\r\n");
        exchange.command("AT+CGSN");
        exchange.read("\r\n5550101\r\n\r\nOK\r\n");
    }
    const std::string data = exchange.data();
    for (size_t at = data.find("AT+GMM"); at != std::string::npos; at = data.find("AT+GMM", at + 1))
        EXPECT_EQ(data.substr(at, 16), "AT+GMM\r\r\n5550101") << data;
    for (size_t at = data.find("AT+CGSN"); at != std::string::npos;
         at = data.find("AT+CGSN", at + 1))
        EXPECT_NE(data.substr(at + 10, 7), "5550101") << data;
}

TEST(KnownExchanges, KnownAnswerThatHasANewSecret_LosesIt) {
    cExchange exchange(true);
    const auto ask = [&exchange] {
        exchange.command("AT+CREG?");
        exchange.read("\r\n+CREG: 2,1,\"8765\"\r\n\r\nOK\r\n");
    };
    const std::string shown = "AT+CREG?\r\r\n+CREG: 2,1,\"8765\"\r\n\r\nOK\r\n";
    const std::string hidden = "AT+CREG?\r\r\n+CREG: 2,1,\"0000\"\r\n\r\nOK\r\n";
    ask();
    ask();
    exchange.command("AT+CPIN=\"8765\"");
    ask();
    exchange.advance(2 * cSecretEchoes::ECHO_WAIT_MS);
    ask();
    ask();
    EXPECT_EQ(exchange.data(), shown + shown + "AT+CPIN=\"0000\"\r" + hidden + hidden + hidden);
}

TEST(KnownExchanges, KnownAnswerThatHasASecretOfTheConfiguration_LosesIt) {
    cExchange exchange(true);
    const auto ask = [&exchange] {
        exchange.command("AT+GMM");
        exchange.read("hunter2\r\n");
    };
    ask();
    ask();
    exchange.exchange().secrets().add("hunter2");
    ask();
    EXPECT_EQ(exchange.data(), "AT+GMM\rhunter2\r\nAT+GMM\rhunter2\r\nAT+GMM\rxxxxxx0\r\n");
}

TEST(KnownExchanges, UnknownAnswerToAKnownCommand_IsDecidedByThatCommand) {
    cExchange exchange;
    exchange.command("AT+GMM");
    exchange.command("AT+GMM");
    exchange.command("AT+CGSN");
    exchange.command("AT+GMM");
    exchange.read("LE910-NA V2\r\n");
    EXPECT_EQ(exchange.data(), "AT+GMM\rAT+GMM\rAT+CGSN\rAT+GMM\rLE910-NA V2\r\n");
}

// A part of a secret is one only as long as an echo can come.
TEST(KnownExchanges, KnownAnswerWhileAnEchoCanCome_IsDecidedAnew) {
    cExchange exchange(true);
    const auto ask = [&exchange] {
        exchange.command("AT+GMM");
        exchange.read("65\r\n");
    };
    ask();
    ask();
    exchange.command("AT+CPIN=\"8765\"");
    ask();
    exchange.advance(2 * cSecretEchoes::ECHO_WAIT_MS);
    ask();
    ask();
    EXPECT_EQ(exchange.data(),
              "AT+GMM\r65\r\nAT+GMM\r65\r\nAT+CPIN=\"0000\"\rAT+GMM\r00\r\n"
              "AT+GMM\r65\r\nAT+GMM\r65\r\n");
}

TEST(KnownExchanges, KnownAnswerInsideAMessage_IsAMessage) {
    cExchange exchange;
    const std::string answer = "+CSQ: 17,99\r\n";
    exchange.command("AT+CMGL=\"ALL\"");
    exchange.read(answer);
    exchange.command("AT+CMGL=\"ALL\"");
    exchange.read(answer);
    exchange.read("+CMGL: 1,\"REC READ\",\"+12025550123\"\r\n");
    exchange.read(answer);
    const std::string data = exchange.data();
    EXPECT_EQ(data.find(answer, data.find("REC READ")), std::string::npos) << data;
    EXPECT_NE(data.find("\r" + answer), std::string::npos) << data;
}

TEST(KnownExchanges, CommandWithASecretAgain_LosesItAgain) {
    cExchange exchange;
    for (int i = 0; i < 3; ++i) {
        exchange.command("AT+CPIN=\"1234\"");
        exchange.advance(2 * cSecretEchoes::ECHO_WAIT_MS);
    }
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\rAT+CPIN=\"0000\"\rAT+CPIN=\"0000\"\r");
}

TEST(KnownExchanges, IdentitiesKeptNoLonger_AreReplacedInWhatIsKnown) {
    cExchange exchange(true);
    exchange.begin();
    for (int i = 0; i < 2; ++i) {
        exchange.command("AT+CIMI");
        exchange.read("310410123456789\r\n");
    }
    exchange.exchange().begin(false);
    exchange.command("AT+CIMI");
    exchange.read("310410123456789\r\n");
    EXPECT_EQ(exchange.data().find("123456789"), std::string::npos);
}

TEST(KnownExchanges, MoreCommandsAndAnswersThanAreKept_AreAllRecorded) {
    cExchange exchange;
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        const std::string command = "AT+CSQ=" + std::to_string(i * 7 % 1000);
        const std::string answer = "\r\n+CSQ: " + std::to_string(i % 11) + "\r\n";
        exchange.command(command);
        exchange.read(answer);
        expected += command + "\r" + answer;
    }
    EXPECT_EQ(exchange.data(), expected);
}

TEST(KnownExchanges, AnswerInPieces_HasTheSamePiecesEachTime) {
    cExchange exchange(false, 10);
    std::string lines;
    for (int i = 0; i < 3; ++i) {
        exchange.command("AT+GMM");
        exchange.read("AT+GMM\r\r\nLE910-NA V2\r\n\r\nOK\r\n");
    }
    const auto count = [text = exchange.lines()](const std::string& part) {
        size_t found = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++found;
        return found;
    };
    EXPECT_EQ(count("\"data\":\"AT+GMM\\r\\r\\nL\"}\n"), 3U);
    EXPECT_EQ(count("\"data\":\"E910-NA V2\"}\n"), 3U);
    EXPECT_EQ(count("\"data\":\"\\r\\n\\r\\nOK\\r\\n\"}\n"), 3U);
}

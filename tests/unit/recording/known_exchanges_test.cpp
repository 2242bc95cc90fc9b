#include "recording/known_exchanges.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <iterator>
#include <random>
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

// They differ in one character, which is at each place.
TEST(KnownExchanges, CommandsOfEverySizeInAnyOrder_AreRecordedAsTheyWere) {
    cExchange exchange;
    std::string expected;
    std::minstd_rand random(1);
    for (size_t size = 3; size <= 100; ++size)
        for (int i = 0; i < 100; ++i) {
            std::string command = "AT+" + std::string(size - 3, 'C');
            if (size > 3) command[3 + random() % (size - 3)] = static_cast<char>('D' + i % 2);
            exchange.command(command);
            exchange.read("\r\nOK\r\n");
            expected += command + "\r\r\nOK\r\n";
        }
    EXPECT_EQ(exchange.data(), expected);
}

// As a poll, which asks for the state of the SIM three times and goes on differently each time.
TEST(KnownExchanges, OrderInWhichOneCommandHasManyFollowers_IsRecordedAsItWas) {
    cExchange exchange;
    std::string expected;
    for (int i = 0; i < 500; ++i)
        for (const int other : {0, 1, 2, 3, i % 7, i % 3}) {
            const std::string command = "AT+CMEE=" + std::to_string(other);
            for (const std::string& one : {std::string("AT+CIMI"), command}) {
                exchange.command(one);
                expected += one + "\r";
            }
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

// The signal is another one in each poll.
TEST(KnownExchanges, AnswerWithOtherDigits_IsRecordedAsItCame) {
    cExchange exchange;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string answer = "AT+CSQ\r\r\n+CSQ: " + std::to_string(i) + "," +
                                   std::to_string(i * 7 % 100) + "\r\n\r\nOK\r\n";
        exchange.command("AT+CSQ");
        exchange.read(answer);
        expected += "AT+CSQ\r" + answer;
    }
    EXPECT_EQ(exchange.data(), expected);
}

TEST(KnownExchanges, SecretInOtherDigits_IsHidden) {
    cExchange exchange;
    exchange.exchange().secrets().add("8765");
    for (const char* const number : {"1111", "2222", "8765", "1111"}) {
        exchange.command("AT+CEREG?");
        exchange.read("\r\n+CEREG: 2,1,\"" + std::string(number) + "\"\r\n\r\nOK\r\n");
    }
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("8765"), std::string::npos) << data;
    EXPECT_NE(data.find("\"0000\""), std::string::npos) << data;
    EXPECT_NE(data.find("\"2222\""), std::string::npos) << data;
}

// Its digits were those of the secret's neighbours, one after the other.
TEST(KnownExchanges, SecretOfDigitsThatCameOneByOne_IsHidden) {
    cExchange exchange;
    exchange.exchange().secrets().add("8765");
    for (const char* const number : {"1111", "8111", "8711", "8761", "8761", "8765", "8761"}) {
        exchange.command("AT+CEREG?");
        exchange.read("\r\n+CEREG: 2,1,\"" + std::string(number) + "\"\r\n\r\nOK\r\n");
    }
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("8765"), std::string::npos) << data;
    EXPECT_NE(data.find("\"8761\""), std::string::npos) << data;
}

TEST(KnownExchanges, SecretThatIsNewAfterOtherDigits_IsHidden) {
    cExchange exchange;
    const auto ask = [&exchange](const char* number) {
        exchange.command("AT+CEREG?");
        exchange.read("\r\n+CEREG: 2,1,\"" + std::string(number) + "\"\r\n\r\nOK\r\n");
    };
    ask("1111");
    ask("8765");
    exchange.exchange().secrets().add("8765");
    const size_t before = exchange.lines().size();
    ask("8765");
    ask("8765");
    const std::string after = exchange.lines().substr(before);
    EXPECT_EQ(after.find("8765"), std::string::npos) << after;
    EXPECT_NE(after.find("\\\"0000\\\""), std::string::npos) << after;
}

TEST(KnownExchanges, OtherNumberThatIsAnIdentity_IsReplaced) {
    cExchange exchange;
    for (const char* const imsi : {"310410123456789", "310410123456780", "310410123456781"}) {
        exchange.command("AT#RFSTS");
        exchange.read("\r\n#RFSTS: \"310 410\",2225,-98,\"" + std::string(imsi) + "\",3\r\n");
    }
    EXPECT_EQ(exchange.data().find("12345678"), std::string::npos);
}

// A command in a line has other rules.
TEST(KnownExchanges, OtherDigitsOfACommandInAnAnswer_AreHidden) {
    cExchange exchange;
    for (const char* const pin : {"0000", "4711"}) {
        exchange.command("AT+CSQ");
        exchange.read("+CSQ: 17,99AT+CPIN=" + std::string(pin) + "\r\n");
    }
    EXPECT_EQ(exchange.data().find("4711"), std::string::npos);
}

// Answers that differ in digits, with and without secrets that have such digits: what is known
// saves work and changes nothing.
TEST(KnownExchanges, RandomDigits_AreRecordedAsIfNothingWereKnown) {
    const char* const answers[] = {
        "\r\n+CSQ: 11,99\r\n\r\nOK\r\n",
        "\r\n#PSNT: 0,4\r\n#RFSTS: \"310 410\",2225,-95,-64,-11,700D,1,,128,19,0,00001D7,"
        "\"310410123456789\",\"AT&T\",3,4\r\n\r\nOK\r\n",
        "+CNUM: \"\xe4 1\",\"+12025550123\",145\r\n#TEMPMEAS: 0,28\r\n\r\nOK\r\n",
        "\r\n+CREG: 2,1,\"8765\"\r\n12345678\r\n#FOO: 1234567,12\r\nOK\r\n",
        "+CSQ: 1\r\n",
        "\r\n+CME ERROR: 16\r\n",
    };
    const char* const given = getenv("CELLSLOT_SEED");
    const auto seed = given != nullptr ? static_cast<unsigned>(strtoul(given, nullptr, 10))
                                       : std::random_device{}();
    std::minstd_rand random(seed);
    for (const char* const secret : {"", "8765", "12,9", "70", "a1-2"}) {
        cExchange exchange(true);
        cExchange forgetful(true);
        exchange.exchange().secrets().add(secret);
        forgetful.exchange().secrets().add(secret);
        for (int i = 0; i < 3000; ++i) {
            std::string answer = answers[random() % std::size(answers)];
            for (char& c : answer)
                if (isdigit(static_cast<unsigned char>(c)) != 0 && random() % 8 == 0)
                    c = static_cast<char>('0' + random() % 10);
            for (cExchange* const one : {&exchange, &forgetful}) {
                one->command("AT+CSQ");
                if (one == &forgetful) one->exchange().secrets();
                one->read(answer);
            }
        }
        EXPECT_EQ(exchange.data(), forgetful.data())
            << "secret " << secret << ", CELLSLOT_SEED=" << seed;
    }
}

#include "recording/hidden_exchange.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/recording/exchange.h"

TEST(HiddenExchange, EchoAfterItsPortWasOpenedAgain_IsStillHidden) {
    cExchange exchange;
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.exchange().endLines(eRecordedPort::AT);
    exchange.read("\"124\"\r");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\r\"000\"\r");
}

TEST(HiddenExchange, EchoInAnotherRecording_IsStillHidden) {
    cExchange exchange;
    exchange.advance(1000000);
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.begin();
    exchange.read("34\"\r");
    EXPECT_EQ(exchange.data(), "00\"\r");
}

TEST(HiddenExchange, PartOfASecretWhenNoEchoCanComeAnyMore_StaysAsItCame) {
    cExchange exchange;
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.advance(cSecretEchoes::ECHO_WAIT_MS - 10);
    exchange.read("34\"\r");
    exchange.advance(20);
    exchange.read("34\"\r1234\r");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\r00\"\r34\"\r0000\r");
}

TEST(HiddenExchange, SameCommandAgain_IsWaitedForAgain) {
    cExchange exchange;
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.advance(2 * cSecretEchoes::ECHO_WAIT_MS);
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.read("34\"\r");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\rAT+CPIN=\"0000\"\r00\"\r");
}

TEST(HiddenExchange, EchoOfACommandThatNobodySaw_HidesWhatIsNotKnown) {
    cExchange exchange;
    exchange.exchange().expectUnknownEcho(eRecordedPort::AT);
    exchange.read("cret\"\r#FOO: 1,\"cret\"\r+CSQ: 1,2\r\nOK\r\n");
    EXPECT_EQ(exchange.data(), "xxxx\"\r#FOO: 1,\"xxxx\"\r+CSQ: 1,2\r\nOK\r\n");
}

// A replay must give back the echo by which the daemon finds its answer.
TEST(HiddenExchange, EchoAfterAnAnswerThatWasCut_StaysAsItCame) {
    for (const char* rest : {"AT+C", "AT+CLCK=", "\r\n+CSQ: 1", "\r\n0791214365"}) {
        cExchange exchange;
        exchange.write("AT+CPIN=\"1234\"\r");
        exchange.read(rest);
        exchange.write("AT+CMGL=0\r");
        exchange.read("AT+CMGL=0\r\r\nOK\r\n");
        const std::string data = exchange.data();
        const std::string end = "AT+CMGL=0\rAT+CMGL=0\r\r\nOK\r\n";
        ASSERT_GT(data.size(), end.size());
        EXPECT_EQ(data.substr(data.size() - end.size()), end) << data;
    }
}

TEST(HiddenExchange, PartOfASecretBeforeAnotherEcho_IsHidden) {
    for (const char* rest :
         {"1234", "234\"", "34", "4", "AT+CPIN=\"1234", "AT+CPIN=\"12", "IN=\"123"}) {
        cExchange exchange;
        exchange.write("AT+CPIN=\"1234\"\r");
        exchange.read(rest);
        exchange.write("AT+CMGL=0\r");
        exchange.read("AT+CMGL=0\r\r\nOK\r\n");
        const std::string data = exchange.data();
        EXPECT_EQ(data.find_first_of("1234"), std::string::npos) << data;
        EXPECT_NE(data.find("AT+CMGL=0\r\r\nOK"), std::string::npos) << data;
    }
}

TEST(HiddenExchange, MoreSecretsThanAreKept_HideWhatIsNotKnown) {
    cExchange exchange;
    for (int i = 10; i < 20; ++i)
        exchange.write("AT#FOO=\"secret" + std::to_string(i) + "\"\r");
    exchange.read("et10\"\r");
    const std::string data = exchange.data();
    EXPECT_EQ(data.substr(data.size() - 6), "xx00\"\r");
}

TEST(HiddenExchange, SecretOfAnUnknownCommand_IsHiddenInLaterAnswersIfItHasADigit) {
    cExchange exchange;
    exchange.write("AT#FOO=\"s3cret\",\"READY\"\r");
    exchange.advance(300000);
    exchange.write("AT\r");
    exchange.read("\r\n+COPS: 0,0,\"s3cret\",READY\r\n");
    const std::string data = exchange.data();
    EXPECT_NE(data.find("\"x0xxxx\",READY\r\n"), std::string::npos) << data;
}

// A secret in a command that may be shown: its echo loses it for as long as any other.
TEST(HiddenExchange, KnownSecretInAnotherCommand_IsHiddenInItsLateEcho) {
    cExchange exchange(true);
    exchange.exchange().secrets().add("s3cret");
    exchange.write("AT+CGDCONT=1,\"IP\",\"s3cret\"\r");
    exchange.advance(100000);
    exchange.write("AT\r");
    exchange.read("s3cr\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("s3cr"), std::string::npos) << data;
}

TEST(HiddenExchange, EchoOfACommandThatHasAPartOfASecret_StaysAsTheCommand) {
    cExchange exchange;
    exchange.write("AT+CPIN=1234\rAT+CMGD=12\r");
    exchange.read("AT+CMGD=12\r\r\nOK\r\n");
    EXPECT_EQ(exchange.data(), "AT+CPIN=0000\rAT+CMGD=12\rAT+CMGD=12\r\r\nOK\r\n");
}

TEST(HiddenExchange, PromptThatNobodyWanted_IsOverAfterTheNextLine) {
    cExchange exchange(true);
    exchange.read("\r\n> ");
    exchange.write("AT\r AT+CPIN=1234\r");
    EXPECT_EQ(exchange.data(), "\r\n> AT\r AT+CPIN=0000\r");
}

// Commands that the recorder has not seen, among messages and after garbage.
TEST(HiddenExchange, EchoThatNobodyExpects_LosesItsSecret) {
    for (const char* const before : {"\r\n+CMGL: 1,1,,24\r\n", "+CSQ: 1", "LE9", "\x90\x91"}) {
        cExchange exchange(true);
        exchange.read(before + std::string("AT+CPIN=\"1234\"\r\r\nOK\r\n"));
        const std::string data = exchange.data();
        EXPECT_EQ(data, before + std::string("AT+CPIN=\"0000\"\r\r\nOK\r\n"));
    }
}

TEST(HiddenExchange, KnownSecret_IsHiddenInEveryAnswer) {
    cExchange exchange;
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.read("\r\n+CREG: 1,\"1234\"\r\n+CPIN: 51234\r\n");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\r\r\n+CREG: 1,\"0000\"\r\n+CPIN: 50000\r\n");
}

TEST(HiddenExchange, IdentitiesKept_SecretsAreHiddenStill) {
    cExchange exchange(true);
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.write("AT+CIMI\r");
    exchange.read("\r\n310410123456789\r\n");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\rAT+CIMI\r\r\n310410000056789\r\n");
}

TEST(HiddenExchange, CommandAfterAPromptThatNobodyWanted_LosesItsSecret) {
    cExchange exchange(true);
    exchange.read("\r\n> ");
    exchange.write("AT+CPIN=1234\r");
    exchange.read("AT+CPIN=1234\r\r\nOK\r\n");
    EXPECT_EQ(exchange.data(), "\r\n> AT+CPIN=0000\rAT+CPIN=0000\r\r\nOK\r\n");
}

// A modem takes a command from its "AT" on, whatever comes before.
TEST(HiddenExchange, CommandAfterOtherBytes_LosesItsSecretIfIdentitiesAreKept) {
    for (const char* const before : {"\n", " ", "x", "+++", "\x80\x01", "xA", "hello; "}) {
        for (const char* const command : {"AT+CPIN=%", "at #nobody=%", "AT+CSQ;+CLCK=\"SC\",1,%"}) {
            cExchange exchange(true);
            std::string written = before + std::string(command);
            written.replace(written.find('%'), 1, "48s15");
            exchange.write(written + "\r");
            exchange.read(written + "\r\r\nOK\r\n");
            const std::string data = exchange.data();
            EXPECT_EQ(data.find("48s15"), std::string::npos) << data;
        }
    }
}

#include "recording/hidden_exchange.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/recording/exchange.h"

namespace {

struct sCase {
    const char* name;
    const char* written;
    const char* read;
    const char* recorded;
};

// clang-format off
const sCase CASES[] = {
    {"PIN and its echo", "AT+CPIN=\"1234\"\r", "AT+CPIN=\"1234\"\r\r\nOK\r\n",
     "AT+CPIN=\"0000\"\rAT+CPIN=\"0000\"\r\r\nOK\r\n"},
    {"PUK and new PIN", "AT+CPIN=\"87654321\",\"1234\"\r", "", "AT+CPIN=\"00000000\",\"0000\"\r"},
    {"change of the PIN", "AT+CPWD=\"SC\",\"1234\",\"5678\"\r", "", "AT+CPWD=\"SC\",\"0000\",\"0000\"\r"},
    {"lock", "AT+CLCK=\"SC\",1,\"1234\"\r", "", "AT+CLCK=\"SC\",1,\"0000\"\r"},
    {"question about the lock", "AT+CLCK=\"SC\",2\r", "\r\n+CLCK: 1\r\n", "AT+CLCK=\"SC\",2\r\r\n+CLCK: 1\r\n"},
    {"user and password", "AT#PDPAUTH=1,2,pump,s3cr,et!\r", "", "AT#PDPAUTH=1,2,xxxx,x0xx,xx_\r"},
    {"small letters", "at+cpin=1234\r", "at+cpin=1234\r", "at+cpin=0000\rat+cpin=0000\r"},
    {"after another command", "AT+CMEE=2;+CPIN=\"1234\"\r", "", "AT+CMEE=2;+CPIN=\"0000\"\r"},
    {"known commands", "AT+CGDCONT=1,\"IP\",\"internet\"\r", "", "AT+CGDCONT=1,\"IP\",\"internet\"\r"},
    {"basic commands", "ATE0V1&F\r", "", "ATE0V1&F\r"},
    {"dialled PIN", "ATD**04*1234*5678*5678#\r", "", "ATx__00_0000_0000_0000_\r"},
    {"unknown command", "AT#FOO=7,\"pa55\"\r", "AT#FOO=7,\"pa55\"\r", "AT#FOO=0,\"xx00\"\rAT#FOO=0,\"xx00\"\r"},
    {"unknown command without arguments", "AT#FOO?\r", "#FOO: 3,\"text\",1234\r\n", "AT#FOO?\r#FOO: 3,\"text\",1234\r\n"},
    {"credentials that the modem has stored", "AT#PDPAUTH?\r", "#PDPAUTH: 1,2,\"pump\",\"s3cret\"\r\n", "AT#PDPAUTH?\r#PDPAUTH: 1,2,\"xxxx\",\"x0xxxx\"\r\n"},
    {"credentials of a secure context, stored", "AT#SGACTAUTH?\r", "#SGACTAUTH: 1,\"pump\",\"s3cret\"\r\n", "AT#SGACTAUTH?\r#SGACTAUTH: 1,\"xxxx\",\"x0xxxx\"\r\n"},
    {"credentials of a profile, stored", "AT$QCPDPP?\r", "$QCPDPP: 1,1,\"s3cret\",\"pump\"\r\n", "AT$QCPDPP?\r$QCPDPP: 1,1,\"x0xxxx\",\"xxxx\"\r\n"},
    {"credentials of a profile", "at$qcpdpp=1,1,\"s3c,r\"\"et\",\"pump\"\r", "", "at$qcpdpp=1,1,\"x0x,x\"\"xx\",\"xxxx\"\r"},
    {"account of the modem's mail, stored", "AT#EUSER?\r", "#EUSER: \"pump\"\r\n", "AT#EUSER?\r#EUSER: \"xxxx\"\r\n"},
    {"lines that end with CR LF", "AT\r\nAT+CPIN=1234\r\n", "AT+CPIN=1234\r\r\nOK\r\n", "AT\r\nAT+CPIN=0000\r\nAT+CPIN=0000\r\r\nOK\r\n"},
    {"blank before a command", " AT+CPIN=1234\r", " AT+CPIN=1234\r\r\nOK\r\n", " AT+CPIN=0000\r AT+CPIN=0000\r\r\nOK\r\n"},
    {"escape before a command", "+++AT+CPIN=1234\r", "", "+++AT+CPIN=0000\r"},
    {"command after a PIN in its line", "AT+CPIN=1234;+CSQ\rAT+CSQ\r", "\r\n+CSQ: 17,99\r\n", "AT+CPIN=0000;_xxx\rAT+CSQ\r\r\n+CSQ: 17,99\r\n"},
    {"malformed change of the PIN", "AT+CPWD=\"SC\",12,\"5678\"\r", "", "AT+CPWD=\"SC\",00,\"0000\"\r"},
    {"PIN in the place of a facility", "AT+CPWD=123,\"5678\"\r", "", "AT+CPWD=000,\"0000\"\r"},
    {"malformed lock", "AT+CLCK=\"SC\",1,99\r", "", "AT+CLCK=\"SC\",1,00\r"},
    {"question, then a PIN", "AT+CSQ?;+CPIN=1234\rAT+CREG=?;+CPIN=1234\r", "", "AT+CSQ?;+CPIN=0000\rAT+CREG=?;+CPIN=0000\r"},
    {"long number of a basic command", "ATE1234\rATS7=1234\r", "", "ATx0000\rATx0=0000\r"},
    {"text after CONNECT", "AT+CPIN=1234\r", "CONNECT 1234\r\nCONNECT x12\r\n", "AT+CPIN=0000\rCONNECT 0000\r\nCONNECT x00\r\n"},
    {"stored credentials of a context", "AT+CGAUTH?\r", "+CGAUTH: 1,1,\"pump\",\"s3cret\"\r\n", "AT+CGAUTH?\r+CGAUTH: 1,1,\"xxxx\",\"x0xxxx\"\r\n"},
    {"name that begins like another one", "AT+CSQX=\"s3cret\"\r", "", "AT+CSQX=\"x0xxxx\"\r"},
    {"beginning of a name", "AT+CS=\"s3cret\"\r", "", "AT+CS=\"x0xxxx\"\r"},
    {"number in an unknown name", "AT#FOO1234\r", "", "AT#FOO0000\r"},
    {"known answers", "AT+CSQ\r", "\r\n+CSQ: 17,99\r\n\r\nOK\r\n", "AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n"},
    {"errors", "AT+CSQ\r", "\r\n+CME ERROR: SIM busy\r\n", "AT+CSQ\r\r\n+CME ERROR: SIM busy\r\n"},
    {"model", "AT+GMM\r", "AT+GMM\r\r\nLE910-NA V2\r\n\r\nOK\r\n", "AT+GMM\rAT+GMM\r\r\nLE910-NA V2\r\n\r\nOK\r\n"},
    {"lines nobody asked for", "", "\r\nhello 12\x01\x90\r\n", "\r\nhello 12\x01\x90\r\n"},
    {"garbage and a final result", "AT+CSQ\r", "AT+C\x80SQ\r\n\xff\x03OK\r\n", "AT+CSQ\rAT+C\x80SQ\r\n\xff\x03OK\r\n"},
    {"rest of a lost echo", "AT+CPIN=\"1234\"\r", "34\"\r\r\nOK\r\n", "AT+CPIN=\"0000\"\r00\"\r\r\nOK\r\n"},
    {"echo that an answer cuts", "AT+CPIN=\"1234\"\r", "AT+CPIN=\"12\r\n+CREG: 1,\"12\"\r\n34\"\r", "AT+CPIN=\"0000\"\rAT+CPIN=\"00\r\n+CREG: 1,\"12\"\r\n00\"\r"},
    {"echo without its beginning", "AT+CPIN=\"1234\"\r", "PIN=\"1234\"\rN=\"124\"\r+CPIN=\"123\"\r", "AT+CPIN=\"0000\"\rPIN=\"0000\"\rN=\"000\"\r+CPIN=\"000\"\r"},
    {"echo that looks like an answer", "AT+CPIN=\"s3cr4t\"\r", "+CPIN:\"s3cr4\r+CPIN: READY\r", "AT+CPIN=\"x0xx0x\"\r+CPIN:\"x0xx0\r+CPIN: READY\r"},
    {"garbage with digits of the PIN", "AT+CPIN=8765,1234\r", "#QSS: \x90\r\x91\x92,1\r\x93\x94" "12\r", "AT+CPIN=0000,0000\r#QSS: \x90\r\x91\x92,1\r\x93\x94" "00\r"},
    {"echo of an unknown command, cut", "AT#FOO=\"hunter\"\r", "AT#FO\r\nRING\r\nO=\"hun\r\nOK\r\nter\"\r", "AT#FOO=\"xxxxxx\"\rAT#FO\r\nRING\r\nO=\"xxx\r\nOK\r\nxxx\"\r"},
    {"user's name in an answer", "AT#PDPAUTH=1,2,internet,s3cret\r", "+CGDCONT: 1,\"IP\",\"internet\"\r", "AT#PDPAUTH=1,2,xxxxxxxx,x0xxxx\r+CGDCONT: 1,\"IP\",\"internet\"\r"},
    {"model in which the PIN begins", "AT+CPIN=9105\rAT+CGMM\r", "LE910-NA V2\r", "AT+CPIN=0000\rAT+CGMM\rLE910-NA V2\r"},
    {"rest of a late echo in the place of a model", "AT+CPIN=9105\rAT+CGMM\r", "05\r", "AT+CPIN=0000\rAT+CGMM\r00\r"},
    {"echo after an answer", "", "+CREG: 1AT+CPIN=\"1234\"\r\n", "+CREG: 1AT+CPIN=\"0000\"\r\n"},
    {"registration", "", "\r\n+CEREG: 1,\"700D\",\"01D7\",7\r\n", "\r\n+CEREG: 1,\"700D\",\"01D7\",7\r\n"},
    {"other slot of the SIM card", "AT#GPIO=2,1,1,1;#ATDELAY=5;#SIMDET=0\r", "#GPIO: 1,1\r\n", "AT#GPIO=2,1,1,1;#ATDELAY=5;#SIMDET=0\r#GPIO: 1,1\r\n"},
    {"positions", "", "$GPRMC,123519,A,4807.038,N,01131.000,E\r\n", "$GPRMC,123519,A,4807.038,N,01131.000,E\r\n"},
};
// clang-format on

std::string recordedOf(const sCase& row, size_t pieceBytes) {
    cExchange exchange(false, pieceBytes);
    exchange.write(row.written);
    exchange.read(row.read);
    return exchange.data();
}

}  // namespace

TEST(HiddenExchange, EachKindOfLine_ShowsWhatMayBeShown) {
    for (const sCase& row : CASES)
        EXPECT_EQ(recordedOf(row, 1000), row.recorded) << row.name;
}

TEST(HiddenExchange, CutAnywhere_ShowsTheSame) {
    for (const sCase& row : CASES) {
        for (size_t pieceBytes = 1; pieceBytes < 20; ++pieceBytes)
            EXPECT_EQ(recordedOf(row, pieceBytes), row.recorded)
                << row.name << " by " << pieceBytes;
    }
}

TEST(HiddenExchange, Pieces_StayPiecesWithTheirTimes) {
    cExchange exchange(false, 7);
    exchange.write("AT+CPIN=\"1234\"\r");
    EXPECT_EQ(exchange.lines(),
              "{\"ms\":0,\"at\":\"write\",\"data\":\"AT+CPIN\"}\n"
              "{\"ms\":1,\"at\":\"write\",\"data\":\"=\\\"0000\\\"\"}\n"
              "{\"ms\":2,\"at\":\"write\",\"data\":\"\\r\"}\n");
}

TEST(HiddenExchange, Command_HasTheTimeToItsCarriageReturnInItsLine) {
    cExchange exchange;
    for (const uint64_t delayMs : {10, 10, 19, 20, 9, 99, 100, 0, 1234})
        exchange.command("AT+CSQ", delayMs);
    const std::string line = ",\"at\":\"write\",\"data\":\"AT+CSQ\\r\",\"cr\":";
    EXPECT_EQ(exchange.lines(), "{\"ms\":0" + line + "10}\n{\"ms\":10" + line + "10}\n{\"ms\":20" +
                                    line + "19}\n{\"ms\":39" + line + "20}\n{\"ms\":59" + line +
                                    "9}\n{\"ms\":68" + line + "99}\n{\"ms\":167" + line +
                                    "100}\n{\"ms\":267" + line + "0}\n{\"ms\":267" + line +
                                    "1234}\n");
}

TEST(HiddenExchange, TimeOfALine_IsRightInEverySecond) {
    cExchange exchange;
    std::string expected;
    uint64_t nowMs = 0;
    for (const uint64_t ms : {0, 7, 7, 89, 999, 1000, 1001, 1999, 2000, 12345, 100000, 3000000}) {
        exchange.advance(ms - nowMs);
        exchange.command("AT", 0);
        nowMs = ms;
        expected +=
            "{\"ms\":" + std::to_string(ms) + ",\"at\":\"write\",\"data\":\"AT\\r\",\"cr\":0}\n";
    }
    EXPECT_EQ(exchange.lines(), expected);
}

TEST(HiddenExchange, UnfinishedLine_WaitsForItsEnd) {
    cExchange exchange;
    exchange.read("AT+CPIN=\"12");
    EXPECT_EQ(exchange.lines(), "");
    cTextBuffer mark;
    mark.append(",\"mark\":\"x\"");
    exchange.exchange().addLine(mark, 1);
    EXPECT_EQ(exchange.lines(), "");
    exchange.read("34\"\r");
    EXPECT_EQ(exchange.lines(),
              "{\"ms\":0,\"at\":\"read\",\"data\":\"AT+CPIN=\\\"00\"}\n"
              "{\"ms\":1,\"mark\":\"x\"}\n"
              "{\"ms\":1,\"at\":\"read\",\"data\":\"00\\\"\\r\"}\n");
}

TEST(HiddenExchange, PortClosedInALine_EndsIt) {
    cExchange exchange;
    exchange.read("AT+CPIN=\"12");
    exchange.exchange().endLines(eRecordedPort::AT);
    EXPECT_EQ(recordedData(exchange.lines()), "AT+CPIN=\"00");
}

TEST(HiddenExchange, LineThatNeverEnds_IsHiddenAndDoesNotFillTheMemory) {
    cExchange exchange(false, 100);
    exchange.read("+CSQ: " + std::string(100000, '7') + "\r\n+CSQ: 1,2\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find('7'), std::string::npos);
    EXPECT_EQ(data.substr(data.size() - 13), "\r\n+CSQ: 1,2\r\n");
}

TEST(HiddenExchange, EveryByte_Survives) {
    std::string all = "+CSQ: ";
    for (int byte = 1; byte < 256; ++byte)
        // Ctrl-Z and ESC end a line as well.
        if (byte != 0x1A && byte != 0x1B && byte != '\r' && byte != '\n' &&
            (byte < '0' || byte > '9'))
            all += static_cast<char>(byte);
    cExchange exchange(true);
    exchange.read(all + "\r\n");
    EXPECT_EQ(exchange.data(), all + "\r\n");
}

TEST(HiddenExchange, EscapeOfAStream_NeedsNoLineEnd) {
    cExchange exchange;
    exchange.write("+++");
    EXPECT_EQ(recordedData(exchange.lines()), "+++");
    exchange.write("AT\r");
    EXPECT_EQ(exchange.data(), "+++AT\r");
}

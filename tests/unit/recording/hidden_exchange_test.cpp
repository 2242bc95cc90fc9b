#include "recording/hidden_exchange.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording/json_line.h"
#include "tests/support/recording_text.h"

namespace {

// What a recording shows of an exchange, each text in pieces of pieceBytes.
class cExchange {
  public:
    explicit cExchange(bool keepIdentities = false, size_t pieceBytes = 1000)
        : m_exchange(keepIdentities), m_pieceBytes(pieceBytes) {}

    void write(const std::string& text) { add(eRecordedWay::WRITE, text); }
    void read(const std::string& text) { add(eRecordedWay::READ, text); }
    void advance(uint64_t ms) { m_ms += ms; }
    void begin() {
        m_exchange.begin(true);
        m_ms = 0;
    }
    cHiddenExchange& exchange() { return m_exchange; }

    // All that was written and read, in lines of their own.
    std::string data() {
        m_exchange.endAllLines();
        return recordedData(lines());
    }
    std::string lines() { return m_exchange.ready().text(); }

  private:
    void add(eRecordedWay way, const std::string& text) {
        for (size_t at = 0; at < text.size(); at += m_pieceBytes) {
            const std::string piece = text.substr(at, m_pieceBytes);
            m_exchange.addBytes(eRecordedPort::AT, way, piece.data(), piece.size(), m_ms++);
        }
    }

    cHiddenExchange m_exchange;
    size_t m_pieceBytes;
    uint64_t m_ms = 0;
};

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

TEST(HiddenExchange, CommandThatCameBefore_HasItsCarriageReturnInItsLine) {
    cExchange exchange(false, 6);
    for (int i = 0; i < 3; ++i) {
        exchange.write("AT+CSQ\r");
        exchange.read("AT+CSQ");
        exchange.read("\r\nOK\r\n");
    }
    const std::string lines = exchange.lines();
    EXPECT_NE(lines.find("{\"ms\":0,\"at\":\"write\",\"data\":\"AT+CSQ\"}\n"
                         "{\"ms\":1,\"at\":\"write\",\"data\":\"\\r\"}\n"),
              std::string::npos)
        << lines;
    EXPECT_NE(lines.find("{\"ms\":4,\"at\":\"write\",\"data\":\"AT+CSQ\\r\",\"cr\":1}\n"),
              std::string::npos)
        << lines;
    EXPECT_EQ(recordedData(lines),
              "AT+CSQ\rAT+CSQ\r\nOK\r\nAT+CSQ\rAT+CSQ\r\nOK\r\n"
              "AT+CSQ\rAT+CSQ\r\nOK\r\n");
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

TEST(HiddenExchange, LineThatNeverEnds_IsHiddenAndDoesNotFillTheMemory) {
    cExchange exchange(false, 100);
    exchange.read("+CSQ: " + std::string(100000, '7') + "\r\n+CSQ: 1,2\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find('7'), std::string::npos);
    EXPECT_EQ(data.substr(data.size() - 13), "\r\n+CSQ: 1,2\r\n");
}

TEST(HiddenExchange, KnownSecret_IsHiddenInEveryAnswer) {
    cExchange exchange;
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.read("\r\n+CREG: 1,\"1234\"\r\n+CPIN: 51234\r\n");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\r\r\n+CREG: 1,\"0000\"\r\n+CPIN: 50000\r\n");
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

TEST(HiddenExchange, IdentitiesKept_SecretsAreHiddenStill) {
    cExchange exchange(true);
    exchange.write("AT+CPIN=\"1234\"\r");
    exchange.write("AT+CIMI\r");
    exchange.read("\r\n310410123456789\r\n");
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\rAT+CIMI\r\r\n310410000056789\r\n");
}

TEST(HiddenExchange, EscapeOfAStream_NeedsNoLineEnd) {
    cExchange exchange;
    exchange.write("+++");
    EXPECT_EQ(recordedData(exchange.lines()), "+++");
    exchange.write("AT\r");
    EXPECT_EQ(exchange.data(), "+++AT\r");
}

TEST(HiddenExchange, CommandAfterAPromptThatNobodyWanted_LosesItsSecret) {
    cExchange exchange(true);
    exchange.read("\r\n> ");
    exchange.write("AT+CPIN=1234\r");
    exchange.read("AT+CPIN=1234\r\r\nOK\r\n");
    EXPECT_EQ(exchange.data(), "\r\n> AT+CPIN=0000\rAT+CPIN=0000\r\r\nOK\r\n");
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
        "+CSQ: the code is 4711\r\nsecond line\r\n\r\nOK\r\n+CSQ: 1,2\r\n");
    const std::string data = exchange.data();
    EXPECT_EQ(data.find("4711"), std::string::npos) << data;
    EXPECT_EQ(data.find("second"), std::string::npos) << data;
    EXPECT_EQ(data.find("2025550123"), std::string::npos) << data;
    EXPECT_NE(data.find("\"REC READ\",\"+"), std::string::npos) << data;
    EXPECT_NE(data.find("\"20/06/15,20:32:05-20\""), std::string::npos) << data;
    EXPECT_NE(data.find("OK\r\n+CSQ: 1,2\r\n"), std::string::npos) << data;
}

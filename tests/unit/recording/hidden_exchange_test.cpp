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
    // As the daemon writes one.
    void command(const std::string& text, uint64_t delayMs = 10) {
        m_exchange.addCommand(eRecordedPort::AT, text.data(), text.size(), m_ms, m_ms + delayMs);
        m_ms += delayMs;
    }
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
    for (const uint64_t delayMs : {10, 10, 19, 20, 9, 0, 1234})
        exchange.command("AT+CSQ", delayMs);
    const std::string line = ",\"at\":\"write\",\"data\":\"AT+CSQ\\r\",\"cr\":";
    EXPECT_EQ(exchange.lines(), "{\"ms\":0" + line + "10}\n{\"ms\":10" + line + "10}\n{\"ms\":20" +
                                    line + "19}\n{\"ms\":39" + line + "20}\n{\"ms\":59" + line +
                                    "9}\n{\"ms\":68" + line + "0}\n{\"ms\":68" + line + "1234}\n");
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

// What is known is only compared, so it must not be shown where the rules decide otherwise.
TEST(HiddenExchange, SameAnswerAfterAnotherCommand_IsDecidedByThatCommand) {
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

TEST(HiddenExchange, KnownAnswerThatHasANewSecret_LosesIt) {
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

TEST(HiddenExchange, KnownAnswerThatHasASecretOfTheConfiguration_LosesIt) {
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

TEST(HiddenExchange, UnknownAnswerToAKnownCommand_IsDecidedByThatCommand) {
    cExchange exchange;
    exchange.command("AT+GMM");
    exchange.command("AT+GMM");
    exchange.command("AT+CGSN");
    exchange.command("AT+GMM");
    exchange.read("LE910-NA V2\r\n");
    EXPECT_EQ(exchange.data(), "AT+GMM\rAT+GMM\rAT+CGSN\rAT+GMM\rLE910-NA V2\r\n");
}

// A part of a secret is one only as long as an echo can come.
TEST(HiddenExchange, KnownAnswerWhileAnEchoCanCome_IsDecidedAnew) {
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

TEST(HiddenExchange, KnownAnswerInsideAMessage_IsAMessage) {
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

TEST(HiddenExchange, CommandWithASecretAgain_LosesItAgain) {
    cExchange exchange;
    for (int i = 0; i < 3; ++i) {
        exchange.command("AT+CPIN=\"1234\"");
        exchange.advance(2 * cSecretEchoes::ECHO_WAIT_MS);
    }
    EXPECT_EQ(exchange.data(), "AT+CPIN=\"0000\"\rAT+CPIN=\"0000\"\rAT+CPIN=\"0000\"\r");
}

TEST(HiddenExchange, IdentitiesKeptNoLonger_AreReplacedInWhatIsKnown) {
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

TEST(HiddenExchange, MoreCommandsAndAnswersThanAreKept_AreAllRecorded) {
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

TEST(HiddenExchange, AnswerInPieces_HasTheSamePiecesEachTime) {
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
        exchange.read("\r\n" + std::string(header) + "\r\nthe code is 471\r\n+CSQ: 1,2\r\n");
        const std::string data = exchange.data();
        EXPECT_EQ(data.find("code"), std::string::npos) << data;
        EXPECT_EQ(data.find("471"), std::string::npos) << data;
        EXPECT_NE(data.find(header), std::string::npos) << data;
    }
}

TEST(HiddenExchange, LineAfterAMessageThatCameUnasked_StaysAsItCame) {
    cExchange exchange;
    exchange.read("\r\n+CMT: ,24\r\n0791728301\r\n+CSQ: 1,2\r\nhello\r\n");
    const std::string data = exchange.data();
    EXPECT_NE(data.find("\r\n+CSQ: 1,2\r\nhello\r\n"), std::string::npos) << data;
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

// Commands that the recorder has not seen, among messages and after garbage.
TEST(HiddenExchange, EchoThatNobodyExpects_LosesItsSecret) {
    for (const char* const before : {"\r\n+CMGL: 1,1,,24\r\n", "+CSQ: 1", "LE9", "\x90\x91"}) {
        cExchange exchange(true);
        exchange.read(before + std::string("AT+CPIN=\"1234\"\r\r\nOK\r\n"));
        const std::string data = exchange.data();
        EXPECT_EQ(data, before + std::string("AT+CPIN=\"0000\"\r\r\nOK\r\n"));
    }
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

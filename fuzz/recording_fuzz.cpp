#include "fuzz/check.h"
#include "fuzz/input.h"
#include "recording/hidden_exchange.h"
#include "tests/support/recording_text.h"

// An exchange with secrets in it, cut anywhere, with anything that a modem may send between: from
// the moment at which a secret is written, the recording has it nowhere. All bytes keep their
// number, and what is recorded is whole lines.
//
// The first octet chooses whether identities are kept, the next eight make the secret; each further
// octet is a step: what comes (lower half), and the size of its pieces (upper half).

namespace {

constexpr size_t SECRET_SIZE = 8;
constexpr const char* SECRET_CHARACTERS =
    "23456789abcdefghijklmnopqrstuvwyzABCDEFGHIJKLMNOPQRSTUVWYZ@!.-/#";

std::string takeSecret(cInput& input) {
    std::string secret;
    for (size_t i = 0; i < SECRET_SIZE; ++i)
        secret += SECRET_CHARACTERS[input.takeByte() % 64];
    // Commands that nobody knows: only a text with a digit counts as a secret everywhere.
    return secret + "7";
}

const char* const COMMANDS[] = {
    "AT+CPIN=%",
    "AT+CPIN=\"12345678\",\"%\"",
    "AT+CPWD=\"SC\",\"%\",\"%\"",
    "AT+CLCK=\"SC\",1,\"%\"",
    "AT#PDPAUTH=1,2,user,%",
    "at+cmee=2;+cpin=%",
    "AT#NOBODY=3,\"%\"",
    "AT+CGAUTH=1,1,\"u\",\"%\"",
};

constexpr const char* LISTED_MESSAGE =
    "\r\n+CMGL: 1,1,,24\r\n"
    "07917283010010F5040B917238880900F10000993092516195000AE8329BFD4697D9EC37\r\n";

const char* const ANSWERS[] = {
    "\r\nOK\r\n", "\r\n+CREG: 1,\"700D\"\r\n", LISTED_MESSAGE,
    "\r\n> ",     "\r\n+CME ERROR: 16\r\n",    "356938035643809\r\n",
};

class cRun {
  public:
    cRun(bool keepIdentities, std::string secret)
        : m_exchange(keepIdentities), m_secret(std::move(secret)) {}

    void step(unsigned what, size_t pieceBytes, const std::string& other) {
        const std::string command = withSecret(COMMANDS[what % 8]);
        if (what < 8) {
            if (!m_isSent) m_from = m_exchange.ready().size();
            m_isSent = true;
            add(eRecordedWay::WRITE, command + "\r", pieceBytes);
            m_last = command;
        } else if (what == 8) {
            add(eRecordedWay::READ, m_last + "\r\r\n", pieceBytes);
        } else if (what == 9) {  // a line of another kind in the echo
            const size_t half = m_last.size() / 2;
            add(eRecordedWay::READ,
                m_last.substr(0, half) + ANSWERS[1] + m_last.substr(half) + "\r", pieceBytes);
        } else if (what == 10) {
            add(eRecordedWay::READ, other, pieceBytes);
        } else if (what == 11) {
            m_exchange.endLines(eRecordedPort::AT);
        } else {
            add(eRecordedWay::READ, ANSWERS[what % 6], pieceBytes);
        }
    }

    void finish() {
        m_exchange.endAllLines();
        const std::string text = m_exchange.ready().text();
        const std::string lines = m_exchange.ready().text(m_from);
        check(lines.find(m_secret) == std::string::npos, "no line has the secret", lines);
        for (const char* way : {"\"write\"", "\"read\""}) {
            const std::string data = recordedData(linesWith(lines, way));
            check(data.find(m_secret) == std::string::npos, "no pieces make the secret", data);
        }
        check(recordedData(text).size() == m_bytes, "every byte is there", text);
        check(text.empty() || text.back() == '\n', "lines are whole", text);
    }

  private:
    std::string withSecret(std::string text) const {
        for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at))
            text.replace(at, 1, m_secret);
        return text;
    }

    void add(eRecordedWay way, const std::string& text, size_t pieceBytes) {
        for (size_t at = 0; at < text.size(); at += pieceBytes) {
            const std::string piece = text.substr(at, pieceBytes);
            m_exchange.addBytes(eRecordedPort::AT, way, piece.data(), piece.size(), m_ms++);
            m_bytes += piece.size();
        }
    }

    static std::string linesWith(const std::string& lines, const std::string& word) {
        std::string found;
        for (size_t at = 0; at < lines.size();) {
            const size_t end = lines.find('\n', at) + 1;
            const std::string line = lines.substr(at, end - at);
            if (line.find(word + ",\"data\":") != std::string::npos) found += line;
            at = end;
        }
        return found;
    }

    cHiddenExchange m_exchange;
    std::string m_secret;
    std::string m_last;
    bool m_isSent = false;
    size_t m_from = 0;
    size_t m_bytes = 0;
    uint64_t m_ms = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cInput input(data, size);
    const bool keepIdentities = input.takeByte() % 2 != 0;
    cRun run(keepIdentities, takeSecret(input));
    const std::vector<std::string> pieces = input.takePieces();
    const std::string other = pieces.size() > 1 ? pieces[1] : "";
    for (const char c : pieces[0]) {
        const auto octet = static_cast<unsigned char>(c);
        run.step(octet & 15u, size_t{1} + (octet >> 4u), other);
    }
    run.finish();
    return 0;
}

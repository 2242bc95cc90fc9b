#include <sys/types.h>

#include <cstring>

#include "fuzz/check.h"
#include "fuzz/input.h"
#include "recording/hidden_exchange.h"
#include "tests/support/recording_text.h"

// An exchange with secrets in it, cut anywhere, with anything that a modem may send between: from
// the moment at which a secret is written, the recording has it nowhere. Of an echo, which may lose
// or change a byte, be cut by other lines, come late and come again, no character of the secret is
// shown. All bytes keep their number, and what is recorded is whole lines. What the recorder
// remembers of commands and answers saves work and changes nothing: a recorder that decides
// everything anew makes the same lines.
//
// The first octet chooses whether identities are kept, the next eight make the secret; each further
// octet is a step: what comes (lower half), and the size of its pieces (upper half). An echo takes
// octets of the last piece that say how it is damaged.

namespace {

constexpr size_t STEPS_MAX = 24;
constexpr size_t SECRET_SIZE = 8;
// No K: a line "OK" is a result, although it may be a part of a secret.
constexpr const char* SECRET_CHARACTERS =
    "23456789abcdefghijklmnopqrstuvwyzABCDEFGHIJLMNOPQRSTUVWYZ@!.-/#*";

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
    "\r\nOK\r\n",
    "\r\n+CREG: 1,\"700D\"\r\n",
    "\r\nLE910-NA V2\r\n\r\nOK\r\n",
    "356938035643809\r\n",
    "\r\n+CME ERROR: 16\r\n",
    LISTED_MESSAGE,
    "\r\n> ",
};
constexpr size_t ANSWER_COUNT = sizeof ANSWERS / sizeof ANSWERS[0];

const char* const POLLED[] = {"AT+CSQ", "AT+CGMM", "AT+CGSN", "AT#NOBODY=7"};
constexpr size_t PIECE_MAX = 1000;

// A text in which the secret has its places.
struct sEchoText {
    std::string text;
    std::vector<bool> isSecret;

    void cut(size_t at, const std::string& other) {
        text.insert(at, other);
        isSecret.insert(isSecret.begin() + static_cast<std::ptrdiff_t>(at), other.size(), false);
    }
    void lose(size_t at) {
        text.erase(at, 1);
        isSecret.erase(isSecret.begin() + static_cast<std::ptrdiff_t>(at));
    }
    void change(size_t at, char byte) {
        text[at] = byte;
        isSecret[at] = false;
    }
};

class cRun {
  public:
    cRun(bool keepIdentities, std::string secret, const std::string& damages)
        : m_exchange(keepIdentities),
          m_forgetful(keepIdentities),
          m_keepsIdentities(keepIdentities),
          m_secret(std::move(secret)),
          m_damages(damages) {}

    void step(unsigned what, size_t pieceBytes, const std::string& other) {
        if (what < 8) {
            if (!m_isSent) m_from = m_exchange.ready().size();
            m_isSent = true;
            m_last = withSecret(COMMANDS[what % 8]);
            add(eRecordedWay::WRITE, m_last.text + "\r", pieceBytes);
        } else if (what == 8) {
            echo(m_last, pieceBytes);
        } else if (what == 9) {
            sEchoText damaged = m_last;
            damage(damaged);
            echo(damaged, pieceBytes);
        } else if (what == 10) {
            add(eRecordedWay::READ, other, pieceBytes);
        } else if (what == 11) {
            m_exchange.endLines(eRecordedPort::AT);
            m_forgetful.endLines(eRecordedPort::AT);
        } else if (what == 12) {  // another command, so that the echo comes late
            m_ms += 10 * pieceBytes;
            add(eRecordedWay::WRITE, pieceBytes % 2 == 0 ? "AT+CGMM\r" : "AT+CSQ\r", pieceBytes);
        } else if (what == 13) {
            poll(pieceBytes);
        } else {
            add(eRecordedWay::READ, ANSWERS[(what + pieceBytes) % ANSWER_COUNT], pieceBytes);
        }
    }

    void finish() {
        m_exchange.endAllLines();
        m_forgetful.endAllLines();
        const std::string text = m_exchange.ready().text();
        const std::string anew = m_forgetful.ready().text();
        check(text == anew, "what is remembered changes nothing", text + anew);
        if (!m_isSent) m_from = text.size();
        const std::string lines = m_exchange.ready().text(m_from);
        check(lines.find(m_secret) == std::string::npos, "no line has the secret", lines);
        for (const char* way : {"\"write\"", "\"read\""}) {
            const std::string data = recordedData(linesWith(lines, way));
            check(data.find(m_secret) == std::string::npos, "no pieces make the secret", data);
        }
        const std::string data = recordedData(text);
        check(data.size() == m_bytes.size(), "every byte is there", text);
        check(text.empty() || text.back() == '\n', "lines are whole", text);
        // A stand-in of a message may have the same character by chance.
        if (!m_keepsIdentities) return;
        for (const size_t at : m_secretPlaces) {
            const bool isShown = data[at] == m_bytes[at] && data[at] != hiddenCharacter(data[at]);
            if (isShown) check(false, "no character of an echo's secret is shown", m_bytes + data);
        }
    }

  private:
    sEchoText withSecret(const std::string& pattern) const {
        sEchoText made;
        for (const char c : pattern) {
            const bool isSecret = c == '%';
            made.text += isSecret ? m_secret : std::string(1, c);
            made.isSecret.resize(made.text.size(), isSecret);
        }
        return made;
    }

    // A whole command, mostly with an answer in one piece, as a daemon polls. The last kinds come
    // when no echo of a secret can come any more.
    void poll(size_t kind) {
        if (kind > 12) {
            m_ms += 2 * cSecretEchoes::ECHO_WAIT_MS;
            m_last = {};
        }
        const std::string command = POLLED[kind % 4];
        m_exchange.addCommand(eRecordedPort::AT, command.data(), command.size(), m_ms, m_ms + kind);
        forgetful().addCommand(eRecordedPort::AT, command.data(), command.size(), m_ms,
                               m_ms + kind);
        m_ms += kind;
        m_bytes += command + "\r";
        const size_t answer = kind / 2 % (ANSWER_COUNT + 1);
        if (answer < ANSWER_COUNT)
            add(eRecordedWay::READ, withOtherDigit(ANSWERS[answer]), PIECE_MAX);
    }

    // One digit of an answer is another one, as a signal's.
    std::string withOtherDigit(std::string text) {
        const size_t from = damageOctet() % text.size();
        const size_t at = text.find_first_of("0123456789", from);
        if (at != std::string::npos) text[at] = static_cast<char>('0' + damageOctet() % 10);
        return text;
    }

    // A new secret may have come, so nothing that is known counts for what comes next.
    cHiddenExchange& forgetful() {
        m_forgetful.secrets();
        return m_forgetful;
    }

    size_t damageOctet() {
        if (m_damages.empty()) return 0;
        return static_cast<unsigned char>(m_damages[m_nextDamage++ % m_damages.size()]);
    }

    // One byte is lost or changed, and up to three lines come into the echo.
    void damage(sEchoText& text) {
        if (text.text.empty()) return;
        const size_t kind = damageOctet();
        const size_t at = damageOctet() % text.text.size();
        if (kind % 3 == 1) text.lose(at);
        if (kind % 3 == 2) text.change(at, static_cast<char>(damageOctet()));
        for (size_t i = 0; i < kind / 3 % 4; ++i)
            text.cut(damageOctet() % (text.text.size() + 1), ANSWERS[1]);
    }

    void echo(const sEchoText& text, size_t pieceBytes) {
        // What came before it has its end, as a modem sends it.
        if (m_isLineOpen) add(eRecordedWay::READ, "\r\n", pieceBytes);
        for (size_t i = 0; i < text.text.size(); ++i)
            if (text.isSecret[i]) m_secretPlaces.push_back(m_bytes.size() + i);
        add(eRecordedWay::READ, text.text + "\r\r\n", pieceBytes);
    }

    void add(eRecordedWay way, const std::string& text, size_t pieceBytes) {
        for (size_t at = 0; at < text.size(); at += pieceBytes) {
            const std::string piece = text.substr(at, pieceBytes);
            m_exchange.addBytes(eRecordedPort::AT, way, piece.data(), piece.size(), m_ms);
            forgetful().addBytes(eRecordedPort::AT, way, piece.data(), piece.size(), m_ms++);
            m_bytes += piece;
        }
        if (way == eRecordedWay::READ && !text.empty()) m_isLineOpen = text.back() != '\n';
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
    cHiddenExchange m_forgetful;
    bool m_keepsIdentities;
    std::string m_secret;
    std::string m_damages;
    size_t m_nextDamage = 0;
    sEchoText m_last;
    bool m_isSent = false;
    bool m_isLineOpen = false;
    size_t m_from = 0;
    std::string m_bytes;
    std::vector<size_t> m_secretPlaces;  // in m_bytes
    uint64_t m_ms = 0;
};

}  // namespace

// Stand-ins depend on it: the same in each recorder, and whenever a finding is repeated.
extern "C" ssize_t getrandom(void* buffer, size_t size, unsigned) {
    memset(buffer, 1, size);
    return static_cast<ssize_t>(size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cInput input(data, size);
    const bool keepIdentities = input.takeByte() % 2 != 0;
    const std::string secret = takeSecret(input);
    const std::vector<std::string> pieces = input.takePieces();
    const std::string other = pieces.size() > 1 ? pieces[1] : "";
    cRun run(keepIdentities, secret, pieces.back());
    // More steps find nothing else, and take longer.
    for (const char c : pieces[0].substr(0, STEPS_MAX)) {
        const auto octet = static_cast<unsigned char>(c);
        run.step(octet & 15u, size_t{1} + (octet >> 4u), other);
    }
    run.finish();
    return 0;
}

#include "le910sim/replay_steps.h"

#include <algorithm>
#include <cctype>

#include "platform/include/text_helpers.h"
#include "recording/line_rules.h"

namespace le910sim {

namespace {

constexpr char CTRL_Z = '\x1a';

// A port that was away is back this long before the program opened it, so that the program, which
// tries again and again, succeeds with the same attempt.
constexpr uint64_t BACK_BEFORE_OPEN_MS = 500;

// A program tries to open the AT port at its start, and again and again after it has closed it. If
// it had it open only later than this, the port was away.
constexpr uint64_t OPEN_AFTER_START_MS = 1000;
constexpr uint64_t OPEN_AFTER_CLOSE_MS = 4000;

// Commands with an identity as an argument.
const char* const PRIVATE_COMMANDS[] = {"AT+CMGS=", "AT+CMGW=", "AT+CSCA=", "ATD"};

// Turns the events of one port into steps.
class cPortSteps {
  public:
    cPortSteps(ePort which, sReplayPort& port) : m_port(port), m_triesAgain(which == ePORT_AT) {}

    void take(const sRecordedEvent& event) {
        const bool movesBytes = event.kind == eRECORDED_WRITE || event.kind == eRECORDED_READ;
        if (movesBytes && !m_isPresent) return;
        switch (event.kind) {
            case eRECORDED_WRITE:
                write(event);
                break;
            case eRECORDED_READ:
                endUnterminated();
                m_port.steps.push_back({eSTEP_BYTES, event.ms, event.line, event.bytes, false});
                break;
            case eRECORDED_OPEN:
                appear(event);
                break;
            case eRECORDED_OPEN_FAILED:
                m_command.text.clear();
                leave(event);
                break;
            case eRECORDED_HANGUP:
                m_wasOpen = true;
                // A command that the hang-up cut never reached the modem.
                m_command.text.clear();
                leave(event);
                break;
            case eRECORDED_CLOSE:
                endUnterminated();
                m_closedMs = event.ms;
                m_openByMs = event.ms + OPEN_AFTER_CLOSE_MS;
                break;
            case eRECORDED_MARK:
                break;
        }
    }
    // The program was started.
    void start(uint64_t ms) {
        endUnterminated();
        m_openByMs = ms + OPEN_AFTER_START_MS;
    }
    void finish() { endUnterminated(); }

  private:
    void write(const sRecordedEvent& event) {
        m_wasOpen = true;
        for (const char byte : event.bytes) {
            if (byte == '\r') {
                m_command.ms = event.ms;
                endCommand(event.line, false);
                continue;
            }
            if (byte == '\n' && m_command.text.empty()) continue;
            if (m_command.text.empty()) m_command.line = event.line;
            m_command.text += byte;
            m_command.ms = event.ms;
        }
    }
    void endCommand(size_t line, bool unterminated) {
        if (m_command.text.empty()) m_command.line = line;
        m_command.unterminated = unterminated;
        m_port.steps.push_back(m_command);
        m_command = {};
    }
    void endUnterminated() {
        if (!m_command.text.empty()) endCommand(0, true);
    }
    void leave(const sRecordedEvent& event) {
        if (!m_isPresent) return;
        m_isPresent = false;
        m_leftMs = event.ms;
        if (!m_wasOpen) {
            m_port.presentAtFirst = false;
            return;
        }
        m_port.steps.push_back({eSTEP_LEAVE, event.ms, event.line, "", false});
    }
    void appear(const sRecordedEvent& event) {
        if (m_triesAgain && m_isPresent && m_openByMs != 0 && event.ms > m_openByMs) {
            sRecordedEvent away = event;
            away.ms = m_closedMs;
            leave(away);
        }
        m_openByMs = 0;
        m_wasOpen = true;
        m_command.text.clear();
        if (m_isPresent) return;
        m_isPresent = true;
        const uint64_t early = std::min(BACK_BEFORE_OPEN_MS, (event.ms - m_leftMs) / 2);
        m_port.steps.push_back({eSTEP_APPEAR, event.ms - early, event.line, "", false});
    }

    sReplayPort& m_port;
    sReplayStep m_command;
    bool m_isPresent = true;
    bool m_wasOpen = false;
    uint64_t m_leftMs = 0;
    bool m_triesAgain;
    uint64_t m_closedMs = 0;
    uint64_t m_openByMs = 0;  // 0: unknown
};

std::string masked(std::string text, size_t from) {
    for (size_t at = from; at < text.size(); ++at)
        if (std::isalnum(static_cast<unsigned char>(text[at])) != 0) text[at] = '*';
    return text;
}

}  // namespace

std::array<sReplayPort, PORT_COUNT> replaySteps(const sRecording& recording) {
    std::array<sReplayPort, PORT_COUNT> ports;
    std::array<cPortSteps, PORT_COUNT> makers = {cPortSteps(ePORT_AT, ports[ePORT_AT]),
                                                 cPortSteps(ePORT_GPS, ports[ePORT_GPS])};
    for (const sRecordedEvent& event : recording.events) {
        if (event.kind != eRECORDED_MARK)
            makers[event.port].take(event);
        else if (event.mark.at("mark") == "start")
            for (cPortSteps& maker : makers)
                maker.start(event.ms);
    }
    for (cPortSteps& maker : makers)
        maker.finish();
    return ports;
}

// The rules of the recorder replace secrets; again, they leave stand-ins as they are. Stand-ins of
// identities cannot be computed, so those are masked.
std::string comparableCommand(const std::string& command) {
    if (!command.empty() && command.back() == CTRL_Z) return masked(command, 0);
    const std::string upper = stringUpper(command.substr(0, 16));
    for (const char* const start : PRIVATE_COMMANDS)
        if (startsWith(upper, start)) return masked(command, std::string(start).size());
    // What one command has in it must not change the next.
    static cSecrets secrets;
    static cLineRules rules(secrets, true);
    secrets = cSecrets();
    sPortMemory memory;
    std::string comparable = command;
    rules.hideWritten(comparable.data(), comparable.size(), memory);
    return comparable;
}

}  // namespace le910sim

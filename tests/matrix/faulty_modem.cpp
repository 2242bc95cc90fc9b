#include "tests/matrix/faulty_modem.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "platform/include/text_helpers.h"
#include "tests/matrix/waits.h"

namespace {

using nlohmann::json;

constexpr size_t LINE_MAX_BYTES = 64 * 1024;
constexpr uint64_t LATE_MAX_MS = 65000;  // if no command follows
constexpr uint64_t HANGUP_MS = 3000;
constexpr uint64_t HANGUP_LONG_MS = 150000;  // beyond the two minutes that a port may be missing
constexpr char ESC = '\x1b';
constexpr char CTRL_Z = '\x1a';
constexpr const char* ESCAPE = "+++";

// Commands with which the SIM checks a PIN or a PUK.
bool triesSecret(const std::string& line) {
    return startsWith(line, "AT+CPIN=") || startsWith(line, "AT+CPWD=") ||
           startsWith(line, "AT+CLCK=\"SC\",0") || startsWith(line, "AT+CLCK=\"SC\",1");
}

// AT+CPIN=1234, AT+CPWD="SC",1234,5678, AT+CLCK="SC",0,"1234"
std::string pinOf(const std::string& line) {
    const bool isLock = startsWith(line, "AT+CLCK");
    const size_t before = isLock ? line.rfind(',') : line.find_first_of("=,");
    size_t start = line.find_first_of("0123456789", before);
    return line.substr(start, line.find_first_not_of("0123456789", start) - start);
}

// A modem that refuses a message closes its prompt.
bool refusesMessage(const sFaultRow& row, const std::string& line) {
    const bool refuses = row.fault == eERROR || row.fault == eCME_KNOWN ||
                         row.fault == eCME_UNKNOWN || row.fault == eCME_TEXT;
    return refuses && line.back() == CTRL_Z;
}

}  // namespace

std::string commandClass(const std::string& line) {
    return line.back() == CTRL_Z ? std::string("message") + CTRL_Z : line;
}

cFaultyModem::cFaultyModem(const json& scenario, const std::string& atPath,
                           const std::string& gpsPath)
    : m_modem(scenario), m_ends{sEnd(atPath), sEnd(gpsPath)} {
    comeAndGo();
}

json cFaultyModem::order(const json& request) {
    json answer = m_modem.control(request);
    if (!answer.value("ok", false)) throw std::runtime_error(answer.dump());
    return answer;
}

bool cFaultyModem::isFaultOver() const {
    if (!m_firstHitMs) return false;
    const bool held = !m_ends[eAT_PORT].held.empty() || !m_ends[eGPS_PORT].held.empty();
    return !held && portsPresent() && nowMs() >= *m_firstHitMs + m_plan->lastsMs;
}

void cFaultyModem::turn() {
    // The daemon wrote before it slept.
    for (const eModemPort port : {eAT_PORT, eGPS_PORT})
        take(port, m_ends[port].terminal.receive());
    m_turnMs = nowMs();
    m_modem.advance(m_turnMs);
    comeAndGo();
    for (const eModemPort port : {eAT_PORT, eGPS_PORT}) {
        sEnd& end = m_ends[port];
        if (nowMs() > end.heldMs + LATE_MAX_MS) emit(end, std::exchange(end.held, ""), 0);
        emit(end, outputOf(port), 0);
        end.terminal.deliver(nowMs());
    }
    if (m_firstHitMs && !isFaultOver()) m_lastEffectMs = nowMs();
}

void cFaultyModem::comeAndGo() {
    for (sEnd& end : m_ends) {
        if (!end.terminal.setPresent(portsPresent())) continue;
        m_wasAway = true;
        end.line.clear();
        end.held.clear();
        end.answerEnd = 0;
    }
}

void cFaultyModem::take(eModemPort port, const std::string& bytes) {
    sEnd& end = m_ends[port];
    for (const char byte : bytes) {
        if (!portsPresent()) return;
        if (byte != '\r') {
            if (end.line.size() < LINE_MAX_BYTES) end.line += byte;
            // It has no line end, and has a meaning only on the GPS port.
            if (end.line != ESCAPE || port != eGPS_PORT) continue;
        }
        std::string line;
        line.swap(end.line);
        if (!line.empty()) takeLine(port, line, line == ESCAPE ? line : line + '\r');
    }
}

void cFaultyModem::takeLine(eModemPort port, const std::string& line, const std::string& bytes) {
    sEnd& end = m_ends[port];
    noteDelay(line);
    noteShift(end, line);
    emit(end, outputOf(port), 0);  // earlier unsolicited output
    sSent sent;
    sent.timeMs = nowMs();
    sent.port = port;
    sent.command = line;
    sent.ending = m_ending;
    const std::string late = std::exchange(end.held, "");
    const sFaultRow* row = faultOf(port, line);
    std::string whole;
    if (row == nullptr || row->executes)
        whole = ask(port, bytes);
    else if (refusesMessage(*row, line))
        ask(port, std::string(1, ESC));
    const std::string echo = startsWith(whole, bytes) ? bytes : "";
    sent.body = whole.substr(echo.size());
    emit(end, late, 0);
    if (row == nullptr)
        emit(end, whole, m_latencyMs);
    else if (row->fault == eINTERJECTION)
        interject(port, sent, whole);
    else
        spoil(port, *row, sent, whole);
    if (row == nullptr) end.answerEnd = end.terminal.emitted();
    end.answered = line;
    m_sent.push_back(sent);
}

std::string cFaultyModem::ask(eModemPort port, const std::string& bytes) {
    const auto give = [&] {
        if (port == eAT_PORT)
            m_modem.receiveAt(bytes, m_turnMs);
        else
            m_modem.receiveGps(bytes, m_turnMs);
    };
    if (triesSecret(bytes))
        countAttempts(bytes, give);
    else
        give();
    return outputOf(port);
}

void cFaultyModem::countAttempts(const std::string& line, const std::function<void()>& action) {
    const auto attempts = [this](const char* key) {
        return order({{"op", "dump"}}).at("state").at("sim").at(key).get<int>();
    };
    const int pins = attempts("pin_attempts");
    const int puks = attempts("puk_attempts");
    action();
    if (attempts("pin_attempts") < pins) ++m_wrongPins[pinOf(line)];
    if (startsWith(line, "AT+CPIN=") && attempts("puk_attempts") < puks) ++m_wrongPuks;
}

std::string cFaultyModem::outputOf(eModemPort port) {
    return port == eAT_PORT ? m_modem.takeAtOutput() : m_modem.takeGpsOutput();
}

const sFaultRow* cFaultyModem::faultOf(eModemPort port, const std::string& command) {
    if (!m_plan || nowMs() < m_plan->fromMs) return nullptr;
    if (!m_plan->command.empty() &&
        (port != m_plan->port || commandClass(command) != m_plan->command))
        return nullptr;
    if (m_firstHitMs) {
        if (nowMs() >= *m_firstHitMs + m_plan->lastsMs) return nullptr;
    } else {
        if (m_matches++ < m_plan->occurrence) return nullptr;
        m_random.seed(m_plan->seed);
        m_firstHitMs = nowMs();
    }
    if (m_plan->oneIn > 1 && below(m_plan->oneIn, m_random) != 0) return nullptr;
    m_lastEffectMs = nowMs();
    if (m_plan->fault != eMIXED) return &faultRow(m_plan->fault);
    // Any row but the mixture itself.
    return &faultTable()[below(faultTable().size() - 1, m_random)];
}

void cFaultyModem::spoil(eModemPort port, const sFaultRow& row, sSent& sent,
                         const std::string& whole) {
    sent.faulty = true;
    sEnd& end = m_ends[port];
    if (row.fault == eHANGUP || row.fault == eHANGUP_LONG) {
        sent.arrived = "(hang-up)";
        const uint64_t away = row.fault == eHANGUP ? HANGUP_MS : HANGUP_LONG_MS;
        order({{"op", "hangup"}, {"away_ms", away}});
        comeAndGo();
        return;
    }
    if (row.fault == eLATE) {
        sent.arrived = "(late)";
        end.held = whole;
        end.heldMs = nowMs();
        return;
    }
    const std::string& command = sent.command;
    const sAnswer answer = {command == ESCAPE ? "" : command + '\r', sent.body};
    const std::string other =
        m_plan->others ? (*m_plan->others)[below(m_plan->others->size(), m_random)] : "";
    sent.arrived = spoiledAnswer(row.fault, answer, other, m_random);
    emit(end, sent.arrived, m_latencyMs);
}

void cFaultyModem::interject(eModemPort port, sSent& sent, const std::string& whole) {
    sEnd& end = m_ends[port];
    const std::vector<std::string> lines = interjectionsFor(m_plan->place, sent.command);
    const std::string line =
        m_plan->line.empty() ? lines[m_interjections % lines.size()] : m_plan->line;
    const std::string echo = whole.substr(0, whole.size() - sent.body.size());
    uint64_t delayMs = m_latencyMs;
    for (const std::string& portion : interjected(m_plan->place, {echo, sent.body}, line)) {
        if (portion.empty()) continue;
        if (!sent.arrived.empty()) delayMs += APART_MS;
        emit(end, portion, delayMs);
        sent.arrived += portion;
        // The line itself may be read later.
        if (portion != "\r\n" + line + "\r\n") end.answerEnd = end.terminal.emitted();
    }
    sent.apartMs = delayMs - m_latencyMs;
    ++m_interjections;
}

// When the next command comes, only the end of an answer may be unread, and no final code:
// otherwise the daemon would take the rest of this answer for the next one.
void cFaultyModem::noteShift(const sEnd& end, const std::string& command) {
    if (!end.terminal.present() || end.answered == ESCAPE) return;
    if (end.terminal.read() >= end.answerEnd) return;
    m_shifted.push_back(end.answered + " was not read to its end before " + command);
}

void cFaultyModem::emit(sEnd& end, const std::string& bytes, uint64_t delayMs) {
    end.terminal.emit(bytes, nowMs() + delayMs);
}

void cFaultyModem::noteDelay(const std::string& command) {
    const std::string before = m_sent.empty() ? "" : m_sent.back().command;
    const uint64_t passed = nowMs() - m_lastSentMs;
    const uint64_t allowed = answerWaitMs(before);
    if (!m_wasAway && passed > allowed && passed - allowed > m_longestDelayMs) {
        m_longestDelayMs = passed - allowed;
        m_delayedAfter = before + " -> " + command;
    }
    m_lastSentMs = nowMs();
    m_wasAway = false;
}

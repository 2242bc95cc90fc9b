#include "le910sim/modem_core.h"

#include <algorithm>
#include <stdexcept>

#include "le910sim/text.h"

namespace le910sim {

namespace {

// Above this number the older half of the records is deleted.
constexpr size_t RECORDS_MAX = 200000;
constexpr size_t PROBLEMS_MAX = 1000;

template <typename T>
void bound(std::vector<T>& records, size_t most) {
    if (records.size() <= most) return;
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(most / 2));
}

void earliest(std::optional<uint64_t>& best, const std::optional<uint64_t>& candidate) {
    if (candidate && (!best || *candidate < *best)) best = candidate;
}

std::string finalOf(const std::string& reply) {
    size_t end = reply.find_last_not_of("\r\n");
    if (end == std::string::npos) return "";
    const size_t start = reply.find_last_of('\n', end);
    return reply.substr(start == std::string::npos ? 0 : start + 1,
                        end - (start == std::string::npos ? std::string::npos : start));
}

}  // namespace

cModemCore::cModemCore(const nlohmann::json& scenario) {
    sScenario read = readScenario(scenario);
    m_state = read.state;
    m_ports[ePORT_AT].name = "at";
    m_ports[ePORT_GPS].name = "gps";
    m_ports[ePORT_AT].output.setBaud(read.baud);
    m_ports[ePORT_GPS].output.setBaud(read.baud);
    m_timeline = read.timeline;
    for (size_t i = 0; i < read.faults.size(); ++i) {
        m_faults.add(readFault(read.faults[i], "scenario.faults[" + std::to_string(i) + "]", 0));
    }
    settle(m_state);
    m_lastRegistration = registrationState(m_state);
    m_lastCard = m_state.simState();
    checkTimeline();
}

void cModemCore::receive(ePort which, const std::string& bytes, uint64_t nowMs) {
    advance(nowMs);
    if (m_away) return;
    sPort& port = m_ports[which];
    if (isStream(port.mode)) {
        receiveInStream(port, bytes);
        return;
    }
    if (port.input.size() + bytes.size() > cPacedOutput::BYTES_MAX) return;
    port.input += bytes;
    consumeInput(port);
}

void cModemCore::advance(uint64_t nowMs) {
    std::optional<uint64_t> next = nextEventMs();
    while (next && *next <= nowMs) {
        stepTo(std::max(*next, m_state.nowMs));
        next = nextEventMs();
    }
    m_state.nowMs = std::max(m_state.nowMs, nowMs);
}

std::string cModemCore::takeOutput(ePort port) {
    if (m_away) return "";
    return m_ports[port].output.take(m_state.nowMs);
}

std::optional<uint64_t> cModemCore::nextEventMs() const {
    std::optional<uint64_t> next = m_leaveMs;
    earliest(next, m_returnMs);
    if (m_timelineNext < m_timeline.size()) earliest(next, m_timeline[m_timelineNext].atMs);
    if (m_state.registerAtMs > m_state.nowMs) earliest(next, m_state.registerAtMs);
    if (m_away) return next;
    for (const sBabble& line : m_babble)
        earliest(next, line.nextMs);
    for (const sPort& port : m_ports) {
        if (port.running) earliest(next, port.running->resumeMs);
        if (!port.running && !port.input.empty()) earliest(next, port.busyUntilMs);
        if (port.mode == eMODE_NMEA) earliest(next, port.nextEpochMs);
        if (isStream(port.mode) && port.plusCount == 3) {
            earliest(next, port.lastInputMs + ESCAPE_GUARD_MS);
        }
        if (port.mode == eMODE_PROMPT && m_state.sms.promptTimeoutMs != 0) {
            earliest(next, port.prompt.sinceMs + m_state.sms.promptTimeoutMs);
        }
    }
    return next;
}

void cModemCore::stepTo(uint64_t nowMs) {
    m_state.nowMs = nowMs;
    comeAndGo();
    runTimeline();
    settleAndReport();
    if (m_away) return;
    babble();
    for (sPort& port : m_ports)
        stepPort(port);
}

void cModemCore::runTimeline() {
    while (m_timelineNext < m_timeline.size() && m_timeline[m_timelineNext].atMs <= m_state.nowMs) {
        const nlohmann::json order = m_timeline[m_timelineNext++].order;
        log({{"event", "timeline"}, {"order", order}, {"result", control(order)}});
    }
}

void cModemCore::stepPort(sPort& port) {
    const uint64_t nowMs = m_state.nowMs;
    if (isStream(port.mode)) {
        stepStream(port);
        consumeInput(port);
        return;
    }
    const uint64_t timeoutMs = m_state.sms.promptTimeoutMs;
    if (port.mode == eMODE_PROMPT && timeoutMs != 0 && nowMs >= port.prompt.sinceMs + timeoutMs) {
        port.mode = eMODE_COMMAND;
        answer(port, port.prompt.text, "", "\r\nERROR\r\n", {});
    }
    if (port.running && nowMs >= port.running->resumeMs) continueLine(port);
    if (!port.running && nowMs >= port.busyUntilMs) consumeInput(port);
}

void cModemCore::leave(uint64_t afterMs, uint64_t awayMs, bool restart) {
    if (m_away) return;
    m_leaveMs = m_state.nowMs + afterMs;
    m_awayMs = awayMs;
    m_restarting = m_restarting || restart;
    if (afterMs == 0) comeAndGo();
}

void cModemCore::comeAndGo() {
    if (m_leaveMs && m_state.nowMs >= *m_leaveMs) {
        m_leaveMs.reset();
        m_away = true;
        m_returnMs = m_state.nowMs + m_awayMs;
        for (sPort& port : m_ports) {
            port.output.clear();
            port.input.clear();
            port.line.clear();
            port.running.reset();
            port.busyUntilMs = 0;
            if (port.mode == eMODE_CALL) endCall(m_state);
            if (port.mode != eMODE_NMEA) port.mode = eMODE_COMMAND;
        }
        log({{"event", m_restarting ? "restart" : "hangup"}});
    }
    if (m_returnMs && m_state.nowMs >= *m_returnMs) {
        m_returnMs.reset();
        m_away = false;
        if (m_restarting) powerUp();
        m_restarting = false;
        log({{"event", "ports back"}});
    }
}

void cModemCore::powerUp() {
    resetAtPowerUp(m_state);
    for (sPort& port : m_ports) {
        port.profile = sPortProfile();
        port.mode = eMODE_COMMAND;
    }
    m_lastRegistration = registrationState(m_state);
    m_lastCard = m_state.simState();
    for (const std::string& line : m_state.behaviour.bootLines) {
        unsolicited(line, m_state.timings.readyMs);
    }
}

void cModemCore::settleAndReport() {
    settle(m_state);
    const int registration = registrationState(m_state);
    if (registration != m_lastRegistration) {
        m_lastRegistration = registration;
        const bool lte = m_state.tech().family == sTechRow::eFAMILY_LTE;
        if (m_state.setting("+CREG") != 0) unsolicited("+CREG: " + std::to_string(registration));
        if (m_state.setting("+CEREG") != 0) {
            unsolicited("+CEREG: " + std::to_string(lte ? registration : 0));
        }
    }
    reportEndOfCall();
    reportCard();
    storeWaitingSms();
}

void cModemCore::reportEndOfCall() {
    if (m_state.callContext != 0) return;
    for (sPort& port : m_ports) {
        if (port.mode != eMODE_CALL) continue;
        port.mode = eMODE_COMMAND;
        port.output.add(m_state.nowMs, "\r\nNO CARRIER\r\n");
    }
}

void cModemCore::reportCard() {
    const eCardState before = m_lastCard;
    m_lastCard = m_state.simState();
    if (m_lastCard == before) return;
    const bool missing = m_lastCard == eCARD_MISSING;
    const bool ready = m_lastCard == eCARD_READY;
    const int64_t mode = m_state.setting("#QSS");
    if (mode == 2) {
        unsolicited(missing ? "#QSS: 0" : ready ? "#QSS: 2" : "#QSS: 1");
    } else if (mode == 1 && missing != (before == eCARD_MISSING)) {
        unsolicited(missing ? "#QSS: 0" : "#QSS: 1");
    }
    if (ready) unsolicited("+PACSP0", m_state.timings.readyMs);
}

void cModemCore::unsolicited(const std::string& line, uint64_t waitMs) {
    // A data call takes the port: programs that use one listen on the other port too.
    const bool other = m_ports[ePORT_AT].mode == eMODE_CALL && !isStream(m_ports[ePORT_GPS].mode);
    m_ports[other ? ePORT_GPS : ePORT_AT].output.add(m_state.nowMs + waitMs,
                                                     "\r\n" + line + "\r\n");
    log({{"event", "unsolicited"}, {"line", line}, {"due", m_state.nowMs + waitMs}});
}

void cModemCore::noteReceived(const sPort& port, const std::string& line) {
    m_received.push_back({m_state.nowMs, port.name, line, ""});
    bound(m_received, RECORDS_MAX);
}

void cModemCore::noteProblem(const sPort& port, const std::string& line, const std::string& why) {
    m_problems.push_back(port.name + " '" + line.substr(0, 200) + "': " + why);
    bound(m_problems, PROBLEMS_MAX);
    log({{"event", "problem"}, {"port", port.name}, {"command", line}, {"why", why}});
}

void cModemCore::noteExchange(const sPort& port, const std::string& line,
                              const std::string& reply) {
    ++m_exchangeCount;
    m_exchanges.push_back({m_state.nowMs, port.name, line, reply});
    bound(m_exchanges, RECORDS_MAX);
    log({{"event", "exchange"},
         {"port", port.name},
         {"command", line},
         {"reply", reply},
         {"final", finalOf(reply)}});
}

void cModemCore::log(nlohmann::json event) {
    event["t"] = m_state.nowMs;
    m_log.push_back(std::move(event));
    bound(m_log, RECORDS_MAX);
}

std::vector<nlohmann::json> cModemCore::takeLog() {
    std::vector<nlohmann::json> taken;
    taken.swap(m_log);
    return taken;
}

bool cModemCore::ownsAddress(const std::string& address) const {
    if (m_away) return false;
    if (m_state.behaviour.anySource) return true;
    for (const auto& entry : m_state.contexts) {
        const sContext& context = entry.second;
        if (!context.active) continue;
        if (context.ipv4 == address) return true;
        if (!context.ipv6.empty() && ipv6Dotted(context.ipv6) == ipv6Dotted(address)) return true;
    }
    return false;
}

}  // namespace le910sim

#include "sim/sim_modem.h"

#include "sim/sim_core.h"

cSimModem::cSimModem(const nlohmann::json& scenario)
    : m_core(std::make_unique<cSimCore>(scenario)) {}

cSimModem::~cSimModem() = default;

void cSimModem::receiveAt(const std::string& bytes, uint64_t nowMs) {
    m_core->receive(ePORT_AT, bytes, nowMs);
}

void cSimModem::receiveGps(const std::string& bytes, uint64_t nowMs) {
    m_core->receive(ePORT_GPS, bytes, nowMs);
}

void cSimModem::advance(uint64_t nowMs) {
    m_core->advance(nowMs);
}

std::string cSimModem::takeAtOutput() {
    return m_core->takeOutput(ePORT_AT);
}

std::string cSimModem::takeGpsOutput() {
    return m_core->takeOutput(ePORT_GPS);
}

bool cSimModem::portsPresent() const {
    return m_core->portsPresent();
}

nlohmann::json cSimModem::control(const nlohmann::json& request) {
    return m_core->control(request);
}

const std::vector<sSimExchange>& cSimModem::exchanges() const {
    return m_core->exchanges();
}

std::vector<std::string> cSimModem::commands() const {
    std::vector<std::string> lines;
    for (const sSimExchange& exchange : m_core->received()) {
        if (exchange.port == "at") lines.push_back(exchange.command);
    }
    return lines;
}

const std::vector<std::string>& cSimModem::problems() const {
    return m_core->problems();
}

std::vector<nlohmann::json> cSimModem::takeLog() {
    return m_core->takeLog();
}

bool cSimModem::ownsAddress(const std::string& address) const {
    return m_core->ownsAddress(address);
}

bool cSimModem::answersPings() const {
    return m_core->state().behaviour.echoPings;
}

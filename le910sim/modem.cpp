#include "le910sim/modem.h"

#include "le910sim/modem_core.h"
#include "le910sim/state_dump.h"

namespace le910sim {

cModem::cModem(const nlohmann::json& scenario) : m_core(std::make_unique<cModemCore>(scenario)) {}

cModem::~cModem() = default;

void cModem::receiveAt(const std::string& bytes, uint64_t nowMs) {
    m_core->receive(ePORT_AT, bytes, nowMs);
}

void cModem::receiveGps(const std::string& bytes, uint64_t nowMs) {
    m_core->receive(ePORT_GPS, bytes, nowMs);
}

void cModem::advance(uint64_t nowMs) {
    m_core->advance(nowMs);
}

std::string cModem::takeAtOutput() {
    return m_core->takeOutput(ePORT_AT);
}

std::string cModem::takeGpsOutput() {
    return m_core->takeOutput(ePORT_GPS);
}

bool cModem::portsPresent() const {
    return m_core->portsPresent();
}

nlohmann::json cModem::control(const nlohmann::json& request) {
    return m_core->control(request);
}

const std::vector<sExchange>& cModem::exchanges() const {
    return m_core->exchanges();
}

std::vector<std::string> cModem::commands() const {
    std::vector<std::string> lines;
    for (const sExchange& exchange : m_core->received()) {
        if (exchange.port == "at") lines.push_back(exchange.command);
    }
    return lines;
}

const std::vector<std::string>& cModem::problems() const {
    return m_core->problems();
}

uint64_t cModem::exchangeCount() const {
    return m_core->exchangeCount();
}

nlohmann::json cModem::memory() const {
    return memoryToJson(m_core->state());
}

std::vector<nlohmann::json> cModem::takeLog() {
    return m_core->takeLog();
}

bool cModem::ownsAddress(const std::string& address) const {
    return m_core->ownsAddress(address);
}

bool cModem::answersPings() const {
    return m_core->state().behaviour.echoPings;
}

}  // namespace le910sim

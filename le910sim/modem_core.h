#ifndef LE910SIM_MODEM_CORE_H
#define LE910SIM_MODEM_CORE_H

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "le910sim/exchange.h"
#include "le910sim/faults.h"
#include "le910sim/modem_state.h"
#include "le910sim/port.h"
#include "le910sim/scenario.h"

namespace le910sim {

// The implementation of cModem. A plain value, so that an order can be tried on a copy first.
class cModemCore {
  public:
    explicit cModemCore(const nlohmann::json& scenario);

    void receive(ePort port, const std::string& bytes, uint64_t nowMs);
    void advance(uint64_t nowMs);
    std::string takeOutput(ePort port);
    bool portsPresent() const { return !m_away; }
    nlohmann::json control(const nlohmann::json& request);

    const sModemState& state() const { return m_state; }
    const std::vector<sExchange>& exchanges() const { return m_exchanges; }
    uint64_t exchangeCount() const { return m_exchangeCount; }
    // Every received line, answered or not.
    const std::vector<sExchange>& received() const { return m_received; }
    const std::vector<std::string>& problems() const { return m_problems; }
    std::vector<nlohmann::json> takeLog();
    bool ownsAddress(const std::string& address) const;

  private:
    // An unsolicited line that is sent again and again.
    struct sBabble {
        ePort port;
        std::string text;
        uint64_t everyMs;
        uint64_t nextMs;
        uint64_t untilMs;
    };
    using tOrder = nlohmann::json (cModemCore::*)(const nlohmann::json& request);
    struct sOrderRow {
        const char* name;
        tOrder order;
    };
    static const std::vector<sOrderRow>& orderTable();

    // Events
    std::optional<uint64_t> nextEventMs() const;
    void stepTo(uint64_t nowMs);
    void runTimeline();
    void stepPort(sPort& port);
    void comeAndGo();
    void powerUp();

    // Input
    void consumeInput(sPort& port);
    void consumeCommandByte(sPort& port, char byte);
    void consumePromptByte(sPort& port, char byte);
    void startLine(sPort& port, const std::string& received);
    bool startFault(sPort& port, const std::vector<sFault>& faults, const std::string& line,
                    std::string& body);
    void parseLine(sPort& port, sRunningLine& running);
    void continueLine(sPort& port);
    void finishLine(sPort& port);
    void applyEffects(sPort& port, const sRunningLine& running);
    void endPrompt(sPort& port, bool aborted);
    std::string promptAnswer(sPort& port, const sPrompt& prompt);

    // Output
    void answer(sPort& port, const std::string& line, const std::string& echo,
                const std::string& body, const std::vector<sFault>& faults, uint64_t extraMs = 0);
    std::string framed(const sPort& port, const sReply& reply) const;
    void unsolicited(const std::string& line, uint64_t waitMs = 0);
    void babble();

    // Stream of positions, data call
    void startStream(sPort& port, ePortMode mode);
    void receiveInStream(sPort& port, const std::string& bytes);
    void stepStream(sPort& port);
    void leaveStream(sPort& port);

    // Bookkeeping
    void noteReceived(const sPort& port, const std::string& line);
    void noteProblem(const sPort& port, const std::string& line, const std::string& why);
    void noteExchange(const sPort& port, const std::string& line, const std::string& reply);
    void log(nlohmann::json event);
    void settleAndReport();
    void reportEndOfCall();
    void reportCard();
    void leave(uint64_t afterMs, uint64_t awayMs, bool restart);

    // Orders
    nlohmann::json orderSet(const nlohmann::json& request);
    nlohmann::json orderDetach(const nlohmann::json& request);
    nlohmann::json orderDeactivate(const nlohmann::json& request);
    nlohmann::json orderAddress(const nlohmann::json& request);
    nlohmann::json orderInjectSms(const nlohmann::json& request);
    nlohmann::json orderFault(const nlohmann::json& request);
    nlohmann::json orderClearFaults(const nlohmann::json& request);
    nlohmann::json orderUrc(const nlohmann::json& request);
    nlohmann::json orderClearUrcs(const nlohmann::json& request);
    nlohmann::json orderRestart(const nlohmann::json& request);
    nlohmann::json orderHangup(const nlohmann::json& request);
    nlohmann::json orderDump(const nlohmann::json& request);
    nlohmann::json orderCount(const nlohmann::json& request);
    nlohmann::json orderExchanges(const nlohmann::json& request);

    void checkTimeline();
    void storeWaitingSms();

    sModemState m_state;
    std::array<sPort, PORT_COUNT> m_ports;
    cFaultList m_faults;
    std::vector<sBabble> m_babble;
    std::vector<sTimelineEntry> m_timeline;
    size_t m_timelineNext = 0;

    bool m_away = false;
    std::optional<uint64_t> m_leaveMs;
    std::optional<uint64_t> m_returnMs;
    uint64_t m_awayMs = 0;
    bool m_restarting = false;

    // What unsolicited lines last reported.
    int m_lastRegistration = 0;
    eCardState m_lastCard = eCARD_READY;

    uint64_t m_exchangeCount = 0;
    std::vector<sExchange> m_exchanges;
    std::vector<sExchange> m_received;
    std::vector<std::string> m_problems;
    std::vector<nlohmann::json> m_log;
};

}  // namespace le910sim

#endif

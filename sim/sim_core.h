#ifndef SIM_SIM_CORE_H
#define SIM_SIM_CORE_H

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "sim/faults.h"
#include "sim/scenario.h"
#include "sim/sim_modem.h"
#include "sim/sim_port.h"
#include "sim/sim_state.h"

enum eSimPort : size_t { ePORT_AT = 0, ePORT_GPS = 1 };

// The modem behind cSimModem. A plain value: a copy is used to try an order before it counts.
class cSimCore {
  public:
    explicit cSimCore(const nlohmann::json& scenario);

    void receive(eSimPort port, const std::string& bytes, uint64_t nowMs);
    void advance(uint64_t nowMs);
    std::string takeOutput(eSimPort port);
    bool portsPresent() const { return !m_away; }
    nlohmann::json control(const nlohmann::json& request);

    const sSimState& state() const { return m_state; }
    const std::vector<sSimExchange>& exchanges() const { return m_exchanges; }
    // Each line as it was received, answered or not.
    const std::vector<sSimExchange>& received() const { return m_received; }
    const std::vector<std::string>& problems() const { return m_problems; }
    std::vector<nlohmann::json> takeLog();
    bool ownsAddress(const std::string& address) const;

  private:
    // An unsolicited line that comes again and again.
    struct sBabble {
        eSimPort port;
        std::string text;
        uint64_t everyMs;
        uint64_t nextMs;
        uint64_t untilMs;
    };
    using tOrder = nlohmann::json (cSimCore::*)(const nlohmann::json& request);
    struct sOrderRow {
        const char* name;
        tOrder order;
    };
    static const std::vector<sOrderRow>& orderTable();

    // Events
    std::optional<uint64_t> nextEventMs() const;
    void stepTo(uint64_t nowMs);
    void runTimeline();
    void stepPort(sSimPort& port);
    void comeAndGo();
    void powerUp();

    // Input
    void consumeInput(sSimPort& port);
    void consumeCommandByte(sSimPort& port, char byte);
    void consumePromptByte(sSimPort& port, char byte);
    void startLine(sSimPort& port, const std::string& line);
    bool startFault(sSimPort& port, const std::vector<sFault>& faults, const std::string& line,
                    std::string& body);
    void parseLine(sSimPort& port, sRunningLine& running);
    void continueLine(sSimPort& port);
    void finishLine(sSimPort& port);
    void applyEffects(sSimPort& port, const sRunningLine& running);
    void endPrompt(sSimPort& port, bool aborted);
    std::string promptAnswer(sSimPort& port, const sPrompt& prompt);

    // Output
    void answer(sSimPort& port, const std::string& line, const std::string& echo,
                const std::string& body, const std::vector<sFault>& faults, uint64_t extraMs = 0);
    std::string framed(const sSimPort& port, const sReply& reply) const;
    void unsolicited(const std::string& line, uint64_t waitMs = 0);
    void babble();

    // Stream of positions
    void startStream(sSimPort& port);
    void receiveInStream(sSimPort& port, const std::string& bytes);
    void stepStream(sSimPort& port);
    void leaveStream(sSimPort& port);

    // Bookkeeping
    void noteReceived(const sSimPort& port, const std::string& line);
    void noteProblem(const sSimPort& port, const std::string& line, const std::string& why);
    void noteExchange(const sSimPort& port, const std::string& line, const std::string& reply);
    void log(nlohmann::json event);
    void settleAndReport();
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

    sSimState m_state;
    std::array<sSimPort, 2> m_ports;
    cFaultList m_faults;
    std::vector<sBabble> m_babble;
    std::vector<sTimelineEntry> m_timeline;
    size_t m_timelineNext = 0;

    bool m_away = false;
    std::optional<uint64_t> m_leaveMs;
    std::optional<uint64_t> m_returnMs;
    uint64_t m_awayMs = 0;
    bool m_restarting = false;

    // What unsolicited lines last told.
    int m_lastRegistration = 0;
    eCardState m_lastCard = eCARD_READY;

    uint64_t m_exchangeCount = 0;
    std::vector<sSimExchange> m_exchanges;
    std::vector<sSimExchange> m_received;
    std::vector<std::string> m_problems;
    std::vector<nlohmann::json> m_log;
};

#endif

#include <stdexcept>

#include "le910sim/json_reader.h"
#include "le910sim/modem_core.h"
#include "le910sim/sms_pdu.h"
#include "le910sim/state_dump.h"
#include "le910sim/text.h"

namespace le910sim {

// Orders: from the control socket and from the timeline of a scenario.

namespace {

constexpr size_t BABBLE_MAX = 100;

using nlohmann::json;

cJsonReader orderReader(const json& request) {
    cJsonReader reader(request, "order");
    reader.value("op");
    return reader;
}

json done() {
    return {{"ok", true}};
}
json refused(const std::string& why) {
    return {{"ok", false}, {"error", why}};
}

eSmsCoding readCoding(cJsonReader& reader) {
    std::string text = "auto";
    reader.read("coding", text);
    if (text == "auto") return eSMS_AUTO;
    if (text == "gsm7") return eSMS_GSM7;
    if (text == "8bit") return eSMS_8BIT;
    if (text == "ucs2") return eSMS_UCS2;
    reader.fail("coding", "is none of auto, gsm7, 8bit, ucs2");
}

sDeliver readDeliver(cJsonReader& reader, const sModemState& state) {
    sDeliver message;
    message.serviceCentre = state.sms.serviceCentre;
    message.time = modemClock(state);
    message.from = reader.requiredText("from");
    message.text = reader.requiredText("text");
    message.coding = readCoding(reader);
    reader.read("service_centre", message.serviceCentre);
    reader.readInt("reference", message.reference, 0, 65535);
    reader.readInt("part", message.part, 0, 255);
    reader.readInt("total", message.total, 0, 255);
    message.wideReference = message.reference > 255;
    reader.read("wide_reference", message.wideReference);
    if (reader.has("time")) {
        const std::optional<sClock> clock = parseClock(reader.requiredText("time"));
        if (!clock) reader.fail("time", "is not of the form yy/MM/dd,hh:mm:ss-zz");
        message.time = *clock;
    }
    return message;
}

}  // namespace

const std::vector<cModemCore::sOrderRow>& cModemCore::orderTable() {
    static const std::vector<sOrderRow> TABLE = {
        {"set", &cModemCore::orderSet},
        {"detach", &cModemCore::orderDetach},
        {"deactivate", &cModemCore::orderDeactivate},
        {"address", &cModemCore::orderAddress},
        {"inject-sms", &cModemCore::orderInjectSms},
        {"fault", &cModemCore::orderFault},
        {"clear-faults", &cModemCore::orderClearFaults},
        {"urc", &cModemCore::orderUrc},
        {"clear-urcs", &cModemCore::orderClearUrcs},
        {"restart", &cModemCore::orderRestart},
        {"hangup", &cModemCore::orderHangup},
        {"dump", &cModemCore::orderDump},
        {"count", &cModemCore::orderCount},
        {"exchanges", &cModemCore::orderExchanges},
    };
    return TABLE;
}

json cModemCore::control(const json& request) {
    try {
        cJsonReader reader(request, "order");
        const std::string name = reader.requiredText("op");
        for (const sOrderRow& row : orderTable()) {
            if (name == row.name) return (this->*row.order)(request);
        }
        return refused("order: key 'op' is '" + name + "', which is not known");
    } catch (const std::exception& problem) {
        return refused(problem.what());
    }
}

// Tries every order of the timeline on a copy, so that a typing error is found at the start.
void cModemCore::checkTimeline() {
    cModemCore copy(*this);
    for (const sTimelineEntry& entry : m_timeline) {
        copy.m_state.nowMs = entry.atMs;
        const json result = copy.control(entry.order);
        if (!result.at("ok").get<bool>()) {
            throw std::invalid_argument("scenario.timeline at " + std::to_string(entry.atMs) +
                                        " ms: " + result.at("error").get<std::string>());
        }
    }
}

json cModemCore::orderSet(const json& request) {
    cJsonReader reader = orderReader(request);
    sModemState next = m_state;
    readLiveSections(reader, next);
    reader.finish();
    m_state = next;
    settleAndReport();
    return done();
}

json cModemCore::orderDetach(const json& request) {
    orderReader(request).finish();
    m_state.attached = false;
    settleAndReport();
    return done();
}

json cModemCore::orderDeactivate(const json& request) {
    cJsonReader reader = orderReader(request);
    const int id = readContextId(reader);
    reader.finish();
    const auto found = m_state.contexts.find(id);
    const bool changed = found != m_state.contexts.end() && found->second.active;
    if (changed) deactivateContext(found->second);
    settleAndReport();
    return {{"ok", true}, {"changed", changed}};
}

// The network assigns another address to an active context.
json cModemCore::orderAddress(const json& request) {
    cJsonReader reader = orderReader(request);
    const int id = readContextId(reader);
    std::string ipv4;
    std::string ipv6;
    reader.read("ipv4", ipv4);
    reader.read("ipv6", ipv6);
    reader.finish();
    if (!ipv4.empty() && !isIpv4(ipv4)) reader.fail("ipv4", "is not an address");
    if (!ipv6.empty() && !isIpv6(ipv6)) reader.fail("ipv6", "is not an address");
    const auto found = m_state.contexts.find(id);
    if (found == m_state.contexts.end() || !found->second.active) {
        return {{"ok", true}, {"changed", false}};
    }
    if (!ipv4.empty()) found->second.ipv4 = ipv4;
    if (!ipv6.empty()) found->second.ipv6 = ipv6;
    return {{"ok", true}, {"changed", true}};
}

json cModemCore::orderInjectSms(const json& request) {
    cJsonReader reader = orderReader(request);
    std::string pdu;
    if (reader.has("pdu")) {
        pdu = reader.requiredText("pdu");
        if (pduLength(pdu) < 0) reader.fail("pdu", "is not a PDU in hexadecimal");
    } else {
        pdu = buildDeliver(readDeliver(reader, m_state));
    }
    reader.finish();
    const size_t stored = m_state.sms.slots.size();
    m_state.sms.waiting.push_back(pdu);
    settleAndReport();
    return {{"ok", true}, {"pdu", pdu}, {"stored", m_state.sms.slots.size() > stored}};
}

json cModemCore::orderFault(const json& request) {
    const int id = m_faults.add(readFault(request, "order", m_state.nowMs));
    return {{"ok", true}, {"id", id}};
}

json cModemCore::orderClearFaults(const json& request) {
    cJsonReader reader = orderReader(request);
    int id = 0;
    reader.readInt("id", id, 1, INT32_MAX);
    reader.finish();
    return {{"ok", true}, {"cleared", m_faults.remove(id)}};
}

// A line framed as the modem frames it, or raw bytes; once or repeatedly.
json cModemCore::orderUrc(const json& request) {
    cJsonReader reader = orderReader(request);
    std::string port = "at";
    reader.read("port", port);
    if (port != "at" && port != "gps") reader.fail("port", "is neither 'at' nor 'gps'");
    const bool raw = reader.has("raw");
    const std::string given = reader.requiredText(raw ? "raw" : "line");
    uint64_t everyMs = 0;
    reader.readInt("every_ms", everyMs, 1, TIME_MAX_MS);
    uint64_t forMs = TIME_MAX_MS;
    reader.readInt("for_ms", forMs, 0, TIME_MAX_MS);
    if (reader.has("for_ms") && everyMs == 0) reader.fail("for_ms", "needs 'every_ms'");
    reader.finish();
    if (m_babble.size() >= BABBLE_MAX) return refused("order: there are too many such lines");
    const ePort which = port == "at" ? ePORT_AT : ePORT_GPS;
    const std::string text = raw ? given : "\r\n" + given + "\r\n";
    const uint64_t nowMs = m_state.nowMs;
    m_ports[which].output.add(nowMs, text);
    if (everyMs != 0) m_babble.push_back({which, text, everyMs, nowMs + everyMs, nowMs + forMs});
    log({{"event", "unsolicited"}, {"port", port}, {"line", given}, {"due", nowMs}});
    return done();
}

json cModemCore::orderClearUrcs(const json& request) {
    orderReader(request).finish();
    const size_t count = m_babble.size();
    m_babble.clear();
    return {{"ok", true}, {"cleared", count}};
}

json cModemCore::orderRestart(const json& request) {
    cJsonReader reader = orderReader(request);
    uint64_t awayMs = m_state.timings.restartMs;
    reader.readInt("away_ms", awayMs, 0, TIME_MAX_MS);
    reader.finish();
    leave(0, awayMs, true);
    return done();
}

json cModemCore::orderHangup(const json& request) {
    cJsonReader reader = orderReader(request);
    uint64_t awayMs = 3000;
    reader.readInt("away_ms", awayMs, 0, TIME_MAX_MS);
    reader.finish();
    leave(0, awayMs, false);
    return done();
}

json cModemCore::orderDump(const json& request) {
    orderReader(request).finish();
    json state = stateToJson(m_state);
    state["now_ms"] = m_state.nowMs;
    state["ports_present"] = portsPresent();
    state["problems"] = m_problems;
    state["exchange_count"] = m_exchangeCount;
    state["faults"] = json::array();
    for (const sFault& fault : m_faults.all())
        state["faults"].push_back(faultToJson(fault));
    return {{"ok", true}, {"state", state}};
}

json cModemCore::orderCount(const json& request) {
    orderReader(request).finish();
    return {{"ok", true},
            {"exchanges", m_exchangeCount},
            {"problems", m_problems.size()},
            {"now_ms", m_state.nowMs}};
}

// The exchanges from a number on; numbers start at 0 and are never reused.
json cModemCore::orderExchanges(const json& request) {
    cJsonReader reader = orderReader(request);
    uint64_t since = 0;
    reader.readInt("since", since, 0, INT64_MAX);
    reader.finish();
    json list = json::array();
    const uint64_t first = m_exchangeCount - m_exchanges.size();
    for (uint64_t i = std::max(since, first); i < m_exchangeCount; ++i) {
        const sExchange& exchange = m_exchanges[static_cast<size_t>(i - first)];
        list.push_back({{"t", exchange.timeMs},
                        {"port", exchange.port},
                        {"command", exchange.command},
                        {"reply", exchange.reply}});
    }
    return {{"ok", true}, {"exchanges", list}, {"next", m_exchangeCount}};
}

}  // namespace le910sim

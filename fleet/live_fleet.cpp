#include "fleet/live_fleet.h"

#include "fleet/fleet_json.h"
#include "mqtt/message_json.h"

namespace {

constexpr const char* EVENT_WHOLE = "fleet";
constexpr const char* EVENT_CHANGES = "changes";
constexpr time_t DAY_S = 86400;
constexpr time_t HOUR_S = 3600;
constexpr time_t STEP_S = 600;

// The sentences about an offline gateway say since when: often enough for who reads them.
time_t silenceSteps(const sJudgement& judgement, time_t now) {
    const time_t silence = now - judgement.heard;
    if (judgement.isOnline || silence < 0) return 0;
    return silence < DAY_S ? silence / STEP_S : DAY_S / STEP_S + silence / HOUR_S;
}

size_t comparedHash(const sJudgement& judgement, time_t now) {
    std::string text = std::to_string(silenceSteps(judgement, now)) + " " + judgement.state + " " +
                       std::to_string(judgement.heard);
    for (const sTrouble& trouble : judgement.troubles)
        text += " " + std::string(severityId(trouble.level)) + trouble.id;
    for (const auto& [number, slot] : judgement.gateway->slots)
        text += " " + std::to_string(std::hash<std::string>()(slot.json));
    return std::hash<std::string>()(text);
}

std::string quoted(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void append(std::string& list, const std::string& item) {
    if (!list.empty()) list += ",";
    list += item;
}

}  // namespace

void cLiveFleet::update(const sJudgement& judgement, time_t now) {
    sEntry& entry = m_entries[judgement.gateway->name];
    const size_t compared = comparedHash(judgement, now);
    if (entry.changed != 0 && compared == entry.compared) return;
    entry.compared = compared;
    entry.json = listedJson(judgement);
    entry.changed = ++m_now.part;
}

void cLiveFleet::remove(const std::string& name) {
    // Also one that was never listed: a page may have asked for it meanwhile.
    m_entries.erase(name);
    m_gone.emplace_back(++m_now.part, name);
    if (m_gone.size() <= GONE_MAX) return;
    m_gone.clear();
    ++m_now.whole;
}

void cLiveFleet::setTrouble(const std::string& trouble) {
    if (trouble == m_trouble) return;
    m_trouble = trouble;
    ++m_now.part;
}

std::string cLiveFleet::gatewaysSince(unsigned part) const {
    std::string list;
    for (const auto& [name, entry] : m_entries)
        if (entry.changed > part) append(list, entry.json);
    return list;
}

// One that has come back is not gone.
std::string cLiveFleet::goneSince(unsigned part) const {
    std::string list;
    for (const auto& [changed, name] : m_gone)
        if (changed > part && m_entries.count(name) == 0) append(list, quoted(name));
    return list;
}

cStreamSource::tMessage cLiveFleet::made(sMade& last, unsigned from, const char* name) const {
    const bool isLast = last.message && last.from == from && last.to.whole == m_now.whole &&
                        last.to.part == m_now.part;
    if (isLast) return last.message;
    last = {from, m_now,
            streamMessage(name, "{\"trouble\":" + quoted(m_trouble) + ",\"gateways\":[" +
                                    gatewaysSince(from) + "],\"gone\":[" + goneSince(from) + "]}")};
    return last.message;
}

bool cLiveFleet::hasNext(const sPosition& position) const {
    return position.whole != m_now.whole || position.part != m_now.part;
}

cStreamSource::tMessage cLiveFleet::next(sPosition& position) const {
    if (!hasNext(position)) return nullptr;
    const bool isWhole = position.whole != m_now.whole;
    const unsigned from = position.part;
    position = m_now;
    return isWhole ? made(m_whole, 0, EVENT_WHOLE) : made(m_changes, from, EVENT_CHANGES);
}

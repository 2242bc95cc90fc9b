#include "fleet/judgement.h"

#include <algorithm>
#include <tuple>

#include "cli/base/display_text.h"
#include "cli/base/utc_time.h"
#include "cli/status/diagnosis.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr eSlotState SLOT_STATES[] = {
    eSlotState::CONNECTED, eSlotState::NOT_CONNECTED, eSlotState::DATA_OFF, eSlotState::STARTING,
    eSlotState::STALE,     eSlotState::NO_DAEMON,     eSlotState::NO_DATA};
constexpr int RANK_FINE = static_cast<int>(eSeverity::NOTE) + 1;
// A gateway without a battery for its clock may begin long ago; one that is ahead is never silent.
constexpr time_t CLOCK_AHEAD_MAX_S = 300;
constexpr const char* CHECK_LINE =
    "check its power, its antenna and its SIM; the broker knows nothing newer";

std::string since(time_t then, time_t now) {
    return utcText(then) + (now >= then ? " (" + durationText(now - then) + " ago)" : "");
}

time_t lastHeard(const sGateway& gateway) {
    time_t heard = gateway.availability ? gateway.availability->time : 0;
    for (const auto& [slot, state] : gateway.slots)
        heard = std::max(heard, state.time);
    return heard;
}

sTrouble offline(const char* id, const std::string& what, const std::string& mend) {
    return {eSeverity::ERROR, id, what, mend};
}

bool isWrong(time_t clock, time_t now) {
    return clock != 0 && (!isTimeKnown(clock) || clock > now + CLOCK_AHEAD_MAX_S);
}

sTrouble clockTrouble(time_t heard) {
    return {eSeverity::WARNING, "clock_wrong",
            "Its clock said " + utcText(heard) +
                " when it was last heard, so its silence would not be noticed; the broker still "
                "says when it loses it.",
            "check how it gets the time: the network's (NITZ), or a time server"};
}

// What keeps it from being online; the text is empty if nothing.
sTrouble lineTrouble(const sGateway& gateway, time_t heard, time_t now) {
    if (!gateway.availability)
        return offline("never_online", "The gateway has never said that it is online.",
                       "check cellslot-agent on it: cellslot agent check");
    const sAvailability& said = *gateway.availability;
    if (!said.isOnline && said.reason == AVAILABILITY_STOPPED)
        return offline("agent_stopped", "Its agent was ended at " + since(said.time, now) + ".",
                       "start it: systemctl start cellslot-agent");
    if (!said.isOnline)
        return offline("lost",
                       "Offline: the broker lost it without a word. It last said something at " +
                           since(heard, now) + ".",
                       CHECK_LINE);
    if (isWrong(heard, now)) return {};
    if (said.everyS > 0 && now - heard > said.everyS * SILENCE_FACTOR)
        return offline("silent",
                       "No sign of life since " + since(heard, now) + "; one is due every " +
                           durationText(said.everyS) + ".",
                       CHECK_LINE);
    return {};
}

int rankOf(const sSlotState& slot) {
    return slot.troubles.empty() ? RANK_FINE : static_cast<int>(slot.troubles.front().level);
}

const sSlotState* worstSlot(const sGateway& gateway) {
    const sSlotState* worst = nullptr;
    for (const auto& [number, slot] : gateway.slots)
        if (worst == nullptr || rankOf(slot) < rankOf(*worst)) worst = &slot;
    return worst;
}

// Of the gateway's clock and slots.
void addTroubles(sJudgement& judgement) {
    const sGateway& gateway = *judgement.gateway;
    std::vector<sTrouble>& troubles = judgement.troubles;
    if (judgement.isClockWrong) troubles.push_back(clockTrouble(judgement.heard));
    for (const auto& [number, slot] : gateway.slots)
        for (sTrouble trouble : slot.troubles) {
            if (gateway.slots.size() > 1)
                trouble.what = "Slot " + itos(number) + ": " + trouble.what;
            troubles.push_back(std::move(trouble));
        }
    std::stable_sort(troubles.begin(), troubles.end(),
                     [](const sTrouble& a, const sTrouble& b) { return a.level < b.level; });
}

// Offline gateways first, then by the worst trouble.
auto order(const sJudgement& judgement) {
    const int rank =
        judgement.troubles.empty() ? RANK_FINE : static_cast<int>(judgement.troubles.front().level);
    return std::make_tuple(judgement.isOnline, rank);
}

}  // namespace

sJudgement judge(const sGateway& gateway, time_t now) {
    sJudgement judgement;
    judgement.gateway = &gateway;
    judgement.heard = lastHeard(gateway);
    judgement.worst = worstSlot(gateway);
    sTrouble line = lineTrouble(gateway, judgement.heard, now);
    judgement.isOnline = line.what.empty();
    judgement.state = STATE_OFFLINE;
    if (judgement.isOnline)
        judgement.state = judgement.worst != nullptr ? judgement.worst->state : STATE_NOT_KNOWN;
    judgement.isClockWrong = isWrong(judgement.heard, now);
    addTroubles(judgement);
    if (!judgement.isOnline) judgement.troubles.insert(judgement.troubles.begin(), line);
    return judgement;
}

std::vector<sJudgement> judgeAll(const cFleet& fleet, time_t now) {
    std::vector<sJudgement> all;
    all.reserve(fleet.gateways().size());
    for (const auto& [name, gateway] : fleet.gateways())
        all.push_back(judge(gateway, now));
    std::stable_sort(all.begin(), all.end(),
                     [](const sJudgement& a, const sJudgement& b) { return order(a) < order(b); });
    return all;
}

bool isKnownState(const std::string& state) {
    return state == STATE_OFFLINE || state == STATE_NOT_KNOWN ||
           std::any_of(std::begin(SLOT_STATES), std::end(SLOT_STATES),
                       [&](eSlotState each) { return state == stateNames(each).id; });
}

std::string knownStates() {
    std::vector<std::string> states = {STATE_OFFLINE, STATE_NOT_KNOWN};
    for (const eSlotState each : SLOT_STATES)
        states.emplace_back(stateNames(each).id);
    return joined(states);
}

std::string stateWords(const std::string& state) {
    for (const eSlotState each : SLOT_STATES)
        if (state == stateNames(each).id) return stateNames(each).word;
    std::string words = stringUpper(state);
    std::replace(words.begin(), words.end(), '_', ' ');
    return words;
}

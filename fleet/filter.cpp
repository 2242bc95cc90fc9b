#include "fleet/filter.h"

#include <fnmatch.h>

#include <algorithm>

#include "cli/base/printable_text.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr const char* SIGNAL_UNKNOWN = "unknown";
constexpr const char* SIGNALS[] = {"good", "fair", "poor", SIGNAL_UNKNOWN};
constexpr const char* OTHER_STATES[] = {"online", "error", "warning", "note"};

// "Not connected" and "not-connected" are the state "not_connected".
std::string idOf(const std::string& written) {
    std::string id = stringLower(written);
    for (char& letter : id)
        if (letter == ' ' || letter == '-') letter = '_';
    return id;
}

bool hasLevel(const sJudgement& judgement, eSeverity level) {
    return std::any_of(judgement.troubles.begin(), judgement.troubles.end(),
                       [&](const sTrouble& trouble) { return trouble.level == level; });
}

bool hasState(const sFilter& filter, const sJudgement& judgement) {
    const std::string wanted = idOf(filter.state);
    if (wanted.empty() || wanted == judgement.state) return true;
    if (wanted == "online") return judgement.isOnline;
    if (wanted == "error") return hasLevel(judgement, eSeverity::ERROR);
    if (wanted == "warning") return hasLevel(judgement, eSeverity::WARNING);
    return wanted == "note" && hasLevel(judgement, eSeverity::NOTE);
}

bool contains(const std::string& text, const std::string& wanted) {
    return stringLower(text).find(stringLower(wanted)) != std::string::npos;
}

bool hasSignal(const sFilter& filter, const sSlotState& slot) {
    if (filter.signal.empty()) return true;
    return filter.signal == SIGNAL_UNKNOWN ? slot.quality.empty() : filter.signal == slot.quality;
}

bool isWanted(const sFilter& filter, const sSlotState& slot) {
    return contains(slot.operatorName, filter.operatorName) && hasSignal(filter, slot) &&
           startsWith(slot.firmware, filter.firmware);
}

// Of one slot all must be true. Of a gateway that has not published any, nothing is known.
bool hasSlot(const sFilter& filter, const sGateway& gateway) {
    if (filter.operatorName.empty() && filter.signal.empty() && filter.firmware.empty())
        return true;
    if (gateway.slots.empty()) return isWanted(filter, {});
    return std::any_of(gateway.slots.begin(), gateway.slots.end(),
                       [&](const auto& entry) { return isWanted(filter, entry.second); });
}

}  // namespace

bool sFilter::isEmpty() const {
    return names.empty() && state.empty() && operatorName.empty() && signal.empty() &&
           firmware.empty();
}

void addFilterOptions(const cSubcommand& command, sFilter& filter) {
    command.option("--state", filter.state, "offline, not_connected, ..., error, warning", "STATE");
    command.option("--operator", filter.operatorName, "a part of the operator's name", "NAME");
    command.option("--signal", filter.signal, "good, fair, poor or unknown", "QUALITY")
        .oneOf({"good", "fair", "poor", SIGNAL_UNKNOWN});
    command.option("--firmware", filter.firmware, "how the modem's firmware begins", "VERSION");
}

bool isNamed(const sFilter& filter, const std::string& name) {
    if (filter.names.empty()) return true;
    return std::any_of(filter.names.begin(), filter.names.end(), [&](const std::string& pattern) {
        return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

bool matches(const sFilter& filter, const sJudgement& judgement) {
    return isNamed(filter, judgement.gateway->name) && hasState(filter, judgement) &&
           hasSlot(filter, *judgement.gateway);
}

std::vector<sJudgement> filtered(const sFilter& filter, const std::vector<sJudgement>& all) {
    std::vector<sJudgement> chosen;
    for (const sJudgement& judgement : all)
        if (matches(filter, judgement)) chosen.push_back(judgement);
    return chosen;
}

std::string filterProblem(const sFilter& filter, const cFleet& fleet) {
    const std::string state = idOf(filter.state);
    const auto isState = [&state](const char* each) { return state == each; };
    const auto hasIt = [&state](const auto& gateway) {
        return std::any_of(gateway.second.slots.begin(), gateway.second.slots.end(),
                           [&state](const auto& slot) { return slot.second.state == state; });
    };
    const bool isRight = state.empty() || isKnownState(state) ||
                         std::any_of(std::begin(OTHER_STATES), std::end(OTHER_STATES), isState) ||
                         std::any_of(fleet.gateways().begin(), fleet.gateways().end(), hasIt);
    if (!isRight)
        return "no state is called '" + printableLine(filter.state) + "'; expected " +
               knownStates() + ", online, error, warning or note";
    const bool isSignal = filter.signal.empty() || std::find(std::begin(SIGNALS), std::end(SIGNALS),
                                                             filter.signal) != std::end(SIGNALS);
    return isSignal ? "" : "the signal is good, fair, poor or unknown";
}

std::vector<std::string> unknownNames(const sFilter& filter, const cFleet& fleet) {
    std::vector<std::string> unknown;
    for (const std::string& name : filter.names)
        if (name.find_first_of("*?[") == std::string::npos && fleet.gateways().count(name) == 0)
            unknown.push_back(name);
    return unknown;
}

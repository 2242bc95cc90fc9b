#include "tests/matrix/day_difference.h"

#include <algorithm>
#include <map>

#include "platform/include/tokenstr.h"

namespace {

constexpr uint64_t POLL_MS = 10;  // of the daemon; an answer may be read this much later

using tStep = std::pair<std::string, std::string>;

std::string nameOf(const sSent& one) {
    return (one.port == eGPS_PORT ? "gps:" : "") + commandClass(one.command);
}

// A line that comes after an answer delays the next one.
uint64_t apartMs(const std::vector<sSent>& sent, size_t at) {
    return sent[at].apartMs + (at > 0 ? sent[at - 1].apartMs : 0);
}

uint64_t pauseBefore(const std::vector<sSent>& sent, size_t at) {
    return sent[at].timeMs - sent[at - 1].timeMs;
}

// The longest pauses of a day: between two given commands, and after a command in general.
struct sPauses {
    std::map<tStep, uint64_t> ofStep;
    std::map<std::string, uint64_t> after;
};

sPauses pausesOf(const std::vector<sSent>& sent) {
    sPauses pauses;
    for (size_t i = 1; i < sent.size(); ++i) {
        const std::string before = nameOf(sent[i - 1]);
        uint64_t& ofStep = pauses.ofStep[{before, nameOf(sent[i])}];
        ofStep = std::max(ofStep, pauseBefore(sent, i));
        pauses.after[before] = std::max(pauses.after[before], ofStep);
    }
    return pauses;
}

// If no answer took longer, the two days are the same to the millisecond.
void compareSame(const std::vector<sSent>& healthy, const std::vector<sSent>& sent,
                 sDifference& difference) {
    for (size_t i = 0; i < std::max(healthy.size(), sent.size()); ++i) {
        if (i >= healthy.size() || i >= sent.size()) {
            difference.failures.push_back(std::to_string(sent.size()) + " commands, not " +
                                          std::to_string(healthy.size()));
            return;
        }
        if (nameOf(healthy[i]) == nameOf(sent[i]) && healthy[i].timeMs == sent[i].timeMs) continue;
        difference.failures.push_back(nameOf(sent[i]) + " at " + std::to_string(sent[i].timeMs) +
                                      " ms instead of " + nameOf(healthy[i]) + " at " +
                                      std::to_string(healthy[i].timeMs) + " ms");
        return;
    }
}

// If answers took longer, timed work may come a pass earlier or later; a command may then follow
// another command than before, but not itself.
void compareStep(const sPauses& pauses, const std::vector<sSent>& sent, size_t at,
                 sDifference& difference) {
    const tStep step = {nameOf(sent[at - 1]), nameOf(sent[at])};
    const auto known = pauses.ofStep.find(step);
    const auto after = pauses.after.find(step.first);
    if (known == pauses.ofStep.end() &&
        (after == pauses.after.end() || step.first == step.second)) {
        difference.failures.push_back(step.second + " follows " + step.first +
                                      ", not so on the healthy day");
        return;
    }
    const uint64_t longest = known != pauses.ofStep.end() ? known->second : after->second;
    const uint64_t took = pauseBefore(sent, at);
    const uint64_t allowed = longest + apartMs(sent, at - 1);
    if (took <= allowed) return;
    difference.excessMs = std::max(difference.excessMs, took - allowed);
    if (took > allowed + POLL_MS)
        difference.failures.push_back(step.first + " -> " + step.second + " took " +
                                      std::to_string(took) + " ms, on the healthy day at most " +
                                      std::to_string(longest));
}

}  // namespace

sDifference differenceOf(const std::vector<sSent>& healthy, const std::vector<sSent>& sent) {
    sDifference difference;
    const bool anyApart =
        std::any_of(sent.begin(), sent.end(), [](const sSent& one) { return one.apartMs != 0; });
    if (!anyApart) {
        compareSame(healthy, sent, difference);
        return difference;
    }
    const sPauses pauses = pausesOf(healthy);
    for (size_t i = 1; i < sent.size(); ++i)
        compareStep(pauses, sent, i, difference);
    return difference;
}

std::string firstDifference(const std::string& expected, const std::string& actual) {
    const tokenstr wanted(expected, '\n', eEmptyTokens::DROP);
    const tokenstr found(actual, '\n', eEmptyTokens::DROP);
    for (size_t i = 0; i < std::max(wanted.size(), found.size()); ++i)
        if (wanted[i] != found[i]) return found[i] + " instead of " + wanted[i];
    return "nothing";
}

#include "fleet/fleet_screen.h"

#include <algorithm>

#include "cli/base/display_text.h"
#include "fleet/slot_view.h"
#include "platform/include/text_helpers.h"

namespace {

struct sColumn {
    const char* title;
    size_t width;
};

// With two blanks between them the columns fill the screen.
const sColumn COLUMNS[] = {
    {"GATEWAY", 20}, {"STATE", 13}, {"NETWORK", 18}, {"SIGNAL", 8}, {"HEARD", 12},
};
constexpr size_t NAME_WIDTH = 20;

std::string columns(const std::vector<std::string>& cells) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i)
        line += fitTo(cells[i], COLUMNS[i].width) + (i + 1 < cells.size() ? "  " : "");
    return cleanEndWhiteSpace(line);
}

std::string heardText(const sJudgement& judgement, time_t now) {
    if (judgement.heard == 0) return "never";
    if (judgement.isClockWrong) return "not known";
    return judgement.heard > now ? "now" : durationText(now - judgement.heard);
}

std::string heardSentence(const sJudgement& judgement, time_t now) {
    if (judgement.isClockWrong) return "heard at a time not known";
    const bool isPast = judgement.heard != 0 && judgement.heard <= now;
    return "heard " + heardText(judgement, now) + (isPast ? " ago" : "");
}

std::string networkText(const sSlotState& slot) {
    const std::string text = joined({slot.operatorName, slot.technology}, " ");
    return text.empty() ? "-" : text;
}

tLines troubleLines(const std::vector<sTrouble>& troubles) {
    sDiagnosis diagnosis;
    for (const sTrouble& trouble : troubles)
        diagnosis.problems.push_back({trouble.level, "", trouble.what, trouble.mend});
    return problemLines(diagnosis);
}

void append(tLines& lines, const tLines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

std::string agentText(const sAvailability& said) {
    return joined({"version " + (said.version.empty() ? "not known" : said.version),
                   said.everyS > 0 ? "a sign of life every " + durationText(said.everyS) : "",
                   said.waiting > 0 ? ltos(said.waiting) + " messages wait on the gateway" : ""});
}

tLines slotLines(const sSlotState& slot, bool isOnline, time_t now) {
    const sSlotView view = viewOf(slot, isOnline, now);
    sDiagnosis diagnosis;
    diagnosis.signal = readSignal(view.report.file.record);
    const std::string left = "Slot " + itos(slot.slot) + "  " + stateWords(slot.state);
    const std::string right =
        "changed " + durationText(std::max<long long>(now - slot.time, 0)) + " ago";
    tLines lines = {fitTo(left, SCREEN_WIDTH - right.size()) + right};
    append(lines, troubleLines(slot.troubles));
    if (!view.report.isGood()) return lines;
    lines.emplace_back();
    append(lines, sharedDetails(view.report, diagnosis));
    addRow(lines, "GPS", view.gps);
    return lines;
}

struct sCount {
    size_t number = 0;
    const char* words;
};

std::string countText(const std::vector<sCount>& counts) {
    std::vector<std::string> parts;
    for (const sCount& count : counts)
        if (count.number > 0) parts.push_back(std::to_string(count.number) + " " + count.words);
    return joined(parts);
}

}  // namespace

std::string fleetTitles() {
    std::vector<std::string> titles;
    for (const sColumn& column : COLUMNS)
        titles.emplace_back(column.title);
    return columns(titles);
}

tLines gatewayHead(const sJudgement& judgement, time_t now) {
    const std::string& name = judgement.gateway->name;
    const sSlotState* slot = judgement.worst;
    tLines lines;
    if (name.size() > NAME_WIDTH) lines.push_back(name);
    lines.push_back(columns({name.size() > NAME_WIDTH ? "" : name, stateWords(judgement.state),
                             slot != nullptr ? networkText(*slot) : "-",
                             slot != nullptr && !slot->quality.empty() ? slot->quality : "-",
                             heardText(judgement, now)}));
    return lines;
}

tLines gatewayLines(const sJudgement& judgement, time_t now) {
    tLines lines = gatewayHead(judgement, now);
    append(lines, troubleLines(judgement.troubles));
    return lines;
}

std::string fleetSummary(const std::vector<sJudgement>& chosen, size_t all) {
    sCount offline{0, "offline"}, error{0, "with an error"}, warning{0, "with a warning"},
        well{0, "well"};
    for (const sJudgement& judgement : chosen) {
        const bool isTroubled = !judgement.troubles.empty();
        const eSeverity level = isTroubled ? judgement.troubles.front().level : eSeverity::NOTE;
        if (!judgement.isOnline)
            ++offline.number;
        else if (level == eSeverity::NOTE)
            ++well.number;
        else
            ++(level == eSeverity::ERROR ? error : warning).number;
    }
    const std::string counted =
        chosen.size() == all
            ? std::to_string(all) + (all == 1 ? " gateway" : " gateways")
            : std::to_string(chosen.size()) + " of " + std::to_string(all) + " gateways";
    const std::string parts = countText({offline, error, warning, well});
    return counted + (parts.empty() ? "" : ": " + parts);
}

tLines fleetScreen(const std::vector<sJudgement>& chosen, size_t all, time_t now) {
    tLines lines;
    if (!chosen.empty()) lines.push_back(fleetTitles());
    for (const sJudgement& judgement : chosen)
        append(lines, gatewayLines(judgement, now));
    if (!chosen.empty()) lines.emplace_back();
    lines.push_back(fleetSummary(chosen, all));
    return lines;
}

tLines gatewayScreen(const sJudgement& judgement, time_t now) {
    const sGateway& gateway = *judgement.gateway;
    const std::string right = heardSentence(judgement, now);
    const std::string left = gateway.name + "  " + (judgement.isOnline ? "ONLINE" : "OFFLINE");
    tLines lines = {fitTo(left, SCREEN_WIDTH - right.size()) + right};
    if (!judgement.isOnline) append(lines, troubleLines({judgement.troubles.front()}));
    if (gateway.availability) {
        lines.emplace_back();
        addRow(lines, "Agent", agentText(*gateway.availability));
    }
    for (const auto& [number, slot] : gateway.slots) {
        lines.emplace_back();
        append(lines, slotLines(slot, judgement.isOnline, now));
    }
    if (gateway.slots.empty()) lines.emplace_back("No slot has published a state.");
    return lines;
}

#include "fleet/fleet_metrics.h"

#include <map>
#include <set>

#include "cli/status/status_metrics.h"
#include "fleet/slot_view.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t ID_MAX = 40;
constexpr const char* ID_LETTERS = "abcdefghijklmnopqrstuvwxyz0123456789_";
constexpr const char* OTHER = "other";

// A gateway can call a problem what it likes.
std::string problemLabels(const sTrouble& trouble) {
    const bool isUsual = !trouble.id.empty() && trouble.id.size() <= ID_MAX &&
                         trouble.id.find_first_not_of(ID_LETTERS) == std::string::npos;
    return metricLabel("problem", isUsual ? trouble.id : OTHER) + "," +
           metricLabel("severity", severityId(trouble.level));
}

std::string stateLabel(const std::string& state) {
    return metricLabel("state", isKnownState(state) ? state : OTHER);
}

std::set<std::string> problemsOf(const sJudgement& judgement) {
    std::set<std::string> problems;
    for (const sTrouble& trouble : judgement.troubles)
        problems.insert(problemLabels(trouble));
    return problems;
}

// By labels.
using tCounts = std::map<std::string, size_t>;

std::string countsText(const char* name, const char* help, const tCounts& counts) {
    std::string series;
    for (const auto& [labels, count] : counts)
        series += std::string(name) + "{" + labels + "} " + std::to_string(count) + "\n";
    return metricFamily(name, "gauge", help, series);
}

std::string totals(const std::vector<sJudgement>& all) {
    tCounts states;
    tCounts problems;
    for (const sJudgement& judgement : all) {
        ++states[stateLabel(judgement.state)];
        for (const std::string& labels : problemsOf(judgement))
            ++problems[labels];
    }
    return countsText("cellslot_fleet_gateways", "Gateways by the state of their worst slot.",
                      states) +
           countsText("cellslot_fleet_problem_gateways", "Gateways that have this problem.",
                      problems);
}

std::string single(const char* name, const char* type, const char* help, size_t value) {
    return metricFamily(name, type, help, std::string(name) + " " + std::to_string(value) + "\n");
}

struct sGatewayFamily {
    const char* name;
    const char* help;
    std::string (*series)(const char* name, const std::string& label, const sJudgement& judgement);
};

std::string series(const char* name, const std::string& labels, long long value) {
    return std::string(name) + "{" + labels + "} " + ltos(value) + "\n";
}

std::string onlineSeries(const char* name, const std::string& label, const sJudgement& judgement) {
    return series(name, label, judgement.isOnline ? 1 : 0);
}

std::string heardSeries(const char* name, const std::string& label, const sJudgement& judgement) {
    return judgement.heard == 0 ? "" : series(name, label, judgement.heard);
}

std::string waitingSeries(const char* name, const std::string& label, const sJudgement& judgement) {
    const std::optional<sAvailability>& said = judgement.gateway->availability;
    return judgement.isOnline && said ? series(name, label, said->waiting) : "";
}

std::string problemSeries(const char* name, const std::string& label, const sJudgement& judgement) {
    std::string text;
    for (const std::string& labels : problemsOf(judgement))
        text += series(name, label + "," + labels, 1);
    return text;
}

std::string stateSeries(const char* name, const std::string& label, const sJudgement& judgement) {
    if (!judgement.isOnline) return "";
    std::string text;
    for (const auto& [number, slot] : judgement.gateway->slots)
        text += series(name, label + ",slot=\"" + itos(number) + "\"," + stateLabel(slot.state), 1);
    return text;
}

// clang-format off
const sGatewayFamily GATEWAY_FAMILIES[] = {
    {"cellslot_gateway_online", "Whether the gateway is at the broker and gives its signs of life.", onlineSeries},
    {"cellslot_gateway_heard_timestamp_seconds", "When the gateway last said something, by its own clock.", heardSeries},
    {"cellslot_gateway_waiting_messages", "Messages that had not been sent at the last sign of life.", waitingSeries},
    {"cellslot_gateway_problem", "What is wrong with the gateway, in labels; always 1.", problemSeries},
    {"cellslot_slot_state", "State of a slot, in labels; always 1.", stateSeries},
};
// clang-format on

std::string gatewayLabel(const sJudgement& judgement) {
    return metricLabel("gateway", judgement.gateway->name);
}

std::string familyText(const sGatewayFamily& family, const std::vector<sJudgement>& all) {
    std::string text;
    for (const sJudgement& judgement : all)
        text += family.series(family.name, gatewayLabel(judgement), judgement);
    return metricFamily(family.name, "gauge", family.help, text);
}

std::string slotsText(const std::vector<sJudgement>& all, time_t now) {
    cStatusMetrics metrics;
    for (const sJudgement& judgement : all) {
        if (!judgement.isOnline) continue;
        const std::string label = gatewayLabel(judgement) + ",";
        for (const auto& [number, slot] : judgement.gateway->slots)
            metrics.add(label, viewOf(slot, true, now).report);
    }
    return metrics.text();
}

}  // namespace

std::string fleetMetrics(const std::vector<sJudgement>& all, time_t now) {
    std::string text = totals(all);
    for (const sGatewayFamily& family : GATEWAY_FAMILIES)
        text += familyText(family, all);
    return text + slotsText(all, now);
}

std::string brokerMetrics(bool isConnected, size_t refused) {
    return single("cellslot_fleet_broker_connected", "gauge",
                  "Whether there is a connection to the broker.", isConnected ? 1 : 0) +
           single("cellslot_fleet_refused_messages_total", "counter",
                  "Messages that no gateway would send, or that found no room.", refused);
}

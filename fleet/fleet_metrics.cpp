#include "fleet/fleet_metrics.h"

#include <optional>

#include "cli/status/status_metrics.h"
#include "fleet/slot_view.h"
#include "platform/include/text_helpers.h"

namespace {

struct sFamily {
    const char* name;
    const char* help;
    std::optional<long long> (*value)(const sJudgement&);
};

// clang-format off
const sFamily FAMILIES[] = {
    {"cellslot_gateway_online", "Whether the gateway is at the broker and gives its signs of life.",
     [](const sJudgement& each) { return std::optional<long long>(each.isOnline ? 1 : 0); }},
    {"cellslot_gateway_heard_timestamp_seconds", "When the gateway last said something, by its own clock.",
     [](const sJudgement& each) { return each.heard == 0 ? std::nullopt : std::optional<long long>(each.heard); }},
    {"cellslot_gateway_waiting_messages", "Messages that had not been sent at the last sign of life.",
     [](const sJudgement& each) {
         const std::optional<sAvailability>& said = each.gateway->availability;
         return said && each.isOnline ? std::optional<long long>(said->waiting) : std::nullopt;
     }},
};
// clang-format on

std::string familyText(const sFamily& family, const std::vector<sJudgement>& all) {
    const std::string name = family.name;
    std::string text = "# HELP " + name + " " + family.help + "\n# TYPE " + name + " gauge\n";
    for (const sJudgement& each : all) {
        const std::optional<long long> value = family.value(each);
        if (value)
            text += name + "{" + metricLabel("gateway", each.gateway->name) + "} " + ltos(*value) +
                    "\n";
    }
    return text;
}

}  // namespace

std::string fleetMetrics(const std::vector<sJudgement>& all, time_t now) {
    std::string text;
    for (const sFamily& family : FAMILIES)
        text += familyText(family, all);
    std::vector<sSlotReport> reports;
    std::vector<std::string> gateways;
    for (const sJudgement& each : all) {
        if (!each.isOnline) continue;
        for (const auto& [number, slot] : each.gateway->slots) {
            reports.push_back(viewOf(slot, true, now).report);
            gateways.push_back(each.gateway->name);
        }
    }
    return text + statusMetrics(reports, gateways);
}

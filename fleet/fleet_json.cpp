#include "fleet/fleet_json.h"

#include "cli/base/utc_time.h"
#include "cli/status/diagnosis.h"
#include "mqtt/message_json.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr int INDENT = 2;
constexpr int ONE_LINE = -1;

std::string dumped(const tJson& json, int indent) {
    return json.dump(indent, ' ', false, tJson::error_handler_t::replace);
}

tJson heardJson(const sJudgement& judgement) {
    return judgement.heard == 0 ? tJson(nullptr) : tJson(utcText(judgement.heard));
}

tJson problemsJson(const std::vector<sTrouble>& troubles) {
    tJson problems = tJson::array();
    for (const sTrouble& trouble : troubles)
        problems.push_back({{"severity", severityId(trouble.level)},
                            {"id", trouble.id},
                            {"what", trouble.what},
                            {"mend", trouble.mend}});
    return problems;
}

tJson slotsJson(const sGateway& gateway) {
    tJson slots = tJson::array();
    for (const auto& [number, slot] : gateway.slots) {
        tJson object{{"time", ""}};
        const tJson said = tJson::parse(slot.json, nullptr, false);
        if (said.is_object()) object.update(said);
        // What the message and its topic say, whatever else the state claims.
        object["time"] = utcText(slot.time);
        object["slot"] = number;
        slots.push_back(std::move(object));
    }
    return slots;
}

tJson wholeJson(const sJudgement& judgement) {
    const sGateway& gateway = *judgement.gateway;
    tJson object{{"name", gateway.name},
                 {"online", judgement.isOnline},
                 {"state", judgement.state},
                 {"heard", heardJson(judgement)},
                 {"problems", problemsJson(judgement.troubles)}};
    object["availability"] =
        gateway.availability ? tJson::parse(availabilityText(*gateway.availability), nullptr, false)
                             : tJson(nullptr);
    object["slots"] = slotsJson(gateway);
    return object;
}

void addKnown(tJson& object, const char* name, const std::string& text) {
    if (!text.empty()) object[name] = text;
}

}  // namespace

std::string gatewayJson(const sJudgement& judgement) {
    return dumped(wholeJson(judgement), INDENT);
}

// One gateway after the other: as JSON objects 10,000 of them take 100 MB more than their text.
std::string fleetJson(const std::vector<sJudgement>& chosen) {
    std::string text = "{\n  \"gateways\": [";
    for (const sJudgement& judgement : chosen) {
        text += &judgement == &chosen.front() ? "\n" : ",\n";
        for (const char letter : "    " + gatewayJson(judgement)) {
            text += letter;
            if (letter == '\n') text += "    ";
        }
    }
    return text + (chosen.empty() ? "]\n}" : "\n  ]\n}");
}

std::string listedJson(const sJudgement& judgement) {
    tJson object{{"name", judgement.gateway->name},
                 {"online", judgement.isOnline},
                 {"state", judgement.state},
                 {"heard", heardJson(judgement)},
                 {"problems", problemsJson(judgement.troubles)}};
    for (tJson& problem : object["problems"])
        problem.erase("mend");
    if (judgement.worst == nullptr) return dumped(object, ONE_LINE);
    const sSlotState& slot = *judgement.worst;
    addKnown(object, "operator", slot.operatorName);
    addKnown(object, "technology", slot.technology);
    addKnown(object, "quality", slot.quality);
    addKnown(object, "firmware", slot.firmware);
    if (slot.strengthPercent) object["percent"] = *slot.strengthPercent;
    return dumped(object, ONE_LINE);
}

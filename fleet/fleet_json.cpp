#include "fleet/fleet_json.h"

#include <map>
#include <set>

#include "cli/base/utc_time.h"
#include "cli/status/diagnosis.h"
#include "mqtt/message_json.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr int INDENT = 2;

std::string dumped(const tJson& json, int indent) {
    return json.dump(indent, ' ', false, tJson::error_handler_t::replace);
}

tJson orNull(const std::string& text) {
    return text.empty() ? tJson(nullptr) : tJson(text);
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
        tJson object{{"time", utcText(slot.time)}};
        const tJson said = tJson::parse(slot.json, nullptr, false);
        if (said.is_object()) object.update(said);
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

tJson listedJson(const sJudgement& judgement) {
    tJson object{{"name", judgement.gateway->name},
                 {"online", judgement.isOnline},
                 {"state", judgement.state},
                 {"heard", heardJson(judgement)}};
    if (!judgement.troubles.empty()) {
        object["level"] = severityId(judgement.troubles.front().level);
        object["id"] = judgement.troubles.front().id;
        object["what"] = judgement.troubles.front().what;
    }
    if (judgement.worst == nullptr) return object;
    const sSlotState& slot = *judgement.worst;
    object["operator"] = orNull(slot.operatorName);
    object["technology"] = orNull(slot.technology);
    object["quality"] = orNull(slot.quality);
    object["percent"] = slot.strengthPercent ? tJson(*slot.strengthPercent) : tJson(nullptr);
    object["firmware"] = orNull(slot.firmware);
    return object;
}

struct sKind {
    eSeverity level = eSeverity::NOTE;
    std::string what;  // of the first gateway that has it
    size_t gateways = 0;
};

// How many gateways have each kind of trouble.
tJson kindsJson(const std::vector<sJudgement>& all) {
    std::map<std::string, sKind> kinds;
    for (const sJudgement& judgement : all) {
        std::set<std::string> counted;
        for (const sTrouble& trouble : judgement.troubles) {
            if (!counted.insert(trouble.id).second) continue;
            sKind& kind = kinds[trouble.id];
            if (kind.gateways++ == 0) kind.what = trouble.what;
            kind.level = std::min(kind.level, trouble.level);
        }
    }
    tJson list = tJson::array();
    for (const auto& [id, kind] : kinds)
        list.push_back({{"id", id},
                        {"what", kind.what},
                        {"level", severityId(kind.level)},
                        {"gateways", kind.gateways}});
    return list;
}

}  // namespace

std::string fleetJson(const std::vector<sJudgement>& chosen) {
    tJson gateways = tJson::array();
    for (const sJudgement& judgement : chosen)
        gateways.push_back(wholeJson(judgement));
    return dumped({{"gateways", std::move(gateways)}}, INDENT);
}

std::string gatewayJson(const sJudgement& judgement) {
    return dumped(wholeJson(judgement), INDENT);
}

std::string fleetListJson(const std::vector<sJudgement>& all) {
    tJson gateways = tJson::array();
    for (const sJudgement& judgement : all)
        gateways.push_back(listedJson(judgement));
    return dumped({{"gateways", std::move(gateways)}, {"kinds", kindsJson(all)}}, -1);
}

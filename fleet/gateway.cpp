#include "fleet/gateway.h"

#include "cli/base/printable_text.h"
#include "include/device_records.h"
#include "mqtt/message_json.h"

namespace {

constexpr size_t WORD_MAX = 64;
constexpr size_t SENTENCE_MAX = 1000;
constexpr size_t TROUBLES_MAX = 16;

std::string word(const nlohmann::json& object, const char* key, size_t maxBytes = WORD_MAX) {
    return printableLine(textField(object, key, maxBytes));
}

// The daemon publishes words for what it does not know.
std::string known(const std::string& value) {
    return value == NAME_UNKNOWN || value == TECHNOLOGY_UNKNOWN ? "" : value;
}

// An empty object where there is none.
const nlohmann::json& part(const nlohmann::json& object, const char* key) {
    static const nlohmann::json NONE = nlohmann::json::object();
    const auto found = object.find(key);
    return found != object.end() && found->is_object() ? *found : NONE;
}

eSeverity levelOf(const std::string& severity) {
    if (severity == "warning") return eSeverity::WARNING;
    return severity == "note" ? eSeverity::NOTE : eSeverity::ERROR;
}

std::vector<sTrouble> readTroubles(const nlohmann::json& slot) {
    std::vector<sTrouble> troubles;
    const auto found = slot.find("problems");
    if (found == slot.end() || !found->is_array()) return troubles;
    for (const nlohmann::json& problem : *found) {
        if (!problem.is_object() || troubles.size() == TROUBLES_MAX) continue;
        troubles.push_back({levelOf(word(problem, "severity")), word(problem, "id"),
                            word(problem, "what", SENTENCE_MAX),
                            word(problem, "mend", SENTENCE_MAX)});
    }
    return troubles;
}

}  // namespace

std::optional<sSlotState> readSlotState(const std::string& payload, int slot) {
    const std::optional<sSlotStatus> status = parseSlotStatus(payload);
    if (!status) return std::nullopt;
    const nlohmann::json object = nlohmann::json::parse(status->slotJson, nullptr, false);
    if (!object.is_object()) return std::nullopt;
    const nlohmann::json& network = part(object, "network");
    const nlohmann::json& signal = part(object, "signal");
    sSlotState state;
    state.slot = slot;
    state.time = status->time;
    state.state = word(object, "state");
    state.operatorName = known(word(network, "operator"));
    state.technology = known(word(network, "technology"));
    state.firmware = known(word(part(object, "modem"), "firmware"));
    state.quality = word(signal, "quality");
    const std::optional<long long> percent = numberField(signal, "strength_percent", 0, 100);
    if (percent) state.strengthPercent = static_cast<double>(*percent);
    state.troubles = readTroubles(object);
    state.json = status->slotJson;
    return state;
}

#include "agent/agent_state.h"

#include <nlohmann/json.hpp>

#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr size_t STATE_MAX = 16 * 1024;

}  // namespace

std::string agentStateJson(const sAgentState& state) {
    return tJson{{"pid", state.pid},          {"gateway", state.gateway},
                 {"broker", state.broker},    {"connected", state.isConnected},
                 {"since", state.since},      {"waiting", state.waiting},
                 {"stream", state.stream},    {"error", state.error},
                 {"error_at", state.errorAt}, {"writes", state.writes}}
        .dump(-1, ' ', false, tJson::error_handler_t::replace);
}

void publishAgentState(const sPlaces& places, const sAgentState& state) {
    cFileVector file(places.at(AGENT_STATE_FILE));
    file.AppendLine(agentStateJson(state));
    file.Write();
}

std::optional<sAgentState> readAgentState(const sPlaces& places) {
    std::string text;
    if (!readFile2StringNoFollow(places.at(AGENT_STATE_FILE), text, STATE_MAX)) return std::nullopt;
    const tJson json = tJson::parse(text, nullptr, false);
    try {
        sAgentState state;
        state.pid = json.at("pid").get<int>();
        state.gateway = json.at("gateway").get<std::string>();
        state.broker = json.at("broker").get<std::string>();
        state.isConnected = json.at("connected").get<bool>();
        state.since = json.at("since").get<time_t>();
        state.waiting = json.at("waiting").get<long long>();
        state.stream = json.at("stream").get<std::string>();
        state.error = json.at("error").get<std::string>();
        state.errorAt = json.at("error_at").get<time_t>();
        state.writes = json.at("writes").get<unsigned long long>();
        return state;
    } catch (const tJson::exception&) {
        return std::nullopt;
    }
}

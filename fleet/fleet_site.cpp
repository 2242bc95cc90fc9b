#include "fleet/fleet_site.h"

#include <cstdlib>

#include "fleet/fleet_json.h"
#include "fleet/fleet_metrics.h"
#include "platform/include/text_helpers.h"

namespace {

// A gateway falls silent without a message.
constexpr int64_t SWEEP_MS = 5000;
constexpr const char* GATEWAY_PATH = "/api/gateway/";
constexpr const char* HEX_DIGITS = "0123456789abcdefABCDEF";

// clang-format off
const tPageFiles FILES = withSharedFiles({
    {"/fleet.css",   "fleet.css",   PAGE_CSS},
    {"/fleet.js",    "fleet.js",    PAGE_SCRIPT},
    {"/list.js",     "list.js",     PAGE_SCRIPT},
    {"/model.js",    "model.js",    PAGE_SCRIPT},
});

struct sParameter {
    const char* name;
    void (*set)(sFilter& filter, const std::string& value);
};
const sParameter PARAMETERS[] = {
    {"name",     [](sFilter& filter, const std::string& value) { filter.names = {value}; }},
    {"state",    [](sFilter& filter, const std::string& value) { filter.state = value; }},
    {"operator", [](sFilter& filter, const std::string& value) { filter.operatorName = value; }},
    {"signal",   [](sFilter& filter, const std::string& value) { filter.signal = value; }},
    {"firmware", [](sFilter& filter, const std::string& value) { filter.firmware = value; }},
};
// clang-format on

// False if it is not one of these.
bool setParameter(sFilter& filter, const std::string& name, const std::string& value) {
    for (const sParameter& parameter : PARAMETERS) {
        if (name != parameter.name) continue;
        if (!value.empty()) parameter.set(filter, value);
        return true;
    }
    return false;
}

}  // namespace

std::optional<std::string> queryText(const std::string& value) {
    std::string text;
    for (size_t i = 0; i < value.size(); ++i) {
        char letter = value[i] == '+' ? ' ' : value[i];
        if (letter == '%') {
            const std::string digits = value.substr(i + 1, 2);
            if (digits.size() != 2 || digits.find_first_not_of(HEX_DIGITS) != std::string::npos)
                return std::nullopt;
            letter = static_cast<char>(strtol(digits.c_str(), nullptr, 16));
            i += 2;
        }
        if (static_cast<unsigned char>(letter) < ' ') return std::nullopt;
        text += letter;
    }
    return text;
}

cFleetSite::cFleetSite(sSiteSetup setup, cFleetFeed& feed)
    : cSite(std::move(setup), FILES), m_feed(feed) {}

void cFleetSite::update(const std::string& name, time_t now) {
    const auto& gateways = m_feed.fleet().gateways();
    const auto found = gateways.find(name);
    if (found == gateways.end()) return m_live.remove(name);
    m_live.update(judge(found->second, now), now);
}

void cFleetSite::look() {
    const time_t now = time(nullptr);
    for (const std::string& name : m_feed.takeChanged())
        update(name, now);
    m_live.setTrouble(m_feed.trouble());
    if (monotonicMs() - m_sweptMs < SWEEP_MS) return;
    m_sweptMs = monotonicMs();
    for (const auto& [name, gateway] : m_feed.fleet().gateways())
        m_live.update(judge(gateway, now), now);
}

sHttpAnswer cFleetSite::metrics() const {
    const time_t now = time(nullptr);
    return content(TYPE_METRICS, brokerMetrics(m_feed.trouble().empty(), m_feed.refused()) +
                                     fleetMetrics(judgeAll(m_feed.fleet(), now), now));
}

sHttpAnswer cFleetSite::fleet(const sHttpRequest& request) const {
    sFilter filter;
    for (const auto& [name, value] : request.query) {
        const std::optional<std::string> text = queryText(value);
        if (!text || !setParameter(filter, name, *text))
            return refusal(HTTP_BAD_REQUEST,
                           "The query has " + shown(name + "=" + value) +
                               "; expected name, state, operator, signal and firmware, with "
                               "values as those of cellslot-fleet status.");
    }
    const std::string problem = filterProblem(filter, m_feed.fleet());
    if (!problem.empty()) return refusal(HTTP_BAD_REQUEST, "In the query, " + problem + ".");
    return content(TYPE_JSON,
                   fleetJson(filtered(filter, judgeAll(m_feed.fleet(), time(nullptr)))) + "\n");
}

sHttpAnswer cFleetSite::gateway(const std::string& name) const {
    const auto& gateways = m_feed.fleet().gateways();
    const auto found = gateways.find(name);
    if (found == gateways.end())
        return refusal(HTTP_NOT_FOUND, "The broker knows no gateway " + shown(name) + ".");
    return content(TYPE_JSON, gatewayJson(judge(found->second, time(nullptr))) + "\n");
}

std::optional<sHttpAnswer> cFleetSite::find(const sHttpRequest& request) {
    if (request.path == "/metrics") return metrics();
    const bool isData = startsWith(request.path, "/api/");
    if (isData && !m_feed.isComplete() && m_feed.fleet().gateways().empty())
        return refusal(HTTP_UNAVAILABLE,
                       "Nothing has come from the broker yet" +
                           (m_feed.trouble().empty() ? std::string(".") : ": " + m_feed.trouble()));
    if (request.path == "/api/fleet") return fleet(request);
    if (request.path == "/api/events") return streamAnswer();
    if (startsWith(request.path, GATEWAY_PATH))
        return gateway(request.path.substr(std::string(GATEWAY_PATH).size()));
    return std::nullopt;
}

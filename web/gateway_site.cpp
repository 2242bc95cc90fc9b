#include "web/gateway_site.h"

#include "cli/status/status_json.h"
#include "cli/status/status_metrics.h"
#include "web/history_program.h"
#include "web/messages.h"
#include "web/page_table.h"

namespace {

sHttpAnswer historyAnswer(const std::string& program, const sJobResult& result) {
    if (result.isComplete && result.exitStatus == 0) return content(TYPE_JSON, result.output);
    const std::string why =
        result.isComplete ? "failed; see journalctl -u cellslot-web" : result.error;
    return refusal(HTTP_UNAVAILABLE, "Cannot read the history: " + program + " " + why);
}

sHttpAnswer messagesAnswer(const sPlaces& places, const sJobResult& result) {
    std::string text;
    if (takeMessages(places, result, text)) return content(TYPE_JSON, text);
    return refusal(HTTP_UNAVAILABLE, "Cannot read the messages: " + text);
}

}  // namespace

cGatewaySite::cGatewaySite(const sGatewaySite& setup)
    : cSite({setup.config.hosts, setup.passwordHash, setup.pageFolder, "gateway", WEB_CONFIG_FILE,
             "cellslot-web"},
            gatewayPageFiles()),
      m_setup(setup) {}

void cGatewaySite::look() {
    m_live.update(slots());
}

std::vector<sSlotReport> cGatewaySite::slots() const {
    const sMoment moment = currentMoment();
    std::vector<sSlotReport> reports;
    for (const int slot : findSlots(m_setup.places))
        reports.push_back(reportSlot(m_setup.places, slot, moment));
    return reports;
}

sHttpAnswer cGatewaySite::messages() const {
    const sPlaces& places = m_setup.places;
    const auto start = [places](long long /*nowS*/) { return startFetchingMessages(places); };
    const auto finish = [places](const sJobResult& result, long long /*nowS*/) {
        return messagesAnswer(places, result);
    };
    return byJob({eJobKind::MESSAGES, "", start, finish});
}

sHttpAnswer cGatewaySite::history(const sHttpRequest& request) const {
    const std::string slot = parameterOf(request, "slot");
    const std::string range = parameterOf(request, "range");
    const bool wantsEvents = request.path == "/api/events";
    if (!isSlotNumber(slot))
        return refusal(HTTP_BAD_REQUEST, "slot is " + shown(slot) + "; expected 1, 2 or 3.");
    if (!wantsEvents && !isHistoryRange(range))
        return refusal(HTTP_BAD_REQUEST,
                       "range is " + shown(range) + "; expected 1h, 6h, 24h, 7d, 30d or 365d.");
    const std::vector<std::string> arguments =
        wantsEvents ? std::vector<std::string>{"events", slot}
                    : std::vector<std::string>{"history", slot, range};
    const std::string& program = m_setup.historyProgram;
    if (!hasHistoryProgram(program))
        return refusal(HTTP_NOT_FOUND, "No history is kept on this gateway.");
    const auto start = [program, arguments](long long /*nowS*/) {
        return startHistoryProgram(program, arguments);
    };
    const auto finish = [program](const sJobResult& result, long long /*nowS*/) {
        return historyAnswer(program, result);
    };
    return byJob({eJobKind::HISTORY, request.path + " " + slot + " " + range, start, finish});
}

std::optional<sHttpAnswer> cGatewaySite::find(const sHttpRequest& request) {
    if (request.path == "/api/status") return content(TYPE_JSON, statusJson(slots()) + "\n");
    if (request.path == "/metrics") return content(TYPE_METRICS, statusMetrics(slots()));
    if (request.path == "/api/live") return streamAnswer();
    if (request.path == "/api/messages") {
        if (m_setup.config.showsMessages) return messages();
        return refusal(HTTP_FORBIDDEN, std::string("Messages are not shown here. To allow it, set "
                                                   "MESSAGES=yes in ") +
                                           WEB_CONFIG_FILE + " on the gateway.");
    }
    if (request.path == "/api/history" || request.path == "/api/events") return history(request);
    return std::nullopt;
}

#include "history/connection.h"

#include <algorithm>
#include <map>

#include "observed/reading.h"

namespace {

// A status holds for 90 s at most, and a figure is of ten seconds.
constexpr time_t FIGURES_COME_S = 120;

enum class eLine { UNKNOWN, ONLINE, OFFLINE, OFF };

struct sCause {
    std::string text;
    long long seconds = 0;
};

// "Not connected: The modem detects no SIM card."
std::string withoutLead(const std::string& text) {
    const size_t colon = text.find(": ");
    return colon == text.npos ? text : text.substr(colon + 2);
}

bool endsKnowledge(const sEvent& event) {
    return event.kind == EVENT_LOST || event.kind == EVENT_FOLLOWED;
}

// Goes through the events, and keeps what is open at each moment.
class cWalk {
  public:
    explicit cWalk(const sTimeRange& range) : m_range(range) {}

    void take(const sEvent& event) {
        const bool isOnline = event.kind == EVENT_ONLINE;
        const bool isOffline = event.kind == EVENT_OFFLINE;
        const bool isCause = event.kind == EVENT_CAUSE && m_line != eLine::UNKNOWN;
        const bool isLost = endsKnowledge(event);
        if (!isOnline && !isOffline && !isCause && !isLost) return;
        passTo(event.time);
        if (isLost) return change(eLine::UNKNOWN, event);
        if (isOnline) return change(eLine::ONLINE, event);
        change(event.cause == CAUSE_DATA_OFF ? eLine::OFF : eLine::OFFLINE, event);
        m_cause = event.cause;
        if (m_causes[m_cause].text.empty()) m_causes[m_cause].text = withoutLead(event.text);
    }

    sConnection finish(time_t end) {
        if (m_line != eLine::UNKNOWN) passTo(std::max(end, m_at));
        // Whether it lasts is known as long as figures come.
        const bool isLost = m_at + FIGURES_COME_S < m_range.to;
        if (m_line == eLine::OFFLINE) store(isLost ? m_at : 0, isLost);
        return m_connection;
    }

  private:
    void passTo(time_t time) {
        const time_t from = std::max(m_at, m_range.from);
        const time_t to = std::min(time, m_range.to);
        if (to > from && m_line != eLine::UNKNOWN) {
            m_connection.availability.knownS += to - from;
            if (m_line == eLine::ONLINE) m_connection.availability.connectedS += to - from;
        }
        if (m_line == eLine::OFFLINE) m_causes[m_cause].seconds += time - m_at;
        m_at = time;
    }

    void change(eLine line, const sEvent& event) {
        if (line == m_line) return;
        if (m_line == eLine::OFFLINE) store(event.time, line != eLine::ONLINE);
        m_line = line;
        m_causes.clear();
        m_since = event.time;
    }

    void store(time_t to, bool endsUnknown) {
        sOutage outage;
        outage.from = m_since;
        outage.to = to;
        outage.endsUnknown = endsUnknown;
        // What kept it offline for the longest.
        long long most = -1;
        for (const auto& [cause, about] : m_causes) {
            if (about.seconds <= most || (cause.empty() && m_causes.size() > 1)) continue;
            most = about.seconds;
            outage.cause = cause;
            outage.text = about.text;
        }
        const bool isInRange = m_since < m_range.to && (to == 0 || to > m_range.from);
        if (isInRange && (to == 0 || to > m_since)) m_connection.outages.push_back(outage);
    }

    const sTimeRange m_range;
    sConnection m_connection;
    eLine m_line = eLine::UNKNOWN;
    time_t m_at = 0;
    time_t m_since = 0;
    std::string m_cause;
    std::map<std::string, sCause> m_causes;
};

}  // namespace

sConnection connectionIn(const std::vector<sEvent>& events, const sTimeRange& range, time_t end) {
    cWalk walk(range);
    for (const sEvent& event : events)
        if (event.time <= std::max(end, range.to)) walk.take(event);
    return walk.finish(end);
}

void cConnectionState::take(const sEvent& event) {
    if (endsKnowledge(event)) m_last.reset();
    const bool isCause = event.kind == EVENT_CAUSE && m_last;
    if (event.kind == EVENT_ONLINE || event.kind == EVENT_OFFLINE) m_last = event;
    if (!isCause) return;
    m_last->cause = event.cause;
    m_last->text = event.text;
}

std::optional<sEvent> cConnectionState::continued(time_t at) const {
    if (!m_last) return std::nullopt;
    const bool isOnline = m_last->kind == EVENT_ONLINE;
    sEvent event = eventOf(
        at, isOnline ? EVENT_ONLINE : EVENT_OFFLINE,
        isOnline ? "Still connected." : "Still no connection: " + withoutLead(m_last->text));
    if (!isOnline) event.cause = m_last->cause;
    return event;
}

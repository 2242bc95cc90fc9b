#include "web/live_status.h"

#include "cli/status/status_json.h"
#include "platform/include/text_helpers.h"
#include "published/status_keys.h"

namespace {

// Problems name the age of an old status: often enough for who reads them.
constexpr long long OLD_STEP_S = 10;

sSlotReport withoutTime(sSlotReport report) {
    if (report.ageS) {
        const bool isOld = report.isStale() || !report.daemonRuns || *report.ageS < -FRESH_S;
        report.ageS = isOld ? *report.ageS / OLD_STEP_S * OLD_STEP_S : 0;
    }
    report.file.record.values.erase(STATUS_QMI_CALL_TIME.name);
    return report;
}

std::string comparedText(const std::vector<sSlotReport>& reports) {
    std::vector<sSlotReport> timeless;
    timeless.reserve(reports.size());
    for (const sSlotReport& report : reports)
        timeless.push_back(withoutTime(report));
    return statusJson(timeless, eJsonLayout::ONE_LINE);
}

std::string orNull(const std::optional<long long>& number) {
    return number ? ltos(*number) : "null";
}

std::string ageJson(const std::vector<sSlotReport>& reports) {
    std::string slots;
    for (const sSlotReport& report : reports) {
        const std::optional<long long> seconds =
            report.isConnected() ? report.file.record.number(STATUS_QMI_CALL_TIME) : std::nullopt;
        slots += slots.empty() ? "" : ",";
        slots += "{\"slot\":" + itos(report.slot) + ",\"age_seconds\":" + orNull(report.ageS) +
                 ",\"seconds\":" + orNull(seconds) + "}";
    }
    return "{\"slots\":[" + slots + "]}";
}

// Changes whenever a daemon writes its status.
std::string timesOfWriting(const std::vector<sSlotReport>& reports) {
    std::string times;
    for (const sSlotReport& report : reports)
        times += report.file.record.text(STATUS_STATS_LAST_UPDATE_E) + " ";
    return times;
}

}  // namespace

void cLiveStatus::update(const std::vector<sSlotReport>& reports) {
    const std::string ages = timesOfWriting(reports);
    std::string compared = comparedText(reports);
    if (compared != m_compared || !m_status) {
        m_compared = std::move(compared);
        m_status = streamMessage("status", statusJson(reports, eJsonLayout::ONE_LINE));
        ++m_now.whole;
    } else if (ages != m_ages) {
        m_age = streamMessage("age", ageJson(reports));
        ++m_now.part;
    }
    m_ages = ages;
}

bool cLiveStatus::hasNext(const sPosition& position) const {
    return position.whole != m_now.whole || position.part != m_now.part;
}

cLiveStatus::tMessage cLiveStatus::next(sPosition& position) const {
    const bool isWhole = position.whole != m_now.whole;
    if (!hasNext(position)) return nullptr;
    position = m_now;
    return isWhole ? m_status : m_age;
}

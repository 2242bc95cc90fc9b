#include "agent/status_feed.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/status/status_json.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr double DEGREES_FAR = 5;
// Goes with the signal, which is judged on its own.
constexpr const char* SIGNAL_PROBLEM = "signal_poor";

struct sField {
    const char* group;
    const char* name;
};

// Compared seldom.
constexpr sField SLOW[] = {{"network", "band"}, {"network", "channel"}, {"network", "cell"},
                           {"network", "area"}, {"sms", "received"},    {"sms", "sent"},
                           {"sms", "failed"}};

// Divides the status into what is compared at once and what is compared seldom. The signal is
// judged on its own; ages are not compared.
struct sCompared {
    std::string urgent;
    std::string slow;
};

// The sentences name ages and figures.
tJson problemIds(const tJson& problems) {
    tJson ids = tJson::array();
    for (const tJson& problem : problems)
        if (problem["id"] != SIGNAL_PROBLEM) ids.push_back({problem["id"], problem["severity"]});
    return ids;
}

void takeOut(tJson& slot, const sField& field, tJson& slow) {
    const auto group = slot.find(field.group);
    if (group == slot.end() || !group->contains(field.name)) return;
    slow.push_back((*group)[field.name]);
    group->erase(field.name);
}

sCompared compared(tJson slot) {
    slot.erase("age_seconds");
    slot.erase("signal");
    slot["problems"] = problemIds(slot["problems"]);
    if (slot.contains("modem")) slot["modem"].erase("temperature_c");
    if (slot.contains("session")) slot["session"].erase("seconds");
    tJson slow = tJson::array();
    for (const sField& field : SLOW)
        takeOut(slot, field, slow);
    return {slot.dump(), slow.dump()};
}

bool isFar(const std::optional<double>& now, const std::optional<double>& before) {
    if (!now || !before) return now.has_value() != before.has_value();
    return std::abs(*now - *before) >= DEGREES_FAR;
}

}  // namespace

void cStatusFeed::look(const sSlotReport& report, long long runS) {
    const std::string text = statusJson({report}, eJsonLayout::ONE_LINE);
    const tJson slot = tJson::parse(text)["slots"][0];
    const sCompared now = compared(slot);
    const sSignalReading signal = readSignal(report.file.record);
    if (runS - m_sentAtS >= QUIET_S) m_pauseS = 0;

    const bool isUrgent = now.urgent != m_urgent && !isPaused(runS);
    const bool isSignalNews = report.isGood() && m_signal.isNews(signal, runS);
    const std::optional<double> degrees = report.file.record.decimal(STATUS_TEMPERATURE);
    const bool isSlow =
        (now.slow != m_slow || isFar(degrees, m_degrees)) && runS - m_slowAtS >= SLOW_S;
    m_signalNews.reset();
    if (isSignalNews) m_signalNews = slot["signal"].dump();
    if (!m_isFirst && !isUrgent && !isSignalNews && !isSlow) {
        // What waits to be sent may as well be the latest.
        if (m_due) m_due = text;
        return;
    }
    if (isUrgent && !m_isFirst) {
        m_pauseS = std::clamp(m_pauseS * 2, FIRST_PAUSE_S, LAST_PAUSE_S);
        m_sentAtS = runS;
    }
    if (isSignalNews) m_signal.noteSent(signal, runS);
    m_isFirst = false;
    m_urgent = now.urgent;
    m_slow = now.slow;
    m_degrees = degrees;
    m_slowAtS = runS;
    m_due = text;
}

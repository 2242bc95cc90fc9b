#include "agent/status_feed.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/status/status_json.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr long long DEGREES_STEP = 5;

struct sField {
    const char* group;
    const char* name;
};

// Compared seldom.
constexpr sField SLOW[] = {{"network", "band"}, {"network", "channel"},     {"network", "cell"},
                           {"network", "area"}, {"modem", "temperature_c"}, {"sms", "received"},
                           {"sms", "sent"},     {"sms", "failed"}};

// Divides the status into what is compared at once and what is compared seldom. The signal is
// judged on its own; ages are not compared.
struct sCompared {
    std::string urgent;
    std::string slow;
};

// The sentences name ages and figures.
void keepIdsOnly(tJson& problems) {
    for (tJson& problem : problems) {
        problem.erase("what");
        problem.erase("mend");
    }
}

void takeOut(tJson& slot, const sField& field, tJson& slow) {
    const auto group = slot.find(field.group);
    if (group == slot.end() || !group->contains(field.name)) return;
    tJson value = (*group)[field.name];
    if (std::string(field.name) == "temperature_c" && value.is_number_integer())
        value = value.get<long long>() / DEGREES_STEP;
    slow.push_back(value);
    group->erase(field.name);
}

sCompared compared(tJson slot) {
    slot.erase("age_seconds");
    slot.erase("signal");
    keepIdsOnly(slot["problems"]);
    if (slot.contains("session")) slot["session"].erase("seconds");
    tJson slow = tJson::array();
    for (const sField& field : SLOW)
        takeOut(slot, field, slow);
    return {slot.dump(), slow.dump()};
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
    const bool isSlow = now.slow != m_slow && runS - m_slowAtS >= SLOW_S;
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
    m_slowAtS = runS;
    m_due = text;
}

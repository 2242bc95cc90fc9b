#include "observed/event_watch.h"

#include <utility>

#include "cli/base/display_text.h"
#include "platform/include/text_helpers.h"
#include "published/status_values.h"

namespace {

// A modem between two cells changes many times an hour, and must not push outages out of the
// journal.
constexpr time_t CELL_PAUSE_S = 3600;
constexpr unsigned CAUSES_MAX = 20;  // of one outage

struct sWatched {
    std::string sReading::*text;
    const char* kind;
    const char* words;  // before the new value
};

// clang-format off
const sWatched WATCHED[] = {
    {&sReading::modem,            EVENT_MODEM,        "The modem is now the one with IMEI "},
    {&sReading::sim,              EVENT_SIM,          "The SIM is now "},
    {&sReading::simStatus,        EVENT_SIM,          "State of the SIM: "},
    {&sReading::pinOutcome,       EVENT_PIN,          "PIN: "},
    {&sReading::registration,     EVENT_REGISTRATION, "Registration: "},
    {&sReading::network,          EVENT_NETWORK,      "The network is now "},
    {&sReading::technology,       EVENT_TECHNOLOGY,   "The technology is now "},
    {&sReading::temperatureLevel, EVENT_TEMPERATURE,  "Temperature: "},
};
// clang-format on

std::string outageWords(const sReading& reading) {
    return reading.causeText.empty() ? "no fault is reported; the session may be about to start."
                                     : reading.causeText;
}

}  // namespace

void cEventWatch::follow(const sReading& reading, time_t now, std::vector<sEvent>& events) {
    if (!m_isFollowing) {
        events.push_back(eventOf(now, EVENT_FOLLOWED, "The daemon's status is there."));
        m_wasConnectedKnown = false;
        m_isFollowing = true;
    }
    watchDaemon(reading, now, events);
    watchPort(reading, now, events);
    watchTexts(reading, now, events);
    watchCell(reading, now, events);
    watchConnection(reading, now, events);
    watchCause(reading, now, events);
}

void cEventWatch::watchConnection(const sReading& reading, time_t now,
                                  std::vector<sEvent>& events) {
    if (m_wasConnectedKnown && m_isConnected == reading.isConnected) return;
    sEvent event = eventOf(now, reading.isConnected ? EVENT_ONLINE : EVENT_OFFLINE, "");
    if (m_wasConnectedKnown) event.durationS = now - m_since;
    const std::string lasted = m_wasConnectedKnown ? durationText(now - m_since) : "";
    if (reading.isConnected) {
        event.cause = m_wasConnectedKnown ? m_cause : "";
        event.text =
            lasted.empty() ? "Connected." : "Connected after " + lasted + " without a connection.";
    } else {
        event.cause = reading.cause;
        event.text =
            (lasted.empty() ? "Not connected: " : "Connection lost after " + lasted + ": ") +
            outageWords(reading);
    }
    events.push_back(event);
    m_wasConnectedKnown = true;
    m_isConnected = reading.isConnected;
    m_since = now;
    m_causes = 0;
    m_cause = reading.cause;
}

// An outage that begins as a lost session may turn out to be a lost network.
void cEventWatch::watchCause(const sReading& reading, time_t now, std::vector<sEvent>& events) {
    if (reading.isConnected || reading.cause == m_cause || reading.cause.empty()) return;
    m_cause = reading.cause;
    if (++m_causes > CAUSES_MAX) return;
    sEvent event = eventOf(now, EVENT_CAUSE, "Still no connection: " + outageWords(reading));
    event.cause = reading.cause;
    events.push_back(event);
}

// Between home and another network there may be a time without any.
bool cEventWatch::isRoamingChange(const std::string& registration) {
    if (registration != REGISTRATION_HOME && registration != REGISTRATION_ROAMING) return false;
    const std::string before = std::exchange(m_registered, registration);
    return !before.empty() && before != registration;
}

void cEventWatch::watchTexts(const sReading& reading, time_t now, std::vector<sEvent>& events) {
    for (const sWatched& watched : WATCHED) {
        const std::string& text = reading.*watched.text;
        std::string& before = m_last.*watched.text;
        if (text.empty() || text == before) continue;
        const bool isFirst = before.empty();
        const bool isRoaming = watched.text == &sReading::registration && isRoamingChange(text);
        before = text;
        if (isFirst && watched.text != &sReading::pinOutcome) continue;
        events.push_back(
            eventOf(now, isRoaming ? EVENT_ROAMING : watched.kind, watched.words + text + "."));
    }
}

void cEventWatch::watchCell(const sReading& reading, time_t now, std::vector<sEvent>& events) {
    if (!reading.cell.empty() && reading.cell != m_last.cell) {
        if (!m_last.cell.empty()) ++m_cellChanges;
        m_last.cell = reading.cell;
    }
    if (m_cellChanges == 0 || now - m_cellNoted < CELL_PAUSE_S) return;
    const std::string often =
        m_cellChanges == 1 ? "" : " after " + std::to_string(m_cellChanges) + " changes";
    events.push_back(eventOf(now, EVENT_CELL, "The cell is now " + m_last.cell + often + "."));
    m_cellChanges = 0;
    m_cellNoted = now;
}

void cEventWatch::watchDaemon(const sReading& reading, time_t now, std::vector<sEvent>& events) {
    if (reading.daemonPid == 0 || reading.daemonPid == m_last.daemonPid) return;
    if (m_last.daemonPid != 0)
        events.push_back(eventOf(
            now, EVENT_DAEMON,
            "The daemon was restarted; it is process " + itos(reading.daemonPid) + " now."));
    m_last.daemonPid = reading.daemonPid;
}

// The kernel makes the port anew when the modem has restarted, whoever had it restart: the daemon,
// a command, its firmware, or somebody who pulled it out.
void cEventWatch::watchPort(const sReading& reading, time_t now, std::vector<sEvent>& events) {
    if (reading.portId.empty() || reading.portId == m_last.portId) return;
    if (!m_last.portId.empty() && reading.port == m_last.port)
        events.push_back(
            eventOf(now, EVENT_MODEM,
                    "The modem was reset or plugged in: its port " + reading.port + " is new."));
    m_last.port = reading.port;
    m_last.portId = reading.portId;
}

void cEventWatch::lose(time_t lastKnown, const std::string& why, std::vector<sEvent>& events) {
    if (!m_isFollowing) return;
    events.push_back(eventOf(lastKnown, EVENT_LOST, why));
    m_isFollowing = false;
    // The daemon begins with what its modem says, and may have tried a PIN again.
    m_last.pinOutcome.clear();
}

void cEventWatch::shift(long long seconds) {
    m_since += seconds;
    m_cellNoted += seconds;
}

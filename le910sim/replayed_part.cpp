#include "le910sim/replayed_part.h"

#include <algorithm>

namespace le910sim {

namespace {

using tEvents = std::vector<sRecordedEvent>;

bool isMark(const sRecordedEvent& event, const char* name) {
    return event.kind == eRECORDED_MARK && event.mark.at("mark") == name;
}

bool asksToEnd(const sRecordedEvent& event) {
    if (!isMark(event, "signal")) return false;
    const nlohmann::json name = event.mark.value("name", nlohmann::json());
    return name == "SIGTERM" || name == "SIGINT" || name == "SIGHUP";
}

// The first state after a start says whether the program began there.
bool beginsInRunningProgram(tEvents::const_iterator begin, tEvents::const_iterator end) {
    const auto state =
        std::find_if(begin, end, [](const auto& event) { return isMark(event, "state"); });
    return state != end && state->mark.value("modem", nlohmann::json()) != "set-up";
}

tEvents::iterator findBegin(tEvents& events) {
    auto begin = events.begin();
    for (auto at = events.begin(); at != events.end(); ++at) {
        if (at == begin || !isMark(*at, "start")) continue;
        if (std::any_of(begin, at, asksToEnd) || beginsInRunningProgram(begin, at)) begin = at;
    }
    return begin;
}

}  // namespace

sRecording replayedPart(sRecording recording) {
    tEvents& events = recording.events;
    events.erase(events.begin(), findBegin(events));
    events.erase(std::find_if(events.begin(), events.end(), asksToEnd), events.end());
    const uint64_t beginMs = events.empty() ? 0 : events.front().ms;
    for (sRecordedEvent& event : events)
        event.ms -= beginMs;
    return recording;
}

}  // namespace le910sim

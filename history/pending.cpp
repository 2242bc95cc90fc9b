#include "history/pending.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>

#include "history/words.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t WINDOWS_MAX = 3 * 3600 / WINDOW_S;
constexpr size_t EVENTS_MAX = 500;
constexpr const char* GENERATION = "generation ";

std::optional<uint64_t> sCounters::*const COUNTERS[] = {
    &sCounters::interfaceIndex,   &sCounters::receivedBytes, &sCounters::sentBytes,
    &sCounters::receivedMessages, &sCounters::sentMessages,  &sCounters::failedMessages,
};

void readCounters(const std::string& line, sCounters& counters) {
    const std::vector<std::string> words = wordsOf(line);
    if (words.size() != 1 + std::size(COUNTERS)) return;
    size_t at = 0;
    for (const auto counter : COUNTERS)
        counters.*counter = numberOf<uint64_t>(words[++at]);
}

void readLine(const std::string& line, sPending& pending) {
    if (startsWith(line, GENERATION))
        pending.generation = numberOf<uint64_t>(line.substr(strlen(GENERATION))).value_or(0);
    if (startsWith(line, "c ")) readCounters(line, pending.counters);
    if (startsWith(line, "e "))
        if (const auto event = parseEventLine(line.substr(2))) pending.events.push_back(*event);
    if (startsWith(line, "w "))
        // Each window has one line.
        if (const auto window = parseWindowLine(line))
            pending.windows.emplace(window->end, *window);
}

}  // namespace

sWindow& sPending::windowAt(time_t end) {
    sWindow& window = windows[end];
    window.end = end;
    return window;
}

time_t sPending::end(time_t before) const {
    time_t end = before;
    if (!windows.empty()) end = std::max(end, windows.rbegin()->first);
    for (const sEvent& event : events)
        end = std::max(end, event.time);
    return end;
}

void sPending::shift(long long seconds, time_t hostStart, time_t now) {
    const long long half = seconds < 0 ? -WINDOW_S / 2 : WINDOW_S / 2;
    const long long windowShift = (seconds + half) / WINDOW_S * WINDOW_S;
    const std::map<time_t, sWindow> old = std::move(windows);
    windows.clear();
    for (const auto& [end, window] : old)
        windowAt(end + windowShift).add(window);
    for (sEvent& event : events)
        if (event.time >= hostStart && event.time <= now) event.time += seconds;
}

size_t sPending::trim() {
    while (windows.size() > WINDOWS_MAX)
        windows.erase(windows.begin());
    const size_t tooMany = events.size() > EVENTS_MAX ? events.size() - EVENTS_MAX : 0;
    events.erase(events.begin(), events.begin() + static_cast<long>(tooMany));
    return tooMany;
}

std::string countersLine(const sCounters& counters) {
    std::string line = "c";
    for (const auto counter : COUNTERS)
        line += " " + (counters.*counter ? std::to_string(*(counters.*counter)) : "-");
    return line;
}

std::string sPending::text() const {
    std::string text = GENERATION + std::to_string(generation) + "\n";
    for (const auto& [end, window] : windows)
        text += windowLine(window) + "\n";
    for (const sEvent& event : events)
        text += "e " + eventLine(event) + "\n";
    return text + countersLine(counters) + "\n";
}

sPending sPending::parse(const std::string& text) {
    sPending pending;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        readLine(line, pending);
    pending.trim();
    return pending;
}

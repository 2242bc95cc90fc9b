#include <algorithm>
#include <cmath>
#include <sstream>

#include "fuzz/check.h"
#include "fuzz/input.h"
#include "history/connection.h"
#include "history/history_paths.h"
#include "history/ledger.h"
#include "history/pending.h"
#include "history/redo.h"
#include "observed/event.h"

// The first octet chooses which file of the history the rest is. They are what a power cut, a full
// disk or another hand may have left; whatever is in them, what is read can be written and read
// again, and stays within bounds.

namespace {

constexpr size_t TEXT_MAX = 400;

void checkEvents(const std::vector<sEvent>& events, const std::string& text) {
    const sTimeRange range = {1000, 253402300000};
    const sConnection found = connectionIn(events, range, range.to);
    check(found.availability.knownS >= found.availability.connectedS, "connected was known", text);
    check(found.availability.connectedS >= 0, "no negative time", text);
    for (const sOutage& outage : found.outages)
        check(outage.to == 0 || outage.to > outage.from, "an outage has a length", text);
}

void readJournal(const std::string& text) {
    std::istringstream lines(text);
    std::vector<sEvent> events;
    for (std::string line; std::getline(lines, line);) {
        const auto event = parseEventLine(line);
        if (!event) continue;
        check(event->text.size() <= TEXT_MAX && event->kind.size() <= TEXT_MAX, "bounded", line);
        const std::string written = eventLine(*event);
        check(written.find('\n') == std::string::npos, "one line", written);
        const auto again = parseEventLine(written);
        check(again && again->time == event->time && again->durationS == event->durationS,
              "an event is read again", written);
        // As the recorder and a reader have them.
        if (events.empty() || event->time >= events.back().time) events.push_back(*event);
    }
    checkEvents(events, text);
}

void readPending(const std::string& text) {
    sPending pending = sPending::parse(text);
    const sPending again = sPending::parse(pending.text());
    check(again.windows.size() == pending.windows.size(), "windows are read again", text);
    check(again.events.size() == pending.events.size(), "events are read again", text);
    check(again.generation == pending.generation, "and the generation", text);
    for (const auto& [end, window] : pending.windows) {
        check(windowLine(again.windows.at(end)) == windowLine(window), "a window stays", text);
        for (const sSource& source : SOURCE_TABLE)
            check(!std::isinf(window.value(source.source)), "a value is a number", text);
    }
    cLedger ledger;
    for (const auto& [end, window] : pending.windows)
        ledger.add(window);
    check(cLedger::parse(ledger.text()).text() == ledger.text(), "their usage is read again", text);
    pending.shift(1000000000, 0, 1795219200);
    pending.shift(-1000000000, 0, 1795219200);
    check(pending.windows.size() <= again.windows.size(), "a clock that is set adds none", text);
}

void readLedger(const std::string& text) {
    cLedger ledger = cLedger::parse(text);
    const std::string written = ledger.text();
    check(cLedger::parse(written).text().size() <= written.size(), "usage does not grow", text);
    ledger.trim(1795219200);
    check(ledger.text().size() < 300 * 1024, "usage is bounded", text);
}

void readRedo(const std::string& text) {
    cRedo redo;
    if (!redo.parse(text, 1)) return;
    check(redo.text() == text, "the same text", text);
    const std::vector<std::string> names = historyNames(1);
    for (const cRedo::sStep& step : redo.steps())
        check(std::find(names.begin(), names.end(), step.name) != names.end(),
              "only the slot's files", step.name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static void (*const READERS[])(const std::string&) = {readJournal, readPending, readLedger,
                                                          readRedo};
    cInput input(data, size);
    const auto reader = READERS[input.takeByte() % 4];
    reader(input.takeRest());
    return 0;
}

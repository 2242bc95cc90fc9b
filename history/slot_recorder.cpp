#include "history/slot_recorder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <utility>

#include "cli/base/display_text.h"
#include "cli/base/utc_time.h"
#include "history/history_paths.h"
#include "history/layout.h"
#include "history/rrd_image.h"
#include "history/store_changes.h"
#include "history/store_file.h"
#include "platform/files/file_descriptor.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr long long CLOCK_STEP_S = 2;  // less is rounding, or a clock that is steered
// A shorter one is no gap: it would make two outages of one.
constexpr long long CLOCK_GAP_S = 60;
constexpr size_t EVENTS_FILE_MAX = 256 * 1024;
constexpr size_t LEDGER_BYTES_MAX = 512 * 1024;
constexpr mode_t FILE_MODE = 0644;

off_t sizeOf(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 ? info.st_size : 0;
}

std::string readText(const std::string& path, size_t bytesMax) {
    std::string text;
    return readFile2StringNoFollow(path, text, bytesMax) ? text : "";
}

}  // namespace

cSlotRecorder::cSlotRecorder(const sPlaces& places, int slot) : m_places(places), m_slot(slot) {}

bool cSlotRecorder::start(const sClock& clock, std::string& error) {
    sweepStoreDrafts(m_places, m_slot);
    if (!recoverRedo(m_places, m_slot, error)) return false;
    m_ledger = cLedger::parse(readText(historyPath(m_places, usageName(m_slot)), LEDGER_BYTES_MAX));
    m_pending = sPending::parse(readText(pendingPath(m_places, m_slot), PENDING_BYTES_MAX));
    // A pending file whose commit is on the disk: the service ended between the two.
    if (m_pending.generation <= m_ledger.generation) {
        const sCounters counters = m_pending.counters;
        m_pending = {};
        m_pending.counters = counters;
    }
    m_pending.generation = m_ledger.generation + 1;
    const time_t lastKnown = m_pending.end(m_ledger.until);
    if (lastKnown != 0 && !wasLost())
        m_pending.events.push_back(eventOf(
            lastKnown, EVENT_LOST, "The history was not kept from here on: its service ended."));
    replacePending();
    return prepareStores(clock.wall, error);
}

// Whether the earlier run has noted its end.
bool cSlotRecorder::wasLost() const {
    bool isLost = m_ledger.isLost;
    for (const sEvent& event : m_pending.events) {
        if (event.kind == EVENT_ONLINE || event.kind == EVENT_OFFLINE) isLost = false;
        if (event.kind == EVENT_LOST) isLost = true;
    }
    return isLost && m_pending.windows.empty();
}

bool cSlotRecorder::prepareStores(time_t now, std::string& error) {
    if (!isTimeKnown(now)) return true;
    for (const sStore& store : STORES) {
        const std::string path = historyPath(m_places, storeName(store, m_slot));
        cRrdImage image;
        if (image.load(path, store)) continue;
        if (access(path.c_str(), F_OK) == 0 && !image.isDamaged()) {
            error = "cannot read " + path + ": " + image.errorText();
            return false;
        }
        if (image.isDamaged()) {
            m_pending.events.push_back(eventOf(now, EVENT_HISTORY,
                                               "The file " + storeName(store, m_slot) + " " +
                                                   image.errorText() + "; it is kept as " +
                                                   storeName(store, m_slot) +
                                                   ".damaged, and a new one begins."));
            if (rename(path.c_str(), (path + ".damaged").c_str()) != 0) {
                error = "cannot rename " + path + ": " + strerror(errno);
                return false;
            }
        }
        if (!makeStoreFile(path, store, windowsBegin(m_pending.windows, now), "", error)) {
            error = "cannot make " + path + ": " + error;
            return false;
        }
    }
    return true;
}

// ---- readings --------------------------------------------------------------------------------

// What is not on the disk yet follows the clock, so that the minutes before the first
// synchronisation get their right place.
void cSlotRecorder::settleClock(const sClock& clock) {
    const long long offset = clock.wall - clock.runS;
    const long long step = offset - m_offset;
    const time_t hostStart = std::exchange(m_offset, offset);
    if (!m_isOffsetKnown) {
        m_isOffsetKnown = true;
        return;
    }
    if (std::llabs(step) <= CLOCK_STEP_S) return;
    const time_t before = clock.wall - step;
    m_pending.shift(step, hostStart, before);
    m_watch.shift(step);
    if (m_readingAt != 0) m_readingAt += step;
    continueAfterStep(step);
    const std::string how = isTimeKnown(before)
                                ? durationText(std::llabs(step)) + (step > 0 ? " forward" : " back")
                                : "for the first time since the host's start";
    m_pending.events.push_back(
        eventOf(clock.wall, EVENT_CLOCK, "The host's clock was set " + how + "."));
    replacePending();
}

// What is on the disk ends with a time of the old clock, and what is pending goes on with one of
// the new: between the two there is nothing.
void cSlotRecorder::continueAfterStep(long long step) {
    const auto state = m_written.continued(m_ledger.until + step);
    if (!state || std::llabs(step) < CLOCK_GAP_S) return;
    m_pending.events.insert(
        m_pending.events.begin(),
        {eventOf(m_ledger.until, EVENT_LOST, "The host's clock was set from here."), *state});
    m_ledger.until += step;
}

void cSlotRecorder::follow(const sReading& reading, const sClock& clock) {
    settleClock(clock);
    look(clock);
    const bool isContinued = m_readingAt != 0;
    if (isContinued) hold(clock.wall);
    count(reading, clock.wall, isContinued);
    m_watch.follow(reading, clock.wall, m_pending.events);
    m_reading = reading;
    m_readingAt = clock.wall;
    m_publishedEvents -= std::min(m_publishedEvents, m_pending.trim());
    publishPending(clock.wall);
}

// The last reading held until then.
void cSlotRecorder::hold(time_t to) {
    for (time_t at = m_readingAt; at < to;) {
        const time_t end = std::min(to, windowEnd(at));
        m_pending.windowAt(windowEnd(at)).hold(m_reading, end - at);
        at = end;
    }
}

void cSlotRecorder::count(const sReading& reading, time_t now, bool isContinued) {
    sCounters before = m_pending.counters;
    const sCounters& after = reading.counters;
    const bool isKnown = before.receivedBytes && after.receivedBytes;
    if (before.interfaceIndex && after.interfaceIndex &&
        before.interfaceIndex != after.interfaceIndex)
        before.receivedBytes = before.sentBytes = 0;
    sUsage used;
    used.receivedBytes = counted(before.receivedBytes, after.receivedBytes);
    used.sentBytes = counted(before.sentBytes, after.sentBytes);
    used.receivedMessages = counted(before.receivedMessages, after.receivedMessages);
    used.sentMessages = counted(before.sentMessages, after.sentMessages);
    used.failedMessages = counted(before.failedMessages, after.failedMessages);
    m_pending.counters = nextCounters(before, after);

    // After a gap nobody knows when the bytes passed: they count, but are no rate.
    sWindow& window = m_pending.windowAt(windowEnd(isContinued ? now - 1 : now));
    // What passed until a SIM was changed is of the one before.
    const bool isEarlier = isContinued && !m_reading.sim.empty();
    window.usage[isEarlier ? m_reading.sim : reading.sim].add(used);
    if (!isContinued) return;
    const auto add = [&](eSource source, uint64_t amount) {
        window.sumOf(source).sum += static_cast<double>(amount);
        window.sumOf(source).seconds = WINDOW_S;
    };
    if (isKnown) {
        add(eSource::RECEIVED, used.receivedBytes);
        add(eSource::SENT, used.sentBytes);
    }
    add(eSource::MESSAGES, used.receivedMessages + used.sentMessages);
}

void cSlotRecorder::lose(const std::string& why, const sClock& clock) {
    settleClock(clock);
    look(clock);
    if (m_readingAt == 0) return;
    hold(clock.wall);
    loseAt(clock.wall, why);
    publishPending(clock.wall);
}

void cSlotRecorder::loseAt(time_t lastKnown, const std::string& why) {
    m_watch.lose(lastKnown, why, m_pending.events);
    m_readingAt = 0;
}

void cSlotRecorder::look(const sClock& clock) {
    settleClock(clock);
    if (m_readingAt == 0 || clock.wall - m_readingAt <= STATUS_HOLDS_S) return;
    loseAt(m_readingAt, "No status from the daemon for " + itos(static_cast<int>(STATUS_HOLDS_S)) +
                            " s; what follows is not known.");
    publishPending(clock.wall);
}

// ---- what is pending, in memory ----------------------------------------------------------------

// Appends what is complete. Only a complete window has its final figures.
void cSlotRecorder::publishPending(time_t now) {
    std::string text;
    for (auto it = m_pending.windows.upper_bound(m_publishedWindow);
         it != m_pending.windows.end() && it->first <= now; ++it) {
        text += windowLine(it->second) + "\n";
        m_publishedWindow = it->first;
    }
    if (m_publishedEvents > m_pending.events.size()) return replacePending();
    for (; m_publishedEvents < m_pending.events.size(); ++m_publishedEvents)
        text += "e " + eventLine(m_pending.events[m_publishedEvents]) + "\n";
    if (text.empty()) return;
    text += countersLine(m_pending.counters) + "\n";
    // What was dropped meanwhile is still in the file.
    if (m_publishedBytes + text.size() > PENDING_BYTES_MAX) return replacePending();
    m_publishedBytes += text.size();
    const cFileDescriptor file(
        open(pendingPath(m_places, m_slot).c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC));
    if (!file.isOpen() || !writeAll(file.get(), text)) replacePending();
}

void cSlotRecorder::replacePending() {
    cFileVector file(pendingPath(m_places, m_slot), FILE_MODE);
    const std::string text = m_pending.text();
    file.AppendLine(text, false);
    file.Write();
    m_publishedBytes = text.size();
    m_publishedWindow = 0;
    for (const auto& [end, window] : completeWindows())
        m_publishedWindow = end;
    m_publishedEvents = m_pending.events.size();
}

// ---- commits -----------------------------------------------------------------------------------

bool cSlotRecorder::commit(const sClock& clock, std::string& error) {
    look(clock);
    if (m_pending.isEmpty() || !isTimeKnown(clock.wall)) return true;
    if (!prepareStores(clock.wall, error)) return false;
    const tWindows complete = completeWindows();
    cLedger ledger = m_ledger;
    for (const auto& [end, window] : complete)
        ledger.add(window);
    for (const sEvent& event : m_pending.events)
        ledger.until = std::max(ledger.until, event.time);
    cConnectionState state = m_written;
    for (const sEvent& event : m_pending.events)
        state.take(event);
    ledger.isLost = !state.isKnown();
    ledger.trim(clock.wall);
    ledger.generation = m_pending.generation;
    cRedo redo;
    for (const sStore& store : STORES)
        if (!addStoreChanges(m_places, m_slot, store, complete, clock.wall, redo, error))
            return false;
    if (!addEvents(redo, error)) return false;
    redo.add({cRedo::sStep::eKind::TAIL, usageName(m_slot), 0, ledger.text()});
    if (!commitRedo(m_places, m_slot, redo, error)) return false;
    // The redo file and the files themselves.
    m_bytesWritten += 2 * redo.size();
    m_ledger = ledger;
    m_written = state;
    for (const auto& [end, window] : complete)
        m_pending.windows.erase(end);
    m_pending.events.clear();
    m_pending.generation = ledger.generation + 1;
    replacePending();
    return true;
}

// A window that is written gets no more, so the present one waits.
tWindows cSlotRecorder::completeWindows() const {
    if (m_readingAt == 0) return m_pending.windows;
    return {m_pending.windows.begin(), m_pending.windows.upper_bound(m_readingAt)};
}

bool cSlotRecorder::stop(const sClock& clock, std::string& error) {
    settleClock(clock);
    if (m_readingAt != 0) {
        look(clock);
        if (m_readingAt != 0) hold(clock.wall);
        loseAt(clock.wall, "The history's service was stopped.");
    }
    return commit(clock, error);
}

bool cSlotRecorder::needsNewJournal(size_t added) const {
    const off_t size = sizeOf(historyPath(m_places, eventsName(m_slot)));
    return size != 0 && static_cast<size_t>(size) + added > EVENTS_FILE_MAX;
}

bool cSlotRecorder::beginJournal(std::string& error) {
    const std::string path = historyPath(m_places, eventsName(m_slot));
    if (rename(path.c_str(), historyPath(m_places, olderEventsName(m_slot)).c_str()) == 0)
        return true;
    error = "cannot rename " + path + ": " + strerror(errno);
    return false;
}

bool cSlotRecorder::addEvents(cRedo& redo, std::string& error) {
    std::string lines;
    for (const sEvent& event : m_pending.events)
        lines += eventLine(event) + "\n";
    if (lines.empty()) return true;
    if (needsNewJournal(lines.size())) {
        if (!beginJournal(error)) return false;
        // The change that led to the connection's state will be gone with the older part.
        if (const auto state = m_written.continued(m_pending.events.front().time))
            lines.insert(0, eventLine(*state) + "\n");
    }
    const off_t size = sizeOf(historyPath(m_places, eventsName(m_slot)));
    redo.add({cRedo::sStep::eKind::TAIL, eventsName(m_slot), static_cast<uint64_t>(size), lines});
    return true;
}

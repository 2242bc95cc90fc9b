#include "history/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "history/history_paths.h"
#include "history/layout.h"
#include "history/redo.h"
#include "history/store_changes.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr int ATTEMPTS = 20;
constexpr useconds_t PAUSE_US = 10 * 1000;
constexpr size_t EVENTS_BYTES_MAX = 512 * 1024;
constexpr size_t LEDGER_BYTES_MAX = 512 * 1024;

// A commit makes a redo file first and changes the ledger last.
struct sMark {
    ino_t redo = 0;
    timespec redoTime{};
    timespec ledgerTime{};
    bool operator==(const sMark& other) const {
        const auto isSame = [](const timespec& a, const timespec& b) {
            return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
        };
        return redo == other.redo && isSame(redoTime, other.redoTime) &&
               isSame(ledgerTime, other.ledgerTime);
    }
};

sMark markOf(const sPlaces& places, int slot) {
    sMark mark;
    struct stat info {};
    if (lstat(historyPath(places, redoName(slot)).c_str(), &info) == 0) {
        mark.redo = info.st_ino;
        mark.redoTime = info.st_mtim;
    }
    if (lstat(historyPath(places, usageName(slot)).c_str(), &info) == 0)
        mark.ledgerTime = info.st_mtim;
    return mark;
}

std::string readText(const sPlaces& places, const std::string& name, size_t bytesMax) {
    std::string text;
    return readFile2StringNoFollow(historyPath(places, name), text, bytesMax) ? text : "";
}

void apply(const cRedo::sStep& step, std::string& text) {
    if (step.offset <= text.size()) text.replace(step.offset, text.npos, step.bytes);
}

bool apply(const cRedo::sStep& step, const cRrdImage& image) {
    struct stat info {};
    // A block beyond the end would make another file of it.
    if (fstat(image.descriptor(), &info) != 0 ||
        step.offset + step.bytes.size() > static_cast<uint64_t>(info.st_size))
        return false;
    return pwrite(image.descriptor(), step.bytes.data(), step.bytes.size(),
                  static_cast<off_t>(step.offset)) == static_cast<ssize_t>(step.bytes.size());
}

void addEvents(const std::string& text, std::vector<sEvent>& events) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (const auto event = parseEventLine(line)) events.push_back(*event);
}

bool loadStores(const sPlaces& places, int slot, sSnapshot& snapshot) {
    snapshot.stores.clear();
    for (const sStore& store : STORES) {
        const std::string path = historyPath(places, storeName(store, slot));
        auto image = std::make_unique<cRrdImage>();
        if (!image->load(path, store)) {
            if (access(path.c_str(), F_OK) != 0)
                snapshot.state =
                    errno == EACCES ? sSnapshot::eState::NOT_PERMITTED : sSnapshot::eState::MISSING;
            else
                snapshot.state = access(path.c_str(), R_OK) != 0 ? sSnapshot::eState::NOT_PERMITTED
                                                                 : sSnapshot::eState::DAMAGED;
            snapshot.defect = path + " " +
                              (snapshot.state == sSnapshot::eState::DAMAGED   ? image->errorText()
                               : snapshot.state == sSnapshot::eState::MISSING ? "does not exist"
                                                                              : "may not be read");
            return false;
        }
        snapshot.stores.push_back(std::move(image));
    }
    return true;
}

// One attempt; what it read may belong to two moments.
void read(const sPlaces& places, int slot, sSnapshot& snapshot) {
    snapshot = {};
    sPending pending;
    std::string text;
    if (readFile2StringNoFollow(pendingPath(places, slot), text, PENDING_BYTES_MAX))
        pending = sPending::parse(text);
    if (!loadStores(places, slot, snapshot)) return;
    snapshot.state = sSnapshot::eState::GOOD;
    std::string events = readText(places, eventsName(slot), EVENTS_BYTES_MAX);
    std::string usage = readText(places, usageName(slot), LEDGER_BYTES_MAX);
    cRedo redo;
    if (redo.parse(readText(places, redoName(slot), REDO_BYTES_MAX), slot))
        for (const cRedo::sStep& step : redo.steps()) {
            if (step.name == eventsName(slot)) apply(step, events);
            if (step.name == usageName(slot)) apply(step, usage);
            for (size_t i = 0; i < STORES.size(); ++i)
                if (step.name == storeName(STORES[i], slot)) apply(step, *snapshot.stores[i]);
        }
    snapshot.ledger = cLedger::parse(usage);
    addEvents(readText(places, olderEventsName(slot), EVENTS_BYTES_MAX), snapshot.events);
    addEvents(events, snapshot.events);
    snapshot.end = snapshot.ledger.until;
    if (pending.generation <= snapshot.ledger.generation) return;
    for (size_t i = 0; i < STORES.size(); ++i)
        snapshot.stores[i]->update(
            updatesOf(STORES[i], pending.windows, snapshot.stores[i]->last()));
    for (const auto& [end, window] : pending.windows)
        snapshot.ledger.add(window);
    snapshot.events.insert(snapshot.events.end(), pending.events.begin(), pending.events.end());
    snapshot.end = pending.end(snapshot.end);
}

}  // namespace

void takeSnapshot(const sPlaces& places, int slot, sSnapshot& snapshot) {
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        const sMark before = markOf(places, slot);
        read(places, slot, snapshot);
        if (before == markOf(places, slot)) break;
        usleep(PAUSE_US);
    }
    // Journal and pending events come in the order in which they were seen; a clock that was set
    // back makes another one of it.
    std::stable_sort(snapshot.events.begin(), snapshot.events.end(),
                     [](const sEvent& a, const sEvent& b) { return a.time < b.time; });
}

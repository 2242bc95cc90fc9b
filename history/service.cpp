#include "history/service.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/base/end_signals.h"
#include "cli/status/slot_report.h"
#include "cli/status/status_file.h"
#include "platform/files/file_descriptor.h"
#include "platform/include/text_helpers.h"
#include "published/paths.h"

namespace {

constexpr long long LOOK_EVERY_S = 60;
// The daemon replaces its files one after the other: they are read together.
constexpr useconds_t GATHER_US = 20 * 1000;
constexpr size_t NOTICES_BYTES = 16 * 1024;
constexpr long long CLOCK_STEP_S = 2;

sClock readClock() {
    timespec run{};
    // Goes on while the host sleeps.
    clock_gettime(CLOCK_BOOTTIME, &run);
    return {time(nullptr), run.tv_sec};
}

std::string baseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

void logToStandardError(const std::string& line) {
    fprintf(stderr, "%s\n", line.c_str());
}

// The slots whose files have changed.
std::set<int> changedSlots(int notices) {
    std::set<int> slots;
    alignas(inotify_event) char buffer[NOTICES_BYTES];
    for (ssize_t size; (size = read(notices, buffer, sizeof buffer)) > 0;)
        for (ssize_t at = 0; at < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
            // A queue that was full has lost names.
            if ((event->mask & IN_Q_OVERFLOW) != 0)
                for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
                    slots.insert(slot);
            if (event->len > 0)
                if (const int slot = slotOfStatusName(event->name)) slots.insert(slot);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    return slots;
}

void readAll(cHistoryService& service, const std::set<int>& slots) {
    const sClock clock = readClock();
    for (const int slot : slots)
        service.readStatus(slot, clock);
}

}  // namespace

int slotOfStatusName(const std::string& name) {
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
        if (name == baseName(statusFilePath(slot))) return slot;
    return 0;
}

cHistoryService::cHistoryService(const sPlaces& places, tLog log) : m_places(places), m_log(log) {}

void cHistoryService::report(int slot, const std::string& error) {
    std::string& last = m_reported[slot];
    if (error == last) return;
    last = error;
    if (!error.empty()) m_log("slot " + itos(slot) + ": " + error);
}

cSlotRecorder* cHistoryService::recorderOf(int slot, const sClock& clock) {
    const auto found = m_recorders.find(slot);
    if (found != m_recorders.end()) return found->second.get();
    auto recorder = std::make_unique<cSlotRecorder>(m_places, slot);
    std::string error;
    const bool isGood = recorder->start(clock, error);
    report(slot, error);
    if (!isGood) return nullptr;
    return m_recorders.emplace(slot, std::move(recorder)).first->second.get();
}

void cHistoryService::readStatus(int slot, const sClock& clock) {
    const sStatusFile file = readStatusFile(m_places, slot);
    const auto known = m_recorders.find(slot);
    if (file.state == eStatusFile::MISSING) {
        if (known != m_recorders.end())
            known->second->lose("The daemon has ended; what follows is not known.", clock);
        return;
    }
    if (file.state != eStatusFile::GOOD)
        return report(slot, statusFilePath(slot) + " " + file.defect);
    // A file that an ended daemon left behind says nothing about now.
    const long long written = file.record.number(STATUS_STATS_LAST_UPDATE_E).value_or(0);
    if (std::llabs(clock.wall - written) > STALE_AFTER_S) return;
    cSlotRecorder* recorder = recorderOf(slot, clock);
    if (recorder == nullptr) return;
    recorder->follow(readSlot(m_places, slot, file.record), clock);
    report(slot, "");
}

long long cHistoryService::work(const sClock& clock) {
    const long long offset = clock.wall - clock.runS;
    // After a clock was set it has a quarter of an hour to prove itself: what a wrong one puts on
    // the disk pushes out what is there.
    if (!m_isStarted || std::llabs(offset - m_offset) > CLOCK_STEP_S)
        m_nextCommitS = clock.runS + COMMIT_EVERY_S;
    m_isStarted = true;
    m_offset = offset;
    const bool isDue = clock.runS >= m_nextCommitS;
    if (isDue) m_nextCommitS = clock.runS + COMMIT_EVERY_S;
    bool isBusy = false;
    for (const auto& [slot, recorder] : m_recorders) {
        recorder->look(clock);
        if (isDue) {
            std::string error;
            recorder->commit(clock, error);
            report(slot, error);
        }
        isBusy = isBusy || recorder->isFollowing() || recorder->hasPending();
    }
    const long long untilCommit = m_nextCommitS - clock.runS;
    return isBusy ? std::min(untilCommit, LOOK_EVERY_S) : untilCommit;
}

void cHistoryService::stop(const sClock& clock) {
    for (const auto& [slot, recorder] : m_recorders) {
        std::string error;
        recorder->stop(clock, error);
        report(slot, error);
    }
}

int runHistoryService() {
    const sPlaces places;
    const cFileDescriptor signals(openEndSignals());
    const cFileDescriptor notices(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string folder = places.at(STATUS_FOLDER);
    if (!signals.isOpen() || !notices.isOpen() ||
        inotify_add_watch(notices.get(), folder.c_str(),
                          IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM) < 0) {
        logToStandardError("cannot watch " + folder + ": " + strerror(errno));
        return 1;
    }
    cHistoryService service(places, logToStandardError);
    readAll(service, {1, 2, 3});
    pollfd events[] = {{signals.get(), POLLIN, 0}, {notices.get(), POLLIN, 0}};
    while (true) {
        const long long waitS = service.work(readClock());
        const int count = poll(events, 2, static_cast<int>(1000 * (waitS + 1)));
        if (count < 0 && errno != EINTR) break;
        if (count > 0 && events[0].revents != 0) break;
        if (count <= 0 || events[1].revents == 0) continue;
        usleep(GATHER_US);
        readAll(service, changedSlots(notices.get()));
    }
    service.stop(readClock());
    return 0;
}

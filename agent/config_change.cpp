#include "agent/config_change.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "cli/base/config_place.h"
#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/slot_name.h"
#include "cli/base/system_failure.h"
#include "include/flush.h"
#include "platform/files/file_descriptor.h"
#include "platform/files/make_folder.h"
#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

constexpr size_t CONFIG_READ_MAX = 128 * 1024;  // as the daemon reads
constexpr mode_t PERMISSIONS = 07777;

sRootAnswer answered(eResult status, const std::string& text) {
    sRootAnswer answer;
    answer.outcome.status = status;
    answer.outcome.text = text;
    return answer;
}

bool exists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

// 0: there is no such file.
uint64_t inodeOf(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

// Of a beginning that ended early.
void removeLeftovers(const sPlaces& places) {
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot) {
        const std::string path = configPlace(places, slot);
        unlink(newFilePath(path).c_str());
        unlink(oldFilePath(path).c_str());
    }
}

// On the disk, with owner and permissions of the file that it stands beside.
void putBeside(const std::string& path, const std::string& text, const struct stat& like) {
    replaceFile(path, text, like.st_mode & PERMISSIONS);
    if (chown(path.c_str(), like.st_uid, like.st_gid) != 0)
        throw systemFailure("change the owner of " + path, errno);
    if (!flushFileAndFolder(path)) throw systemFailure("write " + path, errno);
}

}  // namespace

// ---- the beginning

sRootAnswer cConfigChange::begin(const sCommand& command) {
    const std::string path = configPlace(m_places, command.slot.value_or(FIRST_SLOT));
    makeFolder(m_places.at(CHANGE_FOLDER), 0755);
    const std::string lockPath = m_places.at(CHANGE_FOLDER) + "/lock";
    const cFileDescriptor lock(
        open(lockPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock.isOpen() || flock(lock.get(), LOCK_EX | LOCK_NB) != 0 || readChange(m_places))
        return answered(eResult::REFUSED, "busy: another configuration change is under way");

    removeLeftovers(m_places);
    struct stat info {};
    std::string old;
    if (lstat(path.c_str(), &info) != 0 || !readFile2StringNoFollow(path, old, CONFIG_READ_MAX + 1))
        return answered(eResult::REFUSED,
                        path + " cannot be read, so that there is nothing to go back to");
    if (old.size() > CONFIG_READ_MAX)
        return answered(eResult::REFUSED, path + " is longer than " +
                                              std::to_string(CONFIG_READ_MAX / 1024) +
                                              " kB, of which no copy can be kept; shorten it");
    if (old == command.file)
        return answered(eResult::DONE, path + " has this content already; nothing was changed.");
    m_host.step();
    putBeside(newFilePath(path), command.file, info);
    std::string why;
    if (!m_host.check(newFilePath(path), why)) {
        unlink(newFilePath(path).c_str());
        sRootAnswer answer = answered(eResult::REFUSED, "the new file has findings");
        answer.outcome.output = why;
        return answer;
    }
    try {
        prepare(command, old, info);
    } catch (const cFailure&) {
        // They may hold a password.
        removeLeftovers(m_places);
        throw;
    }
    sRootAnswer answer = answered(eResult::STARTED, "The new file is checked and will be applied.");
    answer.isBegun = true;
    return answer;
}

void cConfigChange::prepare(const sCommand& command, const std::string& old,
                            const struct stat& info) {
    sChangeRecord record;
    record.id = command.id;
    record.slot = command.slot.value_or(FIRST_SLOT);
    record.path = configPlace(m_places, record.slot);
    m_host.step();
    putBeside(oldFilePath(record.path), old, info);
    m_host.step();
    record.newFile = inodeOf(newFilePath(record.path));
    record.oldFile = inodeOf(oldFilePath(record.path));
    record.confirmS = command.confirmS.value_or(CONFIRM_DEFAULT_S);
    record.wasConnected = m_host.isConnected(record.slot);
    record.boot = m_host.boot();
    record.sinceS = m_host.runS();
    writeChange(m_places, record);
}

std::string cConfigChange::confirm(const std::string& id) {
    const std::optional<sChangeRecord> record = readChange(m_places);
    if (!record || record->id != id) return "no such configuration change is under way";
    if (record->phase != ePhase::TAKEN) return "the daemon has not read the new file";
    writeConfirmation(m_places, id);
    return "";
}

// ---- on the disk

// A disk that is full must not keep the old file away: whoever begins again comes to the same end.
void cConfigChange::enter(sChangeRecord& record, ePhase phase) {
    m_host.step();
    record.phase = phase;
    try {
        writeChange(m_places, record);
    } catch (const cFailure& failure) {
        fprintf(stderr, "%s\n", failure.what());
    }
}

void cConfigChange::giveUp(sChangeRecord& record, const std::string& why) {
    record.why = why;
    enter(record, ePhase::REVERTING);
}

// Also if that was done before the process ended. False: the file is gone.
bool cConfigChange::putInPlace(const std::string& from, const std::string& path, uint64_t inode) {
    if (!exists(from)) return inodeOf(path) == inode;
    m_host.step();
    if (rename(from.c_str(), path.c_str()) != 0) throw systemFailure("write " + path, errno);
    m_host.step();
    if (!flushFileAndFolder(path)) throw systemFailure("write " + path, errno);
    return true;
}

void cConfigChange::remove(const std::string& path) {
    m_host.step();
    if (unlink(path.c_str()) == 0) flushFolderOf(path);
}

void cConfigChange::end(const sChangeRecord& record, eChangeEnd end, const std::string& text) {
    m_host.step();
    writeChangeOutcome(m_places, {record.id, end, text});
    // They may hold a password.
    remove(oldFilePath(record.path));
    remove(newFilePath(record.path));
    m_host.step();
    removeChange(m_places);
}

// ---- the course

void cConfigChange::run() {
    std::optional<sChangeRecord> record = readChange(m_places);
    if (!record) return;
    if (record->path.empty()) return revertAll();
    noteStart(*record);
    // Put back by a run that could not note it.
    if (record->phase != ePhase::REVERTING && inodeOf(record->path) == record->oldFile)
        giveUp(*record, "the disk was full meanwhile");
    for (bool isUnderWay = true; isUnderWay;) {
        switch (record->phase) {
            case ePhase::PREPARED:
                apply(*record);
                break;
            case ePhase::APPLIED:
                letDaemonRead(*record);
                break;
            case ePhase::TAKEN:
                isUnderWay = awaitAgent(*record);
                break;
            case ePhase::REVERTING:
                revert(*record);
                return;
        }
    }
}

// After a start of the host the agent gets its time anew: it may have lost most of it while the
// host was off.
void cConfigChange::noteStart(sChangeRecord& record) {
    if (record.boot == m_host.boot()) return;
    record.boot = m_host.boot();
    record.sinceS = m_host.runS();
    record.takenS = 0;
    ++record.boots;
    // The daemon reads its file when it starts, but may have started before its place was taken.
    enter(record, record.phase);
}

bool cConfigChange::isOver(const sChangeRecord& record) const {
    return m_host.runS() - record.sinceS >= record.confirmS || record.boots >= BOOTS_MAX;
}

void cConfigChange::apply(sChangeRecord& record) {
    if (!putInPlace(newFilePath(record.path), record.path, record.newFile))
        return giveUp(record, "the new file is missing");
    enter(record, ePhase::APPLIED);
}

void cConfigChange::letDaemonRead(sChangeRecord& record) {
    std::string why;
    if (m_host.reload(record.slot, why)) {
        record.takenS = m_host.runS();
        return enter(record, ePhase::TAKEN);
    }
    if (!isOver(record)) return m_host.pause();
    giveUp(record, "the daemon did not read the new file: " + why);
}

// Whether the change goes on.
bool cConfigChange::awaitAgent(sChangeRecord& record) {
    if (readConfirmation(m_places) == record.id) {
        end(record, eChangeEnd::CONFIRMED,
            "The gateway is back at the broker with the new file of " + slotName(record.slot) +
                ", which stays.");
        return false;
    }
    if (!isOver(record)) {
        m_host.pause();
        return true;
    }
    giveUp(record,
           record.boots >= BOOTS_MAX
               ? "the gateway was started " + itos(record.boots) + " times meanwhile"
               : "the gateway was not back at the broker within " + itos(record.confirmS) + " s");
    return true;
}

bool cConfigChange::letDaemonReadOld(int slot) {
    std::string why;
    for (int i = 0; i < RELOADS_MAX; ++i) {
        if (m_host.reload(slot, why)) return true;
        m_host.pause();
    }
    return false;
}

void cConfigChange::revert(const sChangeRecord& record) {
    if (!putInPlace(oldFilePath(record.path), record.path, record.oldFile))
        return end(record, eChangeEnd::NEW_FILE_STAYS,
                   "The copy of the old file of " + slotName(record.slot) +
                       " is missing, so the file that is there stays: " + record.why + ".");
    const bool isRead = letDaemonReadOld(record.slot);
    end(record, eChangeEnd::ROLLED_BACK,
        "The old file of " + slotName(record.slot) + " is in force again: " + record.why + "." +
            (isRead ? "" : " The daemon has not read it yet; it does at its next start."));
}

// The record is damaged. Whose old file is there was being changed.
void cConfigChange::revertAll() {
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot) {
        const std::string path = configPlace(m_places, slot);
        if (!exists(oldFilePath(path))) continue;
        putInPlace(oldFilePath(path), path, 0);
        remove(newFilePath(path));
        letDaemonReadOld(slot);
    }
    m_host.step();
    removeChange(m_places);
}

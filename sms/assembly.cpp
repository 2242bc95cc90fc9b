#include "sms/assembly.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>
#include <map>
#include <set>

#include "include/debug.h"
#include "sms/joined_journal.h"
#include "sms/part_file.h"
#include "sms/part_pairing.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"

namespace {

// The assumed number of files before the folder is listed; it limits the number of passes.
constexpr size_t FIRST_PASS_FILES = 10;
constexpr size_t PASSES_PER_FILE = 3;

// Six parts need at most 21 takes, in the worst order.
constexpr int TAKES_MAX = 22;

sPartGroup keyOf(const S_partsFileAttributes& part) {
    return {part.msgId, part.partTotal, part.from};
}

bool isPartOfName(char c) {
    return isdigit(static_cast<unsigned char>(c)) == 0 && strchr(" +-().", c) == nullptr;
}

// Only the digits of a number count. A name counts as a whole: names with the same digits are
// different senders.
sPartGroup groupOf(const sPartFile& file) {
    sPartGroup key = keyOf(file.attributes);
    const std::string& name = file.fromAsWritten;
    if (std::any_of(name.begin(), name.end(), isPartOfName)) key.from = name;
    return key;
}

// The files of a group in a listing: their number, and a signature of their identities.
struct sGroupFiles {
    size_t count = 0;
    uint64_t signature = 0;
};

using tGroups = std::map<sPartGroup, sGroupFiles>;

void addFile(sGroupFiles& files, const sPartFile& file) {
    constexpr uint64_t MULTIPLIER = 1099511628211U;  // of FNV-1a
    ++files.count;
    for (const uint64_t value :
         {static_cast<uint64_t>(std::hash<std::string>()(file.attributes.fileName)),
          static_cast<uint64_t>(file.identity.inode), static_cast<uint64_t>(file.identity.size),
          static_cast<uint64_t>(file.identity.modifiedNs)})
        files.signature = (files.signature ^ value) * MULTIPLIER;
}

const char* const CHECK = "checkSmsParts";

// The parts 1, 2, 3 ... of the queue, as far as takesMax takes from its front find them.
tParts takeInOrder(tParts queue, int total, int takesMax) {
    tParts taken;
    int expected = 1;
    for (int takes = 0; expected <= total && takes < takesMax && !queue.empty(); ++takes) {
        sWaitingPart front = std::move(queue.front());
        queue.pop_front();
        const S_partsFileAttributes& part = front.attributes;
        if (part.partNumber != expected) {
            debug(eLOG_SMS, g_i_debugMode, " %s(): - Requeueing Group ID %d, Message part #%d",
                  CHECK, part.msgId, part.partNumber);
            queue.push_back(std::move(front));
            continue;
        }
        debug(eLOG_SMS, g_i_debugMode,
              " %s(): - Adding Group ID %d, Message part #%d, Message '%s'", CHECK, part.msgId,
              part.partNumber, oneLineText(part.message).c_str());
        taken.push_back(std::move(front));
        ++expected;
    }
    return taken;
}

// The message of all parts, with the time of the latest.
S_smsRecordRx joined(const tParts& parts) {
    S_smsRecordRx record;
    int64_t latest = -1;
    for (const sWaitingPart& waiting : parts) {
        const S_partsFileAttributes& part = waiting.attributes;
        record.message += part.message;
        record.from = part.from;
        if (part.timeUnformatted <= latest) continue;
        latest = part.timeUnformatted;
        record.time = part.time;
    }
    return record;
}

std::vector<std::string> pathsOf(const tParts& parts) {
    std::vector<std::string> paths;
    for (const sWaitingPart& part : parts)
        paths.push_back(part.attributes.fileName);
    return paths;
}

// One walk through the folder. It gathers at most one group of parts: the group of the first file
// that is allowed.
class cPass {
  public:
    // mayBegin: the groups that may be gathered; null: all of them.
    cPass(const std::string& root, size_t fileCount, const std::set<sPartGroup>* mayBegin,
          tSmsQueue& queue)
        : m_root(root), m_fileCount(fileCount), m_mayBegin(mayBegin), m_queue(queue) {}

    void takeFile(const std::string& path) {
        debug(eLOG_SMS, g_i_debugMode, " %s(): Checking file %s", CHECK, path.c_str());
        const sPartFile* file = lookAtPartFile(path);
        if (file == nullptr || !file->isRead) return;
        if (!isWholePart(file->attributes)) {
            setAside(*file);
            return;
        }
        const sPartGroup group = groupOf(*file);
        addFile(m_waiting[group], *file);
        if (m_hasGroup)
            addMember(*file, group);
        else if (m_mayBegin == nullptr || m_mayBegin->count(group) != 0)
            beginGroup(*file, group);
    }

    // After the last file.
    void finish() {
        handOverNamed();
        if (m_open) joinGroup();
    }

    bool removedAFile() const { return m_removed; }
    bool hasGroup() const { return m_hasGroup; }
    // A message is complete, but the spool could not take it.
    bool isSpoolFull() const { return m_spoolFull; }
    const sPartGroup& group() const { return m_group; }
    // The parts that are left. The signatures are those at the beginning of the pass.
    const tGroups& waiting() const { return m_waiting; }

  private:
    static bool isWholePart(const S_partsFileAttributes& part) {
        return part.msgId != 0 && part.partNumber != 0 && part.partTotal != 0 && !part.from.empty();
    }

    // A part that only lacks digits in its sender's name is a message that somebody sent. Any other
    // incomplete file is not a part.
    void setAside(const sPartFile& file) {
        sWaitingPart waiting = waitingPart(file);
        waiting.attributes.from = file.fromAsWritten;
        if (isWholePart(waiting.attributes))
            m_named[keyOf(waiting.attributes)].push_back(std::move(waiting));
        else
            dropFile(waiting.attributes.fileName);
    }

    void dropFile(const std::string& path) {
        removePartFile(path);
        m_removed = true;
    }

    // The oldest message first, each in the order of its part numbers.
    void handOverNamed() {
        std::vector<tParts> messages;
        for (const auto& [key, parts] : m_named) {
            for (tParts& message : pairParts(parts)) {
                std::sort(message.begin(), message.end(),
                          [](const sWaitingPart& a, const sWaitingPart& b) {
                              return a.attributes.partNumber < b.attributes.partNumber;
                          });
                messages.push_back(std::move(message));
            }
        }
        std::sort(messages.begin(), messages.end(), [](const tParts& a, const tParts& b) {
            return isOlder(*std::min_element(a.begin(), a.end(), isOlder),
                           *std::min_element(b.begin(), b.end(), isOlder));
        });
        for (const tParts& message : messages) {
            for (const sWaitingPart& part : message) {
                if (!handOver({part})) return;
                dropFile(part.attributes.fileName);
            }
        }
    }

    void beginGroup(const sPartFile& file, const sPartGroup& group) {
        const S_partsFileAttributes& part = file.attributes;
        m_hasGroup = true;
        m_group = group;
        m_open = m_fileCount >= static_cast<size_t>(part.partTotal);
        if (!m_open) {
            debug(eLOG_SMS, g_i_debugMode,
                  " %s(): Not enough files present (%d files, need %d parts)", CHECK,
                  static_cast<int>(m_fileCount), part.partTotal);
            return;
        }
        debug(eLOG_SMS, g_i_debugMode, " %s(): First file %s for message ID group %d", CHECK,
              part.fileName.c_str(), part.msgId);
        m_members.push_back(waitingPart(file));
    }

    void addMember(const sPartFile& file, const sPartGroup& group) {
        const S_partsFileAttributes& part = file.attributes;
        const bool joins = m_open && group == m_group;
        debug(eLOG_SMS, g_i_debugMode, " %s(): %s file %s for message ID group %d", CHECK,
              joins ? "Adding" : "Skipping", part.fileName.c_str(), m_group.msgId);
        if (joins) m_members.push_back(waitingPart(file));
    }

    void joinGroup() {
        const auto total = static_cast<size_t>(m_group.partTotal);
        tParts usable;
        for (const sWaitingPart& part : m_members)
            if (part.attributes.partNumber <= m_group.partTotal) usable.push_back(part);
        bool anyComplete = false;
        for (const tParts& message : pairParts(usable)) {
            if (message.size() < total) break;
            anyComplete = true;
            if (!joinMessage(message)) return;
        }
        if (!anyComplete && m_members.size() >= total) tryIncomplete();
    }

    tParts assemble(const tParts& queue, int takesMax) const {
        debug(eLOG_SMS, g_i_debugMode, " %s(): - Have %d files for message ID group %d", CHECK,
              static_cast<int>(queue.size()), m_group.msgId);
        return takeInOrder(queue, m_group.partTotal, takesMax);
    }

    // No limit of takes: that is for messages with missing parts, not for long ones.
    bool joinMessage(const tParts& message) {
        const tParts taken = assemble(message, std::numeric_limits<int>::max());
        if (!handOver(taken)) return false;
        for (const sWaitingPart& part : taken)
            removeTaken(part.attributes);
        return true;
    }

    // Enough files, but some numbers are missing. The files wait for the missing parts.
    void tryIncomplete() {
        m_members.resize(static_cast<size_t>(m_group.partTotal));
        assemble(m_members, TAKES_MAX);
        reportMissing();
    }

    // Appends the message to the output queue. A journal keeps it until it is in a file. False,
    // with nothing done, if the journal could not be written.
    bool handOver(const tParts& parts) {
        S_smsRecordRx record = joined(parts);
        m_spoolFull = !writeJournal(record, pathsOf(parts), m_root);
        if (m_spoolFull) return false;
        debug(eLOG_SMS, g_i_debugMode, " %s(): - Enqueueing message", CHECK);
        m_queue.push(std::move(record));
        return true;
    }

    void removeTaken(const S_partsFileAttributes& part) {
        dropFile(part.fileName);
        --m_waiting[m_group].count;
    }

    void reportMissing() const {
        bool& isReported = g_smsMemory.triedGroups[m_group].isReported;
        debug(isReported ? eLOG_SMS : eLOG_NOTICE, g_i_debugMode,
              "Error: %s(): Missing message ID pieces.  Cannot Assemble message.", CHECK);
        isReported = true;
    }

    const std::string& m_root;
    size_t m_fileCount;
    const std::set<sPartGroup>* m_mayBegin;
    tSmsQueue& m_queue;
    bool m_hasGroup = false;
    bool m_open = false;  // more files may join the group
    bool m_removed = false;
    bool m_spoolFull = false;
    sPartGroup m_group;
    tParts m_members;
    std::map<sPartGroup, tParts> m_named;  // by the sender as written
    tGroups m_waiting;
};

bool hasFailedWith(const sPartGroup& group, const sGroupFiles& files) {
    const auto known = g_smsMemory.triedGroups.find(group);
    return known != g_smsMemory.triedGroups.end() && known->second.failedFiles == files.signature;
}

// The groups that have enough files and have not failed with just these files.
std::set<sPartGroup> groupsToTry(const tGroups& waiting, const std::set<sPartGroup>& tried) {
    std::set<sPartGroup> groups;
    for (const auto& [key, files] : waiting)
        if (files.count >= static_cast<size_t>(key.partTotal) && tried.count(key) == 0 &&
            !hasFailedWith(key, files))
            groups.insert(key);
    return groups;
}

// A group that is gone may come back as another message.
void forgetGone(const tGroups& waiting) {
    auto& groups = g_smsMemory.triedGroups;
    for (auto group = groups.begin(); group != groups.end();)
        group = waiting.count(group->first) != 0 ? std::next(group) : groups.erase(group);
}

void noteFailedTry(const cPass& pass, std::set<sPartGroup>& tried) {
    if (!pass.hasGroup() || pass.removedAFile()) return;
    tried.insert(pass.group());
    if (!pass.isSpoolFull())
        g_smsMemory.triedGroups[pass.group()].failedFiles =
            pass.waiting().at(pass.group()).signature;
}

// A pass that removed nothing would be the same again, so each later pass gathers a group that was
// not tried yet. When there is none, nothing is left to do.
void runPasses(tSmsQueue& queue, const std::string& root) {
    const std::string dir = root + SMS_DIR_RECV_PARTS;
    std::set<sPartGroup> tried;
    std::set<sPartGroup> toTry;
    std::vector<std::string> names;
    size_t passes = PASSES_PER_FILE * FIRST_PASS_FILES + 1;
    for (size_t k = 0; k < passes; ++k) {
        if (listSpoolFiles(dir, names) != 0 || names.empty()) return;
        passes = PASSES_PER_FILE * names.size() + 1;
        cPass pass(root, names.size(), k == 0 ? nullptr : &toTry, queue);
        for (const std::string& name : names)
            pass.takeFile(dir + name);
        pass.finish();
        noteFailedTry(pass, tried);
        forgetGone(pass.waiting());
        toTry = groupsToTry(pass.waiting(), tried);
        if (toTry.empty()) return;
    }
}

}  // namespace

void checkSmsParts(tSmsQueue& queue, const std::string& root) {
    traceEntry(eLOG_SMS, __func__);
    beginPartCheck();
    runPasses(queue, root);
    endPartCheck();
}

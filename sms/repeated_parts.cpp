#include "sms/repeated_parts.h"

#include <map>
#include <set>
#include <tuple>

#include "include/debug.h"
#include "sms/part_file.h"
#include "sms/spool.h"

namespace {

// What identifies the message of a part file, what identifies the part, and how new a file is.
using tMessageKey = std::tuple<std::string, int32_t, int32_t>;
using tPartKey = std::tuple<tMessageKey, int32_t, uint32_t, std::string>;
using tNewness = std::tuple<size_t, int64_t, std::string>;

struct sNewest {
    tNewness newness;
    std::string path;
};

// Null when the file is not a waiting part.
const sPartFile* lookAtWaitingPart(const std::string& path) {
    const sPartFile* file = lookAtPartFile(path);
    if (file == nullptr || !file->isRead) return nullptr;
    const S_partsFileAttributes& part = file->attributes;
    return part.msgId == 0 || part.partNumber == 0 || part.partTotal == 0 ? nullptr : file;
}

tMessageKey messageOf(const sPartFile& file) {
    return {file.fromAsWritten, file.attributes.msgId, file.attributes.partTotal};
}

std::set<tMessageKey> messagesOf(const std::vector<std::string>& paths) {
    std::set<tMessageKey> messages;
    for (const std::string& path : paths)
        if (const sPartFile* file = lookAtWaitingPart(path)) messages.insert(messageOf(*file));
    return messages;
}

void dropRepeated(const std::string& path) {
    debug(eLOG_NOTICE, g_i_debugMode, "SMS part came twice, deleting older file %s",
          oneLineText(path).c_str());
    removePartFile(path);
}

}  // namespace

void removeRepeatedParts(const std::string& root, const std::vector<std::string>& written) {
    const std::string dir = root + SMS_DIR_RECV_PARTS;
    std::vector<std::string> names;
    if (written.empty() || listSpoolFiles(dir, names) != 0) return;
    const std::set<tMessageKey> messages = messagesOf(written);
    std::map<std::string, size_t> order;
    for (const std::string& path : written)
        order.emplace(path, order.size() + 1);

    std::map<tPartKey, sNewest> newest;
    for (const std::string& name : names) {
        const std::string path = dir + name;
        const sPartFile* file = lookAtWaitingPart(path);
        if (file == nullptr || messages.count(messageOf(*file)) == 0) continue;
        const S_partsFileAttributes& part = file->attributes;
        const auto place = order.find(path);
        const tNewness newness{place == order.end() ? 0 : place->second, file->identity.modifiedNs,
                               path};
        const tPartKey key{messageOf(*file), part.partNumber, part.timeUnformatted, part.message};
        const auto [entry, isFirst] = newest.try_emplace(key, sNewest{newness, path});
        if (isFirst) continue;
        if (newness < entry->second.newness) {
            dropRepeated(path);
        } else {
            dropRepeated(entry->second.path);
            entry->second = {newness, path};
        }
    }
}

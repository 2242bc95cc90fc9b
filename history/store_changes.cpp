#include "history/store_changes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "cli/base/utc_time.h"
#include "history/history_paths.h"
#include "history/store_file.h"
#include "platform/files/file_descriptor.h"

namespace {

constexpr size_t BLOCK_BYTES = 4096;
// Until then a file waits for the clock to reach its last update.
constexpr time_t AHEAD_MAX_S = 600;

// The same steps as in an image that has not changed are left out.
bool addBlocks(int before, int after, const std::string& name, cRedo& redo) {
    std::string old(BLOCK_BYTES, '\0');
    std::string changed(BLOCK_BYTES, '\0');
    for (uint64_t offset = 0;; offset += BLOCK_BYTES) {
        const ssize_t oldSize = pread(before, old.data(), BLOCK_BYTES, static_cast<off_t>(offset));
        const ssize_t size = pread(after, changed.data(), BLOCK_BYTES, static_cast<off_t>(offset));
        if (size < 0 || size != oldSize) return false;
        if (size == 0) return true;
        const auto length = static_cast<size_t>(size);
        if (old.compare(0, length, changed, 0, length) != 0)
            redo.add({cRedo::sStep::eKind::BLOCK, name, offset, changed.substr(0, length)});
    }
}

}  // namespace

time_t windowsBegin(const tWindows& windows, time_t now) {
    time_t begin = now / WINDOW_S * WINDOW_S;
    for (const auto& [end, window] : windows)
        if (isTimeKnown(end)) begin = std::min(begin, end - WINDOW_S);
    return begin;
}

std::vector<cRrdImage::sUpdate> updatesOf(const sStore& store, const tWindows& windows,
                                          time_t last) {
    std::vector<cRrdImage::sUpdate> updates;
    for (const auto& [end, window] : windows) {
        if (end <= last || !isTimeKnown(end)) continue;
        const time_t begin = end - WINDOW_S;
        if (begin > last)
            updates.push_back({begin, std::vector<double>(store.sources.size(), std::nan(""))});
        std::vector<double> values;
        for (const eSource source : store.sources)
            values.push_back(window.value(source));
        updates.push_back({end, values});
        last = end;
    }
    return updates;
}

bool addStoreChanges(const sPlaces& places, int slot, const sStore& store, const tWindows& windows,
                     time_t now, cRedo& redo, std::string& error) {
    const std::string name = storeName(store, slot);
    const std::string path = historyPath(places, name);
    cRrdImage image;
    if (!image.load(path, store)) {
        error = path + " " + image.errorText();
        return false;
    }
    if (image.last() > now + AHEAD_MAX_S &&
        (!makeStoreFile(path, store, windowsBegin(windows, now), path, error) ||
         !image.load(path, store))) {
        error = "cannot cut " + path + " back to the present: " + error;
        return false;
    }
    if (!image.update(updatesOf(store, windows, image.last()))) {
        error = path + ": " + image.errorText();
        return false;
    }
    const cFileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (file.isOpen() && addBlocks(file.get(), image.descriptor(), name, redo)) return true;
    error = "cannot read " + path + ": " + strerror(errno);
    return false;
}

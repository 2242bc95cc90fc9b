#include "history/store_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "history/history_paths.h"
#include "history/rrd_image.h"
#include "platform/files/file_descriptor.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr mode_t FILE_MODE = 0644;
constexpr size_t ERROR_MAX = 500;
// librrd itself makes "1.rrd.newXXXXXX", renames it, and does not wait for the disk.
constexpr const char* DRAFT_SUFFIX = ".new";

bool isOnDisk(const std::string& path, int flags) {
    const cFileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | flags));
    return file.isOpen() && fsync(file.get()) == 0;
}

bool makeHere(const std::string& path, const sStore& store, time_t begin, const std::string& source,
              std::string& error) {
    const std::string draft = path + DRAFT_SUFFIX;
    if (!cRrdImage::create(draft, store, begin, source, error)) return false;
    if (chmod(draft.c_str(), FILE_MODE) == 0 && isOnDisk(draft, O_NOFOLLOW) &&
        rename(draft.c_str(), path.c_str()) == 0 &&
        isOnDisk(path.substr(0, path.rfind('/')), O_DIRECTORY))
        return true;
    error = strerror(errno);
    unlink(draft.c_str());
    return false;
}

std::string readAll(int file) {
    std::string text;
    char buffer[ERROR_MAX];
    for (ssize_t count; (count = read(file, buffer, sizeof buffer)) != 0;) {
        if (count < 0 && errno != EINTR) break;
        if (count > 0) text.append(buffer, static_cast<size_t>(count));
    }
    return text.substr(0, ERROR_MAX);
}

}  // namespace

bool makeStoreFile(const std::string& path, const sStore& store, time_t begin,
                   const std::string& source, std::string& error) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        error = strerror(errno);
        return false;
    }
    const cFileDescriptor reading(ends[0]);
    cFileDescriptor writing(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        std::string why;
        const bool isMade = makeHere(path, store, begin, source, why);
        _exit(isMade ? 0 : writeAll(writing.get(), why) ? 1 : 2);
    }
    if (child < 0) {
        error = strerror(errno);
        return false;
    }
    writing.reset();
    error = readAll(reading.get());
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    if (error.empty()) error = "the process that makes it was ended";
    return false;
}

void sweepStoreDrafts(const sPlaces& places, int slot) {
    DIR* folder = opendir(places.at(HISTORY_FOLDER).c_str());
    if (folder == nullptr) return;
    while (const dirent* entry = readdir(folder))
        for (const sStore& store : STORES)
            if (startsWith(entry->d_name, storeName(store, slot) + DRAFT_SUFFIX))
                unlink(historyPath(places, entry->d_name).c_str());
    closedir(folder);
}

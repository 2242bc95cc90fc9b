#include "include/flush.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Some file systems have no fsync, because they need none.
bool flushPath(const std::string& path, int flags) {
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags);
    if (fd == -1) return false;
    const bool isFlushed = fsync(fd) == 0 || errno == EINVAL;
    const int error = errno;
    close(fd);
    errno = error;
    return isFlushed;
}

}  // namespace

bool flushFolderOf(const std::string& path) {
    return flushPath(path.substr(0, path.rfind('/') + 1), O_DIRECTORY);
}

bool flushFileAndFolder(const std::string& path) {
    return flushPath(path, 0) && flushFolderOf(path);
}

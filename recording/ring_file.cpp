#include "recording/ring_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

bool cRingFile::open(const std::string& path, const std::string& olderPath, size_t maxBytes) {
    close();
    m_path = path;
    m_olderPath = olderPath;
    m_maxBytes = maxBytes;
    return openCurrent() && cutTornLine();
}

void cRingFile::close() {
    if (m_file != -1) ::close(m_file);
    m_file = -1;
}

bool cRingFile::openCurrent() {
    constexpr int FLAGS = O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    m_file = ::open(m_path.c_str(), FLAGS, 0600);
    if (m_file == -1) return false;
    struct stat info {};
    // A second name, or another owner: whoever has it could read along, or lose a file to it.
    if (fstat(m_file, &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink > 1 ||
        info.st_uid != geteuid()) {
        close();
        errno = EINVAL;
        return false;
    }
    m_size = static_cast<size_t>(info.st_size);
    return true;
}

// A reader ignores a torn line at the end of a file only, and more lines come after it.
bool cRingFile::cutTornLine() {
    char part[4096];
    size_t end = m_size;
    while (end > 0) {
        const size_t size = end < sizeof part ? end : sizeof part;
        const size_t begin = end - size;
        if (pread(m_file, part, size, static_cast<off_t>(begin)) != static_cast<ssize_t>(size))
            return false;
        const void* const lineEnd = memrchr(part, '\n', size);
        end = begin;
        if (lineEnd == nullptr) continue;
        end += static_cast<size_t>(static_cast<const char*>(lineEnd) - part) + 1;
        break;
    }
    if (end == m_size) return true;
    m_size = end;
    return ftruncate(m_file, static_cast<off_t>(end)) == 0;
}

bool cRingFile::turn() {
    if (rename(m_path.c_str(), m_olderPath.c_str()) != 0) return false;
    close();
    return openCurrent();
}

bool cRingFile::write(const char* lines, size_t size) {
    const ssize_t count = ::write(m_file, lines, size);
    if (count == static_cast<ssize_t>(size)) {
        m_size += size;
        return true;
    }
    const int error = count == -1 ? errno : ENOSPC;
    [[maybe_unused]] const int ignored = ftruncate(m_file, static_cast<off_t>(m_size));
    errno = error;
    return false;
}

namespace {

bool copyBytes(int source, int target) {
    char buffer[16384];
    for (;;) {
        const ssize_t count = read(source, buffer, sizeof buffer);
        if (count <= 0) return count == 0;
        const ssize_t written = write(target, buffer, static_cast<size_t>(count));
        if (written == count) continue;
        if (written >= 0) errno = ENOSPC;
        return false;
    }
}

}  // namespace

bool appendFile(const std::string& path, int target) {
    const int source = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (source == -1) return false;
    const bool isCopied = copyBytes(source, target);
    const int error = errno;
    close(source);
    errno = error;
    return isCopied;
}

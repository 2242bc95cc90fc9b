#ifndef PLATFORM_FILES_FILE_DESCRIPTOR_H
#define PLATFORM_FILES_FILE_DESCRIPTOR_H

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

// Closes a descriptor at the end of its scope and preserves errno, so that the caller still sees
// why the scope was left.
class cFileDescriptor {
  public:
    explicit cFileDescriptor(int fd = -1) : m_fd(fd) {}
    ~cFileDescriptor() { reset(); }
    cFileDescriptor(const cFileDescriptor&) = delete;
    cFileDescriptor& operator=(const cFileDescriptor&) = delete;

    bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }

    void reset(int fd = -1) {
        const int error = errno;
        if (m_fd >= 0) close(m_fd);
        m_fd = fd;
        errno = error;
    }

  private:
    int m_fd;
};

// Releases the descriptor of a regular file; -1 with errno for any other file and for none.
inline int releaseRegularFile(cFileDescriptor& file) {
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) return -1;
    if (S_ISREG(status.st_mode)) return file.release();
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return -1;
}

// Writes everything, in several calls if the system accepts only a part. Returns false, with errno
// set, if the rest cannot be written.
inline bool writeAll(int fd, const std::string& content) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(fd, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

#endif

#include "platform/include/file_vector.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/files/error_sink.h"
#include "platform/files/file_descriptor.h"

namespace {

constexpr mode_t PERMISSION_BITS = 0777;

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Some file systems report a full disk or an exceeded quota only at close.
bool closeChecked(cFileDescriptor& file) {
    return close(file.release()) == 0;
}

// Sets mode and owner to those of the regular file at path, else to newFileMode and our own user.
bool takeOverOwnerAndMode(int fd, const std::string& path, mode_t newFileMode) {
    struct stat old {};
    if (lstat(path.c_str(), &old) != 0 || !S_ISREG(old.st_mode)) {
        return fchmod(fd, newFileMode) == 0;
    }
    // Only root can change the owner; for other users new content under their own name is better
    // than none. Set-uid bits are never copied.
    const bool given = fchown(fd, old.st_uid, old.st_gid) == 0;
    if (!given && geteuid() == 0) return false;
    return fchmod(fd, old.st_mode & PERMISSION_BITS) == 0;
}

// A new file under a name that did not exist, so no link is followed.
int createTemporaryFile(std::string& path) {
    return mkostemp(path.data(), O_CLOEXEC | O_NOFOLLOW);
}

// Waits until the data are on the disk. Otherwise a journal of names and sizes, as ext4 has it, may
// bring the new name there first: after a power cut the file then has its size, but only zero
// bytes. Unlike fsync this neither commits that journal nor empties the disk's cache, so that
// hardly more is written. A failure is no reason to keep the new content from readers: a bad disk
// shows by itself.
void settleData(int fd) {
    constexpr unsigned WHOLE =
        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    sync_file_range(fd, 0, 0, WHOLE);
}

bool fillTemporaryFile(cFileDescriptor& file, const std::string& content, const std::string& target,
                       mode_t newFileMode) {
    if (!writeAll(file.get(), content) || !takeOverOwnerAndMode(file.get(), target, newFileMode)) {
        return false;
    }
    settleData(file.get());
    return closeChecked(file);
}

// Opens the end of an existing file, or a new file. Never a link, a FIFO or a device.
int openForAppend(const std::string& path, mode_t newFileMode) {
    constexpr int FLAGS = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    cFileDescriptor file(open(path.c_str(), FLAGS | O_CREAT | O_EXCL, 0600));
    if (file.isOpen()) return fchmod(file.get(), newFileMode) == 0 ? file.release() : -1;
    if (errno != EEXIST) return -1;
    file.reset(open(path.c_str(), FLAGS));
    return releaseRegularFile(file);
}

// Appends all of content or nothing: half a line would merge with the next one.
bool appendWhole(cFileDescriptor& file, const std::string& content) {
    const off_t oldSize = lseek(file.get(), 0, SEEK_END);
    if (writeAll(file.get(), content)) return closeChecked(file);
    const int error = errno;
    if (oldSize >= 0 && ftruncate(file.get(), oldSize) != 0) {
        logSystemError("remove a part of a line from", "a file that could not be extended", errno);
    }
    errno = error;
    return false;
}

}  // namespace

cFileVector::cFileVector(const std::string& path, mode_t newFileMode)
    : m_path(path), m_temporaryDirectory(folderOf(path)), m_newFileMode(newFileMode) {}

void cFileVector::AppendLine(const std::string& text, bool withLineEnd) {
    m_content += text;
    if (withLineEnd) m_content += '\n';
}

void cFileVector::clear() {
    m_content.clear();
}

void cFileVector::SetTemporaryDirectory(const std::string& directory) {
    m_temporaryDirectory = directory;
}

// Writes a temporary file in folder and renames it to the target. Returns the action that failed,
// with errno set, or nullptr.
const char* cFileVector::replaceFrom(const std::string& folder) {
    m_temporaryPath.assign(folder).append("/").append(TEMPORARY_NAME_PREFIX).append("XXXXXX");
    cFileDescriptor file(createTemporaryFile(m_temporaryPath));
    if (!file.isOpen()) return "make a temporary file for";
    if (fillTemporaryFile(file, m_content, m_path, m_newFileMode) &&
        rename(m_temporaryPath.c_str(), m_path.c_str()) == 0)
        return nullptr;
    const int error = errno;
    unlink(m_temporaryPath.c_str());
    errno = error;
    return "write file";
}

bool cFileVector::Write() {
    const char* failed = replaceFrom(m_temporaryDirectory);
    // The target's folder is on another file system.
    if (failed != nullptr && errno == EXDEV) failed = replaceFrom(folderOf(m_path));
    if (failed == nullptr) return true;
    logSystemError(failed, m_path, errno);
    return false;
}

bool cFileVector::WriteAppend() {
    cFileDescriptor file(openForAppend(m_path, m_newFileMode));
    if (file.isOpen() && appendWhole(file, m_content)) return true;
    logSystemError("append to file", m_path, errno);
    return false;
}

#include "platform/store/store_environment.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/files/file_descriptor.h"
#include "platform/files/make_folder.h"
#include "platform/store/examination.h"

namespace {

constexpr size_t MAP_BYTES = 4 * 1024 * 1024;
constexpr off_t LOCK_FILE_BYTES = 8192;  // size that LMDB makes for its usual number of readers
constexpr int OPEN_ATTEMPTS = 5;
constexpr mode_t FOLDER_MODE = 0755;
constexpr mode_t FILE_MODE = 0600;            // a reader could hold locks that stop a writer
constexpr unsigned WRITE_FLAGS = MDB_NOSYNC;  // in memory there is no disk to wait for

int openEnvironment(const std::string& folder, unsigned flags, MDB_env*& handle) {
    int result = mdb_env_create(&handle);
    if (result != 0) return result;
    result = mdb_env_set_mapsize(handle, MAP_BYTES);
    if (result == 0) result = mdb_env_open(handle, folder.c_str(), flags, FILE_MODE);
    if (result == 0) return 0;
    mdb_env_close(std::exchange(handle, nullptr));
    return result;
}

// A failure that says nothing about the files, such as missing rights, is no damage.
bool isSound(const std::string& folder) {
    return passesExamination([&] {
        MDB_env* environment = nullptr;
        int result = openEnvironment(folder, MDB_RDONLY, environment);
        if (result == ENOMEM) result = MDB_CORRUPTED;  // its header claims more than all memory
        if (result == 0) {
            failOnDamage(environment);
            result = readEverything(environment, MAP_BYTES);
        }
        return !showsDamage(result);
    });
}

}  // namespace

void cStoreEnvironment::setFolder(const std::string& folder) {
    close();
    m_isSuspect = false;
    m_folder = folder;
    m_dataPath = folder + "/data.mdb";
    m_lockPath = folder + "/lock.mdb";
}

void cStoreEnvironment::close() {
    if (m_handle != nullptr) mdb_env_close(std::exchange(m_handle, nullptr));
    m_isWritable = false;
}

int cStoreEnvironment::lookAt(const std::string& path, sMappedFile& file) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return errno;
    file = {status.st_dev, status.st_ino, status.st_size, status.st_ctim};
    return 0;
}

bool cStoreEnvironment::isUnharmed(const std::string& path, sMappedFile& known) {
    sMappedFile now;
    if (lookAt(path, now) != 0) return false;
    if (!now.isSameFile(known) || now.size < known.size) return false;
    known = now;
    return true;
}

bool cStoreEnvironment::isUsable(bool forWriting) {
    if (m_handle == nullptr || (forWriting && !m_isWritable)) return false;
    return isUnharmed(m_dataPath, m_data) && isUnharmed(m_lockPath, m_lock);
}

int cStoreEnvironment::openToRead() {
    if (isUsable(false)) return 0;
    close();
    // No lock here: a writer that was stopped while it holds the lock must not block the readers.
    // So the files may be replaced meanwhile.
    int result = EAGAIN;
    for (int i = 0; i < OPEN_ATTEMPTS && result == EAGAIN; i++) {
        result = openUnlocked();
    }
    return result;
}

// EAGAIN if a writer replaced the files meanwhile: then they may not belong together.
int cStoreEnvironment::openUnlocked() {
    sMappedFile data;
    sMappedFile lock;
    int result = lookAt(m_dataPath, data);
    if (result != 0) return result;
    if (data.size == 0) return ENOENT;
    const bool hadLockFile = lookAt(m_lockPath, lock) == 0;
    result = openChecked(false);
    if (result != 0) return result;
    if (m_data.isSameFile(data) && (!hadLockFile || m_lock.isSameFile(lock))) return 0;
    close();
    return EAGAIN;
}

int cStoreEnvironment::openToWrite() {
    if (isUsable(true)) return 0;
    close();
    if (!makeFolder(m_folder, FOLDER_MODE)) return errno;
    const cFileDescriptor lock(lockOpening());
    if (!lock.isOpen()) return errno;
    int result = m_isSuspect ? MDB_CORRUPTED : openChecked(true);
    if (showsDamage(result)) {
        result = putAside();
        if (result == 0) result = openChecked(true);
    }
    if (result == 0) clearStaleReaders();
    return result;
}

// Writers open, make and move the files under this lock, so that none gets the lock file of one
// store with the data of another.
int cStoreEnvironment::lockOpening() const {
    const std::string path = m_folder + "/open.lock";
    cFileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
    if (!file.isOpen()) return -1;
    while (flock(file.get(), LOCK_EX) != 0) {
        if (errno != EINTR) return -1;
    }
    return file.release();
}

// LMDB follows links: it opens and writes whatever has the name. So only a regular file of our own
// may have it.
int cStoreEnvironment::clearPlace(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return errno == ENOENT ? 0 : errno;
    if (S_ISREG(status.st_mode) && status.st_nlink == 1) return 0;
    return unlink(path.c_str()) == 0 ? 0 : errno;
}

// Allocates the lock file. LMDB only sets its size and writes to it through a memory map, which on
// a full file system ends the process with SIGBUS. A file that cannot be written here is only read
// by LMDB too.
int cStoreEnvironment::reserveLockFile() const {
    constexpr int FLAGS = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const cFileDescriptor file(open(m_lockPath.c_str(), FLAGS, FILE_MODE));
    if (!file.isOpen()) return errno == ENOSPC ? ENOSPC : 0;
    return posix_fallocate(file.get(), 0, LOCK_FILE_BYTES) == ENOSPC ? ENOSPC : 0;
}

// Opens the environment once the files have been examined; a new one needs no examination.
int cStoreEnvironment::openChecked(bool forWriting) {
    for (const std::string& path : {m_dataPath, m_lockPath})
        if (const int error = clearPlace(path)) return error;
    if (const int error = reserveLockFile()) return error;
    sMappedFile data;
    const bool isNew = lookAt(m_dataPath, data) != 0 || data.size == 0;
    if (!isNew && !isSound(m_folder)) return MDB_CORRUPTED;
    int result = openEnvironment(m_folder, forWriting ? WRITE_FLAGS : MDB_RDONLY, m_handle);
    if (result != 0) return result;
    m_isWritable = forWriting;
    result = lookAt(m_dataPath, m_data);
    if (result == 0) result = lookAt(m_lockPath, m_lock);
    if (result != 0) close();
    return result;
}

int cStoreEnvironment::putAside() {
    const std::string aside = m_dataPath + ".broken";
    const bool isMoved = rename(m_dataPath.c_str(), aside.c_str()) == 0 || errno == ENOENT;
    if (!isMoved) return errno;
    // A lock file contains nothing worth keeping.
    if (unlink(m_lockPath.c_str()) != 0 && errno != ENOENT) return errno;
    m_isSuspect = false;
    syslog(LOG_NOTICE, "Error: Key-value store was damaged, put aside as %s", aside.c_str());
    return 0;
}

bool cStoreEnvironment::noteDamage(int result) {
    if (!showsDamage(result)) return false;
    m_isSuspect = true;
    close();
    return true;
}

bool cStoreEnvironment::clearStaleReaders() {
    int dead = 0;
    return mdb_reader_check(m_handle, &dead) == 0 && dead > 0;
}

size_t cStoreEnvironment::lastTransaction() const {
    MDB_envinfo info{};
    mdb_env_info(m_handle, &info);
    return info.me_last_txnid;
}

bool cStoreEnvironment::isUntouched() {
    const sContent before = std::exchange(m_content, {});
    if (openToRead() != 0) return false;
    m_content = {m_data, lastTransaction()};
    return m_content.isSame(before);
}

// If something else was written meanwhile, the content stays as it was looked at before, and the
// next look shows a difference.
void cStoreEnvironment::noteBatch(size_t transaction) {
    const bool isNext = m_content.isSame({m_data, transaction - 1});
    if (!isNext || lastTransaction() != transaction) return;
    if (lookAt(m_dataPath, m_content.file) == 0) m_content.transaction = transaction;
}

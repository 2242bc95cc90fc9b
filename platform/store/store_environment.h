#ifndef PLATFORM_STORE_STORE_ENVIRONMENT_H
#define PLATFORM_STORE_STORE_ENVIRONMENT_H

#include <lmdb.h>
#include <sys/types.h>

#include <ctime>
#include <string>

#include "platform/store/store_value.h"

// The LMDB environment of the key-value store: a folder with data.mdb and lock.mdb. It is opened at
// first use, and again if its files were removed, replaced or cut. It is trusted only after a child
// process has read all of it; the first writer moves a damaged store away.
class cStoreEnvironment {
  public:
    cStoreEnvironment() { setFolder("/run/cellslot/skvs"); }
    ~cStoreEnvironment() { close(); }
    cStoreEnvironment(const cStoreEnvironment&) = delete;
    cStoreEnvironment& operator=(const cStoreEnvironment&) = delete;

    const std::string& folder() const { return m_folder; }
    void setFolder(const std::string& folder);

    // Both return 0 or an error of LMDB or of the system; openToRead returns ENOENT if nothing was
    // ever stored. Call one before each transaction; a valid environment stays open.
    int openToRead();
    int openToWrite();

    // The open environment.
    MDB_env* handle() const { return m_handle; }

    // Returns whether the result of a transaction shows damage. If so, it has closed the
    // environment, and opening it for writing makes a new one.
    bool noteDamage(int result);

    // Whether nothing was written to the data since the last call, except in the transactions of
    // noteBatch. Opens the environment.
    bool isUntouched();
    void noteBatch(size_t transaction);

    // Removes readers that were killed. Returns whether there were any.
    bool clearStaleReaders();

  private:
    // The file as last seen. It is mapped, so it must never get shorter.
    struct sMappedFile {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec changed = {};

        bool isSameFile(const sMappedFile& other) const {
            return device == other.device && inode == other.inode;
        }
    };

    // It differs from that of any other content: each commit has the next number, and what is
    // written past LMDB changes the time of the file.
    struct sContent {
        sMappedFile file;
        size_t transaction = 0;

        bool isSame(const sContent& other) const {
            return transaction == other.transaction && file.isSameFile(other.file) &&
                   file.changed.tv_sec == other.file.changed.tv_sec &&
                   file.changed.tv_nsec == other.file.changed.tv_nsec;
        }
    };

    static int lookAt(const std::string& path, sMappedFile& file);
    static bool isUnharmed(const std::string& path, sMappedFile& known);

    bool isUsable(bool forWriting);
    int openUnlocked();
    int lockOpening() const;
    static int clearPlace(const std::string& path);
    int reserveLockFile() const;
    int openChecked(bool forWriting);
    int putAside();
    void close();

    size_t lastTransaction() const;

    std::string m_folder;
    std::string m_dataPath;
    std::string m_lockPath;
    MDB_env* m_handle = nullptr;
    bool m_isWritable = false;
    bool m_isSuspect = false;  // damage was found in use
    sMappedFile m_data;
    sMappedFile m_lock;
    sContent m_content;  // as last looked at, or as a batch left it
};

#endif

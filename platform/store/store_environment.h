#ifndef PLATFORM_STORE_STORE_ENVIRONMENT_H
#define PLATFORM_STORE_STORE_ENVIRONMENT_H

#include <lmdb.h>
#include <sys/types.h>

#include <string>

// Texts as LMDB's values. toValue refers to the text it is given.
inline MDB_val toValue(const std::string& text) {
    return {text.size(), const_cast<char*>(text.data())};
}
inline std::string toText(const MDB_val& value) {
    return {static_cast<const char*>(value.mv_data), value.mv_size};
}

// The LMDB environment of the key-value store: a folder with data.mdb and lock.mdb. Opened when it
// is first needed, and anew when somebody removed, replaced or cut its files meanwhile. Nothing in
// it is trusted before a child process has read it all, and a damaged store is put aside by the
// first who wants to write.
class cStoreEnvironment {
  public:
    cStoreEnvironment() = default;
    ~cStoreEnvironment() { close(); }
    cStoreEnvironment(const cStoreEnvironment&) = delete;
    cStoreEnvironment& operator=(const cStoreEnvironment&) = delete;

    const std::string& folder() const { return m_folder; }
    void setFolder(const std::string& folder);

    // Both return 0 or an error of LMDB or of the system; ENOENT of openToRead: nothing was ever
    // stored. Called before each transaction; an environment that is in order stays open.
    int openToRead();
    int openToWrite();

    // The open environment.
    MDB_env* handle() const { return m_handle; }

    // Takes a transaction's result and returns whether it is a sign of damage: then the environment
    // was closed, and opening it to write makes a new one.
    bool noteDamage(int result);

    // Frees what killed processes hold. Returns whether there was any.
    bool clearStaleReaders();

  private:
    // What a file was when last looked at. It is mapped, so it may never get shorter.
    struct sMappedFile {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;

        bool isSameFile(const sMappedFile& other) const {
            return device == other.device && inode == other.inode;
        }
    };

    static int lookAt(const std::string& path, sMappedFile& file);
    static bool isUnharmed(const std::string& path, sMappedFile& known);

    std::string dataPath() const { return m_folder + "/data.mdb"; }
    std::string lockPath() const { return m_folder + "/lock.mdb"; }
    bool isUsable(bool forWriting);
    int openUnlocked();
    int lockOpening() const;
    static int clearPlace(const std::string& path);
    int reserveLockFile() const;
    int openChecked(bool forWriting);
    int putAside();
    void close();

    std::string m_folder = "/run/cellslot/skvs";
    MDB_env* m_handle = nullptr;
    bool m_isWritable = false;
    bool m_isSuspect = false;  // damage was met in use
    sMappedFile m_data;
    sMappedFile m_lock;
};

#endif

#include "platform/include/key_value_store.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "platform/store/store_environment.h"

namespace {

constexpr size_t MAX_KEY_BYTES = 500;  // LMDB takes 511
constexpr size_t MAX_VALUE_BYTES = 4096;
constexpr int FULL_ATTEMPTS = 10;
constexpr useconds_t FULL_WAIT_US = 2000;

using tEntry = std::pair<std::string, std::string>;

// Keys and values to be set, in this order. Cleared, it keeps the memory of its texts.
class cEntries {
  public:
    void add(const char* key, const char* value) {
        if (m_count == m_entries.size()) m_entries.emplace_back();
        tEntry& entry = m_entries[m_count++];
        entry.first = key;
        entry.second = value;
    }
    void clear() { m_count = 0; }

    // A key that is set twice gets its last value, also if that is the stored one.
    template <typename tTest>
    void dropStored(tTest isStored) {
        size_t kept = 0;
        for (size_t i = 0; i < m_count; ++i) {
            if (isStored(m_entries[i]) && !isAmong(kept, m_entries[i].first)) continue;
            std::swap(m_entries[kept++], m_entries[i]);
        }
        m_count = kept;
    }

    size_t size() const { return m_count; }
    const tEntry* begin() const { return m_entries.data(); }
    const tEntry* end() const { return begin() + m_count; }

  private:
    bool isAmong(size_t count, const std::string& key) const {
        return std::any_of(begin(), begin() + count,
                           [&key](const tEntry& entry) { return entry.first == key; });
    }

    std::vector<tEntry> m_entries;
    size_t m_count = 0;
};

// State between calls.
struct sStore {
    cStoreEnvironment environment;
    bool isBatch = false;
    cEntries pending;      // the sets of the batch
    int loggedResult = 0;  // of the last write, so that a full store is logged once
};

sStore& store() {
    static sStore instance;
    return instance;
}

// A transaction that is rolled back unless it is committed.
class cTransaction {
  public:
    cTransaction(MDB_env* environment, unsigned flags) {
        m_result = mdb_txn_begin(environment, nullptr, flags, &m_handle);
        if (m_result == 0) m_result = mdb_dbi_open(m_handle, nullptr, 0, &m_database);
    }
    ~cTransaction() { mdb_txn_abort(m_handle); }
    cTransaction(const cTransaction&) = delete;
    cTransaction& operator=(const cTransaction&) = delete;

    // 0, or the LMDB error that kept the transaction from starting.
    int result() const { return m_result; }

    int get(const std::string& key, std::string& text) const {
        MDB_val keyValue = toValue(key);
        MDB_val value{};
        const int result = mdb_get(m_handle, m_database, &keyValue, &value);
        if (result == 0) text = toText(value);
        return result;
    }

    bool holds(const tEntry& entry) const {
        MDB_val key = toValue(entry.first);
        MDB_val value{};
        return mdb_get(m_handle, m_database, &key, &value) == 0 &&
               value.mv_size == entry.second.size() &&
               memcmp(value.mv_data, entry.second.data(), value.mv_size) == 0;
    }

    int put(const tEntry& entry) {
        MDB_val keyValue = toValue(entry.first);
        MDB_val value = toValue(entry.second);
        return mdb_put(m_handle, m_database, &keyValue, &value, 0);
    }

    // The entries whose key starts with prefix, in the order of their bytes.
    int list(const std::string& prefix,
             std::vector<std::pair<std::string, std::string>>& out) const {
        MDB_cursor* cursor = nullptr;
        int result = mdb_cursor_open(m_handle, m_database, &cursor);
        if (result != 0) return result;
        MDB_val key = toValue(prefix);
        MDB_val value{};
        MDB_cursor_op operation = prefix.empty() ? MDB_FIRST : MDB_SET_RANGE;
        while ((result = mdb_cursor_get(cursor, &key, &value, operation)) == 0) {
            const std::string name = toText(key);
            if (name.compare(0, prefix.size(), prefix) != 0) break;
            out.emplace_back(name, toText(value));
            operation = MDB_NEXT;
        }
        mdb_cursor_close(cursor);
        return result == MDB_NOTFOUND ? 0 : result;
    }

    size_t number() const { return mdb_txn_id(m_handle); }
    int commit() { return mdb_txn_commit(std::exchange(m_handle, nullptr)); }

  private:
    MDB_txn* m_handle = nullptr;
    MDB_dbi m_database = 0;
    int m_result;
};

// Runs work in a read-only transaction. ENOENT if nothing was ever stored.
template <typename tWork>
int read(tWork work) {
    cStoreEnvironment& environment = store().environment;
    int result = environment.openToRead();
    if (result != 0) return result;
    const auto readOnce = [&] {
        const cTransaction transaction(environment.handle(), MDB_RDONLY);
        return transaction.result() == 0 ? work(transaction) : transaction.result();
    };
    result = readOnce();
    if (result == MDB_READERS_FULL && environment.clearStaleReaders()) result = readOnce();
    environment.noteDamage(result);
    return result;
}

int writeOnce(const tEntry* begin, const tEntry* end) {
    cStoreEnvironment& environment = store().environment;
    const int openResult = environment.openToWrite();
    if (openResult != 0) return openResult;
    cTransaction transaction(environment.handle(), 0);
    if (transaction.result() != 0) return transaction.result();
    for (const tEntry* entry = begin; entry != end; ++entry) {
        const int putResult = transaction.put(*entry);
        if (putResult != 0) return putResult;
    }
    const size_t number = transaction.number();
    const int result = transaction.commit();
    if (result == 0 && store().isBatch) environment.noteBatch(number);
    return result;
}

// A store is often full only because a reader holds old pages. A killed reader is removed; for one
// that lost the processor for a moment, the writer waits. If the store is known to be full, the
// writer does not wait again.
int writeToFull(const cEntries& entries) {
    const int attempts = store().loggedResult == MDB_MAP_FULL ? 1 : FULL_ATTEMPTS;
    int result = MDB_MAP_FULL;
    for (int i = 0; i < attempts && result == MDB_MAP_FULL; i++) {
        if (!store().environment.clearStaleReaders() && i > 0) usleep(FULL_WAIT_US);
        result = writeOnce(entries.begin(), entries.end());
    }
    return result;
}

// One transaction per entry, so that an entry that does not fit does not affect the others.
int writeSingly(const cEntries& entries) {
    int result = 0;
    for (const tEntry& entry : entries) {
        const int single = writeOnce(&entry, &entry + 1);
        if (single != 0) result = single;
    }
    return result;
}

int write(const cEntries& entries) {
    int result = writeOnce(entries.begin(), entries.end());
    if (result == MDB_MAP_FULL) result = writeToFull(entries);
    if (result == MDB_MAP_FULL && entries.size() > 1) result = writeSingly(entries);
    if (store().environment.noteDamage(result)) result = writeOnce(entries.begin(), entries.end());
    return result;
}

// Drops the entries that are stored already. If the store cannot be read, none.
void dropStored(cEntries& entries) {
    read([&entries](const cTransaction& transaction) {
        entries.dropStored([&](const tEntry& entry) { return transaction.holds(entry); });
        return 0;
    });
}

int save(cEntries& entries) {
    dropStored(entries);
    if (entries.size() == 0) return 0;  // this does not mean that the store can be written
    const int result = write(entries);
    if (result != 0 && result != store().loggedResult) {
        syslog(LOG_NOTICE, "Error: Cannot write key-value store %s, errno %d (%s)",
               store().environment.folder().c_str(), result, mdb_strerror(result));
    }
    store().loggedResult = result;
    return result;
}

bool isValidKey(const char* key) {
    if (key == nullptr) return false;
    const size_t length = strnlen(key, MAX_KEY_BYTES + 1);
    return length >= 1 && length <= MAX_KEY_BYTES;
}

}  // namespace

void setKeyValueStorePath(const std::string& folder) {
    store().environment.setFolder(folder);
    store().isBatch = false;
    store().pending.clear();
    store().loggedResult = 0;
}

int skvs_get(const char* key, char* buffer, size_t size) {
    const bool hasRoom = buffer != nullptr && size > 0;
    if (hasRoom) buffer[0] = '\0';
    if (!isValidKey(key)) return -1;
    std::string value;
    const auto work = [&](const cTransaction& transaction) { return transaction.get(key, value); };
    if (read(work) != 0) return -1;
    if (hasRoom) {
        const size_t length = std::min(value.size(), size - 1);
        memcpy(buffer, value.data(), length);
        buffer[length] = '\0';
    }
    return static_cast<int>(value.size());
}

int skvs_set(const char* key, const char* value) {
    if (!isValidKey(key) || value == nullptr) return EINVAL;
    if (strnlen(value, MAX_VALUE_BYTES + 1) > MAX_VALUE_BYTES) return EINVAL;
    if (store().isBatch) {
        store().pending.add(key, value);
        return 0;
    }
    cEntries single;
    single.add(key, value);
    return save(single);
}

void skvs_batch_begin() {
    store().isBatch = true;
}

int skvs_batch_end() {
    cEntries& entries = store().pending;
    const int result = entries.size() == 0 ? 0 : save(entries);
    entries.clear();
    store().isBatch = false;
    return result;
}

bool skvs_untouched() {
    return store().environment.isUntouched();
}

bool skvs_list(const std::string& prefix, std::vector<std::pair<std::string, std::string>>& out) {
    out.clear();
    if (prefix.size() > MAX_KEY_BYTES) return true;
    const int result =
        read([&](const cTransaction& transaction) { return transaction.list(prefix, out); });
    errno = result > 0 ? result : 0;
    return result == 0 || result == ENOENT;
}

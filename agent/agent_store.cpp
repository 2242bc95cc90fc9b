#include "agent/agent_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/store/examination.h"
#include "platform/store/store_value.h"

namespace {

// Twice the messages, the commands, and what a commit writes anew beside what it replaces.
constexpr size_t MAP_BYTES = 12 * 1024 * 1024;
constexpr size_t OVERHEAD_BYTES = 64;  // of an entry, about
constexpr mode_t FILE_MODE = 0600;
// Of the examination: values with pages of their own, and enough to need many.
constexpr size_t OVERFLOW_BYTES = 10'000;
constexpr uint64_t TRIED_ENTRIES = 50;
constexpr uint64_t TRIED_COMMITS = 10;

// Keys. Numbers are in big-endian order, so that LMDB keeps the messages in theirs.
constexpr char MESSAGE_KEY = 'm';
constexpr char COMMAND_KEY = 'c';
constexpr const char* GENERAL_KEY = "g";
constexpr const char* TEXT_MESSAGES_KEY = "t";

using tJson = nlohmann::json;

std::string messageKey(uint64_t number) {
    std::string key(1, MESSAGE_KEY);
    for (int shift = 56; shift >= 0; shift -= 8)
        key += static_cast<char>(number >> shift & 0xFF);
    return key;
}

std::optional<uint64_t> numberOfKey(const std::string& key) {
    if (key.size() != 9) return std::nullopt;
    uint64_t number = 0;
    for (size_t i = 1; i < key.size(); ++i)
        number = number << 8 | static_cast<unsigned char>(key[i]);
    return number;
}

std::string messageValue(const sDraft& draft, const std::string& text) {
    return std::string(1, static_cast<char>(draft.kind)) + static_cast<char>(draft.slot) + text;
}

std::string commandValue(const sKnownCommand& command) {
    return tJson{{"state", static_cast<int>(command.state)},
                 {"deadline", command.deadline},
                 {"order", command.order},
                 {"refused", command.wasRefused},
                 {"outcome", command.outcome},
                 {"text", command.text}}
        .dump(-1, ' ', false, tJson::error_handler_t::replace);
}

sKnownCommand readCommand(const std::string& value) {
    const tJson json = tJson::parse(value);
    sKnownCommand command;
    command.state = static_cast<eCommandState>(json.at("state").get<int>());
    command.deadline = json.at("deadline").get<time_t>();
    command.order = json.at("order").get<uint64_t>();
    command.wasRefused = json.at("refused").get<bool>();
    command.outcome = json.at("outcome").get<std::string>();
    command.text = json.at("text").get<std::string>();
    return command;
}

std::string newStreamName() {
    uint32_t random = 0;
    if (getrandom(&random, sizeof random, 0) != sizeof random)
        random = static_cast<uint32_t>(time(nullptr));
    std::array<char, 9> name{};
    snprintf(name.data(), name.size(), "%08x", random);
    return name.data();
}

int openEnvironment(const std::string& folder, unsigned flags, MDB_env*& environment) {
    int result = mdb_env_create(&environment);
    if (result == 0) result = mdb_env_set_mapsize(environment, MAP_BYTES);
    // One process has the folder (reserve()). LMDB's lock file would be one more that is written
    // through a memory map, which ends the process when the disk is full.
    if (result == 0)
        result = mdb_env_open(environment, folder.c_str(), flags | MDB_NOLOCK, FILE_MODE);
    if (result != 0 && environment != nullptr) mdb_env_close(std::exchange(environment, nullptr));
    return result;
}

// Calls take(key, value) for each entry.
template <typename tTake>
int forEach(MDB_txn* transaction, MDB_dbi database, tTake take) {
    MDB_cursor* cursor = nullptr;
    int result = mdb_cursor_open(transaction, database, &cursor);
    MDB_val key{};
    MDB_val value{};
    while (result == 0 && (result = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == 0)
        result = take(toText(key), toText(value));
    if (cursor != nullptr) mdb_cursor_close(cursor);
    return result == MDB_NOTFOUND ? 0 : result;
}

// A damage that no examination finds may end the process, and would again after each start. What
// ends it so leaves a mark: the next start puts the files aside, or, if it was not within a
// transaction, the one after a second time without an orderly end between them.
struct sCrashMark {
    volatile sig_atomic_t isInTransaction = 0;
    std::array<char, PATH_MAX> path{};
};
sCrashMark g_s_crashMark;

constexpr int CRASHES_MAX = 2;
constexpr int CRASH_SIGNALS[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// Only calls that are allowed in a handler of signals.
void leaveCrashMark(int signalNumber) {
    const int mark = open(g_s_crashMark.path.data(), O_WRONLY | O_CREAT | O_APPEND, FILE_MODE);
    const size_t weight = g_s_crashMark.isInTransaction != 0 ? size_t{CRASHES_MAX} : 1;
    static_cast<void>(!write(mark, "XX", weight));
    std::signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

std::string crashMark(const std::string& folder) {
    return folder + "/crashed";
}

bool hasCrashed(const std::string& folder) {
    struct stat info {};
    return stat(crashMark(folder).c_str(), &info) == 0 && info.st_size >= CRASHES_MAX;
}

void watchForCrash(const std::string& folder) {
    const std::string path = crashMark(folder);
    if (path.size() >= g_s_crashMark.path.size()) return;
    path.copy(g_s_crashMark.path.data(), path.size());
    g_s_crashMark.path[path.size()] = '\0';
    for (const int number : CRASH_SIGNALS)
        std::signal(number, leaveCrashMark);
}

int putPiece(MDB_txn* transaction, MDB_dbi database, uint64_t number, size_t size) {
    const std::string keyText = messageKey(number);
    const std::string text(size, 'x');
    MDB_val key = toValue(keyText);
    MDB_val value = toValue(text);
    return mdb_put(transaction, database, &key, &value, 0);
}

// One commit that puts so many entries, or that takes everything out before.
int tryCommit(MDB_env* environment, uint64_t count, size_t size, bool isAnew) {
    MDB_txn* transaction = nullptr;
    MDB_dbi database = 0;
    int result = mdb_txn_begin(environment, nullptr, 0, &transaction);
    if (result == 0) result = mdb_dbi_open(transaction, nullptr, 0, &database);
    if (result == 0 && isAnew) result = mdb_drop(transaction, database, 0);
    for (uint64_t number = 0; result == 0 && number < count; ++number)
        result = putPiece(transaction, database, UINT64_MAX - number, size);
    if (result == 0) return mdb_txn_commit(transaction);
    if (transaction != nullptr) mdb_txn_abort(transaction);
    return result;
}

// A change follows ways in the file that no reader goes.
int tryChanges(MDB_env* environment) {
    int result = 0;
    for (uint64_t count = 1; result == 0 && count <= TRIED_COMMITS; ++count)
        result = tryCommit(environment, count, OVERFLOW_BYTES / count, false);
    if (result == 0) result = tryCommit(environment, TRIED_ENTRIES, OVERFLOW_BYTES, true);
    return result;
}

// A copy in memory, gone with the process; its path. Empty: it cannot be made.
std::string copyInMemory(const std::string& data) {
    const cFileDescriptor file(open(data.c_str(), O_RDONLY | O_CLOEXEC));
    const int copy = memfd_create("store", MFD_CLOEXEC);
    if (copy < 0 || !file.isOpen()) return "";
    ssize_t count = 1;
    while (count > 0)
        count = sendfile(copy, file.get(), nullptr, MAP_BYTES);
    return count == 0 ? "/proc/self/fd/" + std::to_string(copy) : "";
}

// In a copy, since it also writes.
bool isSoundStore(const std::string& folder) {
    return passesExamination([&] {
        MDB_env* environment = nullptr;
        const std::string copy = copyInMemory(folder + "/data.mdb");
        if (copy.empty()) return true;
        int result = openEnvironment(copy, MDB_NOSUBDIR | MDB_NOSYNC, environment);
        if (result == ENOMEM) result = MDB_CORRUPTED;  // its header claims more than all memory
        if (result != 0) return !showsDamage(result);
        failOnDamage(environment);
        result = readEverything(environment, MAP_BYTES);
        if (result == 0) result = tryChanges(environment);
        return !showsDamage(result);
    });
}

}  // namespace

// Aborted unless it is committed.
class cAgentStore::cTransaction {
  public:
    cTransaction(MDB_env* environment, unsigned flags, MDB_dbi& database) : m_database(database) {
        g_s_crashMark.isInTransaction = 1;
        result = mdb_txn_begin(environment, nullptr, flags, &m_handle);
        if (result == 0) result = mdb_dbi_open(m_handle, nullptr, 0, &database);
    }
    ~cTransaction() {
        if (m_handle != nullptr) mdb_txn_abort(m_handle);
        g_s_crashMark.isInTransaction = 0;
    }
    cTransaction(const cTransaction&) = delete;
    cTransaction& operator=(const cTransaction&) = delete;

    MDB_txn* handle() const { return m_handle; }
    void put(const std::string& key, const std::string& text) {
        MDB_val keyValue = toValue(key);
        MDB_val value = toValue(text);
        if (result == 0) result = mdb_put(m_handle, m_database, &keyValue, &value, 0);
    }
    void remove(const std::string& key) {
        MDB_val keyValue = toValue(key);
        if (result != 0) return;
        const int removed = mdb_del(m_handle, m_database, &keyValue, nullptr);
        if (removed != MDB_NOTFOUND) result = removed;
    }
    int commit() {
        if (result == 0) result = mdb_txn_commit(std::exchange(m_handle, nullptr));
        return result;
    }

    int result = 0;

  private:
    MDB_txn* m_handle = nullptr;
    MDB_dbi m_database;
};

void cAgentStore::close() {
    if (m_environment != nullptr) mdb_env_close(std::exchange(m_environment, nullptr));
}

bool cAgentStore::finish(int result, std::string& error) const {
    if (result != 0) error = "cannot use the store in " + m_folder + ": " + mdb_strerror(result);
    return result == 0;
}

int cAgentStore::openFiles() {
    struct stat info {};
    const std::string data = m_folder + "/data.mdb";
    const bool isThere = stat(data.c_str(), &info) == 0 && info.st_size > 0;
    if (isThere && !isSoundStore(m_folder)) return MDB_CORRUPTED;
    return openEnvironment(m_folder, 0, m_environment);
}

bool cAgentStore::reserve(std::string& error) {
    constexpr int FLAGS = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    m_folderLock.reset(::open(m_folder.c_str(), FLAGS));
    if (!m_folderLock.isOpen()) return finish(errno, error);
    if (flock(m_folderLock.get(), LOCK_EX | LOCK_NB) == 0) {
        watchForCrash(m_folder);
        return true;
    }
    error = "another agent uses the store in " + m_folder + "; only one can run";
    return false;
}

// The files as they are, or new ones in the place of damaged ones.
int cAgentStore::openSound(std::string& note) {
    int result = hasCrashed(m_folder) ? MDB_CORRUPTED : openFiles();
    if (result == 0) result = load();
    if (!showsDamage(result)) return result;
    close();
    const std::string data = m_folder + "/data.mdb";
    if (rename(data.c_str(), (data + ".broken").c_str()) != 0 && errno != ENOENT) return errno;
    unlink(crashMark(m_folder).c_str());
    note = "The store was damaged and is kept as " + data + ".broken; what waited in it is lost.";
    result = openFiles();
    return result == 0 ? load() : result;
}

bool cAgentStore::open(std::string& note, std::string& error) {
    if (!reserve(error)) return false;
    // Also notes that the agent runs.
    const int result = write({}, false);
    std::swap(note, m_note);
    if (result == 0) return true;
    // It names nothing until the files can be opened.
    if (m_stream.empty()) m_stream = newStreamName();
    note = "The store in " + m_folder + " cannot be written: " + mdb_strerror(result) +
           ". Until it can be, events are not kept and commands are not executed.";
    return true;
}

int cAgentStore::loadEntry(const std::string& key, const std::string& value) {
    if (key[0] == MESSAGE_KEY) {
        const auto number = numberOfKey(key);
        if (!number || value.size() < 2) return MDB_CORRUPTED;
        if (value[0] < 0 || value[0] >= static_cast<int>(WAITING_KINDS)) return MDB_CORRUPTED;
        if (m_delivered.count(*number) == 0)
            add(*number, {static_cast<eWaiting>(value[0]), value.size() + OVERHEAD_BYTES});
        return 0;
    }
    if (key[0] == COMMAND_KEY) {
        m_commands[key.substr(1)] = readCommand(value);
        return 0;
    }
    if (key == TEXT_MESSAGES_KEY) {
        m_textMessages = tJson::parse(value).get<std::set<std::string>>();
        return 0;
    }
    if (key != GENERAL_KEY) return MDB_CORRUPTED;
    const tJson json = tJson::parse(value);
    m_stream = json.at("stream").get<std::string>();
    m_lastNumber = json.at("last").get<uint64_t>();
    m_dropped = {json.at("dropped").at(0).get<uint64_t>(), json.at("dropped").at(1).get<uint64_t>(),
                 json.at("dropped").at(2).get<uint64_t>()};
    m_forgottenUntil = json.at("forgotten").get<time_t>();
    m_wasInterrupted = json.at("running").get<bool>();
    return 0;
}

int cAgentStore::load() {
    m_stream.clear();
    m_index.clear();
    m_bytes = 0;
    m_ready = {};
    m_commands.clear();
    m_textMessages.clear();
    m_wasInterrupted = false;
    int entries = 0;
    cTransaction transaction(m_environment, MDB_RDONLY, m_database);
    if (transaction.result != 0) return transaction.result;
    try {
        const int result = forEach(transaction.handle(), m_database,
                                   [&](const std::string& key, const std::string& value) {
                                       ++entries;
                                       return loadEntry(key, value);
                                   });
        if (result != 0) return result;
    } catch (const tJson::exception&) {
        return MDB_CORRUPTED;
    }
    const bool isWhole =
        isStreamName(m_stream) && (m_index.empty() || m_index.rbegin()->first <= m_lastNumber);
    if (entries != 0) return isWhole ? 0 : MDB_CORRUPTED;
    m_stream = newStreamName();
    m_lastNumber = 0;
    m_dropped = {};
    m_forgottenUntil = 0;
    return 0;
}

void cAgentStore::add(uint64_t number, const sIndex& entry) {
    m_index[number] = entry;
    m_bytes += entry.bytes;
    if (m_onTheWay.count(number) == 0) m_ready[static_cast<size_t>(entry.kind)].insert(number);
}

void cAgentStore::remove(uint64_t number) {
    const auto found = m_index.find(number);
    if (found == m_index.end()) return;
    m_bytes -= found->second.bytes;
    m_ready[static_cast<size_t>(found->second.kind)].erase(number);
    m_index.erase(found);
}

size_t cAgentStore::room() const {
    const bool isFull = m_bytes >= MESSAGES_MAX_BYTES || m_index.size() >= MESSAGES_MAX;
    return isFull ? 0 : MESSAGES_MAX_BYTES - m_bytes;
}

// What has to go so that the rest is within its bounds. One that is on its way may be there
// already.
void cAgentStore::chooseDropped(sMessageChange& messages) const {
    size_t bytes = m_bytes;
    size_t count = m_index.size() + messages.added.size();
    for (const auto& [number, entry] : messages.added)
        bytes += entry.bytes;
    const auto isWithin = [&] { return bytes <= MESSAGES_MAX_BYTES && count <= MESSAGES_MAX; };
    const auto drop = [&](uint64_t number, const sIndex& entry) {
        bytes -= entry.bytes;
        --count;
        messages.dropped.push_back(number);
    };
    for (size_t kind = 0; kind < WAITING_KINDS && !isWithin(); ++kind) {
        for (auto it = m_ready[kind].begin(); it != m_ready[kind].end() && !isWithin(); ++it)
            drop(*it, m_index.at(*it));
        for (const auto& [number, entry] : messages.added)
            if (static_cast<size_t>(entry.kind) == kind && !isWithin()) drop(number, entry);
    }
}

// Opens the files if they could not be opened before, or if they have failed since.
int cAgentStore::write(const sStoreChange& change, bool isEnd) {
    int result = m_environment == nullptr ? openSound(m_note) : 0;
    if (result == 0) result = writeOnce(change, isEnd);
    if (showsDamage(result)) close();
    return result;
}

int cAgentStore::writeOnce(const sStoreChange& change, bool isEnd) {
    cTransaction transaction(m_environment, 0, m_database);
    sMessageChange messages;
    uint64_t last = m_lastNumber;
    sDropped dropped = change.isDroppedReported ? sDropped{} : m_dropped;
    for (const uint64_t number : m_delivered)
        transaction.remove(messageKey(number));
    for (const sDraft& draft : change.messages) {
        const std::string value = messageValue(draft, draft.text({m_stream, ++last}));
        messages.added.push_back({last, {draft.kind, value.size() + OVERHEAD_BYTES}});
        transaction.put(messageKey(last), value);
    }
    chooseDropped(messages);
    for (const uint64_t number : messages.dropped) {
        transaction.remove(messageKey(number));
        dropped.first = dropped.count == 0 ? number : std::min(dropped.first, number);
        dropped.last = std::max(dropped.last, number);
        ++dropped.count;
    }
    for (const std::string& id : m_forgotten)
        transaction.remove(COMMAND_KEY + id);
    for (const auto& [id, command] : change.commands)
        transaction.put(COMMAND_KEY + id, commandValue(command));
    if (change.textMessages) transaction.put(TEXT_MESSAGES_KEY, tJson(*change.textMessages).dump());
    transaction.put(GENERAL_KEY, tJson{{"stream", m_stream},
                                       {"last", last},
                                       {"dropped", {dropped.first, dropped.last, dropped.count}},
                                       {"forgotten", m_forgottenUntil},
                                       {"running", !isEnd}}
                                     .dump());
    const int result = transaction.commit();
    if (result != 0) return result;
    ++m_commits;
    for (const auto& [number, entry] : messages.added)
        add(number, entry);
    for (const uint64_t number : messages.dropped)
        remove(number);
    m_lastNumber = last;
    m_dropped = dropped;
    m_delivered.clear();
    m_forgotten.clear();
    if (change.textMessages) m_textMessages = *change.textMessages;
    for (const auto& [id, command] : change.commands)
        m_commands[id] = command;
    return 0;
}

bool cAgentStore::commit(const sStoreChange& change, std::string& error) {
    return finish(write(change, false), error);
}

bool cAgentStore::noteEnd(std::string& error) {
    unlink(crashMark(m_folder).c_str());
    return finish(write({}, true), error);
}

std::optional<sWaitingMessage> cAgentStore::takeNext() {
    uint64_t number = UINT64_MAX;
    for (const auto& ready : m_ready)
        if (!ready.empty()) number = std::min(number, *ready.begin());
    if (number == UINT64_MAX || m_environment == nullptr) return std::nullopt;
    cTransaction transaction(m_environment, MDB_RDONLY, m_database);
    const std::string keyText = messageKey(number);
    MDB_val key = toValue(keyText);
    MDB_val value{};
    if (transaction.result != 0 || mdb_get(transaction.handle(), m_database, &key, &value) != 0)
        return std::nullopt;
    const std::string text = toText(value);
    const eWaiting kind = m_index.at(number).kind;
    m_ready[static_cast<size_t>(kind)].erase(number);
    m_onTheWay.insert(number);
    return sWaitingMessage{number, kind, text[1], text.substr(2)};
}

void cAgentStore::noteDelivered(uint64_t number) {
    m_onTheWay.erase(number);
    if (m_index.count(number) != 0) m_delivered.insert(number);
    remove(number);
}

void cAgentStore::takeBack(uint64_t number) {
    m_onTheWay.erase(number);
    const auto found = m_index.find(number);
    if (found != m_index.end()) m_ready[static_cast<size_t>(found->second.kind)].insert(number);
}

void cAgentStore::takeBack() {
    const std::set<uint64_t> numbers = std::exchange(m_onTheWay, {});
    for (const uint64_t number : numbers)
        takeBack(number);
}

std::optional<sKnownCommand> cAgentStore::command(const std::string& id) const {
    const auto found = m_commands.find(id);
    return found == m_commands.end() ? std::nullopt : std::optional(found->second);
}

void cAgentStore::forgetCommands(time_t now) {
    for (auto it = m_commands.begin(); it != m_commands.end();) {
        const bool isOver = it->second.state == eCommandState::ENDED && it->second.deadline < now;
        if (!isOver) {
            ++it;
            continue;
        }
        if (!it->second.wasRefused)
            m_forgottenUntil = std::max(m_forgottenUntil, it->second.deadline);
        m_forgotten.push_back(it->first);
        it = m_commands.erase(it);
    }
}

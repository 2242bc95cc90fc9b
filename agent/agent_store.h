#ifndef AGENT_AGENT_STORE_H
#define AGENT_AGENT_STORE_H

#include <lmdb.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mqtt/message_id.h"
#include "platform/files/file_descriptor.h"

// What must outlive the agent: the messages that wait for the broker, and the commands that came. A
// change is on the disk when its function returns, and is there whole or not at all.

constexpr const char* AGENT_FOLDER = "/var/lib/cellslot/agent";

// In the order in which they are dropped when there is no room, the oldest of each first.
enum class eWaiting { SIGNAL, EVENT, RESULT, DROPPED, SMS };
constexpr size_t WAITING_KINDS = 5;

struct sWaitingMessage {
    uint64_t number = 0;
    eWaiting kind = eWaiting::EVENT;
    int slot = 0;  // 0: of the gateway
    std::string text;
};

// A message to be stored; its text contains its id, which it only gets then.
struct sDraft {
    eWaiting kind = eWaiting::EVENT;
    int slot = 0;
    std::function<std::string(const sMessageId&)> text;
};

enum class eCommandState { QUEUED, RUNNING, CHANGING, ENDED };

// A command that came, by its id. Kept until its deadline has passed: until then the broker or
// somebody else may send it again.
struct sKnownCommand {
    eCommandState state = eCommandState::ENDED;
    time_t deadline = 0;
    uint64_t order = 0;       // in which they came
    bool wasRefused = false;  // ENDED: executed by nobody, so that a repetition does no harm
    std::string outcome;      // ENDED: "done: The daemon has read its configuration."
    std::string text;         // not ENDED: the command as it came
};

// What came in between the first and the last number and was dropped.
struct sDropped {
    uint64_t first = 0;
    uint64_t last = 0;
    uint64_t count = 0;
};

struct sStoreChange {
    std::vector<sDraft> messages;
    std::map<std::string, sKnownCommand> commands;
    bool isDroppedReported = false;  // a message of this change reports what was dropped
    // The received text messages that are among the messages, or were before.
    std::optional<std::set<std::string>> textMessages = std::nullopt;
    bool empty() const { return messages.empty() && commands.empty(); }
};

class cAgentStore {
  public:
    static constexpr size_t MESSAGES_MAX_BYTES = 2 * 1024 * 1024;
    static constexpr size_t MESSAGES_MAX = 4000;
    static constexpr size_t COMMANDS_MAX = 3000;

    explicit cAgentStore(const std::string& folder) : m_folder(folder) {}
    ~cAgentStore() { close(); }
    cAgentStore(const cAgentStore&) = delete;
    cAgentStore& operator=(const cAgentStore&) = delete;

    // Damaged files are put aside; note then says so. Without room, or on a disk that cannot be
    // written, there is a store that takes nothing until it can be; note says so too. False: there
    // is no folder, or another process has the store; error says which.
    bool open(std::string& note, std::string& error);
    void close();

    const std::string& stream() const { return m_stream; }
    // Whether the last end was not announced by noteEnd, as after a power cut.
    bool wasInterrupted() const { return m_wasInterrupted; }

    // False: nothing of it is stored; error says why.
    bool commit(const sStoreChange& change, std::string& error);
    // Removes what is delivered from the disk and notes an orderly end.
    bool noteEnd(std::string& error);

    // The oldest message that is not on its way. It is on its way from here on.
    std::optional<sWaitingMessage> takeNext();
    // The broker has it. It leaves the disk with the next commit: after a power cut it may be sent
    // again, under the same number.
    void noteDelivered(uint64_t number);
    // Nothing is on its way any more.
    void takeBack();
    // This one could not be sent.
    void takeBack(uint64_t number);

    size_t waiting() const { return m_index.size(); }
    // How much more the messages may be without anything being dropped; bytes.
    size_t room() const;
    const sDropped& dropped() const { return m_dropped; }

    std::optional<sKnownCommand> command(const std::string& id) const;
    const std::map<std::string, sKnownCommand>& commands() const { return m_commands; }
    // The latest deadline of the commands that were forgotten.
    time_t forgottenUntil() const { return m_forgottenUntil; }
    const std::set<std::string>& textMessages() const { return m_textMessages; }
    // Forgets the ended commands whose deadline has passed; with the next commit.
    void forgetCommands(time_t now);

    // Commits so far, for the flash's sake.
    unsigned long long commits() const { return m_commits; }

  private:
    struct sIndex {
        eWaiting kind;
        size_t bytes;
    };
    class cTransaction;
    // What a change does to the messages.
    struct sMessageChange {
        std::vector<std::pair<uint64_t, sIndex>> added;
        std::vector<uint64_t> dropped;
    };

    bool reserve(std::string& error);
    int openFiles();
    int openSound(std::string& note);
    int load();
    int loadEntry(const std::string& key, const std::string& value);
    void add(uint64_t number, const sIndex& entry);
    void remove(uint64_t number);
    void chooseDropped(sMessageChange& messages) const;
    int write(const sStoreChange& change, bool isEnd);
    int writeOnce(const sStoreChange& change, bool isEnd);
    bool finish(int result, std::string& error) const;

    const std::string m_folder;
    cFileDescriptor m_folderLock;
    MDB_env* m_environment = nullptr;  // nothing while it cannot be opened
    MDB_dbi m_database = 0;

    // As on the disk, but without what was delivered.
    std::string m_stream;
    uint64_t m_lastNumber = 0;
    sDropped m_dropped;
    time_t m_forgottenUntil = 0;
    bool m_wasInterrupted = false;
    std::map<uint64_t, sIndex> m_index;
    size_t m_bytes = 0;  // of all in the index
    // Those that are not on their way, by their kind.
    std::array<std::set<uint64_t>, WAITING_KINDS> m_ready;
    std::map<std::string, sKnownCommand> m_commands;
    std::set<std::string> m_textMessages;

    std::set<uint64_t> m_onTheWay;
    std::set<uint64_t> m_delivered;        // to be removed from the disk
    std::vector<std::string> m_forgotten;  // the same of commands
    unsigned long long m_commits = 0;
    std::string m_note;  // of the files that were opened
};

#endif

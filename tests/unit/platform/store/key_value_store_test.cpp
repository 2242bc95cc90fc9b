#include <fcntl.h>
#include <gtest/gtest.h>
#include <lmdb.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <stdexcept>
#include <thread>

#include "platform/include/key_value_store.h"
#include "tests/support/captured_log.h"
#include "tests/support/temp_folder.h"

namespace {

using tEntries = std::vector<std::pair<std::string, std::string>>;

std::string valueOf(const std::string& key) {
    char buffer[5000];
    return skvs_get(key.c_str(), buffer, sizeof buffer) < 0 ? "(missing)" : buffer;
}

int setValue(const std::string& key, const std::string& value) {
    return skvs_set(key.c_str(), value.c_str());
}

// A child process that runs work and exits with its result. The parent's store must be closed
// meanwhile: a process must not share its open store with its children.
pid_t startProcess(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process");  // -1 must never be used as a process id
    if (child > 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // no writer survives a test that is ended
    _exit(work());
}

// The exit status, or minus the signal that ended it.
int waitFor(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class KeyValueStore : public testing::Test {
  protected:
    void SetUp() override {
        clearCapturedLog();
        reopen();
    }
    void TearDown() override { setKeyValueStorePath("/nonexistent"); }

    void reopen() { setKeyValueStorePath(m_store); }

    off_t dataSize() {
        struct stat status {};
        return stat((m_store + "/data.mdb").c_str(), &status) == 0 ? status.st_size : -1;
    }

    const cTempFolder m_folder;
    const std::string m_store = m_folder / "run/cellslot/skvs";
};

}  // namespace

TEST_F(KeyValueStore, Value_IsReadByThisAndLaterProcesses) {
    EXPECT_EQ(setValue("KEY", "value"), 0);
    EXPECT_EQ(valueOf("KEY"), "value");
    reopen();
    EXPECT_EQ(valueOf("KEY"), "value");
    EXPECT_EQ(setValue("KEY", "another"), 0);
    EXPECT_EQ(valueOf("KEY"), "another");
    EXPECT_EQ(setValue("KEY", ""), 0);
    EXPECT_EQ(valueOf("KEY"), "");
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(KeyValueStore, MissingStore_IsEmptyAndReadingDoesNotCreateIt) {
    char buffer[5] = "abcd";
    EXPECT_EQ(skvs_get("KEY", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "");
    tEntries entries{{"a", "b"}};
    EXPECT_TRUE(skvs_list("", entries));
    EXPECT_TRUE(entries.empty());
    EXPECT_FALSE(fileExists(m_folder / "run"));
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(KeyValueStore, MissingKey_IsMinusOneAndAnEmptyText) {
    setValue("KEY", "value");
    char buffer[5] = "abcd";
    EXPECT_EQ(skvs_get("KE", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(skvs_get("KEY2", buffer, sizeof buffer), -1);
}

TEST_F(KeyValueStore, SmallBuffer_GetsTheBeginning) {
    setValue("KEY", "12345");
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(skvs_get("KEY", buffer, 5), 5);
    EXPECT_STREQ(buffer, "1234");
    EXPECT_EQ(buffer[5], 'x');
    EXPECT_EQ(skvs_get("KEY", buffer, 6), 5);
    EXPECT_STREQ(buffer, "12345");
    EXPECT_EQ(skvs_get("KEY", buffer, 1), 5);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(skvs_get("KEY", buffer, 0), 5);
    EXPECT_EQ(skvs_get("KEY", nullptr, 0), 5);
}

TEST_F(KeyValueStore, LongestKeyAndValue_AreStored) {
    const std::string key(500, 'k');
    const std::string value(4096, 'v');
    EXPECT_EQ(setValue(key, value), 0);
    EXPECT_EQ(valueOf(key), value);
}

TEST_F(KeyValueStore, InvalidKeyOrValue_IsRefusedAndNothingStored) {
    const std::string longKey(501, 'k');
    char buffer[5];
    EXPECT_NE(setValue("", "value"), 0);
    EXPECT_NE(setValue(longKey, "value"), 0);
    EXPECT_NE(setValue(std::string(100'000, 'k'), "value"), 0);
    EXPECT_NE(setValue("KEY", std::string(4097, 'v')), 0);
    EXPECT_NE(skvs_set(nullptr, "value"), 0);
    EXPECT_NE(skvs_set("KEY", nullptr), 0);
    EXPECT_EQ(skvs_get("", buffer, sizeof buffer), -1);
    EXPECT_EQ(skvs_get(nullptr, buffer, sizeof buffer), -1);
    EXPECT_EQ(skvs_get(longKey.c_str(), buffer, sizeof buffer), -1);
    EXPECT_FALSE(fileExists(m_store));
}

TEST_F(KeyValueStore, List_GivesTheKeysOfAPrefixInOrder) {
    setValue("B1", "1");
    setValue("A2", "two");
    setValue("A10", "");
    tEntries entries;
    EXPECT_TRUE(skvs_list("A", entries));
    EXPECT_EQ(entries, (tEntries{{"A10", ""}, {"A2", "two"}}));
    EXPECT_TRUE(skvs_list("", entries));
    EXPECT_EQ(entries, (tEntries{{"A10", ""}, {"A2", "two"}, {"B1", "1"}}));
    EXPECT_TRUE(skvs_list("C", entries));
    EXPECT_TRUE(entries.empty());
    EXPECT_TRUE(skvs_list(std::string(600, 'A'), entries));
    EXPECT_TRUE(entries.empty());
}

TEST_F(KeyValueStore, NewFolders_AreReadableForAllAndTheFilesWritableForTheirOwner) {
    const mode_t oldMask = umask(077);
    EXPECT_EQ(setValue("KEY", "value"), 0);
    umask(oldMask);
    for (const char* folder : {"run", "run/cellslot", "run/cellslot/skvs"}) {
        struct stat status {};
        ASSERT_EQ(stat((m_folder / folder).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0755u) << folder;
    }
}

TEST_F(KeyValueStore, SameValueAgain_WritesNothing) {
    setValue("KEY", "value");
    const auto modified = std::filesystem::last_write_time(m_store + "/data.mdb");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(setValue("KEY", "value"), 0);
    skvs_batch_begin();
    EXPECT_EQ(setValue("KEY", "value"), 0);
    EXPECT_EQ(skvs_batch_end(), 0);
    EXPECT_EQ(std::filesystem::last_write_time(m_store + "/data.mdb"), modified);
    EXPECT_EQ(setValue("KEY", "other"), 0);
    EXPECT_NE(std::filesystem::last_write_time(m_store + "/data.mdb"), modified);
}

TEST_F(KeyValueStore, Batch_IsStoredAtItsEndAndNotBefore) {
    setValue("A", "old");
    skvs_batch_begin();
    EXPECT_EQ(setValue("A", "new"), 0);
    EXPECT_EQ(setValue("B", "first"), 0);
    EXPECT_EQ(setValue("B", "last"), 0);
    EXPECT_NE(setValue("", "refused"), 0);
    EXPECT_EQ(valueOf("A"), "old");
    EXPECT_EQ(skvs_batch_end(), 0);
    EXPECT_EQ(valueOf("A"), "new");
    EXPECT_EQ(valueOf("B"), "last");
    EXPECT_EQ(setValue("C", "single"), 0);  // the batch is over
    EXPECT_EQ(valueOf("C"), "single");
}

TEST_F(KeyValueStore, StoreThatOnlyOwnBatchesChange_IsUntouched) {
    EXPECT_FALSE(skvs_untouched());  // there is none
    for (int round = 0; round < 5; round++) {
        skvs_batch_begin();
        setValue("A", "round " + std::to_string(round));
        setValue("B", "same");
        EXPECT_EQ(skvs_batch_end(), 0);
        EXPECT_EQ(skvs_untouched(), round > 0) << round;
        EXPECT_TRUE(skvs_untouched());
        EXPECT_EQ(valueOf("A"), "round " + std::to_string(round));
    }
}

// Each is seen once; the batch that comes before the next question does not hide it.
TEST_F(KeyValueStore, StoreThatSomethingElseChanged_IsNotUntouched) {
    const std::string data = m_store + "/data.mdb";
    const auto writeElsewhere = [&] {
        EXPECT_EQ(waitFor(startProcess([&] {
                      reopen();
                      return setValue("OTHER", std::to_string(getpid()));
                  })),
                  0);
    };
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"a single value", [] { setValue("OTHER", "value"); }},
        {"another process", writeElsewhere},
        {"a byte of the file",
         [&] {
             const int file = open(data.c_str(), O_WRONLY | O_CLOEXEC);
             EXPECT_EQ(pwrite(file, "", 1, 16000), 1);
             close(file);
         }},
        {"a new store",
         [&] {
             std::filesystem::remove_all(m_store);
             writeElsewhere();
         }},
        {"no store", [&] { std::filesystem::remove_all(m_store); }},
    };
    int number = 0;
    const auto writeBatch = [&number] {
        skvs_batch_begin();
        setValue("A", std::to_string(++number));
        EXPECT_EQ(skvs_batch_end(), 0);
    };
    for (const auto& [what, change] : changes) {
        writeBatch();
        skvs_untouched();
        EXPECT_TRUE(skvs_untouched()) << what;
        writeBatch();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a tick of the file's clock
        change();
        writeBatch();
        EXPECT_FALSE(skvs_untouched()) << what;
        writeBatch();
        EXPECT_TRUE(skvs_untouched()) << what;
    }
}

TEST_F(KeyValueStore, EmptyOrUnbegunBatch_IsWithoutEffect) {
    EXPECT_EQ(skvs_batch_end(), 0);
    skvs_batch_begin();
    EXPECT_EQ(skvs_batch_end(), 0);
    EXPECT_FALSE(fileExists(m_store));
}

TEST_F(KeyValueStore, FullStore_RefusesAndLogsItOnce) {
    int stored = 0;
    while (stored < 5000 && setValue("KEY" + std::to_string(stored), std::string(4096, 'v')) == 0) {
        stored++;
    }
    EXPECT_GT(stored, 300);
    ASSERT_LT(stored, 1100);  // 4 MiB
    EXPECT_NE(setValue("ANOTHER", std::string(4096, 'v')), 0);
    ASSERT_EQ(capturedLog().size(), 1u);
    EXPECT_TRUE(logContains("Error: Cannot write key-value store " + m_store + ", errno -30792 ("));
    EXPECT_LE(dataSize(), 4 * 1024 * 1024);
    EXPECT_EQ(valueOf("KEY0"), std::string(4096, 'v'));
    EXPECT_EQ(setValue("KEY0", "small"), 0);
    EXPECT_EQ(valueOf("KEY0"), "small");
}

TEST_F(KeyValueStore, BatchThatDoesNotFitCompletely_StoresWhatFits) {
    setValue("A", "old");
    setValue("B", "old");
    for (int i = 0; setValue("KEY" + std::to_string(i), std::string(4096, 'v')) == 0; i++) {
    }
    for (int round = 0; round < 3; round++) {
        skvs_batch_begin();
        setValue("A", "new" + std::to_string(round));
        setValue("LARGE", std::string(4096, 'v'));
        setValue("B", "new" + std::to_string(round));
        EXPECT_NE(skvs_batch_end(), 0);
        EXPECT_EQ(valueOf("A"), "new" + std::to_string(round));
        EXPECT_EQ(valueOf("B"), "new" + std::to_string(round));
        EXPECT_EQ(valueOf("LARGE"), "(missing)");
        EXPECT_EQ(setValue("A", "new" + std::to_string(round)), 0);  // stored already
    }
    EXPECT_EQ(capturedLog().size(), 1u) << "a full store is logged once";
}

TEST_F(KeyValueStore, TenThousandUpdates_DoNotLetItGrow) {
    for (int i = 0; i < 10'000; i++) {
        ASSERT_EQ(setValue("KEY" + std::to_string(i % 100), std::to_string(i)), 0);
    }
    EXPECT_LE(dataSize(), 128 * 1024);
}

TEST_F(KeyValueStore, UnusableFolder_FailsWithItsCause) {
    writeFile(m_folder / "run", "a file");
    EXPECT_NE(setValue("KEY", "value"), 0);
    EXPECT_EQ(
        logCount("Error: Cannot write key-value store " + m_store + ", errno 20 (Not a directory)"),
        1u);
    EXPECT_EQ(valueOf("KEY"), "(missing)");
    tEntries entries;
    EXPECT_FALSE(skvs_list("", entries));
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(KeyValueStore, StoreThatIsRemovedWhileOpen_IsCreatedAgain) {
    setValue("KEY", "value");
    EXPECT_EQ(valueOf("KEY"), "value");
    std::filesystem::remove_all(m_store);
    EXPECT_EQ(valueOf("KEY"), "(missing)");
    EXPECT_EQ(setValue("KEY", "value"), 0);
    reopen();
    EXPECT_EQ(valueOf("KEY"), "value");
}

TEST_F(KeyValueStore, LockFileThatIsRemovedWhileOpen_IsCreatedAgain) {
    setValue("KEY", "value");
    ASSERT_EQ(unlink((m_store + "/lock.mdb").c_str()), 0);
    EXPECT_EQ(valueOf("KEY"), "value");
    EXPECT_EQ(setValue("KEY", "other"), 0);
    EXPECT_TRUE(fileExists(m_store + "/lock.mdb"));
    EXPECT_EQ(valueOf("KEY"), "other");
}

TEST_F(KeyValueStore, FileCutWhileOpen_NeverCrashes) {
    for (const off_t size : {0, 1, 4096, 8192, 12288}) {
        setValue("KEY", "value");
        setValue("LONG", std::string(4096, 'v'));
        ASSERT_EQ(valueOf("KEY"), "value");
        ASSERT_EQ(truncate((m_store + "/data.mdb").c_str(), size), 0);
        EXPECT_EQ(valueOf("KEY"), "(missing)") << size;
        EXPECT_EQ(setValue("KEY", "again"), 0) << size;
        EXPECT_EQ(valueOf("KEY"), "again") << size;
    }
}

TEST_F(KeyValueStore, LinkInPlaceOfAFile_IsReplacedAndNotFollowed) {
    const std::string outside = m_folder / "outside";
    for (const char* name : {"/data.mdb", "/lock.mdb"}) {
        for (const bool hard : {false, true}) {
            std::filesystem::remove_all(m_store);
            std::filesystem::create_directories(m_store);
            writeFile(outside, "precious");
            if (hard)
                std::filesystem::create_hard_link(outside, m_store + name);
            else
                std::filesystem::create_symlink(outside, m_store + name);
            reopen();
            EXPECT_EQ(setValue("KEY", "value"), 0) << name << hard;
            EXPECT_EQ(valueOf("KEY"), "value") << name << hard;
            EXPECT_EQ(readFile(outside), "precious") << name << hard;
        }
    }
}

TEST_F(KeyValueStore, DamagedFile_IsMovedAwayByTheNextWriter) {
    setValue("KEY", "value");
    setKeyValueStorePath("/nonexistent");
    const std::string garbage(20'000, '\xA5');
    writeFile(m_store + "/data.mdb", garbage);
    reopen();
    EXPECT_EQ(valueOf("KEY"), "(missing)");
    EXPECT_FALSE(fileExists(m_store + "/data.mdb.broken"));  // a reader does not move it
    EXPECT_EQ(setValue("KEY", "new"), 0);
    EXPECT_EQ(valueOf("KEY"), "new");
    EXPECT_EQ(readFile(m_store + "/data.mdb.broken"), garbage);
    EXPECT_EQ(logCount("Error: Key-value store was damaged, put aside as " + m_store +
                       "/data.mdb.broken"),
              1u);
}

TEST_F(KeyValueStore, DamagedLockFile_IsReplaced) {
    setValue("KEY", "value");
    setKeyValueStorePath("/nonexistent");
    writeFile(m_store + "/lock.mdb", std::string(8192, '\xA5'));
    reopen();
    EXPECT_EQ(setValue("OTHER", "new"), 0);
    EXPECT_EQ(valueOf("OTHER"), "new");
}

// Pages lost, overwritten or cut off: values may be lost, but nothing crashes, and the store can be
// written afterwards.
TEST_F(KeyValueStore, DamagedPages_NeverCrash) {
    constexpr size_t PAGE = 4096;
    for (int i = 0; i < 300; i++) {
        setValue("KEY" + std::to_string(i % 120), std::to_string(i));
    }
    setValue("LONG", std::string(4096, 'v'));
    setKeyValueStorePath("/nonexistent");
    const std::string sound = readFile(m_store + "/data.mdb");
    const size_t pages = sound.size() / PAGE;
    ASSERT_GT(pages, 8u);
    std::vector<std::pair<std::string, std::string>> damages;
    for (size_t page = 0; page < pages; page++) {
        const std::string name = "page " + std::to_string(page);
        damages.emplace_back(name + " cut off", sound.substr(0, page * PAGE));
        damages.emplace_back(name + " cut through", sound.substr(0, page * PAGE + PAGE / 2));
        for (const char byte : {'\0', '\xFF', 'a'}) {
            std::string damaged = sound;
            damaged.replace(page * PAGE, PAGE, PAGE, byte);
            damages.emplace_back(name + " filled with " + std::to_string(byte), damaged);
        }
    }
    for (const auto& [name, content] : damages) {
        std::filesystem::remove(m_store + "/lock.mdb");
        writeFile(m_store + "/data.mdb", content);
        const pid_t child = startProcess([this] {
            reopen();
            tEntries entries;
            skvs_list("", entries);
            valueOf("KEY7");
            for (int i = 0; i < 30; i++) {
                if (setValue("KEY" + std::to_string(i), std::string(50, 'n')) != 0) return 1;
            }
            return valueOf("KEY7") == std::string(50, 'n') ? 0 : 2;
        });
        EXPECT_EQ(waitFor(child), 0) << name;
    }
}

TEST_F(KeyValueStore, SeveralWritersAtOnce_LoseNothing) {
    constexpr int WRITERS = 3;
    constexpr int KEYS = 80;
    setKeyValueStorePath("/nonexistent");
    std::vector<pid_t> writers;
    for (int writer = 0; writer < WRITERS; writer++) {
        writers.push_back(startProcess([this, writer] {
            reopen();
            int failures = 0;
            for (int i = 0; i < KEYS; i++) {
                const std::string key = std::to_string(writer) + "_" + std::to_string(i);
                if (setValue(key, std::to_string(i)) != 0) failures++;
                if (valueOf(key) != std::to_string(i)) failures++;
            }
            return failures == 0 ? 0 : 1;
        }));
    }
    for (const pid_t writer : writers) {
        EXPECT_EQ(waitFor(writer), 0);
    }
    reopen();
    tEntries entries;
    EXPECT_TRUE(skvs_list("", entries));
    EXPECT_EQ(entries.size(), static_cast<size_t>(WRITERS * KEYS));
}

TEST_F(KeyValueStore, SeveralProcessesThatFindItDamaged_ShareOneNewStore) {
    setValue("KEY", "value");
    setKeyValueStorePath("/nonexistent");
    for (int round = 0; round < 10; round++) {
        writeFile(m_store + "/data.mdb", std::string(20'000, '\xA5'));
        std::vector<pid_t> writers;
        for (int writer = 0; writer < 4; writer++) {
            writers.push_back(startProcess([this, writer] {
                reopen();
                return setValue("KEY" + std::to_string(writer), "value") == 0 ? 0 : 1;
            }));
        }
        for (const pid_t writer : writers) {
            EXPECT_EQ(waitFor(writer), 0);
        }
        reopen();
        tEntries entries;
        EXPECT_TRUE(skvs_list("", entries));
        EXPECT_EQ(entries.size(), 4u) << round;
        setKeyValueStorePath("/nonexistent");
    }
}

// Each batch sets two keys to the same text; two different texts would show a half-written batch.
TEST_F(KeyValueStore, KilledWriters_LeaveACompleteStoreAndBlockNobody) {
    setKeyValueStorePath("/nonexistent");
    std::set<std::string> seen;
    int working[2];
    ASSERT_EQ(pipe2(working, O_CLOEXEC), 0);
    for (int round = 0; round < 25; round++) {
        std::vector<pid_t> writers;
        for (int writer = 0; writer < 3; writer++) {
            writers.push_back(startProcess([this, round, &working] {
                reopen();
                for (int i = 0;; i++) {
                    const std::string value =
                        std::to_string(round) + "_" + std::to_string(i) + std::string(i % 900, 'v');
                    skvs_batch_begin();
                    setValue("FIRST", value);
                    setValue("MIDDLE" + std::to_string(i % 50), value);
                    setValue("LAST", value);
                    // Readers that lose the processor may keep all pages in use for a moment.
                    const int result = skvs_batch_end();
                    if (result != 0 && result != MDB_MAP_FULL) return 1;
                    if (i == 0 && write(working[1], "", 1) != 1) return 2;
                }
            }));
        }
        for (size_t i = 0; i < writers.size(); i++) {
            char began = 0;
            ASSERT_EQ(read(working[0], &began, 1), 1);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100 * (round % 37)));
        for (const pid_t writer : writers) {
            kill(writer, SIGKILL);
        }
        for (const pid_t writer : writers) {
            EXPECT_EQ(waitFor(writer), -SIGKILL);
        }
        reopen();
        seen.insert(valueOf("FIRST"));
        EXPECT_EQ(valueOf("FIRST"), valueOf("LAST")) << round;
        ASSERT_EQ(setValue("AFTER", std::to_string(round)), 0);
        EXPECT_EQ(valueOf("AFTER"), std::to_string(round));
        EXPECT_LE(dataSize(), 4 * 1024 * 1024);
        setKeyValueStorePath("/nonexistent");
    }
    close(working[0]);
    close(working[1]);
    EXPECT_GT(seen.size(), 20u);  // nearly every round wrote something
    EXPECT_FALSE(fileExists(m_store + "/data.mdb.broken"));
}

TEST_F(KeyValueStore, MoreKilledReadersThanPlaces_BlockNobody) {
    setValue("KEY", "value");
    setKeyValueStorePath("/nonexistent");
    int notifying[2];
    ASSERT_EQ(pipe2(notifying, O_CLOEXEC), 0);
    for (int i = 0; i < 140; i++) {  // there is room for 126 readers
        const pid_t reader = startProcess([&] {
            reopen();
            const char done = valueOf("KEY") == "value" ? '1' : '0';
            if (write(notifying[1], &done, 1) != 1) return 1;
            pause();
            return 0;
        });
        char done = 0;
        ASSERT_EQ(read(notifying[0], &done, 1), 1);
        ASSERT_EQ(done, '1') << i;
        kill(reader, SIGKILL);
        waitFor(reader);
    }
    close(notifying[0]);
    close(notifying[1]);
    reopen();
    EXPECT_EQ(valueOf("KEY"), "value");
    EXPECT_EQ(setValue("KEY", "other"), 0);
}

// Stopped in a transaction, where it holds the lock of the writers.
TEST_F(KeyValueStore, StoppedWriter_DoesNotBlockReaders) {
    setValue("KEY", "value");
    setKeyValueStorePath("/nonexistent");
    int begun[2];
    ASSERT_EQ(pipe2(begun, O_CLOEXEC), 0);
    const pid_t writer = startProcess([&] {
        MDB_env* environment = nullptr;
        MDB_txn* transaction = nullptr;
        mdb_env_create(&environment);
        if (mdb_env_open(environment, m_store.c_str(), 0, 0600) != 0) return 1;
        if (mdb_txn_begin(environment, nullptr, 0, &transaction) != 0) return 2;
        if (write(begun[1], "", 1) != 1) return 3;
        return pause();
    });
    close(begun[1]);
    char byte = 0;
    EXPECT_EQ(read(begun[0], &byte, 1), 1);
    kill(writer, SIGSTOP);
    for (int round = 0; round < 3; round++) {
        reopen();
        EXPECT_EQ(valueOf("KEY"), "value");
    }
    setKeyValueStorePath("/nonexistent");
    kill(writer, SIGKILL);
    EXPECT_EQ(waitFor(writer), -SIGKILL);
    close(begun[0]);
}

TEST_F(KeyValueStore, ValuesOfAnotherProcess_AreSeenWhileOpen) {
    setKeyValueStorePath("/nonexistent");
    int orders[2];
    int answers[2];
    ASSERT_EQ(pipe2(orders, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(answers, O_CLOEXEC), 0);
    const pid_t writer = startProcess([&] {
        reopen();
        char order = 0;
        for (int i = 0; i < 3 && read(orders[0], &order, 1) == 1; i++) {
            setValue("KEY", std::string(1, order));
            if (write(answers[1], &order, 1) != 1) return 1;
        }
        return 0;
    });
    reopen();
    for (const char order : {'a', 'b', 'c'}) {
        char answer = 0;
        ASSERT_EQ(write(orders[1], &order, 1), 1);
        ASSERT_EQ(read(answers[0], &answer, 1), 1);
        EXPECT_EQ(valueOf("KEY"), std::string(1, order));
    }
    EXPECT_EQ(waitFor(writer), 0);
    for (const int fd : {orders[0], orders[1], answers[0], answers[1]}) {
        close(fd);
    }
}

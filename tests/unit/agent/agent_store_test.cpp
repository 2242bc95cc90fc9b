#include "agent/agent_store.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <random>

#include "tests/support/full_disk.h"
#include "tests/support/temp_folder.h"

namespace {

class AgentStore : public testing::Test {
  protected:
    AgentStore() { open(); }
    void open() {
        store = std::make_unique<cAgentStore>(folder.path());
        ASSERT_TRUE(store->open(note, error)) << error;
    }
    void openAgain() {
        store.reset();
        open();
    }
    static sDraft draft(eWaiting kind, const std::string& text = "x") {
        return {kind, 1, [text](const sMessageId& id) { return std::to_string(id.number) + text; }};
    }
    void add(eWaiting kind, const std::string& text = "x") {
        ASSERT_TRUE(store->commit({{draft(kind, text)}, {}, false}, error)) << error;
    }
    std::vector<uint64_t> takeAll() {
        std::vector<uint64_t> numbers;
        while (const auto message = store->takeNext())
            numbers.push_back(message->number);
        return numbers;
    }

    // What has become of a process that uses the store for a while.
    int useInAProcess() {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit noCore{0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            // As the watchdog of its unit ends an agent that hangs.
            std::signal(SIGALRM, [](int) { raise(SIGABRT); });
            alarm(60);
            cAgentStore own(folder.path());
            own.open(note, error);
            for (int i = 0; i < 20; ++i) {
                own.commit({{draft(eWaiting::EVENT, std::string(2000, 'x'))}, {}, false}, error);
                if (const auto next = own.takeNext()) own.noteDelivered(next->number);
            }
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }

    cTempFolder folder;
    std::unique_ptr<cAgentStore> store;
    std::string note;
    std::string error;
};

}  // namespace

TEST_F(AgentStore, Messages_AreNumberedAndComeInTheirOrder) {
    add(eWaiting::EVENT);
    add(eWaiting::SMS, "hello");
    const auto first = store->takeNext();
    const auto second = store->takeNext();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->text, "1x");
    EXPECT_EQ(second->text, "2hello");
    EXPECT_EQ(second->kind, eWaiting::SMS);
    EXPECT_EQ(second->slot, 1);
    EXPECT_FALSE(store->takeNext());
}

TEST_F(AgentStore, OpenedAgain_SameStreamSameMessagesNextNumber) {
    add(eWaiting::EVENT);
    const std::string stream = store->stream();
    openAgain();
    EXPECT_TRUE(store->wasInterrupted());
    EXPECT_EQ(store->stream(), stream);
    add(eWaiting::EVENT);
    EXPECT_EQ(takeAll(), (std::vector<uint64_t>{1, 2}));
}

TEST_F(AgentStore, OrderlyEnd_IsKnownAndWhatWasDeliveredIsGone) {
    add(eWaiting::EVENT);
    store->takeNext();
    store->noteDelivered(1);
    ASSERT_TRUE(store->noteEnd(error));
    openAgain();
    EXPECT_FALSE(store->wasInterrupted());
    EXPECT_TRUE(takeAll().empty());
    add(eWaiting::EVENT);
    EXPECT_EQ(takeAll(), std::vector<uint64_t>{2});
}

TEST_F(AgentStore, NoConnectionAnyMore_WhatWasOnItsWayComesAgain) {
    add(eWaiting::EVENT);
    EXPECT_EQ(takeAll().size(), 1u);
    store->takeBack();
    EXPECT_EQ(takeAll(), std::vector<uint64_t>{1});
}

TEST_F(AgentStore, NoRoom_SignalGoesFirstThenEventsThenResultsMessagesLast) {
    const std::string piece(40 * 1024, 'x');
    add(eWaiting::SMS, piece);
    add(eWaiting::RESULT, piece);
    add(eWaiting::EVENT, piece);
    add(eWaiting::SIGNAL, piece);
    for (int i = 0; i < 46; ++i)
        add(eWaiting::RESULT, piece);
    EXPECT_EQ(store->dropped().count, 0u);
    EXPECT_LT(store->room(), piece.size() * 2);
    add(eWaiting::RESULT, piece);
    add(eWaiting::RESULT, piece);
    EXPECT_EQ(store->dropped().first, 4u);
    add(eWaiting::RESULT, piece);
    EXPECT_EQ(store->dropped().first, 3u);
    add(eWaiting::RESULT, piece);
    EXPECT_EQ(store->dropped().first, 2u);
    EXPECT_EQ(store->takeNext()->number, 1u);
    openAgain();
    EXPECT_EQ(store->dropped().last, 4u) << "what was dropped is known after a kill";
}

TEST_F(AgentStore, ReportOfWhatWasDropped_IsOneMessageAndThenForgotten) {
    const std::string piece(60 * 1024, 'x');
    for (int i = 0; i < 40; ++i)
        add(eWaiting::EVENT, piece);
    ASSERT_GT(store->dropped().count, 0u);
    ASSERT_TRUE(store->commit({{draft(eWaiting::DROPPED)}, {}, true}, error));
    EXPECT_LE(store->dropped().count, 1u);
}

TEST_F(AgentStore, MessageOnItsWay_IsNotDropped) {
    const std::string piece(60 * 1024, 'x');
    add(eWaiting::SIGNAL, piece);
    store->takeNext();
    for (int i = 0; i < 40; ++i)
        add(eWaiting::EVENT, piece);
    store->takeBack();
    EXPECT_EQ(store->takeNext()->number, 1u);
}

TEST_F(AgentStore, WhatCouldNotBeSent_IsTakenAgainInItsOrder) {
    for (int i = 0; i < 3; ++i)
        add(i == 1 ? eWaiting::SMS : eWaiting::EVENT);
    store->takeNext();
    store->takeNext();
    store->takeBack(1);
    EXPECT_EQ(takeAll(), (std::vector<uint64_t>{1, 3}));
    store->noteDelivered(2);
    store->takeBack();
    EXPECT_EQ(takeAll(), (std::vector<uint64_t>{1, 3}));
    EXPECT_EQ(store->waiting(), 2u);
}

// What the store keeps for its own use is as a walk over all messages would have it.
TEST_F(AgentStore, ManyChanges_RoomAndOrderAreThoseOfTheMessages) {
    for (int i = 0; i < 5000; ++i) {
        add(i % 7 == 0 ? eWaiting::SIGNAL : eWaiting::EVENT, std::string(100 + i % 50, 'x'));
        if (i % 3 == 0) store->takeNext();
        if (i % 9 == 0) store->noteDelivered(static_cast<uint64_t>(i / 3 + 1));
        if (i % 500 == 0) store->takeBack();
    }
    store->takeBack();
    const size_t room = store->room();
    const size_t waiting = store->waiting();
    const auto numbers = takeAll();
    EXPECT_EQ(numbers.size(), waiting);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_LE(waiting, cAgentStore::MESSAGES_MAX);
    add(eWaiting::EVENT, "");
    store->noteDelivered(5001);
    openAgain();
    EXPECT_EQ(store->room(), room);
    EXPECT_EQ(takeAll(), numbers);
}

TEST_F(AgentStore, NoRoomAtTheStart_TakesNothingAndThenWhatItHad) {
    add(eWaiting::EVENT);
    const std::string stream = store->stream();
    store.reset();
    {
        const cFullDisk full;
        open();
        EXPECT_NE(note.find("cannot be written"), std::string::npos) << note;
        EXPECT_FALSE(store->commit({{draft(eWaiting::EVENT)}, {}, false}, error));
        EXPECT_EQ(store->stream(), stream);
        EXPECT_EQ(takeAll(), std::vector<uint64_t>{1}) << "what waits can be sent";
    }
    add(eWaiting::EVENT);
    EXPECT_EQ(takeAll(), std::vector<uint64_t>{2});
}

TEST_F(AgentStore, NoRoomForANewStore_BeginsWhenThereIs) {
    store.reset();
    unlink((folder / "data.mdb").c_str());
    {
        const cFullDisk full;
        open();
        EXPECT_TRUE(isStreamName(store->stream()));
        EXPECT_FALSE(store->commit({{draft(eWaiting::EVENT)}, {}, false}, error));
        EXPECT_TRUE(takeAll().empty());
    }
    add(eWaiting::EVENT);
    EXPECT_EQ(takeAll(), std::vector<uint64_t>{1});
    openAgain();
    EXPECT_EQ(takeAll(), std::vector<uint64_t>{1});
}

TEST_F(AgentStore, SecondAgent_IsRefused) {
    cAgentStore second(folder.path());
    EXPECT_FALSE(second.open(note, error));
    EXPECT_NE(error.find("another agent"), std::string::npos) << error;
    EXPECT_FALSE(fileExists(folder / "lock.mdb"));
}

TEST_F(AgentStore, Commands_AreKeptUntilTheirDeadlineHasPassed) {
    sKnownCommand known;
    known.deadline = 1000;
    known.outcome = "done: x";
    ASSERT_TRUE(store->commit({{}, {{"a", known}}, false}, error));
    openAgain();
    ASSERT_TRUE(store->command("a"));
    EXPECT_EQ(store->command("a")->outcome, "done: x");
    store->forgetCommands(1000);
    EXPECT_TRUE(store->command("a"));
    store->forgetCommands(1001);
    EXPECT_FALSE(store->command("a"));
    add(eWaiting::EVENT);
    openAgain();
    EXPECT_FALSE(store->command("a"));
    EXPECT_EQ(store->forgottenUntil(), 1000);
}

TEST_F(AgentStore, CommandThatIsNotEnded_IsNotForgotten) {
    sKnownCommand known;
    known.state = eCommandState::RUNNING;
    known.deadline = 1000;
    store->commit({{}, {{"a", known}}, false}, error);
    store->forgetCommands(2000);
    EXPECT_TRUE(store->command("a"));
}

TEST_F(AgentStore, DamagedFile_IsPutAsideAndANewStreamBegins) {
    add(eWaiting::EVENT);
    const std::string stream = store->stream();
    store.reset();
    const std::string data = folder / "data.mdb";
    std::string content = readFile(data);
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7);
    writeFile(data, content);
    open();
    EXPECT_NE(note.find("damaged"), std::string::npos);
    EXPECT_NE(store->stream(), stream);
    EXPECT_TRUE(fileExists(data + ".broken"));
}

// Messages that fill pages badly, and as many commands as are kept.
TEST_F(AgentStore, FullOfAwkwardSizes_StillTakesChanges) {
    for (size_t i = 0; i < cAgentStore::COMMANDS_MAX; i += 100) {
        sStoreChange change;
        for (size_t j = 0; j < 100; ++j)
            change.commands["command-" + std::to_string(i + j)].outcome = std::string(120, 'x');
        ASSERT_TRUE(store->commit(change, error)) << error;
    }
    for (int i = 0; i < 1500; ++i)
        add(eWaiting::EVENT, std::string(i % 3 == 0 ? 4100 : 2050, 'x'));
    sStoreChange change;
    for (int i = 0; i < 20; ++i)
        change.messages.push_back(draft(eWaiting::RESULT, std::string(60 * 1024, 'x')));
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(store->commit(change, error)) << error;
}

// Whatever a failing flash has made of the file: it is used or put aside, and never ends the agent
// again and again.
TEST_F(AgentStore, AnyOctetsAreWrong_IsUsedOrPutAside) {
    const char* given = getenv("CELLSLOT_SEED");
    const unsigned seed = given ? static_cast<unsigned>(atoi(given)) : 7;
    std::mt19937 chance(seed);
    for (int i = 0; i < 60; ++i) {
        add(eWaiting::EVENT, std::string(100 + chance() % 3000, 'x'));
        if (i % 2 == 0) store->noteDelivered(store->takeNext()->number);
    }
    store.reset();
    const std::string data = folder / "data.mdb";
    const std::string content = readFile(data);
    for (int run = 0; run < 300; ++run) {
        std::string wrong = content;
        for (unsigned i = 0; i <= chance() % 20; ++i)
            wrong[chance() % wrong.size()] = static_cast<char>(chance());
        writeFile(data, wrong);
        unlink((data + ".broken").c_str());
        // What no examination finds may end it, but not for ever.
        int starts = 1;
        while (!WIFEXITED(useInAProcess()))
            ASSERT_LE(++starts, 3) << "run " << run << " of seed " << seed;
    }
}

TEST_F(AgentStore, CrashOutsideOfATransaction_CostsNothingTheFirstTime) {
    add(eWaiting::EVENT);
    store.reset();
    for (const bool isPutAside : {false, true}) {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit noCore{0, 0};
            setrlimit(RLIMIT_CORE, &noCore);
            cAgentStore own(folder.path());
            own.open(note, error);
            raise(SIGSEGV);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        open();
        EXPECT_EQ(takeAll().empty(), isPutAside);
        EXPECT_EQ(fileExists(folder / "data.mdb.broken"), isPutAside);
        store.reset();
    }
}

TEST_F(AgentStore, FileCutShort_IsPutAside) {
    for (int i = 0; i < 20; ++i)
        add(eWaiting::EVENT, std::string(5000, 'x'));
    store.reset();
    ASSERT_EQ(truncate((folder / "data.mdb").c_str(), 3 * 4096), 0);
    open();
    EXPECT_NE(note.find("damaged"), std::string::npos);
}

TEST_F(AgentStore, KilledWhileItWrites_EveryNumberThatWasGivenIsThere) {
    uint64_t last = 0;
    for (int run = 0; run < 20; ++run) {
        store.reset();
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            cAgentStore own(folder.path());
            own.open(note, error);
            for (uint64_t number = 0;; ++number) {
                own.commit({{draft(eWaiting::EVENT)}, {}, false}, error);
                if (write(ends[1], &number, sizeof number) < 0) _exit(1);
            }
        }
        // Ends after some commits, at any moment of the next.
        uint64_t number = 0;
        for (int i = 0; i <= run; ++i)
            ASSERT_EQ(read(ends[0], &number, sizeof number), static_cast<ssize_t>(sizeof number));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(ends[0]);
        close(ends[1]);
        open();
        EXPECT_EQ(note, "");
        const std::vector<uint64_t> numbers = takeAll();
        ASSERT_FALSE(numbers.empty());
        // The oldest have to go if the child has had time for more than there is room.
        ASSERT_EQ(numbers.front(), 1 + store->dropped().count);
        for (size_t i = 0; i < numbers.size(); ++i)
            ASSERT_EQ(numbers[i], numbers.front() + i);
        ASSERT_GE(numbers.back(), last + number + 1);
        last = numbers.back();
    }
}

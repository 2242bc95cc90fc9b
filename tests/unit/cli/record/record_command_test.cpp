#include "cli/record/record_command.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/include/timer_clock.h"
#include "published/recording_request.h"
#include "tests/unit/cli/empty_host.h"

namespace {

constexpr const char* REQUEST = "/run/cellslot/record.1";
constexpr const char* CURRENT = "/var/log/cellslot/recording.1.jsonl";
constexpr const char* OLDER = "/var/log/cellslot/recording.1.older.jsonl";
constexpr uint64_t NOW_S = 1000;

constexpr const char* HEADER =
    "{\"recording\":1,\"program\":\"cellslotd 1\",\"slot\":1,"
    "\"began\":\"2026-11-21T07:42:18Z\",\"identities\":\"replaced\"}\n";
constexpr const char* HEADER_KEPT =
    "{\"recording\":1,\"program\":\"cellslotd 1\",\"slot\":1,"
    "\"began\":\"2026-11-22T08:00:00Z\",\"identities\":\"kept\"}\n";
constexpr const char* LINE = "{\"ms\":1,\"at\":\"write\",\"data\":\"AT\\r\"}\n";
constexpr const char* STOP = "{\"ms\":2,\"mark\":\"stop\",\"reason\":\"minutes\"}\n";

class RecordCommand : public testing::Test {
  protected:
    RecordCommand() {
        host.folderAt("/var/log/cellslot", 0700);
        setTimerClock([] { return NOW_S * 1000; });
    }
    ~RecordCommand() override { setTimerClock(nullptr); }

    sCommandRun record(std::vector<const char*> words) const {
        words.insert(words.begin(), "record");
        return runOn(host, words);
    }
    std::string shown() const {
        const sCommandRun run = record({"show"});
        EXPECT_EQ(run.status, eExitStatus::OK) << run.err;
        return run.out;
    }
    bool has(const char* path) const { return host.places.have(path); }
    std::string text(const char* path) const { return readFile(host.places.at(path)); }
    sRecordingRequest request() const { return parseRecordingRequest(text(REQUEST)); }
    void putRequest(const std::string& content = "UNTIL=0\n") {
        host.folderAt("/run/cellslot");
        host.file(REQUEST, content, 0600);
    }

    cEmptyHost host;
};

}  // namespace

TEST_F(RecordCommand, StartWithoutDaemon_LeavesTheRequestAndSaysSo) {
    const sCommandRun run = record({"start"});
    EXPECT_EQ(run.status, eExitStatus::NO_DAEMON);
    EXPECT_NE(run.err.find("no daemon is running for slot 1; the recording begins when it is"),
              std::string::npos)
        << run.err;
    struct stat info {};
    ASSERT_EQ(stat(host.places.at(REQUEST).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
    EXPECT_EQ(request().untilS, NOW_S + 60U * RECORDING_MINUTES);
    EXPECT_EQ(request().fileBytes, RECORDING_BYTES);
    EXPECT_FALSE(request().keepIdentities);
}

TEST_F(RecordCommand, StartWithOptions_WritesThemIntoTheRequest) {
    record({"start", "--minutes", "5", "--size", "3", "--with-identities"});
    EXPECT_EQ(request().untilS, NOW_S + 300);
    EXPECT_EQ(request().fileBytes, size_t{3} * 1024 * 1024);
    EXPECT_TRUE(request().keepIdentities);
}

TEST_F(RecordCommand, StartForNoMinutes_HasNoEnd) {
    record({"start", "--minutes", "0"});
    EXPECT_EQ(request().untilS, 0U);
}

TEST_F(RecordCommand, StartForAnotherSlot_WritesItsRequest) {
    record({"start", "-p", "3"});
    EXPECT_TRUE(has("/run/cellslot/record.3"));
    EXPECT_FALSE(has(REQUEST));
}

TEST_F(RecordCommand, LimitsOfTheOptions_AreTakenAndNoMore) {
    record({"start", "--minutes", "10080", "--size", "64"});
    EXPECT_EQ(request().untilS, NOW_S + 10080U * 60);
    EXPECT_EQ(request().fileBytes, RECORDING_BYTES_MAX);
    unlink(host.places.at(REQUEST).c_str());
    const std::vector<std::vector<const char*>> refused = {
        {"start", "--minutes", "10081"},
        {"start", "--minutes", "-1"},
        {"start", "--minutes", "x"},
        {"start", "--size", "0"},
        {"start", "--size", "65"},
        {"start", "--size", ""},
        {"start", "-p", "0"},
        {"start", "-p", "4"},
        {"start", "more"},
        {},
        {"begin"},
        {"save"},
    };
    for (const auto& words : refused)
        EXPECT_EQ(record(words).status, eExitStatus::USAGE) << testing::PrintToString(words);
    EXPECT_FALSE(has(REQUEST));
}

TEST_F(RecordCommand, Start_RemovesARecordingThatHasEnded) {
    host.file(CURRENT, std::string(HEADER) + STOP);
    host.file(OLDER, HEADER);
    record({"start"});
    EXPECT_FALSE(has(CURRENT));
    EXPECT_FALSE(has(OLDER));
}

TEST_F(RecordCommand, StartWhileOneRuns_KeepsItsFiles) {
    host.daemon(1, 700);
    host.file(CURRENT, std::string(HEADER) + LINE);
    const sCommandRun run = record({"start", "--minutes", "1"});
    EXPECT_EQ(run.status, eExitStatus::OK) << run.err;
    EXPECT_EQ(run.out, "slot 1: records for 1 minute into " + std::string(CURRENT) + "\n");
    EXPECT_EQ(text(CURRENT), std::string(HEADER) + LINE);
}

TEST_F(RecordCommand, StartThatTheDaemonRefuses_Fails) {
    host.daemon(1, 700);
    std::thread daemon([this] {
        while (!has(REQUEST))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        unlink(host.places.at(REQUEST).c_str());
    });
    const sCommandRun run = record({"start"});
    daemon.join();
    EXPECT_EQ(run.status, eExitStatus::FAILED);
    EXPECT_NE(run.err.find("the daemon cannot record into " + std::string(CURRENT)),
              std::string::npos)
        << run.err;
}

TEST_F(RecordCommand, StartThatTheDaemonTakes_SaysForHowLong) {
    host.daemon(1, 700);
    std::thread daemon([this] {
        while (!has(REQUEST))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        host.file(CURRENT, HEADER);
    });
    const sCommandRun run = record({"start", "--minutes", "0"});
    daemon.join();
    EXPECT_EQ(run.out, "slot 1: records until it is stopped into " + std::string(CURRENT) + "\n");
}

TEST_F(RecordCommand, StartWhereTheFolderCannotBeMade_Fails) {
    rmdir(host.places.at("/run").c_str());
    host.file("/run", "a file");
    const sCommandRun run = record({"start"});
    EXPECT_EQ(run.status, eExitStatus::FAILED);
    EXPECT_NE(run.err.find("cannot create"), std::string::npos) << run.err;
}

TEST_F(RecordCommand, TwoDaemonsWithoutASlot_AreAUsageError) {
    host.daemon(1, 700);
    host.daemon(2, 701);
    for (const char* action : {"start", "stop", "show"})
        EXPECT_EQ(record({action}).status, eExitStatus::USAGE) << action;
    EXPECT_FALSE(has(REQUEST));
}

TEST_F(RecordCommand, StopWithoutARequest_Fails) {
    const sCommandRun run = record({"stop"});
    EXPECT_EQ(run.status, eExitStatus::FAILED);
    EXPECT_NE(run.err.find("slot 1: no recording was started"), std::string::npos) << run.err;
}

TEST_F(RecordCommand, Stop_RemovesTheRequestAndSaysWhatThereIs) {
    putRequest();
    host.file(CURRENT, std::string(HEADER) + STOP);
    host.file(OLDER, std::string(1024, 'x'));
    const sCommandRun run = record({"stop"});
    EXPECT_EQ(run.status, eExitStatus::OK) << run.err;
    EXPECT_EQ(run.out, "slot 1: ended, 2 kB; keep it with cellslot record save FILE\n");
    EXPECT_FALSE(has(REQUEST));
}

TEST_F(RecordCommand, Stop_WaitsForTheDaemonToEndIt) {
    host.daemon(1, 700);
    putRequest();
    host.file(CURRENT, std::string(HEADER) + LINE);
    std::thread daemon([this] {
        while (has(REQUEST))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        host.file(CURRENT, std::string(HEADER) + LINE + STOP);
    });
    const sCommandRun run = record({"stop"});
    daemon.join();
    EXPECT_NE(run.out.find("slot 1: ended, "), std::string::npos) << run.out;
}

TEST_F(RecordCommand, ShowWithoutARecording_SaysWhetherOneBegins) {
    EXPECT_EQ(shown(), "slot 1: no recording\n");
    putRequest();
    EXPECT_EQ(shown(), "slot 1: begins in a moment\n");
}

TEST_F(RecordCommand, ShowOfOneThatRuns_HasTheTimeLeft) {
    host.daemon(1, 700);
    host.file(CURRENT, std::string(HEADER) + LINE);
    const std::string since = "slot 1: recording since 2026-11-21T07:42:18Z";
    const std::string what = ", 1 kB, identities replaced\n";
    EXPECT_EQ(shown(), since + ", always" + what);
    putRequest();
    EXPECT_EQ(shown(), since + ", until it is stopped" + what);
    putRequest("UNTIL=" + std::to_string(NOW_S + 61) + "\n");
    EXPECT_EQ(shown(), since + ", 2 min left" + what);
    putRequest("UNTIL=" + std::to_string(NOW_S - 1) + "\n");
    EXPECT_EQ(shown(), since + ", 0 min left" + what);
}

TEST_F(RecordCommand, ShowOfOneThatEnded_HasTheReason) {
    host.daemon(1, 700);
    host.file(CURRENT, std::string(HEADER) + STOP);
    EXPECT_EQ(shown(),
              "slot 1: not recording; the last one began 2026-11-21T07:42:18Z and ended (minutes), "
              "1 kB, identities replaced\n");
}

TEST_F(RecordCommand, ShowOfOneWhoseDaemonIsGone_SaysSo) {
    host.file(CURRENT, std::string(HEADER) + LINE);
    EXPECT_EQ(shown(),
              "slot 1: not recording, no daemon runs; the last one began 2026-11-21T07:42:18Z, "
              "1 kB, identities replaced\n");
}

TEST_F(RecordCommand, ShowOfAFileWithTwoHeaders_IsOfTheLast) {
    host.daemon(1, 700);
    host.file(CURRENT, std::string(HEADER) + STOP + HEADER_KEPT + LINE);
    EXPECT_EQ(shown(),
              "slot 1: recording since 2026-11-22T08:00:00Z, always, 1 kB, identities kept\n");
}

TEST_F(RecordCommand, ShowOfAFileThatIsNoRecording_ShowsNoControlCharacters) {
    host.file(CURRENT, "{\"recording\":\"began\":\"\x1B[2J\",");
    EXPECT_EQ(shown().find('\x1B'), std::string::npos);
    host.file(CURRENT, "");
    EXPECT_NE(shown().find("no daemon runs"), std::string::npos);
    unlink(host.places.at(CURRENT).c_str());
    host.folderAt(CURRENT);
    EXPECT_EQ(shown(), "slot 1: no recording\n");
}

TEST_F(RecordCommand, Show_ListsWhatWasKeptAtExitStatus3) {
    host.file("/var/log/cellslot/recording.1.exit-1.jsonl", HEADER);
    host.file("/var/log/cellslot/recording.1.exit-3.jsonl", std::string(1025, 'x'));
    host.file("/var/log/cellslot/recording.1.exit-4.jsonl", HEADER);
    const std::string text = shown();
    EXPECT_NE(text.find("  kept at exit status 3: /var/log/cellslot/recording.1.exit-1.jsonl, "),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(", 2 kB\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("exit-2"), std::string::npos) << text;
    EXPECT_EQ(text.find("exit-4"), std::string::npos) << text;
}

TEST_F(RecordCommand, Save_JoinsBothFilesUpToTheLastWholeLine) {
    host.file(OLDER, std::string(HEADER) + LINE);
    host.file(CURRENT, std::string(HEADER) + LINE + "{\"ms\":3,\"at");
    const std::string saved = host.places.at("/tmp/saved.jsonl");
    const sCommandRun run = record({"save", saved.c_str()});
    EXPECT_EQ(run.status, eExitStatus::OK) << run.err;
    EXPECT_EQ(run.out, "slot 1: 1 kB into " + saved + "\n");
    EXPECT_EQ(text("/tmp/saved.jsonl"), std::string(HEADER) + LINE + HEADER + LINE);
    struct stat info {};
    ASSERT_EQ(stat(saved.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
}

TEST_F(RecordCommand, SaveWithoutARecording_FailsAndLeavesTheFile) {
    host.file("/tmp/saved.jsonl", "mine");
    const std::string saved = host.places.at("/tmp/saved.jsonl");
    for (const char* content : {"", "no whole line"}) {
        host.file(CURRENT, content);
        const sCommandRun run = record({"save", saved.c_str()});
        EXPECT_EQ(run.status, eExitStatus::FAILED);
        EXPECT_NE(run.err.find("there is no recording; begin one with cellslot record start"),
                  std::string::npos)
            << run.err;
    }
    EXPECT_EQ(text("/tmp/saved.jsonl"), "mine");
}

TEST_F(RecordCommand, SaveWithoutAName_IsAUsageErrorThatSaysSo) {
    host.file(CURRENT, HEADER);
    const sCommandRun run = record({"save", ""});
    EXPECT_EQ(run.status, eExitStatus::USAGE);
    EXPECT_NE(run.err.find("'' is not the name of a file"), std::string::npos) << run.err;
}

TEST_F(RecordCommand, SaveIntoAFolderThatIsMissing_Fails) {
    host.file(CURRENT, HEADER);
    const std::string saved = host.places.at("/tmp/no-such/saved.jsonl");
    const sCommandRun run = record({"save", saved.c_str()});
    EXPECT_EQ(run.status, eExitStatus::FAILED);
    EXPECT_NE(run.err.find("does not exist; create it"), std::string::npos) << run.err;
}

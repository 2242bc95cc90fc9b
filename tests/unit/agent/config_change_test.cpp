#include "agent/config_change.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "cli/base/failure.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr const char* OLD_TEXT = "CM_APN=old\n";
constexpr const char* NEW_TEXT = "CM_APN=new\n";
constexpr const char* PATH = "/etc/vuk/cellular1.conf";
constexpr int POWER_CUT = 42;

// A host with a clock of its own, whose daemon takes each file. It ends at a step.
class cFakeHost : public iChangeHost {
  public:
    explicit cFakeHost(const std::string& file) : m_file(file) {}

    std::string boot() const override { return bootName; }
    long long runS() const override { return nowS; }
    bool check(const std::string& path, std::string& why) override {
        why = "! line 1";
        return readFile(path).find("wrong") == std::string::npos;
    }
    bool reload(int, std::string& why) override {
        why = "no daemon runs for slot 1";
        if (!isDaemonThere) return false;
        inForce = readFile(m_file);
        return true;
    }
    bool isConnected(int) override { return true; }
    void pause() override {
        ++nowS;
        if (onPause) onPause();
    }
    void step() override {
        ++steps;
        if (steps == endAtStep) _exit(POWER_CUT);
    }

    std::string bootName = "boot-1";
    long long nowS = 1000;
    bool isDaemonThere = true;
    int steps = 0;
    int endAtStep = 0;
    std::string inForce;
    std::function<void()> onPause;

  private:
    const std::string m_file;
};

class ConfigChange : public testing::Test {
  protected:
    ConfigChange() {
        std::filesystem::create_directories(folder / "etc/vuk");
        writeFile(file, OLD_TEXT);
        chmod(file.c_str(), 0640);
        command.id = "c1";
        command.name = COMMAND_CONFIG;
        command.slot = 1;
        command.file = NEW_TEXT;
        command.confirmS = 60;
    }

    sRootAnswer begin() { return cConfigChange(places(), host).begin(command); }
    void run() { cConfigChange(places(), host).run(); }
    std::string confirm() { return cConfigChange(places(), host).confirm("c1"); }
    // The agent comes back as soon as the daemon has read the new file.
    void letAgentComeBack() {
        host.onPause = [this] { confirm(); };
    }
    sPlaces places() const { return {folder.path()}; }

    // Nothing of the change is left but the file and what came of it.
    void expectEnded(const std::string& text, bool isConfirmed) {
        EXPECT_EQ(readFile(file), text);
        struct stat info {};
        stat(file.c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0640u);
        EXPECT_FALSE(fileExists(newFilePath(file)));
        EXPECT_FALSE(fileExists(oldFilePath(file)));
        EXPECT_FALSE(readChange(places()));
        const std::optional<sChangeOutcome> outcome = readChangeOutcome(places());
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->id, "c1");
        EXPECT_EQ(outcome->end == eChangeEnd::CONFIRMED, isConfirmed) << outcome->text;
    }

    // Runs work in a process that ends at a step, as by a kill or a power cut. False: it did not
    // get there.
    bool endsAt(int step, const std::function<void()>& work) {
        const pid_t child = fork();
        if (child == 0) {
            host.steps = 0;
            host.endAtStep = step;
            work();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == POWER_CUT;
    }

    cTempFolder folder;
    const std::string file = folder / "etc/vuk/cellular1.conf";
    cFakeHost host{file};
    sCommand command;
};

}  // namespace

TEST_F(ConfigChange, AgentComesBack_NewFileStays) {
    EXPECT_TRUE(begin().isBegun);
    EXPECT_EQ(readFile(file), OLD_TEXT) << "nothing is in force before the change is run";
    letAgentComeBack();
    run();
    expectEnded(NEW_TEXT, true);
    EXPECT_EQ(host.inForce, NEW_TEXT);
}

TEST_F(ConfigChange, AgentStaysAway_OldFileComesBackInTime) {
    begin();
    run();
    expectEnded(OLD_TEXT, false);
    EXPECT_EQ(host.inForce, OLD_TEXT);
    EXPECT_EQ(host.nowS, 1060);
}

TEST_F(ConfigChange, DaemonDoesNotRead_OldFileComesBack) {
    begin();
    host.isDaemonThere = false;
    run();
    expectEnded(OLD_TEXT, false);
    EXPECT_NE(readChangeOutcome(places())->text.find("no daemon runs"), std::string::npos);
}

TEST_F(ConfigChange, ConfirmedBeforeTheDaemonHasRead_DoesNotCount) {
    begin();
    EXPECT_EQ(confirm(), "the daemon has not read the new file");
    run();
    expectEnded(OLD_TEXT, false);
}

TEST_F(ConfigChange, ConfirmationOfAnEarlierChange_DoesNotCount) {
    writeConfirmation(places(), "c0");
    begin();
    run();
    expectEnded(OLD_TEXT, false);
}

TEST_F(ConfigChange, FileWithFindings_RefusedAndNothingLeft) {
    command.file = "wrong\n";
    const sRootAnswer answer = begin();
    EXPECT_EQ(answer.outcome.status, eResult::REFUSED);
    EXPECT_EQ(answer.outcome.output, "! line 1");
    EXPECT_FALSE(readChange(places()));
    EXPECT_FALSE(fileExists(newFilePath(file)));
    EXPECT_EQ(readFile(file), OLD_TEXT);
}

TEST_F(ConfigChange, NoFileToGoBackTo_Refused) {
    unlink(file.c_str());
    EXPECT_EQ(begin().outcome.status, eResult::REFUSED);
}

TEST_F(ConfigChange, LinkInTheFilesPlace_Refused) {
    unlink(file.c_str());
    ASSERT_EQ(symlink("/etc/passwd", file.c_str()), 0);
    EXPECT_EQ(begin().outcome.status, eResult::REFUSED);
}

TEST_F(ConfigChange, AnotherIsUnderWay_Refused) {
    begin();
    command.id = "c2";
    EXPECT_EQ(begin().outcome.status, eResult::REFUSED);
    EXPECT_EQ(readChange(places())->id, "c1");
}

TEST_F(ConfigChange, HostStartsAgain_TimeCountsAnewAndEnds) {
    begin();
    EXPECT_TRUE(endsAt(4, [this] { run(); }));
    host.bootName = "boot-2";
    host.nowS = 20;
    run();
    expectEnded(OLD_TEXT, false);
    EXPECT_EQ(host.nowS, 80);
}

TEST_F(ConfigChange, HostStartsAgainAndAgain_OldFileComesBackAtOnce) {
    begin();
    for (int boot = 2; boot < 10 && readChange(places()); ++boot) {
        host.bootName = "boot-" + std::to_string(boot);
        host.nowS = 10;
        host.onPause = [] { _exit(POWER_CUT); };
        const pid_t child = fork();
        if (child == 0) {
            run();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
    }
    expectEnded(OLD_TEXT, false);
}

TEST_F(ConfigChange, OldFileIsGone_OutcomeSaysThatTheNewOneStays) {
    begin();
    EXPECT_TRUE(endsAt(4, [this] { run(); }));
    unlink(oldFilePath(file).c_str());
    run();
    EXPECT_EQ(readFile(file), NEW_TEXT);
    const std::optional<sChangeOutcome> outcome = readChangeOutcome(places());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->end, eChangeEnd::NEW_FILE_STAYS);
    EXPECT_NE(outcome->text.find("is missing"), std::string::npos) << outcome->text;
    EXPECT_FALSE(readChange(places()));
}

TEST_F(ConfigChange, NewFileIsGoneBeforeItIsApplied_IsNotConfirmed) {
    begin();
    unlink(newFilePath(file).c_str());
    letAgentComeBack();
    run();
    expectEnded(OLD_TEXT, false);
}

// Nothing can be written any more: neither notes nor outcome. Renaming needs no room.
TEST_F(ConfigChange, DiskIsFull_OldFileComesBackAllTheSame) {
    for (const bool isReboot : {false, true}) {
        writeFile(file, OLD_TEXT);
        begin();
        EXPECT_TRUE(endsAt(4, [this] { run(); }));
        if (isReboot) host.bootName = "boot-2";
        {
            const cFullDisk full;
            EXPECT_THROW(run(), cFailure) << "the outcome is still to be written";
        }
        EXPECT_EQ(readFile(file), OLD_TEXT);
        // An agent that is back with the old file proves nothing about the new one.
        host.nowS = 1000;
        letAgentComeBack();
        confirm();
        run();
        expectEnded(OLD_TEXT, false);
        host.onPause = nullptr;
    }
}

TEST_F(ConfigChange, DiskIsFullAtTheBeginning_NothingIsLeft) {
    command.file = "A=1\n";
    {
        const cFullDisk full(command.file.size());
        EXPECT_THROW(begin(), cFailure);
    }
    EXPECT_FALSE(fileExists(newFilePath(file)));
    EXPECT_FALSE(fileExists(oldFilePath(file)));
    EXPECT_TRUE(begin().isBegun);
}

TEST_F(ConfigChange, FileIsLongerThanWhatIsKept_Refused) {
    writeFile(file, std::string(128 * 1024 + 1, '#'));
    EXPECT_EQ(begin().outcome.status, eResult::REFUSED);
}

// Otherwise a damaged record would bring back a file of long ago.
TEST_F(ConfigChange, CopyOfABeginningThatEndedEarly_IsRemovedByTheNext) {
    const std::string other = oldFilePath(folder / "etc/vuk/cellular2.conf");
    writeFile(other, "CM_APN=long ago\n");
    begin();
    EXPECT_FALSE(fileExists(other));
}

TEST_F(ConfigChange, DamagedRecord_OldFileComesBack) {
    begin();
    EXPECT_TRUE(endsAt(4, [this] { run(); }));
    writeFile(folder / "var/lib/cellslot/agent-change/pending", "{");
    run();
    EXPECT_EQ(readFile(file), OLD_TEXT);
    EXPECT_FALSE(fileExists(oldFilePath(file)));
    EXPECT_FALSE(readChange(places()));
}

// Ends the process at every step of the beginning: nothing may be in force.
TEST_F(ConfigChange, EndsAtAnyStepOfTheBeginning_OldFileStaysOrTheChangeEnds) {
    int stepsSeen = 0;
    for (int step = 1; endsAt(step, [this] { begin(); }); ++step) {
        EXPECT_EQ(readFile(file), OLD_TEXT) << step;
        EXPECT_FALSE(readChange(places())) << step;
        EXPECT_TRUE(begin().isBegun) << "a later one is not kept away";
        run();
        expectEnded(OLD_TEXT, false);
        ASSERT_LT(step, 100);
        stepsSeen = step;
    }
    EXPECT_EQ(stepsSeen, 3);
}

// Ends the process at every step, starts it again in the same or in another start of the host, with
// and without an agent that comes back: always the whole old or the whole new file, as the outcome
// says.
TEST_F(ConfigChange, EndsAtAnyStep_OneOfBothFilesAndTheOutcomeSaysWhich) {
    for (const bool comesBack : {false, true})
        for (const bool isReboot : {false, true}) {
            int step = 1;
            for (bool isEnded = true; isEnded; ++step) {
                writeFile(file, OLD_TEXT);
                host.bootName = "boot-1";
                host.nowS = 1000;
                host.onPause = nullptr;
                begin();
                if (comesBack) letAgentComeBack();
                isEnded = endsAt(step, [this] { run(); });
                if (isReboot) host.bootName = "boot-2";
                run();
                const std::optional<sChangeOutcome> outcome = readChangeOutcome(places());
                ASSERT_TRUE(outcome);
                EXPECT_EQ(outcome->end == eChangeEnd::CONFIRMED, comesBack) << step;
                expectEnded(comesBack ? NEW_TEXT : OLD_TEXT, comesBack);
                EXPECT_TRUE(host.inForce.empty() || host.inForce == readFile(file)) << step;
                ASSERT_LT(step, 100);
            }
            EXPECT_GT(step, 8);
        }
}

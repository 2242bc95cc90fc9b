#include "cli/report/report_command.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

#include "tests/unit/cli/empty_host.h"

namespace {

constexpr const char* CONFIG = "/etc/vuk/cellular1.conf";
constexpr const char* LOG = "/var/log/cellslotd.log";
constexpr const char* IMSI = "310410123456789";
constexpr size_t BLOCK = 512;
constexpr size_t SIZE_AT = 124;
constexpr int OCTAL = 8;

// The members of a tar archive by name, without the folder.
std::map<std::string, std::string> membersOf(const std::string& archive) {
    std::map<std::string, std::string> members;
    for (size_t at = 0; at + BLOCK <= archive.size() && archive[at] != '\0';) {
        const std::string name = archive.c_str() + at;
        const size_t size = strtoul(archive.c_str() + at + SIZE_AT, nullptr, OCTAL);
        members[name.substr(name.find('/') + 1)] = archive.substr(at + BLOCK, size);
        at += BLOCK + (size + BLOCK - 1) / BLOCK * BLOCK;
    }
    return members;
}

// The host's own journal is out of reach: journalctl is a script of the test.
class ReportCommand : public testing::Test {
  protected:
    ReportCommand() : m_path(getenv("PATH")) {
        setenv("PATH", (host.places.at("/tools") + ":" + m_path).c_str(), 1);
        journalIs("");
        host.folderAt("/var/log/cellslot", 0700);
    }
    ~ReportCommand() override { setenv("PATH", m_path.c_str(), 1); }

    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "only root may write a report";
    }

    void journalIs(const std::string& text) {
        host.file("/tools/journalctl", "#!/bin/sh\ncat <<'END'\n" + text + "\nEND\n", 0755);
        if (text.empty()) host.file("/tools/journalctl", "#!/bin/sh\n", 0755);
    }

    std::string archivePath() const { return host.places.at("/tmp/report.tar"); }
    sCommandRun report(std::vector<const char*> more = {"-p", "1"}) const {
        const std::string path = archivePath();
        std::vector<const char*> words = {"report", path.c_str()};
        words.insert(words.end(), more.begin(), more.end());
        return runOn(host, words);
    }
    std::map<std::string, std::string> members(std::vector<const char*> more = {"-p", "1"}) const {
        const sCommandRun run = report(std::move(more));
        EXPECT_EQ(run.status, eExitStatus::OK) << run.err;
        return membersOf(readFile(archivePath()));
    }
    void expectHidden(const std::string& secret) const {
        EXPECT_EQ(report().status, eExitStatus::OK);
        for (const auto& [name, text] : membersOf(readFile(archivePath())))
            EXPECT_EQ(text.find(secret), std::string::npos) << name << ":\n" << text;
    }

    cEmptyHost host;

  private:
    std::string m_path;
};

}  // namespace

TEST_F(ReportCommand, Report_ListsEachMemberWithItsSizeThenWhereItIs) {
    host.file(CONFIG, "CM_APN=internet\n");
    host.file(LOG, "started\n");
    host.status(1, {{"MODEL", "LE910-EU V2"}});
    const sCommandRun run = report();
    ASSERT_EQ(run.status, eExitStatus::OK) << run.err;
    const auto all = membersOf(readFile(archivePath()));
    for (const char* name :
         {"versions", "doctor", "status.1", "status-file.1", "configuration.1", "journal.1"})
        EXPECT_EQ(all.count(name), 1U) << name;
    for (const auto& [name, text] : all)
        EXPECT_NE(run.out.find("  " + name + ", " + std::to_string(text.size()) + " bytes\n"),
                  std::string::npos)
            << name << "\n"
            << run.out;
    const std::string end =
        "PIN, PUK, user name and password are not in it; identities are replaced\nwritten to " +
        archivePath() + "\n";
    EXPECT_EQ(run.out.substr(run.out.size() - end.size()), end);
    struct stat info {};
    ASSERT_EQ(stat(archivePath().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600U);
}

TEST_F(ReportCommand, UserName_IsInNoMember) {
    const std::string user = "pump-seven";
    host.file(CONFIG, "CM_APN=internet\nCM_USERNAME=" + user + "\nCM_PASSWORD=s3cret-Pump7\n");
    host.status(1, {{"CFG_USER", user}, {"MODEL", "a " + user + " b"}});
    host.file("/etc/default/cellslotd.1", "# of " + user + "\n");
    host.file(LOG, "logged in as " + user + "\n");
    journalIs("Log in as '" + user + "'");
    expectHidden(user);
    expectHidden("s3cret-Pump7");
    EXPECT_EQ(members()["configuration.1"].find("CM_USERNAME="), std::string::npos);
}

TEST_F(ReportCommand, UserNameThatIsTheApn_StaysReadableInTheApn) {
    host.file(CONFIG, "CM_APN=internet\nCM_USERNAME=internet\n");
    const std::string text = members()["configuration.1"];
    EXPECT_NE(text.find("CM_APN=internet\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("CM_USERNAME=internet"), std::string::npos) << text;
}

TEST_F(ReportCommand, ShortUserName_IsNotInTheConfiguration) {
    host.file(CONFIG, "CM_APN=internet\nCM_USERNAME=qz7\n");
    EXPECT_EQ(members()["configuration.1"].find("qz7"), std::string::npos);
}

TEST_F(ReportCommand, PinsAndPuk_AreHiddenWhereverTheyCome) {
    host.file("/etc/vuk/cellular_cpin.1", "4711\n");
    host.file("/etc/vuk/cellular_cpin_new.1", "8642\n");
    host.file("/etc/vuk/cellular_puk.1", "13572468\n");
    journalIs("PIN 4711, then 8642, PUK 13572468");
    for (const char* secret : {"4711", "8642", "13572468"})
        expectHidden(secret);
}

TEST_F(ReportCommand, SecretOfAnotherSlot_IsHiddenInAWholeReport) {
    host.file("/etc/vuk/cellular2.conf", "CM_PASSWORD=s3cret-Pump7\n");
    host.file(CONFIG, "CM_APN=internet\n");
    host.daemon(1, 700);
    host.daemon(2, 701);
    journalIs("slot 2 has s3cret-Pump7");
    for (const auto& [name, text] : members({}))
        EXPECT_EQ(text.find("s3cret-Pump7"), std::string::npos) << name;
}

TEST_F(ReportCommand, Identities_AreReplacedUnlessTheyAreWanted) {
    host.status(1, {{"SIM_IMSI", IMSI}});
    host.file(LOG, std::string("IMSI ") + IMSI + "\n");
    expectHidden(IMSI);
    const auto kept = members({"-p", "1", "--with-identities"});
    EXPECT_NE(kept.at("status-file.1").find(IMSI), std::string::npos);
    EXPECT_NE(kept.at("journal.1").find(IMSI), std::string::npos);
    EXPECT_NE(report({"--with-identities"}).out.find("identities are kept"), std::string::npos);
}

// Fewer digits than those that are an identity in every text.
TEST_F(ReportCommand, ShortOwnNumber_IsReplacedUnlessItIsWanted) {
    host.status(1, {{"MDN", "5550101"}});
    host.file(LOG, "own number 5550101\n");
    expectHidden("5550101");
    EXPECT_NE(members({"-p", "1", "--with-identities"}).at("journal.1").find("5550101"),
              std::string::npos);
}

// The file of a PIN that the SIM refused is emptied.
TEST_F(ReportCommand, RefusedPin_IsInNoMember) {
    host.status(1,
                {{"SIM_EXTENDED_STATUS", "Error: Unable to unlock SIM PIN, bad password '4711'"}});
    journalIs("Error: Unable to unlock SIM PIN, bad password '4711'");
    expectHidden("4711");
}

TEST_F(ReportCommand, RecordingThatKeepsIdentities_IsNamed) {
    const std::string path = "/var/log/cellslot/recording.1.jsonl";
    host.file(path, "{\"recording\":1,\"identities\":\"replaced\"}\n");
    EXPECT_EQ(report().out.find("keeps"), std::string::npos);
    host.file(path,
              "{\"recording\":1,\"identities\":\"replaced\"}\n"
              "{\"recording\":1,\"identities\":\"kept\"}\n");
    EXPECT_NE(report().out.find("but recording.1.jsonl keeps them: it was started with "
                                "--with-identities\n"),
              std::string::npos)
        << report().out;
    EXPECT_EQ(report({"--with-identities"}).out.find("keeps them"), std::string::npos);
}

TEST_F(ReportCommand, Recordings_AreInItAsTheyAre) {
    host.file("/var/log/cellslot/recording.1.older.jsonl", "{\"recording\":1}\n");
    host.file("/var/log/cellslot/recording.1.jsonl", "{\"ms\":1}\n{\"ms\":");
    host.file("/var/log/cellslot/recording.1.exit-2.jsonl", "{\"recording\":2}\n");
    const auto all = members();
    EXPECT_EQ(all.at("recording.1.jsonl"), "{\"recording\":1}\n{\"ms\":1}\n");
    EXPECT_EQ(all.at("recording.1.exit-1.jsonl"), "{\"recording\":2}\n");
}

TEST_F(ReportCommand, WhatIsMissing_IsLeftOut) {
    const auto all = members();
    for (const char* name :
         {"recording.1.jsonl", "status-file.1", "service-settings.1", "journal.1"})
        EXPECT_EQ(all.count(name), 0U) << name;
    EXPECT_EQ(all.count("versions"), 1U);
    EXPECT_EQ(all.count("doctor"), 1U);
}

TEST_F(ReportCommand, Journal_HasPriorityOverTheLogFile) {
    host.file(LOG, "from the file\n");
    EXPECT_EQ(members()["journal.1"], "from the file\n");
    journalIs("from the journal");
    EXPECT_EQ(members()["journal.1"], "from the journal\n");
}

TEST_F(ReportCommand, LongLogFile_IsCutToItsEnd) {
    constexpr size_t LIMIT = 4 * 1024 * 1024;
    host.file(LOG, "first line\n" + std::string(LIMIT, 'x') + "\nlast line\n");
    const std::string text = members()["journal.1"];
    EXPECT_LE(text.size(), LIMIT + 1);
    EXPECT_EQ(text.find("first line"), std::string::npos);
    EXPECT_NE(text.find("\nlast line\n"), std::string::npos);
}

TEST_F(ReportCommand, OneSlot_LeavesTheOthersOut) {
    host.file(CONFIG, "CM_APN=one\n");
    host.file("/etc/vuk/cellular2.conf", "CM_APN=two\n");
    host.daemon(1, 700);
    host.daemon(2, 701);
    EXPECT_EQ(members({"-p", "2"}).count("configuration.1"), 0U);
    const auto both = members({});
    EXPECT_EQ(both.count("configuration.1"), 1U);
    EXPECT_EQ(both.count("configuration.2"), 1U);
}

TEST_F(ReportCommand, ArchiveThatCannotBeWritten_FailsAndSaysWhy) {
    const std::string path = host.places.at("/tmp/no-such/report.tar");
    const sCommandRun run = runOn(host, {"report", path.c_str()});
    EXPECT_EQ(run.status, eExitStatus::FAILED);
    EXPECT_NE(run.err.find("does not exist; create it"), std::string::npos) << run.err;
    EXPECT_EQ(run.out.find("written to"), std::string::npos) << run.out;
    // What would be in it is listed before it is written.
    EXPECT_EQ(run.out.find("  versions, "), 0U) << run.out;
}

TEST_F(ReportCommand, InvalidCommandLine_IsAUsageError) {
    EXPECT_EQ(runOn(host, {"report"}).status, eExitStatus::USAGE);
    EXPECT_EQ(report({"-p", "4"}).status, eExitStatus::USAGE);
    EXPECT_EQ(report({"more"}).status, eExitStatus::USAGE);
    EXPECT_FALSE(host.places.have("/tmp/report.tar"));
}

TEST_F(ReportCommand, ArchiveWithoutAName_IsAUsageErrorThatSaysSo) {
    for (const std::string name : {"", "/tmp/", "..", "/tmp/."}) {
        const sCommandRun run = runOn(host, {"report", name.c_str()});
        EXPECT_EQ(run.status, eExitStatus::USAGE) << name;
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find("'" + name + "' is not the name of a file"), std::string::npos)
            << run.err;
    }
}

TEST_F(ReportCommand, AnotherUser_IsNotPermitted) {
    constexpr uid_t NOBODY = 65534;
    ASSERT_EQ(seteuid(NOBODY), 0);
    const sCommandRun run = report();
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(run.status, eExitStatus::NOT_PERMITTED);
    EXPECT_NE(run.err.find("run it as root"), std::string::npos) << run.err;
    EXPECT_FALSE(host.places.have("/tmp/report.tar"));
}

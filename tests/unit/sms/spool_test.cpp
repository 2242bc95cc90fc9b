#include "sms/spool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "sms/listing_marker.h"
#include "sms/sms.h"
#include "sms/wall_clock.h"
#include "tests/unit/sms/fixture.h"

namespace {

class SmsSpool : public cSmsFixture {};
class SmsSweep : public cSmsFixture {
  protected:
    void putAged(const std::string& path, time_t ageS) {
        writeFile(path, "TO=12345\nMSG=x");
        setFileTime(path, START_S - ageS);
    }
};

}  // namespace

TEST_F(SmsSpool, MakeSmsDirs_NewRoot_CreatesTheTree) {
    const std::string other = folder / "other";
    EXPECT_EQ(makeSmsDirs(other), 0);
    EXPECT_EQ(makeSmsDirs(other + "/"), 0) << "all there, and a slash at the end";
    for (const char* dir : {"recv", "recv_parts", "recv_post", "send", "send_fail", "send_ok"}) {
        struct stat info {};
        ASSERT_EQ(stat((other + "/" + dir).c_str(), &info), 0) << dir;
        EXPECT_TRUE(S_ISDIR(info.st_mode));
        EXPECT_EQ(info.st_mode & 0777U, 0700U);
    }
}

TEST_F(SmsSpool, MakeSmsDirs_FileAndLinkInTheWay_CountsBoth) {
    const std::string other = folder / "other";
    std::filesystem::create_directory(other);
    writeFile(other + "/recv", "");
    std::filesystem::create_symlink("/etc", other + "/send");
    EXPECT_EQ(makeSmsDirs(other), 2);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsSpool, MakeSmsDirs_RootIsAFile_CountsAll) {
    writeFile(folder / "file", "");
    EXPECT_EQ(makeSmsDirs(folder / "file"), 6);
}

TEST_F(SmsSpool, RootIsALink_NothingIsWrittenOrReadAtItsTarget) {
    const std::string outside = folder / "outside";
    std::filesystem::create_directories(outside + "/recv");
    writeFile(outside + "/recv/name", "");
    writeFile(outside + "/.cellslot-tmp-aaaaaa", "");
    std::filesystem::create_symlink(outside, folder / "link");
    const std::string link = folder / "link";
    EXPECT_EQ(makeSmsDirs(link), 6);
    EXPECT_FALSE(std::filesystem::exists(outside + "/send"));
    std::vector<std::string> found;
    EXPECT_EQ(listSpoolRoot(link, found), ELOOP);
    EXPECT_EQ(listSpoolDir(link + "/recv/", found), ELOOP);
    EXPECT_FALSE(isSpoolDir(link + "/recv/"));
    bool leftOver;
    EXPECT_FALSE(openListing(link, leftOver));
    initSMS(link);
    EXPECT_TRUE(std::filesystem::exists(outside + "/.cellslot-tmp-aaaaaa"));
    EXPECT_TRUE(logContains("is a link or belongs to another user"));
}

TEST_F(SmsSpool, WarnAboutForeignSpool_LinkAsRoot_IsLogged) {
    warnAboutForeignSpool(root);
    EXPECT_TRUE(capturedLog().empty());
    std::filesystem::create_symlink(root, folder / "link");
    warnAboutForeignSpool(folder / "link");
    EXPECT_TRUE(logContains("is a link or belongs to another user"));
}

TEST_F(SmsSpool, WarnAboutForeignSpool_ForeignOwner_IsLogged) {
    if (geteuid() != 0) {
        // Only root can change the owner of a folder; other users test with a folder of root.
        warnAboutForeignSpool("/usr");
    } else {
        ASSERT_EQ(chown(root.c_str(), 1, 1), 0);
        warnAboutForeignSpool(root);
    }
    EXPECT_TRUE(logContains("is a link or belongs to another user"));
}

TEST_F(SmsSpool, ListSpoolDir_LinkInPlaceOfTheFolder_IsRefused) {
    std::filesystem::create_symlink("/etc", root + "/link");
    tNames found;
    EXPECT_EQ(listSpoolDir(root + "/link/", found), ELOOP);
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(listSpoolDir(root + "/missing/", found), ENOENT);
    EXPECT_EQ(listSpoolDir(root + "/send/", found), 0);
}

TEST_F(SmsSpool, Texts_ControlCharacters_BecomeUnderscores) {
    EXPECT_EQ(oneLineText("a/b\n\x7f c"), "a/b__ c");
    EXPECT_EQ(fileNameText(std::string("../\0\r+1", 7)),
              ".._"
              "__+1");
}

TEST_F(SmsSpool, FileTimeText_IsLocalTime) {
    EXPECT_EQ(fileTimeText(), START_TEXT);
    setenv("TZ", "EST5", 1);
    EXPECT_EQ(fileTimeText(), "20200615-153205");
}

TEST_F(SmsSpool, SleepToNextSecond_SleepsUntilTheSecondChanges) {
    const timespec before = wallClockNow();
    sleepToNextSecond();
    EXPECT_EQ(wallClockNow().tv_sec, before.tv_sec + 1);
}

TEST_F(SmsSweep, Sweep_FileOfExactlyOneDayStays_OneSecondOlderIsRemoved) {
    for (const char* dir : {"recv", "send", "recv_parts"}) {
        putAged(in(dir, "day"), 86400);
        putAged(in(dir, "older"), 86401);
        putAged(in(dir, "future"), -1000);
    }
    cleanUpSmSFiles(root);
    for (const char* dir : {"recv", "send", "recv_parts"})
        EXPECT_EQ(names(dir), (tNames{"day", "future"})) << dir;
    EXPECT_EQ(logCount("Deleting SMS file '" + in("recv", "older") + "', older than 1440 minutes."),
              1U);
}

TEST_F(SmsSweep, Sweep_FoldersInOrder_FilesFromTheLastEntry) {
    for (const char* name : {"a", "b", "c"})
        putAged(in("send", name), 1);
    tNames listed;
    listSpoolDir(in("send"), listed);
    g_i_debugMode = eLOG_SMS;
    cleanUpSmSFiles(root);
    const std::string start = "DEBUG: deleteOldSmSFiles(" + root;
    const std::string file = "DEBUG:  deleteOldSmSFiles(): Checking age of SMS file " + in("send");
    EXPECT_EQ(capturedLog(),
              (tNames{"DEBUG: cleanUpSmSFiles() running", start + "/recv/): running",
                      start + "/send/): running", file + listed[2] + ", 1/86400 seconds",
                      file + listed[1] + ", 1/86400 seconds",
                      file + listed[0] + ", 1/86400 seconds", start + "/recv_parts/): running"}));
}

TEST_F(SmsSweep, Sweep_OtherFolders_AreNeverSwept) {
    for (const char* dir : {"send_ok", "send_fail", "recv_post"})
        putAged(in(dir, "old"), 100000);
    cleanUpSmSFiles(root);
    for (const char* dir : {"send_ok", "send_fail", "recv_post"})
        EXPECT_EQ(names(dir), tNames{"old"}) << dir;
}

TEST_F(SmsSweep, Sweep_TimerRunning_WaitsFor900Seconds) {
    cleanUpSmSFiles(root);
    putAged(in("recv", "old"), 100000);
    cleanUpSmSFiles(root);
    EXPECT_EQ(names("recv"), tNames{"old"});
    EXPECT_EQ(g_C_deleteOldSmsFiles.GetTimeout(), 900U);
    g_C_deleteOldSmsFiles.Stop();
    cleanUpSmSFiles(root);
    EXPECT_TRUE(names("recv").empty());
}

// The clock of a gateway without a battery starts in 1970. A file from before the network time was
// set is fifty years old afterwards.
TEST_F(SmsSweep, Sweep_AfterTheFirstNetworkTime_DeletesEarlierFiles) {
    writeFile(in("recv", "fresh"), "MSG=x");
    setFileTime(in("recv", "fresh"), 100);
    cleanUpSmSFiles(root);
    EXPECT_TRUE(names("recv").empty());
}

TEST_F(SmsSweep, Sweep_FoldersAndTargetsOfLinks_AreNotDeleted) {
    const std::string outside = folder / "outside";
    putAged(outside, 100000);
    std::filesystem::create_directory(in("recv", "folder"));
    setFileTime(in("recv", "folder"), START_S - 100000);
    std::filesystem::create_symlink(outside, in("recv", "link"));
    std::filesystem::create_symlink(folder / "nothing", in("recv", "dangling"));
    cleanUpSmSFiles(root);
    EXPECT_EQ(names("recv"), (tNames{"dangling", "folder"}));
    EXPECT_TRUE(fileExists(outside));
}

TEST_F(SmsSweep, DeleteOldFiles_MissingFolder_IsLogged) {
    deleteOldSmSFiles(root + "/missing/");
    EXPECT_EQ(logCount(" deleteOldSmSFiles():  Cannot read dir " + root +
                       "/missing/, errno 2 (No such file or directory)"),
              1U);
}

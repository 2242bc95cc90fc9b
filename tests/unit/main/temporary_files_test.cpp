#include "include/temporary_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>

#include "platform/include/file_vector.h"
#include "tests/support/captured_log.h"
#include "tests/support/temp_folder.h"

namespace {

class TemporaryFiles : public ::testing::Test {
  protected:
    TemporaryFiles() { clearCapturedLog(); }

    std::string makeFile(const std::string& name, time_t ageS) const {
        const std::string path = folder / name;
        writeFile(path, "half a li");
        age(path, ageS);
        return path;
    }

    static void age(const std::string& path, time_t ageS) {
        const timespec then = {time(nullptr) - ageS, 0};
        const timespec times[2] = {then, then};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
    }

    const cTempFolder folder;
};

}  // namespace

TEST_F(TemporaryFiles, OlderThanAMinute_IsRemovedAndReported) {
    const std::string path = makeFile(".cellslot-tmp-a1B2c3", 70);
    removeLeftTemporaryFiles(folder.path());
    EXPECT_FALSE(fileExists(path));
    EXPECT_EQ(logCount("Removed " + path + ", left by a write that was interrupted"), 1U);
}

TEST_F(TemporaryFiles, YoungerOrFromTheFuture_Stays) {
    const std::string young = makeFile(".cellslot-tmp-aaaaaa", 50);
    const std::string future = makeFile(".cellslot-tmp-bbbbbb", -3600);
    removeLeftTemporaryFiles(folder.path());
    EXPECT_TRUE(fileExists(young));
    EXPECT_TRUE(fileExists(future));
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(TemporaryFiles, OtherNames_Stay) {
    for (const char* name :
         {".cellslot-tmp-", ".cellslot-tmp-aaaaa", ".cellslot-tmp-aaaaaaa", ".cellslot-tmp-aaa-aa",
          ".cellslot-tmp-aaa aa", "x.cellslot-tmp-aaaaaa", ".cellslot-tmp_aaaaaa",
          "cellular_cpin.1", ".cellslot-prompt.1", ".cellslot-tmp-aaaaaa.1"}) {
        const std::string path = makeFile(name, 86400);
        removeLeftTemporaryFiles(folder.path());
        EXPECT_TRUE(fileExists(path)) << name;
    }
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(TemporaryFiles, LinksFoldersAndFifos_Stay) {
    const std::string target = makeFile("target", 86400);
    const std::string link = folder / ".cellslot-tmp-linkto";
    std::filesystem::create_symlink(target, link);
    const std::string directory = folder / ".cellslot-tmp-folder";
    std::filesystem::create_directory(directory);
    const std::string fifo = folder / ".cellslot-tmp-fifo00";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {link, directory, fifo})
        age(path, 86400);
    removeLeftTemporaryFiles(folder.path());
    EXPECT_TRUE(fileExists(target));
    for (const std::string& path : {link, directory, fifo})
        EXPECT_TRUE(std::filesystem::exists(std::filesystem::symlink_status(path))) << path;
}

TEST_F(TemporaryFiles, MissingFolder_IsNoError) {
    removeLeftTemporaryFiles(folder / "none");
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(TemporaryFiles, LeftByAKilledWriter_IsRemoved) {
    const pid_t child = fork();
    if (child == 0) {
        // By default the signal for a full disk kills the process in the middle of the write.
        const rlimit limit{4096, RLIM_INFINITY};
        std::signal(SIGXFSZ, SIG_DFL);
        setrlimit(RLIMIT_FSIZE, &limit);
        cFileVector file(folder / "file");
        file.AppendLine(std::string(100000, 'x'));
        file.Write();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::string left = std::filesystem::directory_iterator(folder.path())->path();
    removeLeftTemporaryFiles(folder.path());
    EXPECT_TRUE(fileExists(left));
    age(left, 70);
    removeLeftTemporaryFiles(folder.path());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

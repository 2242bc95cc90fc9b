#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>

#include "platform/include/file_vector.h"
#include "tests/support/captured_log.h"
#include "tests/support/temp_folder.h"

namespace {

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t modeOf(const std::string& path) {
    return statusOf(path).st_mode & 07777;
}

size_t filesIn(const std::string& folder) {
    const std::filesystem::directory_iterator begin(folder);
    return static_cast<size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}

// While it exists, no file may grow beyond this size, as on a full disk.
class cFullDisk {
  public:
    explicit cFullDisk(rlim_t bytes) {
        m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_old);
        const rlimit limit{bytes, m_old.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~cFullDisk() {
        setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_oldHandler);
    }

  private:
    rlimit m_old{};
    void (*m_oldHandler)(int);
};

// The files whose data were brought to the disk, as they were named then.
std::vector<std::string> g_settled;
int g_settlingError = 0;

}  // namespace

extern "C" int __real_sync_file_range(int fd, off64_t offset, off64_t bytes, unsigned flags);

extern "C" int __wrap_sync_file_range(int fd, off64_t offset, off64_t bytes, unsigned flags) {
    constexpr unsigned AND_WAIT = SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    const bool isWhole = offset == 0 && bytes == 0;
    if (isWhole && (flags & AND_WAIT) == AND_WAIT) {
        g_settled.push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)));
    }
    if (g_settlingError == 0) return __real_sync_file_range(fd, offset, bytes, flags);
    errno = g_settlingError;
    return -1;
}

namespace {

class FileVector : public testing::Test {
  protected:
    void SetUp() override {
        clearCapturedLog();
        g_settled.clear();
        g_settlingError = 0;
    }

    bool writeText(const std::string& path, const std::string& text) {
        cFileVector file(path);
        file.AppendLine(text, false);
        return file.Write();
    }

    const cTempFolder m_folder;
    const std::string m_path = m_folder / "file";
};

}  // namespace

TEST_F(FileVector, Lines_AreWrittenInOrder) {
    cFileVector file(m_path);
    file.AppendLine("KEY=1");
    file.AppendLine("", true);
    file.AppendLine("MSG=line\nline", false);
    EXPECT_FALSE(fileExists(m_path));
    EXPECT_TRUE(file.Write());
    EXPECT_EQ(readFile(m_path), "KEY=1\n\nMSG=line\nline");
}

TEST_F(FileVector, ExistingFile_IsReplacedWhole) {
    writeFile(m_path, "old content that is longer");
    EXPECT_TRUE(writeText(m_path, "new"));
    EXPECT_EQ(readFile(m_path), "new");
}

// Else the name may be on the disk before the data: a power cut then leaves a file of zero bytes.
TEST_F(FileVector, Data_AreOnTheDiskBeforeTheFileHasItsName) {
    writeFile(m_path, "old");
    EXPECT_TRUE(writeText(m_path, "new"));
    ASSERT_EQ(g_settled.size(), 1U);
    EXPECT_NE(g_settled[0].find(cFileVector::TEMPORARY_NAME_PREFIX), std::string::npos)
        << g_settled[0];
}

TEST_F(FileVector, FileSystemThatCannotSettleData_StillGetsTheFile) {
    for (const int error : {EINVAL, EIO, ENOSYS}) {
        g_settlingError = error;
        EXPECT_TRUE(writeText(m_path, std::to_string(error)));
        EXPECT_EQ(readFile(m_path), std::to_string(error));
    }
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(FileVector, NoLines_WriteAnEmptyFile) {
    writeFile(m_path, "1234\n");
    cFileVector file(m_path);
    file.AppendLine("1234");
    file.clear();
    EXPECT_TRUE(file.Write());
    EXPECT_TRUE(fileExists(m_path));
    EXPECT_EQ(readFile(m_path), "");
}

TEST_F(FileVector, BytesOfAnyKind_AreKept) {
    const std::string text("\0\r\x1A\xFF", 4);
    EXPECT_TRUE(writeText(m_path, text));
    EXPECT_EQ(readFile(m_path), text);
}

TEST_F(FileVector, NewFile_HasTheRequestedModeWhateverTheUmask) {
    const mode_t oldMask = umask(077);
    EXPECT_TRUE(cFileVector(m_folder / "default").Write());
    EXPECT_TRUE(cFileVector(m_folder / "secret", 0600).Write());
    EXPECT_TRUE(cFileVector(m_folder / "appended").WriteAppend());
    EXPECT_TRUE(cFileVector(m_folder / "secretAppended", 0600).WriteAppend());
    umask(oldMask);
    EXPECT_EQ(modeOf(m_folder / "default"), 0644u);
    EXPECT_EQ(modeOf(m_folder / "secret"), 0600u);
    EXPECT_EQ(modeOf(m_folder / "appended"), 0644u);
    EXPECT_EQ(modeOf(m_folder / "secretAppended"), 0600u);
}

TEST_F(FileVector, ExistingFile_KeepsModeAndOwner) {
    writeFile(m_path, "old");
    ASSERT_EQ(chmod(m_path.c_str(), 0640), 0);
    const bool isRoot = geteuid() == 0;
    ASSERT_EQ(isRoot ? chown(m_path.c_str(), 12345, 12346) : 0, 0);
    EXPECT_TRUE(writeText(m_path, "new"));
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(modeOf(m_path), 0640u);
    EXPECT_EQ(statusOf(m_path).st_uid, isRoot ? 12345 : geteuid());
    EXPECT_EQ(statusOf(m_path).st_gid, isRoot ? 12346 : getegid());
}

TEST_F(FileVector, SetUidBit_IsNotCopied) {
    writeFile(m_path, "old");
    ASSERT_EQ(chmod(m_path.c_str(), 04755), 0);
    EXPECT_TRUE(writeText(m_path, "new"));
    EXPECT_EQ(modeOf(m_path), 0755u);
}

TEST_F(FileVector, LinkInPlaceOfTheTarget_IsReplacedNotFollowed) {
    writeFile(m_folder / "victim", "untouched");
    ASSERT_EQ(chmod((m_folder / "victim").c_str(), 0600), 0);
    for (const char* target : {"victim", "nowhere"}) {
        unlink(m_path.c_str());
        ASSERT_EQ(symlink(target, m_path.c_str()), 0);
        EXPECT_TRUE(writeText(m_path, "new"));
        EXPECT_TRUE(S_ISREG(statusOf(m_path).st_mode));
        EXPECT_EQ(modeOf(m_path), 0644u);
        EXPECT_EQ(readFile(m_path), "new");
    }
    EXPECT_EQ(readFile(m_folder / "victim"), "untouched");
    EXPECT_FALSE(fileExists(m_folder / "nowhere"));
}

TEST_F(FileVector, Success_LeavesNoTemporaryFileAndNoLogLine) {
    EXPECT_TRUE(writeText(m_path, "text"));
    EXPECT_EQ(filesIn(m_folder.path()), 1u);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(FileVector, MissingFolder_FailsWithItsCause) {
    EXPECT_FALSE(writeText(m_folder / "missing/file", "text"));
    EXPECT_EQ(logCount("Error: Cannot make a temporary file for " + m_folder.path() +
                       "/missing/file, errno 2 (No such file or directory)"),
              1u);
}

TEST_F(FileVector, FolderInPlaceOfTheTarget_FailsAndLeavesNoFile) {
    ASSERT_EQ(mkdir(m_path.c_str(), 0755), 0);
    EXPECT_FALSE(writeText(m_path, "text"));
    EXPECT_EQ(logCount("Error: Cannot write file " + m_path + ", errno 21 (Is a directory)"), 1u);
    EXPECT_EQ(filesIn(m_folder.path()), 1u);
}

TEST_F(FileVector, FullDisk_LeavesTheOldFileAndNothingElse) {
    writeFile(m_path, "old");
    const std::string tooLong(100'000, 'x');
    {
        const cFullDisk fullDisk(4096);  // the first write is short, the next one fails
        EXPECT_FALSE(writeText(m_path, tooLong));
    }
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(filesIn(m_folder.path()), 1u);
    EXPECT_EQ(logCount("Error: Cannot write file " + m_path + ", errno 27 (File too large)"), 1u);
    EXPECT_TRUE(writeText(m_path, tooLong));
    EXPECT_EQ(readFile(m_path), tooLong);
}

TEST_F(FileVector, TemporaryDirectory_IsUsedInsteadOfTheTargets) {
    ASSERT_EQ(mkdir((m_folder / "listed").c_str(), 0755), 0);
    cFileVector file(m_folder / "listed/file");
    file.AppendLine("text");
    file.SetTemporaryDirectory(m_folder / "missing");
    EXPECT_FALSE(file.Write());  // so the target's own folder is not used
    file.SetTemporaryDirectory(m_folder.path());
    EXPECT_TRUE(file.Write());
    EXPECT_EQ(readFile(m_folder / "listed/file"), "text\n");
    EXPECT_EQ(filesIn(m_folder.path()), 1u);
    EXPECT_EQ(filesIn(m_folder / "listed"), 1u);
}

TEST_F(FileVector, KilledWriter_LeavesATemporaryFileWithThePrefix) {
    const pid_t child = fork();
    if (child == 0) {
        // By default the signal for a full disk kills the process in the middle of the write.
        const rlimit limit{4096, RLIM_INFINITY};
        std::signal(SIGXFSZ, SIG_DFL);
        setrlimit(RLIMIT_FSIZE, &limit);
        writeText(m_path, std::string(100'000, 'x'));
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(fileExists(m_path));
    ASSERT_EQ(filesIn(m_folder.path()), 1u);
    const std::string left =
        std::filesystem::directory_iterator(m_folder.path())->path().filename();
    EXPECT_EQ(left.find(cFileVector::TEMPORARY_NAME_PREFIX), 0u) << left;
}

TEST_F(FileVector, Readers_NeverSeeAPartOfAFile) {
    constexpr int ROUNDS = 1000;
    constexpr int READS = 10;
    constexpr size_t LENGTH = 50'000;
    ASSERT_TRUE(writeText(m_path, std::string(LENGTH, 'a')));
    std::atomic<bool> isOver{false};
    std::atomic<int> reads{0};
    int broken = 0;
    std::thread reader([&] {
        while (!isOver) {
            const std::string text = readFile(m_path);
            const bool isWhole = text.size() == LENGTH && text == std::string(LENGTH, text[0]);
            if (!isWhole) broken++;
            reads++;
        }
    });
    // A busy machine may not let the reader run for long.
    bool written = true;
    for (int i = 0; written && (i < ROUNDS || reads < READS); i++) {
        written = writeText(m_path, std::string(LENGTH, static_cast<char>('a' + i % 26)));
    }
    isOver = true;
    reader.join();
    EXPECT_TRUE(written);
    EXPECT_EQ(broken, 0) << "of " << reads;
}

TEST_F(FileVector, WriteAppend_AddsToTheEnd) {
    cFileVector file(m_path);
    file.AppendLine("one");
    EXPECT_TRUE(file.WriteAppend());
    file.clear();
    file.AppendLine("two");
    EXPECT_TRUE(file.WriteAppend());
    EXPECT_EQ(readFile(m_path), "one\ntwo\n");
}

TEST_F(FileVector, WriteAppendToLinkFifoOrFolder_IsRefused) {
    writeFile(m_folder / "victim", "untouched");
    ASSERT_EQ(symlink("victim", (m_folder / "link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (m_folder / "dangling").c_str()), 0);
    ASSERT_EQ(mkfifo((m_folder / "fifo").c_str(), 0600), 0);
    for (const std::string& path :
         {m_folder / "link", m_folder / "dangling", m_folder / "fifo", m_folder.path()}) {
        clearCapturedLog();
        cFileVector file(path);
        file.AppendLine("text");
        EXPECT_FALSE(file.WriteAppend()) << path;
        EXPECT_TRUE(logContains("Error: Cannot append to file " + path + ", errno ")) << path;
    }
    EXPECT_EQ(readFile(m_folder / "victim"), "untouched");
    EXPECT_FALSE(fileExists(m_folder / "nowhere"));
}

TEST_F(FileVector, WriteAppendToFifoThatSomebodyReads_WritesNothing) {
    ASSERT_EQ(mkfifo((m_folder / "fifo").c_str(), 0600), 0);
    const int reader = open((m_folder / "fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_NE(reader, -1);
    cFileVector file(m_folder / "fifo");
    file.AppendLine("text");
    EXPECT_FALSE(file.WriteAppend());
    char byte;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "nothing was written";
    close(reader);
}

TEST_F(FileVector, WriteAppendToFullDisk_AddsNothing) {
    writeFile(m_path, "whole line\n");
    cFileVector file(m_path);
    file.AppendLine(std::string(10'000, 'x'));
    {
        const cFullDisk fullDisk(4096);
        EXPECT_FALSE(file.WriteAppend());
    }
    EXPECT_EQ(readFile(m_path), "whole line\n");
    EXPECT_EQ(logCount("Error: Cannot append to file " + m_path + ", errno 27 (File too large)"),
              1u);
}

#include "recording/ring_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tests/support/temp_folder.h"

namespace {

class RingFile : public testing::Test {
  protected:
    bool open(size_t maxBytes = 100) { return m_ring.open(m_path, m_older, maxBytes); }

    cTempFolder m_folder;
    std::string m_path = m_folder / "new";
    std::string m_older = m_folder / "old";
    cRingFile m_ring;
};

}  // namespace

TEST_F(RingFile, Opened_IsForRootAlone) {
    ASSERT_TRUE(open());
    struct stat info {};
    ASSERT_EQ(stat(m_path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
}

TEST_F(RingFile, WrittenLines_AreAppended) {
    writeFile(m_path, "first\n");
    ASSERT_TRUE(open());
    EXPECT_TRUE(m_ring.write("second\n"));
    EXPECT_EQ(readFile(m_path), "first\nsecond\n");
}

TEST_F(RingFile, TornLastLine_IsCutOff) {
    const std::string longLine(10000, 'x');
    for (const std::string& whole : {std::string(), std::string("one\n"), longLine + "\n"})
        for (const std::string& torn : {std::string("{\"ms\":1,\"at\":\"re"), longLine}) {
            writeFile(m_path, whole + torn);
            ASSERT_TRUE(open());
            EXPECT_TRUE(m_ring.write("next\n"));
            EXPECT_EQ(readFile(m_path), whole + "next\n");
        }
}

TEST_F(RingFile, FileWithAnotherName_IsNotUsed) {
    writeFile(m_folder / "other", "keep\n");
    ASSERT_EQ(link((m_folder / "other").c_str(), m_path.c_str()), 0);
    EXPECT_FALSE(open());
    EXPECT_EQ(readFile(m_folder / "other"), "keep\n");
}

TEST_F(RingFile, Full_TurnsToAnEmptyFile) {
    ASSERT_TRUE(open(10));
    EXPECT_FALSE(m_ring.isFullFor(100));  // a file has at least one line
    EXPECT_TRUE(m_ring.write("1234567\n"));
    EXPECT_FALSE(m_ring.isFullFor(2));
    EXPECT_TRUE(m_ring.isFullFor(3));
    ASSERT_TRUE(m_ring.turn());
    EXPECT_TRUE(m_ring.write("abc\n"));
    EXPECT_EQ(readFile(m_older), "1234567\n");
    EXPECT_EQ(readFile(m_path), "abc\n");
}

TEST_F(RingFile, LinkInItsPlace_IsNotFollowed) {
    writeFile(m_folder / "other", "keep\n");
    ASSERT_EQ(symlink((m_folder / "other").c_str(), m_path.c_str()), 0);
    EXPECT_FALSE(open());
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(readFile(m_folder / "other"), "keep\n");
}

TEST_F(RingFile, FifoInItsPlace_IsRefused) {
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_FALSE(open());
}

TEST_F(RingFile, NoSpaceForALine_LeavesNothingOfIt) {
    ASSERT_TRUE(open(1000));
    EXPECT_TRUE(m_ring.write("12345\n"));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small = {10, before.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_FALSE(m_ring.write("abcdefgh\n"));
    EXPECT_NE(errno, 0);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(readFile(m_path), "12345\n");
}

TEST_F(RingFile, AppendedFile_IsCopiedWhole) {
    writeFile(m_path, std::string(40000, 'x') + "\n");
    const std::string target = m_folder / "copy";
    const int file = ::open(target.c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_NE(file, -1);
    EXPECT_TRUE(appendFile(m_path, file));
    EXPECT_FALSE(appendFile(m_older, file));
    EXPECT_EQ(errno, ENOENT);
    close(file);
    EXPECT_EQ(readFile(target), readFile(m_path));
}

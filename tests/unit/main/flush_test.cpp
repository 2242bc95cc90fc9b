#include "include/flush.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>

#include "tests/support/temp_folder.h"

TEST(Flush, FileAndFolder_AreOnTheDisk) {
    const cTempFolder folder;
    writeFile(folder / "file", "text");
    EXPECT_TRUE(flushFileAndFolder(folder / "file"));
    EXPECT_TRUE(flushFolderOf(folder / "removed"));
}

TEST(Flush, MissingFileOrFolder_SaysWhy) {
    const cTempFolder folder;
    EXPECT_FALSE(flushFileAndFolder(folder / "missing"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(flushFolderOf(folder / "missing/file"));
    EXPECT_EQ(errno, ENOENT);
}

TEST(Flush, Link_IsNotFollowed) {
    const cTempFolder folder;
    writeFile(folder / "file", "text");
    ASSERT_EQ(symlink("file", (folder / "link").c_str()), 0);
    EXPECT_FALSE(flushFileAndFolder(folder / "link"));
    EXPECT_EQ(errno, ELOOP);
}

#include "cli/base/draft_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "include/utilities.h"
#include "tests/support/temp_folder.h"

namespace {

size_t entriesIn(const cTempFolder& folder) {
    std::vector<std::string> names;
    readFilesInDir(folder.path(), names);
    return names.size();
}

}  // namespace

TEST(DraftFile, PutNowhere_LeavesNothing) {
    const cTempFolder folder;
    {
        cDraftFile draft(folder.path(), 0600);
        draft.write("x");
        EXPECT_EQ(1u, entriesIn(folder));
    }
    EXPECT_EQ(0u, entriesIn(folder));
}

TEST(DraftFile, Replace_ReplacesALinkAndNotItsTarget) {
    const cTempFolder folder;
    writeFile(folder / "precious", "precious");
    ASSERT_EQ(0, symlink((folder / "precious").c_str(), (folder / "name").c_str()));
    cDraftFile draft(folder.path(), 0640);
    draft.write("new");
    draft.replace(folder / "name");
    EXPECT_EQ("precious", readFile(folder / "precious"));
    EXPECT_EQ("new", readFile(folder / "name"));
    struct stat info {};
    lstat((folder / "name").c_str(), &info);
    EXPECT_EQ(0640u, info.st_mode & 07777);
    EXPECT_EQ(2u, entriesIn(folder));
}

TEST(DraftFile, PutWhereFree_NeverReplacesAFile) {
    const cTempFolder folder;
    writeFile(folder / "name", "other");
    {
        cDraftFile draft(folder.path(), 0600);
        draft.write("new");
        EXPECT_FALSE(draft.putWhereFree(folder / "name"));
        EXPECT_TRUE(draft.putWhereFree(folder / "free"));
    }
    EXPECT_EQ("other", readFile(folder / "name"));
    EXPECT_EQ("new", readFile(folder / "free"));
    EXPECT_EQ(2u, entriesIn(folder));
}

TEST(DraftFile, MissingFolder_IsAFailureThatNamesIt) {
    const cTempFolder folder;
    try {
        const cDraftFile draft(folder / "none", 0600);
        ADD_FAILURE();
    } catch (const cFailure& failure) {
        EXPECT_EQ(eExitStatus::FAILED, failure.status);
        EXPECT_EQ("the folder " + (folder / "none") + " does not exist; create it",
                  std::string(failure.what()));
    }
}

TEST(SystemFailure, ErrorOfTheSystem_HasItsStatusAndWhatToDo) {
    const struct {
        int error;
        eExitStatus status;
        const char* end;
    } cases[] = {
        {EACCES, eExitStatus::NOT_PERMITTED, "; run it as root, for example with sudo"},
        {EPERM, eExitStatus::NOT_PERMITTED, "; run it as root, for example with sudo"},
        {ENOSPC, eExitStatus::FAILED, "; free some space there"},
        {EROFS, eExitStatus::FAILED, "; mount the file system writable"},
        {ESRCH, eExitStatus::NO_DAEMON, "; the daemon has just ended, see cellslot status"},
        {EIO, eExitStatus::FAILED, ""},
    };
    for (const auto& row : cases) {
        const cFailure failure = systemFailure("do it", row.error);
        EXPECT_EQ(row.status, failure.status) << row.error;
        EXPECT_EQ(std::string("cannot do it: ") + strerror(row.error) + row.end, failure.what());
    }
}

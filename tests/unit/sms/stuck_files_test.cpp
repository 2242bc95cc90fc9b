#include "sms/stuck_files.h"

#include <filesystem>

#include "sms/sms_memory.h"
#include "tests/unit/sms/fixture.h"

namespace {

class SmsStuckFiles : public cSmsFixture {
  protected:
    void SetUp() override { writeFile(path, "one"); }

    sFileIdentity identity() const {
        sFileIdentity found;
        EXPECT_TRUE(identifyFile(path, found));
        return found;
    }

    const std::string path = in("send", "a");
};

}  // namespace

TEST_F(SmsStuckFiles, File_IsDeleted) {
    EXPECT_TRUE(deleteSmsFile(path));
    EXPECT_TRUE(names("send").empty());
}

TEST_F(SmsStuckFiles, FileThatIsGone_CountsAsDeleted) {
    EXPECT_TRUE(deleteSmsFile(in("send", "none")));
}

TEST_F(SmsStuckFiles, FileThatCannotBeDeleted_IsReported) {
    std::filesystem::create_directory(in("send", "folder"));
    EXPECT_FALSE(deleteSmsFile(in("send", "folder")));
    EXPECT_EQ(logCount("Error: Cannot delete SMS file " + in("send", "folder") +
                       ", errno 21 (Is a directory)"),
              1U);
}

TEST_F(SmsStuckFiles, NotedFile_IsStuckUntilItChanges) {
    EXPECT_FALSE(isStuckFile(path, identity()));
    noteStuckFile(path, identity());
    EXPECT_TRUE(isStuckFile(path, identity()));
    writeFile(path, "another");
    EXPECT_FALSE(isStuckFile(path, identity()));
}

TEST_F(SmsStuckFiles, NotedFilesThatAreGone_AreForgottenWithTheNextNote) {
    noteStuckFile(path, identity());
    std::filesystem::remove(path);
    writeFile(in("send", "b"), "two");
    sFileIdentity other;
    ASSERT_TRUE(identifyFile(in("send", "b"), other));
    noteStuckFile(in("send", "b"), other);
    EXPECT_EQ(g_smsMemory.stuckFiles.size(), 1U);
}

TEST_F(SmsStuckFiles, Reset_ForgetsAll) {
    noteStuckFile(path, identity());
    resetSmsMemory();
    EXPECT_FALSE(isStuckFile(path, identity()));
}

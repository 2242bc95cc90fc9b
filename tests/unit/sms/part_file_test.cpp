#include "sms/part_file.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>

#include "tests/unit/sms/assembly_fixture.h"

namespace {

// No file can be opened.
class cNoFiles {
  public:
    cNoFiles() {
        getrlimit(RLIMIT_NOFILE, &m_saved);
        const rlimit none = {0, m_saved.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~cNoFiles() { setrlimit(RLIMIT_NOFILE, &m_saved); }
    cNoFiles(const cNoFiles&) = delete;
    cNoFiles& operator=(const cNoFiles&) = delete;

  private:
    rlimit m_saved{};
};

}  // namespace

TEST_F(SmsAssembly, MissingFields_DeleteTheFileAndAreLogged) {
    const char* const lines[] = {"MSG_ID=7\n", "MSG_PART_NUMBER=1\n", "MSG_PART_TOTAL=2\n",
                                 "FROM=123\n"};
    const char* const keys[] = {"MSG_ID", "MSG_PART_NUMBER", "MSG_PART_TOTAL", "FROM"};
    for (size_t missing = 0; missing < 4; ++missing) {
        clearCapturedLog();
        std::string content;
        for (size_t i = 0; i < 4; ++i)
            if (i != missing) content += lines[i];
        const std::string path = in("recv_parts", "file");
        writeFile(path, content + "MSG=text");
        EXPECT_TRUE(join().empty());
        EXPECT_EQ(
            logCount("Error: File " + path + " missing field '" + keys[missing] + "', deleting"),
            1U);
        EXPECT_TRUE(names("recv_parts").empty()) << keys[missing];
    }
}

TEST_F(SmsAssembly, ZeroFields_DeleteTheFile) {
    putPart("a", 0, 1, 2, "1", "x");
    putPart("b", 7, 0, 2, "1", "x");
    putPart("c", 7, 1, 0, "1", "x");
    putPart("d", 7, 1, 2, "", "x");
    EXPECT_TRUE(join().empty());
    EXPECT_TRUE(names("recv_parts").empty());
}

TEST_F(SmsAssembly, NumbersAreReducedToNineDigits) {
    const std::string path = in("recv_parts", "file");
    writeFile(path,
              "FROM=1\nMSG_ID=-3\nMSG_PART_NUMBER= 1 \nMSG_PART_TOTAL=99999999999999999999\nMSG=x");
    const sPartFile* part = lookAtPartFile(path);
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(part->attributes.msgId, 3);
    EXPECT_EQ(part->attributes.partNumber, 1);
    EXPECT_EQ(part->attributes.partTotal, 999999999);
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts").size(), 1U);
}

TEST_F(SmsAssembly, FieldsInTheText_DoNotCount) {
    putPart("a", 7, 1, 2, "1", "text\nMSG_ID=8\nFROM=9\nMSG=more");
    putPart("b", 7, 2, 2, "1", "end");
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "text\nMSG_ID=8\nFROM=9\nMSG=moreend");
    EXPECT_EQ(records[0].from, "1");
}

TEST_F(SmsAssembly, PartThatCannotBeRead_StaysAndIsReadTheNextTime) {
    const std::string path = putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    {
        std::optional<cNoFiles> noFiles;
        g_i_debugMode = eLOG_SMS;
        onLogged("DEBUG:  checkSmsParts(): Checking file " + in("recv_parts", listed()[0]),
                 [&] { noFiles.emplace(); });
        EXPECT_TRUE(join().empty());
        g_i_debugMode = 0;
        EXPECT_TRUE(noFiles.has_value());
        for (int i = 0; i < 3; ++i) {
            beginPartCheck();
            EXPECT_FALSE(lookAtPartFile(path)->isRead);
        }
    }
    EXPECT_EQ(names("recv_parts"), (tNames{"a", "b"}));
    EXPECT_FALSE(logContains("missing field"));
    EXPECT_EQ(logCount("Error: Cannot read SMS file " + path + ", errno 24 (Too many open files)"),
              1U)
        << "logged once";
    const std::vector<S_smsRecordRx> records = join();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].message, "ab");
}

TEST_F(SmsAssembly, NotARegularFile_IsNotReadAndDoesNotBlock) {
    const std::string outside = folder / "outside";
    writeFile(outside, "FROM=1\nMSG_ID=7\nMSG_PART_NUMBER=1\nMSG_PART_TOTAL=1\nMSG=secret");
    std::filesystem::create_symlink(outside, in("recv_parts", "link"));
    ASSERT_EQ(mkfifo(in("recv_parts", "fifo").c_str(), 0600), 0);
    std::filesystem::create_directory(in("recv_parts", "folder"));
    EXPECT_TRUE(join().empty());
    EXPECT_EQ(names("recv_parts"), tNames{"folder"}) << "which cannot be unlinked";
    EXPECT_TRUE(fileExists(outside));
    const size_t logged = capturedLog().size();
    join();
    EXPECT_EQ(capturedLog().size(), logged) << "logged once";
}

// The daemon of another slot is writing it.
TEST_F(SmsAssembly, TemporaryFile_IsNoPart) {
    writeFile(in("recv_parts", ".cellslot-tmp-abcdef"), "FROM=1\nTI");
    putPart("a", 7, 1, 2, "1", "a");
    putPart("b", 7, 2, 2, "1", "b");
    EXPECT_EQ(join().size(), 1U);
    EXPECT_EQ(names("recv_parts"), tNames{".cellslot-tmp-abcdef"});
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsAssembly, FolderIsALink_IsNotRead) {
    const std::string outside = folder / "outside";
    std::filesystem::create_directory(outside);
    writeFile(outside + "/part", "MSG=x");
    std::filesystem::remove(root + "/recv_parts");
    std::filesystem::create_directory_symlink(outside, root + "/recv_parts");
    EXPECT_TRUE(join().empty());
    EXPECT_TRUE(fileExists(outside + "/part"));
}

TEST_F(SmsAssembly, ChangedFile_IsReadAgain) {
    const std::string path = putPart("a", 7, 1, 2, "1", "old");
    setFileTime(path, START_S);
    putPart("b", 7, 3, 2, "1", "b");
    join();
    putPart("a", 7, 2, 2, "1", "new text");
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "new text");
    const std::string other = putPart("c", 7, 1, 2, "1", "NEW TEXT");
    setFileTime(other, lookAtPartFile(path)->identity.modifiedNs / 1000000000);
    std::filesystem::rename(other, path);
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "NEW TEXT") << "another file of its size";
    std::filesystem::remove(path);
    EXPECT_EQ(lookAtPartFile(path), nullptr);
}

TEST_F(SmsAssembly, UnchangedFile_IsNotReadAgain) {
    const std::string path = putPart("a", 7, 1, 2, "1", "aaaa");
    setFileTime(path, START_S);
    join();
    putPart("a", 7, 1, 2, "1", "bbbb");
    setFileTime(path, START_S);
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "aaaa")
        << "same inode, size and time of change";
}

TEST_F(SmsAssembly, FileThatWasMissingInOneCheck_IsReadAgain) {
    const std::string path = putPart("a", 7, 1, 2, "1", "aaaa");
    putPart("other", 8, 1, 2, "1", "x");
    setFileTime(path, START_S);
    join();
    std::filesystem::rename(path, folder / "a");
    join();
    std::filesystem::rename(folder / "a", path);
    putPart("a", 7, 1, 2, "1", "bbbb");
    setFileTime(path, START_S);
    EXPECT_EQ(lookAtPartFile(path)->attributes.message, "bbbb");
}

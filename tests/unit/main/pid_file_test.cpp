#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

#include "main/pid_file.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

namespace {

// A shell with the given command line that waits for the end of its standard input.
class cOtherProcess {
  public:
    explicit cOtherProcess(const std::string& name, const std::string& lastArgument = "x") {
        int input[2];
        int started[2];
        if (pipe2(input, O_CLOEXEC) != 0 || pipe2(started, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        m_pid = fork();
        if (m_pid == 0) {
            dup2(input[0], STDIN_FILENO);
            execl("/bin/sh", name.c_str(), "-c", "read line", lastArgument.c_str(), nullptr);
            _exit(127);
        }
        close(input[0]);
        close(started[1]);
        m_input = input[1];
        char nothing;
        // Returns when the other process has its new command line.
        while (read(started[0], &nothing, 1) > 0) {
        }
        close(started[0]);
    }
    ~cOtherProcess() {
        close(m_input);
        waitpid(m_pid, nullptr, 0);
    }
    cOtherProcess(const cOtherProcess&) = delete;
    cOtherProcess& operator=(const cOtherProcess&) = delete;

    int pid() const { return m_pid; }

  private:
    pid_t m_pid;
    int m_input;
};

const std::string OWN_PID = std::to_string(getpid());

}  // namespace

TEST(WritePidFile, NoFile_WritesOwnPidWithoutNewline) {
    const cTempFolder folder;
    const cLogMode mode(eLOG_MAIN);
    EXPECT_EQ(writePidFile("cellslotd", "2", folder.path()), PID_FILE_WRITTEN);
    const std::string path = folder / "cellslotd.2.pid";
    EXPECT_EQ(readFile(path), OWN_PID);
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{
                                 "DEBUG: writePidFile(): Looking for pid file " + path,
                                 "Writing pid " + OWN_PID + " to pidfile '" + path + "'",
                             }));
}

TEST(WritePidFile, NoProgramName_IsAnError) {
    const cTempFolder folder;
    const cLogMode mode;
    EXPECT_EQ(writePidFile("", "1", folder.path()), PID_FILE_ERROR);
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"Error: Invalid program name given, cannot write pid file"});
    EXPECT_FALSE(fileExists(folder / ".1.pid"));
}

TEST(WritePidFile, SameProgramRuns_LeavesItsFileAlone) {
    const cTempFolder folder;
    const cOtherProcess other("/usr/sbin/cellslotd");
    const std::string path = folder / "cellslotd.1.pid";
    writeFile(path, std::to_string(other.pid()) + "\n");
    const cLogMode mode(eLOG_MAIN);
    EXPECT_EQ(writePidFile("cellslotd", "1", folder.path()), PID_FILE_OTHER_RUNS);
    EXPECT_EQ(readFile(path), std::to_string(other.pid()) + "\n");
    const std::string pid = std::to_string(other.pid());
    const std::string proc = "/proc/" + pid + "/cmdline";
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{
                                 "DEBUG: writePidFile(): Looking for pid file " + path,
                                 "DEBUG: writePidFile(): Read old PID '" + pid + "' from " + path,
                                 "DEBUG: isProcessRunning(): Found proc file " + proc,
                                 "DEBUG: isProcessRunning(): Opened proc file " + proc,
                                 "DEBUG: isProcessRunning(): Proc file " + proc +
                                     " matches program name cellslotd",
                             }));
}

TEST(WritePidFile, OtherProgramHasThePid_Overwrites) {
    const cTempFolder folder;
    const cOtherProcess other("otherd", "cellslotd");
    const std::string path = folder / "cellslotd.1.pid";
    writeFile(path, std::to_string(other.pid()));
    const cLogMode mode(eLOG_MAIN);
    EXPECT_EQ(writePidFile("cellslotd", "1", folder.path()), PID_FILE_WRITTEN);
    EXPECT_EQ(readFile(path), OWN_PID);
    EXPECT_EQ(logCount("DEBUG: isProcessRunning(): Program name 'otherd' from proc file does not "
                       "match this name 'cellslotd'"),
              1u);
}

TEST(WritePidFile, PlaceOfTheFileIsAFifo_IsReplacedWithoutWaiting) {
    const cTempFolder folder;
    const std::string path = folder / "cellslotd.1.pid";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(writePidFile("cellslotd", "1", folder.path()), PID_FILE_WRITTEN);
    EXPECT_EQ(readFile(path), OWN_PID);
}

TEST(WritePidFile, PlaceOfTheFileIsALink_TargetIsNotChanged) {
    const cTempFolder folder;
    writeFile(folder / "target", "precious");
    ASSERT_EQ(symlink((folder / "target").c_str(), (folder / "cellslotd.1.pid").c_str()), 0);
    EXPECT_EQ(writePidFile("cellslotd", "1", folder.path()), PID_FILE_WRITTEN);
    EXPECT_EQ(readFile(folder / "target"), "precious");
    EXPECT_EQ(readFile(folder / "cellslotd.1.pid"), OWN_PID);
}

TEST(WritePidFile, StaleAndBrokenFiles_AreOverwritten) {
    int stale;
    {
        const cOtherProcess gone("cellslotd");
        stale = gone.pid();
    }
    for (const std::string& content :
         {std::to_string(stale), std::string(), std::string("x"), std::string("-1"),
          std::string("0"), std::string("99999999999999999999"), std::string(100000, '7')}) {
        const cTempFolder folder;
        writeFile(folder / "cellslotd.1.pid", content);
        EXPECT_EQ(writePidFile("cellslotd", "1", folder.path()), PID_FILE_WRITTEN);
        EXPECT_EQ(readFile(folder / "cellslotd.1.pid"), OWN_PID);
    }
}

// A container gives its processes the same numbers at every start.
TEST(WritePidFile, OwnPidInFile_CountsAsRunning) {
    const cTempFolder folder;
    writeFile(folder / "main_tests.1.pid", OWN_PID);
    EXPECT_EQ(writePidFile("main_tests", "1", folder.path()), PID_FILE_OTHER_RUNS);
}

TEST(WritePidFile, TwoSlots_RunSideBySide) {
    const cTempFolder folder;
    const cOtherProcess first("cellslotd");
    writeFile(folder / "cellslotd.1.pid", std::to_string(first.pid()));
    EXPECT_EQ(writePidFile("cellslotd", "2", folder.path()), PID_FILE_WRITTEN);
    EXPECT_EQ(readFile(folder / "cellslotd.1.pid"), std::to_string(first.pid()));
    EXPECT_EQ(readFile(folder / "cellslotd.2.pid"), OWN_PID);
}

TEST(WritePidFile, FolderMissing_IsAnError) {
    const cTempFolder folder;
    const cLogMode mode;
    const std::string path = folder / "none/cellslotd.1.pid";
    EXPECT_EQ(writePidFile("cellslotd", "1", folder / "none"), PID_FILE_ERROR);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"Error: Unable to write pid " + OWN_PID +
                                                      " to pidfile '" + path + "'"});
}

TEST(ReadPidFile, Content_FirstNumber) {
    const cTempFolder folder;
    const struct {
        const char* content;
        int pid;
    } cases[] = {{"123", 123}, {" 45\n67", 45}, {"12x", 12}, {"x12", 0}, {"", 0}, {"-5", -5}};
    for (const auto& row : cases) {
        writeFile(folder / "pid", row.content);
        EXPECT_EQ(readPidFile(folder / "pid"), row.pid) << row.content;
    }
    EXPECT_EQ(readPidFile(folder / "none"), 0);
}

TEST(IsProcessRunning, NameAnywhereInFirstArgument_Matches) {
    const cOtherProcess other("/opt/xcellslotdx/run");
    EXPECT_TRUE(isProcessRunning(other.pid(), "cellslotd"));
    EXPECT_FALSE(isProcessRunning(other.pid(), "cellslotd2"));
}

TEST(IsProcessRunning, NameAfterTheFirst255Bytes_DoesNotMatch) {
    const cOtherProcess at246(std::string(246, 'x') + "cellslotd");
    EXPECT_TRUE(isProcessRunning(at246.pid(), "cellslotd"));
    const cOtherProcess at247(std::string(247, 'x') + "cellslotd");
    EXPECT_FALSE(isProcessRunning(at247.pid(), "cellslotd"));
}

TEST(IsProcessRunning, NoSuchProcess_False) {
    const cLogMode mode(eLOG_MAIN);
    EXPECT_FALSE(isProcessRunning(0, "cellslotd"));
    EXPECT_FALSE(isProcessRunning(-1, "cellslotd"));
    EXPECT_TRUE(capturedLog().empty());
}

TEST(PidFilePath, Default_IsVarRun) {
    EXPECT_EQ(g_s_pidfile_path, "/var/run");
}

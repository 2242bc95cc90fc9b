#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/include/file_monitor.h"
#include "platform/include/file_vector.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr int UNCHANGED = cFileMonitor::STATUS_UNCHANGED;
constexpr int CHANGED = cFileMonitor::STATUS_CHANGED;

void process(cFileMonitor& monitor) {
    monitor.ProcessingFile(true);
    monitor.ProcessingFile(false);
}

// While it exists, the process gets no new descriptor, so no inotify either.
class cNoDescriptors {
  public:
    cNoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &m_old);
        const rlimit none{0, m_old.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~cNoDescriptors() { setrlimit(RLIMIT_NOFILE, &m_old); }

  private:
    rlimit m_old{};
};

void setModified(const std::string& path, time_t seconds) {
    const timespec times[] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

void writeInPlace(const std::string& path, const std::string& content) {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    close(fd);
}

class FileMonitor : public testing::Test {
  protected:
    const cTempFolder m_folder;
    const std::string m_path = m_folder / "pin.1";
    cFileMonitor m_monitor;
};

struct sChange {
    const char* name;
    int expected;
    std::function<void(const cTempFolder& folder, const std::string& path)> happen;
};

// What happens to a processed file "1234", and what the monitor then reports.
const sChange CHANGES[] = {
    {"nothing", UNCHANGED, [](const cTempFolder&, const std::string&) {}},
    {"rewrite", CHANGED,
     [](const cTempFolder&, const std::string& path) { writeFile(path, "56789"); }},
    {"rewrite with the same content", CHANGED,
     [](const cTempFolder&, const std::string& path) { writeFile(path, "1234"); }},
    {"write in place", CHANGED,
     [](const cTempFolder&, const std::string& path) { writeInPlace(path, "5"); }},
    {"replacement by rename", CHANGED,
     [](const cTempFolder& folder, const std::string& path) {
         writeFile(folder / "new", "5678");
         ASSERT_EQ(rename((folder / "new").c_str(), path.c_str()), 0);
     }},
    {"replacement that keeps size and time", CHANGED,
     [](const cTempFolder& folder, const std::string& path) {
         struct stat old {};
         ASSERT_EQ(stat(path.c_str(), &old), 0);
         writeFile(folder / "new", "5678");
         const timespec times[] = {old.st_atim, old.st_mtim};
         ASSERT_EQ(utimensat(AT_FDCWD, (folder / "new").c_str(), times, 0), 0);
         ASSERT_EQ(rename((folder / "new").c_str(), path.c_str()), 0);
     }},
    {"replacement by the daemon's own writer", CHANGED,
     [](const cTempFolder&, const std::string& path) { cFileVector(path).Write(); }},
    {"touch", CHANGED,
     [](const cTempFolder&, const std::string& path) {
         ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), nullptr, 0), 0);
     }},
    {"time set back", CHANGED,
     [](const cTempFolder&, const std::string& path) { setModified(path, 1000); }},
    {"truncation", CHANGED,
     [](const cTempFolder&, const std::string& path) { ASSERT_EQ(truncate(path.c_str(), 0), 0); }},
    {"deletion", UNCHANGED,
     [](const cTempFolder&, const std::string& path) { ASSERT_EQ(unlink(path.c_str()), 0); }},
    {"deletion and creation", CHANGED,
     [](const cTempFolder&, const std::string& path) {
         ASSERT_EQ(unlink(path.c_str()), 0);
         writeFile(path, "1234");
     }},
    {"rename away", UNCHANGED,
     [](const cTempFolder& folder, const std::string& path) {
         ASSERT_EQ(rename(path.c_str(), (folder / "away").c_str()), 0);
     }},
    {"chmod", UNCHANGED,
     [](const cTempFolder&, const std::string& path) { ASSERT_EQ(chmod(path.c_str(), 0600), 0); }},
    {"chown", UNCHANGED,
     [](const cTempFolder&, const std::string& path) {
         ASSERT_EQ(chown(path.c_str(), geteuid(), getegid()), 0);
     }},
    {"hard link to it", UNCHANGED,
     [](const cTempFolder& folder, const std::string& path) {
         ASSERT_EQ(link(path.c_str(), (folder / "other").c_str()), 0);
     }},
    {"reading", UNCHANGED,
     [](const cTempFolder&, const std::string& path) { EXPECT_EQ(readFile(path), "1234"); }},
    {"writing a neighbour", UNCHANGED,
     [](const cTempFolder& folder, const std::string&) {
         writeFile(folder / "pin.10", "1");
         writeFile(folder / "pin", "1");
     }},
    {"folder in its place", UNCHANGED,
     [](const cTempFolder&, const std::string& path) {
         ASSERT_EQ(unlink(path.c_str()), 0);
         ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
     }},
    {"link to another file in its place", CHANGED,
     [](const cTempFolder& folder, const std::string& path) {
         writeFile(folder / "other", "5678");
         ASSERT_EQ(unlink(path.c_str()), 0);
         ASSERT_EQ(symlink("other", path.c_str()), 0);
     }},
};

}  // namespace

TEST_F(FileMonitor, EachKindOfChange_IsClassified) {
    for (const sChange& change : CHANGES) {
        const cTempFolder folder;
        writeFile(folder / "pin.1", "1234");
        cFileMonitor monitor;
        monitor.imonitorInit(folder / "pin.1", 0, 10);
        process(monitor);
        ASSERT_EQ(monitor.GetFileStatus(), UNCHANGED) << change.name;
        change.happen(folder, folder / "pin.1");
        EXPECT_EQ(monitor.GetFileStatus(), change.expected) << change.name;
        EXPECT_EQ(monitor.GetFileStatus(), change.expected) << change.name << ", asked again";
        process(monitor);
        EXPECT_EQ(monitor.GetFileStatus(), UNCHANGED) << change.name << ", processed";
    }
}

TEST_F(FileMonitor, WithoutInotify_EachKindOfChangeIsClassifiedAlike) {
    for (const sChange& change : CHANGES) {
        const cTempFolder folder;
        writeFile(folder / "pin.1", "1234");
        setModified(folder / "pin.1", 1'000'000'000);
        cFileMonitor monitor;
        {
            const cNoDescriptors noDescriptors;
            monitor.imonitorInit(folder / "pin.1", 0, 10);
            process(monitor);
            ASSERT_EQ(monitor.GetFileStatus(), UNCHANGED) << change.name;
        }
        change.happen(folder, folder / "pin.1");
        // Without events, a replacement with the same time is recognised by its inode.
        const cNoDescriptors noDescriptors;
        EXPECT_EQ(monitor.GetFileStatus(), change.expected) << change.name;
        process(monitor);
        EXPECT_EQ(monitor.GetFileStatus(), UNCHANGED) << change.name << ", processed";
    }
}

TEST_F(FileMonitor, NotInitialised_IsUnchanged) {
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    process(m_monitor);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
}

TEST_F(FileMonitor, FileThatExistsAtStart_CountsAsChanged) {
    writeFile(m_path, "1234");
    EXPECT_EQ(m_monitor.imonitorInit(m_path, 0, 10), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    process(m_monitor);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
}

TEST_F(FileMonitor, EmptyFileThatExistsAtStart_CountsAsChanged) {
    writeFile(m_path, "");
    m_monitor.imonitorInit(m_path, 0, 10);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, MissingFile_CountsWhenItIsCreated) {
    EXPECT_EQ(m_monitor.imonitorInit(m_path, 0, 10), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    writeFile(m_path, "");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, OwnRewriteWhileProcessing_CountsAsSeen) {
    writeFile(m_path, "1234");
    m_monitor.imonitorInit(m_path, 0, 10);
    m_monitor.ProcessingFile(true);
    EXPECT_TRUE(cFileVector(m_path).Write());
    m_monitor.ProcessingFile(false);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    writeFile(m_path, "5678");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, EndOfProcessingThatNeverBegan_DoesNothing) {
    writeFile(m_path, "1234");
    m_monitor.imonitorInit(m_path, 0, 10);
    m_monitor.ProcessingFile(false);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    process(m_monitor);
    writeFile(m_path, "1234");
    m_monitor.ProcessingFile(false);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, SameBytesWithinOneTick_AreSeenEveryTime) {
    writeFile(m_path, "1234");
    m_monitor.imonitorInit(m_path, 0, 10);
    for (int i = 0; i < 200; i++) {
        writeInPlace(m_path, "1234");
        ASSERT_EQ(m_monitor.GetFileStatus(), CHANGED) << i;
        process(m_monitor);
        ASSERT_EQ(m_monitor.GetFileStatus(), UNCHANGED) << i;
    }
}

TEST_F(FileMonitor, ContentChangedUnderARestoredTime_IsSeen) {
    writeFile(m_path, "1234");
    setModified(m_path, 1'000'000'000);
    m_monitor.imonitorInit(m_path, 0, 10);
    process(m_monitor);
    writeInPlace(m_path, "5678");
    setModified(m_path, 1'000'000'000);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, FileRemovedAndRestored_CountsAsChanged) {
    writeFile(m_path, "1234");
    m_monitor.imonitorInit(m_path, 0, 10);
    process(m_monitor);
    ASSERT_EQ(rename(m_path.c_str(), (m_folder / "away").c_str()), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    ASSERT_EQ(rename((m_folder / "away").c_str(), m_path.c_str()), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, UnseenChangeThenDeletion_IsNoChangeUntilCreation) {
    writeFile(m_path, "1234");
    m_monitor.imonitorInit(m_path, 0, 10);
    writeFile(m_path, "5678");
    ASSERT_EQ(unlink(m_path.c_str()), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    writeFile(m_path, "5678");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, FolderThatComesGoesAndComesAgain_IsFollowed) {
    const std::string folder = m_folder / "etc";
    const std::string path = folder + "/pin.1";
    EXPECT_EQ(m_monitor.imonitorInit(path, 0, 10), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    for (int i = 0; i < 3; i++) {
        std::filesystem::create_directory(folder);
        EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED) << i;
        writeFile(path, "1234");
        EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED) << i;
        process(m_monitor);
        EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED) << i;
        // The events of the new folder arrive too: the signature does not show this one.
        setModified(path, 1'000'000'000);
        process(m_monitor);
        writeInPlace(path, "5678");
        setModified(path, 1'000'000'000);
        EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED) << i;
        process(m_monitor);
        std::filesystem::remove_all(folder);
        EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED) << i;
    }
}

TEST_F(FileMonitor, FolderReplacedUnseen_IsFollowed) {
    const std::string folder = m_folder / "etc";
    const std::string path = folder + "/pin.1";
    std::filesystem::create_directory(folder);
    writeFile(path, "1234");
    m_monitor.imonitorInit(path, 0, 10);
    process(m_monitor);
    std::filesystem::rename(folder, m_folder / "etc.old");
    std::filesystem::create_directory(folder);
    writeFile(path, "1234");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    process(m_monitor);
    writeFile(m_folder / "etc.old/pin.1", "5678");
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    writeFile(path, "5678");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, LinkedFile_IsWatchedThroughItsLink) {
    std::filesystem::create_directory(m_folder / "elsewhere");
    const std::string target = m_folder / "elsewhere/pin";
    ASSERT_EQ(symlink(target.c_str(), m_path.c_str()), 0);
    m_monitor.imonitorInit(m_path, 0, 10);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);  // it dangles
    writeFile(target, "1234");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    process(m_monitor);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    writeFile(target, "56789");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    process(m_monitor);
    writeFile(m_folder / "new", "56789");
    ASSERT_EQ(rename((m_folder / "new").c_str(), target.c_str()), 0);
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, ManyEventsOfOtherFiles_HideNoChange) {
    writeFile(m_path, "1234");
    m_monitor.imonitorInit(m_path, 0, 10);
    process(m_monitor);
    for (int i = 0; i < 20'000; i++) {  // more than the queue holds: 16384 by default
        writeInPlace(m_path, i % 2 == 0 ? "1234" : "5678");
        if (i % 1000 == 0) writeFile(m_folder / "neighbour", "x");
    }
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    process(m_monitor);
    EXPECT_EQ(m_monitor.GetFileStatus(), UNCHANGED);
    writeFile(m_path, "9");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
}

TEST_F(FileMonitor, NameWithoutFolder_IsWatchedInTheCurrentOne) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.path());
    m_monitor.imonitorInit("pin.1", 0, 10);
    writeFile("pin.1", "1234");
    EXPECT_EQ(m_monitor.GetFileStatus(), CHANGED);
    std::filesystem::current_path(before);
}

TEST_F(FileMonitor, Descriptors_AreClosedOnExecAndAtTheEnd) {
    const auto inotifyDescriptors = [] {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(entry, gone) != "anon_inode:inotify") continue;
            count++;
            EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
        }
        return count;
    };
    const int before = inotifyDescriptors();
    {
        cFileMonitor monitor;
        monitor.imonitorInit(m_path, 0, 10);
        monitor.imonitorInit(m_path, 0, 10);
        EXPECT_EQ(inotifyDescriptors(), before + 1);
    }
    EXPECT_EQ(inotifyDescriptors(), before);
}

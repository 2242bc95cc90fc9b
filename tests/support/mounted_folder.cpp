#include "tests/support/mounted_folder.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

cMountedFolder::cMountedFolder(std::string folder, const char* options)
    : m_folder(std::move(folder)) {
    std::filesystem::create_directories(m_folder);
    EXPECT_EQ(mount("tmpfs", m_folder.c_str(), "tmpfs", 0, options), 0) << strerror(errno);
}

cMountedFolder::~cMountedFolder() {
    umount2(m_folder.c_str(), MNT_DETACH);
}

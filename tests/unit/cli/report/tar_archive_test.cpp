#include "cli/report/tar_archive.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/support/temp_folder.h"

TEST(TarArchive, Archive_IsReadByTar) {
    const cTempFolder folder;
    cTarArchive archive;
    const std::string content(1000, 'x');
    archive.add("report/one", content, 1700000000);
    archive.add("report/empty", "", 1700000000);
    archive.add("report/block", std::string(512, 'y'), 1700000000);
    writeFile(folder / "report.tar", archive.text());
    const std::string command = "tar -C " + folder.path() + " -xf " + folder.path() + "/report.tar";
    ASSERT_EQ(system(command.c_str()), 0);
    EXPECT_EQ(readFile(folder / "report/one"), content);
    EXPECT_TRUE(fileExists(folder / "report/empty"));
    EXPECT_EQ(readFile(folder / "report/block"), std::string(512, 'y'));
}

TEST(TarArchive, NameThatDoesNotFit_IsRefused) {
    cTarArchive archive;
    EXPECT_THROW(archive.add(std::string(101, 'n'), "", 0), std::length_error);
}

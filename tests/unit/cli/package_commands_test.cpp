#include "cli/package_commands.h"

#include <gtest/gtest.h>

#include "tests/unit/cli/empty_host.h"

TEST(PackageCommands, Missing_SaysWhichPackageHasIt) {
    const cEmptyHost host;
    for (const std::vector<const char*>& command : std::vector<std::vector<const char*>>{
             {"history"}, {"history", "outages", "--json"}, {"agent", "status"}}) {
        const sCommandRun run = runOn(host, command);
        EXPECT_EQ(eExitStatus::FAILED, run.status);
        EXPECT_EQ("", run.out);
        EXPECT_NE(std::string::npos, run.err.find(std::string("cellslot-") + command[0]))
            << run.err;
    }
}

TEST(PackageCommands, ProgramThatCannotBeStarted_IsNamed) {
    cEmptyHost host;
    host.folderAt("/usr");
    host.folderAt("/usr/lib");
    host.folderAt("/usr/lib/cellslot");
    host.file(HISTORY_COMMAND, "no program");
    const sCommandRun run = runOn(host, {"history"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_EQ(0u, run.err.find("cellslot: cannot start " + host.places.at(HISTORY_COMMAND)))
        << run.err;
}

#include "tests/unit/cli/doctor/doctor_fixture.h"

TEST_F(Doctor, AskModem_WithoutADaemon_IsANote) {
    const sCommandRun run = runOn(host, {"doctor", "--ask-modem", "-p", "2"});
    EXPECT_NE(std::string::npos,
              run.out.find(
                  "  note    modem      the modem was not asked: no daemon is running for slot 2\n"
                  "                     -> to start it: systemctl start cellslotd@2\n"))
        << run.out;
}

TEST_F(Doctor, Command_StatusShowsWhetherSomethingIsBroken) {
    const sCommandRun run = runOn(host, {"doctor", "-p", "2", "-q"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos,
              run.out.find("slot 2\n  BROKEN  daemon     no daemon is running for slot 2\n"))
        << run.out;
    EXPECT_EQ("", run.err);
    EXPECT_FALSE(fileExists(host.places.at("/tmp/sms")));
}

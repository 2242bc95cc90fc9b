#include "agent/agent_config.h"

#include <gtest/gtest.h>

#include <filesystem>
#include "cli/base/failure.h"

#include "tests/support/temp_folder.h"

namespace {

std::string whyRefused(const std::string& text) {
    try {
        parseAgentConfig(text);
    } catch (const cFailure& failure) {
        return failure.what();
    }
    return "";
}

}  // namespace

TEST(AgentConfig, WrongSetting_NamesFileLineAndWhatIsExpected) {
    const struct {
        const char* text;
        const char* said;
    } CASES[] = {
        {"GATEWAY=pump.7\n", "line 1: GATEWAY is 'pump.7'; expected 1 to 48 letters"},
        {"\n#\nCOMMANDS=data shell\n",
         "line 3: COMMANDS has the unknown command 'shell'; known are data"},
        {"AT_COMMANDS=AT*\n", "line 1: AT_COMMANDS has 'AT*', which is every command"},
        {"AT_COMMANDS=CSQ\n", "line 1: AT_COMMANDS has 'CSQ'; expected"},
        {"AT_COMMANDS=AT*+CSQ\n", "line 1: AT_COMMANDS has"},
        {"SMS_NUMBERS=anna\n", "line 1: SMS_NUMBERS has 'anna'; expected"},
        {"RECEIVED_SMS=maybe\n", "line 1: RECEIVED_SMS is 'maybe'; expected yes or no"},
        {"BROKR=x\n", "line 1: unknown key 'BROKR'; known are BROKER"},
        {"COMMANDS\n", "line 1:"},
        {"COMMANDS=doctor\n#\nCOMMANDS=doctor data\n", "line 3: COMMANDS is in line 1 already"},
    };
    for (const auto& row : CASES) {
        EXPECT_NE(whyRefused(row.text).find(row.said), std::string::npos)
            << row.text << whyRefused(row.text);
        EXPECT_NE(whyRefused(row.text).find("/etc/cellslot/agent.conf"), std::string::npos);
    }
}

TEST(AgentConfig, Check_ShowsEveryErrorAtOnce) {
    const cTempFolder folder;
    std::filesystem::create_directories(folder / "etc/cellslot");
    writeFile(folder / "etc/cellslot/agent.conf",
              "GATEWAY=a b\nCOMMANDS=x\nBROKER localhost\nTLS=perhaps\nTLS=no\n");
    sAgentConfig config;
    const std::vector<std::string> problems = checkAgentConfig({folder.path()}, config);
    ASSERT_EQ(problems.size(), 5u);
    for (size_t i = 0; i < problems.size(); ++i)
        EXPECT_NE(problems[i].find("line " + std::to_string(i + 1) + ":"), std::string::npos)
            << problems[i];
}

TEST(AgentConfig, Check_WhatDoesNotFitTogether) {
    const cTempFolder folder;
    std::filesystem::create_directories(folder / "etc/cellslot");
    writeFile(folder / "etc/cellslot/agent.conf",
              "BROKER=localhost\nTLS=no\nGATEWAY=pump7\nCOMMANDS=at\n");
    sAgentConfig config;
    const std::vector<std::string> problems = checkAgentConfig({folder.path()}, config);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("AT_COMMANDS is empty"), std::string::npos);
}

TEST(AgentConfig, NoFile_SaysWhatIsMissing) {
    const cTempFolder folder;
    sAgentConfig config;
    EXPECT_FALSE(checkAgentConfig({folder.path()}, config).empty());
}

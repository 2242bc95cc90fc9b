#include "tests/unit/config/config_reader_options_fixture.h"

// CM_USERNAME, CM_PASSWORD and CM_AUTH_TYPE.

namespace {

constexpr const char* CREDENTIAL_ALLOWED =
    "1 to 63 characters, no tabs or other control characters";

}  // namespace

TEST(ConfigUser, OneTo63Characters_AreStored) {
    for (const std::string& value :
         {std::string("u"), std::string("User Name"), std::string(63, 'u'), std::string(" ")}) {
        const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME", value);
        EXPECT_EQ(run.opts.username, value);
        EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME is '" + value + "'"});
    }
}

TEST(ConfigUser, EmptyName_IsIgnored) {
    sConfigFileOpts before;
    before.username = "before";
    const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME", "", before);
    EXPECT_EQ(run.opts.username, "before");
    EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME is empty, ignoring"});
}

TEST(ConfigUser, TooLongName_IsCleared) {
    sConfigFileOpts before;
    before.username = "before";
    const std::string value(64, 'u');
    const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME", value, before);
    EXPECT_EQ(run.opts.username, "");
    EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME value'" + value +
                                "' is too long, max length is 63"});
}

TEST(ConfigUser, ControlCharacter_IsClearedAndNotLogged) {
    sConfigFileOpts before;
    before.username = "before";
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME",
                             withControlCharacter(control), before);
        EXPECT_EQ(run.opts.username, "") << int{control};
        EXPECT_EQ(run.lines, tLines{controlLine("CM_USERNAME", control, CREDENTIAL_ALLOWED)});
    }
}

TEST(ConfigPassword, WithUser_IsStored) {
    sConfigFileOpts before;
    before.username = "user";
    for (const std::string& value :
         {std::string("p"), std::string("a=b c"), std::string(63, 'p')}) {
        const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", value, before);
        EXPECT_EQ(run.opts.password, value);
        EXPECT_EQ(run.opts.username, "user");
        EXPECT_EQ(run.lines, tLines{"Config option CM_PASSWORD is '" + value + "'"});
    }
}

TEST(ConfigPassword, TooLong_ClearsBoth) {
    sConfigFileOpts before;
    before.username = "user";
    before.password = "before";
    const std::string value(64, 'p');
    const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", value, before);
    EXPECT_EQ(run.opts.username, "");
    EXPECT_EQ(run.opts.password, "");
    EXPECT_EQ(run.lines,
              (tLines{"Config option CM_PASSWORD='" + value + "' is too long, max length is 63",
                      " - ignoring Username/Password settings"}));
}

TEST(ConfigPassword, WithoutUser_ClearsBoth) {
    sConfigFileOpts before;
    before.password = "before";
    const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", "pw", before);
    EXPECT_EQ(run.opts.username, "");
    EXPECT_EQ(run.opts.password, "");
    EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME is empty, not using CM_PASSWORD"});
}

TEST(ConfigPassword, Empty_ChangesAndLogsNothing) {
    sConfigFileOpts before;
    before.username = "user";
    const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", "", before);
    EXPECT_EQ(run.opts.username, "user");
    EXPECT_EQ(run.opts.password, "");
    EXPECT_EQ(run.lines, tLines{});
}

TEST(ConfigPassword, ControlCharacter_ClearsBothAndIsNotLogged) {
    sConfigFileOpts before;
    before.username = "user";
    before.password = "before";
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD",
                             withControlCharacter(control), before);
        EXPECT_EQ(run.opts.username, "");
        EXPECT_EQ(run.opts.password, "");
        EXPECT_EQ(run.lines, (tLines{controlLine("CM_PASSWORD", control, CREDENTIAL_ALLOWED),
                                     " - ignoring Username/Password settings"}));
    }
}

TEST(ConfigAuthType, EveryValueWithAndWithoutCredentials_SetsTypeAndLine) {
    struct sCase {
        std::string username;
        std::string password;
        std::string value;
        int authType;
        std::string line;
    };
    const std::string ignored = "Config option ignored, username/password empty";
    const std::string missing =
        "Config option CM_AUTH_TYPE missing (username/password set), default set to 'CHAP'";
    const std::string off =
        "Config option CM_AUTH_TYPE set to 'OFF', authentication will be cleared";
    const std::vector<sCase> cases = {
        {"", "", "", -1, "Config option CM_AUTH_TYPE missing, Disabling"},
        {"u", "", "", 2, missing},
        {"", "p", "", 2, missing},
        {"u", "p", "", 2, missing},
        {"", "", "off", 0, off},
        {"u", "", "off", 0, off},
        {"", "", "pap", -1, ignored},
        {"u", "", "chap", -1, ignored},
        {"", "", "any", -1, ignored},
        {"u", "p", "pap", 1, "Config option CM_AUTH_TYPE set to 'PAP'"},
        {"u", "p", "chap", 2, "Config option CM_AUTH_TYPE set to 'CHAP'"},
        {"u", "p", "off", -1,
         "Config option CM_AUTH_TYPE set to 'OFF', but username/password are set, setting ignored"},
        {"u", "p", "any", 2, "Config option CM_AUTH_TYPE default set to 'CHAP' for authentication"},
    };
    for (const sCase& one : cases) {
        sConfigFileOpts before;
        before.username = one.username;
        before.password = one.password;
        before.authType = 77;
        const sOptionRun run(&cConfigReader::getConfigOptionAuthType, "CM_AUTH_TYPE", one.value,
                             before);
        EXPECT_EQ(run.opts.authType, one.authType) << one.line;
        EXPECT_EQ(run.lines, tLines{one.line});
    }
}

#include "tests/unit/config/config_reader_options_fixture.h"

// CM_OPERATOR_MODE and CM_OPERATOR.

namespace {

constexpr const char* OPERATOR_ALLOWED =
    "5 or 6 digits, or a name of 1 to 28 characters, no tabs or other control characters";

sOptionRun readOperator(const std::string& mode, const std::string& value) {
    sConfigFileOpts before;
    before.operatorMode = mode;
    return sOptionRun(&cConfigReader::getConfigOptionOperator, "CM_OPERATOR", value, before);
}

}  // namespace

TEST(ConfigOperatorMode, EveryValue_SetsModeAndLine) {
    const std::vector<std::pair<std::string, std::pair<std::string, std::string>>> cases = {
        {"",
         {"0", "Config option CM_OPERATOR_MODE is missing, Operator Selection set to Auto Mode"}},
        {"0", {"0", "Config option CM_OPERATOR_MODE is 0, set Operator Selection to Auto Mode"}},
        {"1",
         {"1", "Config option CM_OPERATOR_MODE is 1, set Operator Selection to Manual selection"}},
        {"4",
         {"4", "Config option CM_OPERATOR_MODE is 4, set Operator Selection to Manual selection"}},
        {"2",
         {"0",
          "Config option CM_OPERATOR_MODE is empty/invalid, Operator Selection set to Auto Mode"}},
        {"01",
         {"0",
          "Config option CM_OPERATOR_MODE is empty/invalid, Operator Selection set to Auto Mode"}},
        {"auto",
         {"0",
          "Config option CM_OPERATOR_MODE is empty/invalid, Operator Selection set to Auto Mode"}},
    };
    sConfigFileOpts before;
    before.operatorMode = "4";
    for (const auto& [value, expected] : cases) {
        const sOptionRun run(&cConfigReader::getConfigOptionOperatorMode, "CM_OPERATOR_MODE", value,
                             before);
        EXPECT_EQ(run.opts.operatorMode, expected.first) << value;
        EXPECT_EQ(run.lines, tLines{expected.second});
    }
}

TEST(ConfigOperator, AutomaticMode_IgnoresTheValue) {
    const sOptionRun run = readOperator("0", "310410");
    EXPECT_EQ(run.opts.operatorMode, "0");
    EXPECT_EQ(run.opts.operatorName, "");
    EXPECT_EQ(run.lines, tLines{});
}

TEST(ConfigOperator, PlmnNumber_IsStored) {
    for (const std::string mode : {"1", "4"}) {
        for (const std::string value : {"26201", "310410"}) {
            const sOptionRun run = readOperator(mode, value);
            EXPECT_EQ(run.opts.operatorMode, mode);
            EXPECT_EQ(run.opts.operatorName, value);
            EXPECT_EQ(run.lines, tLines{"Config option CM_OPERATOR is '" + value +
                                        "', set Operator Selection to Manual Mode for PLMN number "
                                        "selection"});
        }
    }
}

TEST(ConfigOperator, NumberOfOtherLength_GivesAutomaticMode) {
    for (const std::string value : {"1", "2620", "3104101", "99999999999999999999999999999999"}) {
        const sOptionRun run = readOperator("1", value);
        EXPECT_EQ(run.opts.operatorMode, "0");
        EXPECT_EQ(run.opts.operatorName, "");
        EXPECT_EQ(run.lines, tLines{"Config option CM_OPERATOR value '" + value +
                                    "' is invalid (length not 5-6), Operator Selection set to Auto "
                                    "Mode"});
    }
}

TEST(ConfigOperator, Name_IsStoredAndNamedByMode) {
    for (const std::string& value : {std::string("Telekom.de"), std::string("26201 "),
                                     std::string("x"), std::string(28, 'n')}) {
        const sOptionRun manual = readOperator("1", value);
        EXPECT_EQ(manual.opts.operatorMode, "1");
        EXPECT_EQ(manual.opts.operatorName, value);
        EXPECT_EQ(manual.lines,
                  tLines{"Config option CM_OPERATOR is '" + value +
                         "', set Operator Selection to Manual Mode for PLMN/Carrier Name"});
        const sOptionRun fallback = readOperator("4", value);
        EXPECT_EQ(fallback.opts.operatorMode, "4");
        EXPECT_EQ(fallback.opts.operatorName, value);
        EXPECT_EQ(fallback.lines,
                  tLines{"Config option CM_OPERATOR is '" + value +
                         "', set Operator Selection to Manual Mode for Carrier Name selection"});
    }
}

TEST(ConfigOperator, EmptyOrTooLong_GivesAutomaticMode) {
    const sOptionRun empty = readOperator("4", "");
    EXPECT_EQ(empty.opts.operatorMode, "0");
    EXPECT_EQ(empty.lines,
              tLines{"Config option CM_OPERATOR is empty/invalid, Operator Selection set to Auto "
                     "Mode"});
    const std::string value(29, 'n');
    const sOptionRun tooLong = readOperator("4", value);
    EXPECT_EQ(tooLong.opts.operatorMode, "0");
    EXPECT_EQ(tooLong.opts.operatorName, "");
    EXPECT_EQ(tooLong.lines, tLines{"Config option CM_OPERATOR = '" + value +
                                    "' is too long, max characters is 28, Operator Selection set "
                                    "to Auto Mode"});
}

TEST(ConfigOperator, ControlCharacter_GivesAutomaticModeAndIsNotLogged) {
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run = readOperator("1", withControlCharacter(control));
        EXPECT_EQ(run.opts.operatorMode, "0");
        EXPECT_EQ(run.opts.operatorName, "");
        EXPECT_EQ(run.lines, (tLines{controlLine("CM_OPERATOR", control, OPERATOR_ALLOWED),
                                     "Config option CM_OPERATOR is empty/invalid, Operator "
                                     "Selection set to Auto Mode"}));
    }
}

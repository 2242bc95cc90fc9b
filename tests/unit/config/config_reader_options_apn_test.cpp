#include "tests/unit/config/config_reader_options_fixture.h"

// CM_APN and CM_APN2.

namespace {

constexpr const char* APN_ALLOWED = "1 to 104 letters, digits, blanks and .-_!";

}  // namespace

TEST(ConfigApn, ValidApn_IsStoredAsWritten) {
    for (const std::string value : {"internet", "Internet.GPRS", "  Two Words ", "a-b_c!9", "x"}) {
        const sOptionRun first(&cConfigReader::getConfigOptionApn, "CM_APN", value);
        EXPECT_EQ(first.opts.apn, value);
        EXPECT_EQ(first.opts.apn2, "");
        const sOptionRun second(&cConfigReader::getConfigOptionApn2, "CM_APN2", value);
        EXPECT_EQ(second.opts.apn2, value);
        EXPECT_EQ(second.opts.apn, "");
    }
}

TEST(ConfigApn, ValidApn_IsLoggedWithItsKey) {
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", " Net ").lines,
              tLines{"Config option CM_APN is ' Net '"});
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn2, "CM_APN2", "net").lines,
              tLines{"Config option CM_APN2 is 'net'"});
}

TEST(ConfigApn, LengthLimit_Is104AfterTrimming) {
    const std::string longest(104, 'a');
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", longest).opts.apn, longest);
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", " " + longest).opts.apn,
              " " + longest);
    const std::string tooLong(105, 'a');
    const sOptionRun run(&cConfigReader::getConfigOptionApn, "CM_APN", tooLong);
    EXPECT_EQ(run.opts.apn, "");
    EXPECT_EQ(run.lines, (tLines{"APN '" + tooLong + "' is too long, max length allowed is 104",
                                 "Error:  The APN '" + tooLong + "' is not valid"}));
}

TEST(ConfigApn, InvalidApn_ClearsTheField) {
    sConfigFileOpts before;
    before.apn = "before";
    before.apn2 = "before2";
    for (const std::string value :
         {"", "   ", "inter\"net", "a,b", "a;b", "a=b", "a\tb", "caf\xc3\xa9", "$(reboot)"}) {
        const sOptionRun first(&cConfigReader::getConfigOptionApn, "CM_APN", value, before);
        EXPECT_EQ(first.opts.apn, "") << value;
        EXPECT_EQ(first.opts.apn2, "before2") << value;
        const sOptionRun second(&cConfigReader::getConfigOptionApn2, "CM_APN2", value, before);
        EXPECT_EQ(second.opts.apn2, "") << value;
    }
}

TEST(ConfigApn, InvalidApn_IsLogged) {
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", "").lines,
              (tLines{"Note: APN is empty", "Error:  The APN '' is not valid"}));
    EXPECT_EQ(
        sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", "a,b").lines,
        (tLines{"apnValidFormat(): Error: Bad APN format", "Error:  The APN 'a,b' is not valid"}));
}

TEST(ConfigApn, ControlCharacterAtTheEdge_IsRefusedAlthoughTrimmed) {
    for (const std::string value : {"\rath0", "internet\r", "\ninternet", "internet\n",
                                    "\tinternet", "internet\t", "\vinternet", "internet\f"}) {
        const sOptionRun run(&cConfigReader::getConfigOptionApn, "CM_APN", value);
        EXPECT_EQ(run.opts.apn, "");
        ASSERT_EQ(run.lines.size(), 2U);
        EXPECT_EQ(run.lines[0].find("Error: Config option CM_APN has a control character (0x0"),
                  0U);
        EXPECT_EQ(run.lines[1].find("Error:  The APN '"), 0U);
        EXPECT_EQ(run.lines[1].find_first_of("\r\n\t\v\f"), std::string::npos);
    }
}

TEST(ConfigApn, ControlCharacter_IsRefusedAndNamed) {
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run(&cConfigReader::getConfigOptionApn2, "CM_APN2",
                             withControlCharacter(control));
        EXPECT_EQ(run.opts.apn2, "") << int{control};
        const std::string shown = control == 0 ? "ab" : "ab cd";  // a log line ends at NUL
        EXPECT_EQ(run.lines, (tLines{controlLine("CM_APN2", control, APN_ALLOWED),
                                     "Error:  The APN '" + shown + "' is not valid"}));
    }
}

TEST(ApnValidFormat, EveryRefusal_HasItsLine) {
    cConfigReader reader;
    reader.init("unused", 0);
    const std::string tooLong(105, 'x');
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "Note: APN is empty"},
        {tooLong, "APN '" + tooLong + "' is too long, max length allowed is 104"},
        {"   ", "APN cannot contain only spaces"},
        {"in?ternet", "apnValidFormat(): Error: Bad APN format"},
        {"Internet", "apnValidFormat(): Error: Bad APN format"},
    };
    for (const auto& [apn, line] : cases) {
        clearCapturedLog();
        EXPECT_FALSE(reader.apnValidFormat(apn)) << apn;
        EXPECT_EQ(capturedLog(), tLines{line});
    }
}

TEST(ApnValidFormat, EveryAllowedCharacter_IsAccepted) {
    cConfigReader reader;
    EXPECT_TRUE(reader.apnValidFormat("abcdefghijklmnopqrstuvwxyz0123456789 .-_!"));
    const std::string allowed = "abcdefghijklmnopqrstuvwxyz0123456789 .-_!";
    for (int code = 0; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        const bool expected = allowed.find(character) != std::string::npos;
        EXPECT_EQ(reader.apnValidFormat(std::string("a") + character), expected) << code;
    }
}

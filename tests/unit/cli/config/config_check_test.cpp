#include "cli/config/config_check.h"

#include <gtest/gtest.h>

#include <cstring>

#include "cli/base/config_place.h"
#include "config/config_reader.h"
#include "include/debug.h"
#include "tests/support/captured_log.h"
#include "tests/unit/cli/empty_host.h"

namespace {

class ConfigCheck : public testing::Test {
  protected:
    sConfigReport check(const std::string& content) {
        host.file("/conf", content);
        return checkConfig(host.places.at("/conf"));
    }

    // The findings of one key; the test fails if the report has none.
    sConfigKeyReport keyOf(const std::string& content, const std::string& key) {
        for (const sConfigKeyReport& row : check(content).keys)
            if (row.key == key) return row;
        ADD_FAILURE() << "no " << key;
        return {};
    }

    // The findings as one text, one line each: "line: what; detail; detail".
    std::string findings(const std::string& content) {
        std::string text;
        for (const sConfigFinding& finding : check(content).findings) {
            text += std::to_string(finding.line) + ": " + finding.what;
            for (const std::string& detail : finding.details)
                text += "; " + detail;
            text += "\n";
        }
        return text;
    }

    cEmptyHost host;
};

struct sTakenCase {
    const char* key;
    const char* written;
    const char* inForce;
};

}  // namespace

TEST_F(ConfigCheck, EveryKeyOfTheReaderIsReported) {
    const sConfigReport report = check("");
    ASSERT_TRUE(report.readable);
    ASSERT_EQ(configKeys().size(), report.keys.size());
    for (size_t i = 0; i < report.keys.size(); ++i) {
        EXPECT_EQ(configKeys()[i].name, report.keys[i].key);
        EXPECT_EQ(eConfigVerdict::DEFAULT, report.keys[i].verdict) << report.keys[i].key;
        // If the table of keys names a default, that must be the value in force.
        EXPECT_EQ(configKeys()[i].defaultText, report.keys[i].inForce) << report.keys[i].key;
    }
    EXPECT_TRUE(report.findings.empty());
}

TEST_F(ConfigCheck, TheExampleFile_HasNoFinding) {
    const sConfigReport report = checkConfig(DOCS_FOLDER "/cellslot.conf.example");
    ASSERT_TRUE(report.readable);
    EXPECT_TRUE(report.findings.empty());
}

TEST_F(ConfigCheck, MissingKeyOrValue_ShowsTheDefault) {
    EXPECT_EQ("", keyOf("", "CM_APN").reason);
    const sConfigKeyReport key = keyOf("CM_APN=\n", "CM_APN");
    EXPECT_EQ(eConfigVerdict::DEFAULT, key.verdict);
    EXPECT_EQ("no value after the = in the file", key.reason);
    host.file("/etc/vuk/cellular1.conf", "CM_MTU= \n");
    const std::string out = runOn(host, {"config", "check"}).out;
    EXPECT_NE(std::string::npos, out.find(" 1500   (default: no value after the = in the file)\n"))
        << out;
    EXPECT_NE(std::string::npos, out.find(" yes   (default)\n")) << out;
}

TEST_F(ConfigCheck, ValueInAnyAcceptedForm_IsAccepted) {
    const sTakenCase cases[] = {
        {"DEBUG_MODE", "0x7f0", "7F0"},
        {"CM_ENABLE_INTERFACE", " Yes ", "yes"},
        {"CM_ENABLE_INTERFACE", "off", "off"},
        {"CM_APN", " My.APN ", " My.APN "},
        {"CM_APN2", "x", "x"},
        {"CM_SYNC_TIME", "no", "no"},
        {"CM_DATA_SPEED", "3G4G", "auto"},
        {"CM_DATA_SPEED", "2g", "2g"},
        {"CM_ROAMING", "home", "home"},
        {"CM_DEFAULTROUTE", "NO", "no"},
        {"CM_USERNAME", "me", "me"},
        {"CM_FW_SLOT", "1", "1"},
        {"CM_USE_DNS", "no", "no"},
        {"CM_MTU", "0060", "60"},
        {"CM_SIM_SLOT", "2", "2"},
        {"CM_GPS_ENABLE", "no", "no"},
        {"CM_PTP_INT", "yes", "yes"},
        {"CM_IPFAMILY", "IPv6", "ipv6"},
        {"CM_AUTH_TYPE", "off", "off"},
        {"CM_OPERATOR_MODE", "0", "0"},
        {"CM_BAND_MODE", "auto", "auto"},
    };
    for (const sTakenCase& row : cases) {
        const sConfigKeyReport key =
            keyOf(std::string(row.key) + "=" + row.written + "\n", row.key);
        EXPECT_EQ(eConfigVerdict::TAKEN, key.verdict) << row.key << "=" << row.written;
        EXPECT_EQ(row.inForce, key.inForce) << row.key;
    }
}

TEST_F(ConfigCheck, ValueThatIsNotAccepted_IsNamedWithLineAllowedValuesAndDefault) {
    const sTakenCase cases[] = {
        {"DEBUG_MODE", "verbose", "0"},    {"CM_ENABLE_INTERFACE", "on", "no"},
        {"CM_APN", "\"internet\"", ""},    {"CM_SYNC_TIME", "1", "yes"},
        {"CM_DATA_SPEED", "5g", ""},       {"CM_ROAMING", "no", "auto"},
        {"CM_DEFAULTROUTE", "off", "yes"}, {"CM_FW_SLOT", "2", ""},
        {"CM_USE_DNS", "0", "yes"},        {"CM_MTU", "1501", "1500"},
        {"CM_MTU", "big", "1500"},         {"CM_SIM_SLOT", "3", "1"},
        {"CM_GPS_ENABLE", "off", "yes"},   {"CM_PTP_INT", "on", "no"},
        {"CM_IPFAMILY", "v6", "ipv4v6"},   {"CM_AUTH_TYPE", "pap", ""},
        {"CM_OPERATOR_MODE", "2", "0"},    {"CM_BAND_MODE", "all", "auto"},
        {"CM_PASSWORD", "secret", ""},
    };
    for (const sTakenCase& row : cases) {
        const std::string line = std::string(row.key) + "=" + row.written + "\n";
        const sConfigKeyReport key = keyOf(line, row.key);
        EXPECT_EQ(eConfigVerdict::REFUSED, key.verdict) << row.key << "=" << row.written;
        EXPECT_EQ(row.inForce, key.inForce) << row.key;
        const std::string shown = strcmp(row.key, "CM_PASSWORD") == 0 ? "****" : row.written;
        const std::string taken = *row.inForce == 0 ? "(none)" : row.inForce;
        const std::string text = findings("# one\n" + line);
        EXPECT_EQ(0u, text.find("2: " + std::string(row.key) + " is '" + shown + "'; allowed: "))
            << text;
        EXPECT_NE(std::string::npos, text.find("; used instead: " + taken)) << text;
    }
}

TEST_F(ConfigCheck, ValueThatIsNotAccepted_ReadsAsASentence) {
    EXPECT_EQ(
        "1: CM_ENABLE_INTERFACE is 'true'; allowed: yes, no or off; used instead: no\n"
        "2: CM_MTU is '9000'; allowed: 60 to 1500; used instead: 1500\n",
        findings("CM_ENABLE_INTERFACE=true\nCM_MTU=9000\n"));
}

TEST_F(ConfigCheck, QuotesAndTrailingComment_AreNamed) {
    const std::string quotes = "; the quotes are part of the value; write it without them";
    const std::string comment =
        "; the # and the text after it are part of the value; put comments on their own lines";
    const std::string mtu = "; allowed: 60 to 1500; used instead: 1500";
    EXPECT_EQ("1: CM_MTU is '\"1400\"'" + mtu + quotes + "\n", findings("CM_MTU=\"1400\"\n"));
    EXPECT_EQ("1: CM_MTU is '1400 # bytes'" + mtu + comment + "\n",
              findings("CM_MTU=1400 # bytes\n"));
    EXPECT_EQ("1: CM_MTU is ''1400' # bytes'" + mtu + quotes + comment + "\n",
              findings("CM_MTU='1400' # bytes\n"));
    // Also for a value that is accepted with it.
    EXPECT_EQ("1: CM_USERNAME is 'me #x'" + comment + "\n", findings("CM_USERNAME=me #x\n"));
}

TEST_F(ConfigCheck, KeyOverriddenByAnother_NamesTheOther) {
    const struct {
        const char* content;
        const char* key;
        const char* need;
    } cases[] = {
        {"CM_BAND_MODE=manual\nCM_3G_BAND=2\n", "CM_3G_BAND", "needs CM_3G_BAND and CM_4G_BAND"},
        {"CM_BAND_MODE=manual\nCM_3G_BAND=2\n", "CM_BAND_MODE", "needs CM_3G_BAND and CM_4G_BAND"},
        {"CM_BAND_MODE=manual\nCM_4G_BAND=B3\n", "CM_4G_BAND", "needs CM_3G_BAND and CM_4G_BAND"},
        {"CM_OPERATOR_MODE=1\nCM_OPERATOR=1234\n", "CM_OPERATOR_MODE", "need CM_OPERATOR"},
        {"CM_PASSWORD=x\n", "CM_PASSWORD", "needs CM_USERNAME"},
        {"CM_AUTH_TYPE=pap\n", "CM_AUTH_TYPE", "need CM_USERNAME and CM_PASSWORD"},
        {"CM_USERNAME=u\nCM_PASSWORD=p\nCM_AUTH_TYPE=off\n", "CM_AUTH_TYPE",
         "without CM_USERNAME and CM_PASSWORD"},
    };
    for (const auto& row : cases)
        EXPECT_NE(std::string::npos, keyOf(row.content, row.key).reason.find(row.need))
            << row.content << keyOf(row.content, row.key).reason;
    const std::string tooLong = "CM_USERNAME=u\nCM_PASSWORD=" + std::string(64, 'p') + "\n";
    EXPECT_NE(std::string::npos, keyOf(tooLong, "CM_USERNAME").reason.find("CM_PASSWORD is not"));
    // A wrong value does not blame another key.
    EXPECT_EQ("", keyOf(tooLong, "CM_PASSWORD").reason);
    EXPECT_EQ("", keyOf("CM_OPERATOR_MODE=1\nCM_OPERATOR=1234\n", "CM_OPERATOR").reason);
    EXPECT_EQ("", keyOf("CM_OPERATOR_MODE=2\n", "CM_OPERATOR_MODE").reason);
}

TEST_F(ConfigCheck, BandListWithAWrongEntry_ShowsTheBandsBeforeIt) {
    const sConfigKeyReport key =
        keyOf("CM_BAND_MODE=manual\nCM_3G_BAND=2\nCM_4G_BAND=B3,B20,B99,B1\n", "CM_4G_BAND");
    EXPECT_EQ(eConfigVerdict::REFUSED, key.verdict);
    EXPECT_EQ("B3,B20", key.inForce);
}

TEST_F(ConfigCheck, KeyWithoutMeaning_IsNotAFinding) {
    EXPECT_EQ(eConfigVerdict::NOT_USED, keyOf("CM_3G_BAND=2\n", "CM_3G_BAND").verdict);
    EXPECT_EQ(eConfigVerdict::NOT_USED, keyOf("CM_OPERATOR=26201\n", "CM_OPERATOR").verdict);
    EXPECT_EQ("", findings("CM_3G_BAND=2\nCM_OPERATOR=26201\n"));
}

TEST_F(ConfigCheck, Passwords_AreNowhereInTheReport) {
    const std::string longOne(3000, 'k');
    for (const std::string& password : {std::string("top'secret"), longOne, std::string("pw,1")}) {
        for (const char* user : {"", "CM_USERNAME=me\n"}) {
            const sConfigReport report =
                check(std::string(user) + "CM_PASSWORD=" + password + "\nCM_AUTH_TYPE=off\n");
            for (const sConfigKeyReport& key : report.keys)
                for (const std::string& text : {key.written, key.inForce, key.reason})
                    EXPECT_EQ(std::string::npos, text.find(password.substr(0, 5))) << text;
            const std::string all = findings(std::string(user) + "CM_PASSWORD=" + password +
                                             "\nCM_PASSWORD=" + password + "\n");
            EXPECT_EQ(std::string::npos, all.find(password.substr(0, 4))) << all;
        }
    }
}

TEST_F(ConfigCheck, FindingsOfTheFile_NameTheirLine) {
    EXPECT_EQ(
        "4: CM_APN appears again, ignored; line 1 is used\n"
        "5: no = in this line, ignored\n"
        "6: unknown key 'CM_PASSWROD', ignored; did you mean CM_PASSWORD?\n"
        "7: unknown key 'cm_mtu', ignored; write keys in capitals: CM_MTU\n"
        "8: unknown key 'LANGUAGE', ignored\n",
        findings("\xEF\xBB\xBF"
                 "CM_APN=a\r\n"
                 "# comment\n"
                 "\n"
                 "CM_APN=b\n"
                 "nothing\n"
                 "CM_PASSWROD=x\n"
                 "cm_mtu=1400\n"
                 "LANGUAGE=en\n"));
}

TEST_F(ConfigCheck, BlanksQuotesAndCommas_AreAFindingIfTheyBelongToTheValue) {
    const std::string blanks = "; the blanks around it are part of the value";
    const std::string quotes = "; the quotes are part of the value; write it without them";
    EXPECT_EQ("2: CM_APN is 'internet '" + blanks + "\n3: CM_APN2 is ' second'" + blanks +
                  "\n4: CM_USERNAME is ''me''" + quotes + "\n5: CM_PASSWORD is '****'" + quotes +
                  blanks + "\n7: CM_OPERATOR is '\"My Net\"'" + quotes + "\n",
              findings("CM_ENABLE_INTERFACE = yes \n"
                       "CM_APN=internet \n"
                       "CM_APN2 = second\n"
                       "CM_USERNAME='me'\n"
                       "CM_PASSWORD= \"secret\"\r\n"
                       "CM_OPERATOR_MODE= 1\n"
                       "CM_OPERATOR=\"My Net\"\n"));
    EXPECT_EQ("", findings("CM_USERNAME=o'neil\nCM_PASSWORD=\"#1\nCM_APN=\n"));
    // In these keys it would end the value in the command to the modem.
    EXPECT_EQ("1: CM_USERNAME is 'a,b'; the modem takes only the part before the comma\n",
              findings("CM_USERNAME=a,b\n"));
    // One finding is enough for a value that is refused anyway.
    EXPECT_EQ(1u, check("CM_APN=\"internet\"\n").findings.size());
}

TEST_F(ConfigCheck, DebugModeOfTheFile_MakesThisProgramLogNothing) {
    clearCapturedLog();
    check("DEBUG_MODE=fffffffffffffff\nCM_ENABLE_INTERFACE=yes\nCM_APN=x\n");
    EXPECT_EQ(0u, capturedLog().size());
    EXPECT_EQ(0u, g_i_debugMode);
}

TEST_F(ConfigCheck, FileThatCountsAsMissing_IsNotReadable) {
    EXPECT_FALSE(checkConfig(host.places.at("/none")).readable);
    EXPECT_FALSE(checkConfig(host.places.at("/tmp")).readable);
    EXPECT_FALSE(check(std::string(131073, '#')).readable);
}

TEST_F(ConfigCheck, Command_StatusShowsWhetherThereAreFindings) {
    host.file("/etc/vuk/cellular2.conf", "CM_APN=internet\n");
    EXPECT_EQ(eExitStatus::OK, runOn(host, {"config", "check", "-p", "2"}).status);
    host.file("/etc/vuk/cellular2.conf", "CM_MTU=1\n");
    const sCommandRun run = runOn(host, {"config", "check", "-q", "-p", "2"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos, run.out.find("! line 1: CM_MTU is '1'\n    allowed: 60 to 1500\n"))
        << run.out;
    EXPECT_EQ(std::string::npos, run.out.find("CM_APN")) << run.out;
    EXPECT_EQ(eExitStatus::FAILED, runOn(host, {"config", "check", "-p", "3"}).status);
    host.file("/etc/vuk/cellular2.conf", "CM_APN=internet\n");
    EXPECT_NE(std::string::npos,
              runOn(host, {"config", "check", "-p", "2"}).out.find("\nok: nothing to correct\n"));
    EXPECT_EQ("", runOn(host, {"config", "check", "-q", "-p", "2"}).out);
}

TEST_F(ConfigCheck, Command_LinesOfAnyLength_DoNotFillTheScreen) {
    host.file("/etc/vuk/cellular1.conf",
              "CM_APN=" + std::string(50000, 'a') + "\n" + std::string(50000, 'B') + "=x\n");
    const sCommandRun run = runOn(host, {"config", "check", "-q"});
    EXPECT_NE(std::string::npos, run.out.find("CM_APN is 'aaaa")) << run.out;
    EXPECT_NE(std::string::npos, run.out.find("allowed: 1 to 104 letters")) << run.out;
    EXPECT_NE(std::string::npos, run.out.find("unknown key 'BBBB")) << run.out;
    EXPECT_GT(2000u, run.out.size());
    std::string lines;
    for (int i = 0; i < 5000; ++i)
        lines += "nonsense\n";
    host.file("/etc/vuk/cellular1.conf", lines);
    const std::string out = runOn(host, {"config", "check", "-q"}).out;
    EXPECT_NE(std::string::npos, out.find("! and 4950 more\n5000 findings\n")) << out;
    EXPECT_GT(5000u, out.size());
}

TEST(ConfigPlace, SlotOne_UsesTheOlderFileIfItExists) {
    cEmptyHost host;
    EXPECT_EQ(host.places.at("/etc/vuk/cellular1.conf"), configPlace(host.places, 1));
    host.file("/etc/zoq/wireless/cellmodem_ppp.conf", "");
    EXPECT_EQ(host.places.at("/etc/zoq/wireless/cellmodem_ppp.conf"), configPlace(host.places, 1));
    EXPECT_EQ(host.places.at("/etc/vuk/cellular2.conf"), configPlace(host.places, 2));
    host.file("/etc/vuk/cellular1.conf", "");
    EXPECT_EQ(host.places.at("/etc/vuk/cellular1.conf"), configPlace(host.places, 1));
}

TEST_F(ConfigCheck, UnknownKey_SuggestsOnlySimilarKeys) {
    const struct {
        const char* written;
        const char* meant;
    } cases[] = {
        {"CM_ANP", "CM_APN"},
        {"CM_APN3", "CM_APN"},
        {"CM_OPERATER", "CM_OPERATOR"},
        {"CM_IP_FAMILY", "CM_IPFAMILY"},
        {"CM_DEFAULT_ROUTE", "CM_DEFAULTROUTE"},
        {"APN", "CM_APN"},
        {"Username", "CM_USERNAME"},
        {"CM_USER", "CM_USERNAME"},
        {"CM_ENABLE", "CM_ENABLE_INTERFACE"},
        {"DEBUG", "DEBUG_MODE"},
        // Other words, however similar they are.
        {"CM_PIN", ""},
        {"CM_DNS", ""},
        {"CM_", ""},
        {"MODE", ""},
    };
    for (const auto& row : cases) {
        const std::string offer =
            *row.meant == 0 ? "" : std::string("; did you mean ") + row.meant + "?";
        EXPECT_EQ("1: unknown key '" + std::string(row.written) + "', ignored" + offer + "\n",
                  findings(std::string(row.written) + "=x\n"));
    }
}

TEST(SilentReader, DebugModeOfTheFile_MakesTheStatusCommandLogNothing) {
    cEmptyHost host;
    host.file("/etc/vuk/cellular1.conf", "DEBUG_MODE=fffffffffffffff\nCM_ENABLE_INTERFACE=yes\n");
    clearCapturedLog();
    testing::internal::CaptureStdout();
    runOn(host, {"status"});
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ(0u, capturedLog().size());
}

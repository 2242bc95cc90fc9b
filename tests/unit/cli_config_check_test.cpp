#include "cli/config_check.h"

#include <gtest/gtest.h>

#include "cli/config_place.h"
#include "config/config_keys.h"
#include "include/debug.h"
#include "tests/support/captured_log.h"
#include "tests/unit/cli_empty_host.h"

namespace {

class ConfigCheck : public testing::Test {
  protected:
    sConfigReport check(const std::string& content) {
        host.file("/conf", content);
        return checkConfig(host.places.at("/conf"));
    }

    // Of one key; what the report lacks fails the test.
    sConfigKeyReport keyOf(const std::string& content, const std::string& key) {
        for (const sConfigKeyReport& row : check(content).keys)
            if (row.key == key) return row;
        ADD_FAILURE() << "no " << key;
        return {};
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
        // Where the table of keys names a default, it has to be what is in force.
        EXPECT_EQ(configKeys()[i].defaultText, report.keys[i].inForce) << report.keys[i].key;
    }
    EXPECT_EQ(0u, report.findings());
}

TEST_F(ConfigCheck, TheExampleFile_HasNoFinding) {
    const sConfigReport report = checkConfig(DOCS_FOLDER "/cellslot.conf.example");
    ASSERT_TRUE(report.readable);
    EXPECT_EQ(0u, report.findings());
}

TEST_F(ConfigCheck, DefaultThatIsUsed_ForWantOfTheKeyOrOfItsValue) {
    EXPECT_EQ("", keyOf("", "CM_APN").reason);
    const sConfigKeyReport key = keyOf("CM_APN=\n", "CM_APN");
    EXPECT_EQ(eConfigVerdict::DEFAULT, key.verdict);
    EXPECT_EQ("nothing behind the = in the file", key.reason);
    host.file("/etc/vuk/cellular1.conf", "CM_MTU= \n");
    const std::string out = runOn(host, {"config", "check"}).out;
    EXPECT_NE(std::string::npos, out.find(" 1500   (default: nothing behind the = in the file)\n"))
        << out;
    EXPECT_NE(std::string::npos, out.find(" yes   (default)\n")) << out;
}

TEST_F(ConfigCheck, ValueInAnyAcceptedForm_IsTaken) {
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

TEST_F(ConfigCheck, ValueThatIsNotAccepted_IsRefusedWithTheReadersReason) {
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
        const sConfigKeyReport key =
            keyOf(std::string(row.key) + "=" + row.written + "\n", row.key);
        EXPECT_EQ(eConfigVerdict::REFUSED, key.verdict) << row.key << "=" << row.written;
        EXPECT_EQ(row.inForce, key.inForce) << row.key;
        EXPECT_NE("", key.reason) << row.key;
    }
}

TEST_F(ConfigCheck, KeyThatAnotherOneUndoes_TellsTheOtherOnesReason) {
    const std::string bands = "CM_BAND_MODE=manual\nCM_3G_BAND=2\n";
    EXPECT_NE(std::string::npos,
              keyOf(bands, "CM_3G_BAND").reason.find("CM_BAND_MODE set to Auto Mode"));
    EXPECT_EQ("auto", keyOf(bands, "CM_BAND_MODE").inForce);
    const std::string number = "CM_OPERATOR_MODE=1\nCM_OPERATOR=1234\n";
    EXPECT_NE(std::string::npos, keyOf(number, "CM_OPERATOR_MODE").reason.find("length not 5-6"));
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
    EXPECT_EQ(0u, check("CM_3G_BAND=2\nCM_OPERATOR=26201\n").findings());
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
            for (const std::string& problem : report.problems)
                EXPECT_EQ(std::string::npos, problem.find(password.substr(0, 4))) << problem;
        }
    }
}

TEST_F(ConfigCheck, ProblemsOfTheFile_NameTheirLine) {
    const sConfigReport report = check(
        "\xEF\xBB\xBF"
        "CM_APN=a\r\n"
        "# comment\n"
        "\n"
        "CM_APN=b\n"
        "nothing\n"
        "CM_PASSWROD=x\n"
        "cm_mtu=1400\n"
        "LANGUAGE=en\n");
    const std::vector<std::string> expected = {
        "line 4: CM_APN once more, only line 1 counts",
        "line 5: no = in it, the line is passed over",
        "line 6: unknown key 'CM_PASSWROD' is passed over; is CM_PASSWORD meant?",
        "line 7: unknown key 'cm_mtu' is passed over; keys are written in capitals: CM_MTU",
        "line 8: unknown key 'LANGUAGE' is passed over",
    };
    EXPECT_EQ(expected, report.problems);
    EXPECT_EQ(5u, report.findings());
}

TEST_F(ConfigCheck, WhatAShellWouldTakeAway_IsAFindingWhereItBelongsToTheValue) {
    const sConfigReport report = check(
        "CM_ENABLE_INTERFACE = yes \n"
        "CM_APN=internet \n"
        "CM_APN2 = second\n"
        "CM_USERNAME='me'\n"
        "CM_PASSWORD= \"secret\"\r\n"
        "CM_OPERATOR_MODE= 1\n"
        "CM_OPERATOR=\"My Net\"\n");
    const std::vector<std::string> expected = {
        "CM_APN has blanks at its ends, which belong to the value",
        "CM_APN2 has blanks at its ends, which belong to the value",
        "CM_USERNAME has quotes, which belong to the value",
        "CM_PASSWORD has blanks at its ends, which belong to the value",
        "CM_PASSWORD has quotes, which belong to the value",
        "CM_OPERATOR has quotes, which belong to the value",
    };
    EXPECT_EQ(expected, report.problems);
    EXPECT_EQ(0u, check("CM_USERNAME=o'neil\nCM_PASSWORD=\"\nCM_APN=\n").findings());
    // One finding is enough for what is refused anyway.
    EXPECT_EQ(1u, check("CM_APN=\"internet\"\n").findings());
}

TEST_F(ConfigCheck, DebugModeOfTheFile_MakesThisProgramLogNothing) {
    clearCapturedLog();
    check("DEBUG_MODE=fffffffffffffff\nCM_ENABLE_INTERFACE=yes\nCM_APN=x\n");
    EXPECT_EQ(0u, capturedLog().size());
    EXPECT_EQ(0u, g_i_debugMode);
}

TEST_F(ConfigCheck, FileThatTheDaemonTakesForMissing_IsNotReadable) {
    EXPECT_FALSE(checkConfig(host.places.at("/none")).readable);
    EXPECT_FALSE(checkConfig(host.places.at("/tmp")).readable);
    EXPECT_FALSE(check(std::string(131073, '#')).readable);
}

TEST_F(ConfigCheck, Command_StatusTellsWhetherThereAreFindings) {
    host.file("/etc/vuk/cellular2.conf", "CM_APN=internet\n");
    EXPECT_EQ(eExitStatus::OK, runOn(host, {"config", "check", "-p", "2"}).status);
    host.file("/etc/vuk/cellular2.conf", "CM_MTU=1\n");
    const sCommandRun run = runOn(host, {"config", "check", "-q", "-p", "2"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos, run.out.find("instead of '1'")) << run.out;
    EXPECT_EQ(std::string::npos, run.out.find("CM_APN")) << run.out;
    EXPECT_EQ(eExitStatus::FAILED, runOn(host, {"config", "check", "-p", "3"}).status);
}

TEST_F(ConfigCheck, Command_LinesOfAnyLength_DoNotFillTheScreen) {
    host.file("/etc/vuk/cellular1.conf",
              "CM_APN=" + std::string(50000, 'a') + "\n" + std::string(50000, 'B') + "=x\n");
    const sCommandRun run = runOn(host, {"config", "check", "-q"});
    EXPECT_NE(std::string::npos, run.out.find("instead of 'aaaa")) << run.out;
    EXPECT_NE(std::string::npos, run.out.find("must be 1 to 104 letters")) << run.out;
    EXPECT_NE(std::string::npos, run.out.find("unknown key 'BBBB")) << run.out;
    EXPECT_GT(2000u, run.out.size());
}

TEST(ConfigPlace, SlotOne_FallsBackToTheOlderFileWhereThereIsOne) {
    cEmptyHost host;
    EXPECT_EQ(host.places.at("/etc/vuk/cellular1.conf"), configPlace(host.places, 1));
    host.file("/etc/zoq/wireless/cellmodem_ppp.conf", "");
    EXPECT_EQ(host.places.at("/etc/zoq/wireless/cellmodem_ppp.conf"), configPlace(host.places, 1));
    EXPECT_EQ(host.places.at("/etc/vuk/cellular2.conf"), configPlace(host.places, 2));
    host.file("/etc/vuk/cellular1.conf", "");
    EXPECT_EQ(host.places.at("/etc/vuk/cellular1.conf"), configPlace(host.places, 1));
}

TEST_F(ConfigCheck, UnknownKey_OnlyWhatIsMeantIsOffered) {
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
        // Other words, however short the way is.
        {"CM_PIN", ""},
        {"CM_DNS", ""},
        {"CM_", ""},
        {"MODE", ""},
    };
    for (const auto& row : cases) {
        const std::vector<std::string> problems = check(std::string(row.written) + "=x\n").problems;
        ASSERT_EQ(1u, problems.size()) << row.written;
        const std::string offer =
            *row.meant == 0 ? "" : std::string("; is ") + row.meant + " meant?";
        EXPECT_EQ("line 1: unknown key '" + std::string(row.written) + "' is passed over" + offer,
                  problems.front());
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

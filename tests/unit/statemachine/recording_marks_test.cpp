#include "statemachine/recording_marks.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "device/recorder.h"
#include "include/options.h"
#include "include/shell.h"
#include "tests/support/temp_folder.h"

namespace {

using nlohmann::json;

class RecordingMarks : public testing::Test {
  protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    void start(bool keepIdentities = false) {
        sRecordSettings settings;
        settings.path = m_folder / "recording";
        settings.olderPath = m_folder / "older";
        settings.fileBytes = 1000000;
        settings.keepIdentities = keepIdentities;
        ASSERT_TRUE(startRecording(settings));
    }

    // The marks since the last call, each without its time.
    std::vector<json> marks() {
        flushRecording();
        std::istringstream lines(readFile(m_folder / "recording"));
        std::vector<json> all;
        for (std::string line; std::getline(lines, line);) {
            json mark = json::parse(line);
            if (!mark.contains("mark")) continue;
            mark.erase("ms");
            all.push_back(mark);
        }
        const std::vector<json> later(all.begin() + static_cast<std::ptrdiff_t>(m_seen), all.end());
        m_seen = all.size();
        return later;
    }

    void publish(const tStatusList& list) {
        m_lines.beginUpdate();
        for (const auto& [suffix, value] : list) {
            if (suffix[0] == '_')
                m_lines.key(suffix.substr(1), value);
            else
                m_lines.comment(suffix);
        }
        m_lines.endUpdate();
        markPublished(m_lines);
    }
    json published(const tStatusList& list) {
        publish(list);
        const std::vector<json> later = marks();
        if (later.empty()) return nullptr;
        EXPECT_EQ(later.size(), 1U);
        EXPECT_EQ(later[0]["mark"], "published");
        return later[0]["values"];
    }

    std::string writeConfig(const std::string& text) {
        writeFile(m_folder / "config", text);
        return m_folder / "config";
    }

  private:
    static void reset() {
        resetRecordingMarks();
        markShellCommands(false);
        resetRecorder();
        g_S_options = {};
    }

    cTempFolder m_folder;
    cStatusLines m_lines;
    size_t m_seen = 0;
};

}  // namespace

TEST_F(RecordingMarks, NoRecording_MarksNothing) {
    markStart();
    markStates("running", "set-up");
    markSignal("SIGHUP");
    markConfig(writeConfig("CM_APN=internet\n"), "begin");
    publish({{"_A", "1"}});
    markAllPublished();
    markShellCommands(true);
    runShellCommand("true");
    markExit(2);
    start();
    EXPECT_EQ(marks(), std::vector<json>());
}

TEST_F(RecordingMarks, Start_HasTheCommandLine) {
    g_S_options = {"/dev/at", "/dev/gps", "wwan0", "2"};
    start();
    markStart();
    EXPECT_EQ(marks(),
              std::vector<json>({json{
                  {"mark", "start"},
                  {"arguments", {"-d", "/dev/at", "-g", "/dev/gps", "-i", "wwan0", "-p", "2"}}}}));
}

TEST_F(RecordingMarks, StatesAndSignal_HaveTheirNames) {
    start();
    markStates("running", "connected");
    markSignal("SIGHUP");
    EXPECT_EQ(marks(), std::vector<json>(
                           {json{{"mark", "state"}, {"outer", "running"}, {"modem", "connected"}},
                            json{{"mark", "signal"}, {"name", "SIGHUP"}}}));
}

TEST_F(RecordingMarks, Configuration_HasNoUserNamePasswordOrUnknownKey) {
    start();
    markConfig(writeConfig("CM_APN=internet\nCM_USERNAME=pump-seven\nCM_PASSWORD=s3cret\n"
                           "CM_PASWORD=misspelt\nCM_MTU=1400\n"),
               "0");
    EXPECT_EQ(marks(),
              std::vector<json>({json{{"mark", "config"},
                                      {"result", "0"},
                                      {"values", {{"CM_APN", "internet"}, {"CM_MTU", "1400"}}}}}));
}

TEST_F(RecordingMarks, ConfigurationThatIsMissing_HasNoValues) {
    start();
    markConfig("/no/such/file", "missing");
    EXPECT_EQ(marks(),
              std::vector<json>(
                  {json{{"mark", "config"}, {"result", "missing"}, {"values", json::object()}}}));
}

TEST_F(RecordingMarks, SecretInAnyText_IsHidden) {
    g_S_options.s_device = "/dev/s3cret";
    start();
    hideFromRecording("s3cret");
    markStart();
    markConfig(writeConfig("CM_APN=apn-s3cret\n"), "begin");
    publish({{"_A", "is s3cret"}});
    markShellCommands(true);
    runShellCommand("true s3cret");
    const std::vector<json> all = marks();
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(json(all).dump().find("s3cret"), std::string::npos) << json(all);
    EXPECT_EQ(all[2]["values"]["A"], "is x0xxxx");
}

TEST_F(RecordingMarks, Published_FirstEverythingThenWhatChanged) {
    start();
    EXPECT_EQ(published({{"#comment", ""}, {"_A", "1"}, {"_B", ""}}),
              json({{"A", "1"}, {"B", ""}}));
    EXPECT_EQ(published({{"#comment", ""}, {"_A", "1"}, {"_B", "2"}}), json({{"B", "2"}}));
    EXPECT_EQ(published({{"#comment", ""}, {"_A", "1"}, {"_B", "2"}}), nullptr);
    EXPECT_EQ(published({{"#comment", ""}, {"_A", ""}, {"_B", "2"}}), json({{"A", ""}}));
}

TEST_F(RecordingMarks, TimesOfPublishing_AreLeftOut) {
    start();
    const auto list = [](const std::string& time) {
        return tStatusList{{"_STATS_LAST_UPDATE", time},
                           {"_STATS_LAST_UPDATE_E", time},
                           {"_QMI_CALL_TIME", time},
                           {"_QMI_CALL_FORMAT_TIME", time},
                           {"_A", "1"}};
    };
    EXPECT_EQ(published(list("1")), json({{"A", "1"}}));
    EXPECT_EQ(published(list("2")), nullptr);
}

TEST_F(RecordingMarks, Identities_AreReplacedByTheSameStandInEachTime) {
    start();
    const std::string imsi = "310410123456789";
    const json first = published({{"_SIM_IMSI", imsi}, {"_A", "1"}});
    EXPECT_NE(first["SIM_IMSI"], imsi);
    EXPECT_EQ(first["SIM_IMSI"].get<std::string>().size(), imsi.size());
    EXPECT_EQ(published({{"_SIM_IMSI", ""}, {"_A", "1"}}), json({{"SIM_IMSI", ""}}));
    EXPECT_EQ(published({{"_SIM_IMSI", imsi}, {"_A", "1"}}),
              json({{"SIM_IMSI", first["SIM_IMSI"]}}));
}

TEST_F(RecordingMarks, EveryIdentity_IsReplaced_AndKeptOnRequest) {
    const tStatusList list = {{"_ESN", "356789012345678"},
                              {"_IMEI", "356789012345679"},
                              {"_MDN", "+15551234567"},
                              {"_SIM_ID", "89014103211118510720"},
                              {"_SIM_IMSI", "310410123456789"}};
    start();
    const json replaced = published(list);
    stopRecording("asked");
    marks();
    start(true);
    resetRecordingMarks();
    const json kept = published(list);
    ASSERT_EQ(replaced.size(), list.size());
    for (const auto& [suffix, value] : list) {
        EXPECT_NE(replaced[suffix.substr(1)], value) << suffix;
        EXPECT_EQ(kept[suffix.substr(1)], value) << suffix;
    }
}

// A PIN of a wrong form is never sent, so the recorder does not know it.
TEST_F(RecordingMarks, PinInAnOutcome_IsHidden) {
    start();
    for (const char* const text :
         {"Error: Cannot unlock SIM with CPIN '12ab', not a valid format",
          "Error: Cannot change SIM CPIN, Current CPIN 12ab is not a valid format",
          "OLD/NEW CPINs '12ab' are the same, ignoring"}) {
        const std::string outcome =
            published({{"_SIM_EXTENDED_STATUS", text}})["SIM_EXTENDED_STATUS"];
        EXPECT_EQ(outcome.find("12ab"), std::string::npos) << outcome;
        EXPECT_NE(outcome.find("CPIN"), std::string::npos) << outcome;
    }
}

TEST_F(RecordingMarks, KeysThatGo_AreMarkedAsNothing_AndThoseThatComeWithTheirValue) {
    start();
    published({{"_A", "1"}, {"_ACT1_PSC", "7"}, {"_ACT2_PSC", "8"}, {"#end", ""}});
    EXPECT_EQ(published({{"_A", "1"}, {"_ACT1_PSC", "7"}, {"#end", ""}}),
              json({{"ACT2_PSC", nullptr}}));
    EXPECT_EQ(published({{"_A", "2"}, {"_ACT1_PSC", "7"}, {"_ACT2_PSC", "9"}, {"#end", ""}}),
              json({{"A", "2"}, {"ACT2_PSC", "9"}}));
}

// As many keys, of the same lengths: only the number differs.
TEST_F(RecordingMarks, KeyThatTakesThePlaceOfAnother_IsNotTakenForIt) {
    start();
    published({{"_ACT1_PSC", "7"}, {"_SIM_CONT_APN1", "a"}});
    EXPECT_EQ(published({{"_ACT2_PSC", "7"}, {"_SIM_CONT_APN1", "a"}}),
              json({{"ACT1_PSC", nullptr}, {"ACT2_PSC", "7"}}));
    EXPECT_EQ(published({{"_ACT2_PSC", "7"}, {"_SIM_CONT_APN2", "a"}}),
              json({{"SIM_CONT_APN1", nullptr}, {"SIM_CONT_APN2", "a"}}));
}

TEST_F(RecordingMarks, EmptyList_MarksAllKeysAsNothing) {
    start();
    EXPECT_EQ(published({}), nullptr);
    published({{"#begin", ""}, {"_A", "1"}});
    EXPECT_EQ(published({}), json({{"A", nullptr}}));
}

TEST_F(RecordingMarks, TextOfTheModem_StaysOneLineOfJson) {
    start();
    EXPECT_EQ(published({{"_A", "a\"b\\c\n{}"}}), json({{"A", "a\"b\\c {}"}}));
    const std::string odd = "a\"b\\c\n\r\t\x01\x7F{}";
    markSignal(odd.c_str());
    EXPECT_EQ(marks(), std::vector<json>({json{{"mark", "signal"}, {"name", odd}}}));
}

TEST_F(RecordingMarks, AllPublished_IsWhatWasPublishedLast) {
    start();
    markAllPublished();
    EXPECT_EQ(marks(), std::vector<json>());
    published({{"_A", "1"}, {"_B", "1"}, {"_STATS_LAST_UPDATE", "now"}});
    published({{"_A", "1"}, {"_B", "2"}, {"_STATS_LAST_UPDATE", "then"}});
    markAllPublished();
    EXPECT_EQ(marks(), std::vector<json>(
                           {json{{"mark", "published"}, {"values", {{"A", "1"}, {"B", "2"}}}}}));
}

TEST_F(RecordingMarks, Exit_HasEverythingPublishedAndTheStatus) {
    start();
    published({{"_A", "1"}});
    markExit(3);
    EXPECT_EQ(marks(), std::vector<json>({json{{"mark", "published"}, {"values", {{"A", "1"}}}},
                                          json{{"mark", "exit"}, {"status", 3}}}));
}

TEST_F(RecordingMarks, ShellCommands_HaveTheirResult) {
    start();
    runShellCommand("true");
    markShellCommands(true);
    runShellCommand("exit 7");
    runShellCommand("kill -KILL $$");
    markShellCommands(false);
    runShellCommand("true");
    EXPECT_EQ(marks(), std::vector<json>(
                           {json{{"mark", "host"}, {"command", "exit 7"}, {"result", 7}},
                            json{{"mark", "host"}, {"command", "kill -KILL $$"}, {"result", -1}}}));
}

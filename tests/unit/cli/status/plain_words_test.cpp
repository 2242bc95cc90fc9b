#include "cli/status/plain_words.h"

#include <gtest/gtest.h>

#include "platform/include/text_helpers.h"

namespace {

sStatusRecord resultRecord(const std::string& key, int code, const std::string& name) {
    return {{{key + "_E", itos(code)}, {key, name}}};
}

// Every result of a session start and of a start or stop of GPS.
const int CONNECT_RESULTS[] = {0, 6, 200, 203, 204, 205, 206, 207, 208, 209, 210, 300};
const int GPS_RESULTS[] = {0, 6, 7, 8, 525, 526, 527, 529, 531, 532, 533, 534};

}  // namespace

TEST(PlainWords, EveryResultOfTheDaemon_HasWordsWithoutItsName) {
    for (const int code : CONNECT_RESULTS) {
        const std::string what =
            connectErrorWords(resultRecord("LAST_CONNECT_ERROR", code, "eNAME")).what;
        EXPECT_EQ(what.find("eNAME"), std::string::npos) << code;
        EXPECT_FALSE(what.empty()) << code;
    }
    for (const int code : GPS_RESULTS) {
        const std::string what = gpsWords(resultRecord("GPS_LAST_STATUS", code, "eNAME")).what;
        EXPECT_EQ(what.find("eNAME"), std::string::npos) << code;
        EXPECT_FALSE(what.empty()) << code;
    }
}

TEST(PlainWords, FailedStart_SaysWhatToDo) {
    for (const int code : CONNECT_RESULTS) {
        const sPlainWords words = connectErrorWords(resultRecord("LAST_CONNECT_ERROR", code, ""));
        EXPECT_EQ(words.mend.empty(), code == 0) << code;
    }
}

TEST(PlainWords, UnknownResult_KeepsNumberAndName) {
    EXPECT_EQ(connectErrorWords(resultRecord("LAST_CONNECT_ERROR", 4711, "eNEW\x1b")).what,
              "error 4711 (eNEW?)");
    EXPECT_EQ(connectErrorWords(resultRecord("LAST_CONNECT_ERROR", 4711, "")).what, "error 4711");
    EXPECT_EQ(connectErrorWords({}).what, "unknown");
}

TEST(PlainWords, GpsThatIsOffOrStreams_IsNoFault) {
    for (const int code : {0, 8, 532, 534})
        EXPECT_FALSE(isGpsFault(resultRecord("GPS_LAST_STATUS", code, ""))) << code;
    for (const int code : {6, 7, 525, 526, 527, 529, 531, 533})
        EXPECT_TRUE(isGpsFault(resultRecord("GPS_LAST_STATUS", code, ""))) << code;
}
